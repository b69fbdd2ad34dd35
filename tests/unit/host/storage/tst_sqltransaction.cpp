// SPDX-License-Identifier: MIT
#include <host/storage/preparedstatements.h>
#include <host/storage/sqltransaction.h>

#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <optional>

using namespace Qt::StringLiterals;

namespace
{

/// Of two that use one file, and wait for nobody.
struct Side {
    bool run(const QString &statement) { return bool(statements->run(statement)); }
    qint64 count()
    {
        PreparedStatements::Run row = statements->run(u"SELECT count(*) FROM numbers"_s);
        return row && row->next() ? row->value(0).toNumber() : -1;
    }

    SqlDatabase database;
    std::optional<PreparedStatements> statements;
};

using Kind = SqlTransaction::Kind;

/// SQLite's own numbers: somebody else is writing, a row belongs to nothing.
constexpr int kBusy = 5;
constexpr int kBelongsToNothing = 787;

const QString kInsertion = u"INSERT INTO numbers VALUES (1)"_s;

}

class TestSqlTransaction : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void whatIsCommittedIsSeen();
    void whatIsNotCommittedIsTakenBack();
    void whatCannotBeCommittedIsTakenBack();
    void aWriterHoldsOffOthersAtOnce();
    void aReaderSeesOneMoment();
    void oneInsideOfAnotherFailsAndHarmsNone();

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<Side> m_mine;
    std::unique_ptr<Side> m_others;
};

void TestSqlTransaction::init()
{
    m_mine.reset();
    m_others.reset();
    m_dir = std::make_unique<QTemporaryDir>();
    for (std::unique_ptr<Side> *side : {&m_mine, &m_others}) {
        *side = std::make_unique<Side>();
        SqlDatabase &database = (*side)->database;
        QVERIFY(database.open(m_dir->filePath(u"a.sqlite"_s), SqlDatabase::Access::Write, 0));
        QVERIFY(database.run(u"PRAGMA foreign_keys = ON"_s));
        (*side)->statements.emplace(database);
    }
    // As the list has it.
    QVERIFY(m_mine->database.run(u"PRAGMA journal_mode = WAL"_s));
    QVERIFY(m_mine->run(u"CREATE TABLE numbers (number INTEGER)"_s));
    QVERIFY(m_mine->run(u"CREATE TABLE parts (whole INTEGER REFERENCES wholes DEFERRABLE INITIALLY DEFERRED)"_s));
    QVERIFY(m_mine->run(u"CREATE TABLE wholes (whole INTEGER PRIMARY KEY)"_s));
}

void TestSqlTransaction::whatIsCommittedIsSeen()
{
    SqlTransaction transaction(*m_mine->statements, Kind::Write);
    QVERIFY(transaction.isOpen() && m_mine->run(kInsertion));
    QCOMPARE(m_others->count(), 0);
    QVERIFY(transaction.commit());
    QCOMPARE(m_others->count(), 1);
    QVERIFY2(!transaction.isOpen() && !transaction.commit(), "it is over");
    QVERIFY(!transaction.lastError().isValid());
}

void TestSqlTransaction::whatIsNotCommittedIsTakenBack()
{
    {
        const SqlTransaction transaction(*m_mine->statements, Kind::Write);
        QVERIFY(m_mine->run(kInsertion));
        QCOMPARE(m_mine->count(), 1);
    }
    QCOMPARE(m_mine->count(), 0);
    QVERIFY2(m_others->run(kInsertion), "it still holds the lock");
}

void TestSqlTransaction::whatCannotBeCommittedIsTakenBack()
{
    {
        SqlTransaction transaction(*m_mine->statements, Kind::Write);
        QVERIFY(m_mine->run(kInsertion) && m_mine->run(u"INSERT INTO parts VALUES (7)"_s));
        QVERIFY2(!transaction.commit(), "a part of nothing");
        QCOMPARE(transaction.lastError().number, kBelongsToNothing);
        QVERIFY(transaction.isOpen());
    }
    QCOMPARE(m_others->count(), 0);
    QVERIFY(m_others->run(kInsertion));
}

void TestSqlTransaction::aWriterHoldsOffOthersAtOnce()
{
    const SqlTransaction transaction(*m_mine->statements, Kind::Write);
    SqlTransaction later(*m_others->statements, Kind::Write);
    QVERIFY(!later.isOpen() && !later.commit());
    QCOMPARE(later.lastError().number, kBusy);
    QVERIFY(SqlTransaction(*m_others->statements, Kind::Read).isOpen());
}

void TestSqlTransaction::aReaderSeesOneMoment()
{
    const SqlTransaction transaction(*m_mine->statements, Kind::Read);
    QCOMPARE(m_mine->count(), 0);
    QVERIFY(m_others->run(kInsertion));
    QCOMPARE(m_mine->count(), 0);
    QCOMPARE(m_others->count(), 1);
}

void TestSqlTransaction::oneInsideOfAnotherFailsAndHarmsNone()
{
    SqlTransaction outer(*m_mine->statements, Kind::Write);
    QVERIFY(m_mine->run(kInsertion));
    {
        const SqlTransaction inner(*m_mine->statements, Kind::Write);
        QVERIFY(!inner.isOpen() && inner.lastError().isValid());
    }
    QVERIFY(outer.commit());
    QCOMPARE(m_others->count(), 1);
}

QTEST_GUILESS_MAIN(TestSqlTransaction)
#include "tst_sqltransaction.moc"
