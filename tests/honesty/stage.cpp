// SPDX-License-Identifier: MIT
#include <tests/honesty/stage.h>

#include <tests/integration/plaitsandbox.h>
#include <tests/integration/programrun.h>

#include <QFile>

#include <algorithm>
#include <csignal>

using namespace Qt::StringLiterals;

namespace
{
using Visit = Exhibit::Visit;

constexpr qint64 kBytesPerSecond = 3 * 1024 * 1024;
constexpr qint64 kCutAfter = 1024 * 1024;
constexpr qint64 kHeldAfter = 200000;
constexpr qint64 kWord = 16;

bool hasBegun(const PlaitSandbox &home)
{
    const QByteArray beginning = FileVersion::number(0).bytes(0, kWord);
    const QStringList names = home.files();
    return std::any_of(names.begin(), names.end(), [&](const QString &name) {
        QFile file(home.path(name));
        return file.open(QIODevice::ReadOnly) && file.read(kWord) == beginning;
    });
}
}

Stage::Stage(const Meeting &meeting)
    : m_script(meeting.exhibit.script)
    , m_isPrelude(meeting.visit == Visit::TakenUpAgain)
    , m_number(m_isPrelude ? 1 : 0)
    , m_hasToCut(meeting.visit == Visit::AfterACut)
{
    // Handlers run one at a time, in the server's thread.
    m_server.setFallback([this](const ScriptedRequest &request) { return answerTo(request); });
}

QString Stage::url() const
{
    return m_server.url(QString::fromLatin1(Exhibit::kPath)).toString();
}

bool Stage::leavePartWay(const Visitor &visitor, const PlaitSandbox &home, const QStringList &arguments)
{
    const Exhibit::Script script = m_script;
    const bool honoursRanges = script(Asked()).honoursRanges;
    const int connections = visitor.hasSeveralConnections && honoursRanges ? 2 : 1;
    ProgramRun::Interruption interruption{.signal = SIGINT};
    interruption.isTime = [&] {
        return m_server.heldCount() >= connections && (visitor.holdsBytesBack || hasBegun(home));
    };
    ProgramRun::of(home, visitor.program, arguments, visitor.stopPatienceMs, interruption);
    m_isPrelude = false;
    m_server.dropConnections();
    return hasBegun(home);
}

ScriptedResponse Stage::answerTo(const ScriptedRequest &request)
{
    Asked asked = Asked::of(request);
    asked.isPrelude = m_isPrelude;
    asked.number = asked.isPrelude ? 0 : m_number;
    m_number += !asked.isPrelude && request.method == "GET" && asked.path == Exhibit::kPath ? 1 : 0;
    ScriptedResponse response = m_script(asked);
    if (response.status != 200 && response.status != 206) {
        return response;
    }
    response.bytesPerSecond = kBytesPerSecond;
    response.holdAfter = asked.isPrelude ? kHeldAfter : response.holdAfter;
    if (m_hasToCut) {
        response.cutAfter = kCutAfter;
        m_hasToCut = false;
    }
    return response;
}
