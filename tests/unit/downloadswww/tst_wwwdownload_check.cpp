// SPDX-License-Identifier: MIT
#include <inet/qt/download/downloadswww/wwwdownload.h>
#include <tests/support/downloadfixture.h>

#include <QCryptographicHash>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

using Command = AbstractDownloadCommand;
using Headers = QList<QNetworkReply::RawHeaderPair>;
using Record = AbstractDownloadPersistentInfo;

namespace
{

constexpr char kDate[] = "Wed, 01 Mar 2023 10:00:00 GMT";
constexpr char kOtherDate[] = "Thu, 02 Mar 2023 10:00:00 GMT";

struct Bench : DownloadFixture {
    Bench() { watch(&download); }

    /// A file of 1000 bytes with the date kDate, of which the half is there.
    Record halfRecord() const
    {
        Record info = recordWithFile(1000, {{0, 1000, 500}});
        info.files.first().lastModified = QDateTime(QDate(2023, 3, 1), QTime(10, 0), Qt::UTC);
        return info;
    }
    void check(const Record &info)
    {
        download.setInfo(info);
        events.clear();
        download.doCommand(Command::CheckResource);
    }
    bool isChanged() const { return download.info().hasFlag(Record::ResourceChanged); }
    bool isChecking() const { return !download.findChildren<WwwDownloader *>().isEmpty(); }

    WwwDownload download{kDownloadId, chief, userAgents, nullptr};
};

AbstractDownloadGuid identityOf(const QUrl &url, const char *etag)
{
    const QByteArray hash = QCryptographicHash::hash(url.toEncoded(QUrl::FullyEncoded), QCryptographicHash::Md5);
    return {1, AbstractDownloadGuid::UrlHashAndEtag,
            QString::fromLatin1(hash.toHex()) + u':' + QString::fromLatin1(etag)};
}

}

class TestWwwDownloadCheck : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void verdicts_data();
    void verdicts();
    void nothingIsCheckedWithoutRecordOrFile();
    void oneCheckAtATime();
    void everyCheckBeginsWithoutVerdict();
    void requestIsLikeTheDownloads();
    void redirectIsFollowed();
    void failureGivesNoVerdict();
    void checkDoesNotRunTheDownload();
    void checkMayEndWithTheDownload();
};

void TestWwwDownloadCheck::verdicts_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<Headers>("headers");
    QTest::addColumn<bool>("changed");
    const auto row = [](const char *name, int status, const Headers &headers, bool changed) {
        QTest::newRow(name) << status << headers << changed;
    };
    row("the same size is unchanged", 200, {{"Content-Length", "1000"}}, false);
    row("the same size and date are unchanged", 200, {{"Content-Length", "1000"}, {"Last-Modified", kDate}}, false);
    row("the same identity is unchanged", 200, {{"Content-Length", "1000"}, {"ETag", "\"a\""}}, false);
    row("another size is a change", 200, {{"Content-Length", "999"}}, true);
    row("another date is a change", 200, {{"Content-Length", "1000"}, {"Last-Modified", kOtherDate}}, true);
    row("another ETag is a change", 200, {{"Content-Length", "1000"}, {"ETag", "\"b\""}}, true);
    row("a weak ETag says nothing", 200, {{"Content-Length", "1000"}, {"ETag", "W/\"b\""}}, false);
    row("an unknown size is a change while bytes are missing", 200, {}, true);
    row("206 gives no verdict", 206, {{"Content-Range", "bytes 0-998/999"}}, false);
    row("404 gives no verdict", 404, {{"Content-Length", "9"}}, false);
    row("503 gives no verdict", 503, {{"Content-Length", "9"}, {"Last-Modified", kOtherDate}}, false);
    row("no status gives no verdict", -1, {{"Content-Length", "9"}}, false);
}

void TestWwwDownloadCheck::verdicts()
{
    QFETCH(int, status);
    QFETCH(Headers, headers);
    QFETCH(bool, changed);
    Bench bench;
    Record info = bench.halfRecord();
    info.guid = identityOf(info.url, "\"a\"");
    const QSignalSpy ends(&bench.download, &AbstractDownload::resourceChecked);
    bench.check(info);
    QVERIFY(bench.logged(u"checking if resource changed..."_s));
    const QPointer<FakeReply> reply = bench.reply();
    reply->sendHead(status, "Words"_ba, headers);

    QVERIFY(!reply || reply->wasAborted());
    QVERIFY(!bench.isChecking());
    QCOMPARE(bench.isChanged(), changed);
    QCOMPARE(bench.events, changed ? QStringList{u"changed 0"_s} : QStringList());
    QCOMPARE(bench.logged(u"resource is changed"_s), changed);
    QCOMPARE(bench.timesLogged(u"finished checking if resource changed"_s), 1);
    QCOMPARE(ends.size(), 0);
    QCoreApplication::processEvents();
    QCOMPARE(ends.size(), 1);
    QCOMPARE(bench.download.info().files, info.files);
    QCOMPARE(bench.download.info().lastError, AbstractError());
}

void TestWwwDownloadCheck::nothingIsCheckedWithoutRecordOrFile()
{
    Bench bench;
    bench.download.doCommand(Command::CheckResource);
    bench.check(bench.record());
    QVERIFY(bench.replies.isEmpty());
    QVERIFY(bench.events.isEmpty());
    QVERIFY(!bench.logged(u"checking if resource changed..."_s));
}

void TestWwwDownloadCheck::oneCheckAtATime()
{
    Bench bench;
    bench.check(bench.halfRecord());
    bench.download.doCommand(Command::CheckResource);
    QCOMPARE(bench.replies.size(), 1);
    QCOMPARE(bench.timesLogged(u"checking if resource changed..."_s), 1);
    bench.reply()->sendHead(404);
    bench.download.doCommand(Command::CheckResource);
    QCOMPARE(bench.replies.size(), 2);
}

void TestWwwDownloadCheck::everyCheckBeginsWithoutVerdict()
{
    Bench bench;
    Record info = bench.halfRecord();
    info.setFlag(Record::ResourceChanged, true);
    bench.check(info);
    QVERIFY(!bench.isChanged());
    QCOMPARE(bench.events, QStringList{u"changed 0"_s});
    bench.begin(999, {});
    QVERIFY(bench.isChanged());
    QCOMPARE(bench.events.size(), 2);
    bench.download.doCommand(Command::CheckResource);
    QVERIFY(!bench.isChanged());
    QCOMPARE(bench.events.size(), 3);
    bench.begin(1000, {});
    QVERIFY(!bench.isChanged());
    QCOMPARE(bench.events.size(), 3);
}

void TestWwwDownloadCheck::requestIsLikeTheDownloads()
{
    Bench bench;
    AbstractNetworkConsumerSettings settings;
    settings.userAgent = u"the settings'"_s;
    bench.download.setNetworkSettings(settings);
    Record info = bench.halfRecord();
    info.referer = u"http://a.test/page"_s;
    bench.check(info);
    QCOMPARE(bench.reply()->url(), info.url);
    QVERIFY(!bench.reply()->request().hasRawHeader("Range"));
    QCOMPARE(bench.reply()->request().rawHeader("Referer"), "http://a.test/page"_ba);
    QCOMPARE(bench.reply()->request().rawHeader("User-Agent"), "the settings'"_ba);
    bench.begin(1000, {});
    info.userAgent = u"the record's"_s;
    bench.check(info);
    QCOMPARE(bench.reply()->request().rawHeader("User-Agent"), "the record's"_ba);
    QVERIFY(bench.requestHeaders.isEmpty());
}

void TestWwwDownloadCheck::redirectIsFollowed()
{
    Bench bench;
    bench.check(bench.halfRecord());
    bench.reply()->sendRedirect("http://b.test/other"_ba);
    QCOMPARE(bench.replies.size(), 2);
    QCOMPARE(bench.reply()->url(), QUrl(u"http://b.test/other"_s));
    QVERIFY(bench.isChecking());
    bench.begin(999, {});
    QVERIFY(bench.isChanged());
}

void TestWwwDownloadCheck::failureGivesNoVerdict()
{
    Bench bench;
    bench.check(bench.halfRecord());
    bench.reply()->end(QNetworkReply::ConnectionRefusedError, u"refused"_s);
    QVERIFY(!bench.isChecking());
    QVERIFY(!bench.isChanged());
    QVERIFY(bench.events.isEmpty());
    QVERIFY(bench.logged(u"finished checking if resource changed"_s));
    QCOMPARE(bench.download.lastError(), AbstractError());
    QCOMPARE(bench.chief->outCount(), 0);
}

void TestWwwDownloadCheck::checkDoesNotRunTheDownload()
{
    Bench bench;
    bench.check(bench.halfRecord());
    QVERIFY(!bench.download.isRunning());
    QVERIFY(bench.download.connectionsMap().isEmpty());
    QCOMPARE(bench.download.currentTasks(), 0);
    bench.download.doCommand(Command::Start);
    QVERIFY(bench.download.isRunning());
    QCOMPARE(bench.replies.size(), 2);
    bench.reply(0)->sendHead(200, "OK"_ba, {{"Content-Length", "999"}});
    QVERIFY(bench.isChanged());
    QVERIFY(bench.download.isRunning() && !bench.download.isStopping());
}

void TestWwwDownloadCheck::checkMayEndWithTheDownload()
{
    DownloadFixture host;
    auto *const download = new WwwDownload(DownloadFixture::kDownloadId, host.chief, host.userAgents, nullptr);
    download->setInfo(host.recordWithFile(1000));
    download->doCommand(Command::CheckResource);
    QCOMPARE(host.chief->outCount(), 1);
    delete download;
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCOMPARE(host.chief->outCount(), 0);
    QTRY_VERIFY(!host.reply());
}

QTEST_GUILESS_MAIN(TestWwwDownloadCheck)
#include "tst_wwwdownload_check.moc"
