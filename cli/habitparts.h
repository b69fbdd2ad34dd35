// SPDX-License-Identifier: MIT
#pragma once

#include <QHash>
#include <QString>
#include <QStringList>

/// Halves of options, which other programs have and we do not: a password beside its name, pieces of a body. They are
/// gathered while words are read, and put together at the end.
class HabitParts
{
public:
    /// @param part as the row names it
    /// @param name under which it was typed
    void add(const QString &part, const QString &name, const QString &value);
    /// Puts the whole into what was read. The sentence, if there is none of them.
    QString joinInto(QStringList &options, QStringList &addresses) const;

private:
    QString joinLogin(QStringList &options) const;
    QString joinProxy(QStringList &options) const;
    QString joinBody(QStringList &options, QStringList &addresses) const;
    QString joinMethod(const QStringList &options) const;
    QString joinOffset(QStringList &options) const;
    void joinProgress(QStringList &options) const;
    QStringList queries() const;

    QHash<QString, QStringList> m_values;
    QString m_fileOfData; ///< a body that lies in a file; empty = none does
};
