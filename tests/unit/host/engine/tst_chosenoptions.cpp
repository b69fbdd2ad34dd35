// SPDX-License-Identifier: MIT
#include <host/engine/chosenoptions.h>
#include <host/options/optionvalues.h>

#include <QJsonArray>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

using Reaction = AbstractDownloadExistingFileReaction;

namespace
{

const QString kFolder = u"/home/anna"_s;

OptionValues valuesOf(const QJsonObject &json)
{
    return OptionValues::fromJson(json);
}

SessionOptions sessionOf(const QJsonObject &json)
{
    return ChosenOptions::session(valuesOf(json), kFolder);
}

DownloadRequest requestOf(const QJsonObject &json, const QString &folder = kFolder)
{
    Clause problem;
    const DownloadRequest request = ChosenOptions::request(valuesOf(json), folder, &problem);
    if (!problem.isEmpty())
        qWarning().noquote() << problem.plain();
    return request;
}

}

class TestChosenOptions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whereTheFileGoes_data();
    void whereTheFileGoes();
    void aNameThatIsNoneIsSaid();
    void whatIsSentAlong();
    void headersAreNamesAndValues_data();
    void headersAreNamesAndValues();
    void whatToDoWithAFileInTheWay_data();
    void whatToDoWithAFileInTheWay();
    void secretsAreKeptOnlyWhereAsked();
    void whatIsGivenAnewIsWhatTheListKeeps();
    void pathsAreThoseOfTheFolder_data();
    void pathsAreThoseOfTheFolder();
    void limitsAreOfOneDownloadOrOfAll();
    void aLoginIsANameAndAPassword_data();
    void aLoginIsANameAndAPassword();
    void filesOfThisMachineAreFoundFromTheFolder();
    void howServersAreReached();
    void whatNobodyChoseLeavesTheNetworkAsItIs();
};

void TestChosenOptions::whereTheFileGoes_data()
{
    QTest::addColumn<QString>("dir");
    QTest::addColumn<QString>("output");
    QTest::addColumn<QString>("folder"); // a blank stands for the folder that is there
    QTest::addColumn<QString>("name");
    const auto row = [](const char *title, const QString &dir, const QString &output, const QString &folder,
                        const QString &name) { QTest::newRow(title) << dir << output << folder << name; };
    row("nowhere in particular", {}, {}, u" "_s, {});
    row("into a folder", u"sub"_s, {}, u" /sub"_s, {});
    row("into one from the root on", u"/tmp"_s, {}, u"/tmp"_s, {});
    row("into one by a way around", u"a/../b/."_s, {}, u" /b"_s, {});
    row("under a name", {}, u"y.bin"_s, u" "_s, u"y.bin"_s);
    row("under a name in a folder", u"sub"_s, u"y.bin"_s, u" /sub"_s, u"y.bin"_s);
    row("under a path", u"sub"_s, u"a/y.bin"_s, u" /sub/a"_s, u"y.bin"_s);
    row("under one from the root on", u"sub"_s, u"/tmp/y.bin"_s, u"/tmp"_s, u"y.bin"_s);
    row("into a folder that is not there yet", {}, u"new/"_s, u" /new"_s, {});
    row("into a folder that is there", {}, u"there"_s, u" /there"_s, {});
    row("here", {}, u"."_s, u" "_s, {});
    row("above here", u"sub"_s, u".."_s, u" "_s, {});
}

void TestChosenOptions::whereTheFileGoes()
{
    QFETCH(QString, dir);
    QFETCH(QString, output);
    QFETCH(QString, folder);
    const QTemporaryDir home;
    QVERIFY(QDir(home.path()).mkdir(u"there"_s));
    QJsonObject chosen;
    if (!dir.isEmpty())
        chosen.insert(u"dir"_s, dir);
    if (!output.isEmpty())
        chosen.insert(u"output"_s, output);
    const DownloadRequest request = requestOf(chosen, home.path());
    QCOMPARE(request.folder, folder.replace(u' ', home.path()));
    QTEST(request.outputName, "name");
    QVERIFY(!request.isStreamed);
}

void TestChosenOptions::aNameThatIsNoneIsSaid()
{
    Clause problem;
    ChosenOptions::request(valuesOf({{u"output"_s, u""_s}}), kFolder, &problem);
    QCOMPARE(problem, Clause(Clause::Kind::NamesNoFile, {QString()}));
    problem = Clause(u"as it was"_s);
    for (const QString &output : {u"-"_s, u"/dev/stdout"_s, u"/dev/fd/1"_s, u"/proc/self/fd/1"_s}) {
        const DownloadRequest streamed = ChosenOptions::request(valuesOf({{u"output"_s, output}}), kFolder, &problem);
        QCOMPARE(problem, Clause(u"as it was"_s));
        QVERIFY2(streamed.isStreamed && streamed.outputName.isEmpty(), qPrintable(output));
    }
}

void TestChosenOptions::whatIsSentAlong()
{
    const DownloadRequest request = requestOf({{u"referer"_s, u"http://r/"_s},
                                               {u"user-agent"_s, u"Me/1"_s},
                                               {u"post-data"_s, u"a=ä"_s},
                                               {u"mirror"_s, QJsonArray{u"http://m/x"_s, u"http://n/a b"_s}}});
    QCOMPARE(request.referer, u"http://r/"_s);
    QCOMPARE(request.userAgent, u"Me/1"_s);
    QCOMPARE(request.postData, QByteArray("a=ä"));
    QCOMPARE(request.mirrors, (QList<QUrl>{QUrl(u"http://m/x"_s), QUrl(u"http://n/a%20b"_s)}));
}

void TestChosenOptions::headersAreNamesAndValues_data()
{
    QTest::addColumn<QJsonArray>("lines");
    QTest::addColumn<QVariantMap>("headers");
    QTest::newRow("none") << QJsonArray() << QVariantMap();
    QTest::newRow("blanks around the value") << QJsonArray{u"A:  b c "_s} << QVariantMap{{u"A"_s, u"b c"_s}};
    QTest::newRow("a colon in the value") << QJsonArray{u"A: b:c"_s} << QVariantMap{{u"A"_s, u"b:c"_s}};
    QTest::newRow("no value") << QJsonArray{u"A:"_s} << QVariantMap{{u"A"_s, u""_s}};
    QTest::newRow("one name twice") << QJsonArray{u"A: b"_s, u"A: c"_s} << QVariantMap{{u"A"_s, u"c"_s}};
}

void TestChosenOptions::headersAreNamesAndValues()
{
    QFETCH(QJsonArray, lines);
    QTEST(requestOf({{u"header"_s, lines}}).headers, "headers");
    QTEST(requestOf({{u"header-for-all"_s, lines}}).headersForAll, "headers");
    const OptionChanges changes = ChosenOptions::changes(valuesOf({{u"header"_s, lines}}));
    QTEST(changes.headers, "headers");
    QVERIFY(changes.headersForAll.isEmpty());
}

void TestChosenOptions::whatToDoWithAFileInTheWay_data()
{
    QTest::addColumn<QString>("word"); // empty = nothing was said
    QTest::addColumn<Reaction>("reaction");
    QTest::addColumn<bool>("isAsGood");
    QTest::newRow("nothing was said") << QString() << Reaction::NotSet << false;
    QTest::newRow("rename") << u"rename"_s << Reaction::Rename << false;
    QTest::newRow("overwrite") << u"overwrite"_s << Reaction::Overwrite << false;
    QTest::newRow("ask") << u"ask"_s << Reaction::Ask << false;
    QTest::newRow("skip") << u"skip"_s << Reaction::Skip << true;
    QTest::newRow("fail") << u"fail"_s << Reaction::Skip << false;
}

void TestChosenOptions::whatToDoWithAFileInTheWay()
{
    QFETCH(QString, word);
    const DownloadRequest request = requestOf(word.isEmpty() ? QJsonObject() : QJsonObject{{u"on-exists"_s, word}});
    QTEST(request.onExists, "reaction");
    QTEST(request.options.skipExisting, "isAsGood");
}

void TestChosenOptions::secretsAreKeptOnlyWhereAsked()
{
    const DownloadRequest forgotten = requestOf({{u"user"_s, u"anna:pw"_s}});
    QVERIFY(!forgotten.options.storeSecrets && forgotten.options.user.isEmpty() && forgotten.changes.user.isEmpty());
    const DownloadRequest kept = requestOf({{u"user"_s, u"anna:p:w"_s}, {u"keep-secrets"_s, true}});
    QVERIFY(kept.options.storeSecrets && kept.changes.storeSecrets);
    QCOMPARE(kept.options.user, u"anna"_s);
    QCOMPARE(kept.options.password, u"p:w"_s);
    QCOMPARE(kept.changes.password, u"p:w"_s);
}

void TestChosenOptions::whatIsGivenAnewIsWhatTheListKeeps()
{
    const OptionChanges changes = ChosenOptions::changes(
        valuesOf({{u"limit-rate"_s, 2048}, {u"tries"_s, 7}, {u"dir"_s, u"sub"_s}, {u"on-changed"_s, u"restart"_s}}));
    QCOMPARE(changes.values.toJson(), (QJsonObject{{u"limit-rate"_s, 2048}, {u"on-changed"_s, u"restart"_s}}));
}

void TestChosenOptions::pathsAreThoseOfTheFolder_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("absolute");
    QTest::newRow("none") << QString() << QString();
    QTest::newRow("below") << u"a/b"_s << kFolder + u"/a/b"_s;
    QTest::newRow("from the root on") << u"/etc/x"_s << u"/etc/x"_s;
    QTest::newRow("beside") << u"../bert/x"_s << u"/home/bert/x"_s;
}

void TestChosenOptions::pathsAreThoseOfTheFolder()
{
    QFETCH(QString, path);
    QTEST(ChosenOptions::absolute(path, kFolder), "absolute");
}

void TestChosenOptions::limitsAreOfOneDownloadOrOfAll()
{
    const QJsonObject chosen{{u"max-connections"_s, 3},
                             {u"max-connections-per-server"_s, 2},
                             {u"max-overall-connections"_s, 30},
                             {u"max-overall-connections-per-server"_s, 20},
                             {u"limit-rate"_s, 1000},
                             {u"max-overall-download-limit"_s, 5000},
                             {u"max-downloads"_s, 7},
                             {u"tries"_s, 0},
                             {u"retry-wait"_s, 2.5}};
    const SessionOptions session = sessionOf(chosen);
    QCOMPARE(session.usage.maximumConnections, 3);
    QCOMPARE(session.usage.maximumConnectionsPerServer, 2);
    QCOMPARE(session.usage.downloadLimit, 1000);
    QCOMPARE(session.allTogether.maximumConnections, 30);
    QCOMPARE(session.allTogether.maximumConnectionsPerServer, 20);
    QCOMPARE(session.allTogether.downloadLimit, 0);
    const QueueOptions queue = ChosenOptions::queue(valuesOf(chosen));
    QCOMPARE(queue.mostAtOnce, 7);
    QCOMPARE(queue.mostTries, 0);
    QCOMPARE(queue.speedLimit, 5000);
    QCOMPARE(queue.retryWaitMs, 2500);
    QVERIFY(!queue.canAsk);
}

void TestChosenOptions::aLoginIsANameAndAPassword_data()
{
    QTest::addColumn<QString>("login");
    QTest::addColumn<QString>("user");
    QTest::addColumn<QString>("password");
    QTest::newRow("both") << u"anna:pw"_s << u"anna"_s << u"pw"_s;
    QTest::newRow("a colon in the password") << u"anna:a:b"_s << u"anna"_s << u"a:b"_s;
    QTest::newRow("no password") << u"anna"_s << u"anna"_s << QString();
    QTest::newRow("blanks are letters like others") << u" anna : p "_s << u" anna "_s << u" p "_s;
}

/// It is for the servers of all addresses that the person gave.
void TestChosenOptions::aLoginIsANameAndAPassword()
{
    QFETCH(QString, login);
    const QList<Credential> credentials = sessionOf({{u"user"_s, login}}).network.credentials;
    QCOMPARE(credentials.size(), 1);
    QTEST(credentials.constFirst().user, "user");
    QTEST(credentials.constFirst().password, "password");
    QVERIFY(credentials.constFirst().origin.isEmpty() && credentials.constFirst().bearer.isEmpty());
}

void TestChosenOptions::filesOfThisMachineAreFoundFromTheFolder()
{
    const QTemporaryDir home;
    for (const char *name : {"ca.pem", "cookies", "logins", "me.pem", "me.key"}) {
        QFile file(home.filePath(QString::fromLatin1(name)));
        QVERIFY(file.open(QIODevice::WriteOnly));
    }
    OptionValues values;
    const auto give = [&values](const QString &name, const QString &value) {
        values.give(*OptionTable::ofHost().find(name), {value, {}});
    };
    give(u"ca-certificate"_s, u"ca.pem"_s);
    give(u"load-cookies"_s, u"cookies"_s);
    give(u"netrc-file"_s, u"logins"_s);
    give(u"cert"_s, u"me.pem"_s);
    give(u"key"_s, u"me.key"_s);
    give(u"key-password"_s, u"ä"_s);
    const SessionOptions session = ChosenOptions::session(values, home.path());
    QCOMPARE(session.caCertificatesFile, home.filePath(u"ca.pem"_s));
    QCOMPARE(session.network.cookiesFile, home.filePath(u"cookies"_s));
    QCOMPARE(session.network.netrcFile, home.filePath(u"logins"_s));
    QVERIFY2(session.network.netrc, "who names the file means it");
    QCOMPARE(session.network.path.certificateFile, home.filePath(u"me.pem"_s));
    QCOMPARE(session.network.path.keyFile, home.filePath(u"me.key"_s));
    QCOMPARE(session.network.path.keyPassword, QByteArray("ä"));
}

void TestChosenOptions::howServersAreReached()
{
    OptionValues values;
    const auto give = [&values](const QString &name, const QVariant &value) {
        values.give(*OptionTable::ofHost().find(name), {value, {}});
    };
    give(u"proxy"_s, u"me:pw@p:3128"_s);
    give(u"interface"_s, u"lo"_s);
    give(u"ipv6"_s, true);
    give(u"resolve"_s, u"a:1:127.0.0.1"_s);
    give(u"resolve"_s, u"b:2:127.0.0.1"_s);
    give(u"connect-timeout"_s, qint64(1500));
    give(u"timeout"_s, qint64(2500));
    give(u"insecure"_s, true);
    give(u"no-remote-time"_s, true);
    give(u"netrc"_s, true);
    const SessionOptions session = ChosenOptions::session(values, kFolder);
    QVERIFY(session.ignoreSslErrors && !session.takesServersTime);
    QVERIFY(session.network.netrc && session.network.netrcFile.isEmpty());
    QCOMPARE(session.network.proxy, QUrl(u"http://me:pw@p:3128"_s));
    const NetworkPath &path = session.network.path;
    QCOMPARE(path.interface, u"lo"_s);
    QCOMPARE(path.family, NetworkPath::Family::IPv6);
    QCOMPARE(path.resolved, (QStringList{u"a:1:127.0.0.1"_s, u"b:2:127.0.0.1"_s}));
    QCOMPARE(path.connectTimeoutMs, 1500);
    QCOMPARE(path.silenceTimeoutMs, 2500);
    QCOMPARE(ChosenOptions::session(valuesOf({{u"ipv4"_s, true}}), kFolder).network.path.family,
             NetworkPath::Family::IPv4);
}

void TestChosenOptions::whatNobodyChoseLeavesTheNetworkAsItIs()
{
    const SessionOptions session = sessionOf({});
    QVERIFY(!session.ignoreSslErrors && session.takesServersTime && session.isListKept);
    QVERIFY(session.network.proxy.isEmpty() && session.network.useEnvironmentProxies);
    QVERIFY(session.network.credentials.isEmpty() && !session.network.netrc && session.network.cookiesFile.isEmpty());
    QCOMPARE(session.network.path.family, NetworkPath::Family::Any);
    QVERIFY(session.network.path.resolved.isEmpty() && session.network.path.certificateFile.isEmpty());
    QCOMPARE(requestOf({}).onExists, Reaction::NotSet);
}

QTEST_GUILESS_MAIN(TestChosenOptions)
#include "tst_chosenoptions.moc"
