// SPDX-License-Identifier: MIT
#include <tests/honesty/visitor.h>

#include <tests/integration/plaitsandbox.h>
#include <tests/integration/programrun.h>

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QStandardPaths>

using namespace Qt::StringLiterals;

namespace
{
constexpr int kPatienceMs = 20000;
const QString kChecksum = u"%SHA256%"_s;

QList<Visitor> others()
{
    return {
        {.name = u"curl"_s,
         .arguments = {u"-q"_s, u"-fsSL"_s, u"-C"_s, u"-"_s, u"--retry"_s, u"2"_s, u"--retry-delay"_s, u"1"_s, u"-o"_s,
                       u"file.bin"_s}},
        {.name = u"wget"_s, .arguments = {u"--no-config"_s, u"-nv"_s, u"-c"_s, u"--tries=3"_s, u"--waitretry=1"_s}},
        // While a server is silent it does not end at Ctrl-C.
        {.name = u"wget2"_s,
         .arguments = {u"--no-config"_s, u"-nv"_s, u"-c"_s, u"--tries=3"_s, u"--waitretry=1"_s},
         .stopPatienceMs = 10000},
        {.name = u"aria2c"_s,
         .arguments = {u"--no-conf"_s, u"-q"_s, u"-c"_s, u"-x8"_s, u"-s8"_s, u"--min-split-size=1M"_s,
                       u"--max-tries=3"_s, u"--retry-wait=1"_s},
         .checksumArgument = u"--checksum=sha-256="_s + kChecksum,
         .hasSeveralConnections = true,
         .holdsBytesBack = true},
        {.name = u"axel"_s, .arguments = {u"-q"_s, u"-n"_s, u"8"_s}, .hasSeveralConnections = true},
    };
}
}

Visitor Visitor::plait()
{
    return {.name = u"plait"_s,
            .program = PlaitSandbox::program(),
            .arguments = {u"--json"_s, u"-q"_s, u"-x"_s, u"8"_s, u"--tries"_s, u"3"_s, u"--retry-wait"_s, u"0.1"_s},
            .checksumArgument = u"--checksum=sha-256="_s + kChecksum,
            .hasSeveralConnections = true};
}

QList<Visitor> Visitor::all()
{
    QList<Visitor> installed{plait()};
    for (Visitor visitor : others()) {
        visitor.program = QStandardPaths::findExecutable(visitor.name);
        if (!visitor.program.isEmpty()) {
            installed.append(visitor);
        }
    }
    return installed;
}

void Visitor::moveInto(const PlaitSandbox &home) const
{
    if (name == u"axel"_s) {
        // It tries again without end, and waits for 20 s each time.
        QFile settings(QDir(home.environment().value(u"HOME"_s)).filePath(u".axelrc"_s));
        if (settings.open(QIODevice::WriteOnly)) {
            settings.write("reconnect_delay = 1\n");
        }
    }
}

QStringList Visitor::argumentsFor(const QString &url, const QByteArray &sha256) const
{
    QStringList all = arguments;
    if (!sha256.isEmpty() && !checksumArgument.isEmpty()) {
        all.append(QString(checksumArgument).replace(kChecksum, QString::fromLatin1(sha256)));
    }
    return all + QStringList{url};
}

QString Visitor::version() const
{
    const PlaitSandbox home;
    const ProgramRun run = ProgramRun::of(home, program, {u"--version"_s}, kPatienceMs, {});
    static const QRegularExpression kNameAndNumber(u"^.*?[0-9]+([.][0-9]+)+"_s);
    return kNameAndNumber.match(QString::fromUtf8(run.out.trimmed())).captured();
}
