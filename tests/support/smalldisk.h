// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QTemporaryDir>

/// A file system of its own size, as long as this object lives. Only root may make one.
class SmallDisk
{
public:
    explicit SmallDisk(qint64 size);
    ~SmallDisk();

    bool isMounted() const { return m_mounted; }
    QString path() const { return m_dir.path(); }

private:
    QTemporaryDir m_dir;
    bool m_mounted = false;

    Q_DISABLE_COPY_MOVE(SmallDisk)
};
