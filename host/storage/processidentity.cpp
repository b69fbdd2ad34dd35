// SPDX-License-Identifier: MIT
#include <host/storage/processidentity.h>

#include <QCoreApplication>
#include <QFile>

using namespace Qt::StringLiterals;

namespace
{

/// Files below /proc have no size; they are read to their end.
QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// Fields from the third on: the name in the second may hold anything, brackets and blanks included.
QList<QByteArray> fieldsBehindName(const QByteArray &stat)
{
    return stat.mid(stat.lastIndexOf(')') + 2).split(' ');
}

constexpr int kStateField = 0;
constexpr int kStartTimeField = 19;

/// A process that has ended stays in the table until its parent has asked for its end.
bool hasEnded(const QByteArray &state)
{
    return state == "Z" || state == "X";
}

}

ProcessIdentity ProcessIdentity::current()
{
    static const ProcessIdentity me = ofProcess(QCoreApplication::applicationPid());
    return me;
}

ProcessIdentity ProcessIdentity::ofProcess(qint64 pid)
{
    const QList<QByteArray> fields = fieldsBehindName(contentOf(u"/proc/%1/stat"_s.arg(pid)));
    if (fields.size() <= kStartTimeField || hasEnded(fields.at(kStateField)))
        return {};
    const QByteArray bootId = contentOf(u"/proc/sys/kernel/random/boot_id"_s).trimmed();
    return {pid, fields.at(kStartTimeField).toLongLong(), QString::fromLatin1(bootId)};
}

bool ProcessIdentity::isAlive() const
{
    return !isNobody() && ofProcess(pid) == *this;
}
