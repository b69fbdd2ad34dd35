// SPDX-License-Identifier: MIT
#include <host/storage/idranges.h>

#include <QTest>

using namespace Qt::StringLiterals;

class TestIdRanges : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void neighboursAreOneRange_data();
    void neighboursAreOneRange();
};

void TestIdRanges::neighboursAreOneRange_data()
{
    QTest::addColumn<QList<qint64>>("ids");
    QTest::addColumn<QString>("text");
    using Ids = QList<qint64>;
    QTest::newRow("none") << Ids() << QString();
    QTest::newRow("one") << Ids{4} << u"4"_s;
    QTest::newRow("two neighbours") << Ids{4, 5} << u"4–5"_s;
    QTest::newRow("two that are none") << Ids{4, 6} << u"4, 6"_s;
    QTest::newRow("ranges and single ones") << Ids{1, 2, 3, 5, 8, 9} << u"1–3, 5, 8–9"_s;
    QTest::newRow("a single one at the end") << Ids{1, 2, 3, 5} << u"1–3, 5"_s;
}

void TestIdRanges::neighboursAreOneRange()
{
    QFETCH(QList<qint64>, ids);
    QTEST(IdRanges::text(ids), "text");
}

QTEST_GUILESS_MAIN(TestIdRanges)
#include "tst_idranges.moc"
