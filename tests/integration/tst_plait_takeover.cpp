// SPDX-License-Identifier: MIT
#include <tests/integration/partway.h>
#include <tests/integration/plaitsandbox.h>
#include <tests/support/ftpserver.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/testfiles.h>

#include <QFile>
#include <QProcess>
#include <QTest>

#include <algorithm>
#include <memory>

using namespace Qt::StringLiterals;

namespace
{
constexpr int kDone = 0;
constexpr int kCannotResume = 8;
constexpr int kNoSuchDownload = 1;
constexpr int kOverloaded = 29;
constexpr int kChecksumMismatch = 32;
constexpr quint64 kSeed = 61;
constexpr qint64 kSize = 900000;
constexpr qint64 kHalf = 500000;
const QString kName = u"file.bin"_s;
const QString kGate = u"compared"_s;

QByteArray told(const PlaitResult &result)
{
    return "status " + QByteArray::number(result.status) + ": " + result.out + result.err;
}

QStringList checksumOf(quint64 seed)
{
    return {u"--checksum"_s, u"sha-256="_s + QString::fromLatin1(TestFiles::sha256OfContent(seed, kSize))};
}
}

/// "-c" on a file that another program left under its final name: nobody here knows how it came about.
class TestPlaitTakeOver : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void whatWasBegunElsewhereIsGoneOnWith_data();
    void whatWasBegunElsewhereIsGoneOnWith();
    void aDryRunSaysThatItWouldBeGoneOnWith();
    void itIsGoneOnWithOverFtp();
    void whatWasTakenOverMayBeStoppedAndGoneOnWith();
    void whatIsAskedForTwiceAtOnceIsTakenOverOnce();
    void whatAnotherProcessFinishesMeanwhileIsLeftToIt();
    void whatIsWrittenToWhileItIsComparedIsLeftAlone();
    void whatIsCompleteIsNotFetchedAgain();
    void whatIsNotTheServersIsLeftAlone_data();
    void whatIsNotTheServersIsLeftAlone();
    void whatMayPassIsWaitedForAndComparedThen();
    void whatDoesNotPassIsToldAndNothingIsTouched();
    void aServerThatHasChangedSinceIsNotGoneOnWith();
    void aServerWithoutRangesIsNotGoneOnWith_data();
    void aServerWithoutRangesIsNotGoneOnWith();
    void aChecksumProvesWhatIsComplete();
    void whatIsNotTakenOverMayBeReplaced();
    void withoutTheOptionAFileGetsANumber();
    void whatIsEmptyIsFilled_data();
    void whatIsEmptyIsFilled();

private:
    QString url() const { return m_server->url(u"/file.bin"_s).toString(); }
    QByteArray write(qint64 size, qint64 spoiltAt = -1) const;
    void holdWhatIsComparedFor(const QByteArray &agent);
    bool isWhole(const QString &name = kName) const
    {
        return TestFiles::sha256OfFile(m_plait->path(name)) == TestFiles::sha256OfContent(kSeed, kSize);
    }

    std::unique_ptr<ScriptedServer> m_server;
    std::unique_ptr<PlaitSandbox> m_plait;
};

void TestPlaitTakeOver::init()
{
    m_server = std::make_unique<ScriptedServer>();
    m_server->setResponse("/file.bin", ScriptedResponse::file(kSeed, kSize));
    m_plait = std::make_unique<PlaitSandbox>();
}

/// At the gate.
void TestPlaitTakeOver::holdWhatIsComparedFor(const QByteArray &agent)
{
    m_server->setHandler("/file.bin", [agent](const ScriptedRequest &request) {
        ScriptedResponse response = ScriptedResponse::file(kSeed, kSize);
        if (request.header("User-Agent") == agent)
            response.headGate = kGate;
        return response;
    });
}

/// What another program leaves: the first bytes, one of them another, perhaps. @return what was written
QByteArray TestPlaitTakeOver::write(qint64 size, qint64 spoiltAt) const
{
    QByteArray bytes = TestFiles::content(kSeed, 0, size);
    if (spoiltAt >= 0)
        bytes[spoiltAt] = char(~bytes.at(spoiltAt));
    QFile file(m_plait->path(kName));
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == size ? bytes : QByteArray();
}

void TestPlaitTakeOver::whatWasBegunElsewhereIsGoneOnWith_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<qint64>("size");
    QTest::newRow("under the address's name") << u"-c URL"_s << kHalf;
    QTest::newRow("under a name that is given") << u"-c URL -o file.bin"_s << kHalf;
    QTest::newRow("as fingers know it from elsewhere") << u"-C - -O URL"_s << kHalf;
    QTest::newRow("in the long form") << u"--continue URL"_s << kHalf;
    QTest::newRow("one byte") << u"-c URL"_s << qint64(1);
    QTest::newRow("all but one byte") << u"-c URL"_s << kSize - 1;
}

void TestPlaitTakeOver::whatWasBegunElsewhereIsGoneOnWith()
{
    QFETCH(QString, line);
    QFETCH(qint64, size);
    QVERIFY(!write(size).isEmpty());
    const PlaitResult result = m_plait->runBare(line.replace("URL"_L1, url()).split(u' '));
    QVERIFY2(result.status == kDone, told(result));
    QVERIFY2(result.err.contains("\"file.bin\" was begun already: " + QByteArray::number(size)), told(result));
    QVERIFY2(isWhole(), told(result));
    QCOMPARE(m_plait->files(), QStringList(kName));
    const QList<ScriptedRequest> requests = m_server->requests();
    const bool isAskedForRest = std::any_of(requests.cbegin(), requests.cend(), [size](const ScriptedRequest &request) {
        return PartWay::startOf(request) == size;
    });
    QVERIFY(isAskedForRest);
    const bool isAskedForAll = std::any_of(requests.cbegin(), requests.cend(), [](const ScriptedRequest &request) {
        return request.header("Range").isEmpty();
    });
    QVERIFY(!isAskedForAll);
}

void TestPlaitTakeOver::aDryRunSaysThatItWouldBeGoneOnWith()
{
    QVERIFY(!write(kHalf).isEmpty());
    const PlaitResult result = m_plait->run({u"--dry-run"_s, u"-c"_s, url()});
    QVERIFY2(result.status == kDone && result.out.startsWith("would go on with \"" + m_plait->path(kName).toUtf8()),
             told(result));
    QVERIFY2(result.out.contains("488.3 KiB of 878.9 KiB are there"), told(result));
    QVERIFY(!write(kSize + 1).isEmpty());
    const PlaitResult longer = m_plait->run({u"--dry-run"_s, u"-c"_s, url()});
    QVERIFY2(longer.out.startsWith("would not fetch \""), told(longer));
}

void TestPlaitTakeOver::itIsGoneOnWithOverFtp()
{
    FtpServer ftp;
    QVERIFY2(ftp.isListening(), qPrintable(ftp.errorText()));
    QVERIFY(ftp.addFile(kName, kSeed, kSize) && !write(kHalf).isEmpty());
    const PlaitResult result = m_plait->runBare({u"-c"_s, ftp.url(u"/file.bin"_s).toString()});
    QVERIFY2(result.status == kDone && isWhole(), told(result));
    QCOMPARE(m_plait->files(), QStringList(kName));
    QVERIFY(ftp.commands("REST").contains("REST " + QByteArray::number(kHalf)));
}

void TestPlaitTakeOver::whatWasTakenOverMayBeStoppedAndGoneOnWith()
{
    QVERIFY(!write(kHalf).isEmpty());
    m_server->setHandler("/file.bin", [](const ScriptedRequest &request) {
        return PartWay::startOf(request) >= kHalf ? PartWay::held(kSeed, kSize, kHalf / 4)
                                                  : ScriptedResponse::file(kSeed, kSize);
    });
    const QString wrong = PartWay::leave(*m_plait, {u"-c"_s, url()}, kName, kSeed);
    QVERIFY2(wrong.isEmpty(), qPrintable(wrong));
    QCOMPARE(m_plait->files(), QStringList(kName + u".part"_s));
    m_server->setResponse("/file.bin", ScriptedResponse::file(kSeed, kSize));
    const qsizetype before = m_server->requests().size();
    const PlaitResult result = m_plait->run({u"-c"_s, url()});
    QVERIFY2(result.status == kDone && isWhole(), told(result));
    QCOMPARE(m_plait->files(), QStringList(kName));
    const QList<ScriptedRequest> requests = m_server->requests().mid(before);
    QVERIFY(std::all_of(requests.cbegin(), requests.cend(),
                        [](const ScriptedRequest &request) { return PartWay::startOf(request) >= kHalf; }));
}

void TestPlaitTakeOver::whatIsAskedForTwiceAtOnceIsTakenOverOnce()
{
    QVERIFY(!write(kHalf).isEmpty());
    const PlaitResult result = m_plait->runBare({u"-c"_s, url(), url()});
    QVERIFY2(result.status == kDone && isWhole(), told(result));
    QVERIFY2(result.err.count("was begun already") == 1, told(result));
    QCOMPARE(m_plait->files(), QStringList(kName));
    QCOMPARE(m_plait->runBare({u"show"_s, u"2"_s}).status, kNoSuchDownload);
}

void TestPlaitTakeOver::whatAnotherProcessFinishesMeanwhileIsLeftToIt()
{
    QVERIFY(!write(kHalf).isEmpty());
    holdWhatIsComparedFor("slow");
    QProcess slow;
    slow.setProcessEnvironment(m_plait->environment());
    slow.setWorkingDirectory(m_plait->downloads());
    slow.setProcessChannelMode(QProcess::MergedChannels);
    slow.start(PlaitSandbox::program(), {u"-c"_s, url(), u"--user-agent"_s, u"slow"_s});
    QVERIFY2(m_server->waitForHeld(kGate), slow.readAll());
    const PlaitResult quick = m_plait->runBare({u"-c"_s, url()});
    QVERIFY2(quick.status == kDone && isWhole(), told(quick));
    m_server->release(kGate);
    QTRY_COMPARE_WITH_TIMEOUT(slow.state(), QProcess::NotRunning, PlaitSandbox::kPatienceMs);
    const QByteArray words = slow.readAll();
    QVERIFY2(slow.exitCode() == kDone && words.startsWith("Skipped") && isWhole(), words);
    const QList<ScriptedRequest> requests = m_server->requests();
    const bool isFetchedBySlow = std::any_of(requests.cbegin(), requests.cend(), [](const ScriptedRequest &request) {
        return request.header("User-Agent") == "slow" && PartWay::startOf(request) >= kHalf;
    });
    QVERIFY2(!isFetchedBySlow, words);
    QCOMPARE(m_plait->runBare({u"show"_s, u"2"_s}).status, kNoSuchDownload);
}

void TestPlaitTakeOver::whatIsWrittenToWhileItIsComparedIsLeftAlone()
{
    QVERIFY(!write(kHalf).isEmpty());
    holdWhatIsComparedFor("slow");
    m_plait->startBare({u"-c"_s, url(), u"--user-agent"_s, u"slow"_s});
    QVERIFY2(m_server->waitForHeld(kGate), m_plait->errorText());
    const QByteArray bytes = write(kHalf + 1);
    m_server->release(kGate);
    const PlaitResult result = m_plait->finish();
    QVERIFY2(result.status == kCannotResume && result.err.contains("it was changed while"), told(result));
    QCOMPARE(TestFiles::readFile(m_plait->path(kName)), bytes);
    QCOMPARE(m_plait->files(), QStringList(kName));
}

void TestPlaitTakeOver::whatIsCompleteIsNotFetchedAgain()
{
    const QByteArray bytes = write(kSize);
    const PlaitResult result = m_plait->runBare({u"-c"_s, url()});
    QVERIFY2(result.status == kDone, told(result));
    QVERIFY2(result.err.contains("\"file.bin\" is complete already"), told(result));
    QCOMPARE(TestFiles::readFile(m_plait->path(kName)), bytes);
    QCOMPARE(m_plait->files(), QStringList(kName));
    qint64 sent = 0;
    for (int i = 0; i < m_server->requests().size(); ++i)
        sent += m_server->bodyBytesSent(i);
    QVERIFY2(sent < kSize / 2, QByteArray::number(sent));
    const PlaitResult list = m_plait->runBare({u"list"_s});
    QVERIFY2(list.out.contains("  done?  "), told(list));
}

void TestPlaitTakeOver::whatIsNotTheServersIsLeftAlone_data()
{
    QTest::addColumn<qint64>("size");
    QTest::addColumn<qint64>("spoiltAt");
    QTest::addColumn<QString>("beside");
    QTest::addColumn<QByteArray>("words");
    QTest::newRow("longer") << kSize + 1 << qint64(-1) << QString()
                            << QByteArray("it has 900001 bytes, and the server's");
    QTest::newRow("other at its beginning") << kHalf << qint64(0) << QString() << QByteArray("other bytes");
    QTest::newRow("other at its end") << kHalf << kHalf - 1 << QString() << QByteArray("other bytes");
    QTest::newRow("as long, and other at its end") << kSize << kSize - 1 << QString() << QByteArray("other bytes");
    QTest::newRow("other between") << kHalf << kHalf / 3 << QString() << QByteArray("other bytes");
    QTest::newRow("another program is at it")
        << kSize << qint64(-1) << u"file.bin.aria2"_s << QByteArray("has not finished it");
    QTest::newRow("our own beginning is beside it")
        << kHalf << qint64(-1) << u"file.bin.part"_s << QByteArray("stands beside it");
}

void TestPlaitTakeOver::whatIsNotTheServersIsLeftAlone()
{
    QFETCH(qint64, size);
    QFETCH(qint64, spoiltAt);
    QFETCH(QString, beside);
    QFETCH(QByteArray, words);
    const QByteArray bytes = write(size, spoiltAt);
    QVERIFY(beside.isEmpty() || TestFiles::writeFile(m_plait->path(beside), 1, 1));
    const QStringList before = m_plait->files();
    const PlaitResult result = m_plait->runBare({u"-c"_s, url()});
    QVERIFY2(result.status == kCannotResume, told(result));
    QVERIFY2(result.err.contains(words) && result.err.contains("stays as it is"), told(result));
    QCOMPARE(TestFiles::readFile(m_plait->path(kName)), bytes);
    QCOMPARE(m_plait->files(), before);
}

/// Each question as often as a download tries.
void TestPlaitTakeOver::whatMayPassIsWaitedForAndComparedThen()
{
    QVERIFY(!write(kHalf).isEmpty());
    m_server->setHandler("/file.bin", [count = std::make_shared<int>(0)](const ScriptedRequest &) {
        const int number = ++*count;
        if (number == 1)
            return ScriptedResponse::error(503);
        return number == 3 ? ScriptedResponse::noAnswer() : ScriptedResponse::file(kSeed, kSize);
    });
    const PlaitResult result = m_plait->runBare({u"-c"_s, u"--tries"_s, u"2"_s, u"--retry-wait"_s, u"0"_s, url()});
    QVERIFY2(result.status == kDone && isWhole(), told(result));
    QVERIFY2(result.err.contains(url().toUtf8() + ": HTTP status 503; trying again\n"), told(result));
    QVERIFY2(result.err.contains("\"file.bin\" was begun already"), told(result));
    QCOMPARE(m_plait->files(), QStringList(kName));
}

void TestPlaitTakeOver::whatDoesNotPassIsToldAndNothingIsTouched()
{
    const QByteArray bytes = write(kHalf);
    m_server->setResponse("/file.bin", ScriptedResponse::error(503));
    const PlaitResult result = m_plait->runBare({u"-c"_s, u"--tries"_s, u"3"_s, u"--retry-wait"_s, u"0"_s, url()});
    QVERIFY2(result.status == kOverloaded && result.err.contains("again"), told(result));
    QCOMPARE(m_server->requests().size(), 3);
    QCOMPARE(TestFiles::readFile(m_plait->path(kName)), bytes);
    QCOMPARE(m_plait->files(), QStringList(kName));
    m_server->setResponse("/file.bin", ScriptedResponse::file(kSeed, kSize));
    const PlaitResult again = m_plait->runBare({u"-c"_s, url()});
    QVERIFY2(again.status == kDone && isWhole(), told(again));
}

void TestPlaitTakeOver::aServerThatHasChangedSinceIsNotGoneOnWith()
{
    const QByteArray bytes = write(kSize);
    QFile file(m_plait->path(kName));
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.setFileTime(QDateTime::fromSecsSinceEpoch(1000), QFileDevice::FileModificationTime));
    file.close();
    const PlaitResult result = m_plait->runBare({u"-c"_s, url()});
    QVERIFY2(result.status == kCannotResume && result.err.contains("the server's file changed at"), told(result));
    QCOMPARE(TestFiles::readFile(m_plait->path(kName)), bytes);
}

void TestPlaitTakeOver::aServerWithoutRangesIsNotGoneOnWith_data()
{
    QTest::addColumn<qint64>("size");
    QTest::addColumn<QByteArray>("words");
    QTest::newRow("a beginning") << kHalf << QByteArray("does not send the rest of a file alone");
    QTest::newRow("as much as there is") << kSize << QByteArray("sends no parts");
}

void TestPlaitTakeOver::aServerWithoutRangesIsNotGoneOnWith()
{
    QFETCH(qint64, size);
    QFETCH(QByteArray, words);
    m_server->setResponse("/file.bin", ScriptedResponse::ok(TestFiles::content(kSeed, 0, kSize)));
    const QByteArray bytes = write(size);
    const PlaitResult result = m_plait->runBare({u"-c"_s, url()});
    QVERIFY2(result.status == kCannotResume && result.err.contains(words), told(result));
    QCOMPARE(TestFiles::readFile(m_plait->path(kName)), bytes);
}

void TestPlaitTakeOver::aChecksumProvesWhatIsComplete()
{
    m_server->setResponse("/file.bin", ScriptedResponse::ok(TestFiles::content(kSeed, 0, kSize)));
    const QByteArray bytes = write(kSize);
    const PlaitResult right = m_plait->runBare(checksumOf(kSeed) + QStringList{u"-c"_s, url()});
    QVERIFY2(right.status == kDone && right.err.contains("checksum verified"), told(right));
    const PlaitResult wrong = m_plait->runBare(checksumOf(kSeed + 1) + QStringList{u"-c"_s, url()});
    QVERIFY2(wrong.status == kChecksumMismatch, told(wrong));
    QCOMPARE(TestFiles::readFile(m_plait->path(kName)), bytes);
}

void TestPlaitTakeOver::whatIsNotTakenOverMayBeReplaced()
{
    QVERIFY(!write(kHalf, 0).isEmpty());
    const PlaitResult result = m_plait->runBare({u"-c"_s, url(), u"--on-exists"_s, u"overwrite"_s});
    QVERIFY2(result.status == kDone && result.err.contains("other bytes"), told(result));
    QVERIFY(isWhole());
    QCOMPARE(m_plait->files(), QStringList(kName));
}

void TestPlaitTakeOver::withoutTheOptionAFileGetsANumber()
{
    const QByteArray bytes = write(kHalf);
    const PlaitResult result = m_plait->runBare({url()});
    QVERIFY2(result.status == kDone && isWhole(u"file (1).bin"_s), told(result));
    QCOMPARE(TestFiles::readFile(m_plait->path(kName)), bytes);
}

void TestPlaitTakeOver::whatIsEmptyIsFilled_data()
{
    QTest::addColumn<QStringList>("words");
    QTest::newRow("under the address's name") << QStringList{u"-c"_s};
    QTest::newRow("under a name that is given") << QStringList{u"-c"_s, u"-o"_s, kName};
    QTest::newRow("with its checksum") << QStringList{u"-c"_s} + checksumOf(kSeed);
    QTest::newRow("where others are left alone") << QStringList{u"-c"_s, u"--on-exists"_s, u"skip"_s};
}

/// By a server that sends no parts, too: there is nothing to go on with.
void TestPlaitTakeOver::whatIsEmptyIsFilled()
{
    QFETCH(QStringList, words);
    QVERIFY(write(1).size() == 1 && QFile::resize(m_plait->path(kName), 0));
    m_server->setResponse("/file.bin", ScriptedResponse::ok(TestFiles::content(kSeed, 0, kSize)));
    const PlaitResult result = m_plait->runBare(words + QStringList{url()});
    QVERIFY2(result.status == kDone && isWhole(), told(result));
    QCOMPARE(m_plait->files(), QStringList(kName));
}

QTEST_GUILESS_MAIN(TestPlaitTakeOver)
#include "tst_plait_takeover.moc"
