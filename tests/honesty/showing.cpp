// SPDX-License-Identifier: MIT
#include <tests/honesty/showing.h>

#include <tests/integration/plaitsandbox.h>
#include <tests/integration/programrun.h>
#include <tests/integration/sidebyside.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/testfiles.h>

#include <QFile>
#include <QJsonObject>

#include <algorithm>
#include <atomic>
#include <csignal>

using namespace Qt::StringLiterals;

namespace
{
using Kind = Impression::Kind;
using Visit = Exhibit::Visit;

constexpr int kSideBySide = 8;
/// Not every program ends at Ctrl-C while a server is silent.
constexpr int kStopPatienceMs = 10000;
constexpr qint64 kBytesPerSecond = 3 * 1024 * 1024;
constexpr qint64 kCutAfter = 1024 * 1024;
constexpr qint64 kHeldAfter = 200000;
constexpr qint64 kWord = 16;
const QString kName = u"file.bin"_s;

/// The exhibit's server for one visit.
class Stage
{
    Q_DISABLE_COPY_MOVE(Stage)

public:
    explicit Stage(const Meeting &meeting)
        : m_script(meeting.exhibit.script)
        , m_isPrelude(meeting.visit == Visit::TakenUpAgain)
        , m_number(m_isPrelude ? 1 : 0)
        , m_hasToCut(meeting.visit == Visit::AfterACut)
    {
        // Handlers run one at a time, in the server's thread.
        m_server.setFallback([this](const ScriptedRequest &request) { return answerTo(request); });
    }

    QString url() const { return m_server.url(QString::fromLatin1(Exhibit::kPath)).toString(); }

    /// So many connections stand in the middle of their answers.
    bool holds(int connections) const { return m_server.heldCount() >= connections; }

    /// The first run is over.
    void endPrelude()
    {
        m_isPrelude = false;
        m_server.dropConnections();
    }

private:
    ScriptedResponse answerTo(const ScriptedRequest &request)
    {
        const bool isPrelude = m_isPrelude;
        const Asked asked = Asked::of(request, isPrelude ? 0 : m_number);
        m_number += !isPrelude && request.method == "GET" && asked.path == Exhibit::kPath ? 1 : 0;
        ScriptedResponse response = m_script(asked);
        if (response.status != 200 && response.status != 206) {
            return response;
        }
        response.bytesPerSecond = kBytesPerSecond;
        response.holdAfter = isPrelude ? kHeldAfter : response.holdAfter;
        if (m_hasToCut) {
            response.cutAfter = kCutAfter;
            m_hasToCut = false;
        }
        return response;
    }

    const Exhibit::Script m_script;
    std::atomic_bool m_isPrelude;
    int m_number;
    bool m_hasToCut;
    ScriptedServer m_server; // the last one: it ends before what its handlers use
};

bool hasBegun(const PlaitSandbox &home)
{
    const QByteArray beginning = FileVersion::number(0).bytes(0, kWord);
    const QStringList names = home.files();
    return std::any_of(names.begin(), names.end(), [&](const QString &name) {
        QFile file(home.path(name));
        return file.open(QIODevice::ReadOnly) && file.read(kWord) == beginning;
    });
}

/// Runs the program until there is something to take up, where it can over more than one connection.
void leavePartWay(const Visitor &visitor, const Meeting &meeting, const PlaitSandbox &home,
                  const QStringList &arguments, Stage &stage)
{
    const Exhibit::Script script = meeting.exhibit.script;
    const bool honoursRanges = script(Asked()).honoursRanges;
    const int connections = visitor.hasSeveralConnections && honoursRanges ? 2 : 1;
    ProgramRun::Interruption interruption{.signal = SIGINT};
    interruption.isTime = [&] { return stage.holds(connections) && (visitor.holdsBytesBack || hasBegun(home)); };
    ProgramRun::of(home, visitor.program, arguments, kStopPatienceMs, interruption);
    stage.endPrelude();
}

/// plait's is in its summary.
QString sentenceOf(const ProgramRun &run)
{
    const QHash<QString, QJsonObject> summaries = run.summaries();
    return summaries.isEmpty() ? QString::fromUtf8(run.err.trimmed()) : summaries.begin()->value(u"error"_s).toString();
}

Kind kindOf(const ProgramRun &run, const Exhibit &exhibit, const QString &path)
{
    if (run.status < 0) {
        return run.hasEnded ? Kind::Died : Kind::Hung;
    }
    if (run.status > 0) {
        return Kind::Error;
    }
    return QFile::exists(path) && exhibit.isRight(TestFiles::readFile(path)) ? Kind::Right : Kind::Wrong;
}
}

QString Impression::inWords() const
{
    switch (kind) {
    case Kind::Right:
        return u"right"_s;
    case Kind::Error:
        return u"error"_s;
    case Kind::Wrong:
        return u"WRONG"_s;
    case Kind::Hung:
        return u"hung"_s;
    case Kind::Died:
        return u"died"_s;
    case Kind::NotBegun:
        break;
    }
    return u"nothing kept"_s;
}

QString Impression::wrongFor(const Meeting &meeting) const
{
    if (kind == Kind::Right) {
        return {};
    }
    if (kind != Kind::Error) {
        return inWords() + u", status %1: "_s.arg(status) + sentence;
    }
    if (sentence.isEmpty()) {
        return u"status %1 without a sentence"_s.arg(status);
    }
    if (hasFile && meeting.exhibit.isKnowable) {
        return u"status %1, and there is a file: %2"_s.arg(status).arg(sentence);
    }
    return meeting.exhibit.hasToBeRightIn(meeting.visit) ? u"status %1: %2"_s.arg(status).arg(sentence) : QString();
}

QList<Meeting> Meeting::allOf(const QList<Exhibit> &exhibits)
{
    QList<Meeting> meetings;
    for (const Exhibit &exhibit : exhibits) {
        for (const Visit visit : exhibit.visits) {
            meetings.append({exhibit, visit});
        }
    }
    return meetings;
}

QString Meeting::inWords() const
{
    return QString::fromUtf8(exhibit.name + ", " + Exhibit::inWords(visit));
}

Impression Showing::lead(const Visitor &visitor, const Meeting &meeting, int patienceMs)
{
    Stage stage(meeting);
    const PlaitSandbox home;
    visitor.moveInto(home);
    static const QByteArray kSha256 = TestFiles::sha256(FileVersion::number(0).bytes(0, FileVersion::kSize));
    const QStringList arguments =
        visitor.argumentsFor(stage.url(), meeting.exhibit.isKnowable ? QByteArray() : kSha256);
    Impression impression;
    if (meeting.visit == Visit::TakenUpAgain) {
        leavePartWay(visitor, meeting, home, arguments, stage);
        if (!hasBegun(home)) {
            return impression;
        }
    }
    const ProgramRun run = ProgramRun::of(home, visitor.program, arguments, patienceMs, {});
    impression.kind = kindOf(run, meeting.exhibit, home.path(kName));
    impression.status = run.status;
    impression.hasFile = home.has(kName);
    impression.sentence = sentenceOf(run);
    return impression;
}

QList<QList<Impression>> Showing::leadAll(const QList<Visitor> &visitors, const QList<Meeting> &meetings,
                                          int patienceMs)
{
    QList<Impression> all(visitors.size() * meetings.size());
    Impression *const places = all.data();
    std::atomic<qsizetype> next = 0;
    runSideBySide(kSideBySide, [&] {
        const qsizetype place = next++;
        if (place < all.size()) {
            places[place] =
                lead(visitors.at(place % visitors.size()), meetings.at(place / visitors.size()), patienceMs);
        }
        return place < all.size();
    });
    QList<QList<Impression>> impressions;
    for (qsizetype i = 0; i < meetings.size(); ++i) {
        impressions.append(all.mid(i * visitors.size(), visitors.size()));
    }
    return impressions;
}
