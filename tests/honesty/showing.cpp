// SPDX-License-Identifier: MIT
#include <tests/honesty/showing.h>

#include <tests/honesty/stage.h>
#include <tests/integration/plaitsandbox.h>
#include <tests/integration/programrun.h>
#include <tests/integration/sidebyside.h>
#include <tests/support/testfiles.h>

#include <QFile>
#include <QJsonObject>

#include <atomic>

using namespace Qt::StringLiterals;

namespace
{
using Kind = Impression::Kind;
using Visit = Exhibit::Visit;

constexpr int kSideBySide = 8;
const QString kName = u"file.bin"_s;

/// plait says it in its summary.
void takeWords(const ProgramRun &run, Impression &impression)
{
    const QHash<QString, QJsonObject> summaries = run.summaries();
    if (summaries.isEmpty()) {
        impression.sentence = QString::fromUtf8(run.err.trimmed());
        return;
    }
    const QJsonObject &summary = *summaries.begin();
    impression.sentence = summary.value(u"error"_s).toString();
    impression.assurance = summary.value(u"assurance"_s).toString();
    impression.doubt = summary.value(u"assurance_reason"_s).toString();
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
        if (!stage.leavePartWay(visitor, home, arguments)) {
            return impression;
        }
    }
    const ProgramRun run = ProgramRun::of(home, visitor.program, arguments, patienceMs, {});
    impression.kind = kindOf(run, meeting.exhibit, home.path(kName));
    impression.status = run.status;
    impression.hasFile = home.has(kName);
    takeWords(run, impression);
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
