// SPDX-License-Identifier: MIT
#include <cli/arguments.h>
#include <host/policy/trouble.h>

#include <QTemporaryDir>
#include <QTest>

#include <vector>

using namespace Qt::StringLiterals;

namespace
{

using Command = Arguments::Command;

const QString kCurrent = u"/home/anna"_s;
const QString kUrl = u"http://host/x"_s;

Arguments::Outcome parse(const QStringList &arguments)
{
    QList<QByteArray> bytes{"plait"};
    for (const QString &argument : arguments)
        bytes.append(argument.toLocal8Bit());
    std::vector<const char *> pointers;
    for (const QByteArray &argument : std::as_const(bytes))
        pointers.push_back(argument.constData());
    return Arguments::parse(int(pointers.size()), pointers.data(), kCurrent);
}

}

class TestArguments : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void aUrlAloneIsEnough();
    void aProxyReachesAddressesOfEachKind();
    void everythingIsRead();
    void whereTheFileGoes_data();
    void whereTheFileGoes();
    void whatGoesToStandardOutputIsInNoList();
    void severalUrlsShareTheOptions();
    void aHeaderDoesNotSwallowTheUrl();
    void headers_data();
    void headers();
    void headersForAllAreKeptApart();
    void headersAreGivenAgain_data();
    void headersAreGivenAgain();
    void aNewAddressComesWithItsHeaders();
    void secretsAreKeptUnderEitherName_data();
    void secretsAreKeptUnderEitherName();
    void theLogLevelFollowsTheLog_data();
    void theLogLevelFollowsTheLog();
    void theNumberOfConnectionsIsBounded();
    void theConnectionsOfAllTogetherAreBoundedOnlyWhereAsked();
    void whatIsWrongIsSaid_data();
    void whatIsWrongIsSaid();
    void helpNamesEveryOption();
    void helpNamesEveryCommand();
    void commands_data();
    void commands();
    void whatIsGivenForOldDownloadsReplacesWhatTheListHas();
    void urlsComeFromAFile();
    void addressesComeAsPeopleHaveThem();
    void aFileOfAddressesIsNoAddress();
    void badLinesOfAFileAreKeptApart();
    void settingsAreDefaults();
    void aSettingThatThereIsNoneOfIsSaid_data();
    void aSettingThatThereIsNoneOfIsSaid();
    void theVersionIsPrinted();
};

/// Variables for a proxy decide what is asked of whom.
void TestArguments::initTestCase()
{
    for (const char *name : {"http_proxy", "all_proxy", "ALL_PROXY", "no_proxy", "NO_PROXY"})
        qunsetenv(name);
}

void TestArguments::aProxyReachesAddressesOfEachKind()
{
    const Arguments::Outcome outcome = parse({u"-6"_s, u"--proxy"_s, u"http://p:1"_s, u"http://127.0.0.1/x"_s});
    QVERIFY2(outcome.arguments, qPrintable(outcome.text));
}

void TestArguments::aUrlAloneIsEnough()
{
    const Arguments::Outcome outcome = parse({kUrl});
    QVERIFY2(outcome.arguments, qPrintable(outcome.text));
    QCOMPARE(outcome.arguments->requests.size(), 1);
    const DownloadRequest request = outcome.arguments->requests.first();
    QCOMPARE(request.url, QUrl(kUrl));
    QCOMPARE(request.folder, kCurrent);
    QVERIFY(request.outputName.isEmpty() && request.referer.isEmpty() && request.userAgent.isEmpty());
    QVERIFY(request.postData.isEmpty() && request.headers.isEmpty());
    QCOMPARE(outcome.arguments->command, Command::Get);
    QVERIFY(!outcome.arguments->json && !outcome.arguments->quiet);
    QVERIFY(!outcome.arguments->session.ignoreSslErrors);
    QCOMPARE(outcome.arguments->logLevel, 1);
    QCOMPARE(outcome.arguments->queue.mostAtOnce, 4);
    QCOMPARE(outcome.arguments->queue.mostTries, 5);
}

void TestArguments::everythingIsRead()
{
    const QTemporaryDir dir;
    QFile ca(dir.filePath(u"ca.pem"_s));
    QVERIFY(ca.open(QIODevice::WriteOnly));
    const Arguments::Outcome outcome = parse({kUrl,
                                              u"-d"_s,
                                              u"sub"_s,
                                              u"-o"_s,
                                              u"y.bin"_s,
                                              u"--header"_s,
                                              u"X-A: 1"_s,
                                              u"--referer"_s,
                                              u"http://r/"_s,
                                              u"--user-agent"_s,
                                              u"Me/1 (naïve)"_s,
                                              u"--post-data"_s,
                                              u"a=1&b=ä"_s,
                                              u"--insecure"_s,
                                              u"--mirror"_s,
                                              u"http://m/x"_s,
                                              u"--checksum"_s,
                                              u"md5=d41d8cd98f00b204e9800998ecf8427e"_s,
                                              u"--limit-rate"_s,
                                              u"1.5K,1K@08:00-18:00"_s,
                                              u"--max-overall-download-limit"_s,
                                              u"2M,1M@08:00-18:00"_s,
                                              u"--schedule"_s,
                                              u"1:00-7:00"_s,
                                              u"-j"_s,
                                              u"7"_s,
                                              u"--tries"_s,
                                              u"0"_s,
                                              u"--retry-wait"_s,
                                              u"0.25"_s,
                                              u"--on-exists"_s,
                                              u"skip"_s,
                                              u"--on-changed"_s,
                                              u"restart"_s,
                                              u"--on-unresumable"_s,
                                              u"fail"_s,
                                              u"--user"_s,
                                              u"anna:a:b"_s,
                                              u"--proxy"_s,
                                              u"socks5://p:1"_s,
                                              u"--list"_s,
                                              u"l.sqlite"_s,
                                              u"--progress"_s,
                                              u"line"_s,
                                              u"--json"_s,
                                              u"-q"_s,
                                              u"--log"_s,
                                              u"plait.log"_s,
                                              u"--log-level"_s,
                                              u"2"_s,
                                              u"--ca-certificate"_s,
                                              ca.fileName()});
    QVERIFY2(outcome.arguments, qPrintable(outcome.text));
    const DownloadRequest request = outcome.arguments->requests.first();
    QCOMPARE(request.folder, u"/home/anna/sub"_s);
    QCOMPARE(request.outputName, u"y.bin"_s);
    QCOMPARE(request.headers, (QVariantMap{{u"X-A"_s, u"1"_s}}));
    QCOMPARE(request.referer, u"http://r/"_s);
    QCOMPARE(request.userAgent, u"Me/1 (naïve)"_s);
    QCOMPARE(request.postData, QByteArray("a=1&b=\xc3\xa4"));
    QVERIFY(outcome.arguments->session.ignoreSslErrors && request.options.insecure);
    QVERIFY(outcome.arguments->json && outcome.arguments->quiet);
    QCOMPARE(outcome.arguments->logFile, u"/home/anna/plait.log"_s);
    QCOMPARE(outcome.arguments->logLevel, 2);
    QCOMPARE(outcome.arguments->progress, ProgressMode::Line);
    const SessionOptions &session = outcome.arguments->session;
    QCOMPARE(session.caCertificatesFile, ca.fileName());
    QCOMPARE(session.listPath, u"/home/anna/l.sqlite"_s);
    QCOMPARE(session.network.credentials.size(), 1);
    QCOMPARE(session.network.credentials.first().user, u"anna"_s);
    QCOMPARE(session.network.credentials.first().password, u"a:b"_s);
    QCOMPARE(session.network.proxy, QUrl(u"socks5://p:1"_s));
    const QueueOptions &queue = outcome.arguments->queue;
    QCOMPARE(queue.mostAtOnce, 7);
    QCOMPARE(queue.mostTries, 0);
    QCOMPARE(queue.retryWaitMs, 250);
    QCOMPARE(queue.speedLimit, 2 * 1024 * 1024);
    const TimesOfDay day = *TimesOfDay::fromText(u"08:00-18:00"_s);
    QCOMPARE(queue.speedTimes, (QList<RatesOfDay::Timed>{{1024 * 1024, day}}));
    QCOMPARE(queue.schedule, TimesOfDay::fromText(u"01:00-07:00"_s));
    const DownloadOptions &options = request.options;
    QCOMPARE(options.rateLimit, 1536);
    QCOMPARE(options.rateTimes, (QList<RatesOfDay::Timed>{{1024, day}}));
    QCOMPARE(queue.rateTimes, options.rateTimes);
    QCOMPARE(session.usage.downloadLimit, 1536);
    QCOMPARE(options.checksumAlgorithm, u"md5"_s);
    QCOMPARE(options.checksumHex, u"d41d8cd98f00b204e9800998ecf8427e"_s);
    QCOMPARE(options.onChanged, int(Trouble::Policy::Restart));
    QCOMPARE(options.onUnresumable, int(Trouble::Policy::Fail));
    QVERIFY(options.skipExisting);
    QVERIFY(options.user.isEmpty() && options.password.isEmpty());
    QCOMPARE(request.onExists, AbstractDownloadExistingFileReaction::Skip);
    QCOMPARE(request.mirrors, QList<QUrl>{QUrl(u"http://m/x"_s)});
}

void TestArguments::whereTheFileGoes_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QString>("folder");
    QTest::addColumn<QString>("name");

    QTest::newRow("a relative folder") << QStringList{u"-d"_s, u"a/../b/"_s} << u"/home/anna/b"_s << QString();
    QTest::newRow("an absolute folder") << QStringList{u"-d"_s, u"/tmp"_s} << u"/tmp"_s << QString();
    QTest::newRow("the root") << QStringList{u"-d"_s, u"/"_s} << u"/"_s << QString();
    QTest::newRow("a name") << QStringList{u"-o"_s, u"y"_s} << kCurrent << u"y"_s;
    QTest::newRow("a path") << QStringList{u"-o"_s, u"a/y"_s} << u"/home/anna/a"_s << u"y"_s;
    QTest::newRow("an absolute path") << QStringList{u"-o"_s, u"/tmp/y"_s} << u"/tmp"_s << u"y"_s;
    QTest::newRow("a file in the root") << QStringList{u"-o"_s, u"/y"_s} << u"/"_s << u"y"_s;
    QTest::newRow("a path below the folder")
        << QStringList{u"-d"_s, u"/tmp"_s, u"-o"_s, u"a/y"_s} << u"/tmp/a"_s << u"y"_s;
    QTest::newRow("an absolute path and a folder")
        << QStringList{u"-d"_s, u"/tmp"_s, u"-o"_s, u"/var/y"_s} << u"/var"_s << u"y"_s;
    QTest::newRow("a name that is a folder") << QStringList{u"-o"_s, u"a/"_s} << u"/home/anna/a"_s << QString();
    QTest::newRow("a name that is a folder that is there") << QStringList{u"-o"_s, u"/tmp"_s} << u"/tmp"_s << QString();
    QTest::newRow("a name that is this folder") << QStringList{u"-o"_s, u"a/."_s} << u"/home/anna/a"_s << QString();
    QTest::newRow("a name that is the folder above") << QStringList{u"-o"_s, u".."_s} << u"/home"_s << QString();
    QTest::newRow("a folder below the folder")
        << QStringList{u"-d"_s, u"/tmp"_s, u"-o"_s, u"a/"_s} << u"/tmp/a"_s << QString();
    QTest::newRow("a file of the name -") << QStringList{u"-o"_s, u"./-"_s} << kCurrent << u"-"_s;
    QTest::newRow("a name that begins with a dot") << QStringList{u"-o"_s, u".y"_s} << kCurrent << u".y"_s;
}

void TestArguments::whereTheFileGoes()
{
    QFETCH(QStringList, options);
    const Arguments::Outcome outcome = parse(options + QStringList{kUrl});
    QVERIFY2(outcome.arguments, qPrintable(outcome.text));
    QTEST(outcome.arguments->requests.first().folder, "folder");
    QTEST(outcome.arguments->requests.first().outputName, "name");
}

void TestArguments::whatGoesToStandardOutputIsInNoList()
{
    const Arguments::Outcome outcome = parse({u"-o"_s, u"-"_s, u"http://a/1"_s, u"http://b/2"_s});
    QVERIFY2(outcome.arguments, qPrintable(outcome.text));
    QVERIFY(outcome.arguments->isStreaming());
    QVERIFY(outcome.arguments->requests.at(0).isStreamed && outcome.arguments->requests.at(1).isStreamed);
    QVERIFY(!outcome.arguments->session.isListKept);
    const Arguments::Outcome other = parse({u"-o"_s, u"./-"_s, u"http://a/1"_s});
    QVERIFY(other.arguments && !other.arguments->isStreaming() && other.arguments->session.isListKept);
}

void TestArguments::severalUrlsShareTheOptions()
{
    const Arguments::Outcome outcome = parse({u"http://a/1"_s, u"-d"_s, u"/tmp"_s, u"http://b/2"_s});
    QVERIFY2(outcome.arguments, qPrintable(outcome.text));
    QCOMPARE(outcome.arguments->requests.size(), 2);
    QCOMPARE(outcome.arguments->requests.at(0).url, QUrl(u"http://a/1"_s));
    QCOMPARE(outcome.arguments->requests.at(1).url, QUrl(u"http://b/2"_s));
    QCOMPARE(outcome.arguments->requests.at(1).folder, u"/tmp"_s);
}

void TestArguments::aHeaderDoesNotSwallowTheUrl()
{
    const Arguments::Outcome outcome = parse({u"--header"_s, u"A: 1"_s, u"--header"_s, u"B: 2"_s, kUrl});
    QVERIFY2(outcome.arguments, qPrintable(outcome.text));
    QCOMPARE(outcome.arguments->requests.size(), 1);
    QCOMPARE(outcome.arguments->requests.first().headers, (QVariantMap{{u"A"_s, u"1"_s}, {u"B"_s, u"2"_s}}));
}

void TestArguments::headers_data()
{
    QTest::addColumn<QString>("header");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("value");

    QTest::newRow("with a blank") << u"X-A: b"_s << u"X-A"_s << u"b"_s;
    QTest::newRow("without a blank") << u"X-A:b"_s << u"X-A"_s << u"b"_s;
    QTest::newRow("a colon in the value") << u"X-A: b:c"_s << u"X-A"_s << u"b:c"_s;
    QTest::newRow("an empty value") << u"X-A:"_s << u"X-A"_s << u""_s;
}

void TestArguments::headers()
{
    QFETCH(QString, header);
    QFETCH(QString, name);
    QFETCH(QString, value);
    const Arguments::Outcome outcome = parse({kUrl, u"--header"_s, header});
    QVERIFY2(outcome.arguments, qPrintable(outcome.text));
    QCOMPARE(outcome.arguments->requests.first().headers, (QVariantMap{{name, value}}));
}

void TestArguments::headersForAllAreKeptApart()
{
    const Arguments::Outcome outcome = parse({kUrl, u"--header-for-all"_s, u"X-A: b"_s, u"--header"_s, u"X-C: d"_s});
    QVERIFY2(outcome.arguments, qPrintable(outcome.text));
    QCOMPARE(outcome.arguments->requests.first().headers, (QVariantMap{{u"X-C"_s, u"d"_s}}));
    QCOMPARE(outcome.arguments->requests.first().headersForAll, (QVariantMap{{u"X-A"_s, u"b"_s}}));
}

void TestArguments::headersAreGivenAgain_data()
{
    QTest::addColumn<QStringList>("command");
    for (const char *command : {"resume", "restart", "check"})
        QTest::newRow(command) << QStringList{QString::fromLatin1(command), u"1"_s};
}

void TestArguments::headersAreGivenAgain()
{
    QFETCH(QStringList, command);
    const Arguments::Outcome outcome =
        parse(command + QStringList{u"--header"_s, u"X-A: b"_s, u"--header-for-all"_s, u"X-C: d"_s});
    QVERIFY2(outcome.arguments, qPrintable(outcome.text));
    QCOMPARE(outcome.arguments->ids, QList<qint64>{1});
    QCOMPARE(outcome.arguments->changes.headers, (QVariantMap{{u"X-A"_s, u"b"_s}}));
    QCOMPARE(outcome.arguments->changes.headersForAll, (QVariantMap{{u"X-C"_s, u"d"_s}}));
}

void TestArguments::aNewAddressComesWithItsHeaders()
{
    const Arguments::Outcome outcome = parse({u"set-url"_s, u"1"_s, u"--header"_s, u"X-A: b"_s, kUrl});
    QVERIFY2(outcome.arguments, qPrintable(outcome.text));
    QCOMPARE(outcome.arguments->requests.first().headers, (QVariantMap{{u"X-A"_s, u"b"_s}}));
}

void TestArguments::secretsAreKeptUnderEitherName_data()
{
    QTest::addColumn<QString>("option");
    QTest::newRow("--keep-secrets") << u"--keep-secrets"_s;
    QTest::newRow("--store-secrets") << u"--store-secrets"_s;
}

void TestArguments::secretsAreKeptUnderEitherName()
{
    QFETCH(QString, option);
    const Arguments::Outcome outcome = parse({kUrl, option});
    QVERIFY2(outcome.arguments, qPrintable(outcome.text));
    QVERIFY(outcome.arguments->requests.first().options.storeSecrets);
}

void TestArguments::theLogLevelFollowsTheLog_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<int>("level");

    QTest::newRow("no log named") << QStringList() << 1;
    QTest::newRow("no log at all") << QStringList{u"--log-level"_s, u"0"_s} << 0;
    QTest::newRow("a log") << QStringList{u"--log"_s, u"l"_s} << 4;
    QTest::newRow("a log with a level") << QStringList{u"--log"_s, u"l"_s, u"--log-level"_s, u"1"_s} << 1;
    QTest::newRow("a level alone") << QStringList{u"--log-level"_s, u"1"_s} << 1;
}

void TestArguments::theLogLevelFollowsTheLog()
{
    QFETCH(QStringList, options);
    const Arguments::Outcome outcome = parse(options + QStringList{kUrl});
    QVERIFY2(outcome.arguments, qPrintable(outcome.text));
    QTEST(outcome.arguments->logLevel, "level");
}

void TestArguments::theNumberOfConnectionsIsBounded()
{
    const Arguments::Outcome bare = parse({kUrl});
    QVERIFY(bare.arguments);
    QCOMPARE(bare.arguments->session.usage.maximumConnections, 8);
    QCOMPARE(bare.arguments->session.usage.maximumConnectionsPerServer, 0);
    const Arguments::Outcome chosen = parse({u"-x"_s, u"20"_s, u"--max-connections-per-server"_s, u"3"_s, kUrl});
    QVERIFY2(chosen.arguments, qPrintable(chosen.text));
    QCOMPARE(chosen.arguments->session.usage.maximumConnections, 20);
    QCOMPARE(chosen.arguments->session.usage.maximumConnectionsPerServer, 3);
}

void TestArguments::theConnectionsOfAllTogetherAreBoundedOnlyWhereAsked()
{
    const Arguments::Outcome bare = parse({kUrl});
    QVERIFY(bare.arguments);
    QCOMPARE(bare.arguments->session.allTogether, NetworkUsageSettings());
    const Arguments::Outcome chosen = parse({u"--max-overall-connections"_s, u"20000"_s, kUrl});
    QVERIFY2(chosen.arguments, qPrintable(chosen.text));
    QCOMPARE(chosen.arguments->session.allTogether.maximumConnections, 20000);
    const Arguments::Outcome tooMany = parse({u"--max-overall-connections"_s, u"20001"_s, kUrl});
    QVERIFY(!tooMany.arguments);
    QVERIFY2(tooMany.text.contains(u"20000"_s), qPrintable(tooMany.text));
}

void TestArguments::whatIsWrongIsSaid_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("part");

    const QString url = kUrl;
    QTest::newRow("nothing at all") << QStringList() << u"there is no URL"_s;
    QTest::newRow("no URL") << QStringList{u"-q"_s} << u"there is no URL"_s;
    QTest::newRow("an address that was taken for a name")
        << QStringList{u"-o"_s, url} << u"there is no URL: \"%1\" was taken for the value of --output."_s.arg(url);
    QTest::newRow("a list without an address")
        << QStringList{u"-i"_s, u"/dev/null"_s} << u"there is no URL in \"/dev/null\". Write one a line."_s;
    QTest::newRow("settings in another form") << QStringList{u"config"_s, u"--json"_s} << u"Leave --json out"_s;
    QTest::newRow("a rate that is none") << QStringList{url, u"--limit-rate"_s, u"1X"_s} << u"\"1X\" is no rate"_s;
    QTest::newRow("a negative rate") << QStringList{url, u"--limit-rate=-1"_s} << u"is no rate"_s;
    QTest::newRow("a wait that is none") << QStringList{url, u"--retry-wait"_s, u"x"_s} << u"seconds"_s;
    QTest::newRow("a checksum that is none") << QStringList{url, u"--checksum"_s, u"x"_s} << u"--checksum"_s;
    QTest::newRow("one checksum for two files")
        << QStringList{url, url, u"--checksum"_s, u"md5=d41d8cd98f00b204e9800998ecf8427e"_s} << u"several URLs"_s;
    QTest::newRow("one mirror for two files") << QStringList{url, url, u"--mirror"_s, url} << u"several URLs"_s;
    QTest::newRow("a proxy that is none") << QStringList{url, u"--proxy"_s, u"gopher://x"_s} << u"--proxy"_s;
    QTest::newRow("a policy that there is none of") << QStringList{url, u"--on-exists"_s, u"burn"_s} << u"burn"_s;
    QTest::newRow("no number to show") << QStringList{u"show"_s} << u"ID"_s;
    QTest::newRow("a number that is none") << QStringList{u"show"_s, u"x"_s} << u"\"x\" is no number"_s;
    QTest::newRow("nothing to resume") << QStringList{u"resume"_s} << u"--all"_s;
    QTest::newRow("a new URL for nothing") << QStringList{u"set-url"_s, u"1"_s} << u"ID"_s;
    QTest::newRow("a file of URLs that is not there") << QStringList{u"-i"_s, u"/nowhere/urls"_s} << u"/nowhere/urls"_s;
    QTest::newRow("settings that are not there")
        << QStringList{url, u"--config"_s, u"/nowhere/conf"_s} << u"/nowhere/conf"_s;
    QTest::newRow("an option that there is none of") << QStringList{url, u"--nonsense"_s} << u"--nonsense"_s;
    QTest::newRow("an option without its value") << QStringList{url, u"-d"_s} << u"--dir"_s;
    QTest::newRow("no URL at all") << QStringList{u"example/x"_s} << u"\"example/x\" is no URL"_s;
    QTest::newRow("a command with a slip") << QStringList{u"lsit"_s} << u"Did you mean \"plait list\"?"_s;
    QTest::newRow("IPv6 alone for an IPv4 address")
        << QStringList{u"-6"_s, u"http://127.0.0.1/x"_s} << u"--ipv6 never reaches \"127.0.0.1\""_s;
    QTest::newRow("IPv4 alone for an IPv6 address")
        << QStringList{u"-4"_s, u"http://[::1]/x"_s} << u"--ipv4 never reaches \"[::1]\""_s;
    QTest::newRow("IPv6 alone for a mirror in IPv4")
        << QStringList{u"-6"_s, u"http://[::1]/x"_s, u"--mirror"_s, u"http://127.0.0.1/x"_s}
        << u"--ipv6 never reaches \"127.0.0.1\", which is an IPv4 address. Leave the option out, or this address."_s;
    QTest::newRow("IPv4 alone for a new address in IPv6")
        << QStringList{u"set-url"_s, u"1"_s, u"http://[::1]/x"_s, u"-4"_s} << u"--ipv4 never reaches \"[::1]\""_s;
    QTest::newRow("a URL without a host") << QStringList{u"http:///x"_s} << u"is no URL"_s;
    QTest::newRow("one bad URL among good ones") << QStringList{url, u"x"_s} << u"\"x\" is no URL"_s;
    QTest::newRow("one name for two files") << QStringList{url, url, u"-o"_s, u"y"_s} << u"several URLs"_s;
    QTest::newRow("the file and answers on one output")
        << QStringList{url, u"-o"_s, u"-"_s, u"--json"_s} << u"both need standard output"_s;
    QTest::newRow("no name") << QStringList{url, u"-o"_s, u""_s} << u"names no file"_s;
    QTest::newRow("a header without a colon")
        << QStringList{url, u"--header"_s, u"X"_s} << u"--header \"…\" is no header"_s;
    QTest::newRow("a header without a name") << QStringList{url, u"--header"_s, u": x"_s} << u"is no header"_s;
    QTest::newRow("a header with a blank in its name")
        << QStringList{url, u"--header"_s, u"X A: x"_s} << u"is no header"_s;
    QTest::newRow("a header with a line break")
        << QStringList{url, u"--header"_s, u"X: a\r\nY: b"_s} << u"line break"_s;
    QTest::newRow("a range") << QStringList{url, u"--header"_s, u"Range: bytes=1-"_s}
                             << u"--header \"Range: …\" is not to be set"_s;
    QTest::newRow("a range of a download of the list")
        << QStringList{u"resume"_s, u"1"_s, u"--header-for-all"_s, u"range: x"_s} << u"--header-for-all \"range: …\""_s;
    QTest::newRow("a length") << QStringList{url, u"--header"_s, u"Content-Length: 3"_s}
                              << u"it follows from what is sent"_s;
    QTest::newRow("a host for all") << QStringList{url, u"--header-for-all"_s, u"Host: a"_s}
                                    << u"cannot be right for all"_s;
    QTest::newRow("a user agent with a line break")
        << QStringList{url, u"--user-agent"_s, u"a\nb"_s} << u"line break"_s;
    QTest::newRow("a level that is no number") << QStringList{url, u"--log-level"_s, u"x"_s} << u"--log-level"_s;
    QTest::newRow("a level out of range") << QStringList{url, u"--log-level"_s, u"10"_s} << u"10"_s;
    QTest::newRow("no connections") << QStringList{url, u"-x"_s, u"0"_s} << u"0"_s;
    QTest::newRow("more connections than there can be") << QStringList{url, u"-x"_s, u"21"_s} << u"21"_s;
    QTest::newRow("connections that are no number") << QStringList{url, u"-x"_s, u"many"_s} << u"many"_s;
    QTest::newRow("fewer than no connections to a server")
        << QStringList{url, u"--max-connections-per-server"_s, u"-1"_s} << u"-1"_s;
    QTest::newRow("certificates that are not there")
        << QStringList{url, u"--ca-certificate"_s, u"/nowhere/ca.pem"_s} << u"/nowhere/ca.pem"_s;
}

void TestArguments::whatIsWrongIsSaid()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, part);
    const Arguments::Outcome outcome = parse(arguments);
    QVERIFY(!outcome.arguments);
    QCOMPARE(int(outcome.status), int(ExitStatus::BadOption));
    QVERIFY2(outcome.text.contains(part), qPrintable(outcome.text));
    const bool isSentence = outcome.text.endsWith(u'.') || outcome.text.endsWith(u'?');
    QVERIFY2(isSentence && !outcome.text.contains(u'\n'), qPrintable(outcome.text));
}

void TestArguments::helpNamesEveryOption()
{
    const Arguments::Outcome outcome = parse({u"help"_s, u"options"_s});
    QVERIFY(!outcome.arguments);
    QCOMPARE(int(outcome.status), int(ExitStatus::Done));
    for (const char *option : {"-d",
                               "-o",
                               "-x",
                               "-j",
                               "-i",
                               "-q",
                               "--max-connections-per-server",
                               "--header",
                               "--header-for-all",
                               "--keep-secrets",
                               "--referer",
                               "--user-agent",
                               "--post-data",
                               "--insecure",
                               "--ca-certificate",
                               "--query",
                               "--json",
                               "--log",
                               "--log-level",
                               "--mirror",
                               "--checksum",
                               "--limit-rate",
                               "--max-overall-download-limit",
                               "--load-cookies",
                               "--proxy",
                               "--user",
                               "--netrc",
                               "--tries",
                               "--retry-wait",
                               "--on-exists",
                               "--on-changed",
                               "--on-unresumable",
                               "--progress",
                               "--list",
                               "--config"})
        QVERIFY2(outcome.text.contains(QLatin1String(option)), option);
}

void TestArguments::helpNamesEveryCommand()
{
    const Arguments::Outcome outcome = parse({u"--help"_s});
    QCOMPARE(int(outcome.status), int(ExitStatus::Done));
    for (const char *command :
         {"get", "list", "show", "resume", "restart", "check", "finish", "query", "set-url", "remove", "config"})
        QVERIFY2(outcome.text.contains(QLatin1String(command)), command);
}

void TestArguments::commands_data()
{
    QTest::addColumn<QStringList>("words");
    QTest::addColumn<Command>("command");
    QTest::addColumn<QList<qint64>>("ids");
    const QList<qint64> none;
    QTest::newRow("get") << QStringList{u"get"_s, kUrl} << Command::Get << none;
    QTest::newRow("get with --query") << QStringList{kUrl, u"--query"_s} << Command::Query << none;
    QTest::newRow("query") << QStringList{u"query"_s, kUrl} << Command::Query << none;
    QTest::newRow("list") << QStringList{u"list"_s} << Command::List << none;
    QTest::newRow("show") << QStringList{u"show"_s, u"3"_s} << Command::Show << QList<qint64>{3};
    QTest::newRow("resume") << QStringList{u"resume"_s, u"2"_s, u"1"_s, u"2"_s} << Command::Resume
                            << QList<qint64>{2, 1};
    QTest::newRow("restart") << QStringList{u"restart"_s, u"3"_s} << Command::Restart << QList<qint64>{3};
    QTest::newRow("check") << QStringList{u"check"_s, u"3"_s} << Command::Check << QList<qint64>{3};
    QTest::newRow("finish") << QStringList{u"finish"_s, u"3"_s} << Command::Finish << QList<qint64>{3};
    QTest::newRow("set-url") << QStringList{u"set-url"_s, u"3"_s, kUrl} << Command::SetUrl << QList<qint64>{3};
    QTest::newRow("remove") << QStringList{u"remove"_s, u"3"_s} << Command::Remove << QList<qint64>{3};
    QTest::newRow("config") << QStringList{u"config"_s} << Command::Config << none;
}

void TestArguments::commands()
{
    QFETCH(QStringList, words);
    const Arguments::Outcome outcome = parse(words);
    QVERIFY2(outcome.arguments, qPrintable(outcome.text));
    QTEST(outcome.arguments->command, "command");
    QTEST(outcome.arguments->ids, "ids");
}

void TestArguments::whatIsGivenForOldDownloadsReplacesWhatTheListHas()
{
    DownloadOptions options;
    options.rateLimit = 5;
    options.connections = 6;
    options.onChanged = int(Trouble::Policy::Ask);
    const DownloadOptions before = options;
    parse({u"resume"_s, u"1"_s}).arguments->changes.applyTo(options);
    QCOMPARE(options, before);
    parse({u"resume"_s, u"1"_s, u"--limit-rate"_s, u"0"_s, u"-x"_s, u"2"_s, u"--on-changed"_s, u"restart"_s})
        .arguments->changes.applyTo(options);
    QCOMPARE(options.rateLimit, 0);
    QCOMPARE(options.connections, 2);
    QCOMPARE(options.onChanged, int(Trouble::Policy::Restart));
}

void TestArguments::urlsComeFromAFile()
{
    const QTemporaryDir dir;
    QFile file(dir.filePath(u"urls"_s));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("# mine\n\n  http://a/1  \r\nhttp://b/2\n");
    file.close();
    const Arguments::Outcome outcome = parse({u"-i"_s, file.fileName(), kUrl});
    QVERIFY2(outcome.arguments, qPrintable(outcome.text));
    QStringList urls;
    for (const DownloadRequest &request : outcome.arguments->requests)
        urls.append(request.url.toString());
    QCOMPARE(urls, (QStringList{kUrl, u"http://a/1"_s, u"http://b/2"_s}));
}

void TestArguments::addressesComeAsPeopleHaveThem()
{
    const Arguments::Outcome outcome = parse({u"example.com/a b"_s, u"<http://h/x>"_s, u"localhost:8000/y\r"_s});
    QVERIFY2(outcome.arguments, qPrintable(outcome.text));
    QList<QByteArray> urls;
    for (const DownloadRequest &request : outcome.arguments->requests)
        urls.append(request.url.toEncoded());
    QCOMPARE(urls, (QList<QByteArray>{"https://example.com/a%20b", "http://h/x", "http://localhost:8000/y"}));
    const Arguments::Outcome mirrored = parse({kUrl, u"--mirror"_s, u"mirror.example/x"_s});
    QVERIFY2(mirrored.arguments, qPrintable(mirrored.text));
    QCOMPARE(mirrored.arguments->requests.constFirst().mirrors, QList<QUrl>{QUrl(u"https://mirror.example/x"_s)});
}

void TestArguments::aFileOfAddressesIsNoAddress()
{
    const QTemporaryDir dir;
    QFile file(dir.filePath(u"urls.txt"_s));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.close();
    const Arguments::Outcome outcome = parse({file.fileName()});
    QVERIFY(!outcome.arguments);
    QVERIFY2(outcome.text.contains(u"is a file here"_s) && outcome.text.contains(u"-i "_s), qPrintable(outcome.text));
}

void TestArguments::badLinesOfAFileAreKeptApart()
{
    const QTemporaryDir dir;
    QFile file(dir.filePath(u"urls"_s));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("\xef\xbb\xbfhttp://a/1\nx:\n");
    file.close();
    const Arguments::Outcome outcome = parse({u"-i"_s, file.fileName(), u"-o"_s, u"y"_s});
    QVERIFY2(outcome.arguments, qPrintable(outcome.text));
    QCOMPARE(outcome.arguments->requests.size(), 1);
    QCOMPARE(outcome.arguments->requests.first().url, QUrl(u"http://a/1"_s));
    QCOMPARE(outcome.arguments->requests.first().outputName, u"y"_s);
    QCOMPARE(outcome.arguments->badLines.size(), 1);
    QVERIFY2(outcome.arguments->badLines.first().startsWith(file.fileName() + u":2: "_s),
             qPrintable(outcome.arguments->badLines.first()));
}

void TestArguments::settingsAreDefaults()
{
    const QTemporaryDir dir;
    QFile file(dir.filePath(u"plait.conf"_s));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("max-downloads = 2\nmax-connections = 3\nquiet = true\nlimit = 9\n");
    file.close();
    const Arguments::Outcome outcome = parse({kUrl, u"-j"_s, u"5"_s, u"--config"_s, file.fileName()});
    QVERIFY2(outcome.arguments, qPrintable(outcome.text));
    QCOMPARE(outcome.arguments->queue.mostAtOnce, 5);
    QCOMPARE(outcome.arguments->session.usage.maximumConnections, 3);
    QVERIFY(outcome.arguments->quiet);
    const Arguments::Outcome list = parse({u"list"_s, u"--config"_s, file.fileName()});
    QVERIFY2(list.arguments, qPrintable(list.text));
    QCOMPARE(list.arguments->limit, 9);
    const Arguments::Outcome config = parse({u"config"_s, u"--config"_s, file.fileName()});
    QVERIFY2(config.arguments, qPrintable(config.text));
    QVERIFY2(config.arguments->settings.contains(u"max-connections = 3"_s), qPrintable(config.arguments->settings));
}

void TestArguments::aSettingThatThereIsNoneOfIsSaid_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::newRow("an unknown one") << QByteArray("colour = blue\n");
    QTest::newRow("one that only a command line can mean") << QByteArray("output = x\n");
    QTest::newRow("a secret") << QByteArray("user = anna:b\n");
}

void TestArguments::aSettingThatThereIsNoneOfIsSaid()
{
    QFETCH(QByteArray, line);
    const QTemporaryDir dir;
    QFile file(dir.filePath(u"plait.conf"_s));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(line);
    file.close();
    const Arguments::Outcome outcome = parse({kUrl, u"--config"_s, file.fileName()});
    QVERIFY(!outcome.arguments);
    QCOMPARE(int(outcome.status), int(ExitStatus::BadOption));
    QVERIFY2(outcome.text.contains(u"is no setting"_s), qPrintable(outcome.text));
}

void TestArguments::theVersionIsPrinted()
{
    const Arguments::Outcome outcome = parse({u"--version"_s});
    QVERIFY(!outcome.arguments);
    QCOMPARE(int(outcome.status), int(ExitStatus::Done));
    QVERIFY(outcome.text.startsWith(u"plait "_s));
}

QTEST_GUILESS_MAIN(TestArguments)
#include "tst_arguments.moc"
