// SPDX-License-Identifier: MIT
#include <tests/integration/partway.h>
#include <tests/integration/plaitsandbox.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/testca.h>
#include <tests/support/testfiles.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QHostAddress>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>
#include <QRegularExpression>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>
#include <QTimeZone>

#include <algorithm>
#include <csignal>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{
using Cut = ScriptedResponse::Cut;

constexpr int kDone = 0;
constexpr int kOther = 1;
constexpr int kNotFound = 3;
constexpr int kNetworkProblem = 6;
constexpr int kUnfinished = 7;
constexpr int kBadResponse = 22;
constexpr int kAuthentication = 24;
constexpr int kServerOverloaded = 29;
constexpr int kCertificateRefused = 34;

constexpr quint64 kSeed = 31;
constexpr qint64 kSize = 300000; // too small to be split
constexpr qint64 kHalf = 150000;

const QString kName = QStringLiteral("file.bin");
const QString kPath = QStringLiteral("/file.bin");
const QStringList kAtOnce{QStringLiteral("--retry-wait"), QStringLiteral("0.01")};
// Longer than any test waits.
const QStringList kMuchLater{QStringLiteral("--retry-wait"), QStringLiteral("3000")};

constexpr int kAskedSeconds = 1800;

ScriptedResponse wholeFile()
{
    return ScriptedResponse::file(kSeed, kSize);
}

// Comes a piece at a time, so that what lies before the cut has long been taken by then.
ScriptedResponse cutFile(qint64 after, Cut cut = Cut::Orderly)
{
    ScriptedResponse response = wholeFile();
    response.bytesPerSecond = 2 * after;
    response.cutAfter = after;
    response.cut = cut;
    return response;
}

ScriptedResponse busy(int status, const QByteArray &retryAfter)
{
    return ScriptedResponse::error(status).withHeader("Retry-After", retryAfter);
}

QByteArray httpDate(const QDateTime &time)
{
    return QLocale::c().toString(time.toUTC(), u"ddd, dd MMM yyyy hh:mm:ss 'GMT'"_s).toLatin1();
}

// The seconds of each "trying again in N s".
QList<int> waitsIn(const QByteArray &text)
{
    static const QRegularExpression kWait(u"trying again in (\\d+) s"_s);
    QList<int> waits;
    QRegularExpressionMatchIterator matches = kWait.globalMatch(QString::fromUtf8(text));
    while (matches.hasNext()) {
        waits.append(matches.next().captured(1).toInt());
    }
    return waits;
}

QList<QJsonObject> eventsIn(const QByteArray &output, const QString &name)
{
    QList<QJsonObject> events;
    for (const QByteArray &line : output.split('\n')) {
        const QJsonObject object = QJsonDocument::fromJson(line).object();
        if (object.value(u"event"_s).toString() == name) {
            events.append(object);
        }
    }
    return events;
}

QList<QByteArray> linesWith(const QByteArray &text, const QByteArray &part)
{
    QList<QByteArray> lines = text.split('\n');
    lines.removeIf([&part](const QByteArray &line) { return !line.contains(part); });
    return lines;
}

// A port that is ours and refuses whoever comes, until it is opened.
class ShutPort
{
public:
    ShutPort()
        : m_socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0))
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        const auto place = reinterpret_cast<sockaddr *>(&address);
        if (::bind(m_socket, place, size) == 0 && ::getsockname(m_socket, place, &size) == 0) {
            m_port = ntohs(address.sin_port);
        }
    }

    ~ShutPort()
    {
        if (!m_server.isListening()) {
            ::close(m_socket);
        }
    }

    quint16 port() const { return m_port; }

    // From now on each connection gets these bytes as the answer to its request.
    bool open(const QByteArray &answer)
    {
        QObject::connect(&m_server, &QTcpServer::newConnection, &m_server, [this, answer] {
            QTcpSocket *const socket = m_server.nextPendingConnection();
            QObject::connect(socket, &QTcpSocket::readyRead, socket, [socket, answer] {
                if (socket->readAll().contains("\r\n\r\n")) {
                    socket->write(answer);
                    socket->disconnectFromHost();
                }
            });
        });
        return ::listen(m_socket, 10) == 0 && m_server.setSocketDescriptor(m_socket);
    }

private:
    int m_socket;
    quint16 m_port = 0;
    QTcpServer m_server;

    Q_DISABLE_COPY_MOVE(ShutPort)
};
}

/// What may pass is tried again, what will not is not.
class TestPlaitRetry : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aBodyThatIsCutGoesOnWithWhatIsMissing_data();
    void aBodyThatIsCutGoesOnWithWhatIsMissing();
    void aServerWithATroubleThatPassesIsAskedAgain_data();
    void aServerWithATroubleThatPassesIsAskedAgain();
    void aRefusedPortIsTriedUntilItAnswers();
    void theServersOwnWaitIsKept_data();
    void theServersOwnWaitIsKept();
    void theWaitIsToldInJson();
    void aServerThatIsBackAtOnceIsAskedAtOnce_data();
    void aServerThatIsBackAtOnceIsAskedAtOnce();
    void aWaitOfMoreThanAnHourIsForPeopleToDecide();
    void whatWillNotPassIsAskedOnce_data();
    void whatWillNotPassIsAskedOnce();
    void anUntrustedCertificateIsMetOnce();
    void asManyTriesAreMadeAsWereAskedFor_data();
    void asManyTriesAreMadeAsWereAskedFor();
    void aRefusedPortIsTriedAsOftenAsWasAskedFor();
    void bytesThatComeSetTheCountBack();
    void aSignalEndsTheWaitAndAResumeFinishes_data();
    void aSignalEndsTheWaitAndAResumeFinishes();
    void aDownloadThatWaitsBelongsToItsProcess();

private:
    static void verifyWhole(PlaitSandbox &plait);
    static void waitForTheWait(PlaitSandbox &plait);
};

void TestPlaitRetry::verifyWhole(PlaitSandbox &plait)
{
    QCOMPARE(plait.files(), QStringList(kName));
    QCOMPARE(TestFiles::sha256OfFile(plait.path(kName)), TestFiles::sha256OfContent(kSeed, kSize));
}

void TestPlaitRetry::waitForTheWait(PlaitSandbox &plait)
{
    QVERIFY2(QTest::qWaitFor([&] { return !plait.isRunning() || plait.errorText().contains("trying again in"); },
                             PlaitSandbox::kPatienceMs)
                 && plait.isRunning(),
             plait.errorText());
}

void TestPlaitRetry::aBodyThatIsCutGoesOnWithWhatIsMissing_data()
{
    QTest::addColumn<Cut>("cut");
    QTest::newRow("by an orderly end of the connection") << Cut::Orderly;
    QTest::newRow("by a reset") << Cut::Reset;
}

void TestPlaitRetry::aBodyThatIsCutGoesOnWithWhatIsMissing()
{
    QFETCH(Cut, cut);
    ScriptedServer server;
    server.setResponses("/file.bin", {cutFile(kHalf, cut), wholeFile()});
    PlaitSandbox plait;
    const PlaitResult result = plait.run(kAtOnce + QStringList(server.url(kPath).toString()));
    QVERIFY2(result.status == kDone, result.err);
    verifyWhole(plait);
    QCOMPARE(result.err.count("trying again"), 1);
    const QList<ScriptedRequest> requests = server.requests();
    QCOMPARE(requests.size(), 2);
    const qint64 start = PartWay::startOf(requests.at(1));
    QVERIFY2(start > 0 && start <= kHalf, requests.at(1).header("Range"));
    QCOMPARE(server.bodyBytesSent(1), kSize - start);
    if (cut == Cut::Orderly) {
        QCOMPARE(start, kHalf);
    }
}

void TestPlaitRetry::aServerWithATroubleThatPassesIsAskedAgain_data()
{
    QTest::addColumn<int>("status");
    QTest::newRow("408, it waited too long for the request") << 408;
    QTest::newRow("425, too early") << 425;
    QTest::newRow("429, too many requests") << 429;
    QTest::newRow("500, a failure of its own") << 500;
    QTest::newRow("501, not implemented") << 501;
    QTest::newRow("502, a bad gateway") << 502;
    QTest::newRow("503, too much to do") << 503;
    QTest::newRow("504, a gateway that is too slow") << 504;
    QTest::newRow("520, a number of its own") << 520;
    QTest::newRow("599, the last of them") << 599;
}

void TestPlaitRetry::aServerWithATroubleThatPassesIsAskedAgain()
{
    QFETCH(int, status);
    ScriptedServer server;
    server.setResponses("/file.bin", {ScriptedResponse::error(status), ScriptedResponse::error(status), wholeFile()});
    PlaitSandbox plait;
    const PlaitResult result = plait.run(kAtOnce + QStringList(server.url(kPath).toString()));
    QVERIFY2(result.status == kDone, result.err);
    verifyWhole(plait);
    QCOMPARE(server.requests().size(), 3);
    const QList<QByteArray> lines = linesWith(result.err, "trying again");
    QCOMPARE(lines.size(), 2);
    for (const QByteArray &line : lines) {
        QVERIFY2(line.contains("HTTP status " + QByteArray::number(status)), line);
        QVERIFY2(line.count(server.url(kPath).toEncoded()) == 1, line);
    }
}

void TestPlaitRetry::aRefusedPortIsTriedUntilItAnswers()
{
    ShutPort port;
    QVERIFY(port.port() != 0);
    PlaitSandbox plait;
    const QString url = u"http://127.0.0.1:%1/file.bin"_s.arg(port.port());
    plait.start(kAtOnce + QStringList{u"--tries"_s, u"0"_s, url});
    QVERIFY2(QTest::qWaitFor([&] { return !plait.isRunning() || plait.errorText().count("trying again") >= 2; },
                             PlaitSandbox::kPatienceMs)
                 && plait.isRunning(),
             plait.errorText());
    QVERIFY2(plait.errorText().contains("refused"), plait.errorText());
    QVERIFY(port.open("HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: " + QByteArray::number(kSize)
                      + "\r\n\r\n" + TestFiles::content(kSeed, 0, kSize)));
    const PlaitResult result = plait.finish();
    QVERIFY2(result.status == kDone, result.err);
    verifyWhole(plait);
}

void TestPlaitRetry::theServersOwnWaitIsKept_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<bool>("isDate");
    QTest::newRow("503, in seconds") << 503 << false;
    QTest::newRow("503, as a date") << 503 << true;
    QTest::newRow("429, in seconds") << 429 << false;
    QTest::newRow("429, as a date") << 429 << true;
}

void TestPlaitRetry::theServersOwnWaitIsKept()
{
    QFETCH(int, status);
    QFETCH(bool, isDate);
    ScriptedServer server;
    const QByteArray value =
        isDate ? httpDate(QDateTime::currentDateTimeUtc().addSecs(kAskedSeconds)) : QByteArray::number(kAskedSeconds);
    server.setResponse("/file.bin", busy(status, value));
    PlaitSandbox plait;
    plait.start(kAtOnce + QStringList{u"--json"_s, server.url(kPath).toString()});
    waitForTheWait(plait);
    plait.sendSignal(SIGINT);
    const PlaitResult result = plait.finish();
    QVERIFY2(result.status == kUnfinished, result.err);
    QCOMPARE(server.requests().size(), 1);
    const QList<int> waits = waitsIn(result.err);
    QCOMPARE(waits.size(), 1);
    // What has gone by since the date was made is off.
    QVERIFY2(waits.constFirst() <= kAskedSeconds
                 && waits.constFirst() > (isDate ? kAskedSeconds / 2 : kAskedSeconds - 1),
             result.err);
    const QList<QJsonObject> warnings = eventsIn(result.out, u"warning"_s);
    QCOMPARE(warnings.size(), 1);
    QCOMPARE(waitsIn(warnings.constFirst().value(u"text"_s).toString().toUtf8()), waits);
}

void TestPlaitRetry::theWaitIsToldInJson()
{
    ScriptedServer server;
    server.setResponse("/file.bin", busy(503, QByteArray::number(kAskedSeconds)));
    PlaitSandbox home;
    QProcess process;
    process.setProcessEnvironment(home.environment());
    process.setWorkingDirectory(home.downloads());
    process.start(PlaitSandbox::program(), {u"--json"_s, server.url(kPath).toString()});
    QByteArray output;
    const auto isToldToWait = [&] {
        output += process.readAllStandardOutput();
        const QList<QJsonObject> events = eventsIn(output, u"progress"_s);
        return std::any_of(events.begin(), events.end(), [](const QJsonObject &event) {
            const qint64 wait = event.value(u"retry_in_ms"_s).toInteger();
            return wait > 1000 && wait <= 1000 * kAskedSeconds;
        });
    };
    const bool isTold = QTest::qWaitFor(isToldToWait, PlaitSandbox::kPatienceMs);
    process.terminate();
    const bool hasEnded =
        QTest::qWaitFor([&] { return process.state() == QProcess::NotRunning; }, PlaitSandbox::kPatienceMs);
    if (!hasEnded) {
        process.kill();
        process.waitForFinished();
    }
    QVERIFY2(isTold, output);
    QVERIFY(hasEnded);
    QCOMPARE(process.exitCode(), kUnfinished);
}

void TestPlaitRetry::aServerThatIsBackAtOnceIsAskedAtOnce_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::newRow("in no seconds") << QByteArray("0");
    QTest::newRow("since a date that has gone by") << QByteArray("Wed, 01 Jan 2020 00:00:00 GMT");
    QTest::newRow("at a time that is none") << QByteArray("soon");
}

void TestPlaitRetry::aServerThatIsBackAtOnceIsAskedAtOnce()
{
    QFETCH(QByteArray, value);
    ScriptedServer server;
    server.setResponses("/file.bin", {busy(503, value), wholeFile()});
    PlaitSandbox plait;
    const PlaitResult result = plait.run(kAtOnce + QStringList(server.url(kPath).toString()));
    QVERIFY2(result.status == kDone, result.err);
    verifyWhole(plait);
    QCOMPARE(result.err.count("trying again"), 1);
    QVERIFY2(waitsIn(result.err).isEmpty(), result.err);
}

void TestPlaitRetry::aWaitOfMoreThanAnHourIsForPeopleToDecide()
{
    ScriptedServer server;
    server.setResponse("/file.bin", busy(503, "3601"));
    PlaitSandbox plait;
    const PlaitResult result = plait.run(kAtOnce + QStringList(server.url(kPath).toString()));
    QVERIFY2(result.status == kServerOverloaded, result.err);
    QVERIFY2(!result.err.contains("trying again"), result.err);
    QCOMPARE(server.requests().size(), 1);
}

void TestPlaitRetry::whatWillNotPassIsAskedOnce_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<int>("exitStatus");
    QTest::newRow("400, a bad request") << 400 << kBadResponse;
    QTest::newRow("401, who are you") << 401 << kAuthentication;
    QTest::newRow("403, forbidden") << 403 << kBadResponse;
    QTest::newRow("404, not found") << 404 << kNotFound;
    QTest::newRow("410, gone") << 410 << kNotFound;
    QTest::newRow("451, kept back") << 451 << kBadResponse;
}

void TestPlaitRetry::whatWillNotPassIsAskedOnce()
{
    QFETCH(int, status);
    QFETCH(int, exitStatus);
    ScriptedServer server;
    server.setResponse("/file.bin", ScriptedResponse::error(status));
    PlaitSandbox plait;
    const PlaitResult result = plait.run(kAtOnce + QStringList(server.url(kPath).toString()));
    QVERIFY2(result.status == exitStatus, "status " + QByteArray::number(result.status) + ": " + result.err);
    QVERIFY2(!result.err.contains("trying again"), result.err);
    QCOMPARE(server.requests().size(), 1);
    QCOMPARE(plait.files(), QStringList());
}

void TestPlaitRetry::anUntrustedCertificateIsMetOnce()
{
    TestCa ca;
    QVERIFY2(ca.isValid(), qPrintable(ca.errorText()));
    ScriptedServer server(ca.serverConfiguration());
    server.setResponse("/file.bin", wholeFile());
    PlaitSandbox plait;
    const PlaitResult result = plait.run(kAtOnce + QStringList(server.url(kPath).toString()));
    QVERIFY2(result.status == kCertificateRefused, result.err);
    QVERIFY2(!result.err.contains("trying again"), result.err);
    QCOMPARE(server.connectionCount(), 1);
    QCOMPARE(server.requests().size(), 0);
}

void TestPlaitRetry::asManyTriesAreMadeAsWereAskedFor_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<int>("tries");
    QTest::addColumn<int>("exitStatus");
    QTest::newRow("one") << 503 << 1 << kServerOverloaded;
    QTest::newRow("two") << 503 << 2 << kServerOverloaded;
    QTest::newRow("four") << 503 << 4 << kServerOverloaded;
    QTest::newRow("three, of a server that fails") << 500 << 3 << kBadResponse;
    QTest::newRow("three, of a server that is too slow") << 408 << 3 << kBadResponse;
    QTest::newRow("three, of a server that was asked too often") << 429 << 3 << kServerOverloaded;
    QTest::newRow("three, of a bad gateway") << 502 << 3 << kServerOverloaded;
    QTest::newRow("three, of a slow gateway") << 504 << 3 << kServerOverloaded;
}

void TestPlaitRetry::asManyTriesAreMadeAsWereAskedFor()
{
    QFETCH(int, status);
    QFETCH(int, tries);
    QFETCH(int, exitStatus);
    ScriptedServer server;
    server.setResponse("/file.bin", ScriptedResponse::error(status));
    PlaitSandbox plait;
    const PlaitResult result =
        plait.run(kAtOnce + QStringList{u"--tries"_s, QString::number(tries), server.url(kPath).toString()});
    QVERIFY2(result.status == exitStatus, "status " + QByteArray::number(result.status) + ": " + result.err);
    QCOMPARE(server.requests().size(), tries);
    QCOMPARE(result.err.count("trying again"), tries - 1);
    QVERIFY2(result.err.contains("cannot download"), result.err);
    QCOMPARE(plait.files(), QStringList());
}

void TestPlaitRetry::aRefusedPortIsTriedAsOftenAsWasAskedFor()
{
    const ShutPort port;
    PlaitSandbox plait;
    const QString url = u"http://127.0.0.1:%1/file.bin"_s.arg(port.port());
    const PlaitResult result = plait.run(kAtOnce + QStringList{u"--tries"_s, u"3"_s, url});
    QVERIFY2(result.status == kNetworkProblem, "status " + QByteArray::number(result.status) + ": " + result.err);
    QCOMPARE(result.err.count("trying again"), 2);
}

void TestPlaitRetry::bytesThatComeSetTheCountBack()
{
    constexpr qint64 kPiece = kSize / 5;
    ScriptedServer server;
    server.setHandler("/file.bin", [](const ScriptedRequest &) { return cutFile(kPiece); });
    PlaitSandbox plait;
    const PlaitResult result = plait.run(kAtOnce + QStringList{u"--tries"_s, u"2"_s, server.url(kPath).toString()});
    QVERIFY2(result.status == kDone, result.err);
    verifyWhole(plait);
    const QList<ScriptedRequest> requests = server.requests();
    QVERIFY2(requests.size() >= 5, result.err);
    for (qsizetype i = 1; i < requests.size(); ++i) {
        QVERIFY(PartWay::startOf(requests.at(i)) > PartWay::startOf(requests.at(i - 1)));
    }
}

void TestPlaitRetry::aSignalEndsTheWaitAndAResumeFinishes_data()
{
    QTest::addColumn<ScriptedResponse>("failure");
    QTest::addColumn<qint64>("there");
    QTest::addColumn<int>("signal");
    QTest::newRow("Ctrl-C, before anything came") << ScriptedResponse::error(503) << qint64(0) << SIGINT;
    QTest::newRow("Ctrl-C, after a half came") << cutFile(kHalf) << kHalf << SIGINT;
    QTest::newRow("SIGTERM, after a half came") << cutFile(kHalf) << kHalf << SIGTERM;
}

void TestPlaitRetry::aSignalEndsTheWaitAndAResumeFinishes()
{
    QFETCH(ScriptedResponse, failure);
    QFETCH(qint64, there);
    QFETCH(int, signal);
    ScriptedServer server;
    server.setResponses("/file.bin", {failure, wholeFile()});
    PlaitSandbox plait;
    plait.start(kMuchLater + QStringList(server.url(kPath).toString()));
    waitForTheWait(plait);
    plait.sendSignal(signal);
    PlaitResult result = plait.finish();
    QVERIFY2(result.status == kUnfinished, "status " + QByteArray::number(result.status) + ": " + result.err);
    QCOMPARE(server.requests().size(), 1);

    result = plait.runBare({u"resume"_s, u"1"_s});
    QVERIFY2(result.status == kDone, result.err);
    verifyWhole(plait);
    QCOMPARE(server.requests().size(), 2);
    QCOMPARE(PartWay::startOf(server.requests().at(1)), there);
}

void TestPlaitRetry::aDownloadThatWaitsBelongsToItsProcess()
{
    ScriptedServer server;
    server.setResponses("/file.bin", {cutFile(kHalf), wholeFile()});
    PlaitSandbox first;
    PlaitSandbox second;
    // The second one's list is the first one's.
    QVERIFY(QDir().rmdir(second.dataHome()));
    QVERIFY(QFile::link(first.dataHome(), second.dataHome()));
    first.start(kMuchLater + QStringList(server.url(kPath).toString()));
    waitForTheWait(first);
    PlaitResult result = second.runBare({u"resume"_s, u"1"_s});
    QVERIFY2(result.status == kOther, "status " + QByteArray::number(result.status) + ": " + result.err);
    QVERIFY2(result.err.contains("process " + QByteArray::number(first.engineProcessId())), result.err);
    result = second.runBare({u"list"_s});
    QVERIFY2(result.out.contains("running"), result.out);
    result = second.runBare({u"remove"_s, u"1"_s});
    QVERIFY2(result.status == kOther, "status " + QByteArray::number(result.status) + ": " + result.err);
    QCOMPARE(server.requests().size(), 1);

    first.sendSignal(SIGINT);
    result = first.finish();
    QVERIFY2(result.status == kUnfinished, result.err);
    result = second.runBare({u"resume"_s, u"1"_s});
    QVERIFY2(result.status == kDone, result.err);
    verifyWhole(first);
}

QTEST_GUILESS_MAIN(TestPlaitRetry)
#include "tst_plait_retry.moc"
