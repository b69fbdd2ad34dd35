// SPDX-License-Identifier: MIT
#include <host/network/transfererrors.h>

#include <QTest>

#include <curl/curl.h>

#include <cerrno>

using namespace Qt::StringLiterals;

using Error = QNetworkReply::NetworkError;
using TransferErrors::Circumstances;

namespace
{

Circumstances nothing()
{
    return {};
}

Circumstances system(int error, bool isByProxy = false)
{
    Circumstances circumstances;
    circumstances.systemError = error;
    circumstances.isByProxy = isByProxy;
    return circumstances;
}

Circumstances proxySaid(int status)
{
    Circumstances circumstances;
    circumstances.proxyStatus = status;
    circumstances.isByProxy = true;
    return circumstances;
}

Circumstances socksSaid(CURLproxycode error)
{
    Circumstances circumstances;
    circumstances.proxyError = int(error);
    circumstances.isByProxy = true;
    return circumstances;
}

Circumstances ftpSaid(int answer)
{
    Circumstances circumstances;
    circumstances.ftpAnswer = answer;
    return circumstances;
}

}

class TestTransferErrors : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whatQtCallsAnEndOverHttp_data();
    void whatQtCallsAnEndOverHttp();
    void whatQtCallsAnEndOverFtp_data();
    void whatQtCallsAnEndOverFtp();
    void whatQtCallsAStatus_data();
    void whatQtCallsAStatus();
    void everyStatusBelow400IsNoError();
    void everyOtherStatusIsTheContentsOrTheServersError();
    void whatPeopleRead_data();
    void whatPeopleRead();
};

void TestTransferErrors::whatQtCallsAnEndOverHttp_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<Circumstances>("circumstances");
    QTest::addColumn<Error>("error");
    const auto row = [](const char *name, CURLcode code, const Circumstances &circumstances, Error error) {
        QTest::newRow(name) << int(code) << circumstances << error;
    };
    row("no such host", CURLE_COULDNT_RESOLVE_HOST, nothing(), QNetworkReply::HostNotFoundError);
    row("no such proxy", CURLE_COULDNT_RESOLVE_PROXY, system(0, true), QNetworkReply::ProxyNotFoundError);
    row("a proxy that speaks nonsense", CURLE_PROXY, system(0, true), QNetworkReply::UnknownProxyError);
    row("a proxy that wants to know who is there", CURLE_PROXY, socksSaid(CURLPX_NO_AUTH),
        QNetworkReply::ProxyAuthenticationRequiredError);
    row("a proxy that takes no such login", CURLE_PROXY, socksSaid(CURLPX_USER_REJECTED),
        QNetworkReply::ProxyAuthenticationRequiredError);
    row("nobody listens", CURLE_COULDNT_CONNECT, system(ECONNREFUSED), QNetworkReply::ConnectionRefusedError);
    row("no proxy listens", CURLE_COULDNT_CONNECT, system(ECONNREFUSED, true),
        QNetworkReply::ProxyConnectionRefusedError);
    row("nobody answers", CURLE_COULDNT_CONNECT, system(ETIMEDOUT), QNetworkReply::TimeoutError);
    row("no proxy answers", CURLE_COULDNT_CONNECT, system(ETIMEDOUT, true), QNetworkReply::ProxyTimeoutError);
    row("no way there", CURLE_COULDNT_CONNECT, system(ENETUNREACH), QNetworkReply::UnknownNetworkError);
    row("no way to the proxy", CURLE_COULDNT_CONNECT, system(ENETUNREACH, true), QNetworkReply::UnknownNetworkError);
    row("silence", CURLE_OPERATION_TIMEDOUT, nothing(), QNetworkReply::TimeoutError);
    row("a body that ends early", CURLE_PARTIAL_FILE, nothing(), QNetworkReply::RemoteHostClosedError);
    row("a connection that takes nothing", CURLE_SEND_ERROR, nothing(), QNetworkReply::RemoteHostClosedError);
    row("a connection that breaks", CURLE_RECV_ERROR, nothing(), QNetworkReply::RemoteHostClosedError);
    row("a connection without an answer", CURLE_GOT_NOTHING, nothing(), QNetworkReply::RemoteHostClosedError);
    row("an end without an answer", CURLE_OK, nothing(), QNetworkReply::RemoteHostClosedError);
    row("no TLS there", CURLE_SSL_CONNECT_ERROR, nothing(), QNetworkReply::SslHandshakeFailedError);
    row("a refused certificate", CURLE_PEER_FAILED_VERIFICATION, nothing(), QNetworkReply::SslHandshakeFailedError);
    row("an answer that makes no sense", CURLE_WEIRD_SERVER_REPLY, nothing(), QNetworkReply::ProtocolFailure);
    row("an answer without a head", CURLE_UNSUPPORTED_PROTOCOL, nothing(), QNetworkReply::ProtocolFailure);
    row("a line of the head without end", CURLE_OUT_OF_MEMORY, nothing(), QNetworkReply::ProtocolFailure);
    row("a head that was refused here", CURLE_WRITE_ERROR, nothing(), QNetworkReply::ProtocolFailure);
    row("anything else", CURLE_FAILED_INIT, nothing(), QNetworkReply::UnknownNetworkError);
    row("a proxy that asks who is there", CURLE_RECV_ERROR, proxySaid(407),
        QNetworkReply::ProxyAuthenticationRequiredError);
    row("a proxy that says no", CURLE_RECV_ERROR, proxySaid(403), QNetworkReply::UnknownProxyError);
    row("a proxy that finds no server", CURLE_RECV_ERROR, proxySaid(502), QNetworkReply::UnknownProxyError);
    row("a server that breaks off behind a proxy", CURLE_RECV_ERROR, proxySaid(200),
        QNetworkReply::RemoteHostClosedError);
}

void TestTransferErrors::whatQtCallsAnEndOverHttp()
{
    QFETCH(int, code);
    QFETCH(Circumstances, circumstances);
    QTEST(TransferErrors::fromHttp(code, circumstances), "error");
}

void TestTransferErrors::whatQtCallsAnEndOverFtp_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<Circumstances>("circumstances");
    QTest::addColumn<Error>("error");
    const auto row = [](const char *name, CURLcode code, const Circumstances &circumstances, Error error) {
        QTest::newRow(name) << int(code) << circumstances << error;
    };
    row("nothing failed", CURLE_OK, ftpSaid(226), QNetworkReply::NoError);
    row("nothing failed, whatever was said last", CURLE_OK, ftpSaid(421), QNetworkReply::NoError);
    row("no such host", CURLE_COULDNT_RESOLVE_HOST, nothing(), QNetworkReply::HostNotFoundError);
    row("no such proxy", CURLE_COULDNT_RESOLVE_PROXY, system(0, true), QNetworkReply::ProxyNotFoundError);
    row("nobody listens", CURLE_COULDNT_CONNECT, system(ECONNREFUSED), QNetworkReply::ConnectionRefusedError);
    row("no proxy listens", CURLE_COULDNT_CONNECT, system(ECONNREFUSED, true),
        QNetworkReply::ProxyConnectionRefusedError);
    row("nobody answers", CURLE_COULDNT_CONNECT, system(ETIMEDOUT), QNetworkReply::TimeoutError);
    row("no way there", CURLE_COULDNT_CONNECT, system(ENETUNREACH), QNetworkReply::UnknownNetworkError);
    row("silence", CURLE_OPERATION_TIMEDOUT, ftpSaid(220), QNetworkReply::TimeoutError);
    row("a wrong password", CURLE_LOGIN_DENIED, ftpSaid(530), QNetworkReply::AuthenticationRequiredError);
    row("too many users are in", CURLE_LOGIN_DENIED, ftpSaid(421), QNetworkReply::ServiceUnavailableError);
    row("too many users at the door", CURLE_WEIRD_SERVER_REPLY, ftpSaid(421), QNetworkReply::ServiceUnavailableError);
    row("a missing file", CURLE_REMOTE_FILE_NOT_FOUND, ftpSaid(550), QNetworkReply::ContentNotFoundError);
    row("a missing folder", CURLE_REMOTE_ACCESS_DENIED, ftpSaid(550), QNetworkReply::ContentNotFoundError);
    row("a file that is busy", CURLE_FTP_COULDNT_RETR_FILE, ftpSaid(450), QNetworkReply::ServiceUnavailableError);
    row("a missing file that may come", CURLE_REMOTE_FILE_NOT_FOUND, ftpSaid(450),
        QNetworkReply::ServiceUnavailableError);
    row("a transfer that ends early", CURLE_PARTIAL_FILE, ftpSaid(226), QNetworkReply::RemoteHostClosedError);
    row("a transfer that was broken off", CURLE_PARTIAL_FILE, ftpSaid(426), QNetworkReply::RemoteHostClosedError);
    row("a connection that breaks", CURLE_RECV_ERROR, ftpSaid(150), QNetworkReply::RemoteHostClosedError);
    row("a connection that takes nothing", CURLE_SEND_ERROR, nothing(), QNetworkReply::RemoteHostClosedError);
    row("an answer that makes no sense", CURLE_FTP_WEIRD_PASV_REPLY, ftpSaid(227), QNetworkReply::UnknownNetworkError);
    row("anything else", CURLE_OUT_OF_MEMORY, nothing(), QNetworkReply::UnknownNetworkError);
}

void TestTransferErrors::whatQtCallsAnEndOverFtp()
{
    QFETCH(int, code);
    QFETCH(Circumstances, circumstances);
    QTEST(TransferErrors::fromFtp(code, circumstances), "error");
}

void TestTransferErrors::whatQtCallsAStatus_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<Error>("error");
    const auto row = [](int status, Error error) { QTest::addRow("%d", status) << status << error; };
    row(400, QNetworkReply::ProtocolInvalidOperationError);
    row(401, QNetworkReply::AuthenticationRequiredError);
    row(402, QNetworkReply::UnknownContentError);
    row(403, QNetworkReply::ContentAccessDenied);
    row(404, QNetworkReply::ContentNotFoundError);
    row(405, QNetworkReply::ContentOperationNotPermittedError);
    row(406, QNetworkReply::UnknownContentError);
    row(407, QNetworkReply::ProxyAuthenticationRequiredError);
    row(408, QNetworkReply::UnknownContentError);
    row(409, QNetworkReply::ContentConflictError);
    row(410, QNetworkReply::ContentGoneError);
    row(416, QNetworkReply::UnknownContentError);
    row(418, QNetworkReply::ProtocolInvalidOperationError);
    row(429, QNetworkReply::UnknownContentError);
    row(499, QNetworkReply::UnknownContentError);
    row(500, QNetworkReply::InternalServerError);
    row(501, QNetworkReply::OperationNotImplementedError);
    row(502, QNetworkReply::UnknownServerError);
    row(503, QNetworkReply::ServiceUnavailableError);
    row(504, QNetworkReply::UnknownServerError);
    row(599, QNetworkReply::UnknownServerError);
    row(600, QNetworkReply::UnknownServerError);
}

void TestTransferErrors::whatQtCallsAStatus()
{
    QFETCH(int, status);
    QTEST(TransferErrors::fromStatus(status), "error");
}

void TestTransferErrors::everyStatusBelow400IsNoError()
{
    for (int status = 100; status < 400; ++status)
        QCOMPARE(TransferErrors::fromStatus(status), QNetworkReply::NoError);
}

void TestTransferErrors::everyOtherStatusIsTheContentsOrTheServersError()
{
    for (int status = 400; status < 600; ++status)
        QVERIFY2(TransferErrors::fromStatus(status) != QNetworkReply::NoError, QByteArray::number(status));
}

void TestTransferErrors::whatPeopleRead_data()
{
    QTest::addColumn<Error>("error");
    QTest::addColumn<QString>("text");
    const auto row = [](Error error, const QString &text) { QTest::newRow(qPrintable(text)) << error << text; };
    row(QNetworkReply::ConnectionRefusedError, u"Connection refused"_s);
    row(QNetworkReply::ProxyConnectionRefusedError, u"The proxy refused the connection"_s);
    row(QNetworkReply::HostNotFoundError, u"Host files.example not found"_s);
    row(QNetworkReply::ProxyNotFoundError, u"The proxy's host was not found"_s);
    row(QNetworkReply::TimeoutError, u"Connection timed out"_s);
    row(QNetworkReply::RemoteHostClosedError, u"Connection closed"_s);
    row(QNetworkReply::UnknownNetworkError, u"libcurl's own words"_s);
}

void TestTransferErrors::whatPeopleRead()
{
    QFETCH(Error, error);
    QTEST(TransferErrors::textFor(error, QUrl(u"http://files.example/a"_s), u"libcurl's own words"_s), "text");
}

QTEST_GUILESS_MAIN(TestTransferErrors)
#include "tst_transfererrors.moc"
