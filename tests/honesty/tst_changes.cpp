// SPDX-License-Identifier: MIT
#include <tests/honesty/changes.h>
#include <tests/honesty/showing.h>
#include <tests/honesty/stage.h>
#include <tests/integration/plaitsandbox.h>
#include <tests/integration/programrun.h>

#include <QTest>

#include <functional>

using namespace Qt::StringLiterals;

namespace
{
using Kind = Impression::Kind;
using Visit = Exhibit::Visit;

constexpr int kPatienceMs = 120000;
constexpr int kChanged = 33;

/// A change at one time, and what became of the download.
struct Row {
    Change change;
    Meeting meeting;
    Impression onFail; ///< of --on-changed
    Impression onRestart; ///< where the change is seen

    QByteArray name() const { return meeting.inWords().toUtf8(); }
};

Visitor plaitThat(const QString &onChanged)
{
    Visitor plait = Visitor::plait();
    plait.arguments += QStringList{u"--on-changed"_s, onChanged};
    return plait;
}

QList<Row> allRows()
{
    QList<Row> rows;
    for (const Change &change : Change::all()) {
        for (const Change::Way way : Change::kWays) {
            const QList<Meeting> meetings = Meeting::allOf({change.exhibit(way)});
            for (const Meeting &meeting : meetings)
                rows.append({change, meeting, {}, {}});
        }
    }
    return rows;
}

QByteArray told(const Impression &impression)
{
    return u"%1, status %2, %3: %4"_s
        .arg(impression.inWords(), QString::number(impression.status), impression.assurance, impression.sentence)
        .toUtf8();
}
}

/// A file that changes while it is downloaded: what is seen of that, and what is done.
class TestChanges : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void piecesOfTwoFilesAreNeverCalledOne_data();
    void piecesOfTwoFilesAreNeverCalledOne();
    void theNewFileComesWholeWhereThatIsWanted_data();
    void theNewFileComesWholeWhereThatIsWanted();
    void whatNothingTellsIsCalledUnproven_data();
    void whatNothingTellsIsCalledUnproven();
    void checkSaysWhatResumeDoes_data();
    void checkSaysWhatResumeDoes();

private:
    /// Leads plait to those that are meant, and puts down what became of that.
    void run(const QString &onChanged, Impression Row::*place, const std::function<bool(const Row &)> &isMeant);
    void addRows(bool areSeen);

    QList<Row> m_rows;
};

void TestChanges::initTestCase()
{
    m_rows = allRows();
    run(u"fail"_s, &Row::onFail, [](const Row &) { return true; });
    run(u"restart"_s, &Row::onRestart, [](const Row &row) { return row.change.isSeen; });
}

void TestChanges::run(const QString &onChanged, Impression Row::*place, const std::function<bool(const Row &)> &isMeant)
{
    QList<Meeting> meetings;
    for (const Row &row : std::as_const(m_rows)) {
        if (isMeant(row))
            meetings.append(row.meeting);
    }
    QList<QList<Impression>> impressions = Showing::leadAll({plaitThat(onChanged)}, meetings, kPatienceMs);
    for (Row &row : m_rows) {
        if (isMeant(row))
            row.*place = impressions.takeFirst().constFirst();
    }
}

void TestChanges::addRows(bool areSeen)
{
    QTest::addColumn<qsizetype>("row");
    for (qsizetype row = 0; row < m_rows.size(); ++row) {
        if (m_rows.at(row).change.isSeen == areSeen)
            QTest::newRow(m_rows.at(row).name().constData()) << row;
    }
}

void TestChanges::piecesOfTwoFilesAreNeverCalledOne_data()
{
    addRows(true);
}

void TestChanges::piecesOfTwoFilesAreNeverCalledOne()
{
    QFETCH(const qsizetype, row);
    const Impression &end = m_rows.at(row).onFail;
    const bool isRefused = end.kind == Kind::Error && end.status == kChanged && !end.sentence.isEmpty() && !end.hasFile;
    QVERIFY2(isRefused || end.kind == Kind::Right, told(end));
}

void TestChanges::theNewFileComesWholeWhereThatIsWanted_data()
{
    addRows(true);
}

void TestChanges::theNewFileComesWholeWhereThatIsWanted()
{
    QFETCH(const qsizetype, row);
    const Impression &end = m_rows.at(row).onRestart;
    QVERIFY2(end.kind == Kind::Right, told(end));
}

void TestChanges::whatNothingTellsIsCalledUnproven_data()
{
    addRows(false);
}

void TestChanges::whatNothingTellsIsCalledUnproven()
{
    QFETCH(const qsizetype, row);
    const Impression &end = m_rows.at(row).onFail;
    const bool isUnproven = end.status == 0 && end.assurance == u"unproven"_s && !end.doubt.isEmpty();
    QVERIFY2(end.kind == Kind::Right || (end.kind == Kind::Wrong && isUnproven), told(end));
}

void TestChanges::checkSaysWhatResumeDoes_data()
{
    QTest::addColumn<qsizetype>("row");
    const QList<Change> changes = Change::all();
    for (qsizetype row = 0; row < changes.size(); ++row)
        QTest::newRow(changes.at(row).name.constData()) << row;
}

void TestChanges::checkSaysWhatResumeDoes()
{
    QFETCH(const qsizetype, row);
    const Change change = Change::all().at(row);
    Stage stage({change.exhibit(Change::Way::Direct), Visit::TakenUpAgain});
    PlaitSandbox home;
    const Visitor plait = plaitThat(u"fail"_s);
    QVERIFY(stage.leavePartWay(plait, home, plait.argumentsFor(stage.url(), {})));
    const PlaitResult check = home.runBare({u"check"_s, u"1"_s});
    const PlaitResult resume = home.runBare({u"resume"_s, u"1"_s, u"--on-changed"_s, u"fail"_s});
    QVERIFY2(check.status == (change.isSeen ? kChanged : 0), check.out + check.err);
    QVERIFY2(resume.status == check.status, resume.err);
}

QTEST_GUILESS_MAIN(TestChanges)
#include "tst_changes.moc"
