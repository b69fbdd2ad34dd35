// SPDX-License-Identifier: MIT
#include <tests/support/testca.h>
#include <tests/unit/host/network/transferbench.h>

#include <QFile>
#include <QNetworkProxy>
#include <QProcess>
#include <QSslCertificate>
#include <QSslError>
#include <QSslKey>
#include <QSslSocket>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <optional>

#include <sys/socket.h>

using namespace Qt::StringLiterals;

namespace
{

/// Answers every request with the same bytes over TLS, and ends the connection with or without saying so in TLS.
class EndingServer : public QTcpServer
{
public:
    EndingServer(const QSslConfiguration &tls, const QByteArray &answer, bool saysGoodbye)
        : m_tls(tls)
        , m_answer(answer)
        , m_saysGoodbye(saysGoodbye)
    {
    }

protected:
    void incomingConnection(qintptr handle) override
    {
        auto *const socket = new QSslSocket(this);
        socket->setSslConfiguration(m_tls);
        socket->setSocketDescriptor(handle);
        connect(socket, &QSslSocket::readyRead, this, [this, socket] {
            if (socket->readAll().contains("\r\n\r\n"))
                answer(socket);
        });
        socket->startServerEncryption();
    }

private:
    void answer(QSslSocket *socket)
    {
        socket->write(m_answer);
        if (m_saysGoodbye) {
            socket->disconnectFromHost();
            return;
        }
        connect(socket, &QSslSocket::encryptedBytesWritten, this, [socket] {
            if (socket->bytesToWrite() == 0 && socket->encryptedBytesToWrite() == 0)
                ::shutdown(int(socket->socketDescriptor()), SHUT_WR);
        });
    }

    const QSslConfiguration m_tls;
    const QByteArray m_answer;
    const bool m_saysGoodbye;
};

QList<QSslError> errorsOf(const QList<QSslCertificate> &authorities, const QUrl &url)
{
    QNetworkAccessManager others;
    others.setProxy(QNetworkProxy::NoProxy);
    QNetworkRequest request(url);
    QSslConfiguration tls = QSslConfiguration::defaultConfiguration();
    tls.addCaCertificates(authorities);
    request.setSslConfiguration(tls);
    const std::unique_ptr<QNetworkReply> reply(others.get(request));
    QList<QSslError> errors;
    QObject::connect(reply.get(), &QNetworkReply::sslErrors, reply.get(),
                     [&errors](const QList<QSslError> &all) { errors = all; });
    const ReplyRecorder recorder(reply.get());
    return recorder.wait() ? errors : QList<QSslError>();
}

QList<int> kindsOf(const QList<QSslError> &errors)
{
    QList<int> kinds;
    for (const QSslError &error : errors)
        kinds.append(int(error.error()));
    std::sort(kinds.begin(), kinds.end());
    return kinds;
}

}

/// What replies make of certificates, and of connections that end in TLS and beneath it.
class TestTransferReplyTls : public TransferBench
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void aTrustedCertificateIsNotTalkedAbout();
    void aRefusedCertificateEndsIt();
    void aCertificateMayBeAcceptedAllTheSame_data();
    void aCertificateMayBeAcceptedAllTheSame();
    void otherErrorsThanTheExpectedOnesAreNotAccepted();
    void whatWasAcceptedOnceIsNotTrustedTheNextTime();
    void anotherCertificateThanTheAcceptedOneIsRefused();
    void itMayBeAbortedOrDeletedWhileItAsks_data();
    void itMayBeAbortedOrDeletedWhileItAsks();
    void whatIsWrongIsWhatQtFinds_data();
    void whatIsWrongIsWhatQtFinds();
    void aConnectionServesAgainOverTls();
    void anEndWithoutGoodbyeIsNoEnd_data();
    void anEndWithoutGoodbyeIsNoEnd();

protected:
    void setUp() override;

private:
    void startServer(const QSslConfiguration &tls);
    QString selfSigned();

    std::unique_ptr<TestCa> m_ca;
    QTemporaryDir m_dir;
};

void TestTransferReplyTls::initTestCase()
{
    m_ca = std::make_unique<TestCa>();
    QVERIFY2(m_ca->isValid(), qPrintable(m_ca->errorText()));
}

void TestTransferReplyTls::setUp()
{
    TransferBench::setUp();
    startServer(m_ca->serverConfiguration());
}

void TestTransferReplyTls::startServer(const QSslConfiguration &tls)
{
    m_server = std::make_unique<ScriptedServer>(tls);
    QVERIFY(m_server->isListening());
    m_server->setResponse("/file", ScriptedResponse::ok("secret"));
}

/// Gives the path without its ending, as TestCa::issue().
QString TestTransferReplyTls::selfSigned()
{
    const QString stem = m_dir.filePath(u"self"_s);
    const int code = QProcess::execute(u"openssl"_s,
                                       {u"req"_s, u"-x509"_s, u"-newkey"_s, u"ec"_s, u"-pkeyopt"_s,
                                        u"ec_paramgen_curve:prime256v1"_s, u"-nodes"_s, u"-days"_s, u"5"_s, u"-subj"_s,
                                        u"/CN=alone"_s, u"-addext"_s, u"subjectAltName=IP:127.0.0.1"_s, u"-keyout"_s,
                                        stem + u".key"_s, u"-out"_s, stem + u".pem"_s});
    return code == 0 ? stem : QString();
}

void TestTransferReplyTls::aTrustedCertificateIsNotTalkedAbout()
{
    m_hub->setAuthorities({QSslCertificate::fromPath(m_ca->caFile()).constFirst().toDer()});
    const Reply reply = get();
    const Recorder recorder(reply.get());
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, QStringList{u"encrypted"_s} + Recorder::wholeAnswer());
    QCOMPARE(recorder.body, QByteArray("secret"));
    QVERIFY(reply->attribute(QNetworkRequest::ConnectionEncryptedAttribute).toBool());
}

void TestTransferReplyTls::aRefusedCertificateEndsIt()
{
    const Reply reply = get();
    QList<QSslError> errors;
    connect(reply.get(), &QNetworkReply::sslErrors, this, [&](const QList<QSslError> &all) { errors = all; });
    const Recorder recorder(reply.get());
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events,
             QStringList{u"refused certificate"_s} + Recorder::failureWith(QNetworkReply::SslHandshakeFailedError));
    QVERIFY(!errors.isEmpty());
    QCOMPARE(errors.first().certificate(), QSslCertificate::fromPath(m_ca->certificateFile()).constFirst());
    QVERIFY2(reply->errorString().contains(u"nobody here knows the authority"_s), qPrintable(reply->errorString()));
    QVERIFY(m_server->requests().isEmpty());
}

void TestTransferReplyTls::aCertificateMayBeAcceptedAllTheSame_data()
{
    QTest::addColumn<QString>("when");
    QTest::newRow("before anything is asked") << u"before"_s;
    QTest::newRow("when it is asked") << u"asked"_s;
    QTest::newRow("just these errors, when it is asked") << u"these"_s;
}

void TestTransferReplyTls::aCertificateMayBeAcceptedAllTheSame()
{
    QFETCH(QString, when);
    const Reply reply = get();
    if (when == "before"_L1)
        reply->ignoreSslErrors();
    connect(reply.get(), &QNetworkReply::sslErrors, this, [&](const QList<QSslError> &errors) {
        if (when == "asked"_L1)
            reply->ignoreSslErrors();
        if (when == "these"_L1)
            reply->ignoreSslErrors(errors);
    });
    const Recorder recorder(reply.get());
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, (QStringList{u"refused certificate"_s, u"encrypted"_s} + Recorder::wholeAnswer()));
    QCOMPARE(recorder.body, QByteArray("secret"));
    QCOMPARE(reply->error(), QNetworkReply::NoError);
    QCOMPARE(m_server->requests().size(), 1);
}

void TestTransferReplyTls::otherErrorsThanTheExpectedOnesAreNotAccepted()
{
    const Reply reply = get();
    reply->ignoreSslErrors({QSslError(QSslError::CertificateExpired)});
    const Recorder recorder(reply.get());
    QVERIFY(recorder.wait());
    QCOMPARE(reply->error(), QNetworkReply::SslHandshakeFailedError);
    QVERIFY(m_server->requests().isEmpty());
}

void TestTransferReplyTls::whatWasAcceptedOnceIsNotTrustedTheNextTime()
{
    const Reply accepted = get();
    accepted->ignoreSslErrors();
    const Recorder first(accepted.get());
    QVERIFY(first.wait());
    QCOMPARE(first.body, QByteArray("secret"));
    // Neither its connection nor its keys serve again.
    QVERIFY(m_server->waitForNoConnections());
    const Reply next = get();
    const Recorder second(next.get());
    QVERIFY(second.wait());
    QCOMPARE(second.events.first(), u"refused certificate"_s);
    QCOMPARE(next->error(), QNetworkReply::SslHandshakeFailedError);
    QCOMPARE(m_server->requests().size(), 1);
}

void TestTransferReplyTls::anotherCertificateThanTheAcceptedOneIsRefused()
{
    TransferRequest asked;
    asked.url = m_server->url(u"/file"_s);
    asked.pinnedCertificate = QSslCertificate::fromPath(m_ca->caFile()).constFirst().toDer();
    asked.authorities = {asked.pinnedCertificate};
    TransferReply reply(QNetworkAccessManager::GetOperation, request(), asked, {}, m_means, m_loop, m_manager.get());
    const Recorder recorder(&reply);
    QVERIFY(recorder.wait());
    QCOMPARE(reply.error(), QNetworkReply::SslHandshakeFailedError);
    QCOMPARE(reply.errorString(), QSslError(QSslError::CertificateRejected).errorString());
    QVERIFY(m_server->requests().isEmpty());
}

void TestTransferReplyTls::itMayBeAbortedOrDeletedWhileItAsks_data()
{
    QTest::addColumn<bool>("isDeleted");
    QTest::addColumn<QString>("signal");
    for (const QString &signal : {u"asked"_s, u"encrypted"_s}) {
        QTest::addRow("aborted when %s", qPrintable(signal)) << false << signal;
        QTest::addRow("deleted when %s", qPrintable(signal)) << true << signal;
    }
}

void TestTransferReplyTls::itMayBeAbortedOrDeletedWhileItAsks()
{
    QFETCH(bool, isDeleted);
    QFETCH(QString, signal);
    const QPointer<QNetworkReply> reply = get().release();
    bool isAborted = false;
    const auto act = [&](const QString &name) {
        if (name != signal)
            return;
        if (isDeleted) {
            delete reply.data();
            return;
        }
        reply->abort();
        isAborted = reply->error() == QNetworkReply::OperationCanceledError;
    };
    reply->ignoreSslErrors();
    connect(reply, &QNetworkReply::sslErrors, this, [&] { act(u"asked"_s); });
    connect(reply, &QNetworkReply::encrypted, this, [&] { act(u"encrypted"_s); });
    QTRY_VERIFY_WITH_TIMEOUT(isDeleted ? reply.isNull() : isAborted, ScriptedServer::kPatienceMs);
    if (reply)
        QVERIFY(reply->isFinished());
    QVERIFY(m_server->waitForNoConnections());
}

void TestTransferReplyTls::whatIsWrongIsWhatQtFinds_data()
{
    QTest::addColumn<QString>("certificate");
    QTest::addColumn<bool>("isAuthorityKnown");
    QTest::newRow("nobody knows who vouches for it") << u"server"_s << false;
    QTest::newRow("it has expired") << u"expired"_s << true;
    QTest::newRow("it is another host's") << u"elsewhere"_s << true;
    QTest::newRow("it vouches for itself") << u"self"_s << true;
    QTest::newRow("it has expired, and nobody knows who vouches for it") << u"expired"_s << false;
    QTest::newRow("it is another host's, and has expired") << u"old elsewhere"_s << true;
}

void TestTransferReplyTls::whatIsWrongIsWhatQtFinds()
{
    QFETCH(QString, certificate);
    QFETCH(bool, isAuthorityKnown);
    QString stem = m_ca->certificateFile().chopped(4);
    if (certificate == "expired"_L1)
        stem = m_ca->issue(u"expired"_s, u"IP:127.0.0.1"_s, -1);
    if (certificate == "elsewhere"_L1)
        stem = m_ca->issue(u"elsewhere"_s, u"DNS:elsewhere.invalid"_s, 5);
    if (certificate == "old elsewhere"_L1)
        stem = m_ca->issue(u"elsewhere"_s, u"DNS:elsewhere.invalid"_s, -1);
    if (certificate == "self"_L1)
        stem = selfSigned();
    QVERIFY(!stem.isEmpty());
    startServer(TestCa::serverConfiguration(stem + u".pem"_s, stem + u".key"_s));
    const QList<QSslCertificate> authorities =
        isAuthorityKnown ? QSslCertificate::fromPath(m_ca->caFile()) : QList<QSslCertificate>();
    if (isAuthorityKnown)
        m_hub->setAuthorities({authorities.constFirst().toDer()});

    const Reply reply = get();
    QList<QSslError> errors;
    connect(reply.get(), &QNetworkReply::sslErrors, this, [&](const QList<QSslError> &all) { errors = all; });
    const Recorder recorder(reply.get());
    QVERIFY(recorder.wait());
    QCOMPARE(reply->error(), QNetworkReply::SslHandshakeFailedError);
    const QList<int> theirs = kindsOf(errorsOf(authorities, reply->url()));
    QVERIFY(!theirs.isEmpty());
    const QList<int> ours = kindsOf(errors);
    QVERIFY(!ours.isEmpty());
    for (const int kind : ours)
        QVERIFY2(theirs.contains(kind), qPrintable(errors.first().errorString()));
    // That the first certificate cannot be verified only says again that nobody knows who vouches for it.
    for (const int kind : theirs)
        QVERIFY(ours.contains(kind) || kind == int(QSslError::UnableToVerifyFirstCertificate));
    const QSslCertificate shown = QSslCertificate::fromPath(stem + u".pem"_s).constFirst();
    for (const QSslError &error : std::as_const(errors))
        QCOMPARE(error.certificate(), shown);
}

void TestTransferReplyTls::aConnectionServesAgainOverTls()
{
    m_hub->setAuthorities({QSslCertificate::fromPath(m_ca->caFile()).constFirst().toDer()});
    for (int i = 0; i < 3; ++i) {
        const Reply reply = get();
        const Recorder recorder(reply.get());
        QVERIFY(recorder.wait());
        QCOMPARE(recorder.body, QByteArray("secret"));
    }
    QCOMPARE(m_server->connectionCount(), 1);
}

void TestTransferReplyTls::anEndWithoutGoodbyeIsNoEnd_data()
{
    QTest::addColumn<QByteArray>("fields");
    QTest::addColumn<bool>("saysGoodbye");
    QTest::addColumn<Error>("error");
    QTest::newRow("closing tells the end, and is told") << QByteArray() << true << QNetworkReply::NoError;
    QTest::newRow("closing tells the end, and is not told")
        << QByteArray() << false << QNetworkReply::RemoteHostClosedError;
    QTest::newRow("the length tells the end") << QByteArray("Content-Length: 7\r\n") << false << QNetworkReply::NoError;
    QTest::newRow("the length is not met")
        << QByteArray("Content-Length: 8\r\n") << false << QNetworkReply::RemoteHostClosedError;
}

void TestTransferReplyTls::anEndWithoutGoodbyeIsNoEnd()
{
    QFETCH(QByteArray, fields);
    QFETCH(bool, saysGoodbye);
    EndingServer server(m_ca->serverConfiguration(),
                        "HTTP/1.1 200 OK\r\n" + fields + "Connection: close\r\n\r\ncontent", saysGoodbye);
    QVERIFY(server.listen(QHostAddress::LocalHost));
    m_hub->setAuthorities({QSslCertificate::fromPath(m_ca->caFile()).constFirst().toDer()});
    const Reply reply(m_manager->get(QNetworkRequest(QUrl(u"https://127.0.0.1:%1/x"_s.arg(server.serverPort())))));
    const Recorder recorder(reply.get());
    QVERIFY(recorder.wait());
    QTEST(reply->error(), "error");
    QCOMPARE(recorder.body, QByteArray("content"));
}

QTEST_GUILESS_MAIN(TestTransferReplyTls)
#include "tst_transferreply_tls.moc"
