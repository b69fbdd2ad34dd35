// SPDX-License-Identifier: MIT
#include <tests/integration/plaitsandbox.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/sqlfile.h>
#include <tests/support/testfiles.h>

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QTest>
#include <QVariant>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <functional>
#include <memory>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace
{
constexpr int kDone = 0;
constexpr int kUnknown = 1;
constexpr int kUnfinished = 7;
constexpr int kEndedAtOnce = 130;
/// Signals that come sooner after the first one are the same wish, ms.
constexpr qint64 kOneWishMs = 300;

constexpr qint64 kSize = 300000; // too small to be split
constexpr qint64 kWord = 16;
const QStringList kNames{u"one.bin"_s, u"two.bin"_s, u"three.bin"_s, u"four.bin"_s};
const QByteArray kText = QByteArrayLiteral("milk\neggs\nbread\n");

quint64 seedOf(const QString &name)
{
    return 51 + quint64(kNames.indexOf(name));
}

/// The content that a path names.
QString nameOf(const ScriptedRequest &request)
{
    return QString::fromLatin1(request.path().mid(1));
}

qint64 startOf(const ScriptedRequest &request)
{
    const QByteArray range = request.header("Range");
    return range.startsWith("bytes=") ? range.mid(6).split('-').constFirst().toLongLong() : 0;
}

qint64 prefixOnDisk(const QString &path, const QString &name)
{
    const QByteArray bytes = TestFiles::readFile(path);
    const QByteArray content = TestFiles::content(seedOf(name), 0, bytes.size());
    return std::mismatch(bytes.begin(), bytes.end(), content.begin()).first - bytes.begin();
}

/// The process has taken every signal that was sent to it.
bool hasTakenItsSignals(qint64 processId)
{
    const QByteArray status = TestFiles::readFile(u"/proc/%1/status"_s.arg(processId));
    return status.contains("\nSigPnd:\t0000000000000000\n") && status.contains("\nShdPnd:\t0000000000000000\n");
}

int modeOf(const QString &path)
{
    struct stat status = {};
    return ::stat(QFile::encodeName(path).constData(), &status) == 0 ? int(status.st_mode & 07777) : -1;
}

bool writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

QByteArray told(const PlaitResult &result)
{
    return "status " + QByteArray::number(result.status) + ": " + result.out + result.err;
}
}

/// What ends the program, and what of its list outlives that.
class TestPlaitSignals : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void eachSignalPausesAll_data();
    void eachSignalPausesAll();
    void whatHadNotBegunIsCountedInOneLine();
    void signalsThatComeTogetherAreOne();
    void aSecondSignalEndsAtOnce_data();
    void aSecondSignalEndsAtOnce();
    void whatADeadProcessOwnedIsTakenAtOnce();
    void whatALivingProcessRunsIsLeftOut();
    void aDamagedListIsSetAside_data();
    void aDamagedListIsSetAside();
    void aFileThatIsNoListIsLeftAlone_data();
    void aFileThatIsNoListIsLeftAlone();
    void onlyItsOwnerReadsTheList();

private:
    QString url(const QString &name) const { return m_server->url(u'/' + name).toString(); }
    QString listPath() const { return m_plait->dataHome() + "/plait/downloads.sqlite"_L1; }
    bool hasBegun(const QString &name) const
    {
        return m_plait->partBeginsWith(name, TestFiles::content(seedOf(name), 0, kWord));
    }
    bool isWhole(const QString &name) const
    {
        return TestFiles::sha256OfFile(m_plait->path(name)) == TestFiles::sha256OfContent(seedOf(name), kSize);
    }
    /// Waits for the condition, which the program has to live to see.
    bool waitFor(const std::function<bool()> &condition) const;
    /// Begins downloads that stop in their middle, and waits until that is in the list.
    void startAndHold(const QStringList &names);

    std::atomic_bool m_hurry = false;
    std::unique_ptr<ScriptedServer> m_server;
    std::unique_ptr<PlaitSandbox> m_plait;
};

void TestPlaitSignals::init()
{
    m_hurry = false;
    m_plait = std::make_unique<PlaitSandbox>();
    m_server = std::make_unique<ScriptedServer>();
    m_server->setFallback([this](const ScriptedRequest &request) {
        ScriptedResponse response = ScriptedResponse::file(seedOf(nameOf(request)), kSize);
        if (!m_hurry) {
            response.bytesPerSecond = 60000;
            response.holdAfter = 150000;
        }
        return response;
    });
}

bool TestPlaitSignals::waitFor(const std::function<bool()> &condition) const
{
    return QTest::qWaitFor([&] { return !m_plait->isRunning() || condition(); }, PlaitSandbox::kPatienceMs)
        && m_plait->isRunning();
}

void TestPlaitSignals::startAndHold(const QStringList &names)
{
    QStringList urls;
    for (const QString &name : names)
        urls.append(url(name));
    m_plait->start(urls);
    QVERIFY2(waitFor([&] { return m_plait->listedPieces().size() == names.size(); }), m_plait->errorText());
}

void TestPlaitSignals::eachSignalPausesAll_data()
{
    QTest::addColumn<int>("signal");
    QTest::newRow("SIGINT") << SIGINT;
    QTest::newRow("SIGTERM") << SIGTERM;
    QTest::newRow("SIGHUP") << SIGHUP;
}

void TestPlaitSignals::eachSignalPausesAll()
{
    QFETCH(int, signal);
    const QStringList running = kNames.first(3);
    QStringList arguments{u"-j"_s, u"3"_s};
    for (const QString &name : kNames)
        arguments.append(url(name));
    m_plait->start(arguments);
    QVERIFY2(waitFor([&] {
                 return std::all_of(running.begin(), running.end(),
                                    [this](const QString &name) { return hasBegun(name); });
             }),
             m_plait->errorText());
    m_plait->sendSignal(signal);
    PlaitResult result = m_plait->finish();
    QVERIFY2(result.status == kUnfinished, told(result));

    QHash<QString, qint64> done;
    {
        const SqlFile list(listPath());
        QCOMPARE(list.value(u"SELECT count(*) FROM downloads WHERE finished = 0"_s).toInt(), kNames.size());
        QCOMPARE(list.value(u"SELECT count(*) FROM downloads WHERE owner_pid IS NOT NULL"_s).toInt(), 0);
        for (const QString &name : running) {
            const qint64 listed = list.value(u"SELECT sum(downloaded) FROM sections JOIN downloads ON id = download_id "
                                             u"WHERE url = '%1'"_s.arg(url(name)))
                                      .toLongLong();
            QCOMPARE(listed, prefixOnDisk(m_plait->path(name + u".part"_s), name));
            QVERIFY(listed > 0 && listed < kSize);
            done.insert(name, listed);
        }
    }

    m_hurry = true;
    const qsizetype before = m_server->requests().size();
    result = m_plait->runBare({u"resume"_s, u"--all"_s});
    QVERIFY2(result.status == kDone, told(result));
    for (const QString &name : kNames)
        QVERIFY2(isWhole(name), qPrintable(name));
    const QList<ScriptedRequest> requests = m_server->requests().mid(before);
    QCOMPARE(requests.size(), kNames.size());
    for (const ScriptedRequest &request : requests) {
        QCOMPARE(startOf(request), done.value(nameOf(request)));
        QCOMPARE(m_server->bodyBytesSent(request.order), kSize - done.value(nameOf(request)));
    }
}

void TestPlaitSignals::whatHadNotBegunIsCountedInOneLine()
{
    constexpr int kMany = 300;
    QStringList arguments{u"-j"_s, u"1"_s, u"--json"_s, url(kNames.first())};
    for (int i = 1; i < kMany; ++i)
        arguments.append(url(u"waiting%1"_s.arg(i)));
    m_plait->start(arguments);
    QVERIFY2(waitFor([&] { return hasBegun(kNames.first()); }), m_plait->errorText());
    m_plait->sendSignal(SIGINT);
    const PlaitResult result = m_plait->finish();
    QVERIFY2(result.status == kUnfinished, told(result));
    QCOMPARE(result.out.count("\"event\":\"summary\""), 1);
    QCOMPARE(result.out.count("\"event\":\"unbegun\""), 1);
    QVERIFY2(result.out.contains("\"count\":" + QByteArray::number(kMany - 1)), told(result));
    QVERIFY2(result.err.contains(QByteArray::number(kMany - 1) + " downloads had not begun"), told(result));
    QVERIFY2(result.err.count('\n') < 10, told(result));
}

/// Some programs signal a process and its group.
void TestPlaitSignals::signalsThatComeTogetherAreOne()
{
    startAndHold({kNames.first()});
    if (QTest::currentTestFailed())
        return;
    // Both are there when it goes on.
    m_plait->sendSignal(SIGSTOP);
    m_plait->sendSignal(SIGINT);
    m_plait->sendSignal(SIGTERM);
    m_plait->sendSignal(SIGCONT);
    const PlaitResult result = m_plait->finish();
    QVERIFY2(result.status == kUnfinished, told(result));
}

void TestPlaitSignals::aSecondSignalEndsAtOnce_data()
{
    QTest::addColumn<int>("first");
    QTest::addColumn<int>("second");
    QTest::newRow("Ctrl-C twice") << SIGINT << SIGINT;
    QTest::newRow("SIGTERM, then Ctrl-C") << SIGTERM << SIGINT;
    QTest::newRow("SIGHUP, then SIGTERM") << SIGHUP << SIGTERM;
}

void TestPlaitSignals::aSecondSignalEndsAtOnce()
{
    QFETCH(int, first);
    QFETCH(int, second);
    startAndHold(kNames);
    if (QTest::currentTestFailed())
        return;
    {
        // To stop in order it has to write to the list, and waits for it.
        const SqlFile list(listPath());
        QVERIFY(list.run(u"BEGIN IMMEDIATE"_s));
        const qint64 processId = m_plait->processId();
        m_plait->sendSignal(first);
        QVERIFY2(waitFor([&] { return hasTakenItsSignals(processId); }), m_plait->errorText());
        QElapsedTimer clock;
        clock.start();
        QVERIFY2(waitFor([&] { return clock.elapsed() > 2 * kOneWishMs; }), "the list did not hold it up");
        m_plait->sendSignal(second);
        const PlaitResult result = m_plait->finish();
        list.run(u"ROLLBACK"_s);
        QVERIFY2(result.status == kEndedAtOnce, told(result));
    }

    m_hurry = true;
    const qsizetype before = m_server->requests().size();
    const PlaitResult result = m_plait->runBare({u"resume"_s, u"--all"_s});
    QVERIFY2(result.status == kDone, told(result));
    for (const QString &name : kNames)
        QVERIFY2(isWhole(name), qPrintable(name));
    for (const ScriptedRequest &request : m_server->requests().mid(before))
        QVERIFY2(startOf(request) > 0, request.target);
}

void TestPlaitSignals::whatADeadProcessOwnedIsTakenAtOnce()
{
    startAndHold({kNames.first()});
    if (QTest::currentTestFailed())
        return;
    PlaitSandbox other;
    const QStringList ofThisList{u"--list"_s, listPath()};
    PlaitResult result = other.runBare(QStringList{u"list"_s} + ofThisList);
    QVERIFY2(result.out.contains("running"), told(result));

    m_plait->kill();
    QCOMPARE(m_plait->finish().status, -1);
    {
        const SqlFile list(listPath());
        QVERIFY(!list.value(u"SELECT owner_pid FROM downloads"_s).isNull());
    }
    result = other.runBare(QStringList{u"list"_s} + ofThisList);
    QVERIFY2(result.status == kDone && !result.out.contains("running") && result.out.contains('%'), told(result));

    m_hurry = true;
    result = other.runBare(QStringList{u"resume"_s, u"1"_s} + ofThisList);
    QVERIFY2(result.status == kDone && !result.err.contains("process"), told(result));
    QVERIFY(isWhole(kNames.first()));
}

void TestPlaitSignals::whatALivingProcessRunsIsLeftOut()
{
    startAndHold({kNames.first()});
    if (QTest::currentTestFailed())
        return;
    m_plait->sendSignal(SIGTERM);
    QCOMPARE(m_plait->finish().status, kUnfinished);
    m_plait->start({url(kNames.last())});
    QVERIFY2(waitFor([&] { return hasBegun(kNames.last()); }), m_plait->errorText());

    m_hurry = true;
    PlaitSandbox other;
    const QStringList ofThisList{u"--list"_s, listPath()};
    const QByteArray note =
        "download 2 is left out: process " + QByteArray::number(m_plait->engineProcessId()) + " is at work on it";
    PlaitResult result = other.runBare(QStringList{u"resume"_s, u"--all"_s} + ofThisList);
    QVERIFY2(result.status == kDone && result.err.contains(note), told(result));
    QVERIFY(isWhole(kNames.first()));

    result = other.runBare(QStringList{u"resume"_s, u"2"_s} + ofThisList);
    QVERIFY2(result.status == kUnknown && result.err.contains(QByteArray::number(m_plait->engineProcessId())),
             told(result));
    m_server->release();
    result = m_plait->finish();
    QVERIFY2(result.status == kDone, told(result));
    QVERIFY(isWhole(kNames.last()));
}

void TestPlaitSignals::aDamagedListIsSetAside_data()
{
    QTest::addColumn<bool>("wasList");
    QTest::newRow("no list at all") << false;
    QTest::newRow("a list that was written over") << true;
}

void TestPlaitSignals::aDamagedListIsSetAside()
{
    QFETCH(bool, wasList);
    m_hurry = true;
    QByteArray bytes = TestFiles::content(7, 0, 20000);
    if (wasList) {
        QCOMPARE(m_plait->run({url(kNames.first())}).status, kDone);
        const QByteArray list = TestFiles::readFile(listPath());
        bytes = list.first(100) + TestFiles::content(7, 0, list.size() - 100);
    }
    QVERIFY(QDir().mkpath(QFileInfo(listPath()).absolutePath()));
    QVERIFY(writeFile(listPath(), bytes));

    PlaitResult result = m_plait->run({url(kNames.last())});
    QVERIFY2(result.status == kDone, told(result));
    QVERIFY2(result.err.contains("was damaged") && result.err.contains("a new list was begun"), told(result));
    QVERIFY(isWhole(kNames.last()));
    const QDir folder = QFileInfo(listPath()).absoluteDir();
    const QStringList aside = folder.entryList({u"downloads.sqlite?damaged*"_s}, QDir::Files);
    QVERIFY2(aside.size() == 1 && result.err.contains(aside.first().toLatin1()),
             qPrintable(folder.entryList(QDir::Files).join(u' ')));
    QCOMPARE(TestFiles::readFile(folder.filePath(aside.first())), bytes);

    result = m_plait->runBare({u"list"_s});
    QVERIFY2(result.status == kDone && result.err.isEmpty(), told(result));
    QVERIFY2(result.out.count('\n') == 1 && result.out.contains(kNames.last().toLatin1()), told(result));
}

void TestPlaitSignals::aFileThatIsNoListIsLeftAlone_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("list") << QStringList{u"list"_s};
    QTest::newRow("resume") << QStringList{u"resume"_s, u"--all"_s};
    QTest::newRow("get") << QStringList{u"get"_s, u"http://127.0.0.1:9/x"_s};
}

void TestPlaitSignals::aFileThatIsNoListIsLeftAlone()
{
    QFETCH(QStringList, arguments);
    const QString path = m_plait->path(u"shopping.txt"_s);
    QVERIFY(writeFile(path, kText));
    const int mode = modeOf(path);
    const PlaitResult result = m_plait->runBare(arguments + QStringList{u"--list"_s, path});
    QVERIFY2(result.status == kUnknown, told(result));
    QVERIFY2(result.err.contains("shopping.txt") && result.err.contains("is no list of downloads"), told(result));
    QCOMPARE(TestFiles::readFile(path), kText);
    QCOMPARE(modeOf(path), mode);
    QCOMPARE(m_plait->files(), QStringList(u"shopping.txt"_s));
}

void TestPlaitSignals::onlyItsOwnerReadsTheList()
{
    const mode_t before = umask(0);
    startAndHold({kNames.first()});
    umask(before);
    if (QTest::currentTestFailed())
        return;
    for (const QString &suffix : {u""_s, u"-wal"_s, u"-shm"_s})
        QVERIFY2(modeOf(listPath() + suffix) == 0600, qPrintable(suffix));
    m_plait->sendSignal(SIGTERM);
    QCOMPARE(m_plait->finish().status, kUnfinished);
    QCOMPARE(modeOf(listPath()), 0600);

    QFile::setPermissions(listPath(), QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::ReadOther);
    QCOMPARE(m_plait->runBare({u"list"_s}).status, kDone);
    QCOMPARE(modeOf(listPath()), 0600);
}

QTEST_GUILESS_MAIN(TestPlaitSignals)
#include "tst_plait_signals.moc"
