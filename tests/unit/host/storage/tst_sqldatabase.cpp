// SPDX-License-Identifier: MIT
#include <host/storage/sqldatabase.h>

#include <QTemporaryDir>
#include <QTest>

#include <limits>
#include <memory>

using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(SqlValue)

namespace
{

// SQLite's numbers for errors, the more exact ones.
constexpr int kError = 1;
constexpr int kBusy = 5;
constexpr int kReadOnly = 8;
constexpr int kCannotOpen = 14;
constexpr int kPrimaryKey = 1555;
constexpr int kMismatch = 20;

/// Of the statement, in one column.
SqlValues columnOf(SqlStatement &statement)
{
    SqlValues values;
    while (statement.next())
        values.append(statement.value(0));
    return values;
}

}

/// A file with a table of the numbers 1 to 3.
class TestSqlDatabase : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void whatIsPutInComesBack_data();
    void whatIsPutInComesBack();
    void valuesTurnIntoOthers();
    void rowsComeOneByOne();
    void aStatementRunsAgainWithOtherValues();
    void aChangeSaysWhatItDid();
    void aStatementThatCannotBeUnderstoodSaysWhy();
    void errorsComeWithSqlitesNumber_data();
    void errorsComeWithSqlitesNumber();
    void whatFailedOnceRunsAgain();
    void rowsThatAreNotReadHoldALockUntilTheyAreLetGo();
    void whoOnlyLooksChangesNothing();
    void whoOnlyLooksMakesNoFile();
    void otherFilesAreAttachedByTheirAddress();
    void aFolderIsNoDatabase();
    void theFileIsClosedWithTheLastStatement();
    void aDatabaseInMemoryHasNoFile();

private:
    QString path() const { return m_dir->filePath(u"x.sqlite"_s); }
    SqlValue valueOf(const QString &statement) const;

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<SqlDatabase> m_database;
};

void TestSqlDatabase::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    m_database = std::make_unique<SqlDatabase>();
    QVERIFY2(m_database->open(path(), SqlDatabase::Access::Write, 0), qPrintable(m_database->lastError().text));
    QVERIFY(m_database->run(u"CREATE TABLE numbers (n INTEGER PRIMARY KEY) STRICT"_s));
    QVERIFY(m_database->run(u"INSERT INTO numbers VALUES (1), (2), (3)"_s));
}

SqlValue TestSqlDatabase::valueOf(const QString &statement) const
{
    SqlStatement row = m_database->run(statement);
    return row.next() ? row.value(0) : SqlValue();
}

void TestSqlDatabase::whatIsPutInComesBack_data()
{
    QTest::addColumn<SqlValue>("value");
    QTest::addColumn<QString>("type");
    const auto row = [](const char *name, const SqlValue &value, const char *type) {
        QTest::newRow(name) << value << QString::fromLatin1(type);
    };
    row("nothing", {}, "null");
    row("null text is nothing", QString(), "null");
    row("null bytes are nothing", QByteArray(), "null");
    row("a small number", -1, "integer");
    row("the largest number", std::numeric_limits<qint64>::max(), "integer");
    row("the smallest number", std::numeric_limits<qint64>::min(), "integer");
    row("truth", true, "integer");
    row("a fraction", 0.1, "real");
    row("text", u"naïve 𝄞"_s, "text");
    row("empty text", u""_s, "text");
    row("text with a zero in it", u"a\0b"_s, "text");
    row("bytes", QByteArray("\0\xff", 2), "blob");
    row("empty bytes", QByteArrayLiteral(""), "blob");
}

void TestSqlDatabase::whatIsPutInComesBack()
{
    QFETCH(SqlValue, value);
    QFETCH(QString, type);
    SqlStatement row = m_database->run(u"SELECT ?, typeof(?)"_s, {value, value});
    QVERIFY(row && row.next());
    QCOMPARE(row.value(0).kind(), value.kind());
    QVERIFY(row.value(0) == value);
    QCOMPARE(row.value(1).toText(), type);
    QVERIFY(row.value(2).isNull());
}

void TestSqlDatabase::valuesTurnIntoOthers()
{
    QCOMPARE(SqlValue(7).toText(), u"7"_s);
    QCOMPARE(SqlValue(0.5).toText(), u"0.5"_s);
    QCOMPARE(SqlValue(7.9).toNumber(), 7);
    QCOMPARE(SqlValue(u"12"_s).toNumber(), 12);
    QCOMPARE(SqlValue(u"ä"_s).toBytes(), QByteArray("\xc3\xa4"));
    QCOMPARE(SqlValue(QByteArray("\xc3\xa4")).toText(), u"ä"_s);
    QCOMPARE(SqlValue().toNumber(), 0);
    QVERIFY(SqlValue().toText().isNull() && SqlValue().toBytes().isEmpty());
    QVERIFY(SqlValue(2).toBool() && !SqlValue(0).toBool() && !SqlValue().toBool());
}

void TestSqlDatabase::rowsComeOneByOne()
{
    SqlStatement rows = m_database->run(u"SELECT n FROM numbers WHERE n > ? ORDER BY n"_s, {1});
    QVERIFY(rows);
    QCOMPARE(columnOf(rows), (SqlValues{2, 3}));
    QVERIFY(rows && !rows.next() && !rows.lastError().isValid());
    SqlStatement none = m_database->run(u"SELECT n FROM numbers WHERE n > 3"_s);
    QVERIFY(none && !none.next());
}

void TestSqlDatabase::aStatementRunsAgainWithOtherValues()
{
    SqlStatement rows = m_database->prepare(u"SELECT n FROM numbers WHERE n > ? ORDER BY n"_s);
    QVERIFY(!rows && !rows.next());
    for (const int above : {0, 1, 2, 3}) {
        QVERIFY(rows.run({above}));
        QCOMPARE(columnOf(rows).size(), 3 - above);
    }
    QVERIFY(rows.run({0}) && rows.next());
    QVERIFY2(rows.run({2}), "in the middle of the rows of the last time");
    QCOMPARE(columnOf(rows), SqlValues{3});
}

void TestSqlDatabase::aChangeSaysWhatItDid()
{
    const SqlStatement inserted = m_database->run(u"INSERT INTO numbers VALUES (NULL)"_s);
    QCOMPARE(inserted.insertedId(), 4);
    QCOMPARE(inserted.changes(), 1);
    QCOMPARE(m_database->run(u"UPDATE numbers SET n = n + 10 WHERE n > 2"_s).changes(), 2);
    QCOMPARE(m_database->run(u"DELETE FROM numbers WHERE n = 77"_s).changes(), 0);
}

void TestSqlDatabase::aStatementThatCannotBeUnderstoodSaysWhy()
{
    SqlStatement statement = m_database->prepare(u"SELECT n FROM others"_s);
    QVERIFY(!statement.run() && !statement && !statement.next());
    QCOMPARE(statement.lastError().number, kError);
    QCOMPARE(statement.lastError().text, u"no such table: others"_s);
    const SqlDatabase closed;
    QVERIFY(!closed.isOpen() && !closed.run(u"SELECT 1"_s));
    QVERIFY(closed.run(u"SELECT 1"_s).lastError().isValid());
}

void TestSqlDatabase::errorsComeWithSqlitesNumber_data()
{
    QTest::addColumn<QString>("statement");
    QTest::addColumn<int>("number");
    QTest::newRow("a row that is there") << u"INSERT INTO numbers VALUES (1)"_s << kPrimaryKey;
    QTest::newRow("a value that is no number") << u"UPDATE numbers SET n = 'many'"_s << kMismatch;
    QTest::newRow("a word that is none") << u"SELCT"_s << kError;
}

void TestSqlDatabase::errorsComeWithSqlitesNumber()
{
    QFETCH(QString, statement);
    const SqlStatement run = m_database->run(statement);
    QVERIFY(!run && run.lastError().isValid() && !run.lastError().text.isEmpty());
    QTEST(run.lastError().number, "number");
}

void TestSqlDatabase::whatFailedOnceRunsAgain()
{
    SqlStatement insertion = m_database->prepare(u"INSERT INTO numbers VALUES (?)"_s);
    QVERIFY(!insertion.run({3}));
    QVERIFY(insertion.run({4}));
    QVERIFY(!insertion.lastError().isValid());
    QCOMPARE(valueOf(u"SELECT count(*) FROM numbers"_s).toInt(), 4);
}

void TestSqlDatabase::rowsThatAreNotReadHoldALockUntilTheyAreLetGo()
{
    SqlDatabase other;
    QVERIFY(other.open(path(), SqlDatabase::Access::Write, 0));
    const QString change = u"UPDATE numbers SET n = n + 10"_s;
    SqlStatement rows = m_database->run(u"SELECT n FROM numbers"_s);
    QVERIFY(rows.next());
    QCOMPARE(other.run(change).lastError().number, kBusy);
    rows.finish();
    QVERIFY(other.run(change));
    QVERIFY(rows.run() && rows.next());
    while (rows.next()) {}
    QVERIFY2(other.run(change), "all was read");
}

void TestSqlDatabase::whoOnlyLooksChangesNothing()
{
    SqlDatabase looker;
    QVERIFY(looker.open(path(), SqlDatabase::Access::Look));
    SqlStatement rows = looker.run(u"SELECT n FROM numbers"_s);
    QCOMPARE(columnOf(rows).size(), 3);
    QCOMPARE(looker.run(u"DELETE FROM numbers"_s).lastError().number & 0xff, kReadOnly);
}

void TestSqlDatabase::whoOnlyLooksMakesNoFile()
{
    SqlDatabase looker;
    const QString missing = m_dir->filePath(u"missing"_s);
    QVERIFY(!looker.open(missing, SqlDatabase::Access::Look) && !looker.isOpen());
    QCOMPARE(looker.lastError().number & 0xff, kCannotOpen);
    QVERIFY(!QFile::exists(missing));
}

void TestSqlDatabase::otherFilesAreAttachedByTheirAddress()
{
    SqlDatabase both;
    QVERIFY(both.open(m_dir->filePath(u"other"_s), SqlDatabase::Access::WriteAndAttach));
    QVERIFY(both.run(u"ATTACH ? AS old"_s, {u"file:"_s + path() + u"?mode=ro"_s}));
    SqlStatement rows = both.run(u"SELECT n FROM old.numbers"_s);
    QCOMPARE(columnOf(rows).size(), 3);
    QVERIFY(!both.run(u"DELETE FROM old.numbers"_s));
}

void TestSqlDatabase::aFolderIsNoDatabase()
{
    SqlDatabase database;
    QVERIFY(!database.open(m_dir->path()));
    QCOMPARE(database.lastError().number & 0xff, kCannotOpen);
    QVERIFY(!database.lastError().text.isEmpty());
}

void TestSqlDatabase::theFileIsClosedWithTheLastStatement()
{
    SqlStatement rows = m_database->run(u"SELECT n FROM numbers ORDER BY n"_s);
    m_database.reset();
    QCOMPARE(columnOf(rows), (SqlValues{1, 2, 3}));
}

void TestSqlDatabase::aDatabaseInMemoryHasNoFile()
{
    SqlDatabase database;
    QVERIFY(database.open(SqlDatabase::inMemory()));
    QVERIFY(database.run(u"CREATE TABLE t (x)"_s) && database.run(u"INSERT INTO t VALUES (1)"_s));
    QVERIFY(!QFile::exists(SqlDatabase::inMemory()));
}

QTEST_GUILESS_MAIN(TestSqlDatabase)
#include "tst_sqldatabase.moc"
