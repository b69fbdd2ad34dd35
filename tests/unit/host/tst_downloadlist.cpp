// SPDX-License-Identifier: MIT
#include <host/storage/downloadlist.h>
#include <host/storage/processidentity.h>
#include <tests/unit/host/randomrecord.h>

#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>

#include <QThread>
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

QList<qint64> idsOf(const QList<Info> &records)
{
    QList<qint64> ids;
    for (const Info &record : records)
        ids.append(record.id);
    return ids;
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

private:
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

    void aFolderThatCannotBeMadeIsReported();
    void aFileThatIsNoListIsReported();
    void aClosedListSaysSo();

private:
    QString path() const { return m_dir->filePath(u"data/plait/downloads.sqlite"_s); }
    void openList(DownloadList &list) const { QVERIFY2(list.open(path()), qPrintable(list.lastErrorText())); }

    std::unique_ptr<QTemporaryDir> m_dir;
};

void TestDownloadList::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
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

void TestDownloadList::aFileThatIsNoListIsReported()
{
    const QString text = m_dir->filePath(u"text"_s);
    QFile file(text);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(QByteArray(8192, 'x'));
    file.close();
    DownloadList list;
    QVERIFY(!list.open(text));
    QVERIFY2(list.lastErrorText().contains(u"not a database"_s), qPrintable(list.lastErrorText()));
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
