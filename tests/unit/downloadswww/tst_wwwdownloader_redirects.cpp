// SPDX-License-Identifier: MIT
#include <inet/qt/download/records/clouddrivehosts.h>
#include <tests/unit/downloadswww/transferbench.h>

#include <QCoreApplication>
#include <QRegularExpression>
#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

QtConnectionsMap connection(const QString &host, int count)
{
    return {{QtHostAndPort{host, 80}, QtConnectionsMapEntry{count}}};
}

QNetworkCookie cookie(const char *name, const QString &domain = {})
{
    QNetworkCookie made(name, "v");
    made.setDomain(domain);
    return made;
}

QByteArrayList names(const QList<QNetworkCookie> &cookies)
{
    QByteArrayList result;
    for (const QNetworkCookie &each : cookies)
        result.append(each.name());
    return result;
}

bool isPlaceIn(const std::string &source, const char *fileName)
{
    const QRegularExpression form(u"^inet/qt/download/downloadswww/"_s + QString::fromLatin1(fileName) + u",\\d+$"_s);
    return form.match(QString::fromStdString(source)).hasMatch();
}

}

/// Answers that send a transfer elsewhere.
class TestWwwDownloaderRedirects : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void redirectIsFollowedWithTheSameRequest();
    void madeUpRefererIsThatOfTheRedirect();
    void bodyThatMayNotBePostedAtTheTargetIsDropped();
    void redirectMovesTheConnection();
    void redirectStaysOneRun();
    void redirectTargets_data();
    void redirectTargets();
    void sixteenthRedirectFails();
    void startBeginsTheCountOfRedirectsAnew();
    void answerWithoutLocationIsNoRedirect_data();
    void answerWithoutLocationIsNoRedirect();
    void startPresentsTheGivenSourceAsRedirected();
    void redirectedSource_data();
    void redirectedSource();
    void redirectedSourceTakesCookiesThatTheAnswerSet();
    void cookieWithoutDomainDoesNotTravel();
    void repliesThatRedirectedAreLetGo();
};

void TestWwwDownloaderRedirects::redirectIsFollowedWithTheSameRequest()
{
    WwwDownloadSourceInfo source = TransferBench::source(u"http://a.test/f"_s, 100, 50, 7);
    source.referer = u"http://r.test/"_s;
    source.postData = "a=1";
    TransferBench bench;
    bench.downloader->start(source, u"agent/1"_s);
    bench.reply()->sendRedirect("http://b.test/g?x=1");
    QCOMPARE(bench.replies.size(), 2);
    const QNetworkRequest request = bench.reply()->request();
    QCOMPARE(request.url(), QUrl(u"http://b.test/g?x=1"_s));
    QCOMPARE(bench.reply()->operation(), QNetworkAccessManager::PostOperation);
    QCOMPARE(bench.reply()->postedBody(), "a=1");
    QCOMPARE(request.rawHeader("User-Agent"), "agent/1");
    QCOMPARE(request.rawHeader("Referer"), "http://r.test/");
    QCOMPARE(request.rawHeader("Range"), "bytes=107-");
    QCOMPARE(bench.requests.last().mid(0, 2), (QList<QString>{u"POST /g?x=1 HTTP/1.1"_s, u"Host: b.test"_s}));
    QCOMPARE(bench.downloader->source(), source);
    QVERIFY(bench.inactivityTimer()->isActive());
}

void TestWwwDownloaderRedirects::madeUpRefererIsThatOfTheRedirect()
{
    TransferBench bench;
    bench.start(TransferBench::source(u"http://a.test/x/f"_s));
    QCOMPARE(bench.reply()->request().rawHeader("Referer"), "http://a.test/x/");
    bench.reply()->sendRedirect("http://b.test/y/g?x=1");
    QCOMPARE(bench.reply()->request().rawHeader("Referer"), "http://b.test/y/");
    QCOMPARE(bench.requests.last().filter(u"Referer: "_s), QList<QString>{u"Referer: http://b.test/y/"_s});
}

void TestWwwDownloaderRedirects::bodyThatMayNotBePostedAtTheTargetIsDropped()
{
    WwwDownloadSourceInfo source = TransferBench::source(u"http://a.test/f"_s);
    source.postData = "&";
    TransferBench bench;
    bench.start(source);
    QCOMPARE(bench.reply()->operation(), QNetworkAccessManager::PostOperation);
    QCOMPARE(bench.reply()->postedBody(), "&");

    const QString target = "http://doc-1"_L1 + CloudDriveHosts::kContentHostSuffix + "/g"_L1;
    bench.reply()->sendRedirect(target.toLatin1());
    QCOMPARE(bench.replies.size(), 2);
    QCOMPARE(bench.reply()->operation(), QNetworkAccessManager::GetOperation);
    QVERIFY(bench.reply()->postedBody().isEmpty());
    QVERIFY(!bench.reply()->request().header(QNetworkRequest::ContentTypeHeader).isValid());
    QCOMPARE(bench.requests.last().first(), u"GET /g HTTP/1.1"_s);
    QVERIFY(bench.requests.last().filter(u"Content-Type: "_s).isEmpty());
}

void TestWwwDownloaderRedirects::redirectMovesTheConnection()
{
    TransferBench bench;
    bench.start(TransferBench::source(u"http://a.test/f"_s));
    bench.reply()->sendRedirect("http://b.test/g");
    QCOMPARE(
        bench.deltas,
        (QList<QtConnectionsMap>{connection(u"a.test"_s, 1), connection(u"a.test"_s, -1), connection(u"b.test"_s, 1)}));
    QCOMPARE(bench.downloader->connectionsMap(), connection(u"b.test"_s, 1));
    QCOMPARE(bench.chief->returnedUrls(), QList<QUrl>{QUrl(u"http://a.test/f"_s)});
    QCOMPARE(bench.chief->takenUrls().last(), QUrl(u"http://b.test/g"_s));
    QCOMPARE(bench.chief->outCount(), 1);
}

void TestWwwDownloaderRedirects::redirectStaysOneRun()
{
    TransferBench bench;
    bench.start();
    bench.reply()->sendRedirect("/next");
    QCOMPARE(bench.runs, QList<bool>{true});
    QCOMPARE(bench.responses.size(), 1);
    QVERIFY(!bench.events.contains(u"gotHeaders"_s));
    QVERIFY(bench.downloader->headers().isEmpty());

    bench.reply()->sendHead(200, "OK", {{"A", "b"}});
    QCOMPARE(bench.responses.size(), 2);
    QCOMPARE(bench.events.count(u"gotHeaders"_s), 1);
    QCOMPARE(bench.downloader->headers().size(), 1);
    QCOMPARE(bench.runs, QList<bool>{true});
}

void TestWwwDownloaderRedirects::redirectTargets_data()
{
    QTest::addColumn<QByteArray>("location");
    QTest::addColumn<QString>("expected");

    QTest::newRow("absolute") << QByteArray("http://b.test/g") << u"http://b.test/g"_s;
    QTest::newRow("a path of the same host") << QByteArray("/g?q") << u"http://a.test:81/g?q"_s;
    QTest::newRow("beside the resource") << QByteArray("g") << u"http://a.test:81/dir/g"_s;
    QTest::newRow("above the resource") << QByteArray("../g") << u"http://a.test:81/g"_s;
    QTest::newRow("a query alone") << QByteArray("?y") << u"http://a.test:81/dir/f?y"_s;
    QTest::newRow("another host over the same scheme") << QByteArray("//b.test/g") << u"http://b.test/g"_s;
    QTest::newRow("the same URL once more") << QByteArray("http://a.test:81/dir/f?x") << u"http://a.test:81/dir/f?x"_s;
}

void TestWwwDownloaderRedirects::redirectTargets()
{
    QFETCH(QByteArray, location);
    TransferBench bench;
    bench.start(TransferBench::source(u"http://a.test:81/dir/f?x"_s));
    bench.reply()->sendRedirect(location, 307);
    QCOMPARE(bench.replies.size(), 2);
    QTEST(bench.reply()->url().toString(), "expected");
}

void TestWwwDownloaderRedirects::sixteenthRedirectFails()
{
    TransferBench bench;
    bench.start();
    for (int i = 1; i <= 15; ++i) {
        bench.reply()->sendRedirect('/' + QByteArray::number(i));
        QCOMPARE(bench.replies.size(), i + 1);
    }
    QVERIFY(bench.downloader->isRunning());
    QDateTime before;
    waitForLaterTime(bench, before);
    bench.reply()->sendRedirect("/16");
    QCOMPARE(bench.replies.size(), 16);
    QVERIFY(!bench.downloader->isRunning());
    const AbstractError error = bench.downloader->lastError();
    QCOMPARE(error.code, 2);
    QCOMPARE(error.category, "GenericError");
    QVERIFY2(isPlaceIn(error.source, "wwwdownloader_reply.cpp"), error.source.c_str());
    QVERIFY(error.description.empty());
    QVERIFY(bench.downloader->lastErrorTime() >= before);
    QVERIFY(!bench.events.contains(u"timedOut"_s));
    QCOMPARE(bench.events.last(), u"running"_s);
    QCOMPARE(bench.chief->outCount(), 0);
    QVERIFY(bench.connections().isEmpty());
}

void TestWwwDownloaderRedirects::startBeginsTheCountOfRedirectsAnew()
{
    TransferBench bench;
    for (int run = 0; run < 2; ++run) {
        bench.start();
        for (int i = 0; i < 15; ++i)
            bench.reply()->sendRedirect("/next");
        QVERIFY(bench.downloader->isRunning());
        bench.downloader->stop();
    }
    QCOMPARE(bench.downloader->lastError(), AbstractError());
}

void TestWwwDownloaderRedirects::answerWithoutLocationIsNoRedirect_data()
{
    QTest::addColumn<QList<QNetworkReply::RawHeaderPair>>("headers");
    QTest::addColumn<QUrl>("target");

    using Pairs = QList<QNetworkReply::RawHeaderPair>;
    QTest::newRow("no Location, and the empty target that the network layer makes of it") << Pairs{} << QUrl();
    QTest::newRow("an empty Location") << Pairs{{"Location", ""}} << QUrl();
    QTest::newRow("no Location, whatever the target") << Pairs{} << QUrl(u"http://b.test/"_s);
}

void TestWwwDownloaderRedirects::answerWithoutLocationIsNoRedirect()
{
    QFETCH(QList<QNetworkReply::RawHeaderPair>, headers);
    QFETCH(QUrl, target);
    TransferBench bench;
    bench.start();
    bench.reply()->setHead(302, "Found", headers);
    bench.reply()->setRedirectTarget(target);
    Q_EMIT bench.reply()->metaDataChanged();
    QCOMPARE(bench.replies.size(), 1);
    QCOMPARE(bench.events.last(), u"gotHeaders"_s);
    QCOMPARE(bench.downloader->httpStatusCode(), 302);
}

void TestWwwDownloaderRedirects::startPresentsTheGivenSourceAsRedirected()
{
    const WwwDownloadSourceInfo source = TransferBench::source(u"http://a.test/f"_s, 10, 20, 5);
    TransferBench bench;
    bench.start(source);
    bench.reply()->end(QNetworkReply::ConnectionRefusedError, u"refused"_s);
    QCOMPARE(bench.downloader->redirectedSource(), source);
}

void TestWwwDownloaderRedirects::redirectedSource_data()
{
    QTest::addColumn<QByteArray>("location");
    QTest::addColumn<QByteArrayList>("cookies");
    QTest::addColumn<QByteArray>("postData");

    QTest::newRow("no redirect keeps everything") << QByteArray() << QByteArrayList{"own"} << QByteArray("a=1");
    QTest::newRow("the same host keeps the cookies and is got, not posted")
        << QByteArray("/g") << QByteArrayList{"own"} << QByteArray();
    QTest::newRow("another port of the host is the same host")
        << QByteArray("http://a.test:81/g") << QByteArrayList{"own"} << QByteArray();
    QTest::newRow("another scheme of the host has the cookies that belong there")
        << QByteArray("https://a.test/g") << QByteArrayList{"own", "secured"} << QByteArray();
    QTest::newRow("another host has the cookies that belong there alone")
        << QByteArray("http://b.test/g") << QByteArrayList{"elsewhere"} << QByteArray();
    QTest::newRow("a third host has none") << QByteArray("http://c.test/g") << QByteArrayList() << QByteArray();
}

void TestWwwDownloaderRedirects::redirectedSource()
{
    QFETCH(QByteArray, location);
    WwwDownloadSourceInfo source = TransferBench::source(u"http://a.test/f"_s, 10, 20, 5);
    source.referer = u"r"_s;
    source.flags = WwwDownloadSourceInfo::NoSynthesisedReferer;
    source.postData = "a=1";
    QNetworkCookie secured = cookie("secured");
    secured.setSecure(true);
    source.cookies = {cookie("own"), secured, cookie("elsewhere", u"b.test"_s)};
    TransferBench bench;
    bench.start(source);
    if (!location.isEmpty()) {
        bench.reply()->sendRedirect(location);
        QCOMPARE(bench.downloader->redirectedSource().url, bench.reply()->url());
    }
    bench.reply()->sendHead(200);

    const WwwDownloadSourceInfo redirected = bench.downloader->redirectedSource();
    QCOMPARE(redirected.url, bench.reply()->url());
    QTEST(names(redirected.cookies), "cookies");
    QTEST(redirected.postData, "postData");
    QCOMPARE(redirected.referer, source.referer);
    QCOMPARE(redirected.flags, source.flags);
    QCOMPARE(redirected.sectionOffset, 10);
    QCOMPARE(redirected.sectionLength, 20);
    QCOMPARE(redirected.sectionDownloaded, 5);
    QCOMPARE(bench.downloader->source(), source);
}

void TestWwwDownloaderRedirects::redirectedSourceTakesCookiesThatTheAnswerSet()
{
    TransferBench bench;
    bench.start(TransferBench::source(u"http://a.test/f"_s));
    bench.chief->cookieJar()->insertCookie(cookie("session", u"b.test"_s));
    bench.reply()->sendRedirect("http://b.test/g");
    QCOMPARE(names(bench.downloader->redirectedSource().cookies), QByteArrayList{"session"});
    QCOMPARE(bench.requests.last().last(), u"Cookie: session=v"_s);
}

void TestWwwDownloaderRedirects::cookieWithoutDomainDoesNotTravel()
{
    WwwDownloadSourceInfo source = TransferBench::source(u"http://a.test/f"_s);
    source.cookies = {cookie("secret")};
    TransferBench bench;
    bench.start(source);
    bench.reply()->sendRedirect("http://b.test/g");
    QVERIFY(bench.requests.last().filter(u"Cookie: "_s).isEmpty());
    bench.reply()->sendRedirect("http://a.test/h");
    QCOMPARE(bench.requests.last().last(), u"Cookie: secret=v"_s);
}

void TestWwwDownloaderRedirects::repliesThatRedirectedAreLetGo()
{
    TransferBench bench;
    bench.start();
    const QPointer<FakeReply> first = bench.reply();
    first->sendRedirect("/next");
    QVERIFY(first->wasAborted());
    QVERIFY(!first->parent());
    first->sendData("the words of a redirect");
    QVERIFY(bench.chunks.isEmpty());
    QVERIFY(bench.downloader->isRunning());
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!first);
    QVERIFY(bench.reply());
}

QTEST_GUILESS_MAIN(TestWwwDownloaderRedirects)
#include "tst_wwwdownloader_redirects.moc"
