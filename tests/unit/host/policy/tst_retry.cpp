// SPDX-License-Identifier: MIT
#include <host/policy/retry.h>

#include <QFileDevice>
#include <QNetworkReply>
#include <QTest>
#include <QTimeZone>

using namespace Qt::StringLiterals;

namespace
{

const QDateTime kNow(QDate(2024, 3, 9), QTime(12, 0), QTimeZone::utc());
constexpr qint64 kNothing = -1;

}

class TestRetry : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whatMayPassIsTriedAgain_data();
    void whatMayPassIsTriedAgain();
    void serversSayWhenToComeBack_data();
    void serversSayWhenToComeBack();
    void theHeaderIsFoundAmongOthers();
    void waitingGrowsUpToItsLimit_data();
    void waitingGrowsUpToItsLimit();
};

void TestRetry::whatMayPassIsTriedAgain_data()
{
    QTest::addColumn<AbstractError>("error");
    QTest::addColumn<bool>("isWorthwhile");
    const auto row = [](const char *name, const char *category, int code, bool isWorthwhile) {
        QTest::newRow(name) << AbstractError(code, category, "s", "d") << isWorthwhile;
    };
    const char *const network = ErrorCategory::kNetwork;
    row("a time-out", network, QNetworkReply::TimeoutError, true);
    row("a refused connection", network, QNetworkReply::ConnectionRefusedError, true);
    row("a cut connection", network, QNetworkReply::RemoteHostClosedError, true);
    row("a network that failed for a moment", network, QNetworkReply::TemporaryNetworkFailureError, true);
    row("an untrusted certificate", network, QNetworkReply::SslHandshakeFailedError, false);
    row("wrong credentials", network, QNetworkReply::AuthenticationRequiredError, false);
    row("a file that is not there", network, QNetworkReply::ContentNotFoundError, false);
    row("access denied", network, QNetworkReply::ContentAccessDenied, false);
    row("a stop", network, QNetworkReply::OperationCanceledError, false);
    row("an unknown scheme", network, QNetworkReply::ProtocolUnknownError, false);
    for (const int status : {408, 425, 429, 500, 502, 503, 504, 507, 599})
        QTest::addRow("HTTP status %d", status) << AbstractError(status, ErrorCategory::kHttp, "s", "") << true;
    for (const int status : {400, 401, 403, 404, 406, 410, 416, 451, 600})
        QTest::addRow("not HTTP status %d", status) << AbstractError(status, ErrorCategory::kHttp, "s", "") << false;
    row("a full disk", ErrorCategory::kFile, QFileDevice::ResourceError, false);
    row("a changed resource", ErrorCategory::kDownload, int(DownloadErrorCode::ResourceChanged), false);
    row("a stop by a person", ErrorCategory::kGeneric, int(GenericErrorCode::OperationAborted), false);
    row("no error", "", 0, false);
}

void TestRetry::whatMayPassIsTriedAgain()
{
    QFETCH(AbstractError, error);
    QTEST(Retry::isWorthwhile(error), "isWorthwhile");
}

void TestRetry::serversSayWhenToComeBack_data()
{
    QTest::addColumn<QString>("value");
    QTest::addColumn<qint64>("ms");
    QTest::newRow("seconds") << u"120"_s << qint64(120'000);
    QTest::newRow("no time at all") << u"0"_s << qint64(0);
    QTest::newRow("blanks around") << u"  7 "_s << qint64(7'000);
    QTest::newRow("more digits than fit") << u"99999999999999999999999"_s << qint64(1'000'000'000'000);
    QTest::newRow("a date") << u"Sat, 09 Mar 2024 12:01:30 GMT"_s << qint64(90'000);
    QTest::newRow("an old form of date") << u"Saturday, 09-Mar-24 12:01:30 GMT"_s << qint64(90'000);
    QTest::newRow("the oldest form of date") << u"Sat Mar  9 12:01:30 2024"_s << qint64(90'000);
    QTest::newRow("a date in the past") << u"Sat, 09 Mar 2024 11:00:00 GMT"_s << qint64(0);
    QTest::newRow("a negative number") << u"-5"_s << kNothing;
    QTest::newRow("a fraction") << u"1.5"_s << kNothing;
    QTest::newRow("a word") << u"soon"_s << kNothing;
    QTest::newRow("nothing") << QString() << kNothing;
}

void TestRetry::serversSayWhenToComeBack()
{
    QFETCH(QString, value);
    QTEST(Retry::parseRetryAfter(value, kNow).value_or(kNothing), "ms");
}

void TestRetry::theHeaderIsFoundAmongOthers()
{
    const QList<QString> lines{u"HTTP/1.1 503 Busy"_s, u"Server: x"_s, u"retry-after: 3"_s};
    QCOMPARE(Retry::retryAfter(lines, kNow), std::optional<qint64>(3000));
    QVERIFY(!Retry::retryAfter({u"HTTP/1.1 503 Busy"_s}, kNow));
}

void TestRetry::waitingGrowsUpToItsLimit_data()
{
    QTest::addColumn<int>("attempt");
    QTest::addColumn<double>("jitter");
    QTest::addColumn<qint64>("asked");
    QTest::addColumn<qint64>("ms");
    QTest::newRow("the first, at most") << 1 << 1.0 << kNothing << qint64(1000);
    QTest::newRow("the first, at least") << 1 << 0.0 << kNothing << qint64(500);
    QTest::newRow("half-way") << 1 << 0.5 << kNothing << qint64(750);
    QTest::newRow("the second waits twice as long") << 2 << 1.0 << kNothing << qint64(2000);
    QTest::newRow("the fifth") << 5 << 1.0 << kNothing << qint64(16'000);
    QTest::newRow("no longer than a minute") << 7 << 1.0 << kNothing << qint64(60'000);
    QTest::newRow("however often it failed") << 100'000 << 1.0 << kNothing << qint64(60'000);
    QTest::newRow("the server asks for more") << 1 << 1.0 << qint64(30'000) << qint64(30'000);
    QTest::newRow("the server asks for less") << 3 << 1.0 << qint64(10) << qint64(4000);
    QTest::newRow("an attempt that is none") << 0 << 1.0 << kNothing << qint64(1000);
}

void TestRetry::waitingGrowsUpToItsLimit()
{
    QFETCH(int, attempt);
    QFETCH(double, jitter);
    QFETCH(qint64, asked);
    Retry::Wait wait{attempt, 1000, jitter};
    if (asked != kNothing)
        wait.askedMs = asked;
    QTEST(Retry::delayMs(wait), "ms");
}

QTEST_GUILESS_MAIN(TestRetry)
#include "tst_retry.moc"
