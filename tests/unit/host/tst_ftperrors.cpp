// SPDX-License-Identifier: MIT
#include <host/network/ftperrors.h>

#include <QTest>

#include <curl/curl.h>

#include <cerrno>

class TestFtpErrors : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whatQtCallsIt_data();
    void whatQtCallsIt();
};

void TestFtpErrors::whatQtCallsIt_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<int>("answer");
    QTest::addColumn<int>("systemError");
    QTest::addColumn<QNetworkReply::NetworkError>("error");
    const auto row = [](const char *name, CURLcode code, int answer, QNetworkReply::NetworkError error,
                        int systemError = 0) { QTest::newRow(name) << int(code) << answer << systemError << error; };
    row("nothing failed", CURLE_OK, 226, QNetworkReply::NoError);
    row("no such host", CURLE_COULDNT_RESOLVE_HOST, 0, QNetworkReply::HostNotFoundError);
    row("no such proxy", CURLE_COULDNT_RESOLVE_PROXY, 0, QNetworkReply::ProxyNotFoundError);
    row("nobody listens", CURLE_COULDNT_CONNECT, 0, QNetworkReply::ConnectionRefusedError, ECONNREFUSED);
    row("nobody answers", CURLE_COULDNT_CONNECT, 0, QNetworkReply::TimeoutError, ETIMEDOUT);
    row("no way there", CURLE_COULDNT_CONNECT, 0, QNetworkReply::UnknownNetworkError, ENETUNREACH);
    row("silence", CURLE_OPERATION_TIMEDOUT, 220, QNetworkReply::TimeoutError);
    row("a wrong password", CURLE_LOGIN_DENIED, 530, QNetworkReply::AuthenticationRequiredError);
    row("too many users are in", CURLE_LOGIN_DENIED, 421, QNetworkReply::ServiceUnavailableError);
    row("too many users at the door", CURLE_WEIRD_SERVER_REPLY, 421, QNetworkReply::ServiceUnavailableError);
    row("a missing file", CURLE_REMOTE_FILE_NOT_FOUND, 550, QNetworkReply::ContentNotFoundError);
    row("a missing folder", CURLE_REMOTE_ACCESS_DENIED, 550, QNetworkReply::ContentNotFoundError);
    row("a file that is busy", CURLE_FTP_COULDNT_RETR_FILE, 450, QNetworkReply::ServiceUnavailableError);
    row("a transfer that ends early", CURLE_PARTIAL_FILE, 226, QNetworkReply::RemoteHostClosedError);
    row("a transfer that was broken off", CURLE_PARTIAL_FILE, 426, QNetworkReply::RemoteHostClosedError);
    row("a connection that breaks", CURLE_RECV_ERROR, 150, QNetworkReply::RemoteHostClosedError);
    row("a connection that takes nothing", CURLE_SEND_ERROR, 0, QNetworkReply::RemoteHostClosedError);
    row("an answer that makes no sense", CURLE_FTP_WEIRD_PASV_REPLY, 227, QNetworkReply::UnknownNetworkError);
    row("anything else", CURLE_OUT_OF_MEMORY, 0, QNetworkReply::UnknownNetworkError);
}

void TestFtpErrors::whatQtCallsIt()
{
    QFETCH(int, code);
    QFETCH(int, answer);
    QFETCH(int, systemError);
    QTEST(ftpNetworkError(code, answer, systemError), "error");
}

QTEST_GUILESS_MAIN(TestFtpErrors)
#include "tst_ftperrors.moc"
