// SPDX-License-Identifier: MIT
#include <tests/integration/plaitsandbox.h>
#include <tests/integration/realservers.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/sqlfile.h>
#include <tests/support/testfiles.h>

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

constexpr quint64 kSeed = 77;
constexpr qint64 kSize = 400000;
constexpr int kFiles = 12;

QString nameOf(int index)
{
    return u"file%1.bin"_s.arg(index);
}

QVariant valueIn(const QString &list, const QString &statement)
{
    return SqlFile(list).value(statement);
}

/// Runs the command that a message names: Run "plait …".
PlaitResult pasted(const PlaitSandbox &sandbox, const QByteArray &message)
{
    static const QRegularExpression named(u"Run \"(plait [^\"]*)\""_s);
    QProcessEnvironment environment = sandbox.environment();
    environment.insert(u"PLAIT"_s, PlaitSandbox::program());
    QProcess shell;
    shell.setProcessEnvironment(environment);
    shell.start(u"sh"_s,
                {u"-c"_s, u"plait() { \"$PLAIT\" \"$@\"; }; "_s + named.match(QString::fromUtf8(message)).captured(1)});
    const bool hasEnded = shell.waitForFinished(PlaitSandbox::kPatienceMs);
    const QByteArray out = shell.readAllStandardOutput();
    return {hasEnded ? shell.exitCode() : -1, out, shell.readAllStandardError()};
}

QString refusedUrl()
{
    return u"http://127.0.0.1:%1/x.bin"_s.arg(ScriptedServer::refusedPort());
}

}

/// Several processes at work on one list, and lists that are damaged.
class TestPlaitList : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void twoProcessesUseOneListAtOnce();
    void whatIsNoFileInTheListsPlaceIsSaidAtOnce_data();
    void whatIsNoFileInTheListsPlaceIsSaidAtOnce();
    void aDamagedListIsSaidByEveryCommand_data();
    void aDamagedListIsSaidByEveryCommand();
    void aDamagedListIsCheckedAndRepaired();
    void whatWasSetAsideIsBroughtOverOnce();
    void commandsThatAreNamedWorkAsTheyArePasted();
    void withoutAPlaceForItTheListIsInMemory_data();
    void withoutAPlaceForItTheListIsInMemory();
    void withoutAHomeFolderNothingIsPutIntoTheRoot();
    void withoutAHomeFolderConfigNamesNoPlaces();
    void whoWantsNoListGetsNone();
    void aNamedListHasToBeUsable();

private:
    static QString listOf(const PlaitSandbox &sandbox) { return sandbox.dataHome() + "/plait/downloads.sqlite"_L1; }
    static QStringList setAside(const PlaitSandbox &sandbox);
    /// A list with one download that lacks a table.
    void makeDamagedList(PlaitSandbox &sandbox);

    RealServers m_servers;
};

void TestPlaitList::initTestCase()
{
    QVERIFY2(m_servers.start(), qPrintable(m_servers.errorText()));
    for (int i = 0; i < kFiles; ++i)
        QVERIFY(m_servers.addFile(nameOf(i), kSeed + quint64(i), kSize));
}

void TestPlaitList::twoProcessesUseOneListAtOnce()
{
    PlaitSandbox first;
    PlaitSandbox second;
    // The second one's list is the first one's.
    QVERIFY(QDir().rmdir(second.dataHome()));
    QVERIFY(QFile::link(first.dataHome(), second.dataHome()));
    QStringList urls[2];
    for (int i = 0; i < kFiles; ++i)
        urls[i % 2].append(m_servers.nginx().url(u"/rate/300k/"_s + nameOf(i)).toString());
    first.start(urls[0]);
    second.start(urls[1]);
    for (PlaitSandbox *sandbox : {&first, &second}) {
        const PlaitResult result = sandbox->finish();
        QVERIFY2(result.status == 0, result.err.constData());
        QVERIFY2(!result.err.contains("the list"), result.err.constData());
    }
    for (int i = 0; i < kFiles; ++i) {
        const PlaitSandbox &sandbox = i % 2 == 0 ? first : second;
        QCOMPARE(TestFiles::sha256OfFile(sandbox.path(nameOf(i))),
                 TestFiles::sha256OfContent(kSeed + quint64(i), kSize));
    }
    const QString list = first.dataHome() + "/plait/downloads.sqlite"_L1;
    QCOMPARE(valueIn(list, u"SELECT count(*) FROM downloads WHERE finished = 1 AND owner_pid IS NULL"_s).toInt(),
             kFiles);
    QCOMPARE(valueIn(list, u"PRAGMA integrity_check"_s).toString(), u"ok"_s);
}

QStringList TestPlaitList::setAside(const PlaitSandbox &sandbox)
{
    const QStringList names = QDir(sandbox.dataHome() + "/plait"_L1).entryList({u"*.damaged-*"_s}, QDir::Files);
    return names.filter(QRegularExpression(u"\\d$"_s));
}

void TestPlaitList::makeDamagedList(PlaitSandbox &sandbox)
{
    const PlaitResult result = sandbox.run({m_servers.nginx().url(u"/"_s + nameOf(0)).toString()});
    QVERIFY2(result.status == 0, result.err.constData());
    QCOMPARE(valueIn(listOf(sandbox), u"DROP TABLE mirrors"_s), QVariant());
    QVERIFY(valueIn(listOf(sandbox), u"SELECT count(*) FROM mirrors"_s).isNull());
}

void TestPlaitList::whatIsNoFileInTheListsPlaceIsSaidAtOnce_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("word");
    const QString list = u"downloads.sqlite"_s;
    QTest::newRow("a folder") << list << u"mkdir \"$0\""_s << u"a folder"_s;
    QTest::newRow("a pipe") << list << u"mkfifo \"$0\""_s << u"a named pipe"_s;
    QTest::newRow("a device") << list << u"ln -s /dev/zero \"$0\""_s << u"a device"_s;
    QTest::newRow("a link to nowhere") << list << u"ln -s nowhere \"$0\""_s << u"a link that leads nowhere"_s;
    QTest::newRow("a link to itself") << list << u"ln -s \"$0\" \"$0\""_s << u"a link that leads nowhere"_s;
    QTest::newRow("a socket")
        << list << u"python3 -c 'import socket, sys; socket.socket(socket.AF_UNIX).bind(sys.argv[1])' \"$0\""_s
        << u"a socket"_s;
    QTest::newRow("a pipe for its journal") << list + "-journal"_L1 << u"mkfifo \"$0\""_s << u"a named pipe"_s;
    QTest::newRow("a pipe for its log") << list + "-wal"_L1 << u"mkfifo \"$0\""_s << u"a named pipe"_s;
}

void TestPlaitList::whatIsNoFileInTheListsPlaceIsSaidAtOnce()
{
    QFETCH(QString, name);
    QFETCH(QString, command);
    QFETCH(QString, word);
    PlaitSandbox sandbox;
    const QDir folder(sandbox.dataHome() + "/plait"_L1);
    QVERIFY(folder.mkpath(u"."_s));
    QCOMPARE(QProcess::execute(u"/bin/sh"_s, {u"-c"_s, command, folder.filePath(name)}), 0);
    const QString url = m_servers.nginx().url(u"/"_s + nameOf(0)).toString();
    for (const QStringList &arguments :
         {QStringList{u"list"_s}, {url}, {u"list"_s, u"--check"_s}, {u"list"_s, u"--repair"_s}, {u"show"_s, u"1"_s}}) {
        const PlaitResult result = sandbox.runBare(arguments);
        QCOMPARE(result.status, 1);
        QVERIFY2(result.err.contains(word.toUtf8()) && result.err.contains("out of the way"), result.err.constData());
    }
    QCOMPARE(folder.entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot), QStringList{name});
    QVERIFY(sandbox.files().isEmpty());
}

void TestPlaitList::aDamagedListIsSaidByEveryCommand_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("status");
    QTest::newRow("list") << QStringList{u"list"_s} << 0;
    QTest::newRow("show") << QStringList{u"show"_s, u"1"_s} << 1;
    QTest::newRow("resume") << QStringList{u"resume"_s, u"1"_s} << 1;
    QTest::newRow("get") << QStringList{u"URL"_s} << 0;
}

void TestPlaitList::aDamagedListIsSaidByEveryCommand()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, status);
    PlaitSandbox sandbox;
    makeDamagedList(sandbox);
    arguments.replaceInStrings(u"URL"_s, m_servers.nginx().url(u"/"_s + nameOf(1)).toString());
    const PlaitResult result = sandbox.runBare(arguments);
    QCOMPARE(result.status, status);
    QCOMPARE(setAside(sandbox).size(), 1);
    QVERIFY2(result.err.contains("the table \"mirrors\" is missing"), result.err.constData());
    QVERIFY2(result.err.contains(setAside(sandbox).first().toUtf8()), result.err.constData());
}

void TestPlaitList::aDamagedListIsCheckedAndRepaired()
{
    PlaitSandbox sandbox;
    makeDamagedList(sandbox);
    const PlaitResult found = sandbox.runBare({u"list"_s, u"--check"_s});
    QCOMPARE(found.status, 1);
    QVERIFY2(found.out.contains("the table \"mirrors\" is missing"), found.out.constData());
    QVERIFY(setAside(sandbox).isEmpty());
    const PlaitResult repaired = sandbox.runBare({u"list"_s, u"--repair"_s});
    QVERIFY2(repaired.status == 0, (repaired.out + repaired.err).constData());
    QCOMPARE(setAside(sandbox).size(), 1);
    QVERIFY2(repaired.out.contains("brought over") && repaired.out.contains(setAside(sandbox).first().toUtf8()),
             repaired.out.constData());
    const PlaitResult whole = sandbox.runBare({u"list"_s, u"--check"_s});
    QVERIFY2(whole.status == 0 && whole.out.contains("downloads: 1"), whole.out.constData());
    const PlaitResult again = sandbox.runBare({u"list"_s, u"--repair"_s});
    QVERIFY2(again.status == 0 && again.out.contains("nothing to repair"), again.out.constData());
    QVERIFY(sandbox.runBare({u"list"_s}).out.contains("done"));
}

void TestPlaitList::whatWasSetAsideIsBroughtOverOnce()
{
    PlaitSandbox sandbox;
    makeDamagedList(sandbox);
    QVERIFY(sandbox.runBare({u"list"_s}).out.isEmpty());
    const QString aside = QDir(sandbox.dataHome() + "/plait"_L1).filePath(setAside(sandbox).first());
    QCOMPARE(sandbox.runBare({u"list"_s, u"--check"_s, aside}).status, 1);
    for (const QByteArray brought : {"\"brought\":1", "\"brought\":0"}) {
        const PlaitResult result = sandbox.runBare({u"list"_s, u"--repair"_s, aside, u"--json"_s});
        QVERIFY2(result.status == 0 && result.out.contains(brought), (result.out + result.err).constData());
    }
    QCOMPARE(valueIn(listOf(sandbox), u"SELECT count(*) FROM downloads WHERE finished = 1"_s).toInt(), 1);
    QCOMPARE(setAside(sandbox).size(), 1);
}

void TestPlaitList::commandsThatAreNamedWorkAsTheyArePasted()
{
    PlaitSandbox sandbox;
    const QString list = sandbox.path(u"anna's list.sqlite"_s);
    const QStringList ofThisList{u"--list"_s, list};
    QCOMPARE(sandbox.run({u"--list"_s, list, m_servers.nginx().url(u"/"_s + nameOf(0)).toString()}).status, 0);
    QCOMPARE(valueIn(list, u"DROP TABLE mirrors"_s), QVariant());
    const PlaitResult damaged = sandbox.runBare(QStringList{u"list"_s, u"--check"_s} + ofThisList);
    const PlaitResult repaired = pasted(sandbox, damaged.out);
    QVERIFY2(repaired.status == 0 && repaired.out.contains("brought over"), damaged.out + repaired.err);
    const PlaitResult unknown = sandbox.runBare(QStringList{u"show"_s, u"9"_s} + ofThisList);
    const PlaitResult shown = pasted(sandbox, unknown.err);
    QVERIFY2(shown.status == 0 && shown.out.contains(nameOf(0).toUtf8()), unknown.err + shown.err);
}

void TestPlaitList::withoutAPlaceForItTheListIsInMemory_data()
{
    QTest::addColumn<QString>("home");
    QTest::addColumn<QByteArray>("reason");
    QTest::newRow("no home folder") << QString() << QByteArray("there is no home folder");
    QTest::newRow("a home folder that is none") << u"/dev/null"_s << QByteArray("cannot be written");
}

void TestPlaitList::withoutAPlaceForItTheListIsInMemory()
{
    QFETCH(QString, home);
    QFETCH(QByteArray, reason);
    PlaitSandbox plait;
    plait.setVariable(u"HOME"_s, home);
    plait.setVariable(u"XDG_DATA_HOME"_s, QString());
    plait.setVariable(u"XDG_STATE_HOME"_s, plait.dataHome());
    const PlaitResult result = plait.run({m_servers.nginx().url(u"/"_s + nameOf(0)).toString()});
    QCOMPARE(result.status, 0);
    QCOMPARE(plait.files(), QStringList{nameOf(0)});
    QVERIFY2(result.err.contains(reason) && result.err.contains("kept in memory"), result.err.constData());
    QVERIFY(!QFile::exists(u"/.local/share/plait"_s));
    const PlaitResult failed = plait.run({u"--tries"_s, u"1"_s, refusedUrl()});
    QVERIFY2(failed.status != 0 && failed.err.contains("again to begin anew"), failed.err);
}

void TestPlaitList::withoutAHomeFolderNothingIsPutIntoTheRoot()
{
    PlaitSandbox plait;
    for (const QString &variable : {u"HOME"_s, u"XDG_DATA_HOME"_s, u"XDG_STATE_HOME"_s, u"XDG_CONFIG_HOME"_s})
        plait.setVariable(variable, QString());
    const PlaitResult result = plait.run({m_servers.nginx().url(u"/"_s + nameOf(0)).toString()});
    QCOMPARE(result.status, 0);
    QVERIFY2(result.err.contains("kept in memory") && result.err.contains("There is no log, either"), result.err);
    QCOMPARE(result.err.count("no home folder"), 1);
    const PlaitResult quiet = plait.run({u"-q"_s, u"--again"_s, m_servers.nginx().url(u"/"_s + nameOf(0)).toString()});
    QVERIFY2(quiet.status == 0 && quiet.err.isEmpty(), quiet.err);
    QVERIFY(!QFile::exists(u"/.local/share/plait"_s));
    const PlaitResult repair = plait.runBare({u"list"_s, u"--repair"_s, u"/nowhere"_s});
    QVERIFY2(repair.status != 0 && repair.err.contains("no home folder to keep a list in"), repair.err.constData());
}

void TestPlaitList::withoutAHomeFolderConfigNamesNoPlaces()
{
    PlaitSandbox plait;
    for (const QString &variable : {u"HOME"_s, u"XDG_DATA_HOME"_s, u"XDG_STATE_HOME"_s, u"XDG_CONFIG_HOME"_s})
        plait.setVariable(variable, QString());
    const PlaitResult result = plait.runBare({u"config"_s});
    QCOMPARE(result.status, 0);
    for (const char *what : {"settings file", "list", "log"})
        QVERIFY2(result.out.contains(QByteArray("# ") + what + ": none"), result.out.constData());
}

void TestPlaitList::whoWantsNoListGetsNone()
{
    PlaitSandbox plait;
    const PlaitResult result = plait.run({u"--no-list"_s, m_servers.nginx().url(u"/"_s + nameOf(0)).toString()});
    QCOMPARE(result.status, 0);
    QCOMPARE(plait.files(), QStringList{nameOf(0)});
    QVERIFY2(!result.err.contains("memory"), result.err.constData());
    QVERIFY(!QFile::exists(listOf(plait)));
    const PlaitResult failed = plait.run({u"--no-list"_s, u"--tries"_s, u"1"_s, refusedUrl()});
    QVERIFY2(failed.status != 0 && failed.err.contains("again to begin anew"), failed.err);
    QVERIFY2(!failed.err.contains("resume"), failed.err);
}

void TestPlaitList::aNamedListHasToBeUsable()
{
    PlaitSandbox plait;
    const PlaitResult result =
        plait.run({u"--list"_s, u"/dev/null/list"_s, m_servers.nginx().url(u"/"_s + nameOf(0)).toString()});
    QCOMPARE(result.status, 1);
    QVERIFY2(result.err.contains("cannot open the list"), result.err.constData());
    QCOMPARE(plait.files(), QStringList());
}

QTEST_GUILESS_MAIN(TestPlaitList)
#include "tst_plait_list.moc"
