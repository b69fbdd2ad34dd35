// SPDX-License-Identifier: MIT
#include <tests/integration/plaitsandbox.h>
#include <tests/support/authentication.h>
#include <tests/support/scriptedproxy.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/testfiles.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

#include <csignal>
#include <functional>
#include <memory>

using namespace Qt::StringLiterals;

namespace
{
constexpr int kDone = 0;
constexpr int kUnfinished = 7;
constexpr int kAuthentication = 24;
constexpr int kBadOption = 28;
constexpr quint64 kSeed = 61;
constexpr qint64 kSize = 8000000;
constexpr qint64 kSmallSize = 300000; // too small to be split
constexpr qint64 kHeldAfter = 1000;
/// The large file takes longer than that at 1 MiB a second, the first burst taken off, which no rate holds back.
constexpr double kLeastSeconds = 2;
const QString kName = u"file.bin"_s;
const QByteArray kLogin = QByteArrayLiteral("anna:s3cr3t");
constexpr QFile::Permissions kOthers =
    QFile::ReadGroup | QFile::WriteGroup | QFile::ExeGroup | QFile::ReadOther | QFile::WriteOther | QFile::ExeOther;
/// Leads nowhere, but a proxy knows the way.
const QString kFarHost = u"files.example"_s;

/// Every answer stops in its middle until it is released, so that what runs at once stays visible.
ScriptedResponse heldFile(qint64 size = kSize)
{
    ScriptedResponse response = ScriptedResponse::file(kSeed, size);
    response.holdAfter = kHeldAfter;
    return response;
}

bool writeFile(const QString &path, const QByteArray &text)
{
    QFile file(path);
    return QDir().mkpath(QFileInfo(path).absolutePath()) && file.open(QIODevice::WriteOnly)
        && file.write(text) == text.size() && file.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
}

QString hourFromNow(int hours)
{
    return QTime::currentTime().addSecs(hours * 3600).toString(u"HH:00"_s);
}

QByteArray lastLine(const QByteArray &text)
{
    return text.trimmed().split('\n').constLast();
}

QJsonObject summaryIn(const QByteArray &out)
{
    return QJsonDocument::fromJson(lastLine(out)).object();
}

QByteArray told(const PlaitResult &result)
{
    return "status " + QByteArray::number(result.status) + ": " + result.out + result.err;
}

/// Where things are stands in remarks at the top; what holds follows.
QByteArray settingsIn(const QByteArray &out)
{
    QByteArray lines;
    for (const QByteArray &line : out.split('\n')) {
        if (!line.startsWith('#') && !line.isEmpty())
            lines += line + '\n';
    }
    return lines;
}
}

/// What is settled beforehand: the settings file, the environment, and what a download was begun with.
class TestPlaitSettings : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void theFileHasEffect();
    void theFileSaysWhatToDoWithAnExistingFile();
    void theFilesRateHolds();
    void downloadsWaitForTheHoursOfTheFile();
    void downloadsRunInTheHoursOfTheFile();
    void aValueOfTheFileMayHoldSpaces_data();
    void aValueOfTheFileMayHoldSpaces();
    void whatIsTypedComesBeforeTheFile();
    void aNameThatIsNoSettingIsRefused_data();
    void aNameThatIsNoSettingIsRefused();
    void aNamedFileThatIsMissingIsRefused();
    void theFileHasAPlaceOfItsOwn_data();
    void theFileHasAPlaceOfItsOwn();
    void configSaysWhereAValueComesFrom();
    void aMistakeInTheFileIsSaidWithItsLine();
    void pathsInTheFileAreExpanded();
    void aTildeThatNoShellHasReadIsTheHomeFolder_data();
    void aTildeThatNoShellHasReadIsTheHomeFolder();
    void configPrintsWhatHolds_data();
    void configPrintsWhatHolds();
    void configHidesThePasswordOfAProxy_data();
    void configHidesThePasswordOfAProxy();
    void whatConfigPrintsIsASettingsFile();
    void theLogHasAPlaceOfItsOwn_data();
    void theLogHasAPlaceOfItsOwn();

    void theEnvironmentNamesTheProxy_data();
    void theEnvironmentNamesTheProxy();
    void whatIsExceptedIsReachedDirectly_data();
    void whatIsExceptedIsReachedDirectly();

    void storedSecretsLetAResumeIn();
    void secretsThatAreNotStoredAreAskedForAgain();
    void anotherNumberOfConnectionsHoldsFromTheResumeOn();
    void anotherRateHoldsFromTheResumeOn();

private:
    QString url() const { return m_server->url(u'/' + kName).toString(); }
    QString settingsFile() const { return QDir(m_plait->dataHome()).filePath(u"my.conf"_s); }
    QString home() const { return m_plait->environment().value(u"HOME"_s); }
    QString listPath() const { return m_plait->dataHome() + "/plait/downloads.sqlite"_L1; }
    bool isWhole(const QString &name, qint64 size) const
    {
        return TestFiles::sha256OfFile(m_plait->path(name)) == TestFiles::sha256OfContent(kSeed, size);
    }
    /// Runs until so many connections stand still at once.
    void startAndHold(const QStringList &arguments, int connections);
    void stop();

    std::unique_ptr<ScriptedServer> m_server;
    std::unique_ptr<PlaitSandbox> m_plait;
};

void TestPlaitSettings::init()
{
    m_server = std::make_unique<ScriptedServer>();
    m_plait = std::make_unique<PlaitSandbox>();
}

void TestPlaitSettings::startAndHold(const QStringList &arguments, int connections)
{
    m_plait->startBare(arguments);
    QVERIFY2(m_server->waitForHeld(QString(), connections), m_plait->errorText());
}

void TestPlaitSettings::stop()
{
    m_plait->sendSignal(SIGTERM);
    const PlaitResult result = m_plait->finish();
    QVERIFY2(result.status == kUnfinished, told(result));
    QVERIFY(m_server->waitForNoConnections());
}

void TestPlaitSettings::theFileHasEffect()
{
    m_server->setHandler("/file.bin", Authentication::basic(kLogin, heldFile()));
    QVERIFY(writeFile(home() + "/.netrc"_L1, "machine 127.0.0.1 login anna password s3cr3t\n"));
    QVERIFY(writeFile(settingsFile(),
                      "# a remark, and a blank line\n\ndir = archive\nmax-connections = 2\nuser-agent = settled/1\n"
                      "netrc = true\n"));
    startAndHold({u"--config"_s, settingsFile(), url()}, 2);
    if (QTest::currentTestFailed())
        return;
    m_server->release();
    const PlaitResult result = m_plait->finish();
    QVERIFY2(result.status == kDone, told(result));
    QVERIFY2(lastLine(result.err).endsWith("2 connections at most: limit of 2 reached"), result.err);
    QVERIFY(isWhole(u"archive/"_s + kName, kSize));
    for (const ScriptedRequest &request : m_server->requests())
        QCOMPARE(request.header("User-Agent"), "settled/1");
}

void TestPlaitSettings::theFileSaysWhatToDoWithAnExistingFile()
{
    m_server->setResponse("/file.bin", ScriptedResponse::file(kSeed, kSmallSize));
    QVERIFY(writeFile(m_plait->path(kName), "old\n"));
    QVERIFY(writeFile(settingsFile(), "on-exists = skip\n"));
    PlaitResult result = m_plait->run({u"--config"_s, settingsFile(), url()});
    QVERIFY2(result.status == kDone && result.err.contains("skipped"), told(result));
    QCOMPARE(m_plait->files(), QStringList(kName));
    QCOMPARE(TestFiles::readFile(m_plait->path(kName)), "old\n");

    result = m_plait->run({u"--config"_s, settingsFile(), u"--on-exists"_s, u"overwrite"_s, url()});
    QVERIFY2(result.status == kDone, told(result));
    QVERIFY(isWhole(kName, kSmallSize));
}

void TestPlaitSettings::theFilesRateHolds()
{
    m_server->setResponse("/file.bin", ScriptedResponse::file(kSeed, kSize));
    QVERIFY(writeFile(settingsFile(), "limit-rate = 1M\nmax-connections = 1\n"));
    const PlaitResult result = m_plait->run({u"--config"_s, settingsFile(), u"--json"_s, url()});
    QVERIFY2(result.status == kDone, told(result));
    QVERIFY2(summaryIn(result.out).value("seconds"_L1).toDouble() > kLeastSeconds, result.out);
}

void TestPlaitSettings::downloadsWaitForTheHoursOfTheFile()
{
    m_server->setResponse("/file.bin", ScriptedResponse::file(kSeed, kSmallSize));
    const QString begin = hourFromNow(2);
    QVERIFY(writeFile(settingsFile(), "schedule = " + (begin + u'-' + hourFromNow(3)).toLatin1() + '\n'));
    m_plait->start({u"--config"_s, settingsFile(), url()});
    QTRY_VERIFY(m_plait->errorText().contains("downloads wait until " + begin.toLatin1()));
    QVERIFY(m_server->requests().isEmpty());
    m_plait->sendSignal(SIGTERM);
    const PlaitResult result = m_plait->finish();
    QVERIFY2(result.status == kUnfinished, told(result));
    QVERIFY2(result.err.count("downloads wait") == 1, told(result));
    QVERIFY(m_plait->files().isEmpty());
}

void TestPlaitSettings::downloadsRunInTheHoursOfTheFile()
{
    m_server->setResponse("/file.bin", ScriptedResponse::file(kSeed, kSmallSize));
    QVERIFY(writeFile(settingsFile(), "schedule = " + (hourFromNow(-2) + u'-' + hourFromNow(2)).toLatin1() + '\n'));
    const PlaitResult result = m_plait->run({u"--config"_s, settingsFile(), url()});
    QVERIFY2(result.status == kDone && !result.err.contains("wait"), told(result));
    QVERIFY(isWhole(kName, kSmallSize));
}

void TestPlaitSettings::aValueOfTheFileMayHoldSpaces_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QByteArray>("header");
    QTest::addColumn<QByteArray>("value");
    QTest::newRow("a header") << QByteArray("header = X-Settled: yes, it is") << QByteArray("X-Settled")
                              << QByteArray("yes, it is");
    QTest::newRow("a name of the program")
        << QByteArray("user-agent = Settled 1") << QByteArray("User-Agent") << QByteArray("Settled 1");
    QTest::newRow("in quotes") << QByteArray("user-agent = \"Settled 1\"") << QByteArray("User-Agent")
                               << QByteArray("Settled 1");
}

void TestPlaitSettings::aValueOfTheFileMayHoldSpaces()
{
    QFETCH(QByteArray, line);
    QFETCH(QByteArray, header);
    QFETCH(QByteArray, value);
    m_server->setResponse("/file.bin", ScriptedResponse::file(kSeed, kSmallSize));
    QVERIFY(writeFile(settingsFile(), line + '\n'));
    const PlaitResult result = m_plait->run({u"--config"_s, settingsFile(), url()});
    QVERIFY2(result.status == kDone, told(result));
    QCOMPARE(m_server->requests().constFirst().header(header), value);
}

void TestPlaitSettings::whatIsTypedComesBeforeTheFile()
{
    m_server->setResponse("/file.bin", heldFile());
    QVERIFY(writeFile(settingsFile(), "dir = archive\nmax-connections = 5\nuser-agent = settled/1\n"));
    startAndHold(
        {u"--config"_s, settingsFile(), u"-d"_s, u"elsewhere"_s, u"-x"_s, u"3"_s, u"--user-agent=typed/2"_s, url()}, 3);
    if (QTest::currentTestFailed())
        return;
    m_server->release();
    const PlaitResult result = m_plait->finish();
    QVERIFY2(result.status == kDone, told(result));
    QVERIFY2(lastLine(result.err).endsWith("3 connections at most: limit of 3 reached"), result.err);
    QVERIFY(isWhole(u"elsewhere/"_s + kName, kSize));
    QVERIFY(!m_plait->has(u"archive"_s));
    QCOMPARE(m_server->requests().constFirst().header("User-Agent"), "typed/2");
}

void TestPlaitSettings::aNameThatIsNoSettingIsRefused_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("a slip of the pen") << QByteArray("max-connection = 2") << QByteArray("max-connection");
    QTest::newRow("the password of somebody") << QByteArray("user = anna:s3cr3t") << QByteArray("user");
    QTest::newRow("what is of one command line") << QByteArray("output = a.bin") << QByteArray("output");
    QTest::newRow("what is of one list") << QByteArray("all = true") << QByteArray("all");
    QTest::newRow("the short name of an option") << QByteArray("x = 2") << QByteArray("x");
}

void TestPlaitSettings::aNameThatIsNoSettingIsRefused()
{
    QFETCH(QByteArray, line);
    QFETCH(QByteArray, name);
    m_server->setResponse("/file.bin", ScriptedResponse::file(kSeed, kSmallSize));
    QVERIFY(writeFile(settingsFile(), "dir = archive\n" + line + "\n"));
    for (const QStringList &arguments : {QStringList{url()}, QStringList{u"list"_s}, QStringList{u"config"_s}}) {
        const PlaitResult result = m_plait->runBare(arguments + QStringList{u"--config"_s, settingsFile()});
        QVERIFY2(result.status == kBadOption, told(result));
        QVERIFY2(result.err.contains('"' + name + '"') && result.err.contains("my.conf"), result.err);
        QVERIFY2(!result.err.contains("s3cr3t"), result.err);
    }
    QVERIFY(m_server->requests().isEmpty());
}

void TestPlaitSettings::aNamedFileThatIsMissingIsRefused()
{
    const PlaitResult result = m_plait->runBare({u"list"_s, u"--config"_s, settingsFile()});
    QVERIFY2(result.status == kBadOption && result.err.contains("my.conf"), told(result));
}

void TestPlaitSettings::theFileHasAPlaceOfItsOwn_data()
{
    QTest::addColumn<bool>("isNamed");
    QTest::newRow("in XDG_CONFIG_HOME") << true;
    QTest::newRow("in ~/.config where that is not set") << false;
}

void TestPlaitSettings::theFileHasAPlaceOfItsOwn()
{
    QFETCH(bool, isNamed);
    m_server->setResponse("/file.bin", ScriptedResponse::file(kSeed, kSmallSize));
    const QString folder = isNamed ? home() + "/settings"_L1 : home() + "/.config"_L1;
    m_plait->setVariable(u"XDG_CONFIG_HOME"_s, isNamed ? folder : QString());
    const QString path = folder + "/plait/plait.conf"_L1;
    QVERIFY(writeFile(path, "dir = archive\n"));
    PlaitResult result = m_plait->runBare({url()});
    QVERIFY2(result.status == kDone, told(result));
    QVERIFY(isWhole(u"archive/"_s + kName, kSmallSize));
    result = m_plait->runBare({u"config"_s});
    QVERIFY2(result.status == kDone && result.out.contains(path.toLocal8Bit() + '\n'), told(result));
}

void TestPlaitSettings::configSaysWhereAValueComesFrom()
{
    QVERIFY(writeFile(settingsFile(), "# mine\ntries = 3\n"));
    const PlaitResult result = m_plait->runBare({u"config"_s, u"--config"_s, settingsFile(), u"-x"_s, u"2"_s});
    QVERIFY2(result.status == kDone, told(result));
    for (const QByteArray &part :
         {"# tries: from " + settingsFile().toLocal8Bit() + ":2 (default: 5)\ntries = 3\n",
          QByteArray("# max-connections: from the command line (default: 8)\n"), QByteArray("\n# max-downloads = 4\n")})
        QVERIFY2(result.out.contains(part), told(result));
}

void TestPlaitSettings::aMistakeInTheFileIsSaidWithItsLine()
{
    QVERIFY(writeFile(settingsFile(), "dir = archive\n\ntries = many\n"));
    const PlaitResult result = m_plait->runBare({url(), u"--config"_s, settingsFile()});
    QVERIFY2(result.status == kBadOption, told(result));
    QCOMPARE(result.err,
             "plait: " + settingsFile().toLocal8Bit() + ":3: tries \"many\" is no number from 0 to 1000000.\n");
    QVERIFY(m_server->requests().isEmpty());
}

void TestPlaitSettings::pathsInTheFileAreExpanded()
{
    m_server->setResponse("/file.bin", ScriptedResponse::file(kSeed, kSmallSize));
    m_plait->setVariable(u"PLAIT_LOGS"_s, home() + "/logs"_L1);
    QVERIFY(QDir().mkpath(home() + "/logs"_L1));
    QVERIFY(writeFile(settingsFile(), "dir = ~/archive\nlog = ${PLAIT_LOGS}/plait.log\n"));
    const PlaitResult result = m_plait->runBare({u"--config"_s, settingsFile(), url()});
    QVERIFY2(result.status == kDone, told(result));
    QCOMPARE(TestFiles::sha256OfFile(home() + "/archive/"_L1 + kName), TestFiles::sha256OfContent(kSeed, kSmallSize));
    QVERIFY(TestFiles::readFile(home() + "/logs/plait.log"_L1).contains("file.bin"));
}

void TestPlaitSettings::aTildeThatNoShellHasReadIsTheHomeFolder_data()
{
    QTest::addColumn<QStringList>("words");
    QTest::addColumn<QString>("path"); // below the home folder, or the one of downloads
    QTest::newRow("a file, in quotes") << QStringList{u"-o"_s, u"~/a/x.bin"_s} << u"HOME/a/x.bin"_s;
    QTest::newRow("a file, behind a sign of equality") << QStringList{u"--output=~/x.bin"_s} << u"HOME/x.bin"_s;
    QTest::newRow("a folder") << QStringList{u"-d"_s, u"~/a"_s} << u"HOME/a/file.bin"_s;
    QTest::newRow("a folder by another's name") << QStringList{u"--directory-prefix=~/b"_s} << u"HOME/b/file.bin"_s;
    QTest::newRow("the home folder") << QStringList{u"-d"_s, u"~"_s} << u"HOME/file.bin"_s;
    QTest::newRow("a list of addresses") << QStringList{u"-i"_s, u"~/urls.txt"_s} << u"HOME/listed.bin"_s;
    QTest::newRow("settings") << QStringList{u"--config=~/my.conf"_s} << u"HOME/set/file.bin"_s;
    QTest::newRow("a file that is called so") << QStringList{u"-o"_s, u"./~"_s} << u"~"_s;
    QTest::newRow("a file whose name begins so") << QStringList{u"-o"_s, u"~x.bin"_s} << u"~x.bin"_s;
}

void TestPlaitSettings::aTildeThatNoShellHasReadIsTheHomeFolder()
{
    QFETCH(QStringList, words);
    QFETCH(QString, path);
    m_server->setResponse("/file.bin", ScriptedResponse::file(kSeed, kSmallSize));
    QVERIFY(QDir().mkpath(home()));
    QVERIFY(writeFile(home() + "/my.conf"_L1, "dir = ~/set\n"));
    QVERIFY(writeFile(home() + "/urls.txt"_L1, url().toLocal8Bit() + "\n  out=~/listed.bin\n"));
    const PlaitResult result = m_plait->runBare(words.contains(u"-i"_s) ? words : words + QStringList{url()});
    QVERIFY2(result.status == kDone, told(result));
    const QString file = path.startsWith("HOME/"_L1) ? home() + path.sliced(4) : m_plait->path(path);
    QCOMPARE(TestFiles::sha256OfFile(file), TestFiles::sha256OfContent(kSeed, kSmallSize));
}

void TestPlaitSettings::configPrintsWhatHolds_data()
{
    QTest::addColumn<QByteArray>("line");
    for (const QByteArray line :
         {"max-connections = 3", "max-downloads = 2", "limit-rate = 2M", "netrc = true", "netrc-file = /tmp/logins",
          "proxy = http://127.0.0.1:3128", "on-changed = restart", "progress = none", "tries = 3", "log-level = 2",
          "insecure = true", "dir = /srv/archive", "on-exists = skip", "user-agent = settled/1",
          "referer = http://files.example/", "header = Accept-Language: de", "dir = /srv/two words",
          "dir = \"/srv/two words\"", "user-agent = Settled 1"}) {
        QTest::newRow(line.constData()) << line;
    }
}

/// And what it prints says the same when it is the settings file.
void TestPlaitSettings::configPrintsWhatHolds()
{
    QFETCH(QByteArray, line);
    QVERIFY(writeFile(settingsFile(), line + '\n'));
    const PlaitResult first = m_plait->runBare({u"config"_s, u"--config"_s, settingsFile()});
    QVERIFY2(first.status == kDone, told(first));
    const QByteArray name = line.first(line.indexOf(' '));
    QVERIFY2(settingsIn(first.out).contains(name + " = "), first.out);

    QVERIFY(writeFile(settingsFile(), first.out));
    const PlaitResult second = m_plait->runBare({u"config"_s, u"--config"_s, settingsFile()});
    QVERIFY2(second.status == kDone, told(second));
    QCOMPARE(settingsIn(second.out), settingsIn(first.out));
}

void TestPlaitSettings::configHidesThePasswordOfAProxy_data()
{
    QTest::addColumn<bool>("isTyped");
    QTest::newRow("that is typed") << true;
    QTest::newRow("that stands in the file") << false;
}

void TestPlaitSettings::configHidesThePasswordOfAProxy()
{
    QFETCH(bool, isTyped);
    const QByteArray proxy = "http://" + kLogin + "@127.0.0.1:3128";
    QVERIFY(writeFile(settingsFile(), isTyped ? QByteArray() : "proxy = " + proxy + '\n'));
    QStringList arguments{u"config"_s, u"--config"_s, settingsFile()};
    if (isTyped)
        arguments << u"--proxy"_s << QString::fromLatin1(proxy);
    const PlaitResult result = m_plait->runBare(arguments);
    QVERIFY2(result.status == kDone, told(result));
    QVERIFY2(!(result.out + result.err).contains("s3cr3t"), told(result));
    QVERIFY2(result.out.contains("127.0.0.1:3128"), told(result));

    const QString copy = m_plait->dataHome() + "/copy.conf"_L1;
    QVERIFY(writeFile(copy, result.out));
    const PlaitResult again = m_plait->runBare({u"config"_s, u"--config"_s, copy});
    QVERIFY2(again.status == kDone, told(again));
}

void TestPlaitSettings::whatConfigPrintsIsASettingsFile()
{
    m_server->setResponse("/file.bin", heldFile());
    QVERIFY(writeFile(settingsFile(), "dir = archive\nuser-agent = settled/1\n"));
    const PlaitResult printed =
        m_plait->runBare({u"config"_s, u"--config"_s, settingsFile(), u"-x"_s, u"2"_s, u"--tries=3"_s});
    QVERIFY2(printed.status == kDone, told(printed));
    QVERIFY2(printed.out.contains("\nmax-connections = 2\n") && printed.out.contains("\ntries = 3\n"), printed.out);

    const QString copy = m_plait->dataHome() + "/copy.conf"_L1;
    QVERIFY(writeFile(copy, printed.out));
    startAndHold({u"--config"_s, copy, url()}, 2);
    if (QTest::currentTestFailed())
        return;
    m_server->release();
    const PlaitResult result = m_plait->finish();
    QVERIFY2(result.status == kDone, told(result));
    QVERIFY2(lastLine(result.err).endsWith("2 connections at most: limit of 2 reached"), result.err);
    QVERIFY(isWhole(u"archive/"_s + kName, kSize));
    QCOMPARE(m_server->requests().constFirst().header("User-Agent"), "settled/1");
}

void TestPlaitSettings::theLogHasAPlaceOfItsOwn_data()
{
    QTest::addColumn<bool>("isNamed");
    QTest::newRow("in XDG_STATE_HOME") << true;
    QTest::newRow("in ~/.local/state where that is not set") << false;
}

void TestPlaitSettings::theLogHasAPlaceOfItsOwn()
{
    QFETCH(bool, isNamed);
    m_server->setResponse("/file.bin", ScriptedResponse::file(kSeed, kSmallSize));
    const QString folder = isNamed ? home() + "/state"_L1 : home() + "/.local/state"_L1;
    if (isNamed)
        m_plait->setVariable(u"XDG_STATE_HOME"_s, folder);
    const PlaitResult result = m_plait->run({url()});
    QVERIFY2(result.status == kDone, told(result));
    const QByteArray log = TestFiles::readFile(folder + "/plait/plait.log"_L1);
    QVERIFY2(log.contains("file.bin"), log);
}

void TestPlaitSettings::theEnvironmentNamesTheProxy_data()
{
    QTest::addColumn<QString>("variable");
    QTest::addColumn<QString>("scheme");
    QTest::addColumn<QString>("exceptions");
    QTest::newRow("http_proxy") << u"http_proxy"_s << u"http"_s << QString();
    QTest::newRow("all_proxy") << u"all_proxy"_s << u"http"_s << QString();
    QTest::newRow("ALL_PROXY, of another kind") << u"ALL_PROXY"_s << u"socks5"_s << QString();
    QTest::newRow("no_proxy with other hosts in it")
        << u"http_proxy"_s << u"http"_s << u"other.example,10.0.0.0/8,.files.example.org"_s;
    QTest::newRow("no_proxy with another port") << u"http_proxy"_s << u"http"_s << u"files.example:1"_s;
}

void TestPlaitSettings::theEnvironmentNamesTheProxy()
{
    QFETCH(QString, variable);
    QFETCH(QString, scheme);
    QFETCH(QString, exceptions);
    m_server->setResponse("/file.bin", ScriptedResponse::file(kSeed, kSmallSize));
    ScriptedProxy proxy;
    m_plait->setVariable(variable, proxy.url(scheme).toString());
    m_plait->setVariable(u"no_proxy"_s, exceptions);
    QUrl far(url());
    far.setHost(kFarHost);
    const PlaitResult result = m_plait->run({far.toString()});
    QVERIFY2(result.status == kDone, told(result));
    QVERIFY(isWhole(kName, kSmallSize));
    QVERIFY(!proxy.calls().isEmpty());
    QVERIFY(proxy.calls().constFirst().target.startsWith(kFarHost.toLatin1()));
}

void TestPlaitSettings::whatIsExceptedIsReachedDirectly_data()
{
    QTest::addColumn<QString>("variable");
    QTest::addColumn<QString>("exceptionsName");
    QTest::addColumn<QString>("exceptions");
    const QString proxy = u"http_proxy"_s;
    QTest::newRow("an address") << proxy << u"no_proxy"_s << u"127.0.0.1"_s;
    QTest::newRow("one of several") << proxy << u"no_proxy"_s << u"other.example, 127.0.0.1"_s;
    QTest::newRow("in upper case") << proxy << u"NO_PROXY"_s << u"127.0.0.1"_s;
    QTest::newRow("an address with its port") << proxy << u"no_proxy"_s << u"127.0.0.1:PORT"_s;
    QTest::newRow("a network") << proxy << u"no_proxy"_s << u"127.0.0.0/8"_s;
    QTest::newRow("everything") << proxy << u"no_proxy"_s << u"*"_s;
    QTest::newRow("of a proxy for all") << u"all_proxy"_s << u"no_proxy"_s << u"127.0.0.1"_s;
    QTest::newRow("of a proxy that is typed") << QString() << u"no_proxy"_s << u"127.0.0.1"_s;
    QTest::newRow("what HTTP_PROXY says") << u"HTTP_PROXY"_s << u"no_proxy"_s << QString();
    QTest::newRow("what a proxy for another kind says") << u"https_proxy"_s << u"no_proxy"_s << QString();
}

void TestPlaitSettings::whatIsExceptedIsReachedDirectly()
{
    QFETCH(QString, variable);
    QFETCH(QString, exceptionsName);
    QFETCH(QString, exceptions);
    m_server->setResponse("/file.bin", ScriptedResponse::file(kSeed, kSmallSize));
    ScriptedProxy proxy;
    const QString proxyUrl = proxy.url(u"http"_s).toString();
    QStringList arguments{url()};
    if (variable.isEmpty())
        arguments << u"--proxy"_s << proxyUrl;
    else
        m_plait->setVariable(variable, proxyUrl);
    m_plait->setVariable(exceptionsName, exceptions.replace(u"PORT"_s, QString::number(m_server->port())));
    const PlaitResult result = m_plait->run(arguments);
    QVERIFY2(result.status == kDone, told(result));
    QVERIFY(isWhole(kName, kSmallSize));
    QVERIFY(proxy.calls().isEmpty());
}

void TestPlaitSettings::storedSecretsLetAResumeIn()
{
    m_server->setHandler("/file.bin", Authentication::basic(kLogin, heldFile()));
    startAndHold({u"--user"_s, QString::fromLatin1(kLogin), u"--store-secrets"_s, url()}, 1);
    if (QTest::currentTestFailed())
        return;
    stop();
    QVERIFY(TestFiles::readFile(listPath()).contains("s3cr3t"));
    QCOMPARE(QFile::permissions(listPath()) & kOthers, QFile::Permissions());
    m_server->release();
    const PlaitResult result = m_plait->runBare({u"resume"_s, u"1"_s});
    QVERIFY2(result.status == kDone, told(result));
    QVERIFY(isWhole(kName, kSize));
    QVERIFY2(!(result.out + result.err).contains("s3cr3t"), told(result));
}

void TestPlaitSettings::secretsThatAreNotStoredAreAskedForAgain()
{
    m_server->setHandler("/file.bin", Authentication::basic(kLogin, heldFile()));
    startAndHold({u"--user"_s, QString::fromLatin1(kLogin), url()}, 1);
    if (QTest::currentTestFailed())
        return;
    stop();
    m_server->release();
    PlaitResult result = m_plait->runBare({u"resume"_s, u"1"_s});
    QVERIFY2(result.status == kAuthentication && result.err.contains("--user"), told(result));
    QCOMPARE(m_plait->files(), QStringList(kName + u".part"_s));
    result = m_plait->runBare({u"resume"_s, u"1"_s, u"--user"_s, QString::fromLatin1(kLogin)});
    QVERIFY2(result.status == kDone, told(result));
    QVERIFY(isWhole(kName, kSize));
}

void TestPlaitSettings::anotherNumberOfConnectionsHoldsFromTheResumeOn()
{
    m_server->setResponse("/file.bin", heldFile());
    // The last one is not told again.
    const QList<QStringList> runs{{url(), u"-x"_s, u"4"_s}, {u"resume"_s, u"1"_s, u"-x"_s, u"2"_s}};
    const int connections[] = {4, 2};
    for (qsizetype i = 0; i < runs.size(); ++i) {
        startAndHold(runs.at(i), connections[i]);
        if (!QTest::currentTestFailed())
            stop();
        if (QTest::currentTestFailed())
            return;
    }
    startAndHold({u"resume"_s, u"1"_s}, 2);
    if (QTest::currentTestFailed())
        return;
    m_server->release();
    const PlaitResult result = m_plait->finish();
    QVERIFY2(result.status == kDone, told(result));
    QVERIFY2(lastLine(result.err).endsWith("2 connections at most: limit of 2 reached"), result.err);
    QVERIFY(isWhole(kName, kSize));
}

void TestPlaitSettings::anotherRateHoldsFromTheResumeOn()
{
    m_server->setResponse("/file.bin", heldFile());
    // The last one is not told again.
    const QList<QStringList> runs{{url(), u"-x"_s, u"1"_s}, {u"resume"_s, u"1"_s, u"--limit-rate"_s, u"1M"_s}};
    for (const QStringList &arguments : runs) {
        startAndHold(arguments, 1);
        if (!QTest::currentTestFailed())
            stop();
        if (QTest::currentTestFailed())
            return;
    }
    m_server->release();
    const PlaitResult result = m_plait->runBare({u"resume"_s, u"1"_s, u"--json"_s});
    QVERIFY2(result.status == kDone, told(result));
    QVERIFY(isWhole(kName, kSize));
    QVERIFY2(summaryIn(result.out).value("seconds"_L1).toDouble() > kLeastSeconds, result.out);
}

QTEST_GUILESS_MAIN(TestPlaitSettings)
#include "tst_plait_settings.moc"
