// SPDX-License-Identifier: MIT
#include <host/storage/processidentity.h>

#include <QCoreApplication>
#include <QFile>

#include <sys/stat.h>

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

/// Of this run of the machine. A namespace's number is given out again only once all its processes have gone.
QString readPlace()
{
    const QString boot = QString::fromLatin1(contentOf(u"/proc/sys/kernel/random/boot_id"_s).trimmed());
    struct stat numbers = {};
    const bool isKnown = stat("/proc/self/ns/pid", &numbers) == 0;
    return isKnown ? u"%1/%2"_s.arg(boot).arg(numbers.st_ino) : boot;
}

const QString &placeHere()
{
    static const QString place = readPlace();
    return place;
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
    return {pid, fields.at(kStartTimeField).toLongLong(), placeHere()};
}

/// What earlier versions wrote is looked for here: one that was killed is not waited for.
bool ProcessIdentity::isHere() const
{
    const QString &here = placeHere();
    return bootId == here || (!bootId.contains(u'/') && bootId == here.section(u'/', 0, 0));
}

bool ProcessIdentity::isAlive() const
{
    return !isNobody() && isHere() && ofProcess(pid).startTime == startTime;
}
