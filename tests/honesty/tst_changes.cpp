// SPDX-License-Identifier: MIT
#include <tests/honesty/changes.h>
#include <tests/honesty/showing.h>
#include <tests/honesty/stage.h>
#include <tests/integration/plaitsandbox.h>
#include <tests/integration/programrun.h>

#include <QTest>

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
    Impression onRestart;

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
    return u"%1, status %2: %3"_s.arg(impression.inWords()).arg(impression.status).arg(impression.sentence).toUtf8();
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
    void checkSaysWhatResumeDoes_data();
    void checkSaysWhatResumeDoes();

private:
    void addRows();

    QList<Row> m_rows;
};

void TestChanges::initTestCase()
{
    m_rows = allRows();
    QList<Meeting> meetings;
    for (const Row &row : std::as_const(m_rows))
        meetings.append(row.meeting);
    const QList<QList<Impression>> all =
        Showing::leadAll({plaitThat(u"fail"_s), plaitThat(u"restart"_s)}, meetings, kPatienceMs);
    for (qsizetype i = 0; i < m_rows.size(); ++i) {
        m_rows[i].onFail = all.at(i).at(0);
        m_rows[i].onRestart = all.at(i).at(1);
    }
}

void TestChanges::addRows()
{
    QTest::addColumn<qsizetype>("row");
    for (qsizetype row = 0; row < m_rows.size(); ++row) {
        if (m_rows.at(row).change.isSeen)
            QTest::newRow(m_rows.at(row).name().constData()) << row;
    }
}

void TestChanges::piecesOfTwoFilesAreNeverCalledOne_data()
{
    addRows();
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
    addRows();
}

void TestChanges::theNewFileComesWholeWhereThatIsWanted()
{
    QFETCH(const qsizetype, row);
    const Impression &end = m_rows.at(row).onRestart;
    QVERIFY2(end.kind == Kind::Right, told(end));
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
