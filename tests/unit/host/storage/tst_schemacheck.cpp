// SPDX-License-Identifier: MIT
#include <host/storage/schemacheck.h>
#include <host/storage/sqldatabase.h>

#include <QTest>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

using Objects = QList<SchemaCheck::Object>;

const QString kTables = u"CREATE TABLE songs (id INTEGER PRIMARY KEY, title TEXT NOT NULL)"_s;
const QString kIndex = u"CREATE INDEX by_title ON songs (title)"_s;

/// What SQLite has of these statements.
Objects madeBy(const QStringList &statements)
{
    SqlDatabase database;
    database.open(SqlDatabase::inMemory());
    for (const QString &statement : statements) {
        if (!database.run(statement))
            qFatal("%s", qPrintable(statement));
    }
    SqlError error;
    return SchemaCheck::objectsOf(database, &error);
}

Objects ours()
{
    return madeBy({kTables, kIndex});
}

}

class TestSchemaCheck : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whatMayBeThereBesideOurs_data();
    void whatMayBeThereBesideOurs();
    void whatIsWrongIsSaid_data();
    void whatIsWrongIsSaid();
    void whatComesWithALaterVersionIsEarly();
    void aFingerprintIsOfWhatThereIs();
    void whatCannotBeReadIsNothingAndAnError();
};

void TestSchemaCheck::whatMayBeThereBesideOurs_data()
{
    QTest::addColumn<QStringList>("statements");
    const QStringList all{kTables, kIndex};
    QTest::newRow("nothing") << all;
    QTest::newRow("a table") << all + QStringList{u"CREATE TABLE mine (a UNIQUE)"_s};
    QTest::newRow("a view") << all + QStringList{u"CREATE VIEW titles AS SELECT title FROM songs"_s};
    QTest::newRow("an index that demands nothing") << all + QStringList{u"CREATE INDEX mine ON songs (id, title)"_s};
    QTest::newRow("a trigger on a table of their own") << all
            + QStringList{u"CREATE TABLE mine (a)"_s,
                          u"CREATE TRIGGER t AFTER INSERT ON mine BEGIN DELETE FROM mine; END"_s};
    QTest::newRow("a column that may stay empty") << all + QStringList{u"ALTER TABLE songs ADD COLUMN year INTEGER"_s};
    QTest::newRow("one with a value of its own")
        << all + QStringList{u"ALTER TABLE songs ADD COLUMN year INTEGER DEFAULT 7"_s};
    QTest::newRow("remarks and other blanks")
        << QStringList{u"CREATE TABLE songs (id INTEGER PRIMARY KEY, -- a number\n    title TEXT  NOT NULL)"_s, kIndex};
}

void TestSchemaCheck::whatMayBeThereBesideOurs()
{
    QFETCH(QStringList, statements);
    QCOMPARE(SchemaCheck::flaws(madeBy(statements), ours()), QList<Clause>());
}

void TestSchemaCheck::whatIsWrongIsSaid_data()
{
    QTest::addColumn<QStringList>("statements");
    QTest::addColumn<QList<Clause>>("flaws");
    const auto row = [](const char *name, const QStringList &statements, const Clause &flaw) {
        QTest::newRow(name) << statements << QList<Clause>{flaw};
    };
    const QStringList all{kTables, kIndex};
    const Clause otherTable{Clause::Kind::ObjectChanged, {u"table"_s, u"songs"_s}};
    row("no index", {kTables}, {Clause::Kind::ObjectMissing, {u"index"_s, u"by_title"_s}});
    row("another index of the name", {kTables, u"CREATE INDEX by_title ON songs (id)"_s},
        {Clause::Kind::ObjectChanged, {u"index"_s, u"by_title"_s}});
    row("a column of another kind", {u"CREATE TABLE songs (id INTEGER PRIMARY KEY, title BLOB NOT NULL)"_s, kIndex},
        otherTable);
    row("a column less", {u"CREATE TABLE songs (title TEXT NOT NULL)"_s, kIndex}, otherTable);
    row("a column more that may not stay empty",
        {u"CREATE TABLE songs (id INTEGER PRIMARY KEY, title TEXT NOT NULL, year INTEGER NOT NULL)"_s, kIndex},
        otherTable);
    row("a column more that demands something",
        all + QStringList{u"ALTER TABLE songs ADD COLUMN year INTEGER CHECK (year > 0)"_s}, otherTable);
    row("an index that refuses rows", all + QStringList{u"CREATE UNIQUE INDEX mine ON songs (title)"_s},
        {Clause::Kind::ObjectOfOthers, {u"index"_s, u"mine"_s, u"songs"_s}});
    row("a trigger that undoes changes",
        all + QStringList{u"CREATE TRIGGER mine AFTER INSERT ON songs BEGIN DELETE FROM songs; END"_s},
        {Clause::Kind::ObjectOfOthers, {u"trigger"_s, u"mine"_s, u"songs"_s}});
    row("a trigger on it by another spelling",
        all + QStringList{u"CREATE TRIGGER mine AFTER INSERT ON SONGS BEGIN DELETE FROM songs; END"_s},
        {Clause::Kind::ObjectOfOthers, {u"trigger"_s, u"mine"_s, u"SONGS"_s}});
    row("a view in the table's place", {u"CREATE VIEW songs AS SELECT 1 AS title"_s},
        {Clause::Kind::ObjectMissing, {u"table"_s, u"songs"_s}});
}

void TestSchemaCheck::whatIsWrongIsSaid()
{
    QFETCH(QStringList, statements);
    QFETCH(QList<Clause>, flaws);
    QList<Clause> found = SchemaCheck::flaws(madeBy(statements), ours());
    if (statements.size() == 1)
        found = found.first(1); // without the table there is no index either
    QCOMPARE(found, flaws);
}

void TestSchemaCheck::whatComesWithALaterVersionIsEarly()
{
    const Objects first = madeBy({kTables});
    QCOMPARE(SchemaCheck::early(first, first, ours()), QList<Clause>());
    const QList<Clause> byTitle{{Clause::Kind::ObjectTooEarly, {u"index"_s, u"by_title"_s}}};
    QCOMPARE(SchemaCheck::early(ours(), first, ours()), byTitle);
}

void TestSchemaCheck::aFingerprintIsOfWhatThereIs()
{
    Objects otherOrder = ours();
    std::reverse(otherOrder.begin(), otherOrder.end());
    QCOMPARE(SchemaCheck::fingerprint(otherOrder), SchemaCheck::fingerprint(ours()));
    QVERIFY(SchemaCheck::fingerprint(madeBy({kTables})) != SchemaCheck::fingerprint(ours()));
    const Objects otherKind = madeBy({kTables, u"CREATE INDEX by_title ON songs (title DESC)"_s});
    QVERIFY(SchemaCheck::fingerprint(otherKind) != SchemaCheck::fingerprint(ours()));
}

void TestSchemaCheck::whatCannotBeReadIsNothingAndAnError()
{
    SqlError error;
    QVERIFY(SchemaCheck::objectsOf(SqlDatabase(), &error).isEmpty());
    QVERIFY(error.isValid());
}

QTEST_GUILESS_MAIN(TestSchemaCheck)
#include "tst_schemacheck.moc"
