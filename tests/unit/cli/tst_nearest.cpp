// SPDX-License-Identifier: MIT
#include <cli/nearest.h>

#include <QTest>

using namespace Qt::StringLiterals;

class TestNearest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theNearestIsFound_data();
    void theNearestIsFound();
};

void TestNearest::theNearestIsFound_data()
{
    QTest::addColumn<QString>("word");
    QTest::addColumn<QString>("nearest");
    QTest::newRow("two letters swapped") << u"--hlep"_s << u"--help"_s;
    QTest::newRow("one missing") << u"--outpt"_s << u"--output"_s;
    QTest::newRow("one too many") << u"--ouutput"_s << u"--output"_s;
    QTest::newRow("another one") << u"--outpux"_s << u"--output"_s;
    QTest::newRow("a beginning") << u"--max-conn"_s << u"--max-connections"_s;
    QTest::newRow("the beginning of several") << u"--outp"_s << u"--output"_s;
    QTest::newRow("two slips in a long word") << u"--max-connektion"_s << u"--max-connections"_s;
    QTest::newRow("the word itself") << u"--help"_s << u"--help"_s;
    QTest::newRow("nothing near") << u"--nonsense"_s << QString();
    QTest::newRow("a short word that is another") << u"abc"_s << QString();
    QTest::newRow("no word") << QString() << QString();
}

void TestNearest::theNearestIsFound()
{
    QFETCH(QString, word);
    QTEST(Nearest::of(
              word,
              {u"--help"_s, u"--output-dir"_s, u"--output"_s, u"--max-connections"_s, u"--max-downloads"_s, u"xyz"_s}),
          "nearest");
}

QTEST_GUILESS_MAIN(TestNearest)
#include "tst_nearest.moc"
