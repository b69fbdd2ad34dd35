// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/abstractnetworkconsumersstats.h>
#include <inet/qt/download/framework/qtappdefaultlogger.h>
#include <inet/qt/download/records/clouddrivehosts.h>
#include <tests/unit/downloadswww/transferbench.h>

#include <QRegularExpression>
#include <QScopeGuard>
#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

using Lines = QList<QString>;

constexpr auto kForm = "Content-Type: application/x-www-form-urlencoded"_L1;

QNetworkCookie cookie(const char *name, const char *value, const QString &domain = {})
{
    QNetworkCookie made(name, value);
    made.setDomain(domain);
    return made;
}

/// Refuses everything.
class RefusingJar : public QNetworkCookieJar
{
public:
    bool insertCookie(const QNetworkCookie &) override { return false; }
};

}

class TestWwwDownloaderRequest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void listedLines_data();
    void listedLines();
    void userAgents_data();
    void userAgents();
    void referers_data();
    void referers();
    void ranges_data();
    void ranges();
    void methods_data();
    void methods();
    void invalidPostData_data();
    void invalidPostData();

    void neitherHttp2NorRedirectsOfTheNetworkLayer();
    void cacheIsBypassedUnlessSetOtherwise();
    void customHeaderReplacesOneOfTheSameNameOnTheWire();
    void customHeadersThatAreNoMapAreNone();
    void cookieWithoutDomainIsForTheHost_data();
    void cookieWithoutDomainIsForTheHost();
    void cookieForAnotherHostIsNotSent();
    void refusedCookieIsLoggedAndSkipped();

    void requestIsReportedBeforeItIsSent();
    void startReportsRunConnectionAndRequestInOrder();
    void startRegistersConnectionOfThePortInUse();
    void startSetsUpTheReply();
    void secondStartIsIgnored();
    void startClearsWhatTheLastRunLeft();
    void startTakesEveryFieldOfTheSource();

    void transferIsRegisteredWhileItLives();
    void defaultsOfANewTransfer();
    void settingsAreStoredAndReturned();
};

void TestWwwDownloaderRequest::listedLines_data()
{
    QTest::addColumn<WwwDownloadSourceInfo>("source");
    QTest::addColumn<Lines>("expected");

    WwwDownloadSourceInfo source = TransferBench::source(u"http://a.test/dir/file.zip"_s);
    QTest::newRow("a plain source") << source
                                    << Lines{u"GET /dir/file.zip HTTP/1.1"_s, u"Host: a.test"_s,
                                             u"Referer: http://a.test/dir/"_s};

    source.flags = WwwDownloadSourceInfo::NoSynthesisedReferer;
    QTest::newRow("a plain source without a made-up referer")
        << source << Lines{u"GET /dir/file.zip HTTP/1.1"_s, u"Host: a.test"_s};

    source.url = QUrl(u"http://a.test/a%20b/%C3%BC?q=a%20b&r=%2F"_s);
    QTest::newRow("the path is decoded, the query is not")
        << source << Lines{u"GET /a b/ü?q=a%20b&r=%2F HTTP/1.1"_s, u"Host: a.test"_s};

    source.url = QUrl(u"http://a.test/f?"_s);
    QTest::newRow("an empty query keeps its question mark")
        << source << Lines{u"GET /f? HTTP/1.1"_s, u"Host: a.test"_s};

    source.url = QUrl(u"http://a.test"_s);
    QTest::newRow("an empty path stays empty") << source << Lines{u"GET  HTTP/1.1"_s, u"Host: a.test"_s};

    source.url = QUrl(u"http://a.test:8080/f"_s);
    QTest::newRow("the port is not in the Host line") << source << Lines{u"GET /f HTTP/1.1"_s, u"Host: a.test"_s};

    source.url = QUrl(u"http://xn--bcher-kva.de/f"_s);
    QTest::newRow("the host is decoded") << source << Lines{u"GET /f HTTP/1.1"_s, u"Host: bücher.de"_s};

    source = TransferBench::source(u"http://a.test/dir/f?x=1"_s, 1000, -1, 24);
    source.postData = "a=1";
    source.referer = u"http://r.test/"_s;
    source.cookies = {cookie("c", "1"), cookie("d", "2")};
    source.parameters.insert(u"headers"_s, QVariantMap{{u"X-B"_s, u"2"_s}, {u"X-A"_s, 1}});
    QTest::newRow("all lines stand in their order") << source
                                                    << Lines{u"POST /dir/f?x=1 HTTP/1.1"_s,
                                                             u"Host: a.test"_s,
                                                             u"Referer: http://r.test/"_s,
                                                             u"Range: bytes=1024-"_s,
                                                             QString(kForm),
                                                             u"X-A: 1"_s,
                                                             u"X-B: 2"_s,
                                                             u"Cookie: c=1; d=2"_s};
}

void TestWwwDownloaderRequest::listedLines()
{
    QFETCH(WwwDownloadSourceInfo, source);
    TransferBench bench;
    bench.start(source);
    QCOMPARE(bench.requests.size(), 1);
    QTEST(bench.requests.first(), "expected");
}

void TestWwwDownloaderRequest::userAgents_data()
{
    QTest::addColumn<QString>("given");
    QTest::addColumn<QString>("inSettings");
    QTest::addColumn<QString>("expected");

    QTest::newRow("what is given to start wins") << u"mine/1"_s << u"set/2"_s << u"mine/1"_s;
    QTest::newRow("without it, that of the settings") << QString() << u"set/2"_s << u"set/2"_s;
    QTest::newRow("both empty, none") << QString() << QString() << QString();
}

void TestWwwDownloaderRequest::userAgents()
{
    QFETCH(QString, given);
    QFETCH(QString, inSettings);
    QFETCH(QString, expected);
    TransferBench bench;
    bench.downloader->setNetworkSettings({inSettings, {}, true, false});
    bench.downloader->start(TransferBench::source(u"http://a.test/f"_s), given);
    QCOMPARE(bench.reply()->request().rawHeader("User-Agent"), expected.toUtf8());
    const Lines lines = bench.requests.first().filter(u"User-Agent: "_s);
    QCOMPARE(lines, expected.isEmpty() ? Lines() : Lines{u"User-Agent: "_s + expected});
    QVERIFY(lines.isEmpty() || bench.requests.first().indexOf(lines.first()) == 2);
}

void TestWwwDownloaderRequest::referers_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("referer");
    QTest::addColumn<QString>("webPage");
    QTest::addColumn<qint64>("flags");
    QTest::addColumn<QByteArray>("sent");
    QTest::addColumn<QString>("listed");

    constexpr qint64 kAnyReferer = 0;
    constexpr qint64 kNoneMadeUp = WwwDownloadSourceInfo::NoSynthesisedReferer;
    const QString url = u"http://a.test/a/b/file.zip?x=1#f"_s;
    QTest::newRow("an explicit referer wins, as it stands")
        << url << u"not a url ü"_s << u"http://page.test/"_s << kAnyReferer << QByteArray("not a url \xc3\xbc")
        << u"not a url ü"_s;
    for (const char *scheme : {"http", "https", "ftp"}) {
        const QString page = QString::fromLatin1(scheme) + u"://page.test/x"_s;
        QTest::addRow("without one, the page that was met over %s", scheme)
            << url << QString() << page << kAnyReferer << page.toUtf8() << page;
    }
    QTest::newRow("the page is sent encoded and listed as people read it")
        << url << QString() << u"http://page.test/%C3%BC"_s << kNoneMadeUp << QByteArray("http://page.test/%C3%BC")
        << u"http://page.test/ü"_s;
    QTest::newRow("a page that is a file is none, so the folder is made up")
        << url << QString() << u"file:///home/x"_s << kAnyReferer << QByteArray("http://a.test/a/b/")
        << u"http://a.test/a/b/"_s;
    QTest::newRow("an invalid page is none") << url << QString() << u"http://:x/"_s << kAnyReferer
                                             << QByteArray("http://a.test/a/b/") << u"http://a.test/a/b/"_s;
    QTest::newRow("an unknown page is none")
        << url << QString() << QString() << kAnyReferer << QByteArray("http://a.test/a/b/") << u"http://a.test/a/b/"_s;
    QTest::newRow("nothing is made up where that was forbidden")
        << url << QString() << QString() << kNoneMadeUp << QByteArray() << QString();
    QTest::newRow("nothing is made up where that was forbidden among other things")
        << url << QString() << QString() << qint64(0x3) << QByteArray() << QString();
    QTest::newRow("other flags do not forbid it")
        << url << QString() << QString() << qint64(0x2) << QByteArray("http://a.test/a/b/") << u"http://a.test/a/b/"_s;
    QTest::newRow("a page that is a file does not help where making up was forbidden")
        << url << QString() << u"file:///home/x"_s << kNoneMadeUp << QByteArray() << QString();
    QTest::newRow("a folder keeps its own name") << u"http://a.test/a/b/"_s << QString() << QString() << kAnyReferer
                                                 << QByteArray("http://a.test/a/b/") << u"http://a.test/a/b/"_s;
    QTest::newRow("a path without a slash stays empty")
        << u"http://a.test?x=1"_s << QString() << QString() << kAnyReferer << QByteArray("http://a.test")
        << u"http://a.test"_s;
    QTest::newRow("the made-up one keeps the port, and is sent encoded")
        << u"http://a.test:81/%C3%BC/f"_s << QString() << QString() << kAnyReferer
        << QByteArray("http://a.test:81/%C3%BC/") << u"http://a.test:81/ü/"_s;
    QTest::newRow("a percent sign of a folder's name is encoded once")
        << u"http://a.test/a%2520b/f"_s << QString() << QString() << kAnyReferer << QByteArray("http://a.test/a%2520b/")
        << u"http://a.test/a%2520b/"_s;
    QTest::newRow("an encoded slash ends a folder too")
        << u"http://a.test/a/b%2Fc"_s << QString() << QString() << kAnyReferer << QByteArray("http://a.test/a/b/")
        << u"http://a.test/a/b/"_s;
}

void TestWwwDownloaderRequest::referers()
{
    QFETCH(QString, url);
    QFETCH(QString, referer);
    QFETCH(QString, webPage);
    QFETCH(qint64, flags);
    QFETCH(QString, listed);
    WwwDownloadSourceInfo source = TransferBench::source(url);
    source.referer = referer;
    source.webPageUrl = QUrl(webPage);
    source.flags = flags;
    TransferBench bench;
    bench.start(source);
    QTEST(bench.reply()->request().rawHeader("Referer"), "sent");
    QCOMPARE(bench.requests.first().filter(u"Referer: "_s),
             listed.isEmpty() ? Lines() : Lines{u"Referer: "_s + listed});
}

void TestWwwDownloaderRequest::ranges_data()
{
    QTest::addColumn<qint64>("offset");
    QTest::addColumn<qint64>("length");
    QTest::addColumn<qint64>("downloaded");
    QTest::addColumn<QByteArray>("expected");

    QTest::newRow("from the very beginning no range is asked for")
        << qint64(0) << qint64(-1) << qint64(0) << QByteArray();
    QTest::newRow("not even when the section's end is known") << qint64(0) << qint64(500) << qint64(0) << QByteArray();
    QTest::newRow("what was received is added to the offset")
        << qint64(1000) << qint64(-1) << qint64(24) << QByteArray("bytes=1024-");
    QTest::newRow("the end is left open though it is known")
        << qint64(1000) << qint64(500) << qint64(0) << QByteArray("bytes=1000-");
    QTest::newRow("a first section goes on where it stopped")
        << qint64(0) << qint64(500) << qint64(77) << QByteArray("bytes=77-");
    QTest::newRow("beyond 32 bits") << qint64(5'000'000'000) << qint64(-1) << qint64(1)
                                    << QByteArray("bytes=5000000001-");
}

void TestWwwDownloaderRequest::ranges()
{
    QFETCH(qint64, offset);
    QFETCH(qint64, length);
    QFETCH(qint64, downloaded);
    QFETCH(QByteArray, expected);
    TransferBench bench;
    bench.start(TransferBench::source(u"http://a.test/f"_s, offset, length, downloaded));
    QCOMPARE(bench.reply()->request().rawHeader("Range"), expected);
    QCOMPARE(bench.reply()->request().hasRawHeader("Range"), !expected.isEmpty());
    QCOMPARE(bench.requests.first().filter(u"Range: "_s),
             expected.isEmpty() ? Lines() : Lines{u"Range: "_s + QString::fromLatin1(expected)});
}

void TestWwwDownloaderRequest::methods_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<QByteArray>("postData");
    QTest::addColumn<QVariantMap>("custom");
    QTest::addColumn<bool>("posts");
    QTest::addColumn<QByteArray>("sentType");
    QTest::addColumn<Lines>("listedTypes");

    const QByteArray form = "application/x-www-form-urlencoded";
    const QString url = u"http://a.test/f"_s;
    const QString contentUrl = "http://doc-1"_L1 + CloudDriveHosts::kContentHostSuffix + "/f"_L1;
    QTest::newRow("no body gets") << url << QByteArray() << QVariantMap() << false << QByteArray() << Lines();
    QTest::newRow("a body is posted, as a form")
        << url << QByteArray("a=1") << QVariantMap() << true << form << Lines{QString(kForm)};
    QTest::newRow("a lone '&' is posted like any body")
        << url << QByteArray("&") << QVariantMap() << true << form << Lines{QString(kForm)};
    QTest::newRow("a lone '&' for the cloud drive's content is not posted")
        << contentUrl << QByteArray("&") << QVariantMap() << false << QByteArray() << Lines();
    QTest::newRow("other bodies for the cloud drive's content are")
        << contentUrl << QByteArray("&a") << QVariantMap() << true << form << Lines{QString(kForm)};
    QTest::newRow("a custom type takes the form's place")
        << url << QByteArray("a=1") << QVariantMap{{u"Content-Type"_s, u"text/x"_s}} << true << QByteArray("text/x")
        << Lines{u"Content-Type: text/x"_s};
    QTest::newRow("a custom type in lower case is listed beside the form's and sent in its place")
        << url << QByteArray("a=1") << QVariantMap{{u"content-type"_s, u"text/x"_s}} << true << QByteArray("text/x")
        << Lines{QString(kForm), u"content-type: text/x"_s};
    QTest::newRow("a custom type goes with GET too")
        << url << QByteArray() << QVariantMap{{u"Content-Type"_s, u"text/x"_s}} << false << QByteArray("text/x")
        << Lines{u"Content-Type: text/x"_s};
}

void TestWwwDownloaderRequest::methods()
{
    QFETCH(QString, url);
    QFETCH(QByteArray, postData);
    QFETCH(QVariantMap, custom);
    QFETCH(bool, posts);
    WwwDownloadSourceInfo source = TransferBench::source(url);
    source.postData = postData;
    if (!custom.isEmpty())
        source.parameters.insert(u"headers"_s, custom);
    TransferBench bench;
    bench.start(source);
    QCOMPARE(bench.reply()->operation(),
             posts ? QNetworkAccessManager::PostOperation : QNetworkAccessManager::GetOperation);
    QCOMPARE(bench.reply()->postedBody(), posts ? postData : QByteArray());
    QVERIFY(bench.requests.first().first().startsWith(posts ? "POST "_L1 : "GET "_L1));
    QTEST(bench.reply()->request().rawHeader("Content-Type"), "sentType");
    QTEST(bench.requests.first().filter(
              QRegularExpression(u"^content-type: "_s, QRegularExpression::CaseInsensitiveOption)),
          "listedTypes");
}

void TestWwwDownloaderRequest::invalidPostData_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("webPage");
    QTest::addColumn<QByteArray>("postData");
    QTest::addColumn<bool>("expected");

    const QString content = "http://doc-1"_L1 + CloudDriveHosts::kContentHostSuffix + "/f"_L1;
    const QString page = "https://"_L1 + CloudDriveHosts::kFrontEndHost + "/open"_L1;
    const QString other = u"http://a.test/f"_s;
    QTest::newRow("'&' for a content host") << content << QString() << QByteArray("&") << true;
    QTest::newRow("'&' from a page of the front end") << other << page << QByteArray("&") << true;
    QTest::newRow("'&' elsewhere is a body") << other << other << QByteArray("&") << false;
    QTest::newRow("two bytes are a body") << content << page << QByteArray("&&") << false;
    QTest::newRow("another byte is a body") << content << page << QByteArray("a") << false;
    QTest::newRow("no body is no invalid one") << content << page << QByteArray() << false;
    QTest::newRow("the content domain itself is no content host")
        << QString("http://"_L1 + CloudDriveHosts::kContentHostDomain + "/f"_L1) << QString() << QByteArray("&")
        << false;
    QTest::newRow("a domain that only ends like it is no content host")
        << QString("http://x"_L1 + CloudDriveHosts::kContentHostDomain + "/f"_L1) << QString() << QByteArray("&")
        << false;
    QTest::newRow("a host below the front end is not the front end")
        << other << QString("http://x."_L1 + CloudDriveHosts::kFrontEndHost + "/f"_L1) << QByteArray("&") << false;
    QTest::newRow("the front end as the source says nothing") << page << QString() << QByteArray("&") << false;
}

void TestWwwDownloaderRequest::invalidPostData()
{
    QFETCH(QString, url);
    QFETCH(QString, webPage);
    QFETCH(QByteArray, postData);
    WwwDownloadSourceInfo source = TransferBench::source(url);
    source.webPageUrl = QUrl(webPage);
    source.postData = postData;
    QTEST(WwwDownloader::isPostDataInvalid(source), "expected");
}

void TestWwwDownloaderRequest::neitherHttp2NorRedirectsOfTheNetworkLayer()
{
    TransferBench bench;
    bench.start();
    const QNetworkRequest request = bench.reply()->request();
    QCOMPARE(request.attribute(QNetworkRequest::Http2AllowedAttribute), QVariant(false));
    QCOMPARE(request.attribute(QNetworkRequest::RedirectPolicyAttribute).toInt(),
             int(QNetworkRequest::ManualRedirectPolicy));
}

void TestWwwDownloaderRequest::cacheIsBypassedUnlessSetOtherwise()
{
    TransferBench bench;
    bench.start();
    const QNetworkRequest bypassing = bench.reply()->request();
    QCOMPARE(bypassing.attribute(QNetworkRequest::CacheLoadControlAttribute).toInt(),
             int(QNetworkRequest::AlwaysNetwork));
    QCOMPARE(bypassing.attribute(QNetworkRequest::CacheSaveControlAttribute), QVariant(false));

    bench.downloader->stop();
    bench.downloader->setNetworkSettings({{}, {}, false, false});
    bench.start();
    const QNetworkRequest caching = bench.reply()->request();
    QVERIFY(!caching.attribute(QNetworkRequest::CacheLoadControlAttribute).isValid());
    QVERIFY(!caching.attribute(QNetworkRequest::CacheSaveControlAttribute).isValid());
}

void TestWwwDownloaderRequest::customHeaderReplacesOneOfTheSameNameOnTheWire()
{
    WwwDownloadSourceInfo source = TransferBench::source(u"http://a.test/f"_s, 100);
    source.referer = u"http://r.test/"_s;
    source.parameters.insert(u"headers"_s, QVariantMap{{u"Referer"_s, u"http://custom.test/"_s}, {u"X-Ü"_s, u"ß"_s}});
    TransferBench bench;
    bench.start(source);
    const QNetworkRequest request = bench.reply()->request();
    QCOMPARE(request.rawHeader("Referer"), "http://custom.test/");
    QCOMPARE(request.rawHeader(u"X-Ü"_s.toUtf8()), u"ß"_s.toUtf8());
    QCOMPARE(bench.requests.first(),
             (Lines{u"GET /f HTTP/1.1"_s, u"Host: a.test"_s, u"Referer: http://r.test/"_s, u"Range: bytes=100-"_s,
                    u"Referer: http://custom.test/"_s, u"X-Ü: ß"_s}));
}

void TestWwwDownloaderRequest::customHeadersThatAreNoMapAreNone()
{
    WwwDownloadSourceInfo source = TransferBench::source(u"http://a.test/f"_s);
    source.parameters.insert(u"headers"_s, u"X-A: 1"_s);
    TransferBench bench;
    bench.start(source);
    QCOMPARE(bench.requests.first(), (Lines{u"GET /f HTTP/1.1"_s, u"Host: a.test"_s, u"Referer: http://a.test/"_s}));
    QCOMPARE(bench.reply()->request().rawHeaderList(), QByteArrayList{"Referer"});
    QVERIFY(bench.downloader->isRunning());
    QCOMPARE(bench.downloader->lastError(), AbstractError());
}

void TestWwwDownloaderRequest::cookieWithoutDomainIsForTheHost_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("domain");

    QTest::newRow("a plain host") << u"http://a.test/f"_s << u"a.test"_s;
    QTest::newRow("a host is decoded") << u"http://xn--bcher-kva.de/f"_s << u"bücher.de"_s;
}

void TestWwwDownloaderRequest::cookieWithoutDomainIsForTheHost()
{
    QFETCH(QString, url);
    WwwDownloadSourceInfo source = TransferBench::source(url);
    source.cookies = {cookie("name", "w\xc3\xa4rt")};
    TransferBench bench;
    bench.start(source);
    const QList<QNetworkCookie> stored = bench.chief->cookieJar()->cookiesForUrl(source.url);
    QCOMPARE(stored.size(), 1);
    QTEST(stored.first().domain(), "domain");
    QCOMPARE(bench.requests.first().last(), u"Cookie: name=wärt"_s);
    QCOMPARE(bench.downloader->source().cookies, source.cookies);
}

void TestWwwDownloaderRequest::cookieForAnotherHostIsNotSent()
{
    WwwDownloadSourceInfo source = TransferBench::source(u"http://a.test/f"_s);
    source.cookies = {cookie("n", "v", u"b.test"_s)};
    TransferBench bench;
    bench.start(source);
    QVERIFY(bench.requests.first().filter(u"Cookie: "_s).isEmpty());
    QCOMPARE(bench.chief->cookieJar()->cookiesForUrl(QUrl(u"http://b.test/"_s)).size(), 1);
}

void TestWwwDownloaderRequest::refusedCookieIsLoggedAndSkipped()
{
    QStringList lines;
    QtAppLogger *const logger = QtAppDefaultLogger::instance();
    logger->setVerbosityLevel(1);
    logger->setSink([&lines](int level, const QString &line) { lines.append(QString::number(level) + ' '_L1 + line); });
    const auto quiet = qScopeGuard([logger] {
        logger->setSink({});
        logger->setVerbosityLevel(0);
    });

    WwwDownloadSourceInfo source = TransferBench::source(u"http://a.test/f"_s);
    source.cookies = {cookie("a", "1"), cookie("b", "2")};
    TransferBench bench;
    bench.chief->setCookieJar(new RefusingJar);
    bench.start(source);
    QCOMPARE(lines.size(), 2);
    const QRegularExpression form(u"^1 ASSERTION FAILED: cjar->insertCookie\\(cookie\\), "
                                  "inet/qt/download/downloadswww/wwwdownloader_request\\.cpp,\\d+$"_s);
    QVERIFY2(form.match(lines.first()).hasMatch(), qPrintable(lines.first()));
    QVERIFY(bench.reply());
    QVERIFY(bench.downloader->isRunning());
}

void TestWwwDownloaderRequest::requestIsReportedBeforeItIsSent()
{
    TransferBench bench;
    qsizetype sentByThen = -1;
    connect(bench.downloader.get(), &WwwDownloader::requestHeaders, this, [&] { sentByThen = bench.replies.size(); });
    bench.start();
    QCOMPARE(sentByThen, 0);
    QCOMPARE(bench.replies.size(), 1);
}

void TestWwwDownloaderRequest::startReportsRunConnectionAndRequestInOrder()
{
    TransferBench bench;
    bench.start();
    QCOMPARE(bench.events, (QStringList{u"running"_s, u"connectionsMapChangedDelta"_s, u"requestHeaders"_s}));
    QCOMPARE(bench.runs, QList<bool>{true});
    QVERIFY(bench.downloader->isRunning());
}

void TestWwwDownloaderRequest::startRegistersConnectionOfThePortInUse()
{
    TransferBench bench;
    bench.start(TransferBench::source(u"https://a.test/f"_s));
    const QtConnectionsMap expected{{QtHostAndPort{u"a.test"_s, 443}, QtConnectionsMapEntry{1}}};
    QCOMPARE(bench.deltas, QList<QtConnectionsMap>{expected});
    QCOMPARE(bench.downloader->connectionsMap(), expected);
    QCOMPARE(bench.chief->takenUrls(), QList<QUrl>{QUrl(u"https://a.test/f"_s)});
    QCOMPARE(bench.chief->outCount(), 1);
}

void TestWwwDownloaderRequest::startSetsUpTheReply()
{
    TransferBench bench;
    bench.start();
    QVERIFY(bench.inactivityTimer()->isActive());
    QCOMPARE(bench.inactivityTimer()->isSingleShot(), false);
    QVERIFY(!bench.readTimer()->isActive());
    QCOMPARE(bench.readTimer()->isSingleShot(), true);
    // Before anything can have come.
    QCOMPARE(bench.reply()->readBufferSizes(), QList<qint64>{131072});
}

void TestWwwDownloaderRequest::secondStartIsIgnored()
{
    TransferBench bench;
    bench.start(TransferBench::source(u"http://a.test/1"_s));
    bench.start(TransferBench::source(u"http://a.test/2"_s));
    QCOMPARE(bench.replies.size(), 1);
    QCOMPARE(bench.runs, QList<bool>{true});
    QCOMPARE(bench.downloader->source().url, QUrl(u"http://a.test/1"_s));
}

void TestWwwDownloaderRequest::startClearsWhatTheLastRunLeft()
{
    TransferBench bench;
    bench.start();
    bench.reply()->sendHead(404, "Not Found", {{"X", "y"}});
    bench.reply()->sendSslErrors({QSslError(QSslError::SelfSignedCertificate)});
    bench.reply()->end(QNetworkReply::ContentNotFoundError, u"gone"_s);
    QVERIFY(bench.downloader->lastError());
    QVERIFY(!bench.downloader->headers().isEmpty());

    bench.start();
    QCOMPARE(bench.downloader->lastError(), AbstractError());
    QVERIFY(bench.downloader->lastSslErrors().isEmpty());
    QVERIFY(bench.downloader->lastErrorTime().isValid());
    QVERIFY(bench.downloader->headers().isEmpty());
    bench.events.clear();
    bench.reply()->sendHead(200);
    QVERIFY(bench.events.contains(u"gotHeaders"_s));
}

void TestWwwDownloaderRequest::startTakesEveryFieldOfTheSource()
{
    WwwDownloadSourceInfo source = TransferBench::source(u"http://a.test/f"_s, 10, 20, 5);
    source.referer = u"r"_s;
    source.cookies = {cookie("a", "b")};
    source.postData = "p";
    source.webPageUrl = QUrl(u"http://w.test/"_s);
    source.parameters.insert(u"k"_s, 1);
    source.flags = 5;
    TransferBench bench;
    bench.start(source);
    QCOMPARE(bench.downloader->source(), source);
}

void TestWwwDownloaderRequest::transferIsRegisteredWhileItLives()
{
    TransferBench bench;
    QCOMPARE(bench.chief->consumersStats()->consumersCount(), 1);
    bench.start();
    QCOMPARE(bench.chief->consumersStats()->connectionsMap(), bench.downloader->connectionsMap());
    bench.downloader.reset();
    QCOMPARE(bench.chief->consumersStats()->consumersCount(), 0);
    QVERIFY(bench.chief->consumersStats()->connectionsMap().isEmpty());
}

void TestWwwDownloaderRequest::defaultsOfANewTransfer()
{
    TransferBench bench;
    const WwwDownloader &downloader = *bench.downloader;
    QCOMPARE(downloader.id(), 0);
    QVERIFY(!downloader.isRunning());
    QCOMPARE(downloader.source().sectionLength, -1);
    QVERIFY(!downloader.isFinished());
    QVERIFY(downloader.isDataProcessed());
    QCOMPARE(downloader.httpStatusCode(), -1);
    QVERIFY(downloader.headers().isEmpty());
    QVERIFY(downloader.connectionsMap().isEmpty());
    QCOMPARE(downloader.networkSettings(), AbstractNetworkConsumerSettings());
    QVERIFY(downloader.networkSettings().bypassCache);
    QVERIFY(!downloader.networkSettings().ignoreSslErrors);
    QCOMPARE(downloader.networkUsageSettings(), NetworkUsageSettings());
    QCOMPARE(downloader.lastError(), AbstractError());
    QVERIFY(!downloader.lastErrorTime().isValid());
    QVERIFY(QMetaType::fromName("QNetworkReply::NetworkError").isValid());
    QVERIFY(QMetaType::fromName("QList<QSslError>").isValid());
}

void TestWwwDownloaderRequest::settingsAreStoredAndReturned()
{
    TransferBench bench;
    const AbstractNetworkConsumerSettings network{u"ua"_s, u"profile"_s, false, true};
    const NetworkUsageSettings usage{100, 2, 3, true};
    bench.downloader->setNetworkSettings(network);
    bench.downloader->setNetworkUsageSettings(usage);
    QCOMPARE(bench.downloader->networkSettings(), network);
    QCOMPARE(bench.downloader->networkUsageSettings(), usage);
}

QTEST_GUILESS_MAIN(TestWwwDownloaderRequest)
#include "tst_wwwdownloader_request.moc"
