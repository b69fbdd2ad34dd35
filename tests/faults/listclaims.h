// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

class PlaitSandbox;

/// A piece of a file of which the list says that it is on disk.
struct ListClaim {
    QString folder;
    QString path; ///< in the folder; empty = the name
    QString name;
    qint64 offset = 0;
    qint64 size = 0;

    /// Where the bytes lie: a file may have got its final name without the list knowing.
    QString file() const;
    /// What is there; shorter than the claim where the file is.
    QByteArray bytes() const;
};

/// A sandbox's list as it lies on the disk while nobody has it open. It is read from a copy: whoever opens the list
/// itself mends it, which is the program's to do.
class ListOnDisk
{
public:
    explicit ListOnDisk(const PlaitSandbox &sandbox);

    /// False while there is no list.
    bool isThere() const { return m_isThere; }
    /// Of all its downloads, the finished ones too.
    QList<ListClaim> claims() const { return m_claims; }
    /// Addresses of all its downloads, and of those that it says are not finished.
    QStringList urls() const { return m_urls; }
    QStringList unfinishedUrls() const { return m_unfinishedUrls; }

private:
    void read(const QString &database);

    bool m_isThere = false;
    QList<ListClaim> m_claims;
    QStringList m_urls;
    QStringList m_unfinishedUrls;
};
