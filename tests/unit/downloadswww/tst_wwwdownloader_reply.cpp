// SPDX-License-Identifier: MIT
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

bool isPlaceIn(const std::string &source, const char *fileName)
{
    const QRegularExpression form(u"^inet/qt/download/downloadswww/"_s + QString::fromLatin1(fileName) + u",\\d+$"_s);
    return form.match(QString::fromStdString(source)).hasMatch();
}

/// Records the code of the last error as it stands in that signal.
void recordErrorsAt(const QString &signalName, TransferBench &bench, QList<int> &codes)
{
    bench.onEvent = [signalName, &bench, &codes](const QString &name) {
        if (name == signalName)
            codes.append(bench.downloader->lastError().code);
    };
}

}

/// Heads of answers and the ends of a run.
class TestWwwDownloaderReply : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void headIsListedInWords_data();
    void headIsListedInWords();
    void headIsThereWhenItIsAnnounced();
    void headIsAnnouncedOnce();
    void readBuffer_data();
    void readBuffer();
    void readBufferFollowsTheSettings();
    void readBufferIgnoresTheGlobalLimit();

    void unknownLengthIsKnownAtTheEnd();
    void lengths_data();
    void lengths();
    void endGivesEverythingBack();
    void endTellsRunLast();
    void endReplacesAnEarlierError();
    void cutThatTheNetworkLayerMissed_data();
    void cutThatTheNetworkLayerMissed();
    void bytesOfAnEarlierRunDoNotHideACut();
    void failureIsReportedOnce();
    void failureIsKnownBeforeTheLastData_data();
    void failureIsKnownBeforeTheLastData();
    void failureBeforeAnyAnswer();
    void finishedWithoutReplyChangesNothing();

    void silenceEndsTheRun();
    void silenceWhenIdleIsNothing();
    void dataPutsOffTheTimeout();
    void headAloneDoesNotPutOffTheTimeout();

    void stopWhenIdleIsNothing();
    void stopLetsTheReplyGo();
    void stopHandsOutWhatIsBuffered();
    void stopLeavesNoError();
    void deletedWhileRunningGivesEverythingBack();

    void sslErrorsAreKept_data();
    void sslErrorsAreKept();
    void clearLastErrorSetsTheTime();
    void clearLastErrorOfANewTransferSetsTheTime();
};

void TestWwwDownloaderReply::headIsListedInWords_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("reason");
    QTest::addColumn<QList<QNetworkReply::RawHeaderPair>>("headers");
    QTest::addColumn<QList<QString>>("expected");

    using Pairs = QList<QNetworkReply::RawHeaderPair>;
    QTest::newRow("status line first, then the headers in the reply's order and spelling")
        << 206 << QByteArray("Partial Content") << Pairs{{"x-B", "1"}, {"Content-Length", "5"}, {"X-a", "2"}}
        << QList<QString>{u"HTTP/1.1 206 Partial Content"_s, u"x-B: 1"_s, u"Content-Length: 5"_s, u"X-a: 2"_s};
    QTest::newRow("values are UTF-8") << 200 << QByteArray("OK") << Pairs{{"X", "\xc3\xbc"}}
                                      << QList<QString>{u"HTTP/1.1 200 OK"_s, u"X: ü"_s};
    QTest::newRow("no reason phrase leaves the space before it")
        << 200 << QByteArray() << Pairs{} << QList<QString>{u"HTTP/1.1 200 "_s};
    QTest::newRow("without a status it is -1") << 0 << QByteArray() << Pairs{{"Content-Length", "7"}}
                                               << QList<QString>{u"HTTP/1.1 -1 "_s, u"Content-Length: 7"_s};
}

void TestWwwDownloaderReply::headIsListedInWords()
{
    QFETCH(int, status);
    QFETCH(QByteArray, reason);
    QFETCH(QList<QNetworkReply::RawHeaderPair>, headers);
    TransferBench bench;
    bench.start();
    bench.reply()->sendHead(status, reason, headers);
    QCOMPARE(bench.responses.size(), 1);
    QTEST(bench.responses.first(), "expected");
    QCOMPARE(bench.downloader->httpStatusCode(), status > 0 ? status : -1);
    QCOMPARE(bench.downloader->headers(), headers);
}

void TestWwwDownloaderReply::headIsThereWhenItIsAnnounced()
{
    TransferBench bench;
    bench.start();
    int status = 0;
    qsizetype headers = 0;
    connect(bench.downloader.get(), &WwwDownloader::gotHeaders, this, [&] {
        status = bench.downloader->httpStatusCode();
        headers = bench.downloader->headers().size();
    });
    bench.reply()->sendHead(404, "Not Found", {{"A", "b"}});
    QCOMPARE(status, 404);
    QCOMPARE(headers, 1);
    QCOMPARE(bench.events.mid(bench.events.size() - 2), (QStringList{u"responseHeaders"_s, u"gotHeaders"_s}));
}

void TestWwwDownloaderReply::headIsAnnouncedOnce()
{
    TransferBench bench;
    bench.startReceiving();
    Q_EMIT bench.reply()->metaDataChanged();
    QCOMPARE(bench.events.count(u"responseHeaders"_s), 1);
    QCOMPARE(bench.events.count(u"gotHeaders"_s), 1);
}

void TestWwwDownloaderReply::readBuffer_data()
{
    QTest::addColumn<qint64>("limit");
    QTest::addColumn<qint64>("expected");

    QTest::newRow("no limit: 128 KiB") << qint64(0) << qint64(131072);
    QTest::newRow("a limit below that is the size") << qint64(50000) << qint64(50000);
    QTest::newRow("the smallest") << qint64(1) << qint64(1);
    QTest::newRow("one byte below 128 KiB") << qint64(131071) << qint64(131071);
    QTest::newRow("a limit of just 128 KiB") << qint64(131072) << qint64(131072);
    QTest::newRow("a limit above 128 KiB does not enlarge it") << qint64(1'000'000) << qint64(131072);
    QTest::newRow("a negative limit is none") << qint64(-1) << qint64(131072);
}

void TestWwwDownloaderReply::readBuffer()
{
    QFETCH(qint64, limit);
    QFETCH(qint64, expected);
    TransferBench bench;
    bench.downloader->setNetworkUsageSettings({limit, 0, 0, false});
    bench.startReceiving();
    // Once as the reply is made, once more with the head.
    QCOMPARE(bench.reply()->readBufferSizes(), (QList<qint64>{expected, expected}));
}

void TestWwwDownloaderReply::readBufferFollowsTheSettings()
{
    TransferBench bench;
    bench.startReceiving();
    const qsizetype before = bench.reply()->readBufferSizes().size();
    bench.downloader->setNetworkUsageSettings({30, 1, 0, false});
    QCOMPARE(bench.reply()->readBufferSize(), 30);
    bench.downloader->setNetworkUsageSettings({30, 1, 0, false});
    QCOMPARE(bench.reply()->readBufferSizes().size(), before + 1);
    bench.downloader->setNetworkUsageSettings({0, 1, 0, false});
    QCOMPARE(bench.reply()->readBufferSize(), 131072);
}

void TestWwwDownloaderReply::readBufferIgnoresTheGlobalLimit()
{
    TransferBench bench;
    bench.chief->setUsageSettings({40000, 0, 0, false});
    bench.startReceiving();
    QCOMPARE(bench.reply()->readBufferSizes(), (QList<qint64>{131072, 131072}));
    bench.downloader->setNetworkUsageSettings({50000, 0, 0, false});
    QCOMPARE(bench.reply()->readBufferSize(), 50000);
}

void TestWwwDownloaderReply::unknownLengthIsKnownAtTheEnd()
{
    TransferBench bench;
    bench.startReceiving(-1);
    bench.reply()->sendData(QByteArray(5000, 'x'));
    QVERIFY(!bench.downloader->isFinished());
    bench.reply()->end();
    QCOMPARE(bench.downloader->source().sectionLength, 5000);
    QVERIFY(bench.downloader->isFinished());
    QCOMPARE(bench.received().size(), 5000);
}

void TestWwwDownloaderReply::lengths_data()
{
    QTest::addColumn<qint64>("length");
    QTest::addColumn<int>("error");
    QTest::addColumn<qint64>("expected");

    QTest::newRow("a known length stays after an error") << qint64(9000) << 2 << qint64(9000);
    QTest::newRow("a known length stays though the end came early") << qint64(9000) << 0 << qint64(9000);
    QTest::newRow("an unknown length stays unknown after an error") << qint64(-1) << 2 << qint64(-1);
    QTest::newRow("an unknown length is what came") << qint64(-1) << 0 << qint64(5000);
}

void TestWwwDownloaderReply::lengths()
{
    QFETCH(qint64, length);
    QFETCH(int, error);
    TransferBench bench;
    bench.startReceiving(length);
    bench.reply()->sendData(QByteArray(5000, 'x'));
    bench.reply()->end(QNetworkReply::NetworkError(error), u"Connection closed"_s);
    QTEST(bench.downloader->source().sectionLength, "expected");
    QCOMPARE(bench.downloader->source().sectionDownloaded, 5000);
    QCOMPARE(bench.downloader->lastError().code, error);
    QCOMPARE(bench.received().size(), 5000);
}

void TestWwwDownloaderReply::endGivesEverythingBack()
{
    TransferBench bench;
    bench.startReceiving();
    const QPointer<FakeReply> reply = bench.reply();
    reply->end();
    QVERIFY(!bench.downloader->isRunning());
    QVERIFY(!bench.readTimer()->isActive());
    QVERIFY(!bench.inactivityTimer()->isActive());
    QCOMPARE(bench.chief->outCount(), 0);
    QCOMPARE(bench.chief->returnedUrls(), bench.chief->takenUrls());
    QVERIFY(bench.downloader->connectionsMap().isEmpty());
    QCOMPARE(bench.deltas.last(), connection(u"a.test"_s, -1));
    QCOMPARE(bench.downloader->httpStatusCode(), -1);
    QVERIFY(bench.downloader->isDataProcessed());
    QVERIFY(!reply->wasAborted());
    QVERIFY(!reply->parent());
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!reply);
}

void TestWwwDownloaderReply::endTellsRunLast()
{
    TransferBench bench;
    bench.startReceiving();
    bench.events.clear();
    bench.reply()->addData("rest");
    bench.reply()->end();
    QCOMPARE(bench.events, (QStringList{u"gotData"_s, u"connectionsMapChangedDelta"_s, u"running"_s}));
}

void TestWwwDownloaderReply::endReplacesAnEarlierError()
{
    TransferBench bench;
    bench.startReceiving();
    bench.reply()->end(QNetworkReply::RemoteHostClosedError, u"closed"_s);
    QCOMPARE(bench.downloader->lastError().code, 2);
    QVERIFY2(isPlaceIn(bench.downloader->lastError().source, "wwwdownloader_reply.cpp"),
             bench.downloader->lastError().source.c_str());

    bench.startReceiving();
    QDateTime before;
    waitForLaterTime(bench, before);
    bench.reply()->end();
    QCOMPARE(bench.downloader->lastError(), AbstractError());
    QVERIFY(bench.downloader->lastErrorTime() >= before);
}

void TestWwwDownloaderReply::cutThatTheNetworkLayerMissed_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QList<QNetworkReply::RawHeaderPair>>("headers");
    QTest::addColumn<int>("code");

    using Pairs = QList<QNetworkReply::RawHeaderPair>;
    QTest::newRow("all of the announced bytes came") << 200 << Pairs{{"Content-Length", "5"}} << 0;
    QTest::newRow("fewer came") << 200 << Pairs{{"Content-Length", "6"}} << 2;
    QTest::newRow("fewer came of a range") << 206 << Pairs{{"Content-Length", "6"}} << 2;
    QTest::newRow("more came") << 200 << Pairs{{"Content-Length", "4"}} << 0;
    QTest::newRow("no length was announced") << 200 << Pairs{} << 0;
    QTest::newRow("the length is no number") << 200 << Pairs{{"Content-Length", "6, 6"}} << 0;
    QTest::newRow("chunks overrule the length")
        << 200 << Pairs{{"Content-Length", "6"}, {"Transfer-Encoding", "chunked"}} << 0;
    QTest::newRow("the length of an encoded body is not that of its content")
        << 200 << Pairs{{"Content-Length", "6"}, {"Content-Encoding", "gzip"}} << 0;
    QTest::newRow("answers without a body may tell a length") << 304 << Pairs{{"Content-Length", "6"}} << 0;
    QTest::newRow("what is no HTTP means something else by it") << 0 << Pairs{{"Content-Length", "6"}} << 0;
}

void TestWwwDownloaderReply::cutThatTheNetworkLayerMissed()
{
    QFETCH(int, status);
    QFETCH(QList<QNetworkReply::RawHeaderPair>, headers);
    QFETCH(int, code);
    TransferBench bench;
    bench.start();
    bench.reply()->sendHead(status, "OK", headers);
    bench.reply()->sendData("abc");
    bench.reply()->addData("de");
    bench.reply()->end();
    QCOMPARE(bench.received(), "abcde");
    QCOMPARE(bench.downloader->lastError().code, code);
    QCOMPARE(bench.downloader->lastError().category, code ? "QtNetworkError" : "");
    QCOMPARE(bench.downloader->isFinished(), code == 0);
}

void TestWwwDownloaderReply::bytesOfAnEarlierRunDoNotHideACut()
{
    TransferBench bench;
    for (const int code : {0, 2}) {
        bench.start();
        bench.reply()->sendHead(200, "OK", {{"Content-Length", "4"}});
        bench.reply()->sendData(code ? "ab" : "abcd");
        bench.reply()->end();
        QCOMPARE(bench.downloader->lastError().code, code);
    }
}

void TestWwwDownloaderReply::failureIsReportedOnce()
{
    TransferBench bench;
    bench.startReceiving(1000);
    bench.reply()->sendData("abc");
    bench.reply()->end(QNetworkReply::RemoteHostClosedError, u"Connection closed"_s);
    QCOMPARE(bench.runs, (QList<bool>{true, false}));
    QCOMPARE(bench.received(), "abc");
    QCOMPARE(bench.chief->outCount(), 0);
    QCOMPARE(bench.downloader->lastError().category, "QtNetworkError");
    QCOMPARE(bench.downloader->lastError().description, "Connection closed");
}

void TestWwwDownloaderReply::failureIsKnownBeforeTheLastData_data()
{
    QTest::addColumn<bool>("unread");
    QTest::newRow("that lay unread") << true;
    QTest::newRow("that was read and kept") << false;
}

void TestWwwDownloaderReply::failureIsKnownBeforeTheLastData()
{
    QFETCH(bool, unread);
    TransferBench bench;
    QList<int> codes;
    recordErrorsAt(u"gotData"_s, bench, codes);
    bench.startReceiving(1000);
    bench.downloader->second++;
    bench.reply()->sendData("abc");
    bench.confirm();
    if (unread)
        bench.reply()->addData("def");
    else
        bench.reply()->sendData("def");
    bench.reply()->end(QNetworkReply::RemoteHostClosedError, u"closed"_s);
    QCOMPARE(bench.chunks, (QByteArrayList{"abc", "def"}));
    QCOMPARE(codes, (QList<int>{0, 2}));
}

void TestWwwDownloaderReply::failureBeforeAnyAnswer()
{
    TransferBench bench;
    bench.start();
    bench.reply()->end(QNetworkReply::HostNotFoundError, u"Host not found"_s);
    QCOMPARE(bench.downloader->lastError().code, 3);
    QVERIFY(!bench.events.contains(u"gotHeaders"_s));
    QVERIFY(!bench.events.contains(u"responseHeaders"_s));
    QCOMPARE(bench.events.last(), u"running"_s);
}

void TestWwwDownloaderReply::finishedWithoutReplyChangesNothing()
{
    TransferBench bench;
    bench.startReceiving();
    bench.reply()->end();
    const qsizetype events = bench.events.size();
    QMetaObject::invokeMethod(bench.downloader.get(), "onFinished");
    QMetaObject::invokeMethod(bench.downloader.get(), "onReadyRead");
    QMetaObject::invokeMethod(bench.downloader.get(), "onMetaDataChanged");
    QCOMPARE(bench.events.size(), events);
}

void TestWwwDownloaderReply::silenceEndsTheRun()
{
    TransferBench bench;
    bench.startReceiving(1000);
    bench.reply()->sendData("abc");
    bench.events.clear();
    const QPointer<FakeReply> reply = bench.reply();
    QCOMPARE(bench.inactivityTimer()->interval(), 120000);
    QList<int> codes;
    recordErrorsAt(u"timedOut"_s, bench, codes);
    QDateTime before;
    waitForLaterTime(bench, before);
    TransferBench::fire(bench.inactivityTimer());
    QCOMPARE(bench.events, (QStringList{u"timedOut"_s, u"gotData"_s, u"connectionsMapChangedDelta"_s, u"running"_s}));
    QCOMPARE(codes, QList<int>{4});
    const AbstractError error = bench.downloader->lastError();
    QCOMPARE(error.code, 4);
    QCOMPARE(error.category, "QtNetworkError");
    QVERIFY2(isPlaceIn(error.source, "wwwdownloader.cpp"), error.source.c_str());
    QVERIFY(error.description.empty());
    QVERIFY(bench.downloader->lastErrorTime() >= before);
    QVERIFY(!bench.downloader->isRunning());
    QVERIFY(reply->wasAborted());
    QCOMPARE(bench.received(), "abc");
}

void TestWwwDownloaderReply::silenceWhenIdleIsNothing()
{
    TransferBench bench;
    TransferBench::fire(bench.inactivityTimer());
    QVERIFY(bench.events.isEmpty());
    QCOMPARE(bench.downloader->lastError(), AbstractError());
}

void TestWwwDownloaderReply::dataPutsOffTheTimeout()
{
    TransferBench bench;
    bench.startReceiving();
    bench.inactivityTimer()->stop();
    bench.reply()->sendData("a");
    QVERIFY(bench.inactivityTimer()->isActive());
    QCOMPARE(bench.inactivityTimer()->interval(), 120000);
}

void TestWwwDownloaderReply::headAloneDoesNotPutOffTheTimeout()
{
    TransferBench bench;
    bench.start();
    bench.inactivityTimer()->stop();
    bench.reply()->sendHead(200);
    QVERIFY(!bench.inactivityTimer()->isActive());
}

void TestWwwDownloaderReply::stopWhenIdleIsNothing()
{
    TransferBench bench;
    bench.downloader->stop();
    QVERIFY(bench.events.isEmpty());
    QVERIFY(!bench.downloader->lastErrorTime().isValid());
}

void TestWwwDownloaderReply::stopLetsTheReplyGo()
{
    TransferBench bench;
    bench.startReceiving();
    bench.reply()->addData("x");
    bench.downloader->onDataProcessed(0);
    const QPointer<FakeReply> reply = bench.reply();
    bench.downloader->stop();
    QVERIFY(reply->wasAborted());
    QVERIFY(!reply->parent());
    QVERIFY(!bench.readTimer()->isActive());
    QVERIFY(!bench.inactivityTimer()->isActive());
    QCOMPARE(bench.chief->outCount(), 0);
    QVERIFY(bench.connections().isEmpty());
    QCOMPARE(bench.runs, (QList<bool>{true, false}));
    reply->sendData("late");
    QCOMPARE(bench.downloader->source().sectionDownloaded, 1);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!reply);
}

void TestWwwDownloaderReply::stopHandsOutWhatIsBuffered()
{
    TransferBench bench;
    bench.startReceiving();
    bench.reply()->sendData("abc");
    QVERIFY(bench.chunks.isEmpty());
    bench.events.clear();
    bench.downloader->stop();
    QCOMPARE(bench.received(), "abc");
    QCOMPARE(bench.events, (QStringList{u"gotData"_s, u"connectionsMapChangedDelta"_s, u"running"_s}));
    QVERIFY(!bench.downloader->isDataProcessed());
    bench.confirm();
    QVERIFY(bench.downloader->isDataProcessed());
}

void TestWwwDownloaderReply::stopLeavesNoError()
{
    TransferBench bench;
    bench.startReceiving();
    bench.downloader->stop();
    QCOMPARE(bench.downloader->lastError(), AbstractError());
}

void TestWwwDownloaderReply::deletedWhileRunningGivesEverythingBack()
{
    TransferBench bench;
    bench.startReceiving();
    const QPointer<FakeReply> reply = bench.reply();
    bench.downloader.reset();
    QCOMPARE(bench.chief->outCount(), 0);
    QVERIFY(bench.connections().isEmpty());
    // The chief has let go of the manager, but the reply may be in one of its signals, which reaches the manager too.
    QVERIFY(reply);
    QVERIFY(reply->wasAborted());
    QVERIFY(!reply->parent());
    QVERIFY(bench.chief->lastManager());
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!reply);
    QVERIFY(!bench.chief->lastManager());
}

void TestWwwDownloaderReply::sslErrorsAreKept_data()
{
    QTest::addColumn<bool>("ignore");
    QTest::newRow("and end the run") << false;
    QTest::newRow("and are passed over where that was set") << true;
}

void TestWwwDownloaderReply::sslErrorsAreKept()
{
    QFETCH(bool, ignore);
    const QList<QSslError> errors{QSslError(QSslError::SelfSignedCertificate), QSslError(QSslError::HostNameMismatch)};
    TransferBench bench;
    bench.downloader->setNetworkSettings({{}, {}, true, ignore});
    bench.start();
    bench.reply()->sendSslErrors({QSslError(QSslError::CertificateExpired)});
    bench.reply()->sendSslErrors(errors);
    QCOMPARE(bench.reply()->ignoredSslErrors(), ignore ? 2 : 0);
    bench.reply()->end(ignore ? QNetworkReply::NoError : QNetworkReply::SslHandshakeFailedError, u"handshake"_s);
    QCOMPARE(bench.downloader->lastSslErrors(), errors);
    QCOMPARE(bench.downloader->lastError().code, ignore ? 0 : 6);
}

void TestWwwDownloaderReply::clearLastErrorSetsTheTime()
{
    TransferBench bench;
    bench.start();
    bench.reply()->sendSslErrors({QSslError(QSslError::CertificateExpired)});
    bench.reply()->end(QNetworkReply::SslHandshakeFailedError, u"handshake"_s);
    QDateTime before;
    waitForLaterTime(bench, before);
    bench.downloader->clearLastError();
    QCOMPARE(bench.downloader->lastError(), AbstractError());
    QVERIFY(bench.downloader->lastSslErrors().isEmpty());
    QVERIFY(bench.downloader->lastErrorTime() >= before);
}

void TestWwwDownloaderReply::clearLastErrorOfANewTransferSetsTheTime()
{
    TransferBench bench;
    QVERIFY(!bench.downloader->lastErrorTime().isValid());
    bench.downloader->clearLastError();
    QVERIFY(bench.downloader->lastErrorTime().isValid());
}

QTEST_GUILESS_MAIN(TestWwwDownloaderReply)
#include "tst_wwwdownloader_reply.moc"
