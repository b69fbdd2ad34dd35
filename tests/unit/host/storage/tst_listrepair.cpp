// SPDX-License-Identifier: MIT
#include <host/storage/downloadlist.h>
#include <host/storage/idranges.h>
#include <host/storage/listcheck.h>
#include <host/storage/listrepair.h>
#include <tests/unit/host/storage/shell.h>

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <memory>

using namespace Qt::StringLiterals;

namespace
{

using Info = AbstractDownloadPersistentInfo;

constexpr qint64 kPage = 4096;

/// One in three is finished; each has a part of everything.
Info recordFor(int number)
{
    Info record;
    record.url = QUrl(u"http://a/file%1.iso"_s.arg(number));
    record.folder = u"/folder"_s;
    record.title = u"Title %1 "_s.arg(number) + QString(500, u't');
    record.creationTime = QDateTime::fromMSecsSinceEpoch(1700000000000 + number, Qt::UTC);
    record.parameters = {{u"headers"_s, QVariantMap{{u"Accept"_s, u"b"_s}}}};
    record.setFinished(number % 3 == 0, false);
    AbstractDownloadFileInfo file;
    file.name = u"file%1.iso"_s.arg(number);
    file.size = 1000;
    AbstractDownloadSection section;
    section.size = 1000;
    section.downloaded = number;
    file.sections = {section};
    record.files = {file};
    return record;
}

QByteArray bytesOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

}

/// What a look finds wrong with a list, and what is brought over from a damaged one.
class TestListRepair : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void aWholeListIsFoundWhole();
    void aLookFindsWhatIsWrongAndChangesNothing_data();
    void aLookFindsWhatIsWrongAndChangesNothing();
    void aFileThatIsNoListIsNotJudged();
    void aWholeListIsNotRepaired();
    void aListInUseIsNotRepaired();
    void everythingIsBroughtOverWhenOnlyTheTablesAreWrong_data();
    void everythingIsBroughtOverWhenOnlyTheTablesAreWrong();
    void aTableThatIsGoneCostsOnlyWhatWasInIt();
    void progressComesWholeOrNotAtAll();
    void aRowOfAnotherTypeCostsOneDownload();
    void aTornPageCostsOnlyTheDownloadsOnIt();
    void whatIsThereAlreadyIsNotBroughtOverTwice();
    void equalDownloadsOfTheDamagedListAreAllBroughtOver();
    void aNumberThatIsTakenIsReplaced();
    void anUnfinishedDownloadWhoseFileIsAnothersIsLeftOut();
    void aDownloadThatWasBegunAnewBesideItsOldFileLeavesThatToIt();
    void aListOfTheFirstVersionIsBroughtOver();
    void whatCannotBeReadAtAllIsKept();

private:
    QString path() const { return m_dir->filePath(u"downloads.sqlite"_s); }
    QString asidePath() const { return m_dir->filePath(u"downloads.sqlite.damaged-20240101-000000"_s); }
    QStringList setAside() const
    {
        return QDir(m_dir->path()).entryList({u"*.damaged-*"_s}, QDir::Files).filter(QRegularExpression(u"\\d$"_s));
    }
    /// A list of so many downloads; they are kept in m_records.
    void makeList(int count);
    /// Each in a connection of its own, with the tables' descriptions open to changes.
    void run(const QStringList &statements) const;
    void moveAside() const { QVERIFY(QFile::rename(path(), asidePath())); }
    QList<Info> listed() const
    {
        DownloadList list;
        return list.open(path()) ? list.list() : QList<Info>();
    }

    std::unique_ptr<QTemporaryDir> m_dir;
    QList<Info> m_records;
};

void TestListRepair::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    m_records.clear();
}

void TestListRepair::makeList(int count)
{
    DownloadList list;
    QVERIFY2(list.open(path()), qPrintable(list.lastFailure().plain()));
    for (int i = 1; i <= count; ++i) {
        Info record = recordFor(i);
        QVERIFY(list.insert(record) > 0);
        DownloadOptions options;
        options.rateLimit = i;
        QVERIFY(list.setOptions(record.id, options));
        m_records.append(record);
    }
}

void TestListRepair::run(const QStringList &statements) const
{
    for (const QString &statement : statements) {
        const Shell shell(path());
        shell.value(u"PRAGMA writable_schema = ON"_s);
        const QVariant answer = shell.value(statement);
        QVERIFY2(answer.isNull(), qPrintable(statement + ": "_L1 + answer.toString()));
    }
}

void TestListRepair::aWholeListIsFoundWhole()
{
    makeList(5);
    const ListCheck::Findings findings = ListCheck::look(path());
    QCOMPARE(findings.failure, Failure());
    QCOMPARE(findings.problems, QList<Clause>());
    QCOMPARE(findings.downloads, 5);
    QCOMPARE(findings.runningId, 0);
}

void TestListRepair::aLookFindsWhatIsWrongAndChangesNothing_data()
{
    QTest::addColumn<QStringList>("statements");
    QTest::addColumn<QString>("problem");
    QTest::newRow("a table is gone") << QStringList{u"DROP TABLE cookies"_s} << u"object-missing(table, cookies)"_s;
    QTest::newRow("a trigger refuses changes")
        << QStringList{u"CREATE TRIGGER t BEFORE UPDATE ON files BEGIN SELECT RAISE(ABORT, 'no'); END"_s}
        << u"object-of-others(trigger, t, files)"_s;
    QTest::newRow("rows belong to no download")
        << QStringList{u"INSERT INTO headers VALUES (99, 0, 'N', 'V')"_s} << u"stray-rows(headers, 1)"_s;
    QTest::newRow("an index lacks rows")
        << QStringList{u"UPDATE sqlite_master SET rootpage = (SELECT rootpage FROM sqlite_master WHERE name = "
                       u"'options_not_compared') WHERE name = 'downloads_by_url'"_s}
        << u"said-by-check("_s;
    QTest::newRow("a row is of another type")
        << QStringList{u"UPDATE sqlite_master SET sql = replace(sql, 'STRICT, ', '') WHERE name = 'sections'"_s,
                       u"UPDATE sections SET downloaded = 'many' WHERE download_id = 2"_s,
                       u"UPDATE sqlite_master SET sql = replace(sql, 'WITHOUT', 'STRICT, WITHOUT') WHERE name = "
                       u"'sections'"_s}
        << u"download-unreadable(2, "_s;
}

void TestListRepair::aLookFindsWhatIsWrongAndChangesNothing()
{
    QFETCH(QStringList, statements);
    QFETCH(QString, problem);
    makeList(3);
    run(statements);
    const QByteArray before = bytesOf(path());
    const ListCheck::Findings findings = ListCheck::look(path());
    QCOMPARE(findings.failure, Failure());
    QString all;
    for (const Clause &one : findings.problems)
        all += one.plain() + u'\n';
    QVERIFY2(all.contains(problem), qPrintable(all));
    QCOMPARE(bytesOf(path()), before);
    QVERIFY(setAside().isEmpty());
}

void TestListRepair::aFileThatIsNoListIsNotJudged()
{
    QVERIFY(Shell(path()).value(u"CREATE TABLE songs (title TEXT)"_s).isNull());
    QVERIFY(ListCheck::look(path()).failure.cause == Clause(Clause::Kind::OfAnotherProgram));
    QVERIFY(ListRepair::repair(path()).failure.cause == Clause(Clause::Kind::OfAnotherProgram));
    QVERIFY(ListCheck::look(m_dir->filePath(u"none"_s)).failure.cause == Clause(Clause::Kind::NoSuchFile));
    QVERIFY(ListCheck::look(m_dir->path()).failure.plain() == "not-a-file(a-folder)"_L1);
    QCOMPARE(ListRepair::bringOver(m_dir->path(), m_dir->filePath(u"new.sqlite"_s)).failure.plain(),
             u"not-a-file(a-folder)"_s);
    QVERIFY(setAside().isEmpty());
}

void TestListRepair::aWholeListIsNotRepaired()
{
    makeList(2);
    const ListRepair::Report report = ListRepair::repair(path());
    QVERIFY(report.wasWhole && !report.failure);
    QVERIFY(setAside().isEmpty());
    QCOMPARE(listed(), m_records);
}

void TestListRepair::aListInUseIsNotRepaired()
{
    makeList(2);
    {
        DownloadList list;
        QVERIFY(list.open(path()));
        QCOMPARE(list.claim(2), DownloadList::Claim::Taken);
    }
    run({u"DROP INDEX downloads_by_url"_s});
    const ListRepair::Report report = ListRepair::repair(path());
    QVERIFY2(report.failure.plain().contains(u"process-at-work(%1, 2)"_s.arg(QCoreApplication::applicationPid())),
             qPrintable(report.failure.plain()));
    QVERIFY(setAside().isEmpty());
}

void TestListRepair::everythingIsBroughtOverWhenOnlyTheTablesAreWrong_data()
{
    QTest::addColumn<QString>("statement");
    QTest::newRow("an index is gone") << u"DROP INDEX downloads_by_finished"_s;
    QTest::newRow("a trigger refuses changes")
        << u"CREATE TRIGGER t BEFORE INSERT ON downloads BEGIN SELECT RAISE(ABORT, 'no'); END"_s;
    QTest::newRow("the version is gone") << u"PRAGMA user_version = 0"_s;
    QTest::newRow("a table's description makes no sense")
        << u"INSERT INTO sqlite_master VALUES ('trigger', 'x', 'downloads', 0, 'CREATE nonsense')"_s;
    QTest::newRow("a column is gone that is empty") << u"ALTER TABLE downloads DROP COLUMN referer"_s;
}

void TestListRepair::everythingIsBroughtOverWhenOnlyTheTablesAreWrong()
{
    QFETCH(QString, statement);
    makeList(20);
    run({statement});
    const ListRepair::Report report = ListRepair::repair(path());
    QCOMPARE(report.failure, Failure());
    QCOMPARE(report.brought, 20);
    QVERIFY(report.lost.isEmpty());
    QCOMPARE(report.remarks, QList<Clause>());
    QCOMPARE(setAside().size(), 1);
    QVERIFY(report.from.endsWith(setAside().first()));
    QCOMPARE(listed(), m_records);
    DownloadList list;
    QVERIFY(list.open(path()));
    QCOMPARE(list.options(7).rateLimit, 7);
    QCOMPARE(ListCheck::look(path()).problems, QList<Clause>());
}

void TestListRepair::aTableThatIsGoneCostsOnlyWhatWasInIt()
{
    makeList(3);
    run({u"DROP TABLE headers"_s});
    const ListRepair::Report report = ListRepair::repair(path());
    QCOMPARE(report.brought, 3);
    QCOMPARE(report.remarks, (QList<Clause>{{Clause::Kind::WithoutTable, {u"headers"_s, u"1–3"_s}}}));
    for (Info &record : m_records)
        record.parameters.clear();
    QCOMPARE(listed(), m_records);
}

void TestListRepair::progressComesWholeOrNotAtAll()
{
    makeList(3);
    run({u"DROP TABLE sections"_s});
    const ListRepair::Report report = ListRepair::repair(path());
    QCOMPARE(report.brought, 3);
    QCOMPARE(report.remarks, (QList<Clause>{{Clause::Kind::WithoutProgress, {u"1–3"_s}}}));
    const QList<Info> records = listed();
    QCOMPARE(records.size(), 3);
    for (const Info &record : records)
        QVERIFY2(record.files.isEmpty(), "a file without its sections would be begun anew, over what is there");
    QCOMPARE(Shell(path()).value(u"SELECT max(size_key) FROM downloads"_s), QVariant(-1));
}

void TestListRepair::aRowOfAnotherTypeCostsOneDownload()
{
    makeList(3);
    run({u"UPDATE sqlite_master SET sql = replace(sql, 'STRICT', '') WHERE name = 'downloads'"_s,
         u"UPDATE downloads SET flags = 'all' WHERE id = 2"_s});
    const ListRepair::Report report = ListRepair::repair(path());
    QCOMPARE(report.brought, 2);
    QCOMPARE(report.lost.size(), 1);
    QCOMPARE(report.lost.first(), QList<qint64>{2});
    m_records.removeAt(1);
    QCOMPARE(listed(), m_records);
}

void TestListRepair::aTornPageCostsOnlyTheDownloadsOnIt()
{
    constexpr int kCount = 300;
    makeList(kCount);
    // A page of rows: it has the letters of a title in it.
    QByteArray bytes = bytesOf(path());
    qint64 page = 1;
    while (page * kPage < bytes.size() && !bytes.mid(page * kPage, kPage).contains("Title 150 "))
        ++page;
    QVERIFY(page * kPage < bytes.size());
    bytes.replace(page * kPage, kPage, QByteArray(kPage, '\xff'));
    QFile file(path());
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
    file.close();
    const ListRepair::Report report = ListRepair::repair(path());
    QCOMPARE(report.failure, Failure());
    QCOMPARE(report.lost.size(), 1);
    const QList<qint64> lost = report.lost.first();
    QVERIFY(lost.contains(150));
    QVERIFY2(lost.size() < 20, qPrintable(IdRanges::text(lost)));
    m_records.removeIf([&lost](const Info &record) { return lost.contains(record.id); });
    QCOMPARE(report.brought, m_records.size());
    QCOMPARE(listed(), m_records);
    QCOMPARE(bytesOf(report.from), bytes);
}

void TestListRepair::whatIsThereAlreadyIsNotBroughtOverTwice()
{
    makeList(6);
    moveAside();
    const QByteArray before = bytesOf(asidePath());
    const ListRepair::Report first = ListRepair::bringOver(asidePath(), path());
    QCOMPARE(first.brought, 6);
    QCOMPARE(listed(), m_records);
    {
        DownloadList list;
        QVERIFY(list.open(path()) && list.remove(4));
    }
    const ListRepair::Report second = ListRepair::bringOver(asidePath(), path());
    QCOMPARE(second.brought, 1);
    QCOMPARE(second.present, 5);
    QCOMPARE(listed(), m_records);
    QCOMPARE(bytesOf(asidePath()), before);
}

void TestListRepair::equalDownloadsOfTheDamagedListAreAllBroughtOver()
{
    makeList(1);
    QVERIFY(Shell(path()).multiply(1, 9));
    moveAside();
    QCOMPARE(ListRepair::bringOver(asidePath(), path()).brought, 10);
    QCOMPARE(ListRepair::bringOver(asidePath(), path()).present, 10);
}

void TestListRepair::aNumberThatIsTakenIsReplaced()
{
    makeList(2);
    moveAside();
    Info other = recordFor(50);
    {
        DownloadList list;
        QVERIFY(list.open(path()));
        QCOMPARE(list.insert(other), 1);
    }
    const ListRepair::Report report = ListRepair::bringOver(asidePath(), path());
    QCOMPARE(report.brought, 2);
    QCOMPARE(report.remarks.size(), 1);
    // The other one keeps its number, although there was none yet when the first one needed another.
    m_records[0].id = 3;
    QCOMPARE(listed(), (QList<Info>{other, m_records.at(1), m_records.at(0)}));
}

void TestListRepair::anUnfinishedDownloadWhoseFileIsAnothersIsLeftOut()
{
    Info old = recordFor(1);
    old.files[0].fileFlags |= AbstractDownloadFileInfo::CreatedOnDisk;
    {
        DownloadList list;
        QVERIFY(list.open(path()) && list.insert(old) > 0);
    }
    moveAside();
    Info again = old;
    again.creationTime = again.creationTime.addDays(1);
    {
        DownloadList list;
        QVERIFY(list.open(path()) && list.insert(again) > 0);
    }
    const ListRepair::Report report = ListRepair::bringOver(asidePath(), path());
    QCOMPARE(report.brought, 0);
    QCOMPARE(report.lost.value(Clause::Kind::FilesOfOthers), QList<qint64>{1});
    QCOMPARE(listed(), QList<Info>{again});
}

// Who goes on with the new list before the old one is brought over gets a file beside the one that is there.
void TestListRepair::aDownloadThatWasBegunAnewBesideItsOldFileLeavesThatToIt()
{
    Info old = recordFor(1);
    old.files[0].fileFlags |= AbstractDownloadFileInfo::CreatedOnDisk;
    old.files[0].pathOnDisk = u"file1.iso.part"_s;
    {
        DownloadList list;
        QVERIFY(list.open(path()) && list.insert(old) > 0);
    }
    moveAside();
    Info again = old;
    again.creationTime = again.creationTime.addDays(1);
    again.files[0].pathOnDisk = u"file1 (1).iso.part"_s;
    {
        DownloadList list;
        QVERIFY(list.open(path()) && list.insert(again) > 0);
    }
    const ListRepair::Report report = ListRepair::bringOver(asidePath(), path());
    QVERIFY(report.lost.isEmpty());
    QCOMPARE(report.brought, 1);
    old.id = 2;
    QCOMPARE(listed(), (QList<Info>{again, old}));
}

void TestListRepair::aListOfTheFirstVersionIsBroughtOver()
{
    QFile script(QStringLiteral(FIRST_SCHEMA));
    QVERIFY(script.open(QIODevice::ReadOnly));
    const QList<QByteArray> statements = script.readAll().split(';');
    {
        const Shell shell(asidePath());
        for (const QByteArray &statement : statements)
            shell.value(QString::fromUtf8(statement));
    }
    const ListRepair::Report report = ListRepair::bringOver(asidePath(), path());
    QCOMPARE(report.failure, Failure());
    QCOMPARE(report.brought, 1);
    QCOMPARE(report.remarks, QList<Clause>());
    QCOMPARE(listed().first().url, QUrl(u"http://a/old.iso"_s));
    QCOMPARE(Shell(path()).value(u"SELECT name_key || ' ' || size_key FROM downloads"_s), u"http://a/old.iso -1"_s);
}

void TestListRepair::whatCannotBeReadAtAllIsKept()
{
    const QByteArray text(8192, 'x');
    QFile file(path());
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(text) == text.size());
    file.close();
    const ListRepair::Report report = ListRepair::repair(path());
    QCOMPARE(report.failure.kind, Failure::Kind::CannotReadList);
    QVERIFY(report.wasSetAside && !report.from.isEmpty());
    QCOMPARE(setAside().size(), 1);
    QCOMPARE(bytesOf(m_dir->filePath(setAside().first())), text);
    QVERIFY(listed().isEmpty());
}

QTEST_GUILESS_MAIN(TestListRepair)
#include "tst_listrepair.moc"
