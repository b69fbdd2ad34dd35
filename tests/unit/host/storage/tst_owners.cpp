// SPDX-License-Identifier: MIT
#include <host/storage/owners.h>
#include <host/storage/processidentity.h>
#include <host/storage/recordrows.h>
#include <host/storage/schema.h>

#include <QTest>

#include <optional>

using namespace Qt::StringLiterals;

namespace
{

constexpr qint64 kDay = 24 * 60 * 60;

const ProcessIdentity kElsewhere{7, 8, u"another run of a machine"_s};

}

class TestOwners : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void whoRenewsHasOneRowWithAnEnd();
    void whatHasLongEndedGoesWithTheNextThatRenews();
    void whoeverIsHereIsAskedForItself();
    void whoeverIsElsewhereLivesUntilItsEnd_data();
    void whoeverIsElsewhereLivesUntilItsEnd();
    void howLongItMayBeIsToldOfWhomNobodySees();
    void whoeverIsInAnotherContainerLivesUntilItsEnd();

private:
    qint64 number(const QString &statement, const SqlValues &values = {});
    bool add(const ProcessIdentity &owner, qint64 secondsFromNow);

    std::optional<SqlDatabase> m_database;
    std::optional<RecordRows> m_rows;
};

void TestOwners::init()
{
    m_rows.reset();
    m_database.emplace();
    QVERIFY(m_database->open(SqlDatabase::inMemory()));
    Clause reason;
    QVERIFY2(Schema::upgrade(*m_database, &reason) == Schema::Outcome::Done, qPrintable(reason.plain()));
    m_rows.emplace(*m_database);
}

/// -1 = there is none.
qint64 TestOwners::number(const QString &statement, const SqlValues &values)
{
    auto row = m_rows->run(statement, values);
    return row && row->next() ? row->value(0).toNumber() : -1;
}

bool TestOwners::add(const ProcessIdentity &owner, qint64 secondsFromNow)
{
    return m_rows
               ->run(u"INSERT INTO owners (boot_id, pid, start_time, machine, until) SELECT ?, ?, ?, machine, "
                     u"unixepoch() + ? FROM owners LIMIT 1"_s,
                     {owner.bootId, owner.pid, owner.startTime, secondsFromNow})
               ->changes()
        == 1;
}

void TestOwners::whoRenewsHasOneRowWithAnEnd()
{
    QVERIFY(Owners::renew(*m_rows));
    QVERIFY(m_rows->run(u"UPDATE owners SET until = unixepoch() - 1"_s, {}));
    QVERIFY(Owners::renew(*m_rows));
    const ProcessIdentity me = ProcessIdentity::current();
    QCOMPARE(number(u"SELECT count(*) FROM owners"_s), 1);
    QCOMPARE(number(u"SELECT count(*) FROM owners WHERE boot_id = ? AND pid = ? AND start_time = ? AND machine <> ''"_s,
                    {me.bootId, me.pid, me.startTime}),
             1);
    const qint64 ahead = number(u"SELECT until - unixepoch() FROM owners"_s);
    QVERIFY2(ahead > Owners::kLeaseSeconds / 2 && ahead <= Owners::kLeaseSeconds, qPrintable(QString::number(ahead)));
    QVERIFY2(Owners::kRenewMs < Owners::kLeaseSeconds * 1000 / 2, "one that is late once would own nothing any more");
}

void TestOwners::whatHasLongEndedGoesWithTheNextThatRenews()
{
    QVERIFY(Owners::renew(*m_rows));
    QVERIFY(add(kElsewhere, -kDay + Owners::kLeaseSeconds));
    QVERIFY(Owners::renew(*m_rows));
    QCOMPARE(number(u"SELECT count(*) FROM owners"_s), 2);
    QVERIFY(m_rows->run(u"UPDATE owners SET until = until - ?"_s, {2 * Owners::kLeaseSeconds}));
    QVERIFY(Owners::renew(*m_rows));
    QCOMPARE(number(u"SELECT count(*) FROM owners"_s), 1);
    QCOMPARE(number(u"SELECT pid FROM owners"_s), ProcessIdentity::current().pid);
}

void TestOwners::whoeverIsHereIsAskedForItself()
{
    const ProcessIdentity me = ProcessIdentity::current();
    QVERIFY2(Owners::isAlive(*m_rows, me), "it has no row, and needs none");
    ProcessIdentity before = me;
    --before.startTime;
    QVERIFY(!Owners::isAlive(*m_rows, before));
    QVERIFY(!Owners::isAlive(*m_rows, {}));
}

void TestOwners::whoeverIsElsewhereLivesUntilItsEnd_data()
{
    QTest::addColumn<qint64>("seconds");
    QTest::addColumn<bool>("isAlive");
    QTest::newRow("its end lies ahead") << Owners::kLeaseSeconds << true;
    QTest::newRow("by a clock that is ahead of this one") << Owners::kLeaseSeconds + 30 << true;
    QTest::newRow("its end has passed") << qint64(-1) << false;
    QTest::newRow("by a clock that was wrong") << kDay << false;
}

void TestOwners::whoeverIsElsewhereLivesUntilItsEnd()
{
    QFETCH(qint64, seconds);
    QVERIFY2(!Owners::isAlive(*m_rows, kElsewhere), "nobody has said so");
    QVERIFY(Owners::renew(*m_rows) && add(kElsewhere, seconds));
    QTEST(Owners::isAlive(*m_rows, kElsewhere), "isAlive");
    ProcessIdentity another = kElsewhere;
    ++another.startTime;
    QVERIFY(!Owners::isAlive(*m_rows, another));
}

void TestOwners::howLongItMayBeIsToldOfWhomNobodySees()
{
    int left = -1;
    QVERIFY(Owners::renew(*m_rows) && add(kElsewhere, 43));
    QVERIFY(Owners::isAlive(*m_rows, kElsewhere, &left));
    QVERIFY2(left > 0 && left <= 43, qPrintable(QString::number(left)));
    QVERIFY(Owners::isAlive(*m_rows, ProcessIdentity::current(), &left));
    QCOMPARE(left, 0);
    QVERIFY(m_rows->run(u"UPDATE owners SET until = unixepoch() - 1"_s, {}));
    left = -1;
    QVERIFY(!Owners::isAlive(*m_rows, kElsewhere, &left));
    QCOMPARE(left, 0);
}

/// No process of that number is seen here, and that proves nothing.
void TestOwners::whoeverIsInAnotherContainerLivesUntilItsEnd()
{
    ProcessIdentity owner = ProcessIdentity::current();
    owner.bootId += u'1';
    QVERIFY(Owners::renew(*m_rows) && add(owner, Owners::kLeaseSeconds));
    QVERIFY(Owners::isAlive(*m_rows, owner));
    QVERIFY(m_rows->run(u"UPDATE owners SET until = unixepoch() - 1"_s, {}));
    QVERIFY(!Owners::isAlive(*m_rows, owner));
    QVERIFY2(Owners::isAlive(*m_rows, ProcessIdentity::current()), "it is seen, however late it is");
}

QTEST_GUILESS_MAIN(TestOwners)
#include "tst_owners.moc"
