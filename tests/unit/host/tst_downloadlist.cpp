// SPDX-License-Identifier: MIT
#include <host/storage/downloadlist.h>
#include <host/storage/processidentity.h>
#include <tests/unit/host/randomrecord.h>

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>

#include <QThread>

#include <algorithm>
#include <memory>

using namespace Qt::StringLiterals;

namespace
{

using Info = AbstractDownloadPersistentInfo;

constexpr quint32 kRandomRecords = 300;
constexpr auto kOthers =
    QFile::ReadGroup | QFile::WriteGroup | QFile::ExeGroup | QFile::ReadOther | QFile::WriteOther | QFile::ExeOther;

Info recordOf(const QString &url, const QString &folder, const QString &outputName = {})
{
    Info info;
    info.url = QUrl(url);
    info.folder = folder;
    if (!outputName.isEmpty()) {
        AbstractDownloadFileInfo file;
        file.name = outputName;
        info.files = {file};
        info.setFlag(Info::RenameBlocked, true);
    }
    return info;
}

template<typename Record>
QList<qint64> idsOf(const QList<Record> &records)
{
    QList<qint64> ids;
    for (const Record &record : records)
        ids.append(record.id);
    return ids;
}

bool write(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

/// The file, seen as the sqlite3 shell sees it.
class Shell
{
    Q_DISABLE_COPY_MOVE(Shell)

public:
    explicit Shell(const QString &path)
    {
        QSqlDatabase database = QSqlDatabase::addDatabase(u"QSQLITE"_s, kName);
        database.setDatabaseName(path);
        database.open();
    }
    ~Shell() { QSqlDatabase::removeDatabase(kName); }

    QVariant value(const QString &statement) const
    {
        QSqlQuery query(QSqlDatabase::database(kName));
        if (!query.exec(statement))
            return query.lastError().text();
        return query.next() ? query.value(0) : QVariant();
    }

    /// As SQLite would run it.
    QStringList planOf(const QString &statement) const
    {
        QSqlQuery query(QSqlDatabase::database(kName));
        QStringList plan;
        query.prepare(u"EXPLAIN QUERY PLAN "_s + statement);
        for (qsizetype i = statement.count(u'?'); i > 0; --i)
            query.addBindValue(QVariant());
        if (!query.exec())
            plan.append(u"SCAN? "_s + query.lastError().text());
        while (query.next())
            plan.append(query.value(3).toString());
        return plan;
    }

    /// So many more of a download with one file, in one transaction.
    bool multiply(qint64 id, int count) const
    {
        QSqlDatabase database = QSqlDatabase::database(kName);
        bool done = database.transaction();
        for (const QString &table : {u"downloads"_s, u"files"_s, u"sections"_s}) {
            QStringList columns = columnsOf(table);
            const QString key = table == "downloads"_L1 ? u"id"_s : u"download_id"_s;
            columns.removeOne(key);
            const QString names = columns.join(u", "_s);
            const QString statement =
                u"WITH RECURSIVE n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < %1) "
                u"INSERT INTO %2 (%3, %4) SELECT %5 + n.i, %4 FROM n CROSS JOIN (SELECT * FROM %2 WHERE %3 = %5)"_s.arg(
                    QString::number(count), table, key, names, QString::number(id));
            done = done && QSqlQuery(database).exec(statement);
        }
        return done && database.commit();
    }

private:
    QStringList columnsOf(const QString &table) const
    {
        QSqlQuery query(QSqlDatabase::database(kName));
        query.exec(u"PRAGMA table_info(%1)"_s.arg(table));
        QStringList names;
        while (query.next())
            names.append(query.value(1).toString());
        return names;
    }

    static inline const QString kName = u"shell"_s;
};

}

class TestDownloadList : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void everyFieldComesBack();
    void anUpdateReplacesEverything();
    void anUpdateOfNobodyFails();
    void idsAreNotGivenOutTwice();
    void aRecordThatIsNotThereIsNoError();
    void whatIsUnfinishedIsFound_data();
    void whatIsUnfinishedIsFound();
    void theNewestUnfinishedComesFirst();
    void unfinishedLeavesOutWhatIsFinished();
    void removingARecordRemovesItsParts();
    void theListSurvivesItsProgram();

    void theFileIsItsOwnersAlone();
    void theDefaultPlaceFollowsTheEnvironment();
    void valuesCanBeReadInTheShell();
    void twoListsUseOneFile();

    void aDownloadHasOneOwner();
    void anOwnerThatDiedIsNone();
    void aReleasedDownloadIsFree();
    void releasingSomebodyElsesDownloadDoesNothing();
    void claimingNothingFails();
    void aNewDownloadOfThisProcessIsThereAtOnce();
    void aClaimReadsWhatIsThere();
    void whatIsAnothersIsNotRead();

    void optionsComeBack();
    void secretsAreKeptOnlyWhereAskedFor();
    void theFilesIdentityStaysUntilAnotherIsKnown();

    void noReadingHoldsALock();

    void aPageShowsTheNewestFirst();
    void pagesGoOnWhereTheLastOneEnded();
    void aPageShowsWhatALineNeeds();
    void nothingLooksThroughAHundredThousandDownloads();

    void aFileThatIsNoDatabaseIsSetAside();
    void aDamagedListIsSetAside();
    void damageThatIsFoundLaterIsSetAside();
    void whatWasSetAsideIsNotKeptOpen();
    void whatWasSetAsideIsNotReplaced();
    void anotherProgramsDatabaseIsLeftAlone();
    void aListOfALaterVersionIsLeftAlone();

    void aFolderThatCannotBeMadeIsReported();
    void aClosedListSaysSo();

private:
    QString folder() const { return m_dir->filePath(u"data/plait"_s); }
    QString path() const { return folder() + "/downloads.sqlite"_L1; }
    /// Names of the lists that were set aside.
    QStringList setAside() const
    {
        const QStringList names = QDir(folder()).entryList({u"*.damaged-*"_s}, QDir::Files);
        return names.filter(QRegularExpression(u"\\d$"_s));
    }
    /// @param name a path, or a name in the list's folder
    QByteArray read(const QString &name) const
    {
        QFile file(QDir(folder()).filePath(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    /// A list whose table begins with nonsense; @param table empty = the last quarter of the file is nonsense
    void fillAndDamage(const QString &table) const;
    void openList(DownloadList &list) const { QVERIFY2(list.open(path()), qPrintable(list.lastErrorText())); }

    std::unique_ptr<QTemporaryDir> m_dir;
};

void TestDownloadList::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
}

void TestDownloadList::fillAndDamage(const QString &table) const
{
    qint64 page = 0;
    {
        DownloadList list;
        openList(list);
        Info record;
        record.title = QString(1000, u't');
        QVERIFY(list.insert(record) > 0);
        const Shell shell(path());
        QVERIFY(shell.multiply(record.id, 500));
        page = shell.value(u"SELECT rootpage FROM sqlite_master WHERE name = '%1'"_s.arg(table)).toLongLong();
    }
    constexpr qint64 kPage = 4096;
    QFile file(path());
    QVERIFY(file.open(QIODevice::ReadWrite));
    const qint64 begin = table.isEmpty() ? file.size() / kPage * 3 / 4 * kPage : (page - 1) * kPage;
    const qint64 size = table.isEmpty() ? file.size() - begin : kPage;
    QVERIFY(begin >= kPage && file.seek(begin) && file.write(QByteArray(size, '\xff')) == size);
}

void TestDownloadList::everyFieldComesBack()
{
    DownloadList list;
    openList(list);
    for (quint32 seed = 0; seed < kRandomRecords; ++seed) {
        Info record = randomRecord(seed);
        QVERIFY2(list.insert(record) > 0, qPrintable(list.lastErrorText()));
        const std::optional<Info> back = list.load(record.id);
        QVERIFY2(back.has_value(), qPrintable(list.lastErrorText()));
        QVERIFY2(*back == record, qPrintable(u"seed %1"_s.arg(seed)));
    }
    QCOMPARE(list.list().size(), qsizetype(kRandomRecords));
}

void TestDownloadList::anUpdateReplacesEverything()
{
    DownloadList list;
    openList(list);
    Info record = randomRecord(0);
    Info neighbour = randomRecord(1);
    QVERIFY(list.insert(record) > 0);
    QVERIFY(list.insert(neighbour) > 0);
    for (quint32 seed = 1000; seed < 1050; ++seed) {
        Info changed = randomRecord(seed);
        changed.id = record.id;
        QVERIFY2(list.update(changed), qPrintable(list.lastErrorText()));
        QVERIFY2(list.load(record.id) == changed, qPrintable(u"seed %1"_s.arg(seed)));
    }
    QVERIFY(list.load(neighbour.id) == neighbour);
}

void TestDownloadList::anUpdateOfNobodyFails()
{
    DownloadList list;
    openList(list);
    Info record = randomRecord(3);
    record.id = 77;
    QVERIFY(!list.update(record));
    QVERIFY2(list.lastErrorText().startsWith(u"cannot save in the list"_s), qPrintable(list.lastErrorText()));
    QVERIFY(list.list().isEmpty());
}

void TestDownloadList::idsAreNotGivenOutTwice()
{
    DownloadList list;
    openList(list);
    Info first;
    Info second;
    QVERIFY(list.insert(first) > 0);
    QVERIFY(list.remove(first.id));
    QVERIFY(list.insert(second) > 0);
    QVERIFY(second.id != first.id);
}

void TestDownloadList::aRecordThatIsNotThereIsNoError()
{
    DownloadList list;
    openList(list);
    QVERIFY(!list.load(5).has_value());
    QVERIFY(list.lastErrorText().isEmpty());
}

void TestDownloadList::whatIsUnfinishedIsFound_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("folder");
    QTest::addColumn<QString>("outputName");
    QTest::addColumn<QList<qint64>>("ids");

    const QString url = u"http://a/x?q=1"_s;
    QTest::newRow("the same URL and folder") << url << u"/home"_s << QString() << QList<qint64>{1};
    QTest::newRow("the same with the same name") << url << u"/home"_s << u"y"_s << QList<qint64>{2};
    QTest::newRow("another folder") << url << u"/tmp"_s << QString() << QList<qint64>{};
    QTest::newRow("another URL") << u"http://a/x?q=2"_s << u"/home"_s << QString() << QList<qint64>{};
    QTest::newRow("another name") << url << u"/home"_s << u"z"_s << QList<qint64>{};
    QTest::newRow("what is finished is not found") << u"http://a/done"_s << u"/home"_s << QString() << QList<qint64>{};
}

void TestDownloadList::whatIsUnfinishedIsFound()
{
    QFETCH(QString, url);
    QFETCH(QString, folder);
    QFETCH(QString, outputName);
    DownloadList list;
    openList(list);
    Info plain = recordOf(u"http://a/x?q=1"_s, u"/home"_s);
    Info named = recordOf(u"http://a/x?q=1"_s, u"/home"_s, u"y"_s);
    Info done = recordOf(u"http://a/done"_s, u"/home"_s);
    done.setFinished(true, true);
    for (Info *record : {&plain, &named, &done})
        QVERIFY(list.insert(*record) > 0);
    const QList<Info> found = list.findUnfinished(QUrl(url), folder, outputName);
    QVERIFY2(list.lastErrorText().isEmpty(), qPrintable(list.lastErrorText()));
    QTEST(idsOf(found), "ids");
}

void TestDownloadList::theNewestUnfinishedComesFirst()
{
    DownloadList list;
    openList(list);
    Info older = recordOf(u"http://a/x"_s, u"/home"_s);
    Info newer = older;
    QVERIFY(list.insert(older) > 0);
    QVERIFY(list.insert(newer) > 0);
    QCOMPARE(idsOf(list.findUnfinished(older.url, older.folder, {})), (QList<qint64>{newer.id, older.id}));
}

void TestDownloadList::unfinishedLeavesOutWhatIsFinished()
{
    DownloadList list;
    openList(list);
    Info open = recordOf(u"http://a/1"_s, u"/home"_s);
    Info done = recordOf(u"http://a/2"_s, u"/home"_s);
    done.setFinished(true, true);
    QVERIFY(list.insert(open) > 0);
    QVERIFY(list.insert(done) > 0);
    QCOMPARE(idsOf(list.loadUnfinished()), QList<qint64>{open.id});
    QCOMPARE(idsOf(list.list()), (QList<qint64>{open.id, done.id}));
}

void TestDownloadList::removingARecordRemovesItsParts()
{
    DownloadList list;
    openList(list);
    for (quint32 seed = 0; seed < 20; ++seed) {
        Info record = randomRecord(seed);
        QVERIFY(list.insert(record) > 0);
        QVERIFY2(list.remove(record.id), qPrintable(list.lastErrorText()));
        QVERIFY(!list.remove(record.id));
    }
    const Shell shell(path());
    for (const QString &table : {u"downloads"_s, u"files"_s, u"sections"_s, u"mirrors"_s, u"cookies"_s, u"headers"_s})
        QCOMPARE(shell.value(u"SELECT count(*) FROM "_s + table).toInt(), 0);
}

void TestDownloadList::theListSurvivesItsProgram()
{
    Info record = randomRecord(7);
    {
        DownloadList list;
        openList(list);
        QVERIFY(list.insert(record) > 0);
    }
    DownloadList again;
    openList(again);
    QVERIFY(again.load(record.id) == record);
}

void TestDownloadList::theFileIsItsOwnersAlone()
{
    DownloadList list;
    openList(list);
    Info record = randomRecord(1);
    QVERIFY(list.insert(record) > 0);
    const QFileInfo file(path());
    QVERIFY(!(file.permissions() & kOthers));
    QVERIFY(!(QFileInfo(file.path()).permissions() & kOthers));
    QVERIFY(QFileInfo::exists(path() + "-wal"_L1));
    QVERIFY(!(QFileInfo(path() + "-wal"_L1).permissions() & kOthers));
}

void TestDownloadList::theDefaultPlaceFollowsTheEnvironment()
{
    qputenv("XDG_DATA_HOME", "/somewhere/data");
    QCOMPARE(DownloadList::defaultPath(), u"/somewhere/data/plait/downloads.sqlite"_s);
    qunsetenv("XDG_DATA_HOME");
}

void TestDownloadList::valuesCanBeReadInTheShell()
{
    DownloadList list;
    openList(list);
    Info record = recordOf(u"http://a/b c"_s, u"/home"_s, u"naïve.iso"_s);
    record.creationTime = QDateTime({2024, 3, 1}, {1, 30, 0, 250}, Qt::OffsetFromUTC, 3600);
    record.lastError = {1, "QtNetworkError", "here,1", "caf\xe9"};
    record.postData = "a=1";
    record.parameters = {{u"headers"_s, QVariantMap{{u"X-Test"_s, u"1"_s}}}, {u"depth"_s, 2}};
    record.files.first().sections = {{0, 100, 40}, {100, 50, 50}};
    QVERIFY(list.insert(record) > 0);
    const Shell shell(path());
    const QString from = u" FROM downloads"_s;
    QCOMPARE(shell.value(u"SELECT url"_s + from).toString(), u"http://a/b%20c"_s);
    QCOMPARE(shell.value(u"SELECT creation_time"_s + from).toString(), u"2024-03-01T00:30:00.250Z"_s);
    QCOMPARE(shell.value(u"SELECT typeof(error_category)"_s + from).toString(), u"text"_s);
    QCOMPARE(shell.value(u"SELECT typeof(error_description)"_s + from).toString(), u"blob"_s);
    QCOMPARE(shell.value(u"SELECT post_data"_s + from).toString(), u"a=1"_s);
    QCOMPARE(shell.value(u"SELECT parameters"_s + from).toString(), u"{\"depth\":2}"_s);
    QCOMPARE(shell.value(u"SELECT finished"_s + from).toInt(), 0);
    QCOMPARE(shell.value(u"SELECT typeof(finished_time)"_s + from).toString(), u"null"_s);
    QCOMPARE(shell.value(u"SELECT name || ': ' || value FROM headers"_s).toString(), u"X-Test: 1"_s);
    QCOMPARE(shell.value(u"SELECT name FROM files"_s).toString(), u"naïve.iso"_s);
    QCOMPARE(shell.value(u"SELECT sum(downloaded) FROM sections"_s).toInt(), 90);
    QCOMPARE(shell.value(u"PRAGMA journal_mode"_s).toString(), u"wal"_s);
}

void TestDownloadList::twoListsUseOneFile()
{
    constexpr int kEach = 40;
    const auto fill = [this](bool *done) {
        DownloadList list;
        *done = list.open(path());
        for (int i = 0; i < kEach && *done; ++i) {
            Info record = randomRecord(quint32(i));
            *done = list.insert(record) > 0 && list.update(record);
        }
    };
    bool otherDone = false;
    bool done = false;
    std::unique_ptr<QThread> other(QThread::create(fill, &otherDone));
    other->start();
    fill(&done);
    QVERIFY(other->wait());
    QVERIFY(done);
    QVERIFY(otherDone);
    DownloadList list;
    openList(list);
    QCOMPARE(list.list().size(), 2 * kEach);
}

void TestDownloadList::aDownloadHasOneOwner()
{
    DownloadList list;
    openList(list);
    Info record;
    QVERIFY(list.insert(record) > 0);
    QProcess other;
    other.start(u"cat"_s, {});
    QVERIFY(other.waitForStarted());
    const ProcessIdentity identity = ProcessIdentity::ofProcess(other.processId());
    {
        const Shell shell(path());
        QVERIFY(shell
                    .value(u"UPDATE downloads SET owner_pid = %1, owner_start_time = %2, owner_boot_id = '%3'"_s
                               .arg(identity.pid)
                               .arg(identity.startTime)
                               .arg(identity.bootId))
                    .isNull());
    }
    ProcessIdentity owner;
    QCOMPARE(list.claim(record.id, &owner), DownloadList::Claim::OwnedByOther);
    QCOMPARE(owner, identity);
    other.closeWriteChannel();
    QVERIFY(other.waitForFinished());
    QCOMPARE(list.claim(record.id), DownloadList::Claim::Taken);
    QCOMPARE(list.claim(record.id), DownloadList::Claim::Taken);
}

void TestDownloadList::anOwnerThatDiedIsNone()
{
    DownloadList list;
    openList(list);
    Info record;
    QVERIFY(list.insert(record) > 0);
    QCOMPARE(list.claim(record.id), DownloadList::Claim::Taken);
    {
        const Shell shell(path());
        QVERIFY(shell.value(u"UPDATE downloads SET owner_start_time = owner_start_time - 1"_s).isNull());
    }
    QCOMPARE(list.claim(record.id), DownloadList::Claim::Taken);
    const Shell shell(path());
    QCOMPARE(shell.value(u"SELECT owner_start_time FROM downloads"_s).toLongLong(),
             ProcessIdentity::current().startTime);
}

void TestDownloadList::aReleasedDownloadIsFree()
{
    DownloadList list;
    openList(list);
    Info record;
    QVERIFY(list.insert(record) > 0);
    QCOMPARE(list.claim(record.id), DownloadList::Claim::Taken);
    QVERIFY2(list.update(record), "saving leaves the owner alone");
    QVERIFY2(list.release(record.id), qPrintable(list.lastErrorText()));
    const Shell shell(path());
    QVERIFY(shell.value(u"SELECT owner_pid FROM downloads"_s).isNull());
}

void TestDownloadList::releasingSomebodyElsesDownloadDoesNothing()
{
    DownloadList list;
    openList(list);
    Info record;
    QVERIFY(list.insert(record) > 0);
    {
        const Shell shell(path());
        QVERIFY(
            shell.value(u"UPDATE downloads SET owner_pid = 1, owner_start_time = 2, owner_boot_id = 'x'"_s).isNull());
    }
    QVERIFY(!list.release(record.id));
    const Shell shell(path());
    QCOMPARE(shell.value(u"SELECT owner_pid FROM downloads"_s).toInt(), 1);
}

void TestDownloadList::claimingNothingFails()
{
    DownloadList list;
    openList(list);
    QCOMPARE(list.claim(5), DownloadList::Claim::Failed);
    QVERIFY(list.lastErrorText().contains(u"no such download"_s));
}

void TestDownloadList::aNewDownloadOfThisProcessIsThereAtOnce()
{
    DownloadList list;
    openList(list);
    Info record = randomRecord(1);
    DownloadOptions options;
    options.rateLimit = 1000;
    QVERIFY2(list.insertOwned(record, options) > 0, qPrintable(list.lastErrorText()));
    QCOMPARE(list.load(record.id), record);
    QCOMPARE(list.options(record.id), options);
    const Shell shell(path());
    QCOMPARE(shell.value(u"SELECT owner_pid FROM downloads"_s).toLongLong(), ProcessIdentity::current().pid);

    QVERIFY(
        shell.value(u"CREATE TRIGGER t BEFORE INSERT ON options BEGIN SELECT RAISE(ABORT, 'full'); END"_s).isNull());
    Info other;
    QCOMPARE(list.insertOwned(other, options), 0);
    QCOMPARE(other.id, 0);
    QVERIFY2(list.lastErrorText().contains(u"full"_s), qPrintable(list.lastErrorText()));
    QVERIFY2(list.count(ListFilter::All) == 1, "all of it or nothing");
}

void TestDownloadList::aClaimReadsWhatIsThere()
{
    DownloadList list;
    openList(list);
    Info record = randomRecord(1);
    QVERIFY(list.insert(record) > 0);
    DownloadOptions options;
    options.connections = 5;
    QVERIFY(list.setOptions(record.id, options));
    QVERIFY(list.update(record, {u"1:2"_s}, DownloadList::Lasting::ThisRunOfTheMachine));
    for (const QString &title : {u"one"_s, u"two"_s}) {
        // Somebody else's change, even of what is this process's already.
        QVERIFY(Shell(path()).value(u"UPDATE downloads SET title = '%1'"_s.arg(title)).isNull());
        record.title = title;
        DownloadList::Taken taken;
        QCOMPARE(list.claim(record.id, taken), DownloadList::Claim::Taken);
        QCOMPARE(taken.record, record);
        QCOMPARE(taken.options, options);
        QCOMPARE(taken.file.text, u"1:2"_s);
    }
    QVERIFY(list.release(record.id));
    DownloadList::Taken taken;
    QCOMPARE(list.claim(record.id + 1, taken), DownloadList::Claim::Failed);
}

void TestDownloadList::whatIsAnothersIsNotRead()
{
    DownloadList list;
    openList(list);
    Info record = randomRecord(1);
    QVERIFY(list.insert(record) > 0);
    const ProcessIdentity first = ProcessIdentity::ofProcess(1);
    QVERIFY(Shell(path())
                .value(u"UPDATE downloads SET owner_pid = 1, owner_start_time = %1, owner_boot_id = '%2'"_s
                           .arg(first.startTime)
                           .arg(first.bootId))
                .isNull());
    DownloadList::Taken taken;
    ProcessIdentity owner;
    QCOMPARE(list.claim(record.id, taken, &owner), DownloadList::Claim::OwnedByOther);
    QCOMPARE(owner, first);
    QCOMPARE(taken.record, Info());
}

void TestDownloadList::optionsComeBack()
{
    DownloadList list;
    openList(list);
    Info record;
    QVERIFY(list.insert(record) > 0);
    QCOMPARE(list.options(record.id), DownloadOptions());
    DownloadOptions options;
    options.rateLimit = Q_INT64_C(5000000000);
    options.connections = 7;
    options.connectionsPerServer = 3;
    options.checksumAlgorithm = u"sha-256"_s;
    options.checksumHex = u"00ff"_s;
    options.onChanged = 2;
    options.onUnresumable = 1;
    options.checksumResult = ChecksumResult::Different;
    options.skipExisting = true;
    options.user = u"ä"_s;
    options.password = u"p'"_s;
    options.storeSecrets = true;
    options.insecure = true;
    QVERIFY2(list.setOptions(record.id, options), qPrintable(list.lastErrorText()));
    QCOMPARE(list.options(record.id), options);
    QVERIFY2(list.update(record), "saving the record leaves the options alone");
    QCOMPARE(list.options(record.id), options);
    QVERIFY(list.setOptions(record.id, {}));
    QCOMPARE(list.options(record.id), DownloadOptions());
    QVERIFY(!list.setOptions(record.id + 1, options));
    QVERIFY(list.remove(record.id));
    QCOMPARE(Shell(path()).value(u"SELECT count(*) FROM options"_s).toInt(), 0);
}

void TestDownloadList::secretsAreKeptOnlyWhereAskedFor()
{
    DownloadList list;
    openList(list);
    Info record;
    QVERIFY(list.insert(record) > 0);
    DownloadOptions options;
    options.user = u"somebody"_s;
    options.password = u"secret-word"_s;
    QVERIFY(list.setOptions(record.id, options));
    QVERIFY(list.options(record.id).user.isEmpty());
    QVERIFY(list.options(record.id).password.isEmpty());
    for (const QString &file : {path(), path() + "-wal"_L1}) {
        QFile bytes(file);
        QVERIFY(bytes.open(QIODevice::ReadOnly));
        QVERIFY2(!bytes.readAll().contains("secret-word"), qPrintable(file));
    }
}

void TestDownloadList::theFilesIdentityStaysUntilAnotherIsKnown()
{
    DownloadList list;
    openList(list);
    Info record;
    QVERIFY(list.insert(record) > 0);
    QVERIFY(!list.fileIdentity(record.id).isKnown());
    const auto lasting = DownloadList::Lasting::ThisRunOfTheMachine;
    QVERIFY(list.update(record, {u"1:2"_s}, lasting));
    QVERIFY(list.update(record, FileIdentity(), lasting));
    QCOMPARE(list.fileIdentity(record.id).text, u"1:2"_s);
    QVERIFY(list.update(record, {u"3:4"_s}, lasting));
    QCOMPARE(list.fileIdentity(record.id).text, u"3:4"_s);
}

void TestDownloadList::noReadingHoldsALock()
{
    DownloadList list;
    openList(list);
    Info record = randomRecord(1);
    QVERIFY(list.insert(record) > 0);
    const std::function<void()> readings[] = {
        [&] { list.load(record.id); },          [&] { list.list(); },
        [&] { list.page(ListFilter::All, 1); }, [&] { list.count(ListFilter::Finished); },
        [&] { list.options(record.id); },       [&] { list.fileIdentity(record.id); },
        [&] { list.claim(record.id); },         [&] { list.findByUrl(record.url, 1); },
    };
    const Shell shell(path());
    for (const auto &read : readings) {
        read();
        QVERIFY(shell.value(u"UPDATE downloads SET title = title || 'x'"_s).isNull());
        // Whoever reads keeps the log from being emptied.
        QCOMPARE(shell.value(u"PRAGMA wal_checkpoint(TRUNCATE)"_s), QVariant(0));
    }
}

void TestDownloadList::aPageShowsTheNewestFirst()
{
    DownloadList list;
    openList(list);
    QVERIFY(list.page(ListFilter::All, 10).isEmpty());
    for (int i = 0; i < 6; ++i) {
        Info record;
        record.setFinished(i % 3 == 0, true);
        QVERIFY(list.insert(record) > 0);
    }
    QCOMPARE(idsOf(list.page(ListFilter::All, 10)), (QList<qint64>{6, 5, 4, 3, 2, 1}));
    QCOMPARE(idsOf(list.page(ListFilter::Finished, 10)), (QList<qint64>{4, 1}));
    QCOMPARE(idsOf(list.page(ListFilter::Unfinished, 3)), (QList<qint64>{6, 5, 3}));
    QCOMPARE(list.count(ListFilter::All), 6);
    QCOMPARE(list.count(ListFilter::Finished), 2);
    QCOMPARE(list.count(ListFilter::Unfinished), 4);
}

void TestDownloadList::pagesGoOnWhereTheLastOneEnded()
{
    DownloadList list;
    openList(list);
    for (int i = 0; i < 5; ++i) {
        Info record;
        QVERIFY(list.insert(record) > 0);
    }
    const QList<ListEntry> first = list.page(ListFilter::All, 2);
    const QList<ListEntry> second = list.page(ListFilter::All, 2, first.last().id);
    const QList<ListEntry> third = list.page(ListFilter::All, 2, second.last().id);
    QCOMPARE(idsOf(first + second + third), (QList<qint64>{5, 4, 3, 2, 1}));
    QVERIFY(list.page(ListFilter::All, 2, third.last().id).isEmpty());
}

void TestDownloadList::aPageShowsWhatALineNeeds()
{
    DownloadList list;
    openList(list);
    Info record = recordOf(u"http://a/b c"_s, u"/home"_s, u"x.iso"_s);
    record.creationTime = QDateTime({2024, 3, 1}, {1, 30, 0, 250}, Qt::UTC);
    record.setLastError({404, "HttpError", "here,1", "no such thing"});
    record.files.first().size = 500;
    record.files.first().sections = {{0, 100, 40}, {100, 400, 30}};
    QVERIFY(list.insert(record) > 0);
    Info finished = recordOf(u"http://a/2"_s, u"/home"_s);
    finished.setFinished(true, true);
    QVERIFY(list.insert(finished) > 0);
    QCOMPARE(list.claim(record.id), DownloadList::Claim::Taken);

    const QList<ListEntry> entries = list.page(ListFilter::All, 10);
    QCOMPARE(entries.size(), 2);
    const ListEntry &line = entries.last();
    QCOMPARE(line.id, record.id);
    QCOMPARE(line.name, u"x.iso"_s);
    QCOMPARE(line.url, record.url);
    QCOMPARE(line.folder, u"/home"_s);
    QCOMPARE(line.size, 500);
    QCOMPARE(line.done, 70);
    QVERIFY(!line.finished);
    QCOMPARE(line.ownerPid, qint64(QCoreApplication::applicationPid()));
    QCOMPARE(line.error, record.lastError);
    QCOMPARE(line.creationTime, record.creationTime);
    QVERIFY(line.errorTime.isValid() && !line.finishedTime.isValid());
    QVERIFY(entries.first().finished && entries.first().finishedTime.isValid());
    QCOMPARE(entries.first().size, -1);
    QCOMPARE(entries.first().done, 0);
    QVERIFY(!entries.first().error && entries.first().name.isEmpty() && entries.first().ownerPid == 0);
}

void TestDownloadList::nothingLooksThroughAHundredThousandDownloads()
{
    constexpr int kDownloads = 100000;
    DownloadList list;
    openList(list);
    Info record = recordOf(u"http://a/same"_s, u"/home"_s, u"x.iso"_s);
    record.files.first().size = 100;
    record.files.first().sections = {{0, 100, 100}};
    record.setFinished(true, true);
    QVERIFY(list.insert(record) > 0);
    const Shell shell(path());
    QVERIFY(shell.multiply(record.id, kDownloads - 1));
    QCOMPARE(list.count(ListFilter::Finished), kDownloads);

    QStringList statements;
    list.setStatementObserver([&](const QString &statement) { statements.append(statement); });
    const auto timed = [&](const char *what, const auto &work) {
        QElapsedTimer timer;
        timer.start();
        work();
        qInfo("%s: %lld ms", what, static_cast<long long>(timer.elapsed()));
    };
    QList<ListEntry> first;
    timed("first page", [&] { first = list.page(ListFilter::All, 50); });
    timed("first page of the finished ones", [&] { list.page(ListFilter::Finished, 50); });
    timed("a page in the middle", [&] { list.page(ListFilter::Finished, 50, kDownloads / 2); });
    timed("first page of the unfinished ones", [&] { list.page(ListFilter::Unfinished, 50); });
    timed("find one of the same URL", [&] { list.findUnfinished(record.url, u"/home"_s, u"x.iso"_s); });
    timed("find one without a name", [&] { list.findUnfinished(record.url, u"/home"_s, {}); });
    timed("all unfinished ones", [&] { list.loadUnfinished(); });
    Info added = recordOf(u"http://a/same"_s, u"/home"_s, u"x.iso"_s);
    timed("a new one", [&] { list.insert(added); });
    timed("its claim", [&] { list.claim(added.id); });
    timed("its options", [&] { list.setOptions(added.id, list.options(added.id)); });
    timed("its progress", [&] { list.update(added); });
    timed("its reading", [&] { list.load(added.id); });
    timed("its removal", [&] { list.remove(added.id); });
    QCOMPARE(first.size(), 50);
    QCOMPARE(first.first().done, 100);

    for (const QString &statement : std::as_const(statements)) {
        QStringList plan = shell.planOf(statement);
        // An index of the few that it is about.
        plan.removeIf([](const QString &step) { return step.contains(u"options_not_compared"_s); });
        QVERIFY2(plan.filter(u"SCAN"_s).isEmpty(), qPrintable(statement + u"\n  "_s + plan.join(u"\n  "_s)));
        const bool byUrl = statement.contains(u"url = ?"_s) && statement.startsWith(u"SELECT"_s);
        QVERIFY2(!byUrl || plan.filter(u"downloads_unfinished_by_url"_s).size() == 1, qPrintable(plan.join(u'\n')));
    }
}

void TestDownloadList::aFileThatIsNoDatabaseIsSetAside()
{
    const QByteArray text(8192, 'x');
    QVERIFY(QDir().mkpath(folder()) && write(path(), text));
    DownloadList list;
    QVERIFY2(list.open(path()), qPrintable(list.lastErrorText()));
    QVERIFY2(list.warning().contains(u"damaged"_s), qPrintable(list.warning()));
    const QStringList aside = setAside();
    QCOMPARE(aside.size(), 1);
    QVERIFY(QRegularExpression(u"^downloads\\.sqlite\\.damaged-\\d{8}-\\d{6}$"_s).match(aside.first()).hasMatch());
    QVERIFY(list.warning().contains(aside.first()));
    QCOMPARE(read(aside.first()), text);
    Info record;
    QVERIFY(list.insert(record) > 0);
    DownloadList again;
    openList(again);
    QVERIFY(again.warning().isEmpty());
    QCOMPARE(again.list().size(), 1);
}

void TestDownloadList::aDamagedListIsSetAside()
{
    fillAndDamage(u"downloads"_s);
    DownloadList list;
    QVERIFY2(list.open(path()), qPrintable(list.lastErrorText()));
    QVERIFY(!list.warning().isEmpty());
    QCOMPARE(setAside().size(), 1);
    QVERIFY(list.list().isEmpty());
    QVERIFY(list.lastErrorText().isEmpty());
}

void TestDownloadList::damageThatIsFoundLaterIsSetAside()
{
    // The first rows are whole, so that opening finds nothing.
    fillAndDamage({});
    DownloadList list;
    openList(list);
    QVERIFY(list.warning().isEmpty());
    QVERIFY(list.list().isEmpty());
    QVERIFY2(list.lastErrorText().contains(u"damaged"_s), qPrintable(list.lastErrorText()));
    QVERIFY(!list.warning().isEmpty());
    QCOMPARE(setAside().size(), 1);
    Info record;
    QVERIFY2(list.insert(record) > 0, "the new list is at work");
}

void TestDownloadList::whatWasSetAsideIsNotKeptOpen()
{
    fillAndDamage({});
    DownloadList list;
    openList(list);
    QCOMPARE(list.load(1)->id, 1);
    Info record;
    QVERIFY2(list.list().isEmpty(), "the damage is found while a statement is read");
    QCOMPARE(setAside().size(), 1);
    const QDir descriptors(u"/proc/self/fd"_s);
    const QStringList names = descriptors.entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot);
    for (const QString &name : names)
        QVERIFY(!QFile::symLinkTarget(descriptors.filePath(name)).contains(u".damaged-"_s));
    QVERIFY2(!list.load(1), "the same statement reads the new list");
    QVERIFY(list.lastErrorText().isEmpty());
    QCOMPARE(list.insert(record), 1);
    QCOMPARE(list.load(1), record);
}

void TestDownloadList::whatWasSetAsideIsNotReplaced()
{
    QVERIFY(QDir().mkpath(folder()));
    for (int i = 1; i <= 3; ++i) {
        QVERIFY(write(path(), QByteArray(1000, char('a' + i))));
        DownloadList list;
        QVERIFY(list.open(path()));
        QCOMPARE(setAside().size(), i);
    }
    QByteArrayList contents;
    const QStringList names = setAside();
    for (const QString &name : names)
        contents.append(read(name).left(1));
    std::sort(contents.begin(), contents.end());
    QCOMPARE(contents, (QByteArrayList{"b", "c", "d"}));
}

void TestDownloadList::anotherProgramsDatabaseIsLeftAlone()
{
    QVERIFY(QDir().mkpath(folder()));
    QVERIFY(Shell(path()).value(u"CREATE TABLE songs (title TEXT)"_s).isNull());
    const QByteArray before = read(path());
    DownloadList list;
    QVERIFY(!list.open(path()));
    QVERIFY2(list.lastErrorText().contains(u"another program"_s), qPrintable(list.lastErrorText()));
    QVERIFY(setAside().isEmpty());
    QCOMPARE(Shell(path()).value(u"SELECT count(*) FROM songs"_s).toInt(), 0);
}

void TestDownloadList::aListOfALaterVersionIsLeftAlone()
{
    {
        DownloadList list;
        openList(list);
        Info record;
        QVERIFY(list.insert(record) > 0);
    }
    QVERIFY(Shell(path()).value(u"PRAGMA user_version = 99"_s).isNull());
    DownloadList list;
    QVERIFY(!list.open(path()));
    QVERIFY2(list.lastErrorText().contains(u"later version"_s), qPrintable(list.lastErrorText()));
    QVERIFY(setAside().isEmpty());
    QCOMPARE(Shell(path()).value(u"SELECT count(*) FROM downloads"_s).toInt(), 1);
}

void TestDownloadList::aFolderThatCannotBeMadeIsReported()
{
    QFile inTheWay(m_dir->filePath(u"data"_s));
    QVERIFY(inTheWay.open(QIODevice::WriteOnly));
    DownloadList list;
    QVERIFY(!list.open(path()));
    QVERIFY2(list.lastErrorText().startsWith(u"cannot open the list \"%1\": the folder"_s.arg(path())),
             qPrintable(list.lastErrorText()));
    QVERIFY(!list.isOpen());
}

void TestDownloadList::aClosedListSaysSo()
{
    DownloadList list;
    Info record;
    QCOMPARE(list.insert(record), 0);
    QVERIFY(list.lastErrorText().contains(u"not open"_s));
    QVERIFY(list.list().isEmpty());
    QVERIFY(!list.remove(1));
}

QTEST_GUILESS_MAIN(TestDownloadList)
#include "tst_downloadlist.moc"
