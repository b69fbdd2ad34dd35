// SPDX-License-Identifier: MIT
#include <tests/integration/partway.h>
#include <tests/integration/plaitsandbox.h>
#include <tests/integration/realservers.h>
#include <tests/support/testfiles.h>

#include <QFile>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace
{

constexpr quint64 kSeed = 83;
constexpr qint64 kSize = 3000;
constexpr int kDone = 0;
constexpr int kNotFound = 3;
constexpr int kFileError = 17;
constexpr int kBadOption = 28;
constexpr int kWrong = 32;

}

/// What the list shows of its downloads, and what is done with many of them at once.
class TestPlaitListing : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void whatIsAskedForIsShownInTheOrderOfAdding_data();
    void whatIsAskedForIsShownInTheOrderOfAdding();
    void theNewestAreShownWhereNotAllAre();
    void aFileIsCalledAsItIsOnTheDisk();
    void whatFailedIsTriedAgain();
    void whatIsDoneOrGoneLeavesTheListAndNotTheDisk();
    void aWrongFileHasFailedForEveryCommand();
    void whatCannotBeDeletedStaysInTheList();
    void aFileThatTookThePlaceOfAnotherBelongsToTheLastDownload();
    void aFileThatIsToBeReplacedIsDeletedWithItsDownload();

private:
    QString url(const QString &name) { return m_servers.nginx().url(u'/' + name).toString(); }
    /// Numbers and states, "1 done", as they are shown.
    QStringList shown(const QStringList &arguments = {});

    RealServers m_servers;
    std::unique_ptr<PlaitSandbox> m_plait;
};

void TestPlaitListing::initTestCase()
{
    QVERIFY2(m_servers.start(), qPrintable(m_servers.errorText()));
    for (const QString &name : {u"one.bin"_s, u"two.bin"_s, u"three.bin"_s})
        QVERIFY(m_servers.addFile(name, kSeed, kSize));
}

/// One that failed among three that are done.
void TestPlaitListing::init()
{
    m_plait = std::make_unique<PlaitSandbox>();
    const PlaitResult result = m_plait->run(
        {u"-j"_s, u"1"_s, url(u"one.bin"_s), url(u"missing.bin"_s), url(u"two.bin"_s), url(u"three.bin"_s)});
    QVERIFY2(result.status == kNotFound, result.err);
}

QStringList TestPlaitListing::shown(const QStringList &arguments)
{
    QStringList rows;
    const PlaitResult result = m_plait->runBare(QStringList{u"list"_s} + arguments);
    const QStringList lines = QString::fromUtf8(result.out).split(u'\n', Qt::SkipEmptyParts);
    for (const QString &line : lines)
        rows.append(line.simplified().section(u' ', 0, 1));
    return rows;
}

void TestPlaitListing::whatIsAskedForIsShownInTheOrderOfAdding_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QStringList>("rows");
    const QString failed = u"2 failed"_s;
    QTest::newRow("everything") << QStringList() << QStringList{u"1 done"_s, failed, u"3 done"_s, u"4 done"_s};
    QTest::newRow("what failed") << QStringList{u"--failed"_s} << QStringList{failed};
    QTest::newRow("what is done") << QStringList{u"--done"_s} << QStringList{u"1 done"_s, u"3 done"_s, u"4 done"_s};
    QTest::newRow("what is not") << QStringList{u"--unfinished"_s} << QStringList{failed};
    QTest::newRow("part of a name, in other letters") << QStringList{u"T"_s + u"WO.b"_s} << QStringList{u"3 done"_s};
    QTest::newRow("part of an address") << QStringList{u"/missing"_s} << QStringList{failed};
    QTest::newRow("what nothing has") << QStringList{u"four"_s} << QStringList();
    QTest::newRow("both") << QStringList{u"--done"_s, u"thr"_s} << QStringList{u"4 done"_s};
    QTest::newRow("the newest of those") << QStringList{u"-n"_s, u"1"_s, u"o"_s, u"--done"_s}
                                         << QStringList{u"3 done"_s};
}

void TestPlaitListing::whatIsAskedForIsShownInTheOrderOfAdding()
{
    QFETCH(QStringList, arguments);
    QTEST(shown(arguments), "rows");
}

void TestPlaitListing::theNewestAreShownWhereNotAllAre()
{
    QCOMPARE(shown({u"-n"_s, u"2"_s}), (QStringList{u"3 done"_s, u"4 done"_s}));
    const PlaitResult result = m_plait->runBare({u"list"_s, u"-n"_s, u"2"_s});
    QVERIFY2(result.err.contains("and 2 more"), result.err);
}

void TestPlaitListing::aFileIsCalledAsItIsOnTheDisk()
{
    QCOMPARE(m_plait->run({u"--again"_s, url(u"one.bin"_s)}).status, kDone);
    QVERIFY(m_plait->has(u"one (1).bin"_s));
    const PlaitResult result = m_plait->runBare({u"list"_s, u"-n"_s, u"1"_s});
    QVERIFY2(result.out.trimmed().endsWith("  one (1).bin"), result.out);
}

void TestPlaitListing::whatFailedIsTriedAgain()
{
    QVERIFY(m_servers.addFile(u"missing.bin"_s, kSeed, kSize));
    const PlaitResult result = m_plait->runBare({u"retry"_s, u"--failed"_s});
    QVERIFY(QFile::remove(m_servers.nginx().folder() + u"/missing.bin"_s));
    QVERIFY2(result.status == kDone, result.err);
    QCOMPARE(TestFiles::sha256OfFile(m_plait->path(u"missing.bin"_s)), TestFiles::sha256OfContent(kSeed, kSize));
    QCOMPARE(shown({u"--failed"_s}), QStringList());
    const PlaitResult nothing = m_plait->runBare({u"retry"_s, u"--failed"_s});
    QVERIFY2(nothing.status == kDone && nothing.err.contains("nothing that failed"), nothing.err);
    QCOMPARE(m_plait->runBare({u"retry"_s}).status, kBadOption);
}

void TestPlaitListing::whatIsDoneOrGoneLeavesTheListAndNotTheDisk()
{
    QVERIFY(QFile::remove(m_plait->path(u"two.bin"_s)));
    const PlaitResult result = m_plait->runBare({u"clean"_s});
    QVERIFY2(result.status == kDone && result.err == "3 downloads are off the list; files stay\n", result.err);
    QCOMPARE(shown(), QStringList{u"2 failed"_s});
    QCOMPARE(m_plait->files(), (QStringList{u"one.bin"_s, u"three.bin"_s}));
    const PlaitResult again = m_plait->runBare({u"clean"_s, u"--json"_s});
    QCOMPARE(again.out, QByteArray("{\"count\":0,\"event\":\"cleaned\"}\n"));
}

/// All of it is there, and it is not what was meant.
void TestPlaitListing::aWrongFileHasFailedForEveryCommand()
{
    const QStringList command{u"--again"_s, u"--checksum"_s, u"md5="_s + QString(32, u'0'), url(u"one.bin"_s)};
    QCOMPARE(m_plait->run(command).status, kWrong);
    const QString wrong = u"5 wrong"_s;
    QCOMPARE(shown({u"--done"_s}), (QStringList{u"1 done"_s, u"3 done"_s, u"4 done"_s}));
    QCOMPARE(shown({u"--done"_s, u"one"_s}), QStringList{u"1 done"_s});
    QCOMPARE(shown({u"--failed"_s}), (QStringList{u"2 failed"_s, wrong}));
    QCOMPARE(shown({u"--unfinished"_s}), QStringList{u"2 failed"_s});
    QVERIFY(m_plait->runBare({u"show"_s, u"5"_s}).out.contains("\nstate         wrong\n"));

    QCOMPARE(m_plait->runBare({u"clean"_s}).status, kDone);
    QCOMPARE(shown(), (QStringList{u"2 failed"_s, wrong}));
    const PlaitResult retried = m_plait->runBare({u"retry"_s, u"--failed"_s});
    QVERIFY2(retried.err.contains("is not the file that was meant"), retried.err);
    const PlaitResult again = m_plait->run({url(u"one.bin"_s)});
    QVERIFY2(again.status == kWrong && again.err.contains("plait restart 5"), again.err);
    QCOMPARE(m_plait->files(), (QStringList{u"one (1).bin"_s, u"one.bin"_s, u"three.bin"_s, u"two.bin"_s}));
}

/// Another file stands in its place, and is somebody's.
void TestPlaitListing::whatCannotBeDeletedStaysInTheList()
{
    const QString path = m_plait->path(u"one.bin"_s);
    QVERIFY(QFile::remove(path) && TestFiles::writeFile(path, kSeed + 1, 1));
    const PlaitResult result = m_plait->runBare({u"remove"_s, u"--delete-file"_s, u"1"_s, u"3"_s});
    QVERIFY2(result.status == kFileError && result.err.contains("one.bin\" cannot be deleted"), result.err);
    QCOMPARE(shown(), (QStringList{u"1 done"_s, u"2 failed"_s, u"4 done"_s}));
    QCOMPARE(m_plait->files(), (QStringList{u"one.bin"_s, u"three.bin"_s}));
    const QList<QStringList> commands = PartWay::commandsIn(result.err);
    QCOMPARE(commands, QList<QStringList>({{u"remove"_s, u"1"_s}}));
    QCOMPARE(m_plait->runBare(commands.first()).status, kDone);
    QVERIFY(m_plait->has(u"one.bin"_s));
}

/// Whose name it bears as well loses nothing that was not overwritten already.
void TestPlaitListing::aFileThatTookThePlaceOfAnotherBelongsToTheLastDownload()
{
    QCOMPARE(m_plait->run({u"--again"_s, u"--on-exists"_s, u"overwrite"_s, url(u"one.bin"_s)}).status, kDone);
    const PlaitResult result = m_plait->runBare({u"remove"_s, u"--delete-file"_s, u"1"_s});
    QVERIFY2(result.status == kFileError && result.err.contains("it is another file"), result.err);
    QVERIFY(m_plait->has(u"one.bin"_s));
    QCOMPARE(m_plait->runBare({u"remove"_s, u"--delete-file"_s, u"5"_s}).status, kDone);
    QVERIFY(!m_plait->has(u"one.bin"_s));
    QCOMPARE(m_plait->run({url(u"one.bin"_s)}).status, kDone);
    QVERIFY(m_plait->has(u"one.bin"_s));
}

void TestPlaitListing::aFileThatIsToBeReplacedIsDeletedWithItsDownload()
{
    const QString served = m_servers.nginx().folder() + u"/one.bin"_s;
    QVERIFY(QFile::rename(served, served + u".away"_s));
    const PlaitResult result = m_plait->runBare({u"restart"_s, u"1"_s});
    QVERIFY(QFile::rename(served + u".away"_s, served));
    QCOMPARE(result.status, kNotFound);
    QVERIFY(m_plait->has(u"one.bin"_s));
    QCOMPARE(m_plait->runBare({u"remove"_s, u"--delete-file"_s, u"1"_s}).status, kDone);
    QCOMPARE(m_plait->files(), (QStringList{u"three.bin"_s, u"two.bin"_s}));
}

QTEST_GUILESS_MAIN(TestPlaitListing)
#include "tst_plait_listing.moc"
