// SPDX-License-Identifier: MIT
#include <tests/integration/plaitsandbox.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/testfiles.h>

#include <QFile>
#include <QTest>

#include <csignal>
#include <memory>

using namespace Qt::StringLiterals;

namespace
{

constexpr quint64 kSeed = 21;
constexpr qint64 kSize = 250000;
constexpr int kNotFound = 3;
constexpr int kUnfinished = 7;
constexpr int kChanged = 33;

const QString kName = u"file.bin"_s;

/// The file, which stops in its middle.
ScriptedResponse stuck()
{
    ScriptedResponse response = ScriptedResponse::file(kSeed, kSize);
    response.bytesPerSecond = 60000;
    response.holdAfter = 150000;
    return response;
}

}

/// Addresses change while downloads wait: another one for the same file is as good, one of another file is not.
class TestPlaitAddresses : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void aFreshAddressGoesOnWithAnOldDownload();
    void anAddressOfAnotherFileIsRefused();
    void anAddressThatDoesNotAnswerIsRefused();
    void whoInsistsGetsItAndLosesNothing();
    void aFinishedDownloadTakesNoAddress();
    void aDownloadThatIsNotThereIsSaid();
    void whatIsThereAlreadyIsNamedUnlessItIsGone();
    void whatStandsBehindANumberSignMakesNoOtherDownload();

private:
    /// Download 1, stopped in its middle.
    void stopInTheMiddle(PlaitSandbox &plait);
    PlaitResult setUrl(PlaitSandbox &plait, const QString &path, const QStringList &options = {});

    std::unique_ptr<ScriptedServer> m_server;
};

void TestPlaitAddresses::init()
{
    m_server = std::make_unique<ScriptedServer>();
    m_server->setResponse("/old/file.bin", stuck());
    m_server->setResponse("/fresh/file.bin", ScriptedResponse::file(kSeed, kSize));
    m_server->setResponse("/other/file.bin", ScriptedResponse::file(kSeed + 1, kSize + 1));
}

void TestPlaitAddresses::stopInTheMiddle(PlaitSandbox &plait)
{
    plait.start({m_server->url(u"/old/file.bin"_s).toString()});
    const QByteArray beginning = TestFiles::content(kSeed, 0, 64);
    QTRY_VERIFY_WITH_TIMEOUT(plait.partBeginsWith(kName, beginning), PlaitSandbox::kPatienceMs);
    plait.sendSignal(SIGTERM);
    QCOMPARE(plait.finish().status, kUnfinished);
}

PlaitResult TestPlaitAddresses::setUrl(PlaitSandbox &plait, const QString &path, const QStringList &options)
{
    return plait.runBare(QStringList{u"set-url"_s, u"1"_s, m_server->url(path).toString()} + options);
}

void TestPlaitAddresses::aFreshAddressGoesOnWithAnOldDownload()
{
    PlaitSandbox plait;
    stopInTheMiddle(plait);
    const PlaitResult merged = setUrl(plait, u"/fresh/file.bin"_s);
    QVERIFY2(merged.status == 0, merged.err);
    const qsizetype before = m_server->requests().size();
    const PlaitResult result = plait.runBare({u"resume"_s, u"1"_s});
    QVERIFY2(result.status == 0, result.err);
    QCOMPARE(plait.files(), QStringList(kName));
    QCOMPARE(TestFiles::sha256OfFile(plait.path(kName)), TestFiles::sha256OfContent(kSeed, kSize));
    const QList<ScriptedRequest> requests = m_server->requests().mid(before);
    QVERIFY(!requests.isEmpty());
    for (const ScriptedRequest &request : requests) {
        QCOMPARE(request.target, "/fresh/file.bin");
        QVERIFY(!request.header("Range").isEmpty() && request.header("Range") != "bytes=0-");
    }
}

void TestPlaitAddresses::anAddressOfAnotherFileIsRefused()
{
    PlaitSandbox plait;
    stopInTheMiddle(plait);
    const PlaitResult result = setUrl(plait, u"/other/file.bin"_s);
    QCOMPARE(result.status, kChanged);
    QVERIFY2(result.err.contains("250001") && result.err.contains("--force"), result.err);
    QVERIFY(plait.runBare({u"show"_s, u"1"_s}).out.contains("/old/file.bin"));
}

void TestPlaitAddresses::anAddressThatDoesNotAnswerIsRefused()
{
    PlaitSandbox plait;
    stopInTheMiddle(plait);
    const PlaitResult result = setUrl(plait, u"/missing"_s);
    QVERIFY2(result.status == kNotFound, result.err);
    QVERIFY(plait.runBare({u"show"_s, u"1"_s}).out.contains("/old/file.bin"));
}

void TestPlaitAddresses::whoInsistsGetsItAndLosesNothing()
{
    PlaitSandbox plait;
    stopInTheMiddle(plait);
    QCOMPARE(setUrl(plait, u"/other/file.bin"_s, {u"--force"_s}).status, 0);
    const QByteArray before = TestFiles::readFile(plait.path(kName + u".part"_s));
    const PlaitResult result = plait.runBare({u"resume"_s, u"1"_s, u"--on-changed"_s, u"fail"_s});
    QVERIFY2(result.status == kChanged, result.err);
    QVERIFY2(result.err.contains("plait restart 1"), result.err);
    QCOMPARE(plait.files(), QStringList(kName + u".part"_s));
    QCOMPARE(TestFiles::readFile(plait.path(kName + u".part"_s)), before);
    const PlaitResult restarted = plait.runBare({u"restart"_s, u"1"_s});
    QVERIFY2(restarted.status == 0, restarted.err);
    QCOMPARE(TestFiles::sha256OfFile(plait.path(kName)), TestFiles::sha256OfContent(kSeed + 1, kSize + 1));
}

void TestPlaitAddresses::aFinishedDownloadTakesNoAddress()
{
    PlaitSandbox plait;
    QCOMPARE(plait.run({m_server->url(u"/fresh/file.bin"_s).toString()}).status, 0);
    const PlaitResult result = setUrl(plait, u"/fresh/file.bin"_s);
    QVERIFY(result.status != 0);
    QVERIFY2(result.err.contains("finished already"), result.err);
}

void TestPlaitAddresses::aDownloadThatIsNotThereIsSaid()
{
    PlaitSandbox plait;
    const PlaitResult result = setUrl(plait, u"/fresh/file.bin"_s);
    QVERIFY(result.status != 0);
    QVERIFY2(result.err.contains("no such download") || result.err.contains("no download 1"), result.err);
}

void TestPlaitAddresses::whatIsThereAlreadyIsNamedUnlessItIsGone()
{
    PlaitSandbox plait;
    const QString url = m_server->url(u"/fresh/file.bin"_s).toString();
    const PlaitResult first = plait.run({url});
    QCOMPARE(first.status, 0);
    QVERIFY2(!first.err.contains("already"), first.err);
    const PlaitResult second = plait.runBare({url, u"-d"_s, plait.downloads() + u"/elsewhere"_s});
    QVERIFY2(second.status == 0, second.err);
    const QString words = u"plait: \"%1\" is there already, from download 1\n"_s;
    QVERIFY2(second.err.contains(words.arg(plait.path(u"file.bin"_s)).toUtf8()), second.err);

    QVERIFY(QFile::remove(plait.path(u"file.bin"_s)) && QFile::remove(plait.path(u"elsewhere/file.bin"_s)));
    const PlaitResult third = plait.run({url});
    QCOMPARE(third.status, 0);
    QVERIFY2(!third.err.contains("already"), third.err);
}

void TestPlaitAddresses::whatStandsBehindANumberSignMakesNoOtherDownload()
{
    PlaitSandbox plait;
    const QString url = m_server->url(u"/fresh/file.bin"_s).toString();
    const PlaitResult first = plait.run({url + u"#one"_s});
    QVERIFY2(first.status == 0, first.err);
    for (const QString &again : {url, url + u"#two"_s, url + u'#'}) {
        const PlaitResult result = plait.run({again});
        QVERIFY2(result.status == 0 && result.err.contains("Skipped"), result.err);
    }
    QCOMPARE(plait.files(), QStringList(kName));
    const PlaitResult listed = plait.runBare({u"list"_s, u"--json"_s});
    QVERIFY2(listed.out.count("/fresh/file.bin") == 1 && !listed.out.contains('#'), listed.out);
}

QTEST_GUILESS_MAIN(TestPlaitAddresses)
#include "tst_plait_addresses.moc"
