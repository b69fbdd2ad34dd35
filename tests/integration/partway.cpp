// SPDX-License-Identifier: MIT
#include <tests/integration/partway.h>

#include <tests/support/testfiles.h>

#include <QRegularExpression>
#include <QTest>

#include <csignal>

using namespace Qt::StringLiterals;

namespace
{
constexpr int kUnfinished = 7;
constexpr qint64 kWord = 16;
constexpr qint64 kSlow = 60000;
}

ScriptedResponse PartWay::held(quint64 seed, qint64 size, qint64 bytes)
{
    ScriptedResponse response = ScriptedResponse::file(seed, size);
    response.bytesPerSecond = kSlow;
    response.holdAfter = bytes;
    return response;
}

QString PartWay::leave(PlaitSandbox &plait, const QStringList &arguments, const QString &name, quint64 seed)
{
    plait.start(arguments);
    const QByteArray beginning = TestFiles::content(seed, 0, kWord);
    const bool begun = QTest::qWaitFor([&] { return !plait.isRunning() || plait.partBeginsWith(name, beginning); },
                                       PlaitSandbox::kPatienceMs);
    if (!begun || !plait.isRunning()) {
        return u"nothing came: "_s + QString::fromUtf8(plait.errorText());
    }
    plait.sendSignal(SIGTERM);
    const PlaitResult result = plait.finish();
    return result.status == kUnfinished
        ? QString()
        : u"status %1: %2"_s.arg(QString::number(result.status), QString::fromUtf8(result.err));
}

qint64 PartWay::startOf(const ScriptedRequest &request)
{
    const QByteArray range = request.header("Range");
    return range.startsWith("bytes=") ? range.mid(6).split('-').constFirst().toLongLong() : 0;
}

QList<QStringList> PartWay::commandsIn(const QByteArray &message)
{
    static const QRegularExpression kCommand(u"\"plait ([^\"]+)\""_s);
    QList<QStringList> commands;
    QRegularExpressionMatchIterator matches = kCommand.globalMatch(QString::fromUtf8(message));
    while (matches.hasNext()) {
        commands.append(matches.next().captured(1).split(u' '));
    }
    return commands;
}
