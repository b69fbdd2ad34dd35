// SPDX-License-Identifier: MIT
#include <host/policy/naturalorder.h>
#include <host/storage/rowplaces.h>
#include <host/storage/schema.h>
#include <host/storage/sqldatabase.h>

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

class TestSchema : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void anEmptyDatabaseGetsTheTables();
    void theTablesAreKnownByTheirFingerprint();
    void aSecondUpgradeChangesNothing();
    void aListOfTheFirstVersionKeepsItsRecords();
    void errorsInWholeSentencesGetTheirMark_data();
    void errorsInWholeSentencesGetTheirMark();
    void rowsGetTheKeysByWhichTheyAreSorted_data();
    void rowsGetTheKeysByWhichTheyAreSorted();
    void aLaterVersionIsRefused();
    void anotherProgramsDatabaseIsRefused();
    void aFailedMigrationLeavesNothingBehind();

private:
    void exec(const QString &statement) const;
    void makeFirstVersion() const;
    bool upgrade(Clause *error) const { return Schema::upgrade(*m_database, error) == Schema::Outcome::Done; }
    QStringList tables() const;
    int number(const QString &pragma) const;

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<SqlDatabase> m_database;
};

void TestSchema::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    m_database = std::make_unique<SqlDatabase>();
    QVERIFY(m_database->open(m_dir->filePath(u"list.sqlite"_s)));
}

void TestSchema::exec(const QString &statement) const
{
    QVERIFY2(m_database->run(statement), qPrintable(statement));
}

QStringList TestSchema::tables() const
{
    SqlStatement rows = m_database->run(
        u"SELECT name FROM sqlite_master WHERE type = 'table' AND name NOT LIKE 'sqlite%' ORDER BY name"_s);
    QStringList names;
    while (rows.next())
        names.append(rows.value(0).toText());
    return names;
}

int TestSchema::number(const QString &pragma) const
{
    SqlStatement row = m_database->run(u"PRAGMA "_s + pragma);
    return row.next() ? row.value(0).toInt() : -1;
}

void TestSchema::anEmptyDatabaseGetsTheTables()
{
    Clause error;
    QVERIFY2(upgrade(&error), qPrintable(error.plain()));
    QCOMPARE(number(u"user_version"_s), Schema::kVersion);
    const QStringList expected{u"addresses"_s, u"cookies"_s,        u"downloads"_s, u"evidence"_s,
                               u"files"_s,     u"headers"_s,        u"mirrors"_s,   u"options"_s,
                               u"owners"_s,    u"secret_headers"_s, u"sections"_s};
    QCOMPARE(tables(), expected);
}

void TestSchema::theTablesAreKnownByTheirFingerprint()
{
    Clause error;
    QVERIFY2(upgrade(&error), qPrintable(error.plain()));
    SqlError failure;
    const QList<SchemaCheck::Object> found = SchemaCheck::objectsOf(*m_database, &failure);
    QCOMPARE(Schema::kFingerprint, SchemaCheck::fingerprint(found));
    QCOMPARE(Schema::kFingerprint, SchemaCheck::fingerprint(Schema::objects(Schema::kVersion)));
    exec(u"CREATE TABLE mine (a INTEGER)"_s);
    QVERIFY(SchemaCheck::fingerprint(SchemaCheck::objectsOf(*m_database, &failure)) != Schema::kFingerprint);
}

void TestSchema::aSecondUpgradeChangesNothing()
{
    Clause error;
    QVERIFY2(upgrade(&error), qPrintable(error.plain()));
    exec(u"INSERT INTO headers VALUES (1, 0, 'N', 'V')"_s);
    QVERIFY2(upgrade(&error), qPrintable(error.plain()));
    SqlStatement row = m_database->run(u"SELECT count(*) FROM headers"_s);
    QVERIFY(row.next());
    QCOMPARE(row.value(0).toInt(), 1);
}

void TestSchema::makeFirstVersion() const
{
    QFile script(QStringLiteral(FIRST_SCHEMA));
    QVERIFY(script.open(QIODevice::ReadOnly));
    const QList<QByteArray> statements = script.readAll().split(';');
    for (const QByteArray &statement : statements) {
        if (!statement.trimmed().isEmpty())
            exec(QString::fromUtf8(statement));
    }
}

void TestSchema::aListOfTheFirstVersionKeepsItsRecords()
{
    makeFirstVersion();
    Clause error;
    QVERIFY2(upgrade(&error), qPrintable(error.plain()));
    QCOMPARE(number(u"user_version"_s), Schema::kVersion);
    SqlStatement row =
        m_database->run(u"SELECT url, finished, file_identity, content_encoding, sort_index / id FROM downloads"_s);
    QVERIFY(row.next());
    QCOMPARE(row.value(0).toText(), u"http://a/old.iso"_s);
    QCOMPARE(row.value(1).toInt(), 0);
    QVERIFY(row.value(2).isNull());
    QVERIFY(row.value(3).isNull());
    QCOMPARE(row.value(4).toNumber(), RowPlaces::kGap);
}

void TestSchema::errorsInWholeSentencesGetTheirMark_data()
{
    QTest::addColumn<QString>("category");
    QTest::addColumn<QString>("source");
    QTest::addColumn<QString>("description");
    QTest::addColumn<QString>("marked");
    const auto row = [](const char *name, const char *category, const char *source, const char *description,
                        const char *marked) {
        QTest::newRow(name) << QString::fromLatin1(category) << QString::fromLatin1(source)
                            << QString::fromLatin1(description) << QString::fromLatin1(marked);
    };
    row("a sentence", "QtFileError", "a.cpp:1", "cannot create \"/a\": No. Try.", "a.cpp:1;whole");
    row("a clause", "QtFileError", "a.cpp:1", "No space left on device", "a.cpp:1");
    row("of another kind", "QtNetworkError", "a.cpp:1", "cannot go on", "a.cpp:1");
    row("marked already", "QtFileError", "a.cpp:1;errno=20;whole", "cannot create", "a.cpp:1;errno=20;whole");
}

void TestSchema::errorsInWholeSentencesGetTheirMark()
{
    QFETCH(QString, category);
    QFETCH(QString, source);
    QFETCH(QString, description);
    makeFirstVersion();
    QVERIFY(m_database->run(u"UPDATE downloads SET error_category = ?, error_source = ?, error_description = ?"_s,
                            {category, source, description}));
    Clause error;
    QVERIFY2(upgrade(&error), qPrintable(error.plain()));
    SqlStatement row = m_database->run(u"SELECT error_source FROM downloads"_s);
    QVERIFY(row.next());
    QTEST(row.value(0).toText(), "marked");
}

void TestSchema::rowsGetTheKeysByWhichTheyAreSorted_data()
{
    QTest::addColumn<bool>("isFinished");
    QTest::addColumn<QString>("files");
    QTest::addColumn<QString>("name");
    QTest::addColumn<qint64>("size");
    const auto row = [](const char *name, bool isFinished, const QString &files, const QString &sortedBy, qint64 size) {
        QTest::newRow(name) << isFinished << files << sortedBy << size;
    };
    const QString rest = u"1, '%1', 0, NULL, '', 0)"_s;
    const QString file = u"(1, 0, 0, 'File010.iso', 300, "_s + rest;
    row("no file yet: its address", false, {}, u"http://a/old.iso"_s, -1);
    row("a file", false, file.arg(QString()), u"file10.iso"_s, 300);
    row("a file that is not called so yet", false, file.arg(u"File010 (1).iso"_s), u"file10.iso"_s, 300);
    row("a file that is called otherwise", true, file.arg(u"File010 (1).iso"_s), u"file10 (1).iso"_s, 300);
    row("several", true, file.arg(QString()) + u", (1, 1, 0, 'b', 20, "_s + rest.arg(QString()), u"file10.iso"_s, 320);
    row("several, one of unknown size", true, file.arg(QString()) + u", (1, 1, 0, 'b', -1, "_s + rest.arg(QString()),
        u"file10.iso"_s, -1);
}

void TestSchema::rowsGetTheKeysByWhichTheyAreSorted()
{
    QFETCH(const bool, isFinished);
    QFETCH(const QString, files);
    QFETCH(const QString, name);
    QFETCH(const qint64, size);
    makeFirstVersion();
    exec(u"UPDATE downloads SET flags = %1"_s.arg(isFinished ? 2 : 0));
    if (!files.isEmpty())
        exec(u"INSERT INTO files VALUES "_s + files);
    Clause error;
    QVERIFY2(upgrade(&error), qPrintable(error.plain()));
    SqlStatement row = m_database->run(u"SELECT name_key, size_key FROM downloads"_s);
    QVERIFY(row.next());
    QCOMPARE(row.value(0).toText(), NaturalOrder::key(name));
    QCOMPARE(row.value(1), SqlValue(size));
}

void TestSchema::aLaterVersionIsRefused()
{
    Clause error;
    QVERIFY2(upgrade(&error), qPrintable(error.plain()));
    exec(u"PRAGMA user_version = %1"_s.arg(Schema::kVersion + 1));
    QCOMPARE(Schema::upgrade(*m_database, &error), Schema::Outcome::OfLaterVersion);
    QCOMPARE(error,
             Clause(Clause::Kind::OfLaterTables,
                    {QString::number(Schema::kVersion + 1), QString::number(Schema::kVersion)}));
}

void TestSchema::anotherProgramsDatabaseIsRefused()
{
    exec(u"CREATE TABLE songs (title TEXT)"_s);
    Clause error;
    QCOMPARE(Schema::upgrade(*m_database, &error), Schema::Outcome::OfAnotherProgram);
    QCOMPARE(error, Clause(Clause::Kind::OfAnotherProgram));
    QCOMPARE(tables(), QStringList{u"songs"_s});
}

void TestSchema::aFailedMigrationLeavesNothingBehind()
{
    Clause error;
    QVERIFY2(upgrade(&error), qPrintable(error.plain()));
    const QStringList all = tables();
    exec(u"PRAGMA foreign_keys = OFF"_s);
    for (const QString &table : all) {
        if (table != "headers"_L1)
            exec(u"DROP TABLE "_s + table);
    }
    exec(u"PRAGMA user_version = 0"_s);
    QCOMPARE(Schema::upgrade(*m_database, &error), Schema::Outcome::Damaged);
    QVERIFY2(error.values.contains(u"headers"_s), qPrintable(error.plain()));
    QCOMPARE(tables(), QStringList{u"headers"_s});
    QCOMPARE(number(u"user_version"_s), 0);
}

QTEST_GUILESS_MAIN(TestSchema)
#include "tst_schema.moc"
