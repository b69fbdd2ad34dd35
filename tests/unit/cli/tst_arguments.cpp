// SPDX-License-Identifier: MIT
#include <cli/arguments.h>

#include <QTemporaryDir>
#include <QTest>

#include <vector>

using namespace Qt::StringLiterals;

namespace
{

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
    void aUrlAloneIsEnough();
    void everythingIsRead();
    void whereTheFileGoes_data();
    void whereTheFileGoes();
    void severalUrlsShareTheOptions();
    void aHeaderDoesNotSwallowTheUrl();
    void headers_data();
    void headers();
    void theLogLevelFollowsTheLog_data();
    void theLogLevelFollowsTheLog();
    void theNumberOfConnectionsIsBounded();
    void whatIsWrongIsSaid_data();
    void whatIsWrongIsSaid();
    void helpNamesEveryOption();
    void theVersionIsPrinted();
};

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
    QVERIFY(!outcome.arguments->query && !outcome.arguments->json && !outcome.arguments->quiet);
    QVERIFY(!outcome.arguments->insecure);
    QCOMPARE(outcome.arguments->logLevel, 0);
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
                                              u"--query"_s,
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
    QVERIFY(outcome.arguments->insecure && outcome.arguments->query);
    QVERIFY(outcome.arguments->json && outcome.arguments->quiet);
    QCOMPARE(outcome.arguments->logFile, u"plait.log"_s);
    QCOMPARE(outcome.arguments->logLevel, 2);
    QCOMPARE(outcome.arguments->caCertificatesFile, ca.fileName());
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

void TestArguments::theLogLevelFollowsTheLog_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<int>("level");

    QTest::newRow("no log") << QStringList() << 0;
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
    QCOMPARE(bare.arguments->usage.maximumConnections, 8);
    QCOMPARE(bare.arguments->usage.maximumConnectionsPerServer, 0);
    const Arguments::Outcome chosen = parse({u"-x"_s, u"20"_s, u"--max-connections-per-server"_s, u"3"_s, kUrl});
    QVERIFY2(chosen.arguments, qPrintable(chosen.text));
    QCOMPARE(chosen.arguments->usage.maximumConnections, 20);
    QCOMPARE(chosen.arguments->usage.maximumConnectionsPerServer, 3);
}

void TestArguments::whatIsWrongIsSaid_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("part");

    const QString url = kUrl;
    QTest::newRow("no URL") << QStringList() << u"URL"_s;
    QTest::newRow("an option that there is none of") << QStringList{url, u"--nonsense"_s} << u"--nonsense"_s;
    QTest::newRow("an option without its value") << QStringList{url, u"-d"_s} << u"--dir"_s;
    QTest::newRow("no whole URL") << QStringList{u"example.com/x"_s} << u"\"example.com/x\" is no URL"_s;
    QTest::newRow("a URL without a host") << QStringList{u"http:///x"_s} << u"is no URL"_s;
    QTest::newRow("one bad URL among good ones") << QStringList{url, u"x"_s} << u"\"x\" is no URL"_s;
    QTest::newRow("one name for two files") << QStringList{url, url, u"-o"_s, u"y"_s} << u"several URLs"_s;
    QTest::newRow("a name that is a folder") << QStringList{url, u"-o"_s, u"a/"_s} << u"-o \"a/\" names no file"_s;
    QTest::newRow("a name that is this folder") << QStringList{url, u"-o"_s, u"a/."_s} << u"names no file"_s;
    QTest::newRow("a name that is the folder above") << QStringList{url, u"-o"_s, u".."_s} << u"names no file"_s;
    QTest::newRow("no name") << QStringList{url, u"-o"_s, u""_s} << u"names no file"_s;
    QTest::newRow("a header without a colon") << QStringList{url, u"--header"_s, u"X"_s} << u"\"X\" is no header"_s;
    QTest::newRow("a header without a name") << QStringList{url, u"--header"_s, u": x"_s} << u"is no header"_s;
    QTest::newRow("a header with a blank in its name")
        << QStringList{url, u"--header"_s, u"X A: x"_s} << u"is no header"_s;
    QTest::newRow("a header with a line break")
        << QStringList{url, u"--header"_s, u"X: a\r\nY: b"_s} << u"line break"_s;
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
    QVERIFY2(outcome.text.endsWith(u'.') && !outcome.text.contains(u'\n'), qPrintable(outcome.text));
}

void TestArguments::helpNamesEveryOption()
{
    const Arguments::Outcome outcome = parse({u"--help"_s});
    QVERIFY(!outcome.arguments);
    QCOMPARE(int(outcome.status), int(ExitStatus::Done));
    for (const QString &option : {u"URL"_s, u"-d"_s, u"-o"_s, u"-x"_s, u"--max-connections-per-server"_s, u"--header"_s,
                                  u"--referer"_s, u"--user-agent"_s,
                                  u"--post-data"_s, u"--insecure"_s, u"--ca-certificate"_s, u"--query"_s, u"--json"_s,
                                  u"-q"_s, u"--log"_s, u"--log-level"_s, u"--version"_s})
        QVERIFY2(outcome.text.contains(option), qPrintable(option));
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
