// SPDX-License-Identifier: MIT
#include <tests/integration/partway.h>
#include <tests/integration/plaitsandbox.h>
#include <tests/support/authentication.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/testfiles.h>

#include <QCryptographicHash>
#include <QFile>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace
{
constexpr int kDone = 0;
constexpr int kBadOption = 28;
constexpr int kWrong = 32;
constexpr quint64 kSeed = 93;
constexpr qint64 kSize = 60000;
constexpr qint64 kTooLarge = 5 * 1024 * 1024;
const QByteArray kPage = QByteArrayLiteral("<!DOCTYPE html><html><body>There is no such file.</body></html>");

QByteArray told(const PlaitResult &result)
{
    return "status " + QByteArray::number(result.status) + ": " + result.out + result.err;
}

QByteArray sum()
{
    return TestFiles::sha256OfContent(kSeed, kSize);
}
}

/// Checksums that stand beside the file: in a list that is named, or where lists are usually found.
class TestPlaitChecksums : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void aSumBesideTheFileIsFound_data();
    void aSumBesideTheFileIsFound();
    void eachOfSeveralFilesHasItsOwn();
    void whatIsStreamedIsRefused();
    void aWrongFileIsToldByTheSumBesideIt();
    void whereNoneIsFoundItIsSaid_data();
    void whereNoneIsFoundItIsSaid();
    void aNamedListIsTaken_data();
    void aNamedListIsTaken();
    void aNamedListThatSaysNothingLeavesTheFileUncompared_data();
    void aNamedListThatSaysNothingLeavesTheFileUncompared();
    void aListThatMayComeIsWaitedFor_data();
    void aListThatMayComeIsWaitedFor();
    void ofOneThatDoesNotComeNobodySaysThatThereIsNone();
    void aListOfThisMachineIsReadBeforeAnythingIsAsked();
    void whatAListOfThisMachineDoesNotHaveKeepsNothingElse();
    void theNameBehindARedirectCountsInAListOfThisMachine();
    void whoMayHaveTheFileMayHaveItsSum();

private:
    QString url(const QString &path = u"/pub/file.bin"_s) const { return m_server->url(path).toString(); }
    void put(const QByteArray &path, const QByteArray &text) const
    {
        m_server->setResponse(path, ScriptedResponse::ok(text));
    }
    /// On this machine.
    void keep(const QString &name, const QByteArray &text) const
    {
        QFile file(m_plait->path(name));
        if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size())
            qFatal("the list of checksums could not be written");
    }

    std::unique_ptr<ScriptedServer> m_server;
    std::unique_ptr<PlaitSandbox> m_plait;
};

void TestPlaitChecksums::init()
{
    m_server = std::make_unique<ScriptedServer>();
    m_server->setResponse("/pub/file.bin", ScriptedResponse::file(kSeed, kSize));
    m_plait = std::make_unique<PlaitSandbox>();
}

void TestPlaitChecksums::aSumBesideTheFileIsFound_data()
{
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("with an ending of its own")
        << QByteArray("/pub/file.bin.sha256") << QByteArray(sum() + "  file.bin\n");
    QTest::newRow("alone") << QByteArray("/pub/file.bin.sha256") << QByteArray(sum() + '\n');
    QTest::newRow("in a list") << QByteArray("/pub/SHA256SUMS")
                               << QByteArray(QByteArray(64, '0') + " *other.bin\n" + sum() + " *file.bin\n");
    QTest::newRow("in a list with another name")
        << QByteArray("/pub/sha256sum.txt") << QByteArray("SHA256 (./file.bin) = " + sum() + '\n');
}

void TestPlaitChecksums::aSumBesideTheFileIsFound()
{
    QFETCH(QByteArray, path);
    QFETCH(QByteArray, text);
    put(path, text);
    const PlaitResult result = m_plait->run({u"--checksum"_s, u"auto"_s, url(u"/pub/file.bin?mirror=1"_s)});
    QVERIFY2(result.status == kDone, told(result));
    const QByteArray list = url(QString::fromLatin1(path)).toUtf8();
    QVERIFY2(result.err.contains("\"file.bin\" is compared with the sha-256 checksum in \"" + list + '"'),
             told(result));
    QVERIFY2(result.err.contains("checksum verified"), told(result));
    QCOMPARE(m_plait->files(), QStringList(u"file.bin"_s));
    const PlaitResult listed = m_plait->runBare({u"list"_s});
    QCOMPARE(listed.out.count('\n'), 1);
}

void TestPlaitChecksums::eachOfSeveralFilesHasItsOwn()
{
    m_server->setResponse("/pub/other.bin", ScriptedResponse::file(kSeed + 1, kSize));
    put("/pub/SHA256SUMS", sum() + "  file.bin\n" + QByteArray(64, '0') + "  other.bin\n");
    const PlaitResult result =
        m_plait->run({u"--checksum"_s, u"auto"_s, u"-j"_s, u"1"_s, url(), url(u"/pub/other.bin"_s)});
    QVERIFY2(result.status == kWrong, told(result));
    QVERIFY2(result.err.contains("checksum verified"), told(result));
    QVERIFY2(result.err.contains("other.bin\" is not the file that was meant"), told(result));
}

void TestPlaitChecksums::whatIsStreamedIsRefused()
{
    const PlaitResult result = m_plait->runBare({u"--checksum"_s, u"auto"_s, u"-o"_s, u"-"_s, url()});
    QVERIFY2(result.status == kBadOption && result.err.contains("--checksum ALGORITHM=HEX"), told(result));
    QCOMPARE(m_server->requests().size(), 0);
}

void TestPlaitChecksums::aWrongFileIsToldByTheSumBesideIt()
{
    put("/pub/SHA256SUMS", QByteArray(64, '0') + "  file.bin\n");
    const PlaitResult result = m_plait->run({u"--checksum"_s, u"auto"_s, url()});
    QVERIFY2(result.status == kWrong && result.err.contains("is not the file that was meant"), told(result));
    QCOMPARE(m_plait->files(), QStringList(u"file.bin"_s));
    // The sum is the download's from now on.
    m_server->setResponse("/pub/SHA256SUMS", ScriptedResponse::error(404));
    const PlaitResult again = m_plait->runBare({u"resume"_s, u"1"_s});
    QVERIFY2(again.status == kWrong, told(again));
}

void TestPlaitChecksums::whereNoneIsFoundItIsSaid_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::newRow("nothing beside it") << QByteArray();
    QTest::newRow("a page for each address") << kPage;
}

void TestPlaitChecksums::whereNoneIsFoundItIsSaid()
{
    QFETCH(QByteArray, answer);
    if (!answer.isEmpty())
        m_server->setFallback([answer](const ScriptedRequest &) { return ScriptedResponse::ok(answer); });
    const PlaitResult result = m_plait->run({u"--checksum"_s, u"auto"_s, url()});
    QVERIFY2(result.status == kDone, told(result));
    QVERIFY2(result.err.contains("no checksum of \"file.bin\" was found beside it"), told(result));
    QVERIFY2(!result.err.contains("checksum verified"), told(result));
}

void TestPlaitChecksums::aNamedListIsTaken_data()
{
    QTest::addColumn<bool>("isHere");
    QTest::newRow("from a server") << false;
    QTest::newRow("from this machine") << true;
}

void TestPlaitChecksums::aNamedListIsTaken()
{
    QFETCH(bool, isHere);
    const QByteArray text = QByteArray(64, '0') + "  old/file.bin\n" + sum() + "  pub/file.bin\n";
    put("/all.txt", text);
    keep(u"all.txt"_s, text);
    const QString list = isHere ? u"all.txt"_s : url(u"/all.txt"_s);
    const PlaitResult result = m_plait->run({u"--checksum-file"_s, list, url()});
    QVERIFY2(result.status == kDone && result.err.contains("checksum verified"), told(result));
}

void TestPlaitChecksums::aNamedListThatSaysNothingLeavesTheFileUncompared_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("words");
    QTest::newRow("that is not there") << QByteArray() << QByteArray("HTTP status 404");
    QTest::newRow("a page") << kPage << QByteArray("it is no list of checksums");
    QTest::newRow("of other files") << QByteArray(sum() + "  other.bin\n") << QByteArray("no checksum of \"file.bin\"");
    QTest::newRow("that has no end") << QByteArray(kTooLarge, '#') << QByteArray("it is too large");
}

void TestPlaitChecksums::aNamedListThatSaysNothingLeavesTheFileUncompared()
{
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, words);
    if (!text.isEmpty())
        put("/all.txt", text);
    const PlaitResult result = m_plait->run({u"--checksum-file"_s, url(u"/all.txt"_s), url()});
    QVERIFY2(result.status == kWrong && result.err.contains("was not compared with its checksum"), told(result));
    QVERIFY2(result.err.contains('"' + url(u"/all.txt"_s).toUtf8() + '"') && result.err.contains(words), told(result));
    QCOMPARE(m_plait->files(), QStringList(u"file.bin"_s));
    const PlaitResult repeated = m_plait->run({u"--checksum-file"_s, url(u"/all.txt"_s), url()});
    QVERIFY2(repeated.status == kWrong && repeated.err.contains(words), told(repeated));
    QVERIFY2(m_plait->runBare({u"list"_s}).out.contains(" unchecked "), "it is not done");
    put("/all.txt", sum() + "  file.bin\n");
    const QList<QStringList> commands = PartWay::commandsIn(result.err);
    QCOMPARE(commands.size(), 1);
    const PlaitResult again = m_plait->runBare(commands.first());
    QVERIFY2(again.status == kDone && again.err.contains("checksum verified"), told(again));
}

void TestPlaitChecksums::aListThatMayComeIsWaitedFor_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::newRow("beside the file") << QStringList{u"--checksum"_s, u"auto"_s};
    QTest::newRow("that is named") << QStringList{u"--checksum-file"_s, u"LIST"_s};
}

void TestPlaitChecksums::aListThatMayComeIsWaitedFor()
{
    QFETCH(QStringList, options);
    options.replaceInStrings(u"LIST"_s, url(u"/pub/file.bin.sha256"_s));
    m_server->setHandler("/pub/file.bin.sha256", [count = std::make_shared<int>(0)](const ScriptedRequest &) {
        const int number = ++*count;
        if (number == 1)
            return ScriptedResponse::error(503);
        return number == 2 ? ScriptedResponse::noAnswer() : ScriptedResponse::ok(sum() + '\n');
    });
    const PlaitResult result = m_plait->run(options + QStringList{u"--retry-wait"_s, u"0"_s, url()});
    QVERIFY2(result.status == kDone && result.err.contains("checksum verified"), told(result));
    QVERIFY2(result.err.contains("file.bin.sha256: HTTP status 503; trying again\n"), told(result));
}

/// Where it is too busy to say, it may well be there.
void TestPlaitChecksums::ofOneThatDoesNotComeNobodySaysThatThereIsNone()
{
    m_server->setFallback([](const ScriptedRequest &) { return ScriptedResponse::error(503); });
    const PlaitResult result =
        m_plait->run({u"--checksum"_s, u"auto"_s, u"--tries"_s, u"2"_s, u"--retry-wait"_s, u"0"_s, url()});
    QVERIFY2(result.status == kDone && !result.err.contains("no checksum of"), told(result));
    QVERIFY2(result.err.contains("the server answers with HTTP status 503"), told(result));
    QCOMPARE(m_server->requests().size(), 3);
    put("/pub/SHA256SUMS", sum() + "  file.bin\n");
    m_server->setFallback([](const ScriptedRequest &) { return ScriptedResponse::error(404); });
    const QList<QStringList> commands = PartWay::commandsIn(result.err);
    QCOMPARE(commands.size(), 1);
    const PlaitResult again = m_plait->runBare(commands.first());
    QVERIFY2(again.status == kDone && again.err.contains("checksum verified"), told(again));
}

void TestPlaitChecksums::aListOfThisMachineIsReadBeforeAnythingIsAsked()
{
    keep(u"sums"_s, sum() + "  other.bin\n");
    keep(u"large"_s, sum() + "  file.bin\n" + QByteArray(kTooLarge, '#'));
    const PlaitResult missing = m_plait->run({u"--checksum-file"_s, u"none"_s, url()});
    QVERIFY2(missing.status == kBadOption && missing.err.contains("none\": No such file"), told(missing));
    const PlaitResult large = m_plait->run({u"--checksum-file"_s, u"large"_s, url()});
    QVERIFY2(large.status == kBadOption && large.err.contains("large\" is larger than 4 MiB"), told(large));
    const PlaitResult streamed = m_plait->run({u"--checksum-file"_s, u"sums"_s, u"-o"_s, u"-"_s, url()});
    QVERIFY2(streamed.status == kBadOption && streamed.err.contains("sums\" has no checksum of \"file.bin\""),
             told(streamed));
    QCOMPARE(m_server->requests().size(), 0);
    const PlaitResult named = m_plait->run({u"--checksum-file"_s, u"sums"_s, u"-o"_s, u"other.bin"_s, url()});
    QVERIFY2(named.status == kDone && named.err.contains("checksum verified"), told(named));
}

void TestPlaitChecksums::whatAListOfThisMachineDoesNotHaveKeepsNothingElse()
{
    put("/pub/two.bin", "two");
    keep(u"sums"_s, sum() + "  file.bin\n");
    const PlaitResult result = m_plait->run({u"--checksum-file"_s, u"sums"_s, url(), url(u"/pub/two.bin"_s)});
    QVERIFY2(result.status == kWrong && result.err.contains("checksum verified"), told(result));
    QVERIFY2(
        result.err.contains("of \"" + m_plait->path(u"sums"_s).toLocal8Bit() + "\", it has no checksum of \"two.bin\""),
        told(result));
    QCOMPARE(m_plait->files(), QStringList({u"file.bin"_s, u"sums"_s, u"two.bin"_s}));
    keep(u"sums"_s, QCryptographicHash::hash("two", QCryptographicHash::Sha256).toHex() + "  two.bin\n");
    const QList<QStringList> commands = PartWay::commandsIn(result.err);
    QCOMPARE(commands.size(), 1);
    const PlaitResult again = m_plait->runBare(commands.first());
    QVERIFY2(again.status == kDone && again.err.contains("checksum verified"), told(again));
}

void TestPlaitChecksums::theNameBehindARedirectCountsInAListOfThisMachine()
{
    keep(u"sums"_s, sum() + "  file.bin\n");
    m_server->setHandler("/latest",
                         [](const ScriptedRequest &) { return ScriptedResponse::redirect("/pub/file.bin"); });
    const PlaitResult result = m_plait->run({u"--checksum-file"_s, u"sums"_s, url(u"/latest"_s)});
    QVERIFY2(result.status == kDone && result.err.contains("checksum verified"), told(result));
}

void TestPlaitChecksums::whoMayHaveTheFileMayHaveItsSum()
{
    const QByteArray login = "anna:geheim";
    m_server->setHandler("/pub/file.bin", Authentication::basic(login, ScriptedResponse::file(kSeed, kSize)));
    m_server->setHandler("/pub/SHA256SUMS", Authentication::basic(login, ScriptedResponse::ok(sum() + "  file.bin\n")));
    const PlaitResult result =
        m_plait->run({u"--checksum"_s, u"auto"_s, u"--user"_s, QString::fromLatin1(login), url()});
    QVERIFY2(result.status == kDone && result.err.contains("checksum verified"), told(result));
}

QTEST_GUILESS_MAIN(TestPlaitChecksums)
#include "tst_plait_checksums.moc"
