// SPDX-License-Identifier: MIT
#include <tests/integration/partway.h>
#include <tests/integration/plaitsandbox.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/testfiles.h>

#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kResourceChanged = 33;
constexpr quint64 kSeed = 12;
constexpr qint64 kSize = 300000;
constexpr qint64 kHeldAt = 150000;

const QString kName = QStringLiteral("file.bin");

/// The file as it lies on a server that says of it that it is encoded; empty = it says nothing.
ScriptedResponse encodedFile(const QByteArray &encoding)
{
    ScriptedResponse response = ScriptedResponse::file(kSeed, kSize);
    // Without them nothing but the encoding tells one from the other.
    response.headers.clear();
    response.leaveOut = {"ETag", "Last-Modified"};
    if (!encoding.isEmpty())
        response.withHeader("Content-Encoding", encoding);
    return response;
}

ScriptedResponse heldInTheMiddle(ScriptedResponse response)
{
    response.bytesPerSecond = 600000;
    response.holdAfter = kHeldAt;
    return response;
}

/// No length is said: only the first answer knows no better.
ScriptedResponse ofUnknownLength(ScriptedResponse response)
{
    response.framing = ScriptedResponse::Framing::Chunked;
    response.honoursRanges = false;
    return response;
}

QJsonObject summaryIn(const QByteArray &out)
{
    const QList<QByteArray> lines = out.trimmed().split('\n');
    return QJsonDocument::fromJson(lines.constLast()).object();
}

QByteArray wordsOf(const PlaitResult &result)
{
    return "status " + QByteArray::number(result.status) + ": " + result.err;
}

}

/// What a server sends encoded without having been asked to is saved as it came, said, and never mixed with what is
/// not.
class TestPlaitEncoding : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whatNobodyAskedForIsSaidWhenItIsSaved_data();
    void whatNobodyAskedForIsSaidWhenItIsSaved();
    void whatWasAskedForIsSavedWithoutAWord();
    void theListKeepsHowTheFileCame();
    void aPartGoesOnOnlyWithTheSameEncoding_data();
    void aPartGoesOnOnlyWithTheSameEncoding();
    void aRestartTakesTheNewEncoding();
    void tryingAgainMixesNothingEither();
    void anErrorPageMayBeEncodedAsItLikes();

private:
    static void verifySaved(PlaitSandbox &plait);
};

void TestPlaitEncoding::verifySaved(PlaitSandbox &plait)
{
    QCOMPARE(plait.files(), QStringList(kName));
    QCOMPARE(TestFiles::sha256OfFile(plait.path(kName)), TestFiles::sha256OfContent(kSeed, kSize));
}

void TestPlaitEncoding::whatNobodyAskedForIsSaidWhenItIsSaved_data()
{
    QTest::addColumn<QByteArray>("encoding");
    QTest::addColumn<QByteArray>("said");
    QTest::addColumn<QString>("inJson");
    QTest::newRow("gzip") << QByteArray("gzip") << QByteArray("sent it compressed (gzip)") << u"gzip"_s;
    QTest::newRow("its old name in capitals")
        << QByteArray("X-GZIP") << QByteArray("sent it compressed (gzip)") << u"gzip"_s;
    QTest::newRow("two, one over the other")
        << QByteArray("br, gzip") << QByteArray("sent it compressed (br, gzip)") << u"br, gzip"_s;
    QTest::newRow("one that is no compression")
        << QByteArray("aes128gcm") << QByteArray("sent it encoded (aes128gcm)") << u"aes128gcm"_s;
    QTest::newRow("none, by that name") << QByteArray("identity") << QByteArray() << QString();
    QTest::newRow("none") << QByteArray() << QByteArray() << QString();
}

void TestPlaitEncoding::whatNobodyAskedForIsSaidWhenItIsSaved()
{
    QFETCH(QByteArray, encoding);
    QFETCH(QByteArray, said);
    QFETCH(QString, inJson);
    ScriptedServer server;
    server.setResponse("/file.bin", encodedFile(encoding));
    PlaitSandbox plait;
    PlaitResult result = plait.run({server.url(u"/file.bin"_s).toString()});
    QVERIFY2(result.status == 0, wordsOf(result));
    verifySaved(plait);
    QVERIFY2(result.err.contains(said.isEmpty() ? QByteArray("Saved") : said), result.err);
    QVERIFY2(result.err.contains("as sent") == !said.isEmpty(), result.err);

    result = plait.run({u"--json"_s, u"--on-exists"_s, u"overwrite"_s, server.url(u"/file.bin"_s).toString()});
    QVERIFY2(result.status == 0, wordsOf(result));
    QVERIFY2(summaryIn(result.out).contains(u"content_encoding"_s), result.out);
    QCOMPARE(summaryIn(result.out).value(u"content_encoding"_s).toString(), inJson);
}

void TestPlaitEncoding::whatWasAskedForIsSavedWithoutAWord()
{
    ScriptedServer server;
    server.setResponse("/file.bin", encodedFile("gzip"));
    PlaitSandbox plait;
    const PlaitResult result =
        plait.run({u"--header"_s, u"accept-encoding: gzip"_s, server.url(u"/file.bin"_s).toString()});
    QVERIFY2(result.status == 0, wordsOf(result));
    verifySaved(plait);
    QCOMPARE(server.requests().constLast().header("Accept-Encoding"), QByteArray("gzip"));
    QVERIFY2(result.err.contains("Saved") && !result.err.contains("gzip"), result.err);
}

void TestPlaitEncoding::theListKeepsHowTheFileCame()
{
    ScriptedServer server;
    server.setResponse("/file.bin", encodedFile("gzip"));
    PlaitSandbox plait;
    QCOMPARE(plait.run({server.url(u"/file.bin"_s).toString()}).status, 0);
    const PlaitResult shown = plait.runBare({u"show"_s, u"1"_s});
    QVERIFY2(shown.out.contains("encoding      gzip\n"), shown.out);
}

void TestPlaitEncoding::aPartGoesOnOnlyWithTheSameEncoding_data()
{
    QTest::addColumn<ScriptedResponse>("before");
    QTest::addColumn<ScriptedResponse>("after");
    QTest::addColumn<bool>("goesOn");
    const ScriptedResponse plain = encodedFile({});
    const ScriptedResponse gzip = encodedFile("gzip");
    QTest::newRow("plain, then plain") << plain << plain << true;
    QTest::newRow("gzip, then gzip") << gzip << gzip << true;
    QTest::newRow("gzip, then gzip by its old name") << gzip << encodedFile("x-gzip") << true;
    QTest::newRow("plain, then gzip") << plain << gzip << false;
    QTest::newRow("plain of unknown length, then gzip") << ofUnknownLength(plain) << gzip << false;
    QTest::newRow("gzip, then plain") << gzip << plain << false;
    QTest::newRow("gzip of unknown length, then plain") << ofUnknownLength(gzip) << plain << false;
    QTest::newRow("gzip, then another") << gzip << encodedFile("br") << false;
}

void TestPlaitEncoding::aPartGoesOnOnlyWithTheSameEncoding()
{
    QFETCH(ScriptedResponse, before);
    QFETCH(ScriptedResponse, after);
    QFETCH(bool, goesOn);
    ScriptedServer server;
    server.setResponse("/file.bin", heldInTheMiddle(before));
    PlaitSandbox plait;
    const QString url = server.url(u"/file.bin"_s).toString();
    const QString trouble = PartWay::leave(plait, {url}, kName, kSeed);
    QVERIFY2(trouble.isEmpty(), qPrintable(trouble));
    const QByteArray kept = TestFiles::readFile(plait.path(kName + u".part"_s));

    server.setResponse("/file.bin", after);
    const PlaitResult result = plait.run({url});
    QVERIFY(PartWay::startOf(server.requests().constLast()) > 0);
    if (goesOn) {
        QVERIFY2(result.status == 0, wordsOf(result));
        verifySaved(plait);
        return;
    }
    QVERIFY2(result.status == kResourceChanged, wordsOf(result));
    QVERIFY2(result.err.contains("no longer has the same file"), result.err);
    QCOMPARE(plait.files(), QStringList(kName + u".part"_s));
    QCOMPARE(TestFiles::readFile(plait.path(kName + u".part"_s)), kept);
}

void TestPlaitEncoding::aRestartTakesTheNewEncoding()
{
    ScriptedServer server;
    server.setResponse("/file.bin", heldInTheMiddle(encodedFile("gzip")));
    PlaitSandbox plait;
    const QString url = server.url(u"/file.bin"_s).toString();
    const QString trouble = PartWay::leave(plait, {url}, kName, kSeed);
    QVERIFY2(trouble.isEmpty(), qPrintable(trouble));

    server.setResponse("/file.bin", encodedFile("br"));
    PlaitResult result = plait.run({u"--on-changed"_s, u"restart"_s, url});
    QVERIFY2(result.status == 0, wordsOf(result));
    verifySaved(plait);
    QVERIFY2(result.err.contains("compressed (br)"), result.err);
    result = plait.runBare({u"show"_s, u"1"_s});
    QVERIFY2(result.out.contains("encoding      br\n"), result.out);
}

void TestPlaitEncoding::tryingAgainMixesNothingEither()
{
    ScriptedServer server;
    ScriptedResponse cut = ofUnknownLength(encodedFile("gzip"));
    cut.cutAfter = kHeldAt;
    server.setHandler("/file.bin", [cut](const ScriptedRequest &request) {
        return request.header("Range").isEmpty() ? cut : encodedFile({});
    });
    PlaitSandbox plait;
    const PlaitResult result =
        plait.run({u"--retry-wait"_s, u"0"_s, u"--on-changed"_s, u"fail"_s, server.url(u"/file.bin"_s).toString()});
    QVERIFY2(result.status == kResourceChanged, wordsOf(result));
    QCOMPARE(plait.files(), QStringList(kName + u".part"_s));
    QCOMPARE(TestFiles::readFile(plait.path(kName + u".part"_s)), TestFiles::content(kSeed, 0, kHeldAt));
}

void TestPlaitEncoding::anErrorPageMayBeEncodedAsItLikes()
{
    ScriptedServer server;
    server.setResponse("/file.bin", heldInTheMiddle(encodedFile({})));
    PlaitSandbox plait;
    const QString url = server.url(u"/file.bin"_s).toString();
    const QString trouble = PartWay::leave(plait, {url}, kName, kSeed);
    QVERIFY2(trouble.isEmpty(), qPrintable(trouble));

    ScriptedResponse busy = ScriptedResponse::error(503);
    busy.withHeader("Content-Encoding", "gzip");
    const qsizetype before = server.requests().size();
    server.setHandler("/file.bin", [busy, before, &server](const ScriptedRequest &) {
        return server.requests().size() == before + 1 ? busy : encodedFile({});
    });
    const PlaitResult result = plait.run({u"--retry-wait"_s, u"0"_s, url});
    QVERIFY2(result.status == 0, wordsOf(result));
    verifySaved(plait);
}

QTEST_GUILESS_MAIN(TestPlaitEncoding)
#include "tst_plait_encoding.moc"
