// SPDX-License-Identifier: MIT
#include <tests/unit/host/network/ftptransferbench.h>

#include <QCoreApplication>
#include <QNetworkReply>
#include <QPointer>
#include <QTest>

#include <algorithm>

using namespace Qt::StringLiterals;

/// How FTP transfers end: by errors, by abort and deletion, and whether anybody reads them or not.
class TestFtpTransferEnding : public FtpTransferBench
{
    Q_OBJECT

private Q_SLOTS:
    void aMissingFileIsNotFound_data();
    void aMissingFileIsNotFound();
    void aFolderIsNotDownloaded();
    void aRefusedConnectionIsSaid();
    void anUnknownHostIsSaid();
    void aTransferCutShortIsAnError();
    void aServerThatDiesIsAnError();
    void theLastWordOfTheServerIsNotWaitedFor();
    void anUnreadReplyStopsTheServer();
    void aSmallReadBufferLosesNothing();
    void abortEndsItOnceAndAtOnce_data();
    void abortEndsItOnceAndAtOnce();
    void abortWhileANameIsLookedUp();
    void closeEndsIt();
    void nothingIsEmittedBeforeTheEventLoop();
    void itMayBeDeletedInEverySignal_data();
    void itMayBeDeletedInEverySignal();
    void itDiesWithItsManager();
};

void TestFtpTransferEnding::aMissingFileIsNotFound_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QByteArray>("without");
    QTest::newRow("the file") << u"/none"_s << QByteArray();
    QTest::newRow("its folder") << u"/none/file"_s << QByteArray();
    QTest::newRow("the file, of a server without sizes") << u"/none"_s << "SIZE,MDTM"_ba;
}

void TestFtpTransferEnding::aMissingFileIsNotFound()
{
    QFETCH(QString, path);
    QFETCH(QByteArray, without);
    m_server->setWithout(without + ",NONE");
    QNetworkReply *const reply = get(path);
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, failureWith(QNetworkReply::ContentNotFoundError));
    QVERIFY(!reply->errorString().isEmpty());
    QVERIFY(!reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).isValid());
}

void TestFtpTransferEnding::aFolderIsNotDownloaded()
{
    QNetworkReply *const reply = get(u"/folder/"_s);
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, failureWith(QNetworkReply::ContentOperationNotPermittedError));
    QVERIFY2(reply->errorString().contains(u"folder"_s), qPrintable(reply->errorString()));
}

void TestFtpTransferEnding::aRefusedConnectionIsSaid()
{
    const QUrl url = m_server->url(u"/file"_s);
    m_server->kill();
    QNetworkReply *const reply = get(url);
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, failureWith(QNetworkReply::ConnectionRefusedError));
    QVERIFY(!reply->errorString().isEmpty());
}

void TestFtpTransferEnding::anUnknownHostIsSaid()
{
    QNetworkReply *const reply = get(QUrl(u"ftp://no-such-host.invalid/file"_s));
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, failureWith(QNetworkReply::HostNotFoundError));
    QVERIFY2(reply->errorString().contains(u"no-such-host.invalid"_s), qPrintable(reply->errorString()));
}

void TestFtpTransferEnding::aTransferCutShortIsAnError()
{
    m_server->setShort(100000);
    QNetworkReply *const reply = get(u"/file"_s);
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, QStringList({u"head"_s, u"data"_s}) + failureWith(QNetworkReply::RemoteHostClosedError));
    QVERIFY(recorder.body == content(0, 100000));
}

void TestFtpTransferEnding::aServerThatDiesIsAnError()
{
    m_server->setRate(50000);
    const Recorder recorder(get(u"/file"_s));
    QTRY_VERIFY(!recorder.body.isEmpty());
    m_server->kill();
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, QStringList({u"head"_s, u"data"_s}) + failureWith(QNetworkReply::RemoteHostClosedError));
    QVERIFY(content(0, kSize).startsWith(recorder.body));
}

void TestFtpTransferEnding::theLastWordOfTheServerIsNotWaitedFor()
{
    m_server->setMute();
    QNetworkReply *const reply = get(u"/file"_s);
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, kWholeAnswer);
    QVERIFY(recorder.body == content(0, kSize));
}

void TestFtpTransferEnding::anUnreadReplyStopsTheServer()
{
    QVERIFY(m_server->addFile(u"large"_s, kSeed, kLargeSize));
    QNetworkReply *const reply = get(u"/large"_s);
    reply->setReadBufferSize(kReadBufferSize);
    const Recorder recorder(reply, Recorder::Reads::Nothing);
    QTRY_VERIFY(reply->bytesAvailable() > kReadBufferSize / 2);
    const Recorder other(get(u"/file"_s));
    QVERIFY(other.wait());
    QVERIFY(reply->bytesAvailable() <= kReadBufferSize);
    QVERIFY(reply->isRunning());

    QByteArray body;
    QVERIFY(QTest::qWaitFor(
        [&] {
            body += reply->readAll();
            return reply->isFinished();
        },
        FtpServer::kPatienceMs));
    body += reply->readAll();
    QVERIFY(body == content(0, kLargeSize));
}

void TestFtpTransferEnding::aSmallReadBufferLosesNothing()
{
    QNetworkReply *const reply = get(u"/file"_s);
    reply->setReadBufferSize(1000);
    qint64 most = 0;
    connect(reply, &QNetworkReply::readyRead, this, [&] { most = std::max(most, reply->bytesAvailable()); });
    QByteArray body;
    QVERIFY(QTest::qWaitFor(
        [&] {
            body += reply->read(700);
            return reply->isFinished() && reply->bytesAvailable() == 0;
        },
        FtpServer::kPatienceMs));
    QCOMPARE(reply->error(), QNetworkReply::NoError);
    QVERIFY(body == content(0, kSize));
    QVERIFY2(most <= 16384, QByteArray::number(most));
}

void TestFtpTransferEnding::abortEndsItOnceAndAtOnce_data()
{
    QTest::addColumn<QString>("when");
    QTest::newRow("before it begins") << QString();
    QTest::newRow("while it asks") << u"asking"_s;
    QTest::newRow("in its middle") << u"data"_s;
}

void TestFtpTransferEnding::abortEndsItOnceAndAtOnce()
{
    QFETCH(QString, when);
    m_server->setRate(50000);
    QNetworkReply *const reply = get(u"/file"_s);
    const Recorder recorder(reply);
    if (when == "asking"_L1)
        QTRY_VERIFY(!m_server->commands("USER").isEmpty());
    else if (!when.isEmpty())
        QTRY_VERIFY(recorder.events.contains(when));
    const QStringList before = recorder.events;
    reply->abort();
    QCOMPARE(recorder.events, before + failureWith(QNetworkReply::OperationCanceledError));
    reply->abort();
    QTRY_COMPARE(m_server->openConnectionsCount(), 0);
    QCOMPARE(recorder.events, before + failureWith(QNetworkReply::OperationCanceledError));
    QVERIFY(reply->isFinished());
}

void TestFtpTransferEnding::abortWhileANameIsLookedUp()
{
    QNetworkReply *const reply = get(QUrl(u"ftp://no-such-host.invalid/file"_s));
    const Recorder recorder(reply);
    QCoreApplication::processEvents();
    if (recorder.events.isEmpty())
        reply->abort();
    QCOMPARE(recorder.events.size(), 3);
    QCOMPARE(recorder.events.last(), u"finished"_s);
}

void TestFtpTransferEnding::closeEndsIt()
{
    m_server->setRate(50000);
    QNetworkReply *const reply = get(u"/file"_s);
    const Recorder recorder(reply);
    QTRY_VERIFY(!recorder.body.isEmpty());
    reply->close();
    QCOMPARE(recorder.events.last(), u"finished"_s);
    QTRY_COMPARE(m_server->openConnectionsCount(), 0);
}

void TestFtpTransferEnding::nothingIsEmittedBeforeTheEventLoop()
{
    const Recorder folder(get(u"/folder/"_s));
    const Recorder file(get(u"/file"_s));
    QVERIFY(folder.events.isEmpty() && file.events.isEmpty());
    QVERIFY(folder.wait() && file.wait());
}

void TestFtpTransferEnding::itMayBeDeletedInEverySignal_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QByteArray>("range");
    QTest::addColumn<QString>("signal");
    QTest::newRow("the head") << u"/file"_s << QByteArray() << u"head"_s;
    QTest::newRow("data") << u"/file"_s << QByteArray() << u"data"_s;
    QTest::newRow("the channel's end") << u"/file"_s << QByteArray() << u"channel"_s;
    QTest::newRow("the end") << u"/file"_s << QByteArray() << u"finished"_s;
    QTest::newRow("an error") << u"/none"_s << QByteArray() << u"error"_s;
    QTest::newRow("the end behind an error") << u"/none"_s << QByteArray() << u"finished"_s;
    QTest::newRow("the head of a range behind the end") << u"/file"_s << "bytes=400000-"_ba << u"head"_s;
    QTest::newRow("the error of a range behind the end") << u"/file"_s << "bytes=400000-"_ba << u"error"_s;
}

void TestFtpTransferEnding::itMayBeDeletedInEverySignal()
{
    QFETCH(QString, path);
    QFETCH(QByteArray, range);
    QFETCH(QString, signal);
    const QPointer<QNetworkReply> reply = get(path, range);
    const auto deleteIn = [&](const QString &name) {
        if (name == signal)
            delete reply.data();
    };
    connect(reply, &QNetworkReply::metaDataChanged, this, [=] { deleteIn(u"head"_s); });
    connect(reply, &QNetworkReply::readyRead, this, [=] { deleteIn(u"data"_s); });
    connect(reply, &QNetworkReply::readChannelFinished, this, [=] { deleteIn(u"channel"_s); });
    connect(reply, &QNetworkReply::errorOccurred, this, [=] { deleteIn(u"error"_s); });
    connect(reply, &QNetworkReply::finished, this, [=] { deleteIn(u"finished"_s); });
    QTRY_VERIFY_WITH_TIMEOUT(reply.isNull(), FtpServer::kPatienceMs);
    const Recorder next(get(u"/file"_s));
    QVERIFY(next.wait());
    QVERIFY(next.body == content(0, kSize));
}

void TestFtpTransferEnding::itDiesWithItsManager()
{
    m_server->setRate(50000);
    const QPointer<QNetworkReply> reply = get(u"/file"_s);
    QTRY_VERIFY(reply->bytesAvailable() > 0);
    m_manager.reset();
    QVERIFY(reply.isNull());
    QTRY_COMPARE(m_server->openConnectionsCount(), 0);
}

QTEST_GUILESS_MAIN(TestFtpTransferEnding)
#include "tst_ftptransfer_ending.moc"
