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

}

class TestDownloadList : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void removingARecordRemovesItsParts();
    void theListSurvivesItsProgram();

    void theFileIsItsOwnersAlone();
    void theDefaultPlaceFollowsTheEnvironment();
    void valuesCanBeReadInTheShell();

    void optionsWithoutAColumnAreKeptTogether();
    void secretsAreKeptOnlyWhereAskedFor();

    void noReadingHoldsALock();
    void aSaveWritesOnlyWhatIsNew();
    void partsThatAPersonTookOutComeBackInTheirOrder();

    void nothingLooksThroughAHundredThousandDownloads();

    void aFolderThatCannotBeMadeIsReported();
    void aClosedListSaysSo();

private:
    QString path() const { return m_dir->filePath(u"data/plait/downloads.sqlite"_s); }
    void openList(DownloadList &list) const { QVERIFY2(list.open(path()), qPrintable(list.lastFailure().plain())); }

    std::unique_ptr<QTemporaryDir> m_dir;
};

void TestDownloadList::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
}

void TestDownloadList::removingARecordRemovesItsParts()
{
    DownloadList list;
    openList(list);
    for (quint32 seed = 0; seed < 20; ++seed) {
        Info record = randomRecord(seed);
        QVERIFY(list.insert(record) > 0);
        QVERIFY2(list.remove(record.id), qPrintable(list.lastFailure().plain()));
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

void TestDownloadList::optionsWithoutAColumnAreKeptTogether()
{
    DownloadList list;
    openList(list);
    Info record;
    DownloadOptions options;
    options.connections = 3;
    QVERIFY(list.insertOwned(record, options) > 0);
    const Shell shell(path());
    QVERIFY2(shell.value(u"SELECT further FROM options"_s).isNull(), "each of them has a column");
    shell.value(u"UPDATE options SET further = '{\"insecure\":true,\"of-a-later-version\":1}'"_s);
    options.insecure = true;
    QCOMPARE(list.options(record.id), options);
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
        [&] { list.count(ListFilter::Done); },
        [&] { list.options(record.id); },
        [&] { list.fileIdentity(record.id); },
        [&] { list.contentEncoding(record.id); },
        [&] { list.claim(record.id); },
        [&] { list.findByUrl(record.url, 1); },
        [&] { list.isBegun(record.folder, u"a.part"_s, 0); },
    };
    const Shell shell(path());
    for (const auto &read : readings) {
        read();
        QVERIFY(shell.value(u"UPDATE downloads SET title = title || 'x'"_s).isNull());
        // Whoever reads keeps the log from being emptied.
        QCOMPARE(shell.value(u"PRAGMA wal_checkpoint(TRUNCATE)"_s), QVariant(0));
    }
}

void TestDownloadList::aSaveWritesOnlyWhatIsNew()
{
    constexpr qint64 kHead = 32;
    constexpr qint64 kPage = 24 + 4096;
    DownloadList list;
    openList(list);
    Info record = recordOf(u"http://a/x"_s, u"/home"_s, u"x.iso"_s);
    record.files.first().sections = {{0, 100, 40}};
    record.mirrors.append(AbstractDownloadMirrorInfo{QUrl(u"http://b/x"_s), {}});
    QVERIFY(list.insert(record) > 0);
    const Shell shell(path());
    const auto pagesOfASave = [&]() -> qint64 {
        if (shell.value(u"PRAGMA wal_checkpoint(TRUNCATE)"_s) != QVariant(0))
            return -1;
        return list.update(record) ? (QFileInfo(path() + "-wal"_L1).size() - kHead) / kPage : -1;
    };
    QCOMPARE(pagesOfASave(), 0);
    record.files.first().sections.first().downloaded = 90;
    QCOMPARE(pagesOfASave(), 1);
    record.files.first().contentType = u"text/plain"_s;
    record.mirrors.clear();
    QCOMPARE(pagesOfASave(), 2);
    QVERIFY(list.load(record.id) == record);
}

void TestDownloadList::partsThatAPersonTookOutComeBackInTheirOrder()
{
    DownloadList list;
    openList(list);
    Info record = recordOf(u"http://a/x"_s, u"/home"_s, u"x.iso"_s);
    for (qint64 i = 0; i < 4; ++i)
        record.files.first().sections.append({i * 100, 100, i});
    QVERIFY(list.insert(record) > 0);
    QVERIFY(Shell(path()).value(u"DELETE FROM sections WHERE position = 1"_s).isNull());
    QVERIFY(list.update(record));
    QVERIFY(list.load(record.id) == record);
    record.files.first().sections = record.files.first().sections.mid(0, 2);
    QVERIFY(Shell(path()).value(u"DELETE FROM sections WHERE position = 2"_s).isNull());
    QVERIFY(list.update(record));
    QVERIFY(list.load(record.id) == record);
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
    QVERIFY(shell.value(u"UPDATE downloads SET sort_index = id * %1"_s.arg(RowPlaces::kGap)).isNull());
    QCOMPARE(list.count(ListFilter::Done), kDownloads);

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
    timed("first page of the finished ones", [&] { list.page(ListFilter::Done, 50); });
    timed("a page in the middle", [&] { list.page(ListFilter::Done, 50, kDownloads / 2); });
    timed("first page of the unfinished ones", [&] { list.page(ListFilter::Unfinished, 50); });
    for (const ListFilter filter : {ListFilter::All, ListFilter::Unfinished, ListFilter::Done}) {
        for (const ListOrder order :
             {ListOrder::Place, ListOrder::Newest, ListOrder::Name, ListOrder::Size, ListOrder::Created}) {
            timed("first page in an order", [&] { list.page(filter, order, 0, 50); });
            timed("a page in the middle", [&] { list.page(filter, order, kDownloads / 2, 50); });
        }
    }
    timed("its move to the middle", [&] { list.move(kDownloads, kDownloads / 2); });
    timed("find one of the same URL", [&] { list.findUnfinished(record.url, u"/home"_s, u"x.iso"_s); });
    timed("find one without a name", [&] { list.findUnfinished(record.url, u"/home"_s, {}); });
    timed("find a finished one", [&] { list.findFinished(record.url, u"/home"_s, u"x.iso"_s, 5); });
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
        // Indexes of the few that they are about, and a row for each process.
        plan.removeIf([](const QString &step) {
            return step.contains(u"options_not_compared"_s) || step.contains(u"addresses_with_digest"_s)
                || step.contains(u"options_different"_s) || step.contains(u"evidence_different"_s)
                || step == "SCAN owners"_L1;
        });
        // What is passed over on the way to a position is passed over in an index.
        if (statement.contains(u"OFFSET"_s) || statement.contains(u"count(*)"_s)) {
            plan.removeIf([&](const QString &step) {
                return step.contains(u"COVERING INDEX"_s) || step.startsWith(u"SCAN (subquery"_s)
                    || step == "SCAN CONSTANT ROW"_L1
                    || (step == "SCAN downloads"_L1 && statement.contains(u"place_id DESC"_s));
            });
        }
        QVERIFY2(plan.filter(u"SCAN"_s).isEmpty(), qPrintable(statement + u"\n  "_s + plan.join(u"\n  "_s)));
        const bool byUrl = statement.contains(u"url = ?"_s) && statement.startsWith(u"SELECT"_s);
        QVERIFY2(!byUrl || plan.filter(u"_by_url (url=?)"_s).size() == 1, qPrintable(plan.join(u'\n')));
    }
}

void TestDownloadList::aFolderThatCannotBeMadeIsReported()
{
    QFile inTheWay(m_dir->filePath(u"data"_s));
    QVERIFY(inTheWay.open(QIODevice::WriteOnly));
    DownloadList list;
    QVERIFY(!list.open(path()));
    QCOMPARE(list.lastFailure().kind, Failure::Kind::CannotOpenList);
    QCOMPARE(list.lastFailure().subject.path, path());
    QVERIFY2(list.lastFailure().plain().startsWith(u"folder-not-made("_s), qPrintable(list.lastFailure().plain()));
    QVERIFY(!list.isOpen());
}

void TestDownloadList::aClosedListSaysSo()
{
    DownloadList list;
    Info record;
    QCOMPARE(list.insert(record), 0);
    QVERIFY(list.lastFailure().plain().contains(u"list-not-open"_s));
    QVERIFY(list.list().isEmpty());
    QVERIFY(!list.remove(1));
}

QTEST_GUILESS_MAIN(TestDownloadList)
#include "tst_downloadlist.moc"
