// SPDX-License-Identifier: MIT
#include <host/storage/damagedlist.h>
#include <host/storage/downloadlist.h>
#include <host/storage/sqlerror.h>
#include <tests/unit/host/storage/shell.h>

#include <QDir>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <memory>

#include <sys/resource.h>

using namespace Qt::StringLiterals;

namespace
{

using Info = AbstractDownloadPersistentInfo;

constexpr char kRaise[] = "CREATE TRIGGER t BEFORE UPDATE ON downloads BEGIN SELECT RAISE(ABORT, 'no'); END";
constexpr char kIgnore[] = "CREATE TRIGGER t BEFORE UPDATE ON downloads BEGIN SELECT RAISE(IGNORE); END";

/// As long as this object lives no file grows beyond so many bytes: what a full disk does.
class FileSizeLimit
{
    Q_DISABLE_COPY_MOVE(FileSizeLimit)

public:
    explicit FileSizeLimit(rlim_t bytes)
    {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit limit{bytes, m_before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &m_before); }

private:
    rlimit m_before = {};
};

Info someDownload()
{
    Info record;
    record.url = QUrl(u"http://a/file.iso"_s);
    record.folder = u"/f"_s;
    AbstractDownloadFileInfo file;
    file.name = u"file.iso"_s;
    file.sections.append(AbstractDownloadSection());
    record.files = {file};
    return record;
}

}

/// Lists whose file is sound for SQLite, but whose tables are not those of a list; and trouble that is no damage.
class TestDownloadListTables : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void tablesThatAreNotAListsAreSetAside_data();
    void tablesThatAreNotAListsAreSetAside();
    void additionsThatDoNoHarmStay_data();
    void additionsThatDoNoHarmStay();
    void tablesThatAreChangedLaterAreSetAside_data();
    void tablesThatAreChangedLaterAreSetAside();
    void aRowOfAnotherTypeIsDamage();
    void rowsOfNoDownloadThatAreInTheWayAreDamage();
    void aListThatCannotGrowIsNotDamaged();
    void anUnknownDownloadIsNoDamage();
    void aListThatALaterVersionTookOverMeanwhileIsNotDamaged();
    void errorsAreKnownByTheirNumber_data();
    void errorsAreKnownByTheirNumber();

private:
    QString path() const { return m_dir->filePath(u"downloads.sqlite"_s); }
    QStringList setAside() const
    {
        return QDir(m_dir->path()).entryList({u"*.damaged-*"_s}, QDir::Files).filter(QRegularExpression(u"\\d$"_s));
    }
    /// A list with one download, and these statements after it was closed.
    void makeList(const QStringList &statements) const;
    void run(const QStringList &statements) const;

    std::unique_ptr<QTemporaryDir> m_dir;
};

void TestDownloadListTables::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
}

void TestDownloadListTables::run(const QStringList &statements) const
{
    // A connection each: what is changed in sqlite_master holds for the next one.
    for (const QString &statement : statements) {
        const Shell shell(path());
        shell.value(u"PRAGMA writable_schema = ON"_s);
        const QVariant answer = shell.value(statement);
        QVERIFY2(answer.isNull(), qPrintable(statement + ": "_L1 + answer.toString()));
    }
}

void TestDownloadListTables::makeList(const QStringList &statements) const
{
    {
        DownloadList list;
        QVERIFY2(list.open(path()), qPrintable(list.lastFailure().plain()));
        Info record = someDownload();
        QVERIFY(list.insertOwned(record, {}) > 0 && list.release(record.id));
    }
    run(statements);
}

void TestDownloadListTables::tablesThatAreNotAListsAreSetAside_data()
{
    QTest::addColumn<QStringList>("statements");
    QTest::addColumn<QString>("reason");
    const auto row = [](const char *name, const QStringList &statements, const QString &reason) {
        QTest::newRow(name) << statements << reason;
    };
    row("a table is gone", {u"DROP TABLE cookies"_s}, u"object-missing(table, cookies)"_s);
    row("all tables are gone", {u"DELETE FROM sqlite_master WHERE name <> 'headers'"_s},
        u"object-missing(table, downloads)"_s);
    row("a column is gone", {u"ALTER TABLE options DROP COLUMN password"_s}, u"object-changed(table, options)"_s);
    row("a column has another name", {u"ALTER TABLE downloads RENAME COLUMN title TO name"_s},
        u"object-changed(table, downloads)"_s);
    row("a column demands a value", {u"ALTER TABLE downloads ADD COLUMN x TEXT NOT NULL DEFAULT ''"_s},
        u"object-changed(table, downloads)"_s);
    row("an index is gone", {u"DROP INDEX downloads_unfinished_by_url"_s},
        u"object-missing(index, downloads_unfinished_by_url)"_s);
    row("an index is another",
        {u"DROP INDEX downloads_by_url"_s, u"CREATE INDEX downloads_by_url ON downloads (title)"_s},
        u"object-changed(index, downloads_by_url)"_s);
    row("an index allows each address once", {u"CREATE UNIQUE INDEX u ON downloads (url)"_s},
        u"object-of-others(index, u, downloads)"_s);
    row("a trigger refuses changes", {QString::fromLatin1(kRaise)}, u"object-of-others(trigger, t, "_s);
    row("a trigger undoes changes", {QString::fromLatin1(kIgnore)}, u"object-of-others(trigger, t, "_s);
    row("a view is in the place of a table",
        {u"DROP TABLE headers"_s, u"CREATE VIEW headers AS SELECT 1 AS download_id, 0 AS position"_s},
        u"object-missing(table, headers)"_s);
    row("a table is not strict any more",
        {u"UPDATE sqlite_master SET sql = replace(sql, 'STRICT, ', '') WHERE name = 'files'"_s},
        u"object-changed(table, files)"_s);
    row("the version says that there are no tables", {u"PRAGMA user_version = 0"_s}, u"object-too-early("_s);
    row("the version says that the tables are older", {u"PRAGMA user_version = 1"_s}, u"object-too-early("_s);
    row("the version is below all", {u"PRAGMA user_version = -5"_s}, u"tables-of-version(-5)"_s);
}

void TestDownloadListTables::tablesThatAreNotAListsAreSetAside()
{
    QFETCH(QStringList, statements);
    QFETCH(QString, reason);
    makeList(statements);
    DownloadList list;
    QVERIFY2(list.open(path()), qPrintable(list.lastFailure().plain()));
    QCOMPARE(setAside().size(), 1);
    QVERIFY2(list.warning().subject.keptAs.contains(setAside().first()), qPrintable(list.warning().subject.keptAs));
    QVERIFY2(list.warning().plain().contains(reason), qPrintable(list.warning().plain()));
    Info record = someDownload();
    QVERIFY2(list.insert(record) > 0, qPrintable(list.lastFailure().plain()));
    QCOMPARE(list.list().size(), 1);
}

void TestDownloadListTables::additionsThatDoNoHarmStay_data()
{
    QTest::addColumn<QString>("statement");
    QTest::newRow("an index") << u"CREATE INDEX mine ON downloads (title)"_s;
    QTest::newRow("a view") << u"CREATE VIEW mine AS SELECT id, url FROM downloads"_s;
    QTest::newRow("a table") << u"CREATE TABLE mine (x)"_s;
    QTest::newRow("a unique index on a table of one's own") << u"CREATE TABLE mine (x UNIQUE)"_s;
    QTest::newRow("a column that may stay empty") << u"ALTER TABLE downloads ADD COLUMN mine TEXT"_s;
    QTest::newRow("a column in front of a key") << u"ALTER TABLE files ADD COLUMN mine TEXT"_s;
    QTest::newRow("statistics") << u"ANALYZE"_s;
}

void TestDownloadListTables::additionsThatDoNoHarmStay()
{
    QFETCH(QString, statement);
    makeList({statement});
    DownloadList list;
    QVERIFY2(list.open(path()), qPrintable(list.lastFailure().plain()));
    QCOMPARE(list.warning(), Failure());
    QVERIFY(setAside().isEmpty());
    std::optional<Info> record = list.load(1);
    QVERIFY(record && list.update(*record));
    QVERIFY(list.insert(*record) > 0);
}

void TestDownloadListTables::tablesThatAreChangedLaterAreSetAside_data()
{
    QTest::addColumn<QString>("statement");
    QTest::newRow("a trigger refuses changes") << QString::fromLatin1(kRaise);
    QTest::newRow("a trigger undoes changes") << QString::fromLatin1(kIgnore);
    QTest::newRow("a table is gone") << u"DROP TABLE mirrors"_s;
    QTest::newRow("a column is gone") << u"ALTER TABLE downloads DROP COLUMN web_page_url"_s;
}

void TestDownloadListTables::tablesThatAreChangedLaterAreSetAside()
{
    QFETCH(QString, statement);
    makeList({});
    DownloadList list;
    QVERIFY2(list.open(path()), qPrintable(list.lastFailure().plain()));
    Info record = *list.load(1);
    run({statement});
    QVERIFY(!list.update(record));
    QCOMPARE(setAside().size(), 1);
    QVERIFY(list.lastFailure().subject.keptAs.contains(setAside().first()));
    QVERIFY2(list.insert(record) > 0, "the new list is at work");
}

void TestDownloadListTables::aRowOfAnotherTypeIsDamage()
{
    makeList({u"UPDATE sqlite_master SET sql = replace(sql, 'STRICT, ', '') WHERE name = 'sections'"_s,
              u"UPDATE sections SET downloaded = 'many'"_s,
              u"UPDATE sqlite_master SET sql = replace(sql, 'WITHOUT', 'STRICT, WITHOUT') WHERE name = 'sections'"_s});
    DownloadList list;
    QVERIFY2(list.open(path()), qPrintable(list.lastFailure().plain()));
    QVERIFY2(!list.warning(), qPrintable(list.warning().plain()));
    QVERIFY(!list.load(1));
    QCOMPARE(list.lastFailure().kind, Failure::Kind::ListDamaged);
    QCOMPARE(setAside().size(), 1);
}

void TestDownloadListTables::rowsOfNoDownloadThatAreInTheWayAreDamage()
{
    makeList({u"INSERT INTO headers VALUES (2, 0, 'N', 'V')"_s});
    DownloadList list;
    QVERIFY2(list.open(path()), qPrintable(list.lastFailure().plain()));
    Info record = someDownload();
    record.parameters = {{u"headers"_s, QVariantMap{{u"A"_s, u"b"_s}}}};
    QCOMPARE(list.insert(record), 0);
    QCOMPARE(setAside().size(), 1);
    QVERIFY2(list.insert(record) > 0, qPrintable(list.lastFailure().plain()));
}

void TestDownloadListTables::aListThatCannotGrowIsNotDamaged()
{
    makeList({});
    DownloadList list;
    QVERIFY2(list.open(path()), qPrintable(list.lastFailure().plain()));
    Info record = someDownload();
    record.title = QString(100000, u't');
    {
        const FileSizeLimit full(4096);
        QCOMPARE(list.insert(record), 0);
        QVERIFY(list.lastFailure());
    }
    QVERIFY(setAside().isEmpty());
    QVERIFY2(list.insert(record) > 0, qPrintable(list.lastFailure().plain()));
    QCOMPARE(list.list().size(), 2);
}

void TestDownloadListTables::anUnknownDownloadIsNoDamage()
{
    makeList({});
    DownloadList list;
    QVERIFY2(list.open(path()), qPrintable(list.lastFailure().plain()));
    Info record = someDownload();
    record.id = 7;
    QVERIFY(!list.update(record));
    QVERIFY(!list.remove(7));
    QCOMPARE(list.claim(7), DownloadList::Claim::Failed);
    QVERIFY(setAside().isEmpty());
    QCOMPARE(list.list().size(), 1);
}

void TestDownloadListTables::aListThatALaterVersionTookOverMeanwhileIsNotDamaged()
{
    makeList({});
    DownloadList list;
    QVERIFY2(list.open(path()), qPrintable(list.lastFailure().plain()));
    run({u"ALTER TABLE downloads ADD COLUMN later TEXT NOT NULL DEFAULT ''"_s, u"PRAGMA user_version = 1000"_s});
    QVERIFY(!list.remove(7));
    QVERIFY(setAside().isEmpty());
    QCOMPARE(list.list().size(), 1);
}

void TestDownloadListTables::errorsAreKnownByTheirNumber_data()
{
    using Suspicion = DamagedList::Suspicion;
    QTest::addColumn<int>("code");
    QTest::addColumn<Suspicion>("suspicion");
    QTest::newRow("another process has the list") << 5 << Suspicion::None;
    QTest::newRow("another process changed what was read") << 517 << Suspicion::None;
    QTest::newRow("another process recovers the list") << 261 << Suspicion::None;
    QTest::newRow("memory") << 7 << Suspicion::None;
    QTest::newRow("a file that can only be read") << 8 << Suspicion::None;
    QTest::newRow("a folder that can only be read") << 1544 << Suspicion::None;
    QTest::newRow("a disk that cannot be read") << 266 << Suspicion::None;
    QTest::newRow("a disk that cannot be written") << 778 << Suspicion::None;
    QTest::newRow("a full disk") << 13 << Suspicion::None;
    QTest::newRow("a file that cannot be opened") << 14 << Suspicion::None;
    QTest::newRow("content that is not what it should be") << 11 << Suspicion::Content;
    QTest::newRow("an index that is not what it should be") << 779 << Suspicion::Content;
    QTest::newRow("no database") << 26 << Suspicion::Content;
    QTest::newRow("a table that is not there") << 1 << Suspicion::Tables;
    QTest::newRow("a trigger that refuses") << 1811 << Suspicion::Tables;
    QTest::newRow("a constraint") << 1555 << Suspicion::Tables;
    QTest::newRow("a value of another type") << 20 << Suspicion::Tables;
}

void TestDownloadListTables::errorsAreKnownByTheirNumber()
{
    QFETCH(int, code);
    QFETCH(DamagedList::Suspicion, suspicion);
    // Whatever the words: a server's, or a trigger's, may be among them.
    const SqlError error{code, u"database disk image is malformed: disk is full"_s};
    QCOMPARE(DamagedList::suspicionOf(error), suspicion);
}

QTEST_GUILESS_MAIN(TestDownloadListTables)
#include "tst_downloadlist_tables.moc"
