// SPDX-License-Identifier: MIT
#include <host/storage/preparedstatements.h>

#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <optional>

using namespace Qt::StringLiterals;

/// Two connections to one file, which holds a table of the numbers 1 to 3.
class TestPreparedStatements : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void eachRunHasItsOwnValues();
    void theSameStatementRunsWhileItIsRead();
    void aStatementThatIsNotReadToItsEndHoldsNoLock();
    void aChangedTableIsSeen();
    void whatFailedWorksOnceItCan();
    void aRefusedRowDoesNotHinderTheNextOne();
    void nothingIsLeftInUse();

private:
    bool otherRuns(const QString &statement) { return bool(m_other->run(statement)); }
    qint64 numberOf(const QString &statement, const SqlValues &values = {});

    std::unique_ptr<QTemporaryDir> m_dir;
    std::optional<SqlDatabase> m_database;
    std::optional<SqlDatabase> m_other;
    std::optional<PreparedStatements> m_statements;
};

void TestPreparedStatements::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    for (auto *const database : {&m_database, &m_other}) {
        database->emplace();
        QVERIFY((*database)->open(m_dir->filePath(u"x.sqlite"_s), SqlDatabase::Access::Write, 0));
    }
    m_statements.emplace(*m_database);
    QVERIFY(otherRuns(u"CREATE TABLE numbers (n INTEGER PRIMARY KEY)"_s));
    QVERIFY(otherRuns(u"INSERT INTO numbers VALUES (1), (2), (3)"_s));
}

void TestPreparedStatements::cleanup()
{
    m_statements.reset();
    m_database.reset();
    m_other.reset();
}

/// -1 = there is none.
qint64 TestPreparedStatements::numberOf(const QString &statement, const SqlValues &values)
{
    auto run = m_statements->run(statement, values);
    return run && run->next() ? run->value(0).toNumber() : -1;
}

void TestPreparedStatements::eachRunHasItsOwnValues()
{
    const QString statement = u"SELECT n FROM numbers WHERE n > ? AND n < ?"_s;
    QCOMPARE(numberOf(statement, {0, 3}), 1);
    QCOMPARE(numberOf(statement, {2, 9}), 3);
    QCOMPARE(numberOf(statement, {3, 9}), -1);
}

void TestPreparedStatements::theSameStatementRunsWhileItIsRead()
{
    const QString statement = u"SELECT n FROM numbers WHERE n >= ? ORDER BY n"_s;
    QList<qint64> seen;
    for (int round = 0; round < 2; ++round) {
        auto outer = m_statements->run(statement, {1});
        QVERIFY(outer);
        while (outer->next()) {
            auto inner = m_statements->run(statement, {outer->value(0)});
            QVERIFY(inner);
            while (inner->next())
                seen.append(outer->value(0).toNumber() * 10 + inner->value(0).toNumber());
        }
    }
    const QList<qint64> once{11, 12, 13, 22, 23, 33};
    QCOMPARE(seen, once + once);
}

void TestPreparedStatements::aStatementThatIsNotReadToItsEndHoldsNoLock()
{
    const QString change = u"UPDATE numbers SET n = n + 10"_s;
    {
        auto run = m_statements->run(u"SELECT n FROM numbers"_s);
        QVERIFY(run && run->next());
        QVERIFY2(!otherRuns(change), "it is in the middle of reading");
    }
    QVERIFY2(otherRuns(change), "it is not");
    QCOMPARE(numberOf(u"SELECT n FROM numbers"_s), 11);
}

void TestPreparedStatements::aChangedTableIsSeen()
{
    const QString statement = u"SELECT n FROM numbers ORDER BY n"_s;
    QCOMPARE(numberOf(statement), 1);
    QVERIFY(otherRuns(u"DROP TABLE numbers"_s));
    QVERIFY(otherRuns(u"CREATE TABLE numbers (text TEXT, n INTEGER)"_s));
    QVERIFY(otherRuns(u"INSERT INTO numbers VALUES ('a', 5)"_s));
    QCOMPARE(numberOf(statement), 5);
}

void TestPreparedStatements::whatFailedWorksOnceItCan()
{
    const QString statement = u"SELECT n FROM others"_s;
    {
        auto run = m_statements->run(statement);
        QVERIFY(!run);
        QVERIFY2(run->lastError().text.contains(u"no such table"_s), qPrintable(run->lastError().text));
    }
    QVERIFY(otherRuns(u"CREATE TABLE others AS SELECT 7 AS n"_s));
    QCOMPARE(numberOf(statement), 7);
}

void TestPreparedStatements::aRefusedRowDoesNotHinderTheNextOne()
{
    const QString statement = u"INSERT INTO numbers VALUES (?)"_s;
    for (const int number : {4, 4, 5, 5, 6})
        m_statements->run(statement, {number});
    QCOMPARE(numberOf(u"SELECT count(*) FROM numbers"_s), 6);
    auto refused = m_statements->run(statement, {6});
    QVERIFY(!refused);
    QCOMPARE(refused->lastError().number & 0xff, 19);
}

void TestPreparedStatements::nothingIsLeftInUse()
{
    QCOMPARE(numberOf(u"SELECT n FROM numbers"_s), 1);
    auto first = std::make_unique<PreparedStatements::Run>(m_statements->run(u"SELECT n FROM numbers"_s));
    auto second = std::make_unique<PreparedStatements::Run>(m_statements->run(u"SELECT n FROM numbers"_s));
    QVERIFY((*first)->next());
    QVERIFY((*second)->next());
    first.reset();
    QVERIFY2((*second)->next(), "the other one's end is not its own");
    second.reset();
    QVERIFY(otherRuns(u"DELETE FROM numbers"_s));
}

QTEST_GUILESS_MAIN(TestPreparedStatements)
#include "tst_preparedstatements.moc"
