// SPDX-License-Identifier: MIT
#include <tests/support/smalldisk.h>

#include <QByteArray>
#include <QFile>

#include <sys/mount.h>

SmallDisk::SmallDisk(qint64 size)
{
    const QByteArray options = "mode=0700,size=" + QByteArray::number(size);
    m_mounted =
        m_dir.isValid() && ::mount("tmpfs", QFile::encodeName(m_dir.path()), "tmpfs", 0, options.constData()) == 0;
}

SmallDisk::~SmallDisk()
{
    if (m_mounted)
        ::umount2(QFile::encodeName(m_dir.path()), MNT_DETACH);
}
