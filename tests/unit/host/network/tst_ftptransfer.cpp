// SPDX-License-Identifier: MIT
#include <host/network/transferreply.h>
#include <tests/unit/host/network/ftptransferbench.h>

#include <QDateTime>
#include <QFile>
#include <QNetworkReply>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

int statusOf(const QNetworkReply *reply)
{
    return reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
}

}

/// What FTP transfers give of files: bytes, ranges, headers, and what the server is told for it.
class TestFtpTransfer : public FtpTransferBench
{
    Q_OBJECT

private Q_SLOTS:
    void aFileOfAnySizeComesWhole_data();
    void aFileOfAnySizeComesWhole();
    void aRangeIsObeyed_data();
    void aRangeIsObeyed();
    void aRangeThatIsNoneIsIgnored_data();
    void aRangeThatIsNoneIsIgnored();
    void aRangeBehindTheEndCannotBeSatisfied_data();
    void aRangeBehindTheEndCannotBeSatisfied();
    void anAnswerIsOfNoTypeInParticular_data();
    void anAnswerIsOfNoTypeInParticular();
    void theTimeOfTheFileIsItsLastModified();
    void aServerWithoutTimesTellsNone();
    void aServerWithoutSizesTellsNoLengthAndNoRanges();
    void aServerWithoutSizesGivesTheWholeForARange();
    void aServerThatCannotBeginInTheMiddleGivesTheWhole();
    void aServerThatCannotBeginInTheMiddleOffersNoRanges();
    void withoutExtendedPassiveModeTheOldOneServes();
    void namesInTheUrlReachTheServerDecoded_data();
    void namesInTheUrlReachTheServerDecoded();
    void withoutALoginItIsAnonymous();
    void theLoginOfTheUrlIsUsed();
    void aWrongPasswordIsAskedForAndNotShown();
    void aControlCharacterReachesNobody();
    void severalAtOnceDoNotMix();
    void aConnectionThatCameToItsEndServesAgain();
    void aProxyIsAskedForTheServer();
    void otherOperationsAreRefused();
};

void TestFtpTransfer::aFileOfAnySizeComesWhole_data()
{
    QTest::addColumn<qint64>("size");
    for (const qint64 size : {qint64(0), qint64(1), kSize, kLargeSize})
        QTest::addRow("%lld bytes", size) << size;
}

void TestFtpTransfer::aFileOfAnySizeComesWhole()
{
    QFETCH(qint64, size);
    QVERIFY(m_server->addFile(u"sized"_s, kSeed, size));
    QNetworkReply *const reply = get(u"/sized"_s);
    QVERIFY(qobject_cast<TransferReply *>(reply));
    QCOMPARE(reply->manager(), m_manager.get());
    reply->setReadBufferSize(kReadBufferSize);
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, size == 0 ? QStringList({u"head"_s, u"channel"_s, u"finished"_s}) : kWholeAnswer);
    QCOMPARE(reply->error(), QNetworkReply::NoError);
    QCOMPARE(statusOf(reply), 200);
    QCOMPARE(reply->rawHeader("Content-Length"), QByteArray::number(size));
    QCOMPARE(reply->rawHeader("Accept-Ranges"), QByteArray("bytes"));
    QVERIFY(!reply->hasRawHeader("Content-Range"));
    QVERIFY(recorder.body == content(0, size));
    QVERIFY(reply->isFinished());
    QVERIFY(m_server->commands("PORT").isEmpty() && m_server->commands("EPRT").isEmpty());
}

void TestFtpTransfer::aRangeIsObeyed_data()
{
    QTest::addColumn<QByteArray>("range");
    QTest::addColumn<qint64>("first");
    QTest::addColumn<qint64>("last");
    QTest::newRow("from the middle") << "bytes=1000-"_ba << qint64(1000) << kSize - 1;
    QTest::newRow("from the middle to before the end") << "bytes=1000-200999"_ba << qint64(1000) << qint64(200999);
    QTest::newRow("from the start to the middle") << "bytes=0-999"_ba << qint64(0) << qint64(999);
    QTest::newRow("from the start without an end") << "bytes=0-"_ba << qint64(0) << kSize - 1;
    QTest::newRow("one byte") << "bytes=5-5"_ba << qint64(5) << qint64(5);
    QTest::newRow("the last byte") << "bytes=307200-"_ba << kSize - 1 << kSize - 1;
    QTest::newRow("an end behind the file's") << "bytes=307000-999999999"_ba << qint64(307000) << kSize - 1;
}

void TestFtpTransfer::aRangeIsObeyed()
{
    QFETCH(QByteArray, range);
    QFETCH(qint64, first);
    QFETCH(qint64, last);
    QNetworkReply *const reply = get(u"/file"_s, range);
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, kWholeAnswer);
    QCOMPARE(statusOf(reply), 206);
    QCOMPARE(reply->rawHeader("Content-Length"), QByteArray::number(last - first + 1));
    QCOMPARE(reply->rawHeader("Content-Range"),
             "bytes " + QByteArray::number(first) + '-' + QByteArray::number(last) + "/307201");
    QCOMPARE(reply->rawHeader("Accept-Ranges"), QByteArray("bytes"));
    QVERIFY(recorder.body == content(first, last - first + 1));
    QCOMPARE(m_server->commands("REST"), QByteArrayList({"REST " + QByteArray::number(first)}));
}

void TestFtpTransfer::aRangeThatIsNoneIsIgnored_data()
{
    QTest::addColumn<QByteArray>("range");
    QTest::newRow("the last bytes") << "bytes=-500"_ba;
    QTest::newRow("several") << "bytes=0-5,10-20"_ba;
    QTest::newRow("backwards") << "bytes=9-5"_ba;
    QTest::newRow("another unit") << "lines=5-9"_ba;
    QTest::newRow("a number that is too large") << "bytes=99999999999999999999-"_ba;
}

void TestFtpTransfer::aRangeThatIsNoneIsIgnored()
{
    QFETCH(QByteArray, range);
    QNetworkReply *const reply = get(u"/file"_s, range);
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(statusOf(reply), 200);
    QVERIFY(recorder.body == content(0, kSize));
}

void TestFtpTransfer::aRangeBehindTheEndCannotBeSatisfied_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("range");
    QTest::addColumn<QByteArray>("contentRange");
    QTest::newRow("just behind the end") << u"/file"_s << "bytes=307201-"_ba
                                         << "bytes */307201"_ba;
    QTest::newRow("far behind the end") << u"/file"_s << "bytes=400000-"_ba
                                        << "bytes */307201"_ba;
    QTest::newRow("nothing can be had of an empty file") << u"/empty"_s << "bytes=0-"_ba
                                                         << "bytes */0"_ba;
}

void TestFtpTransfer::aRangeBehindTheEndCannotBeSatisfied()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, range);
    QVERIFY(m_server->addFile(u"empty"_s, kSeed, 0));
    QNetworkReply *const reply = get(name, range);
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, QStringList(u"head"_s) + failureWith(QNetworkReply::UnknownContentError));
    QCOMPARE(statusOf(reply), 416);
    QTEST(reply->rawHeader("Content-Range"), "contentRange");
}

void TestFtpTransfer::anAnswerIsOfNoTypeInParticular_data()
{
    QTest::addColumn<QByteArray>("range");
    QTest::newRow("the whole file") << QByteArray();
    QTest::newRow("a range") << "bytes=1000-"_ba;
}

void TestFtpTransfer::anAnswerIsOfNoTypeInParticular()
{
    QFETCH(QByteArray, range);
    QNetworkReply *const reply = get(u"/file"_s, range);
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(reply->rawHeader("Content-Type"), QByteArray("application/octet-stream"));
}

void TestFtpTransfer::theTimeOfTheFileIsItsLastModified()
{
    QFile file(m_server->path(u"file"_s));
    const QDateTime time(QDate(2019, 3, 4), QTime(5, 6, 7), Qt::UTC);
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.setFileTime(time, QFileDevice::FileModificationTime));
    file.close();
    QNetworkReply *const reply = get(u"/file"_s, "bytes=1000-");
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(reply->rawHeader("Last-Modified"), QByteArray("Mon, 04 Mar 2019 05:06:07 GMT"));
    QCOMPARE(reply->header(QNetworkRequest::LastModifiedHeader).toDateTime(), time);
}

void TestFtpTransfer::aServerWithoutTimesTellsNone()
{
    m_server->setWithout("MDTM");
    QNetworkReply *const reply = get(u"/file"_s);
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, kWholeAnswer);
    QVERIFY(!reply->hasRawHeader("Last-Modified"));
}

void TestFtpTransfer::aServerWithoutSizesTellsNoLengthAndNoRanges()
{
    m_server->setWithout("SIZE");
    QNetworkReply *const reply = get(u"/file"_s);
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, kWholeAnswer);
    QCOMPARE(statusOf(reply), 200);
    QVERIFY(!reply->hasRawHeader("Content-Length"));
    QVERIFY(!reply->hasRawHeader("Accept-Ranges"));
    QVERIFY(recorder.body == content(0, kSize));
}

void TestFtpTransfer::aServerWithoutSizesGivesTheWholeForARange()
{
    m_server->setWithout("SIZE");
    QNetworkReply *const reply = get(u"/file"_s, "bytes=1000-");
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, kWholeAnswer);
    QCOMPARE(statusOf(reply), 200);
    QVERIFY(!reply->hasRawHeader("Content-Range"));
    QVERIFY(recorder.body == content(0, kSize));
}

void TestFtpTransfer::aServerThatCannotBeginInTheMiddleGivesTheWhole()
{
    m_server->setWithout("REST");
    QNetworkReply *const reply = get(u"/file"_s, "bytes=1000-");
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, kWholeAnswer);
    QCOMPARE(statusOf(reply), 200);
    QCOMPARE(reply->rawHeader("Content-Length"), QByteArray::number(kSize));
    QVERIFY(!reply->hasRawHeader("Content-Range"));
    QVERIFY(recorder.body == content(0, kSize));
}

void TestFtpTransfer::aServerThatCannotBeginInTheMiddleOffersNoRanges()
{
    m_server->setWithout("REST");
    QNetworkReply *const reply = get(u"/file"_s);
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, kWholeAnswer);
    QCOMPARE(reply->rawHeader("Content-Length"), QByteArray::number(kSize));
    QVERIFY(!reply->hasRawHeader("Accept-Ranges"));
}

void TestFtpTransfer::withoutExtendedPassiveModeTheOldOneServes()
{
    QNetworkReply *reply = get(u"/file"_s);
    const Recorder first(reply);
    QVERIFY(first.wait());
    QCOMPARE(m_server->commands("EPSV").size(), 1);
    QVERIFY(m_server->commands("PASV").isEmpty());

    m_server->setWithout("EPSV");
    reply = get(u"/file"_s);
    const Recorder second(reply);
    QVERIFY(second.wait());
    QVERIFY(second.body == content(0, kSize));
    QCOMPARE(m_server->commands("PASV").size(), 1);
}

void TestFtpTransfer::namesInTheUrlReachTheServerDecoded_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("path");
    QTest::newRow("a space and a hash") << u"a b#c"_s << u"/a%20b%23c"_s;
    QTest::newRow("letters beyond ASCII") << u"süß"_s << u"/s%C3%BC%C3%9F"_s;
    QTest::newRow("a question mark") << u"what?x=1"_s << u"/what?x=1"_s;
    QTest::newRow("a percent sign") << u"100%41"_s << u"/100%2541"_s;
    QTest::newRow("a type at the end is no part of the name") << u"typed"_s << u"/typed;type=a"_s;
    QTest::newRow("a fragment is no part of the name") << u"plain"_s << u"/plain#part"_s;
}

void TestFtpTransfer::namesInTheUrlReachTheServerDecoded()
{
    QFETCH(QString, name);
    QFETCH(QString, path);
    QVERIFY(m_server->addFile(name, kSeed, 1000));
    const Recorder recorder(get(path));
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, kWholeAnswer);
    QVERIFY(recorder.body == content(0, 1000));
    QCOMPARE(m_server->commands("TYPE"), QByteArrayList({"TYPE I"}));
}

void TestFtpTransfer::withoutALoginItIsAnonymous()
{
    const Recorder recorder(get(u"/file"_s));
    QVERIFY(recorder.wait());
    QCOMPARE(m_server->commands("USER"), QByteArrayList({"USER anonymous"}));
}

void TestFtpTransfer::theLoginOfTheUrlIsUsed()
{
    QNetworkReply *const reply = get(m_server->url(u"/file"_s, FtpServer::tester()));
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, kWholeAnswer);
    QCOMPARE(m_server->commands("USER"), QByteArrayList({"USER tester"}));
    QCOMPARE(m_server->commands("PASS"), QByteArrayList({"PASS geheim:@/"}));
    QVERIFY(reply->url().userInfo().isEmpty());
}

void TestFtpTransfer::aWrongPasswordIsAskedForAndNotShown()
{
    QNetworkReply *const reply = get(m_server->url(u"/file"_s, u"tester:falsch"_s));
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, failureWith(QNetworkReply::AuthenticationRequiredError));
    QVERIFY2(reply->errorString().contains(u"does not let in \"tester\""_s), qPrintable(reply->errorString()));
    QVERIFY(!reply->errorString().contains(u"falsch"_s));
    QVERIFY(!reply->request().url().toString().contains(u"falsch"_s));
}

void TestFtpTransfer::aControlCharacterReachesNobody()
{
    for (const QUrl &url :
         {m_server->url(u"/file"_s, u"tester%0D%0ADELE file:x"_s), m_server->url(u"/a%0D%0ADELE b"_s)}) {
        const Recorder recorder(get(url));
        QVERIFY(recorder.wait());
        QCOMPARE(recorder.events, failureWith(QNetworkReply::ContentOperationNotPermittedError));
    }
    QCOMPARE(m_server->connectionsCount(), 0);
}

void TestFtpTransfer::severalAtOnceDoNotMix()
{
    QNetworkReply *const last = get(u"/file"_s, "bytes=200000-");
    const Recorder first(get(u"/file"_s, "bytes=0-99999"));
    const Recorder second(get(u"/file"_s, "bytes=100000-199999"));
    const Recorder third(last);
    QVERIFY(first.wait() && second.wait() && third.wait());
    QVERIFY(first.body + second.body + third.body == content(0, kSize));
}

void TestFtpTransfer::aConnectionThatCameToItsEndServesAgain()
{
    const Recorder missing(get(u"/none"_s));
    QVERIFY(missing.wait());
    const Recorder file(get(u"/file"_s));
    QVERIFY(file.wait());
    QVERIFY(file.body == content(0, kSize));
    QCOMPARE(m_server->connectionsCount(), 1);
}

void TestFtpTransfer::aProxyIsAskedForTheServer()
{
    QTcpServer proxy;
    QVERIFY(proxy.listen(QHostAddress::LocalHost));
    ProxyChoice::Settings settings;
    settings.everywhere = QUrl(u"http://127.0.0.1:%1"_s.arg(proxy.serverPort()));
    m_hub->setProxySettings(settings);
    const Recorder recorder(get(QUrl(u"ftp://files.example:2121/file"_s)));
    QTRY_VERIFY(proxy.hasPendingConnections());
    QTcpSocket *const socket = proxy.nextPendingConnection();
    QTRY_VERIFY(socket->canReadLine());
    QCOMPARE(socket->readLine(), QByteArray("CONNECT files.example:2121 HTTP/1.1\r\n"));
    socket->abort();
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events.last(), u"finished"_s);
    QVERIFY(recorder.body.isEmpty());
}

void TestFtpTransfer::otherOperationsAreRefused()
{
    QNetworkReply *const reply = m_manager->put(QNetworkRequest(m_server->url(u"/new"_s)), "text");
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QVERIFY(reply->error() != QNetworkReply::NoError);
    QCOMPARE(m_server->connectionsCount(), 0);
}

QTEST_GUILESS_MAIN(TestFtpTransfer)
#include "tst_ftptransfer.moc"
