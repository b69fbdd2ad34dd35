// SPDX-License-Identifier: MIT
#include <host/storage/downloadlist.h>
#include <tests/unit/host/storage/randomrecord.h>
#include <tests/unit/host/storage/shell.h>

#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <functional>
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

}

class TestDownloadList : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void everyFieldComesBack();
    void aSelectionComesBackToTheBit();
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

    void optionsComeBack();
    void secretsAreKeptOnlyWhereAskedFor();
    void theFilesIdentityStaysUntilAnotherIsKnown();

    void theEncodingStaysUntilAnotherIsSaid();
    void whatProvesTheFileComesBack();
    void noReadingHoldsALock();

    void aPageShowsTheNewestFirst();
    void pagesGoOnWhereTheLastOneEnded();
    void aPageShowsWhatALineNeeds();
    void nothingLooksThroughAHundredThousandDownloads();

    void aFolderThatCannotBeMadeIsReported();
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

void TestDownloadList::aSelectionComesBackToTheBit()
{
    DownloadList list;
    openList(list);
    Info record;
    record.files.resize(3);
    record.files[0].selected = 0;
    record.files[1].selected = 0x40000000;
    record.files[2].selected = -1;
    QVERIFY(list.insert(record) > 0);
    const std::optional<Info> back = list.load(record.id);
    QVERIFY(back.has_value());
    QCOMPARE(back->files.at(0).selected, 0);
    QCOMPARE(back->files.at(1).selected, 0x40000000);
    QCOMPARE(back->files.at(2).selected, -1);
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
    options.headers = {{u"X-A"_s, u"1"_s, u"http://a:80"_s}, {u"X-B"_s, u""_s, u"*"_s}, {u"X-C"_s, {}, {}}};
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
    QVERIFY(list.update(record, {{u"1:2"_s}, {}, {}}, lasting));
    QVERIFY(list.update(record, {}, lasting));
    QCOMPARE(list.fileIdentity(record.id).text, u"1:2"_s);
    QVERIFY(list.update(record, {{u"3:4"_s}, {}, {}}, lasting));
    QCOMPARE(list.fileIdentity(record.id).text, u"3:4"_s);
}

void TestDownloadList::theEncodingStaysUntilAnotherIsSaid()
{
    DownloadList list;
    openList(list);
    Info record;
    QVERIFY(list.insert(record) > 0);
    QCOMPARE(list.contentEncoding(record.id), QString());
    const auto lasting = DownloadList::Lasting::ThisRunOfTheMachine;
    QVERIFY(list.update(record, {{}, u"gzip"_s, {}}, lasting));
    QVERIFY(list.update(record, {}, lasting));
    QVERIFY(list.update(record));
    QCOMPARE(list.contentEncoding(record.id), u"gzip"_s);
    DownloadList::Taken taken;
    QCOMPARE(list.claim(record.id, taken), DownloadList::Claim::Taken);
    QCOMPARE(taken.contentEncoding, u"gzip"_s);
    QVERIFY(list.update(record, {{}, u""_s, {}}, lasting));
    QCOMPARE(list.contentEncoding(record.id), QString());
}

void TestDownloadList::whatProvesTheFileComesBack()
{
    DownloadList list;
    openList(list);
    Info record;
    record.setFinished(true, true);
    QVERIFY(list.insert(record) > 0);
    QCOMPARE(list.page(ListFilter::All, 1).first().evidence, Evidence());
    ResourceMemory memory;
    memory.evidence.answers = 2;
    memory.evidence.doubt = Evidence::Doubt::WeakValidator;
    memory.evidence.isEndKnown = false;
    QVERIFY(list.update(record, {{}, {}, memory}, DownloadList::Lasting::Always));
    QCOMPARE(list.memory(record.id), memory);
    QCOMPARE(list.page(ListFilter::All, 1).first().evidence, memory.evidence);
    QVERIFY(!list.page(ListFilter::All, 1).first().hasChecksum);

    QVERIFY(list.setDigestResult(record.id, ChecksumResult::Different));
    memory.evidence.digest = ChecksumResult::Different;
    QCOMPARE(list.memory(record.id), memory);
    const ListEntry entry = list.page(ListFilter::All, 1).first();
    QVERIFY(entry.hasChecksum);
    QCOMPARE(entry.checksumResult, ChecksumResult::Different);
}

void TestDownloadList::noReadingHoldsALock()
{
    DownloadList list;
    openList(list);
    Info record = randomRecord(1);
    QVERIFY(list.insert(record) > 0);
    const std::function<void()> readings[] = {
        [&] { list.load(record.id); },
        [&] { list.list(); },
        [&] { list.page(ListFilter::All, 1); },
        [&] { list.count(ListFilter::Finished); },
        [&] { list.options(record.id); },
        [&] { list.fileIdentity(record.id); },
        [&] { list.contentEncoding(record.id); },
        [&] { list.claim(record.id); },
        [&] { list.findByUrl(record.url, 1); },
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
