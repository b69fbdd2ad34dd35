// SPDX-License-Identifier: MIT
#include <tests/integration/plaitsandbox.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/testfiles.h>

#include <QFile>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace
{
constexpr int kDone = 0;
constexpr int kBadOption = 28;
constexpr quint64 kSeed = 78;
constexpr qint64 kSize = 5000;

QByteArray told(const PlaitResult &result)
{
    return "status " + QByteArray::number(result.status) + ": " + result.out + result.err;
}
}

/// Lines for other programs, as documents have them and browsers copy them, downloaded by the real program.
class TestPlaitImports : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void aBrowsersLineDownloads_data();
    void aBrowsersLineDownloads();
    void wordsOfAnotherProgramDownload();
    void whatCannotBeTakenIsSaidInOneLineEach();
    void aLineThatAsksForSomethingElseAsksForNothing();
    void nothingOfTheLineIsSeenByOthers();

private:
    QString url() const { return m_server->url(u"/file.bin"_s).toString(); }
    bool isWhole(const QString &name) const
    {
        return TestFiles::sha256OfFile(m_plait->path(name)) == TestFiles::sha256OfContent(kSeed, kSize);
    }

    std::unique_ptr<ScriptedServer> m_server;
    std::unique_ptr<PlaitSandbox> m_plait;
};

void TestPlaitImports::init()
{
    m_server = std::make_unique<ScriptedServer>();
    m_server->setResponse("/file.bin", ScriptedResponse::file(kSeed, kSize));
    m_plait = std::make_unique<PlaitSandbox>();
}

void TestPlaitImports::aBrowsersLineDownloads_data()
{
    QTest::addColumn<QString>("line");
    QTest::newRow("for a shell") << u"curl 'URL?a=1&b=2' \\\n  -H 'accept-language: de' \\\n  -b 'sid=1; t=x' \\\n"
                                    "  -H 'user-agent: Browser/1' \\\n  -H $'x-a: it\\'s' \\\n  --compressed"_s;
    QTest::newRow("for cmd") << u"curl \"URL?a=1&b=2\" ^\r\n  -H \"accept-language: de\" ^\r\n"
                                "  -b \"sid=1; t=x\" ^\r\n  -H \"user-agent: Browser/1\" ^\r\n  -H \"x-a: it's\""_s;
    QTest::newRow("for cmd, each sign escaped")
        << u"curl ^\"URL?a=1^&b=2^\" ^\n  -H ^\"accept-language: de^\" ^\n  -b ^\"sid=1; t=x^\" ^\n"
           "  -H ^\"user-agent: Browser/1^\" ^\n  -H ^\"x-a: it's^\""_s;
}

void TestPlaitImports::aBrowsersLineDownloads()
{
    QFETCH(QString, line);
    const PlaitResult result = m_plait->runBare({u"import"_s, line.replace("URL"_L1, url())});
    QVERIFY2(result.status == kDone && isWhole(u"file.bin"_s), told(result));
    const ScriptedRequest request = m_server->requests().constFirst();
    QCOMPARE(request.target, "/file.bin?a=1&b=2");
    QCOMPARE(request.header("Accept-Language"), "de");
    QCOMPARE(request.header("Cookie"), "sid=1; t=x");
    QCOMPARE(request.header("User-Agent"), "Browser/1");
    QCOMPARE(request.header("X-A"), "it's");
}

void TestPlaitImports::wordsOfAnotherProgramDownload()
{
    const QStringList line{u"wget"_s, u"-q"_s, u"-O"_s, u"x.bin"_s, u"--header=X-A: 1"_s, url()};
    const PlaitResult result = m_plait->runBare(QStringList{u"import"_s, u"-d"_s, u"sub"_s, u"--"_s} + line);
    QVERIFY2(result.status == kDone && isWhole(u"sub/x.bin"_s), told(result));
    QVERIFY2(result.err.isEmpty(), told(result));
    QCOMPARE(m_server->requests().constFirst().header("X-A"), "1");
}

void TestPlaitImports::whatCannotBeTakenIsSaidInOneLineEach()
{
    const PlaitResult result =
        m_plait->runBare({u"import"_s, u"curl -sk -m 5 -H 'accept-encoding: gzip' -o x.bin %1 | tar x"_s.arg(url())});
    QVERIFY2(result.status == kDone && isWhole(u"x.bin"_s), told(result));
    for (const char *part : {"plait: \"-k\" is left out: write \"--insecure\"",
                             "plait: \"-m\" is left out: ", "plait: the header \"accept-encoding\" is left out: ",
                             "plait: what follows the command is left out, from \"|\" on.\n"})
        QVERIFY2(result.err.count(part) == 1, told(result));
    QVERIFY(!m_server->requests().constFirst().hasHeader("accept-encoding")
            || m_server->requests().constFirst().header("accept-encoding") != "gzip");
}

void TestPlaitImports::aLineThatAsksForSomethingElseAsksForNothing()
{
    for (const QString &line : {u"curl -T f "_s, u"curl -r 0-9 "_s, u"wget -r "_s, u"curl --unheard-of "_s}) {
        const PlaitResult result = m_plait->runBare({u"import"_s, line + url()});
        QVERIFY2(result.status == kBadOption && result.err.count('\n') == 1, told(result));
    }
    QVERIFY(m_server->requests().isEmpty());
    QCOMPARE(m_plait->files(), QStringList());
}

void TestPlaitImports::nothingOfTheLineIsSeenByOthers()
{
    ScriptedResponse held = ScriptedResponse::file(kSeed, kSize);
    held.holdAfter = 1000;
    m_server->setResponse("/file.bin", held);
    m_plait->startBare({u"import"_s, u"curl -u anna:s3cr3t -H 'X: s3cr3t' %1"_s.arg(url())});
    QVERIFY2(m_server->waitForHeld(QString()), m_plait->errorText());
    QFile title(u"/proc/%1/cmdline"_s.arg(m_plait->processId()));
    QVERIFY(title.open(QIODevice::ReadOnly));
    const QByteArray shown = title.readAll();
    QVERIFY2(shown.contains("import") && !shown.contains("s3cr3t"), shown);
    m_server->release();
    QCOMPARE(m_plait->finish().status, kDone);
}

QTEST_GUILESS_MAIN(TestPlaitImports)
#include "tst_plait_imports.moc"
