// SPDX-License-Identifier: MIT
#include <tests/support/lighttpdserver.h>
#include <tests/support/nginxserver.h>
#include <tests/support/testca.h>
#include <tests/support/testfiles.h>

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace
{
constexpr int kPatienceMs = 30000;
constexpr qint64 kSize = 300000;
}

/// Both servers are asked for everything that other tests rely on.
class TestRealServer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void aFileIsServedWithItsLength_data();
    void aFileIsServedWithItsLength();
    void aRangeIsServedAndLogged_data();
    void aRangeIsServedAndLogged();
    void aChunkedFileHasNoLength_data();
    void aChunkedFileHasNoLength();
    void redirectsAreCountedDown_data();
    void redirectsAreCountedDown();
    void nginxServesStatuses_data();
    void nginxServesStatuses();
    void nginxIgnoresRangesWhereAsked();
    void slowPathsServeTheFile_data();
    void slowPathsServeTheFile();
    void aSecondStartAfterAStopServesAgain();

private:
    using Scheme = RealServer::Scheme;
    using Reply = std::unique_ptr<QNetworkReply>;

    void bothServers();
    Reply get(const QUrl &url, const QByteArray &range = QByteArray());
    static QByteArray header(const Reply &reply, const char *name);

    TestCa m_ca;
    NginxServer m_nginx;
    LighttpdServer m_lighttpd;
    QNetworkAccessManager m_manager;
};

Q_DECLARE_METATYPE(RealServer *)

void TestRealServer::initTestCase()
{
    QVERIFY2(m_ca.isValid(), qPrintable(m_ca.errorText()));
    m_manager.setRedirectPolicy(QNetworkRequest::ManualRedirectPolicy);
    for (RealServer *server : {static_cast<RealServer *>(&m_nginx), static_cast<RealServer *>(&m_lighttpd)}) {
        QVERIFY(server->addFile(u"file.bin"_s, 1, kSize));
        QVERIFY2(server->start(m_ca), qPrintable(server->errorText()));
    }
}

void TestRealServer::bothServers()
{
    QTest::addColumn<RealServer *>("server");
    QTest::newRow("nginx") << static_cast<RealServer *>(&m_nginx);
    QTest::newRow("lighttpd") << static_cast<RealServer *>(&m_lighttpd);
}

TestRealServer::Reply TestRealServer::get(const QUrl &url, const QByteArray &range)
{
    QNetworkRequest request(url);
    QSslConfiguration tls = QSslConfiguration::defaultConfiguration();
    tls.setCaCertificates(QSslCertificate::fromPath(m_ca.caFile()));
    request.setSslConfiguration(tls);
    request.setRawHeader("Accept-Encoding", "identity");
    if (!range.isEmpty()) {
        request.setRawHeader("Range", range);
    }
    Reply reply(m_manager.get(request));
    if (!QTest::qWaitFor([&] { return reply->isFinished(); }, kPatienceMs)) {
        reply->abort();
    }
    return reply;
}

QByteArray TestRealServer::header(const Reply &reply, const char *name)
{
    return reply->rawHeader(name);
}

void TestRealServer::aFileIsServedWithItsLength_data()
{
    bothServers();
}

void TestRealServer::aFileIsServedWithItsLength()
{
    QFETCH(RealServer *, server);
    for (const Scheme scheme : {Scheme::Http, Scheme::Https}) {
        const Reply reply = get(server->url(u"/file.bin"_s, scheme));
        QCOMPARE(reply->error(), QNetworkReply::NoError);
        QCOMPARE(header(reply, "Content-Length"), QByteArray::number(kSize));
        QCOMPARE(header(reply, "Accept-Ranges"), QByteArray("bytes"));
        QCOMPARE(header(reply, "Content-Type"), QByteArray("application/octet-stream"));
        QVERIFY(reply->hasRawHeader("ETag"));
        QCOMPARE(reply->readAll(), TestFiles::content(1, 0, kSize));
    }
}

void TestRealServer::aRangeIsServedAndLogged_data()
{
    bothServers();
}

void TestRealServer::aRangeIsServedAndLogged()
{
    QFETCH(RealServer *, server);
    const Reply reply = get(server->url(u"/file.bin?x"_s), "bytes=100-299999");
    QCOMPARE(reply->readAll(), TestFiles::content(1, 100, kSize - 100));
    // Entries come in the order in which their requests ended, but not at once.
    const auto isLogged = [server] {
        const QList<RealServer::LogEntry> entries = server->logEntries();
        return !entries.isEmpty() && entries.constLast().target == "/file.bin?x";
    };
    QTRY_VERIFY_WITH_TIMEOUT(isLogged(), kPatienceMs);
    const RealServer::LogEntry entry = server->logEntries().constLast();
    QCOMPARE(entry.method, QByteArray("GET"));
    QCOMPARE(entry.target, QByteArray("/file.bin?x"));
    QCOMPARE(entry.status, 206);
    QCOMPARE(entry.bytes, kSize - 100);
    QCOMPARE(entry.range, QByteArray("bytes=100-299999"));
    QCOMPARE(entry.agent, QByteArray("Mozilla/5.0"));
    QVERIFY(!server->logEntriesOf("Mozilla/5.0").isEmpty());
    QCOMPARE(server->logEntriesOf("another").size(), 0);
}

void TestRealServer::aChunkedFileHasNoLength_data()
{
    QTest::addColumn<RealServer *>("server");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QByteArray>("coding");
    QTest::newRow("nginx, chunked") << static_cast<RealServer *>(&m_nginx) << u"/chunked/file.bin"_s
                                    << QByteArray("chunked");
    QTest::newRow("nginx, until the connection closes")
        << static_cast<RealServer *>(&m_nginx) << u"/until-close/file.bin"_s << QByteArray();
    QTest::newRow("lighttpd, chunked") << static_cast<RealServer *>(&m_lighttpd) << u"/cgi/chunked.sh?file.bin"_s
                                       << QByteArray("chunked");
}

void TestRealServer::aChunkedFileHasNoLength()
{
    QFETCH(RealServer *, server);
    QFETCH(QString, path);
    QFETCH(QByteArray, coding);
    const Reply reply = get(server->url(path));
    QVERIFY(!reply->hasRawHeader("Content-Length"));
    QCOMPARE(header(reply, "Transfer-Encoding"), coding);
    QCOMPARE(reply->readAll(), TestFiles::content(1, 0, kSize));
}

void TestRealServer::redirectsAreCountedDown_data()
{
    bothServers();
}

void TestRealServer::redirectsAreCountedDown()
{
    QFETCH(RealServer *, server);
    const Reply second = get(server->url(u"/redirect/2/file.bin"_s));
    const QUrl next = second->url().resolved(QUrl(QString::fromUtf8(header(second, "Location"))));
    QCOMPARE(next, server->url(u"/redirect/1/file.bin"_s));
    const Reply first = get(next);
    const QUrl end = first->url().resolved(QUrl(QString::fromUtf8(header(first, "Location"))));
    QCOMPARE(end, server->url(u"/file.bin"_s));
}

void TestRealServer::nginxServesStatuses_data()
{
    QTest::addColumn<int>("status");
    for (const int status : {401, 403, 404, 410, 416, 500, 503}) {
        QTest::addRow("%d", status) << status;
    }
}

void TestRealServer::nginxServesStatuses()
{
    QFETCH(int, status);
    const Reply reply = get(m_nginx.url(u"/status/%1"_s.arg(status)));
    QCOMPARE(reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), status);
}

void TestRealServer::nginxIgnoresRangesWhereAsked()
{
    const Reply reply = get(m_nginx.url(u"/no-ranges/file.bin"_s), "bytes=100-");
    QCOMPARE(reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), 200);
    QCOMPARE(reply->readAll().size(), kSize);
}

void TestRealServer::slowPathsServeTheFile_data()
{
    QTest::addColumn<QUrl>("url");
    QTest::newRow("nginx") << m_nginx.url(u"/rate/200k/file.bin"_s);
    QTest::newRow("lighttpd") << m_lighttpd.url(u"/rate/file.bin"_s);
}

void TestRealServer::slowPathsServeTheFile()
{
    QFETCH(QUrl, url);
    const Reply reply = get(url);
    QCOMPARE(reply->readAll(), TestFiles::content(1, 0, kSize));
}

void TestRealServer::aSecondStartAfterAStopServesAgain()
{
    NginxServer server;
    QVERIFY(server.addFile(u"a"_s, 2, 10));
    QVERIFY2(server.start(m_ca), qPrintable(server.errorText()));
    server.stop();
    QVERIFY2(server.start(m_ca), qPrintable(server.errorText()));
    QCOMPARE(get(server.url(u"/a"_s))->readAll(), TestFiles::content(2, 0, 10));
}

QTEST_GUILESS_MAIN(TestRealServer)
#include "tst_realserver.moc"
