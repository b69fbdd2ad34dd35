// SPDX-License-Identifier: MIT
#include <tests/integration/partway.h>
#include <tests/integration/plaitsandbox.h>
#include <tests/integration/realservers.h>
#include <tests/support/apacheserver.h>
#include <tests/support/ftpserver.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/sqlfile.h>
#include <tests/support/testfiles.h>

#include <QCryptographicHash>
#include <QDateTime>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

#include <atomic>
#include <functional>
#include <memory>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kDone = 0;
constexpr int kChecksumMismatch = 32;

constexpr quint64 kSeed = 51;
constexpr qint64 kSize = 300000; // too small to be split
constexpr qint64 kHalf = 150000;
constexpr qint64 kLarge = 8000000;
constexpr qint64 kHeldAfter = 1000;
constexpr int kConnections = 4;

const QString kName = u"file.bin"_s;
const QString kPath = u"/file.bin"_s;
const QStringList kSeveral{u"-x"_s, QString::number(kConnections)};

using Headers = QList<ScriptedResponse::Header>;

const ScriptedResponse::Header kDate{"Last-Modified", "Wed, 01 Jan 2020 00:00:00 GMT"};
const ScriptedResponse::Header kStrong{"ETag", "\"strong\""};
const ScriptedResponse::Header kWeak{"ETag", "W/\"weak\""};

const QString kWeakReason = u"its parts have only a weak validator in common"_s;
const QString kVanished = u"only some of its parts came with a validator"_s;
const QString kNothing = u"the server names nothing that identifies the file"_s;
const QString kAddresses = u"its parts came from several addresses"_s;
const QString kNoLength = u"the server did not say how long the file is"_s;
const QString kUnknown = u"nobody kept what its first parts came with"_s;
const QString kEarly = u"it was finished with what was there"_s;

ScriptedResponse fileWith(const Headers &headers, qint64 size = kSize)
{
    ScriptedResponse response = ScriptedResponse::file(kSeed, size);
    response.headers = headers;
    return response;
}

/// The same on a server that knows no ranges.
ScriptedResponse onlyWhole(ScriptedResponse response, ScriptedResponse::Framing framing)
{
    response.honoursRanges = false;
    response.framing = framing;
    return response;
}

ScriptedResponse heldInTheMiddle(ScriptedResponse response)
{
    response.bytesPerSecond = 600000;
    response.holdAfter = kHalf;
    return response;
}

QByteArray digestOf(qint64 size)
{
    return QCryptographicHash::hash(TestFiles::content(kSeed, 0, size), QCryptographicHash::Sha256).toBase64();
}

QJsonObject lastObjectIn(const QByteArray &out)
{
    return QJsonDocument::fromJson(out.trimmed().split('\n').constLast()).object();
}

QString textIn(const QJsonObject &object, const QString &name)
{
    return object.value(name).toArray().at(0).toString();
}

/// What is said of one file: its assurance and, behind a colon, the reason.
QString sureness(const QJsonObject &object)
{
    const QString reason = object.value(u"assurance_reason"_s).toString();
    return object.value(u"assurance"_s).toString() + (reason.isEmpty() ? QString() : u": "_s + reason);
}

QByteArray wordsOf(const PlaitResult &result)
{
    return "status " + QByteArray::number(result.status) + ": " + result.err + result.out;
}

/// Apache's ETag is weak while a file is younger than a second.
bool makeOld(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadWrite)
        && file.setFileTime(QDateTime::currentDateTime().addDays(-1), QFileDevice::FileModificationTime);
}

/// Nobody kept anything of this list's answers.
bool forgetEvidence(const PlaitSandbox &plait)
{
    const SqlFile list(plait.dataHome() + u"/plait/downloads.sqlite"_s);
    return list.run(u"DELETE FROM evidence"_s) && list.run(u"DELETE FROM addresses"_s);
}

}

/// How sure plait is of a finished file, and that it says so wherever people and programs look.
class TestPlaitAssurance : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void aFileOfARealServerIsConsistent_data();
    void aFileOfARealServerIsConsistent();
    void oneWholeAnswerIsConsistent_data();
    void oneWholeAnswerIsConsistent();
    void aFileOverFtpInOnePieceIsConsistent();
    void partsUnderOneStrongValidatorAreConsistent_data();
    void partsUnderOneStrongValidatorAreConsistent();
    void partsOfARedirectorsFileAreConsistent();
    void aResumeUnderTheSameStrongValidatorIsConsistent_data();
    void aResumeUnderTheSameStrongValidatorIsConsistent();
    void aStoppedFileOfARealServerIsConsistent_data();
    void aStoppedFileOfARealServerIsConsistent();
    void aFileThatWasLostOrBegunAnewIsAsSureAsItsLastAnswers();

    void partsThatNothingStrongHoldsTogetherAreUnproven_data();
    void partsThatNothingStrongHoldsTogetherAreUnproven();
    void aBodyWithoutAnEndOfItsOwnIsUnproven();
    void aResumeWithoutAStrongValidatorIsUnproven();
    void partsOfSeveralAddressesAreUnproven();
    void partsOfAnOlderListAreUnprovenUnlessAStrongValidatorIsTheirs_data();
    void partsOfAnOlderListAreUnprovenUnlessAStrongValidatorIsTheirs();
    void whatWasFinishedEarlyIsUnproven();

    void aChecksumVerifiesWhatIsUnproven();
    void theServersOwnDigestVerifiesTheFile_data();
    void theServersOwnDigestVerifiesTheFile();
    void anotherDigestOfTheServersIsAnError();
    void whatWasFinishedEarlyIsNotComparedWithTheServersDigest();

    void theListSaysWhatIsUnproven();
    void aFileOfWhichNobodyKeptAnythingIsJustDone();
    void whatIdentifiesAnUnfinishedFileIsShown();

private:
    QString run(const QStringList &arguments);
    QString runHeld(ScriptedServer &server, const QStringList &arguments);
    QString leftInTheMiddle(ScriptedServer &server, const ScriptedResponse &response);
    QString judged(const PlaitResult &result, qint64 size);

    RealServers m_servers;
    ApacheServer m_apache;
    std::unique_ptr<PlaitSandbox> m_plait;
};

void TestPlaitAssurance::initTestCase()
{
    QVERIFY2(m_servers.start(), qPrintable(m_servers.errorText()));
    QVERIFY2(m_apache.start(m_servers.ca()), qPrintable(m_apache.errorText()));
    QVERIFY(m_servers.addFile(kName, kSeed, kLarge));
    QVERIFY(m_apache.addFile(kName, kSeed, kLarge));
    QVERIFY(makeOld(m_apache.folder() + kPath));
}

void TestPlaitAssurance::init()
{
    m_plait = std::make_unique<PlaitSandbox>();
}

/// How sure it says it is of the whole file; empty, with a warning, where it did not come to that.
QString TestPlaitAssurance::judged(const PlaitResult &result, qint64 size)
{
    const bool isWhole = result.status == kDone && m_plait->files() == QStringList(kName)
        && TestFiles::sha256OfFile(m_plait->path(kName)) == TestFiles::sha256OfContent(kSeed, size);
    if (isWhole)
        return sureness(lastObjectIn(result.out));
    qWarning("%s", wordsOf(result).constData());
    return {};
}

QString TestPlaitAssurance::run(const QStringList &arguments)
{
    return judged(m_plait->run(QStringList{u"--json"_s} + arguments), kSize);
}

/// The same of a large file whose answers are held until all connections are there.
QString TestPlaitAssurance::runHeld(ScriptedServer &server, const QStringList &arguments)
{
    m_plait->start(QStringList{u"--json"_s} + kSeveral + arguments);
    const bool areThere = server.waitForHeld({}, kConnections);
    server.release();
    const PlaitResult result = m_plait->finish();
    return areThere ? judged(result, kLarge) : QString();
}

/// The address of a download of which half is there; empty, with a warning, when it did not come to that.
QString TestPlaitAssurance::leftInTheMiddle(ScriptedServer &server, const ScriptedResponse &response)
{
    const QString url = server.url(kPath).toString();
    server.setResponse("/file.bin", heldInTheMiddle(response));
    const QString trouble = PartWay::leave(*m_plait, {u"-x"_s, u"1"_s, url}, kName, kSeed);
    server.setResponse("/file.bin", response);
    if (trouble.isEmpty())
        return url;
    qWarning("%s", qPrintable(trouble));
    return {};
}

void TestPlaitAssurance::aFileOfARealServerIsConsistent_data()
{
    QTest::addColumn<QString>("url");
    const QString nginx = m_servers.nginx().url(kPath).toString();
    QTest::newRow("nginx") << nginx;
    QTest::newRow("lighttpd") << m_servers.lighttpd().url(kPath).toString();
    QTest::newRow("Apache") << m_apache.url(kPath).toString();
    QTest::newRow("nginx, behind redirects") << m_servers.nginx().url(u"/redirect/3/file.bin"_s).toString();
    QTest::newRow("nginx, in chunks") << m_servers.nginx().url(u"/chunked/file.bin"_s).toString();
    QTest::newRow("nginx, without ranges") << m_servers.nginx().url(u"/no-ranges/file.bin"_s).toString();
    QTest::newRow("Apache, in chunks") << m_apache.url(u"/chunked/file.bin"_s).toString();
    QTest::newRow("Apache, without ranges") << m_apache.url(u"/no-ranges/file.bin"_s).toString();
}

void TestPlaitAssurance::aFileOfARealServerIsConsistent()
{
    QFETCH(QString, url);
    // Slow enough for all connections.
    const PlaitResult result = m_plait->run(QStringList{u"--json"_s, u"--limit-rate"_s, u"8M"_s, url} + kSeveral);
    QCOMPARE(judged(result, kLarge), u"consistent"_s);
}

void TestPlaitAssurance::oneWholeAnswerIsConsistent_data()
{
    QTest::addColumn<ScriptedResponse>("response");
    using Framing = ScriptedResponse::Framing;
    QTest::newRow("of known length, with nothing that identifies it")
        << onlyWhole(fileWith({}), Framing::ContentLength);
    QTest::newRow("with a date alone") << onlyWhole(fileWith({kDate}), Framing::ContentLength);
    QTest::newRow("with a weak ETag") << onlyWhole(fileWith({kWeak}), Framing::ContentLength);
    QTest::newRow("in chunks") << onlyWhole(fileWith({}), Framing::Chunked);
    QTest::newRow("from a server that knows ranges, too small to be split") << fileWith({kDate});
}

void TestPlaitAssurance::oneWholeAnswerIsConsistent()
{
    QFETCH(ScriptedResponse, response);
    ScriptedServer server;
    server.setResponse("/file.bin", response);
    QCOMPARE(run({server.url(kPath).toString()}), u"consistent"_s);
}

void TestPlaitAssurance::aFileOverFtpInOnePieceIsConsistent()
{
    FtpServer server;
    QVERIFY2(server.isListening(), qPrintable(server.errorText()));
    QVERIFY(server.addFile(kName, kSeed, kSize));
    QCOMPARE(run({u"-x"_s, u"1"_s, server.url(kPath).toString()}), u"consistent"_s);
}

void TestPlaitAssurance::partsUnderOneStrongValidatorAreConsistent_data()
{
    QTest::addColumn<Headers>("headers");
    QTest::newRow("a strong ETag") << Headers{kStrong};
    QTest::newRow("a strong ETag and a date") << Headers{kStrong, kDate};
    QTest::newRow("a strong ETag in small letters") << Headers{{"etag", "\"strong\""}};
}

void TestPlaitAssurance::partsUnderOneStrongValidatorAreConsistent()
{
    QFETCH(Headers, headers);
    ScriptedServer server;
    ScriptedResponse response = fileWith(headers, kLarge);
    response.holdAfter = kHeldAfter;
    server.setResponse("/file.bin", response);
    QCOMPARE(runHeld(server, {server.url(kPath).toString()}), u"consistent"_s);
}

void TestPlaitAssurance::partsOfARedirectorsFileAreConsistent()
{
    ScriptedServer server;
    server.setHandler("/file.bin", [](const ScriptedRequest &request) {
        return ScriptedResponse::redirect("/target" + QByteArray::number(request.order) + "/file.bin");
    });
    server.setFallback([](const ScriptedRequest &) {
        ScriptedResponse response = fileWith({kStrong}, kLarge);
        response.holdAfter = kHeldAfter;
        return response;
    });
    QCOMPARE(runHeld(server, {server.url(kPath).toString()}), u"consistent"_s);
}

void TestPlaitAssurance::aResumeUnderTheSameStrongValidatorIsConsistent_data()
{
    QTest::addColumn<bool>("isListOlder");
    QTest::addColumn<QString>("assurance");
    QTest::newRow("of what the list kept") << false << u"consistent"_s;
    QTest::newRow("but not of what nobody kept") << true << u"unproven: nobody kept what its first parts came with"_s;
}

void TestPlaitAssurance::aResumeUnderTheSameStrongValidatorIsConsistent()
{
    QFETCH(bool, isListOlder);
    QFETCH(QString, assurance);
    ScriptedServer server;
    const QString url = leftInTheMiddle(server, fileWith({kStrong, kDate}));
    QVERIFY(!url.isEmpty());
    QVERIFY(!isListOlder || forgetEvidence(*m_plait));
    QCOMPARE(run({url}), assurance);
    QVERIFY(PartWay::startOf(server.requests().constLast()) > 0);
}

void TestPlaitAssurance::aStoppedFileOfARealServerIsConsistent_data()
{
    QTest::addColumn<QString>("url");
    QTest::newRow("nginx") << m_servers.nginx().url(kPath).toString();
    QTest::newRow("lighttpd") << m_servers.lighttpd().url(kPath).toString();
    QTest::newRow("Apache") << m_apache.url(kPath).toString();
    QTest::newRow("nginx, behind redirects") << m_servers.nginx().url(u"/redirect/3/file.bin"_s).toString();
}

void TestPlaitAssurance::aStoppedFileOfARealServerIsConsistent()
{
    QFETCH(QString, url);
    const QString trouble =
        PartWay::leave(*m_plait, kSeveral + QStringList{u"--limit-rate"_s, u"1M"_s, url}, kName, kSeed);
    QVERIFY2(trouble.isEmpty(), qPrintable(trouble));
    const PlaitResult result = m_plait->run(kSeveral + QStringList{u"--json"_s, url});
    QCOMPARE(judged(result, kLarge), u"consistent"_s);
}

void TestPlaitAssurance::aFileThatWasLostOrBegunAnewIsAsSureAsItsLastAnswers()
{
    ScriptedServer server;
    const QString url = leftInTheMiddle(server, fileWith({kDate}));
    QVERIFY(!url.isEmpty());
    QVERIFY(QFile::remove(m_plait->path(kName + u".part"_s)));
    QCOMPARE(run({url}), u"consistent"_s);

    QCOMPARE(judged(m_plait->runBare({u"restart"_s, u"--json"_s, u"1"_s}), kSize), u"consistent"_s);
}

void TestPlaitAssurance::partsThatNothingStrongHoldsTogetherAreUnproven_data()
{
    QTest::addColumn<Headers>("first"); // of the answer that is asked for without a range
    QTest::addColumn<Headers>("others");
    QTest::addColumn<QString>("reason");
    QTest::newRow("a weak ETag") << Headers{kWeak} << Headers{kWeak} << kWeakReason;
    QTest::newRow("a date") << Headers{kDate} << Headers{kDate} << kWeakReason;
    QTest::newRow("a strong ETag that vanishes") << Headers{kStrong, kDate} << Headers{kDate} << kVanished;
    QTest::newRow("a strong ETag that only comes later") << Headers{kDate} << Headers{kStrong, kDate} << kVanished;
    QTest::newRow("nothing") << Headers() << Headers() << kNothing;
}

void TestPlaitAssurance::partsThatNothingStrongHoldsTogetherAreUnproven()
{
    QFETCH(Headers, first);
    QFETCH(Headers, others);
    QFETCH(QString, reason);
    ScriptedServer server;
    server.setHandler("/file.bin", [first, others](const ScriptedRequest &request) {
        ScriptedResponse response = fileWith(PartWay::startOf(request) == 0 ? first : others, kLarge);
        response.holdAfter = kHeldAfter;
        return response;
    });
    QCOMPARE(runHeld(server, {server.url(kPath).toString()}), u"unproven: "_s + reason);
}

void TestPlaitAssurance::aBodyWithoutAnEndOfItsOwnIsUnproven()
{
    ScriptedServer server;
    server.setResponse("/file.bin", onlyWhole(fileWith({kStrong}), ScriptedResponse::Framing::CloseDelimited));
    QCOMPARE(run({server.url(kPath).toString()}), u"unproven: "_s + kNoLength);
}

void TestPlaitAssurance::aResumeWithoutAStrongValidatorIsUnproven()
{
    ScriptedServer server;
    const QString url = leftInTheMiddle(server, fileWith({kDate}));
    QVERIFY(!url.isEmpty());
    QCOMPARE(run({url}), u"unproven: "_s + kWeakReason);
}

void TestPlaitAssurance::partsOfSeveralAddressesAreUnproven()
{
    // Which is asked first is the program's choice: that one breaks off in the middle and is gone.
    auto first = std::make_shared<std::atomic<int>>(-1);
    auto answers = std::make_shared<std::atomic<int>>(0);
    ScriptedServer servers[2];
    for (int i = 0; i < 2; ++i) {
        servers[i].setHandler("/file.bin", [first, answers, i](const ScriptedRequest &) {
            int nobody = -1;
            first->compare_exchange_strong(nobody, i);
            if (*first == i && answers->fetch_add(1) > 0)
                return ScriptedResponse::error(404);
            ScriptedResponse response = fileWith({kStrong, kDate});
            response.cutAfter = *first == i ? kHalf : -1;
            return response;
        });
    }
    QCOMPARE(run({servers[0].url(kPath).toString(), u"--mirror"_s, servers[1].url(kPath).toString(), u"--retry-wait"_s,
                  u"0.01"_s}),
             u"unproven: "_s + kAddresses);
}

void TestPlaitAssurance::partsOfAnOlderListAreUnprovenUnlessAStrongValidatorIsTheirs_data()
{
    QTest::addColumn<Headers>("headers");
    QTest::newRow("a date") << Headers{kDate};
    QTest::newRow("a weak ETag") << Headers{kWeak};
    QTest::newRow("nothing") << Headers();
}

void TestPlaitAssurance::partsOfAnOlderListAreUnprovenUnlessAStrongValidatorIsTheirs()
{
    QFETCH(Headers, headers);
    ScriptedServer server;
    const QString url = leftInTheMiddle(server, fileWith(headers));
    QVERIFY(!url.isEmpty());
    QVERIFY(forgetEvidence(*m_plait));
    QCOMPARE(run({url}), u"unproven: "_s + kUnknown);
}

void TestPlaitAssurance::whatWasFinishedEarlyIsUnproven()
{
    ScriptedServer server;
    QVERIFY(!leftInTheMiddle(server, fileWith({kStrong})).isEmpty());
    const PlaitResult result = m_plait->runBare({u"finish"_s, u"--json"_s, u"1"_s});
    QVERIFY2(result.status == kDone, wordsOf(result));
    QCOMPARE(sureness(lastObjectIn(result.out)), u"unproven: "_s + kEarly);
}

void TestPlaitAssurance::aChecksumVerifiesWhatIsUnproven()
{
    ScriptedServer server;
    server.setResponse("/file.bin", onlyWhole(fileWith({}), ScriptedResponse::Framing::CloseDelimited));
    const QString sha256 = QString::fromLatin1(QByteArray::fromBase64(digestOf(kSize)).toHex());
    QCOMPARE(run({u"--checksum"_s, u"sha-256="_s + sha256, server.url(kPath).toString()}), u"verified"_s);
    const PlaitResult listed = m_plait->runBare({u"list"_s, u"--json"_s});
    QCOMPARE(sureness(lastObjectIn(listed.out)), u"verified"_s);
}

void TestPlaitAssurance::theServersOwnDigestVerifiesTheFile_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<QString>("sure");
    const QByteArray digest = digestOf(kSize);
    QTest::newRow("Repr-Digest") << "Repr-Digest"_ba
                                 << "sha-256=:" + digest + ":" << u"verified"_s;
    QTest::newRow("Digest") << "Digest"_ba
                            << "SHA-256=" + digest << u"verified"_s;
    QTest::newRow("a digest of the part alone says nothing of the whole")
        << "Content-Digest"_ba
        << "sha-256=:" + digest + ":" << u"consistent"_s;
    QTest::newRow("a digest that makes no sense is none") << "Digest"_ba
                                                          << "sha-256=!"_ba << u"consistent"_s;
}

void TestPlaitAssurance::theServersOwnDigestVerifiesTheFile()
{
    QFETCH(QByteArray, name);
    QFETCH(QByteArray, value);
    QFETCH(QString, sure);
    ScriptedServer server;
    server.setResponse("/file.bin", fileWith({kStrong, {name, value}}));
    QCOMPARE(run({server.url(kPath).toString()}), sure);
}

void TestPlaitAssurance::anotherDigestOfTheServersIsAnError()
{
    ScriptedServer server;
    const QByteArray other = digestOf(kSize - 1);
    server.setResponse("/file.bin", fileWith({kStrong, {"Repr-Digest", "sha-256=:" + other + ":"}}));
    const PlaitResult result = m_plait->run({server.url(kPath).toString(), u"--json"_s});
    QVERIFY2(result.status == kChecksumMismatch, wordsOf(result));
    QVERIFY2(result.err.contains("the server's own digest says " + QByteArray::fromBase64(other).toHex()), result.err);
    QCOMPARE(sureness(lastObjectIn(result.out)), QString());
    QCOMPARE(TestFiles::sha256OfFile(m_plait->path(kName)), TestFiles::sha256OfContent(kSeed, kSize));

    const PlaitResult listed = m_plait->runBare({u"list"_s});
    QVERIFY2(listed.out.contains("  wrong  "), listed.out);
    const PlaitResult shown = m_plait->runBare({u"show"_s, u"1"_s});
    QVERIFY2(shown.out.contains(QByteArray::fromBase64(other).toHex() + ", different\n"), shown.out);
    QVERIFY2(!shown.out.contains("\nassurance "), shown.out);
}

void TestPlaitAssurance::whatWasFinishedEarlyIsNotComparedWithTheServersDigest()
{
    ScriptedServer server;
    const QByteArray digest = "sha-256=" + digestOf(kSize);
    QVERIFY(!leftInTheMiddle(server, fileWith({kStrong, {"Digest", digest}})).isEmpty());
    const PlaitResult result = m_plait->runBare({u"finish"_s, u"--json"_s, u"1"_s});
    QVERIFY2(result.status == kDone, wordsOf(result));
    QCOMPARE(sureness(lastObjectIn(result.out)), u"unproven: "_s + kEarly);
}

void TestPlaitAssurance::theListSaysWhatIsUnproven()
{
    ScriptedServer server;
    server.setResponse("/sure.bin", fileWith({kStrong}));
    server.setResponse("/file.bin", onlyWhole(fileWith({}), ScriptedResponse::Framing::CloseDelimited));
    const PlaitResult sure = m_plait->run({server.url(u"/sure.bin"_s).toString()});
    QVERIFY2(sure.status == kDone && !sure.err.contains("unproven") && !sure.err.contains("consistent"), sure.err);
    const PlaitResult unsure = m_plait->run({server.url(kPath).toString()});
    QVERIFY2(unsure.err.trimmed().endsWith(", unproven: " + kNoLength.toUtf8()), unsure.err);

    const QByteArrayList lines = m_plait->runBare({u"list"_s}).out.trimmed().split('\n');
    QCOMPARE(lines.size(), 2);
    QVERIFY2(lines.at(0).contains("  done  ") && lines.at(0).endsWith("  sure.bin"), lines.at(0));
    QVERIFY2(lines.at(1).contains("  done?  ") && lines.at(1).endsWith("  file.bin"), lines.at(1));
    QCOMPARE(lines.at(1).indexOf("file.bin"),
             lines.at(0).indexOf("sure.bin") + (lines.at(1).size() - lines.at(0).size()));

    const PlaitResult listed = m_plait->runBare({u"list"_s, u"--json"_s, u"-n"_s, u"1"_s});
    QCOMPARE(sureness(lastObjectIn(listed.out)), u"unproven: "_s + kNoLength);
    const PlaitResult shown = m_plait->runBare({u"show"_s, u"2"_s});
    QVERIFY2(shown.out.contains("assurance     unproven\ndoubt         " + kNoLength.toUtf8() + '\n'), shown.out);
    const QJsonObject object = lastObjectIn(m_plait->runBare({u"show"_s, u"--json"_s, u"2"_s}).out);
    QCOMPARE(textIn(object, u"assurance"_s), u"unproven"_s);
    QCOMPARE(textIn(object, u"doubt"_s), kNoLength);
}

void TestPlaitAssurance::aFileOfWhichNobodyKeptAnythingIsJustDone()
{
    ScriptedServer server;
    server.setResponse("/file.bin", fileWith({kStrong}));
    QCOMPARE(run({server.url(kPath).toString()}), u"consistent"_s);
    QVERIFY(forgetEvidence(*m_plait));
    const PlaitResult listed = m_plait->runBare({u"list"_s});
    QVERIFY2(listed.out.contains("  done  "), listed.out);
    QCOMPARE(sureness(lastObjectIn(m_plait->runBare({u"list"_s, u"--json"_s}).out)), QString());
    const PlaitResult shown = m_plait->runBare({u"show"_s, u"1"_s});
    QVERIFY2(shown.out.contains("state         done\n") && !shown.out.contains("\nassurance "), shown.out);
}

void TestPlaitAssurance::whatIdentifiesAnUnfinishedFileIsShown()
{
    ScriptedServer server;
    const ScriptedResponse response = fileWith({kWeak, kDate, {"Digest", "sha-256=" + digestOf(kSize)}});
    server.setResponse("/go", ScriptedResponse::redirect("/file.bin"));
    server.setResponse("/file.bin", heldInTheMiddle(response));
    const QString url = server.url(u"/go"_s).toString();
    QCOMPARE(PartWay::leave(*m_plait, {u"-x"_s, u"1"_s, url}, kName, kSeed), QString());
    const PlaitResult shown = m_plait->runBare({u"show"_s, u"1"_s});
    const QByteArray facts = "address       " + url.toUtf8() + "\ntarget        " + server.url(kPath).toEncoded()
        + "\netag          W/\"weak\"\ndate          2020-01-01T00:00:00Z\ndigest        sha-256=" + digestOf(kSize)
        + "\n";
    QVERIFY2(shown.out.contains(facts), shown.out);
    QVERIFY2(!shown.out.contains("\nassurance "), shown.out);
    const QJsonObject object = lastObjectIn(m_plait->runBare({u"show"_s, u"--json"_s, u"1"_s}).out);
    QCOMPARE(textIn(object, u"target"_s), server.url(kPath).toString());
    const PlaitResult listed = m_plait->runBare({u"list"_s, u"--json"_s});
    QCOMPARE(sureness(lastObjectIn(listed.out)), QString());
}

QTEST_GUILESS_MAIN(TestPlaitAssurance)
#include "tst_plait_assurance.moc"
