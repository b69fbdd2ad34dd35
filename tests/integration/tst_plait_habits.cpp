// SPDX-License-Identifier: MIT
#include <tests/integration/plaitsandbox.h>
#include <tests/support/authentication.h>
#include <tests/support/scriptedproxy.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/testca.h>
#include <tests/support/testfiles.h>

#include <QDir>
#include <QFile>
#include <QTest>

#include <csignal>
#include <memory>

using namespace Qt::StringLiterals;

namespace
{
constexpr int kDone = 0;
constexpr int kUnfinished = 7;
constexpr int kExists = 13;
constexpr int kBadOption = 28;
constexpr int kOverloaded = 29;
constexpr int kWrong = 32;
constexpr int kUntrusted = 34;
constexpr quint64 kSeed = 77;
constexpr qint64 kSize = 5000;
constexpr qint64 kLargeSize = 3000000;
constexpr qint64 kHeldAfter = 1000;
const QByteArray kLogin = QByteArrayLiteral("anna:s3cr3t");

/// In their words, with URL for the address.
QStringList wordsOf(const QString &line)
{
    QStringList words = line.split(u' ');
    for (QString &word : words)
        word.replace(u'_', u' ');
    return words;
}

QByteArray told(const PlaitResult &result)
{
    return "status " + QByteArray::number(result.status) + ": " + result.out + result.err;
}

bool writeFile(const QString &path, const QByteArray &text)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(text) == text.size()
        && file.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
}

void addLine(const char *line, const QString &effect)
{
    QTest::newRow(line) << QString::fromUtf8(line) << effect;
}
}

/// What fingers know from curl, wget and aria2: each option by the real program, with its effect on the wire or on the
/// disk, or with the line that says what to write. In the lines of the tables "_" is a blank.
class TestPlaitHabits : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void itIsSeenOnTheWire_data();
    void itIsSeenOnTheWire();
    void itIsSeenOnTheDisk_data();
    void itIsSeenOnTheDisk();
    void itIsSeenInWhatIsPrinted_data();
    void itIsSeenInWhatIsPrinted();
    void itSettlesHowItRuns_data();
    void itSettlesHowItRuns();
    void itIsSoAnyway_data();
    void itIsSoAnyway();
    void itIsLeftOutWithALine_data();
    void itIsLeftOutWithALine();
    void itIsAnsweredWithWhatToWrite_data();
    void itIsAnsweredWithWhatToWrite();
    void whatIsUnfinishedIsGoneOnWith_data();
    void whatIsUnfinishedIsGoneOnWith();
    void triesAreCounted_data();
    void triesAreCounted();
    void aProxyIsAsked_data();
    void aProxyIsAsked();
    void certificatesAreCheckedUnlessAllIsWrittenOut_data();
    void certificatesAreCheckedUnlessAllIsWrittenOut();
    void aFileThatIsThere_data();
    void aFileThatIsThere();
    void aSumIsCompared();
    void theNearestOptionIsNamed();

private:
    QString home() const { return m_plait->environment().value(u"HOME"_s); }
    QStringList words(const QString &line) const
    {
        QString whole = line;
        return wordsOf(whole.replace("MOVED"_L1, m_server->url(u"/moved"_s).toString())
                           .replace("URL"_L1, m_server->url(u"/file.bin"_s).toString())
                           .replace("HERE"_L1, m_plait->downloads()));
    }
    PlaitResult runLine(const QString &line) { return m_plait->runBare(words(line)); }
    bool isWhole(const QString &name) const
    {
        return TestFiles::sha256OfFile(m_plait->path(name)) == TestFiles::sha256OfContent(kSeed, kSize);
    }

    std::unique_ptr<ScriptedServer> m_server;
    std::unique_ptr<PlaitSandbox> m_plait;
};

void TestPlaitHabits::init()
{
    m_server = std::make_unique<ScriptedServer>();
    m_server->setResponse("/file.bin", ScriptedResponse::file(kSeed, kSize));
    m_server->setResponse("/moved", ScriptedResponse::redirect("/file.bin"));
    m_server->setHandler("/private", Authentication::basic(kLogin, ScriptedResponse::file(kSeed, kSize)));
    m_plait = std::make_unique<PlaitSandbox>();
}

void TestPlaitHabits::itIsSeenOnTheWire_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("effect");
    addLine("-H X-A:_1 URL", u"X-A: 1"_s);
    addLine("--header X-A:_1 URL", u"X-A: 1"_s);
    addLine("-A me/1 URL", u"User-Agent: me/1"_s);
    addLine("--user-agent=me/1 URL", u"User-Agent: me/1"_s);
    addLine("-e http://r.example/ URL", u"Referer: http://r.example/"_s);
    addLine("--referer=http://r.example/ URL", u"Referer: http://r.example/"_s);
    addLine("-b a=1;_b=2 URL", u"Cookie: a=1; b=2"_s);
    addLine("--cookie a=1 URL", u"Cookie: a=1"_s);
    addLine("-b jar URL", u"Cookie: c=3"_s);
    addLine("--load-cookies jar URL", u"Cookie: c=3"_s);
    addLine("--oauth2-bearer t0k3n URL", u"Authorization: Bearer t0k3n"_s);
    addLine("--no-cache URL", u"Cache-Control: no-cache"_s);
    addLine("--http-no-cache=true URL", u"Cache-Control: no-cache"_s);
    const QString login = u"Authorization: "_s + QString::fromLatin1(Authentication::basicHeader(kLogin));
    addLine("-u anna:s3cr3t PRIVATE", login);
    addLine("--user anna:s3cr3t PRIVATE", login);
    addLine("--user=anna --password=s3cr3t PRIVATE", login);
    addLine("--http-user=anna --http-password=s3cr3t PRIVATE", login);
    addLine("--http-user=anna --http-passwd=s3cr3t PRIVATE", login);
    addLine("--netrc PRIVATE", login);
    addLine("-n PRIVATE", login);
    addLine("--netrc-file logins PRIVATE", login);
    addLine("--netrc-path=logins PRIVATE", login);
    addLine("--data a=1 --data b=2 URL", u"POST /file.bin a=1&b=2"_s);
    addLine("--data-raw @a URL", u"POST /file.bin @a"_s);
    addLine("--data-urlencode a=1_2 URL", u"POST /file.bin a=1%202"_s);
    addLine("--post-data a=1 URL", u"POST /file.bin a=1"_s);
    addLine("--method=POST --body-data=a=1 URL", u"POST /file.bin a=1"_s);
    addLine("-X POST --data a=1 URL", u"POST /file.bin a=1"_s);
    addLine("-X GET URL", u"GET /file.bin "_s);
    addLine("-G --data a=1 URL", u"GET /file.bin?a=1 "_s);
    addLine("--url-query a=1 URL", u"GET /file.bin?a=1 "_s);
    addLine("-L MOVED", u"GET /file.bin "_s);
    addLine("--location MOVED", u"GET /file.bin "_s);
    addLine("--url URL", u"GET /file.bin "_s);
}

void TestPlaitHabits::itIsSeenOnTheWire()
{
    QFETCH(QString, line);
    QFETCH(QString, effect);
    QVERIFY(writeFile(m_plait->path(u"jar"_s), "127.0.0.1\tFALSE\t/\tFALSE\t0\tc\t3\n"));
    const QByteArray logins = "machine 127.0.0.1 login anna password s3cr3t\n";
    QVERIFY(writeFile(m_plait->path(u"logins"_s), logins) && writeFile(home() + "/.netrc"_L1, logins));
    const PlaitResult result = runLine(line.replace("PRIVATE"_L1, m_server->url(u"/private"_s).toString()));
    QVERIFY2(result.status == kDone, told(result));
    const ScriptedRequest request = m_server->requests().constLast();
    const QString name = effect.section(u": "_s, 0, 0);
    if (effect.startsWith("POST "_L1) || effect.startsWith("GET "_L1))
        QCOMPARE(QString::fromLatin1(request.method + ' ' + request.target + ' ' + request.body), effect);
    else
        QCOMPARE(QString::fromLatin1(request.header(name.toLatin1())), effect.section(u": "_s, 1));
}

void TestPlaitHabits::itIsSeenOnTheDisk_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("effect");
    addLine("-o x.bin URL", u"x.bin"_s);
    addLine("--output x.bin URL", u"x.bin"_s);
    addLine("-O x.bin URL", u"x.bin"_s);
    addLine("--output-document=x.bin URL", u"x.bin"_s);
    addLine("--out=x.bin URL", u"x.bin"_s);
    addLine("-O URL", u"file.bin"_s);
    addLine("-LO MOVED", u"file.bin"_s);
    addLine("--remote-name URL", u"file.bin"_s);
    addLine("URL -O", u"file.bin"_s);
    addLine("-OJ NAMED", u"given.bin"_s);
    addLine("--remote-header-name NAMED", u"given.bin"_s);
    addLine("--content-disposition NAMED", u"given.bin"_s);
    addLine("-d sub URL", u"sub/file.bin"_s);
    addLine("--dir=sub URL", u"sub/file.bin"_s);
    addLine("-P sub URL", u"sub/file.bin"_s);
    addLine("--directory-prefix=sub URL", u"sub/file.bin"_s);
    addLine("--output-dir sub -o x.bin URL", u"sub/x.bin"_s);
    addLine("--create-dirs -o a/b/x.bin URL", u"a/b/x.bin"_s);
    addLine("-i list", u"file.bin"_s);
    addLine("--input-file=list", u"file.bin"_s);
    addLine("-l my.log URL", u"file.bin my.log"_s);
    addLine("--append-output=my.log URL", u"file.bin my.log"_s);
}

void TestPlaitHabits::itIsSeenOnTheDisk()
{
    QFETCH(QString, line);
    QFETCH(QString, effect);
    ScriptedResponse named = ScriptedResponse::file(kSeed, kSize);
    m_server->setResponse("/named", named.withHeader("Content-Disposition", "attachment; filename=given.bin"));
    QVERIFY(writeFile(m_plait->path(u"list"_s), m_server->url(u"/file.bin"_s).toEncoded() + '\n'));
    const PlaitResult result = runLine(line.replace("NAMED"_L1, m_server->url(u"/named"_s).toString()));
    QVERIFY2(result.status == kDone, told(result));
    QVERIFY2(isWhole(effect.section(u' ', 0, 0)), told(result));
    QVERIFY(effect.section(u' ', 1).isEmpty() || m_plait->has(effect.section(u' ', 1)));
}

void TestPlaitHabits::itIsSeenInWhatIsPrinted_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("effect");
    for (const char *line : {"-q URL", "--quiet URL", "-s URL", "--silent URL", "-sS URL", "-fsSL MOVED", "-fsSLO URL",
                             "-nv -q URL", "-q --compressed URL", "--silent --show-error URL"})
        addLine(line, u"nothing"_s);
    for (const char *line : {"-I URL", "--head URL", "--spider URL"})
        addLine(line, u"5000"_s);
    addLine("-V", u"plait "_s);
}

void TestPlaitHabits::itIsSeenInWhatIsPrinted()
{
    QFETCH(QString, line);
    QFETCH(QString, effect);
    const PlaitResult result = runLine(line);
    QVERIFY2(result.status == kDone, told(result));
    if (effect == "nothing"_L1) {
        QVERIFY2(result.err.isEmpty() && result.out.isEmpty(), told(result));
        QVERIFY(isWhole(u"file.bin"_s));
    } else {
        QVERIFY2(result.out.contains(effect.toLatin1()), told(result));
        QCOMPARE(m_plait->files(), QStringList());
    }
}

void TestPlaitHabits::itSettlesHowItRuns_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("effect");
    addLine("-s 5", u"max-connections = 5"_s);
    addLine("-s5", u"max-connections = 5"_s);
    addLine("--split=5", u"max-connections = 5"_s);
    addLine("-x 5", u"max-connections = 5"_s);
    addLine("--max-connection-per-server=3", u"max-connections-per-server = 3"_s);
    addLine("-x4 -s16", u"max-connections = 16"_s);
    addLine("-s16 -x4", u"max-connections-per-server = 4"_s);
    addLine("-x5 -x6", u"max-connections = 6"_s);
    addLine("-j 3", u"max-downloads = 3"_s);
    addLine("--max-concurrent-downloads=3", u"max-downloads = 3"_s);
    addLine("--parallel-max 3", u"max-downloads = 3"_s);
    addLine("--limit-rate 500K", u"limit-rate = 500K"_s);
    addLine("--max-download-limit=500K", u"limit-rate = 500K"_s);
    addLine("--max-overall-download-limit=1M", u"max-overall-download-limit = 1M"_s);
    addLine("--tries=7", u"tries = 7"_s);
    addLine("--retry-wait=3", u"retry-wait = 3"_s);
    addLine("--retry-delay 3", u"retry-wait = 3"_s);
    addLine("-#", u"progress = bar"_s);
    addLine("--progress-bar", u"progress = bar"_s);
    addLine("--no-progress-meter", u"progress = none"_s);
    addLine("-nv", u"progress = none"_s);
    addLine("--no-verbose", u"progress = none"_s);
    addLine("--show-console-readout=false", u"progress = none"_s);
}

void TestPlaitHabits::itSettlesHowItRuns()
{
    QFETCH(QString, line);
    QFETCH(QString, effect);
    const PlaitResult result = runLine(u"config "_s + line);
    QVERIFY2(result.status == kDone, told(result));
    QVERIFY2(result.out.contains('\n' + effect.toLatin1() + '\n'), told(result));
}

void TestPlaitHabits::itIsSoAnyway_data()
{
    QTest::addColumn<QString>("line");
    for (const char *line : {"-f URL",
                             "--fail URL",
                             "-S URL",
                             "--show-error URL",
                             "--show-progress URL",
                             "-J URL",
                             "-R URL",
                             "--remote-time URL",
                             "--conditional-get URL",
                             "-c URL",
                             "--continue URL",
                             "--continue=true URL",
                             "-C - URL",
                             "--continue-at - URL",
                             "--file-allocation=none URL",
                             "--tlsv1.2 URL",
                             "-1 URL",
                             "--http1.1 URL",
                             "--http2 URL",
                             "--anyauth URL",
                             "--basic URL",
                             "--retry-connrefused URL",
                             "--retry-all-errors URL",
                             "--keepalive-time 60 URL",
                             "--tcp-nodelay URL",
                             "-nd URL",
                             "-np URL",
                             "-nH URL",
                             "--cut-dirs=2 URL",
                             "--remove-control-file URL",
                             "--no-conf URL",
                             "--no-netrc URL",
                             "--enable-http-keep-alive=true URL",
                             "--ftp-pasv URL",
                             "--trust-server-names URL",
                             "--parallel URL",
                             "--always-resume=true URL",
                             "--disk-cache=32M URL",
                             "--min-split-size=1M URL",
                             "-x16 -s16 -k1M URL",
                             "-x 4 -s 4 URL",
                             "-x5 -x6 URL",
                             "--progress=bar:force URL",
                             "-g URL",
                             "--globoff URL",
                             "--https-only URL",
                             "--conditional-get=false URL"})
        QTest::newRow(line) << QString::fromLatin1(line);
}

void TestPlaitHabits::itIsSoAnyway()
{
    QFETCH(QString, line);
    const PlaitResult result = runLine(line);
    QVERIFY2(result.status == kDone && isWhole(u"file.bin"_s), told(result));
    QVERIFY2(!result.err.contains("left out"), told(result));
}

void TestPlaitHabits::itIsLeftOutWithALine_data()
{
    QTest::addColumn<QString>("line");
    for (const char *line :
         {"--compressed URL", "--waitretry=1 URL", "--max-redirs 5 URL", "--async-dns=false URL", "--seed-time=0 URL",
          "--etag-save tag.txt URL", "--summary-interval=10 URL", "--speed-limit 1000 URL"})
        QTest::newRow(line) << QString::fromLatin1(line);
}

void TestPlaitHabits::itIsLeftOutWithALine()
{
    QFETCH(QString, line);
    const PlaitResult result = runLine(line);
    QVERIFY2(result.status == kDone && isWhole(u"file.bin"_s), told(result));
    const QByteArray name = line.section(u' ', 0, 0).toLatin1();
    QVERIFY2(result.err.count(" is left out: ") == 1 && result.err.startsWith("plait: \"" + name.split('=').first()),
             told(result));
}

void TestPlaitHabits::itIsAnsweredWithWhatToWrite_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("effect");
    addLine("-k URL", u"\"--insecure\""_s);
    addLine("-sk URL", u"\"--insecure\""_s);
    addLine("-d a=1&b=2 URL", u"\"--post-data DATA\" for a body"_s);
    addLine("-t 5 URL", u"\"--tries N\""_s);
    addLine("-T 5 URL", u"\"--timeout\" to wget"_s);
    addLine("-U me URL", u"\"--user-agent NAME\""_s);
    addLine("-e tries=3 URL", u"\"--referer URL\""_s);
    addLine("--mirror URL", u"there is none to download"_s);
    addLine("-l - URL", u"\"-v\""_s);
    addLine("-O /dev/null URL", u"\"-o - > /dev/null\""_s);
    addLine("-m 5 URL", u"\"--max-tries\" to aria2"_s);
    addLine("-w 5 URL", u"\"--json\""_s);
    addLine("-x http://p:1 URL", u"\"--proxy URL\""_s);
    addLine("-i URL", u"\"--input-file FILE\""_s);
    addLine("-c jar URL", u"no file is written"_s);
    addLine("--cookie-jar jar URL", u"no file is written"_s);
    addLine("--save-cookies jar URL", u"no file is written"_s);
    addLine("-r URL", u"\"-i FILE\""_s);
    addLine("--recursive URL", u"\"-i FILE\""_s);
    addLine("-m URL", u"\"-i FILE\""_s);
    addLine("-p URL", u"\"-i FILE\""_s);
    addLine("-r 0-99 URL", u"files are fetched whole"_s);
    addLine("--range 0-99 URL", u"files are fetched whole"_s);
    addLine("-b URL", u"nohup plait"_s);
    addLine("--background URL", u"nohup plait"_s);
    addLine("-D URL", u"nohup plait"_s);
    addLine("--max-time 5 URL", u"\"timeout 5 plait …\""_s);
    addLine("--stop=5 URL", u"\"timeout 5 plait …\""_s);
    addLine("--max-redirs 0 URL", u"15 redirects"_s);
    addLine("--upload-file f URL", u"nothing is sent"_s);
    addLine("-F a=1 URL", u"\"--post-data DATA\""_s);
    addLine("--form a=1 URL", u"\"--post-data DATA\""_s);
    addLine("-X DELETE URL", u"\"--post-data DATA\""_s);
    addLine("--data @f URL", u"not read from the file"_s);
    addLine("-C 100 URL", u"by itself"_s);
    addLine("-w %{http_code} URL", u"\"--json\""_s);
    addLine("--enable-rpc URL", u"\"--json\""_s);
    addLine("--torrent-file=f URL", u"no torrents"_s);
    addLine("--socks4 h:1 URL", u"\"--proxy socks5://HOST:PORT\""_s);
    addLine("--noproxy x URL", u"no_proxy"_s);
    addLine("--proxy-user a:b URL", u"NAME:PASSWORD@HOST:PORT"_s);
    addLine("--ciphers x URL", u"OpenSSL"_s);
    addLine("--proto =https URL", u"\"--checksum ALGO=HEX\""_s);
    addLine("--ask-password URL", u"~/.netrc"_s);
    addLine("--wait=5 URL", u"\"-j 1\""_s);
    addLine("--quota=5M URL", u"\"plait query URL\""_s);
    addLine("--server-response URL", u"\"plait query URL\""_s);
    addLine("--dump-header f URL", u"\"plait query URL\""_s);
    addLine("--location-trusted URL", u"\"--header-for-all 'N: V'\""_s);
    addLine("-z file.bin URL", u"write \"-N\" (\"--timestamping\")"_s);
    addLine("--time-cond 2026-01-01 URL", u"write \"-N\" (\"--timestamping\")"_s);
    addLine("--etag-compare tag.txt --etag-save tag.txt URL", u"write \"-N\" (\"--timestamping\")"_s);
    addLine("-Ofoo URL", u"\"--output FILE\""_s);
    addLine("-output foo URL", u"\"--output\""_s);
    addLine("--execute tries=3 URL", u"plait.conf"_s);
}

void TestPlaitHabits::itIsAnsweredWithWhatToWrite()
{
    QFETCH(QString, line);
    QFETCH(QString, effect);
    const PlaitResult result = runLine(line);
    QVERIFY2(result.status == kBadOption, told(result));
    QVERIFY2(result.err.contains(effect.toUtf8()) && result.err.count('\n') == 1, told(result));
    QVERIFY(m_server->requests().isEmpty());
}

void TestPlaitHabits::whatIsUnfinishedIsGoneOnWith_data()
{
    QTest::addColumn<QString>("line");
    for (const char *line : {"-c LARGE", "--continue LARGE", "-C - LARGE", "LARGE"})
        QTest::newRow(line) << QString::fromLatin1(line);
}

void TestPlaitHabits::whatIsUnfinishedIsGoneOnWith()
{
    QFETCH(QString, line);
    ScriptedResponse held = ScriptedResponse::file(kSeed, kLargeSize);
    held.holdAfter = kHeldAfter;
    m_server->setResponse("/large", held);
    const QString url = m_server->url(u"/large"_s).toString();
    m_plait->startBare({u"-x"_s, u"1"_s, u"-o"_s, u"large"_s, url});
    QVERIFY2(m_server->waitForHeld(QString()), m_plait->errorText());
    QTRY_VERIFY(m_plait->partBeginsWith(u"large"_s, TestFiles::content(kSeed, 0, 100)));
    m_plait->sendSignal(SIGTERM);
    const PlaitResult stopped = m_plait->finish();
    QVERIFY2(stopped.status == kUnfinished, told(stopped));
    m_server->release();
    const PlaitResult result =
        m_plait->runBare(QStringList{u"-x"_s, u"1"_s, u"-o"_s, u"large"_s} + wordsOf(line.replace("LARGE"_L1, url)));
    QVERIFY2(result.status == kDone, told(result));
    QVERIFY(m_server->requests().constLast().hasHeader("Range"));
    QCOMPARE(TestFiles::sha256OfFile(m_plait->path(u"large"_s)), TestFiles::sha256OfContent(kSeed, kLargeSize));
}

void TestPlaitHabits::triesAreCounted_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<int>("requests");
    QTest::newRow("curl counts those after the first") << u"--retry 2 --retry-delay 0"_s << 3;
    QTest::newRow("curl wants none") << u"--retry 0"_s << 1;
    QTest::newRow("wget counts all") << u"--tries=2 --retry-wait=0"_s << 2;
    QTest::newRow("aria2 counts all") << u"--max-tries=2 --retry-wait=0"_s << 2;
}

void TestPlaitHabits::triesAreCounted()
{
    QFETCH(QString, line);
    QFETCH(int, requests);
    m_server->setResponse("/file.bin", ScriptedResponse::error(503));
    const PlaitResult result = runLine(line + " URL"_L1);
    QVERIFY2(result.status == kOverloaded, told(result));
    QCOMPARE(m_server->requests().size(), requests);
}

void TestPlaitHabits::aProxyIsAsked_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("login");
    QTest::newRow("--proxy") << u"--proxy http://PROXY"_s << QString();
    QTest::newRow("--proxy without a scheme") << u"--proxy PROXY"_s << QString();
    QTest::newRow("--all-proxy") << u"--all-proxy=http://PROXY"_s << QString();
    QTest::newRow("--http-proxy") << u"--http-proxy=http://PROXY"_s << QString();
    QTest::newRow("--socks5") << u"--socks5 PROXY"_s << QString();
    QTest::newRow("--socks5-hostname") << u"--socks5-hostname PROXY"_s << QString();
    QTest::newRow("--proxy-user") << u"--proxy http://PROXY --proxy-user anna:s3cr3t"_s << u"anna:s3cr3t"_s;
    QTest::newRow("--all-proxy-user and its password")
        << u"--all-proxy=PROXY --all-proxy-user=anna --all-proxy-passwd=s3cr3t"_s << u"anna:s3cr3t"_s;
}

void TestPlaitHabits::aProxyIsAsked()
{
    QFETCH(QString, line);
    QFETCH(QString, login);
    ScriptedProxy proxy;
    proxy.setLogin(login.toLatin1());
    const QString address = u"127.0.0.1:"_s + QString::number(proxy.serverPort());
    const PlaitResult result = runLine(line.replace("PROXY"_L1, address) + " URL"_L1);
    QVERIFY2(result.status == kDone && isWhole(u"file.bin"_s), told(result));
    QVERIFY(!proxy.calls().isEmpty());
    QCOMPARE(QString::fromLatin1(proxy.calls().constLast().login), login);
}

void TestPlaitHabits::certificatesAreCheckedUnlessAllIsWrittenOut_data()
{
    QTest::addColumn<QString>("options");
    QTest::addColumn<int>("status");
    QTest::newRow("nothing said") << QString() << kUntrusted;
    QTest::newRow("--check-certificate") << u"--check-certificate"_s << kUntrusted;
    QTest::newRow("--insecure") << u"--insecure"_s << kDone;
    QTest::newRow("--no-check-certificate") << u"--no-check-certificate"_s << kDone;
    QTest::newRow("--check-certificate=false") << u"--check-certificate=false"_s << kDone;
    QTest::newRow("--cacert") << u"--cacert CA"_s << kDone;
    QTest::newRow("--ca-certificate") << u"--ca-certificate=CA"_s << kDone;
    QTest::newRow("-k") << u"-k"_s << kBadOption;
}

void TestPlaitHabits::certificatesAreCheckedUnlessAllIsWrittenOut()
{
    QFETCH(QString, options);
    QFETCH(int, status);
    static const TestCa ca;
    QVERIFY2(ca.isValid(), qPrintable(ca.errorText()));
    ScriptedServer server(ca.serverConfiguration());
    server.setResponse("/file.bin", ScriptedResponse::file(kSeed, kSize));
    QStringList words = options.split(u' ', Qt::SkipEmptyParts);
    words.replaceInStrings(u"CA"_s, ca.caFile());
    const PlaitResult result = m_plait->runBare(words + QStringList{server.url(u"/file.bin"_s).toString()});
    QVERIFY2(result.status == status, told(result));
    QCOMPARE(isWhole(u"file.bin"_s), status == kDone);
    QCOMPARE(server.requests().isEmpty(), status != kDone);
}

void TestPlaitHabits::aFileThatIsThere_data()
{
    QTest::addColumn<QString>("options");
    QTest::addColumn<int>("status");
    QTest::addColumn<bool>("isReplaced");
    QTest::newRow("-nc") << u"-nc"_s << kDone << false;
    QTest::newRow("--no-clobber") << u"--no-clobber"_s << kDone << false;
    QTest::newRow("--auto-file-renaming=false") << u"--auto-file-renaming=false"_s << kExists << false;
    QTest::newRow("--allow-overwrite") << u"--allow-overwrite=true"_s << kDone << true;
    QTest::newRow("--unlink") << u"--unlink"_s << kDone << true;
}

void TestPlaitHabits::aFileThatIsThere()
{
    QFETCH(QString, options);
    QFETCH(int, status);
    QFETCH(bool, isReplaced);
    QVERIFY(writeFile(m_plait->path(u"file.bin"_s), "old"));
    const PlaitResult result = runLine(options + " URL"_L1);
    QVERIFY2(result.status == status, told(result));
    QCOMPARE(m_plait->files(), QStringList{u"file.bin"_s});
    QCOMPARE(isWhole(u"file.bin"_s), isReplaced);
}

void TestPlaitHabits::aSumIsCompared()
{
    const PlaitResult result = runLine(u"--checksum=md5=d41d8cd98f00b204e9800998ecf8427e URL"_s);
    QVERIFY2(result.status == kWrong, told(result));
}

void TestPlaitHabits::theNearestOptionIsNamed()
{
    const QList<QPair<QString, QByteArray>> lines{
        {u"--outptu x URL"_s, "Did you mean \"--output\"?"},
        {u"--contineu URL"_s, "Did you mean \"--continue\"?"},
        {u"resume --hlep"_s, "Did you mean \"--help\"?"},
        {u"list --unfinishd"_s, "Did you mean \"--unfinished\"?"},
        {u"--finished URL"_s, "\"plait list\""},
        {u"resmue 1"_s, "Did you mean \"plait resume\"?"},
    };
    for (const auto &[line, answer] : lines) {
        const PlaitResult result = runLine(line);
        QVERIFY2(result.status == kBadOption && result.err.contains(answer), told(result));
    }
}

QTEST_GUILESS_MAIN(TestPlaitHabits)
#include "tst_plait_habits.moc"
