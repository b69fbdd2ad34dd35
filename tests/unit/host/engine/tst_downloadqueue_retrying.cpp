// SPDX-License-Identifier: MIT
#include <host/policy/retry.h>
#include <inet/qt/download/framework/abstractdownload.h>
#include <tests/unit/host/engine/queuebench.h>
#include <tests/unit/host/engine/queuesteps.h>

#include <QDateTime>
#include <QFileDevice>
#include <QLocale>
#include <QNetworkReply>
#include <QTest>

using namespace Qt::StringLiterals;

using Info = AbstractDownloadPersistentInfo;

/// What a queue tries again: how often, after which waits, and at which of the addresses.
class TestDownloadQueueRetrying : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whatMayPassIsTriedAgain_data();
    void whatMayPassIsTriedAgain();
    void theWaitsGrow();
    void aWaitThatNoTimerTakesIsCut();
    void retryAfterIsHonoured_data();
    void retryAfterIsHonoured();
    void aServerThatAsksForTooMuchIsToldNo();
    void whatIsNotWorthItEndsAtOnce_data();
    void whatIsNotWorthItEndsAtOnce();
    void afterSoManyTriesItEnds();
    void withoutALimitItGoesOn();
    void progressResetsTheCounter();

    void aMirrorThatFailsIsPutAside_data();
    void aMirrorThatFailsIsPutAside();
    void whenAllArePutAsideEachIsListed();
    void theListHasAllMirrorsAgainAfterwards();
    void addressesThatMayDoLaterAreTriedAgain();
    void aRefusedConnectionIsNoReasonToPutAnAddressAside();
};

void TestDownloadQueueRetrying::whatMayPassIsTriedAgain_data()
{
    QTest::addColumn<QString>("category");
    QTest::addColumn<int>("code");
    QTest::newRow("a connection that was cut") << u"QtNetworkError"_s << int(QNetworkReply::RemoteHostClosedError);
    QTest::newRow("a connection that was refused") << u"QtNetworkError"_s << int(QNetworkReply::ConnectionRefusedError);
    QTest::newRow("a time-out") << u"QtNetworkError"_s << int(QNetworkReply::TimeoutError);
    for (const int status : {408, 425, 429, 500, 502, 503, 504})
        QTest::addRow("status %d", status) << u"HttpError"_s << status;
}

void TestDownloadQueueRetrying::whatMayPassIsTriedAgain()
{
    QFETCH(QString, category);
    QFETCH(int, code);
    QueueBench bench;
    const qint64 id = bench.append(u"fail/%1/%2;fail/%1/%2;done"_s.arg(category).arg(code));
    QVERIFY(bench.run());
    QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::None);
    QCOMPARE(bench.outcomeOf(id).attempts, 3);
    QCOMPARE(bench.retries.size(), 2);
    QVERIFY(bench.retries.first().failure);
    QCOMPARE(bench.retries.first().next, Warning::Next::Again);
    QCOMPARE(bench.retries.first().attempt, 2);
    QCOMPARE(bench.retries.last().attempt, 3);
    QCOMPARE(bench.endsOf(id), 1);
}

void TestDownloadQueueRetrying::theWaitsGrow()
{
    constexpr qint64 kBase = 8;
    QueueOptions options;
    options.retryWaitMs = kBase;
    QueueBench bench(options);
    const qint64 id = bench.append(u"%1;%1;%1;done"_s.arg(kBusy));
    QVERIFY(bench.run());
    QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::None);
    QCOMPARE(bench.retries.size(), 3);
    for (int i = 0; i < 3; ++i) {
        const qint64 full = kBase << i;
        QVERIFY(bench.retries.at(i).inMs >= full / 2);
        QVERIFY(bench.retries.at(i).inMs <= full);
    }
}

void TestDownloadQueueRetrying::aWaitThatNoTimerTakesIsCut()
{
    QueueOptions options;
    options.retryWaitMs = qint64(1) << 40;
    QueueBench bench(options);
    const qint64 id = bench.append(u"%1;done"_s.arg(kBusy));
    QTRY_COMPARE(bench.retries.size(), 1);
    QueueBench::settle();
    QCOMPARE(bench.queue->activeIds(), QList<qint64>{id});
    QVERIFY(bench.queue->status(id).retryInMs > 1000 * 1000 * 1000);
    QCOMPARE(bench.endsOf(id), 0);
}

void TestDownloadQueueRetrying::retryAfterIsHonoured_data()
{
    QTest::addColumn<QString>("value");
    QTest::addColumn<qint64>("least");
    QTest::newRow("in seconds") << u"120"_s << qint64(120000);
    const QDateTime later = QDateTime::currentDateTimeUtc().addSecs(1000);
    QTest::newRow("as a date") << QLocale::c().toString(later, u"ddd, dd MMM yyyy hh:mm:ss 'GMT'"_s) << qint64(900000);
    QTest::newRow("in the past: no longer than without") << u"Sun, 06 Nov 1994 08:49:37 GMT"_s << qint64(0);
    QTest::newRow("as nonsense: no longer than without") << u"soon"_s << qint64(0);
}

void TestDownloadQueueRetrying::retryAfterIsHonoured()
{
    QFETCH(QString, value);
    QFETCH(qint64, least);
    QueueBench bench;
    const qint64 id = bench.append(u"fail/HttpError/503/0/Retry-After: %1;run"_s.arg(value));
    QTRY_COMPARE(bench.retries.size(), 1);
    const qint64 inMs = bench.retries.first().inMs;
    QVERIFY2(inMs >= least && inMs <= least + 100001, qPrintable(QString::number(inMs)));
    if (least == 0) {
        QVERIFY(inMs <= 1);
        return;
    }
    const qint64 left = bench.queue->status(id).retryInMs;
    QVERIFY(left > 0 && left <= inMs);
    QCOMPARE(bench.queue->status(id).name, u"%1.bin"_s.arg(id));
    QCOMPARE(bench.queue->status(id).total, kFileSize);
}

void TestDownloadQueueRetrying::aServerThatAsksForTooMuchIsToldNo()
{
    QueueBench bench;
    const qint64 id = bench.append(u"fail/HttpError/503/0/Retry-After: %1"_s.arg(Retry::kLongestAskedMs / 1000 + 1));
    QVERIFY(bench.run());
    QVERIFY(bench.retries.isEmpty());
    QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::ServerOverloaded);
}

void TestDownloadQueueRetrying::whatIsNotWorthItEndsAtOnce_data()
{
    QTest::addColumn<QString>("step");
    QTest::addColumn<Failure::Kind>("kind");
    QTest::newRow("status 401") << u"fail/HttpError/401"_s << Failure::Kind::LoginRequired;
    QTest::newRow("status 403") << u"fail/HttpError/403"_s << Failure::Kind::BadAnswer;
    QTest::newRow("status 404") << u"fail/HttpError/404"_s << Failure::Kind::NotFound;
    QTest::newRow("status 410") << u"fail/HttpError/410"_s << Failure::Kind::NotFound;
    QTest::newRow("status 416 without a byte") << u"fail/HttpError/416"_s << Failure::Kind::BadAnswer;
    QTest::newRow("a certificate") << u"fail/QtNetworkError/%1"_s.arg(int(QNetworkReply::SslHandshakeFailedError))
                                   << Failure::Kind::CertificateRefused;
    QTest::newRow("a full disk") << u"fail/QtFileError/%1"_s.arg(int(QFileDevice::ResourceError))
                                 << Failure::Kind::DiskFull;
    QTest::newRow("a disk that fails") << u"fail/QtFileError/%1"_s.arg(int(QFileDevice::WriteError))
                                       << Failure::Kind::FileFailed;
    QTest::newRow("stopped by somebody else")
        << u"fail/GenericError/%1"_s.arg(int(GenericErrorCode::OperationAborted)) << Failure::Kind::Stopped;
}

void TestDownloadQueueRetrying::whatIsNotWorthItEndsAtOnce()
{
    QFETCH(QString, step);
    QFETCH(Failure::Kind, kind);
    QueueBench bench;
    const qint64 id = bench.append(step + u";done"_s);
    QVERIFY(bench.run());
    QVERIFY(bench.retries.isEmpty());
    QCOMPARE(bench.endsOf(id), 1);
    QCOMPARE(bench.outcomeOf(id).failure.kind, kind);
    QCOMPARE(bench.outcomeOf(id).attempts, 1);
}

void TestDownloadQueueRetrying::afterSoManyTriesItEnds()
{
    QueueBench bench(tries(3));
    const qint64 id = bench.append(u"%1;%1;%1;done"_s.arg(kBusy));
    QVERIFY(bench.run());
    QCOMPARE(bench.retries.size(), 2);
    QCOMPARE(bench.outcomeOf(id).attempts, 3);
    QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::ServerOverloaded);

    QueueBench once(tries(1));
    const qint64 only = once.append(kBusy + u";done"_s);
    QVERIFY(once.run());
    QVERIFY(once.retries.isEmpty());
    QCOMPARE(once.outcomeOf(only).failure.kind, Failure::Kind::ServerOverloaded);
}

void TestDownloadQueueRetrying::withoutALimitItGoesOn()
{
    QueueBench bench(tries(0));
    const qint64 id = bench.append(u"%1;%1;%1;%1;%1;%1;%1;done"_s.arg(kBusy));
    QVERIFY(bench.run());
    QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::None);
    QCOMPARE(bench.outcomeOf(id).attempts, 8);
}

void TestDownloadQueueRetrying::progressResetsTheCounter()
{
    QueueBench bench(tries(2));
    const qint64 id = bench.append(u"%1/10;%1/20;%1/30;%1/40;done"_s.arg(kBusy));
    QVERIFY(bench.run());
    QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::None);
    QCOMPARE(bench.outcomeOf(id).attempts, 5);

    QueueBench other(tries(2));
    const qint64 stuck = other.append(u"%1/10;%1/20;%1/20;done"_s.arg(kBusy));
    QVERIFY(other.run());
    QCOMPARE(other.outcomeOf(stuck).failure.kind, Failure::Kind::ServerOverloaded);
    QCOMPARE(other.outcomeOf(stuck).attempts, 3);
    QCOMPARE(other.session->record(stuck)->bytesDownloaded(false), 20);
}

void TestDownloadQueueRetrying::aMirrorThatFailsIsPutAside_data()
{
    QTest::addColumn<QString>("step");
    QTest::addColumn<Failure::Kind>("kind");
    QTest::newRow("not found") << kNotFound << Failure::Kind::NotFound;
    QTest::newRow("overloaded") << kBusy << Failure::Kind::ServerOverloaded;
    QTest::newRow("another file, or one of another size") << kChanged << Failure::Kind::ResourceChanged;
    QTest::newRow("no rest of a file") << kUnresumable << Failure::Kind::CannotResume;
}

void TestDownloadQueueRetrying::aMirrorThatFailsIsPutAside()
{
    QFETCH(QString, step);
    QFETCH(Failure::Kind, kind);
    QueueBench bench(tries(1));
    const QUrl second = QueueBench::urlOf(step);
    const qint64 id = bench.append(step, {}, {second, QueueBench::urlOf(u"done"_s), QueueBench::urlOf(kNotFound)});
    QVERIFY(bench.run());
    QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::None);
    QCOMPARE(bench.outcomeOf(id).attempts, 3);
    QCOMPARE(bench.retries.size(), 2);
    QCOMPARE(bench.retries.at(1).next, Warning::Next::OtherAddress);
    QCOMPARE(bench.retries.at(1).failure.subject.url, second);
    QCOMPARE(bench.retries.at(1).failure.kind, kind);
    QVERIFY(bench.questions.isEmpty());
}

void TestDownloadQueueRetrying::whenAllArePutAsideEachIsListed()
{
    QueueBench bench;
    const QUrl second = QueueBench::urlOf(u"fail/HttpError/403"_s);
    const QUrl third = QueueBench::urlOf(kChanged);
    const qint64 id = bench.append(kNotFound, {}, {second, third});
    QVERIFY(bench.run());
    QCOMPARE(bench.endsOf(id), 1);
    const QList<Failure::Address> addresses = bench.outcomeOf(id).failure.addresses;
    QCOMPARE(addresses.size(), 3);
    QCOMPARE(addresses.at(0).reason, Clause(Clause::Kind::HttpStatus, {u"404"_s}));
    QCOMPARE(addresses.at(1), (Failure::Address{second, {Clause::Kind::HttpStatus, {u"403"_s}}}));
    QCOMPARE(addresses.at(2), (Failure::Address{third, Clause::Kind::OtherFile}));
}

void TestDownloadQueueRetrying::theListHasAllMirrorsAgainAfterwards()
{
    QueueBench bench;
    const QList<QUrl> mirrors{QueueBench::urlOf(kNotFound), QueueBench::urlOf(u"run"_s)};
    const qint64 id = bench.append(kNotFound, {}, mirrors);
    const Info before = bench.session->record(id).value();
    QTRY_VERIFY(bench.running(id) && bench.running(id)->info().mirrors.isEmpty());
    bench.queue->close();
    QVERIFY(bench.run());
    const Info after = bench.session->record(id).value();
    QCOMPARE(after.mirrors.size(), 2);
    QCOMPARE(after.mirrors, before.mirrors);
    QCOMPARE(after.url, before.url);
    QCOMPARE(after.effectiveUrl, before.effectiveUrl);
}

void TestDownloadQueueRetrying::addressesThatMayDoLaterAreTriedAgain()
{
    QueueBench bench;
    const qint64 id = bench.append(u"%1;done"_s.arg(kBusy), {}, {QueueBench::urlOf(kNotFound)});
    QVERIFY(bench.run());
    QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::None);
    QCOMPARE(bench.outcomeOf(id).attempts, 3);

    QueueBench other(tries(2));
    const QUrl gone = QueueBench::urlOf(kNotFound);
    const qint64 never = other.append(kBusy, {}, {gone});
    QVERIFY(other.run());
    QCOMPARE(other.outcomeOf(never).attempts, 3);
    const QList<Failure::Address> addresses = other.outcomeOf(never).failure.addresses;
    QCOMPARE(addresses.size(), 2);
    QCOMPARE(addresses.at(0).url, gone);
    QCOMPARE(addresses.at(1).reason, Clause(Clause::Kind::HttpStatus, {u"503"_s}));
}

void TestDownloadQueueRetrying::aRefusedConnectionIsNoReasonToPutAnAddressAside()
{
    QueueBench bench;
    const QString refused = u"fail/QtNetworkError/%1"_s.arg(int(QNetworkReply::ConnectionRefusedError));
    const qint64 id = bench.append(refused + u";done"_s, {}, {QueueBench::urlOf(kNotFound)});
    QVERIFY(bench.run());
    QCOMPARE(bench.outcomeOf(id).failure.kind, Failure::Kind::None);
    QCOMPARE(bench.outcomeOf(id).attempts, 2);
}

QTEST_GUILESS_MAIN(TestDownloadQueueRetrying)
#include "tst_downloadqueue_retrying.moc"
