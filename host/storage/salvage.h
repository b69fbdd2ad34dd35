// SPDX-License-Identifier: MIT
#pragma once

#include <host/policy/failure.h>
#include <host/storage/recordrows.h>

#include <QHash>
#include <QList>
#include <QMap>
#include <QSet>
#include <QString>
#include <QStringList>

/// Brings the downloads of a damaged list over into a whole one, each in a transaction of its own: all that can be read
/// of it, or nothing.
///
/// The damaged file is opened for reading only. A download keeps its number unless that is taken. One that the whole
/// list has already (the same address, folder and time of creation) is left out, and so is an unfinished one whose file
/// another unfinished download has by now: two at work on one file would spoil it. What makes up a download's progress
/// comes whole or not at all: half of it would claim bytes that are not there.
class Salvage
{
    Q_DISABLE_COPY_MOVE(Salvage)

public:
    /// @param list open, of this program's version; outlives this object. The damaged one is attached to it.
    explicit Salvage(const SqlDatabase &list);
    ~Salvage();

    /// False with a reason: nothing can be read of the file.
    bool run(const QString &damagedPath);

    /// Why nothing can be read.
    Clause reason() const { return m_reason; }
    QList<Failure::Remedy> remedies() const { return m_remedies; }
    int brought() const { return m_brought; }
    /// That were in the list already.
    int present() const { return m_present; }
    /// What could not be brought over, and why: the ids, by reason.
    const QMap<Clause, QList<qint64>> &lost() const { return m_lost; }
    /// What people should know of those that were brought over.
    QList<Clause> remarks() const { return m_remarks; }

private:
    struct Table {
        QStringList common; ///< columns that both lists have
        QStringList missing; ///< of the whole one, that may not stay empty
        bool isThere = false;
    };
    enum class Fate;

    bool attach(const QString &path);
    bool readTables();
    Table tableOf(const QString &name);
    void collect(const QString &statement, bool *wasWhole);
    QList<qint64> findIds();
    void probe(qint64 from, qint64 to);
    void bringOver(qint64 id);
    Fate copy(qint64 id, Clause *reason);
    qint64 idOfSame(qint64 id);
    qint64 idWithSameFile(qint64 id);
    bool isTaken(qint64 id);
    qint64 insertDownload(qint64 id);
    QStringList copyAllParts(qint64 id, qint64 newId, bool *hasProgress);
    bool copyParts(const QString &table, qint64 id, qint64 newId);
    bool copyNamesOfHeaders(qint64 id, qint64 newId);
    bool copyProgress(qint64 id, qint64 newId);
    bool isReadable(qint64 id, Clause *reason);
    bool run(const QString &statement, const SqlValues &values);
    qint64 number(const QString &statement, const SqlValues &values, bool *failed = nullptr);

    const SqlDatabase &m_database;
    RecordRows m_rows;
    QHash<QString, Table> m_tables;
    QSet<qint64> m_ids;
    Clause m_reason;
    QList<Failure::Remedy> m_remedies;
    QMap<Clause, QList<qint64>> m_lost;
    QMap<QString, QList<qint64>> m_without; ///< brought over, but not this table
    QList<qint64> m_withoutProgress;
    QList<Clause> m_remarks;
    int m_brought = 0;
    int m_present = 0;
    int m_renumbered = 0;
    int m_version = 0; ///< of the damaged list's tables
};
