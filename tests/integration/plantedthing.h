// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QTemporaryDir>
#include <QtGlobal>

/// Something foreign in the place of a file, and what it points to, which lies elsewhere. Both are watched.
class PlantedThing
{
    Q_DISABLE_COPY_MOVE(PlantedThing)

public:
    enum class Kind {
        File,
        LinkToFile,
        LinkToNothing,
        LinkToDevice,
        Folder,
        Pipe,
        Socket,
        Device,
    };

    /// All that this user can make: a device takes the rights of root.
    static QList<Kind> kinds();
    static QList<Kind> kindsButFolders();
    static const char *name(Kind kind);

    /// @param size of the file, or of the one that is pointed to
    PlantedThing(Kind kind, qint64 size);
    ~PlantedThing();

    bool plant(const QString &path);
    /// What was done to it or to its target since; empty = nothing. Opening alone is no harm.
    QString harm() const;
    /// What the program calls it.
    QByteArray words() const;

private:
    bool make(const QString &path) const;
    QByteArray state() const;
    QString victim() const { return m_elsewhere.filePath(QStringLiteral("victim")); }

    const Kind m_kind;
    const qint64 m_size;
    QTemporaryDir m_elsewhere;
    QString m_path;
    QByteArray m_before;
    int m_watch = -1;
};
