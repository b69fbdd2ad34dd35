// SPDX-License-Identifier: MIT
#include <tests/honesty/showing.h>
#include <tests/support/testfiles.h>

#include <QSet>
#include <QTest>

using namespace Qt::StringLiterals;

namespace
{
constexpr int kPatienceMs = 120000;
}

/// Servers that lie, forget and change: what plait calls whole is a file that the server has.
class TestHonesty : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void noTwoExhibitsHaveOneName();
    void theDocumentShowsEveryExhibit();
    void plaitNeverTakesAWrongFileForTheRightOne_data();
    void plaitNeverTakesAWrongFileForTheRightOne();

private:
    QList<Meeting> m_meetings;
    QList<QList<Impression>> m_impressions;
};

void TestHonesty::initTestCase()
{
    m_meetings = Meeting::allOf(Exhibit::all());
    m_impressions = Showing::leadAll({Visitor::plait()}, m_meetings, kPatienceMs);
}

void TestHonesty::noTwoExhibitsHaveOneName()
{
    QSet<QByteArray> names;
    for (const Exhibit &exhibit : Exhibit::all()) {
        QVERIFY2(!names.contains(exhibit.name), exhibit.name.constData());
        names.insert(exhibit.name);
    }
}

void TestHonesty::theDocumentShowsEveryExhibit()
{
    const QByteArray page = TestFiles::readFile(QStringLiteral(HONESTY_PAGE));
    for (const Exhibit &exhibit : Exhibit::all()) {
        QVERIFY2(page.contains("- **" + exhibit.name + "**: " + exhibit.about + '\n'), exhibit.name.constData());
    }
}

void TestHonesty::plaitNeverTakesAWrongFileForTheRightOne_data()
{
    QTest::addColumn<qsizetype>("row");
    for (qsizetype row = 0; row < m_meetings.size(); ++row) {
        QTest::newRow(m_meetings.at(row).inWords().toUtf8().constData()) << row;
    }
}

void TestHonesty::plaitNeverTakesAWrongFileForTheRightOne()
{
    QFETCH(const qsizetype, row);
    const QString wrong = m_impressions.at(row).constFirst().wrongFor(m_meetings.at(row));
    QVERIFY2(wrong.isEmpty(), qPrintable(wrong));
}

QTEST_GUILESS_MAIN(TestHonesty)
#include "tst_honesty.moc"
