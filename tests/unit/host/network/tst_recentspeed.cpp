// SPDX-License-Identifier: MIT
#include <host/network/recentspeed.h>

#include <QTest>

/// How fast bytes came of late.
class TestRecentSpeed : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whatCameOfLate_data();
    void whatCameOfLate();
};

void TestRecentSpeed::whatCameOfLate_data()
{
    using Came = QList<std::pair<qint64, qint64>>; // bytes, and when
    QTest::addColumn<Came>("came");
    QTest::addColumn<qint64>("now");
    QTest::addColumn<qint64>("speed");
    QTest::newRow("nothing") << Came{} << qint64(500) << qint64(0);
    QTest::newRow("the first second so far") << Came{{100, 10}, {200, 900}} << qint64(950) << qint64(300);
    QTest::newRow("the last full second") << Came{{100, 10}, {200, 900}, {7, 1100}} << qint64(1200) << qint64(300);
    QTest::newRow("nothing since") << Came{{100, 10}} << qint64(1999) << qint64(100);
    QTest::newRow("a second without any") << Came{{100, 10}} << qint64(2000) << qint64(0);
    QTest::newRow("it goes on after a pause") << Came{{100, 10}, {70, 5100}} << qint64(5200) << qint64(70);
}

void TestRecentSpeed::whatCameOfLate()
{
    using Came = QList<std::pair<qint64, qint64>>;
    QFETCH(Came, came);
    QFETCH(qint64, now);
    RecentSpeed speed;
    for (const auto &[bytes, when] : came)
        speed.add(bytes, when);
    QTEST(speed.at(now), "speed");
}

QTEST_GUILESS_MAIN(TestRecentSpeed)
#include "tst_recentspeed.moc"
