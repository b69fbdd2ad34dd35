// SPDX-License-Identifier: MIT
#include <tests/integration/partway.h>
#include <tests/integration/plaitsandbox.h>
#include <tests/integration/realservers.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/testfiles.h>

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

#include <algorithm>
#include <csignal>
#include <memory>

using namespace Qt::StringLiterals;

namespace
{

/// What happens between the two commands.
using Change = void (*)(PlaitSandbox &);

constexpr quint64 kSeed = 81;
constexpr qint64 kSize = 200000;
constexpr qint64 kLargeSize = 2000000;
constexpr int kFiles = 60;
constexpr int kStops = 6;
constexpr int kDone = 0;
constexpr int kNotFound = 3;
constexpr int kNetworkProblem = 6;
constexpr int kUnfinished = 7;
constexpr int kBadOption = 28;
constexpr int kChecksumMismatch = 32;
constexpr int kResourceChanged = 33;

QString nameOf(int number)
{
    return u"f%1.bin"_s.arg(number);
}

qint64 sizeOf(int number)
{
    return kSize + number;
}

QByteArray rightHash(int number)
{
    return TestFiles::sha256OfContent(kSeed + quint64(number), sizeOf(number));
}

}

Q_DECLARE_METATYPE(ScriptedResponse)

/// The same command again: what is there is not fetched again, and what is not there is.
class TestPlaitAgain : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void whatIsDoneIsSkippedAndSaid();
    void whatCountsAsThere_data();
    void whatCountsAsThere();
    void aFileIsComparedWithAChecksumThatIsNew_data();
    void aFileIsComparedWithAChecksumThatIsNew();
    void theServerIsAskedWhereThatIsWanted_data();
    void theServerIsAskedWhereThatIsWanted();
    void whatIsThereStaysUntilTheNewOneIsWhole_data();
    void whatIsThereStaysUntilTheNewOneIsWhole();
    void restartKeepsTheFileUntilThereIsAnother();
    void whatIsThereStaysWhereTheNewOneDoesNotCome();
    void theNewOneGetsTheNameOfTheOneThatIsThere();
    void aNewOneThatIsNotTheOneOfItsChecksumReplacesNothing();
    void onlyTheVeryFileIsUpToDate_data();
    void onlyTheVeryFileIsUpToDate();
    void whatTheListDoesNotKnowIsComparedWithTheServers_data();
    void whatTheListDoesNotKnowIsComparedWithTheServers();
    void whatTheServerSaysDecides_data();
    void whatTheServerSaysDecides();
    void aDryRunSaysWhatWouldBeDone_data();
    void aDryRunSaysWhatWouldBeDone();
    void aDryRunKnowsWhatWouldBeGoneOnWith();
    void anAddressThatStandsTwiceIsFetchedOnce();
    void aListIsReadAsItComes();
    void aListThatIsWrittenNeedsAnAddress();
    void aListThatIsStoppedAgainAndAgainComesDownOnce();
    void aListHasMirrorsOptionsOfItsOwnAndBadLines();

private:
    QString writeList(const QByteArray &text) const;
    QByteArray urlOf(int number) { return m_servers.nginx().url(u'/' + nameOf(number)).toEncoded(); }
    QByteArray list(int count);
    qsizetype requests() { return m_servers.nginx().logEntries().size(); }

    RealServers m_servers;
    std::unique_ptr<PlaitSandbox> m_plait;
};

void TestPlaitAgain::initTestCase()
{
    QVERIFY2(m_servers.start(), qPrintable(m_servers.errorText()));
    QVERIFY(m_servers.addFile(u"large.bin"_s, kSeed, kLargeSize));
    for (int i = 0; i < kFiles; ++i)
        QVERIFY(m_servers.addFile(nameOf(i), kSeed + quint64(i), sizeOf(i)));
}

void TestPlaitAgain::init()
{
    m_plait = std::make_unique<PlaitSandbox>();
}

QString TestPlaitAgain::writeList(const QByteArray &text) const
{
    QFile file(QDir(m_plait->dataHome()).filePath(u"urls.txt"_s));
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size())
        qFatal("the list of addresses could not be written");
    return file.fileName();
}

QByteArray TestPlaitAgain::list(int count)
{
    QByteArray text;
    for (int i = 0; i < count; ++i)
        text += urlOf(i) + '\n';
    return text;
}

void TestPlaitAgain::whatIsDoneIsSkippedAndSaid()
{
    const QStringList command{u"-i"_s, writeList(list(3))};
    QCOMPARE(m_plait->run(command).status, kDone);
    const QStringList files = m_plait->files();
    QCOMPARE(files.size(), 3);
    const qsizetype before = requests();

    const PlaitResult again = m_plait->run(command);
    QVERIFY2(again.status == kDone, again.err);
    for (const QString &name : files)
        QVERIFY2(again.err.contains("Skipped \"" + m_plait->path(name).toUtf8() + "\": it is there already"),
                 again.err);
    const PlaitResult quiet = m_plait->run(command + QStringList{u"-q"_s});
    QVERIFY2(quiet.status == kDone && quiet.err.isEmpty() && quiet.out.isEmpty(), quiet.err);
    const PlaitResult told = m_plait->run(command + QStringList{u"--json"_s});
    QCOMPARE(told.out.count("\"event\":\"skipped\""), 3);
    QCOMPARE(told.out.count("\"event\":\"summary\""), 3);
    QCOMPARE(m_plait->files(), files);
    QCOMPARE(requests(), before);
}

void TestPlaitAgain::whatCountsAsThere_data()
{
    QTest::addColumn<QStringList>("first");
    QTest::addColumn<Change>("change");
    QTest::addColumn<QStringList>("second");
    QTest::addColumn<QStringList>("files");
    QTest::addColumn<bool>("isFetched");
    const auto nothing = Change([](PlaitSandbox &) {});
    const QString name = nameOf(0);
    const QStringList one{name};
    const QStringList two{u"f0 (1).bin"_s, name};
    const auto row = [&](const char *title, const QStringList &first, Change change, const QStringList &second,
                         const QStringList &files,
                         bool isFetched) { QTest::newRow(title) << first << change << second << files << isFetched; };
    row("the same command", {}, nothing, {}, one, false);
    row("other options now", {}, nothing, {u"-x"_s, u"2"_s, u"--limit-rate"_s, u"9M"_s}, one, false);
    row("other options then", {u"-x"_s, u"2"_s, u"--on-exists"_s, u"overwrite"_s}, nothing, {}, one, false);
    row("the name that it has is asked for", {}, nothing, {u"-o"_s, name}, one, false);
    row("the same name is asked for twice", {u"-o"_s, u"own"_s}, nothing, {u"-o"_s, u"own"_s}, {u"own"_s}, false);
    row("another name now", {}, nothing, {u"-o"_s, u"own"_s}, {name, u"own"_s}, true);
    row("another name then", {u"-o"_s, u"own"_s}, nothing, {}, {name, u"own"_s}, true);
    row("it is asked for again", {}, nothing, {u"--again"_s}, two, true);
    row("files in the way are to be replaced", {}, nothing, {u"--on-exists"_s, u"overwrite"_s}, one, true);
    row("files in the way are to be skipped", {}, nothing, {u"--on-exists"_s, u"skip"_s}, one, false);
    row("a body is sent", {u"--post-data"_s, u"x"_s}, nothing, {u"--post-data"_s, u"x"_s}, {}, true);
    row("the file is gone", {}, Change([](PlaitSandbox &plait) { QFile::remove(plait.path(nameOf(0))); }), {}, one,
        true);
    row("the file is shorter", {}, Change([](PlaitSandbox &plait) { QFile::resize(plait.path(nameOf(0)), 5); }), {},
        two, true);
    row("the list has forgotten it", {}, Change([](PlaitSandbox &plait) {
            plait.runBare({u"remove"_s, u"1"_s});
        }),
        {}, two, true);
}

void TestPlaitAgain::whatCountsAsThere()
{
    QFETCH(QStringList, first);
    QFETCH(Change, change);
    QFETCH(QStringList, second);
    QFETCH(QStringList, files);
    QFETCH(bool, isFetched);
    const QStringList url{QString::fromUtf8(urlOf(0))};
    m_plait->run(first + url);
    change(*m_plait);
    const qsizetype before = requests();
    const PlaitResult result = m_plait->run(second + url);
    QCOMPARE(m_plait->files(), files);
    QVERIFY2((requests() > before) == isFetched, result.err);
    QVERIFY2(files.isEmpty() || result.status == kDone, result.err);
    QCOMPARE(result.err.contains("Skipped"), !isFetched);
}

void TestPlaitAgain::aFileIsComparedWithAChecksumThatIsNew_data()
{
    QTest::addColumn<QByteArray>("hash");
    QTest::addColumn<int>("status");
    QTest::newRow("its own") << rightHash(0) << kDone;
    QTest::newRow("another one's") << rightHash(1) << kChecksumMismatch;
}

void TestPlaitAgain::aFileIsComparedWithAChecksumThatIsNew()
{
    QFETCH(QByteArray, hash);
    QFETCH(int, status);
    const QString url = QString::fromUtf8(urlOf(0));
    QCOMPARE(m_plait->run({url}).status, kDone);
    const qsizetype before = requests();
    const QStringList command{url, u"--checksum"_s, u"sha-256="_s + QString::fromUtf8(hash)};
    for (int i = 0; i < 2; ++i) {
        const PlaitResult result = m_plait->run(command);
        QVERIFY2(result.status == status, result.err);
        QCOMPARE(m_plait->files(), QStringList{nameOf(0)});
    }
    QCOMPARE(requests(), before);
    QCOMPARE(TestFiles::sha256OfFile(m_plait->path(nameOf(0))), rightHash(0));
}

void TestPlaitAgain::theServerIsAskedWhereThatIsWanted_data()
{
    QTest::addColumn<bool>("hasChanged");
    QTest::addColumn<QString>("onChanged");
    QTest::addColumn<int>("status");
    QTest::newRow("the same file") << false << u"restart"_s << kDone;
    QTest::newRow("another one, which is wanted") << true << u"restart"_s << kDone;
    QTest::newRow("another one, which is not") << true << u"fail"_s << kResourceChanged;
    QTest::newRow("another one, and nobody to be asked") << true << u"ask"_s << kResourceChanged;
}

void TestPlaitAgain::theServerIsAskedWhereThatIsWanted()
{
    QFETCH(bool, hasChanged);
    QFETCH(QString, onChanged);
    QFETCH(int, status);
    QVERIFY(m_servers.nginx().addFile(u"asked.bin"_s, kSeed, kSize));
    const QString url = m_servers.nginx().url(u"/asked.bin"_s).toString();
    QCOMPARE(m_plait->run({url}).status, kDone);
    if (hasChanged)
        QVERIFY(m_servers.nginx().addFile(u"asked.bin"_s, kSeed + 1, kSize + 7));
    const PlaitResult result = m_plait->run({u"-N"_s, u"--on-changed"_s, onChanged, url});
    QVERIFY2(result.status == status, result.err);
    QCOMPARE(result.err.contains("is up to date"), !hasChanged);
    QCOMPARE(m_plait->files(), QStringList{u"asked.bin"_s});
    const bool isFetched = hasChanged && status == kDone;
    QCOMPARE(TestFiles::sha256OfFile(m_plait->path(u"asked.bin"_s)),
             isFetched ? TestFiles::sha256OfContent(kSeed + 1, kSize + 7) : TestFiles::sha256OfContent(kSeed, kSize));
}

void TestPlaitAgain::whatIsThereStaysUntilTheNewOneIsWhole_data()
{
    QTest::addColumn<QStringList>("words");
    QTest::newRow("a newer one") << QStringList{u"-N"_s, u"--on-changed"_s, u"restart"_s};
    QTest::newRow("restart") << QStringList{u"restart"_s, u"1"_s};
}

/// Also for the process that comes after one that was killed.
void TestPlaitAgain::whatIsThereStaysUntilTheNewOneIsWhole()
{
    QFETCH(QStringList, words);
    ScriptedServer server;
    server.setResponse("/f.bin", ScriptedResponse::file(kSeed, kSize));
    const QString url = server.url(u"/f.bin"_s).toString();
    QCOMPARE(m_plait->run({url}).status, kDone);
    server.setResponse("/f.bin", PartWay::held(kSeed + 1, kLargeSize, kSize));
    m_plait->startBare(words.contains(u"-N"_s) ? words + QStringList{u"-d"_s, m_plait->downloads(), url} : words);
    QVERIFY2(server.waitForHeld(QString()), m_plait->errorText());
    QTRY_VERIFY_WITH_TIMEOUT(m_plait->has(u"f.bin.part"_s), PlaitSandbox::kPatienceMs);
    m_plait->kill();
    m_plait->finish();
    QCOMPARE(m_plait->files(), (QStringList{u"f.bin"_s, u"f.bin.part"_s}));
    QCOMPARE(TestFiles::sha256OfFile(m_plait->path(u"f.bin"_s)), TestFiles::sha256OfContent(kSeed, kSize));

    server.setResponse("/f.bin", ScriptedResponse::file(kSeed + 1, kLargeSize));
    const PlaitResult result = m_plait->runBare({u"resume"_s, u"--all"_s});
    QVERIFY2(result.status == kDone, result.err);
    QCOMPARE(m_plait->files(), QStringList{u"f.bin"_s});
    QCOMPARE(TestFiles::sha256OfFile(m_plait->path(u"f.bin"_s)), TestFiles::sha256OfContent(kSeed + 1, kLargeSize));
}

void TestPlaitAgain::whatIsThereStaysWhereTheNewOneDoesNotCome()
{
    ScriptedServer server;
    server.setResponse("/f.bin", ScriptedResponse::file(kSeed, kSize));
    const QString url = server.url(u"/f.bin"_s).toString();
    QCOMPARE(m_plait->run({url}).status, kDone);
    // Whether it has changed is asked first.
    server.setHandler("/f.bin", [count = std::make_shared<int>(0)](const ScriptedRequest &) {
        return ++*count == 1 ? ScriptedResponse::file(kSeed + 1, kSize) : ScriptedResponse::error(404);
    });
    for (int i = 0; i < 2; ++i) {
        const PlaitResult result = m_plait->run({u"-N"_s, u"--on-changed"_s, u"restart"_s, url});
        QVERIFY2(result.status == kNotFound, result.err);
        QCOMPARE(m_plait->files(), QStringList{u"f.bin"_s});
        QCOMPARE(TestFiles::sha256OfFile(m_plait->path(u"f.bin"_s)), TestFiles::sha256OfContent(kSeed, kSize));
    }
    server.setResponse("/f.bin", ScriptedResponse::file(kSeed + 1, kSize));
    const PlaitResult result = m_plait->run({u"-N"_s, url});
    QVERIFY2(result.status == kDone, result.err);
    QCOMPARE(m_plait->files(), QStringList{u"f.bin"_s});
    QCOMPARE(TestFiles::sha256OfFile(m_plait->path(u"f.bin"_s)), TestFiles::sha256OfContent(kSeed + 1, kSize));
}

/// Whoever gave a checksum has it compared when it is there: the old file is unwanted all the same.
void TestPlaitAgain::restartKeepsTheFileUntilThereIsAnother()
{
    ScriptedServer server;
    server.setResponse("/f.bin", ScriptedResponse::file(kSeed, kSize));
    const QString sum = QString::fromLatin1(TestFiles::sha256OfContent(kSeed + 1, kSize));
    const QString url = server.url(u"/f.bin"_s).toString();
    QCOMPARE(m_plait->run({u"--checksum"_s, u"sha-256="_s + sum, url}).status, kChecksumMismatch);
    server.setResponse("/f.bin", ScriptedResponse::error(404));
    QCOMPARE(m_plait->runBare({u"restart"_s, u"1"_s}).status, kNotFound);
    QCOMPARE(m_plait->files(), QStringList{u"f.bin"_s});
    QCOMPARE(TestFiles::sha256OfFile(m_plait->path(u"f.bin"_s)), TestFiles::sha256OfContent(kSeed, kSize));
    server.setResponse("/f.bin", ScriptedResponse::file(kSeed + 1, kSize));
    const PlaitResult result = m_plait->runBare({u"restart"_s, u"1"_s});
    QVERIFY2(result.status == kDone, result.err);
    QCOMPARE(m_plait->files(), QStringList{u"f.bin"_s});
    QCOMPARE(TestFiles::sha256OfFile(m_plait->path(u"f.bin"_s)), TestFiles::sha256OfContent(kSeed + 1, kSize));
}

/// Another file of the wished name is somebody's, and stays it.
void TestPlaitAgain::theNewOneGetsTheNameOfTheOneThatIsThere()
{
    QVERIFY(TestFiles::writeFile(m_plait->path(u"f.bin"_s), kSeed, 1));
    ScriptedServer server;
    const QString url = server.url(u"/f.bin"_s).toString();
    for (int i = 0; i < 3; ++i) {
        server.setResponse("/f.bin", ScriptedResponse::file(kSeed + quint64(i), kSize + i));
        const PlaitResult result = m_plait->run({u"-N"_s, u"--on-changed"_s, u"restart"_s, url});
        QVERIFY2(result.status == kDone, result.err);
        QCOMPARE(m_plait->files(), (QStringList{u"f (1).bin"_s, u"f.bin"_s}));
        QCOMPARE(TestFiles::sha256OfFile(m_plait->path(u"f (1).bin"_s)),
                 TestFiles::sha256OfContent(kSeed + quint64(i), kSize + i));
    }
    QCOMPARE(QFileInfo(m_plait->path(u"f.bin"_s)).size(), 1);
}

void TestPlaitAgain::aNewOneThatIsNotTheOneOfItsChecksumReplacesNothing()
{
    ScriptedServer server;
    server.setResponse("/f.bin", ScriptedResponse::file(kSeed, kSize));
    const QStringList command{u"-N"_s,
                              u"--on-changed"_s,
                              u"restart"_s,
                              u"--checksum"_s,
                              u"sha-256="_s + QString::fromLatin1(TestFiles::sha256OfContent(kSeed, kSize)),
                              server.url(u"/f.bin"_s).toString()};
    QCOMPARE(m_plait->run(command).status, kDone);
    server.setResponse("/f.bin", ScriptedResponse::file(kSeed + 1, kSize));
    const PlaitResult result = m_plait->run(command);
    QVERIFY2(result.status == kChecksumMismatch, result.err);
    QCOMPARE(m_plait->files(), (QStringList{u"f (1).bin"_s, u"f.bin"_s}));
    QCOMPARE(TestFiles::sha256OfFile(m_plait->path(u"f.bin"_s)), TestFiles::sha256OfContent(kSeed, kSize));
}

void TestPlaitAgain::onlyTheVeryFileIsUpToDate_data()
{
    QTest::addColumn<bool>("isPutBack");
    QTest::newRow("another one of its length") << false;
    QTest::newRow("a copy, put back with its date") << true;
}

void TestPlaitAgain::onlyTheVeryFileIsUpToDate()
{
    QFETCH(bool, isPutBack);
    ScriptedServer server;
    server.setResponse("/f.bin", ScriptedResponse::file(kSeed, kSize));
    const QString url = server.url(u"/f.bin"_s).toString();
    QCOMPARE(m_plait->run({url}).status, kDone);
    const QString path = m_plait->path(u"f.bin"_s);
    const QDateTime time = QFileInfo(path).lastModified();
    QVERIFY(QFile::remove(path) && TestFiles::writeFile(path, isPutBack ? kSeed : kSeed + 1, kSize));
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadWrite) && (!isPutBack || file.setFileTime(time, QFile::FileModificationTime)));
    file.close();
    const PlaitResult result = m_plait->run({u"-N"_s, url});
    QVERIFY2(result.status == kDone, result.err);
    QCOMPARE(result.err.contains("is up to date"), isPutBack);
    QCOMPARE(result.err.contains("f.bin\" is not the list's"), !isPutBack);
    QCOMPARE(m_plait->has(u"f (1).bin"_s), !isPutBack);
    QCOMPARE(TestFiles::sha256OfFile(path), TestFiles::sha256OfContent(isPutBack ? kSeed : kSeed + 1, kSize));
    // And from then on, too.
    const QStringList files = m_plait->files();
    QVERIFY(m_plait->run({u"-N"_s, url}).err.contains("is up to date"));
    QCOMPARE(m_plait->files(), files);
}

void TestPlaitAgain::whatTheListDoesNotKnowIsComparedWithTheServers_data()
{
    QTest::addColumn<quint64>("seed");
    QTest::addColumn<qint64>("size");
    QTest::addColumn<QStringList>("words");
    QTest::addColumn<QByteArray>("said");
    QTest::addColumn<QStringList>("files");
    const QStringList one{u"f.bin"_s};
    const QStringList two{u"f (1).bin"_s, u"f.bin"_s};
    const QStringList overwrite{u"--on-exists"_s, u"overwrite"_s};
    QTest::newRow("the server's") << kSeed << kSize << QStringList() << QByteArray("is complete already") << one;
    QTest::newRow("the server's, where others go")
        << kSeed << kSize << overwrite << QByteArray("is complete already") << one;
    QTest::newRow("another one of its length")
        << kSeed + 1 << kSize << QStringList() << QByteArray("not known to be the server's file: it has other") << two;
    QTest::newRow("a part of it") << kSeed << kSize / 2 << QStringList() << QByteArray("of 200000 bytes") << two;
    QTest::newRow("another one, which may go")
        << kSeed + 1 << kSize << overwrite << QByteArray("not known to be the server's file: it has other") << one;
}

void TestPlaitAgain::whatTheListDoesNotKnowIsComparedWithTheServers()
{
    QFETCH(quint64, seed);
    QFETCH(qint64, size);
    QFETCH(QStringList, words);
    QFETCH(QByteArray, said);
    QFETCH(QStringList, files);
    ScriptedServer server;
    server.setResponse("/f.bin", ScriptedResponse::file(kSeed, kSize));
    QVERIFY(TestFiles::writeFile(m_plait->path(u"f.bin"_s), seed, size));
    const PlaitResult result = m_plait->run(QStringList{u"-N"_s, server.url(u"/f.bin"_s).toString()} + words);
    QVERIFY2(result.status == kDone, result.err);
    QVERIFY2(result.err.contains(said), result.err);
    QCOMPARE(m_plait->files(), files);
    QCOMPARE(TestFiles::sha256OfFile(m_plait->path(files.first())), TestFiles::sha256OfContent(kSeed, kSize));
    if (files.size() > 1)
        QCOMPARE(TestFiles::sha256OfFile(m_plait->path(u"f.bin"_s)), TestFiles::sha256OfContent(seed, size));
}

void TestPlaitAgain::whatTheServerSaysDecides_data()
{
    QTest::addColumn<ScriptedResponse>("before");
    QTest::addColumn<ScriptedResponse>("now");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("words");
    QTest::addColumn<bool>("isFetched");
    const auto row = [](const char *title, const ScriptedResponse &before, const ScriptedResponse &now, int status,
                        const char *words, bool isFetched) {
        QTest::newRow(title) << before << now << status << QByteArray(words) << isFetched;
    };
    const ScriptedResponse file = ScriptedResponse::file(kSeed, kSize);
    const ScriptedResponse other = ScriptedResponse::file(kSeed + 1, kSize);
    ScriptedResponse unchanged;
    unchanged.status = 304;
    ScriptedResponse dated = file;
    dated.headers = {{"Last-Modified", "Wed, 01 Jan 2020 00:00:00 GMT"}};
    ScriptedResponse newer = other;
    newer.headers = {{"Last-Modified", "Thu, 02 Jan 2020 00:00:00 GMT"}};
    ScriptedResponse bare = file;
    bare.headers.clear();
    ScriptedResponse larger = ScriptedResponse::file(kSeed + 1, kSize + 1);
    larger.headers.clear();
    row("it has not changed", file, unchanged, kDone, "is up to date", false);
    row("the same file once more", file, file, kDone, "is up to date", false);
    row("another ETag", file, other, kDone, "Saved", true);
    row("a date alone, and the same", dated, dated, kDone, "is up to date", false);
    row("a date alone, and it has not changed", dated, unchanged, kDone, "is up to date", false);
    row("a date alone, and another one", dated, newer, kDone, "Saved", true);
    row("no word on it, and the same size", bare, bare, kDone, "says no more of it", false);
    row("no word on it, and another size", bare, larger, kDone, "Saved", true);
    row("no such file any more", file, ScriptedResponse::error(404), kNotFound, "no such file", false);
    row("nobody answers", file, ScriptedResponse::noAnswer(), kNetworkProblem, "cannot", false);
}

void TestPlaitAgain::whatTheServerSaysDecides()
{
    QFETCH(ScriptedResponse, before);
    QFETCH(ScriptedResponse, now);
    QFETCH(int, status);
    QFETCH(QByteArray, words);
    QFETCH(bool, isFetched);
    ScriptedServer server;
    server.setResponse("/f.bin", before);
    const QString url = server.url(u"/f.bin"_s).toString();
    QCOMPARE(m_plait->run({url}).status, kDone);
    server.setResponse("/f.bin", now);
    const PlaitResult result = m_plait->run({u"-N"_s, u"--on-changed"_s, u"restart"_s, u"--tries"_s, u"1"_s, url});
    QVERIFY2(result.status == status, result.err);
    QVERIFY2(result.err.contains(words), result.err);
    QCOMPARE(m_plait->files(), QStringList{u"f.bin"_s});
    const qint64 size = isFetched ? now.size() : kSize;
    QCOMPARE(TestFiles::sha256OfFile(m_plait->path(u"f.bin"_s)),
             TestFiles::sha256OfContent(isFetched ? kSeed + 1 : kSeed, size));
}

void TestPlaitAgain::aDryRunSaysWhatWouldBeDone_data()
{
    QTest::addColumn<QStringList>("first");
    QTest::addColumn<QStringList>("second");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("out");
    const QString small = QString::fromUtf8(urlOf(0));
    const QString large = m_servers.nginx().url(u"/large.bin"_s).toString();
    const QStringList fetched{small};
    QTest::newRow("a small one") << QStringList() << fetched << kDone
                                 << u"would fetch \"HERE/f0.bin\": 195.3 KiB, 1 connection\n"_s;
    QTest::newRow("a large one") << QStringList() << QStringList{large} << kDone
                                 << u"would fetch \"HERE/large.bin\": 1.9 MiB, 8 connections at most\n"_s;
    QTest::newRow("under another name, with fewer")
        << QStringList() << QStringList{u"-x"_s, u"3"_s, u"-o"_s, u"own"_s, large} << kDone
        << u"would fetch \"HERE/own\": 1.9 MiB, 3 connections at most\n"_s;
    QTest::newRow("into a pipe") << QStringList() << QStringList{u"-o"_s, u"-"_s, large} << kDone
                                 << u"would fetch it to standard output: 1.9 MiB, 8 connections at most\n"_s;
    QTest::newRow("what is there") << fetched << fetched << kDone
                                   << u"would skip \"HERE/f0.bin\": it is there already\n"_s;
    QTest::newRow("what is there, and is asked about")
        << fetched << QStringList{u"-N"_s, small} << kDone
        << u"would ask whether \"HERE/f0.bin\" is the server's file still\n"_s;
    QTest::newRow("what is there, again") << fetched << QStringList{u"--again"_s, small} << kDone
                                          << u"would fetch \"HERE/f0.bin\": 195.3 KiB, 1 connection, under a name with "
                                             u"a number, as there is a file of that "
                                             u"name\n"_s;
    QTest::newRow("another file, to be replaced")
        << QStringList{u"-o"_s, u"f1.bin"_s, small}
        << QStringList{u"--on-exists"_s, u"overwrite"_s, QString::fromUtf8(urlOf(1))} << kDone
        << u"would fetch \"HERE/f1.bin\": 195.3 KiB, 1 connection, in place of the file that is there\n"_s;
    QTest::newRow("another file, to be left alone")
        << QStringList{u"-o"_s, u"f1.bin"_s, small}
        << QStringList{u"--on-exists"_s, u"fail"_s, QString::fromUtf8(urlOf(1))} << kDone
        << u"would not fetch \"HERE/f1.bin\": there is a file of that name\n"_s;
    QTest::newRow("what is nowhere") << QStringList() << QStringList{small + u"x"_s} << kNotFound << QString();
    QTest::newRow("several") << fetched << QStringList{small, large} << kDone
                             << u"would skip \"HERE/f0.bin\": it is there already\n"
                                u"would fetch \"HERE/large.bin\": 1.9 MiB, 8 connections at most\n"_s;
}

void TestPlaitAgain::aDryRunSaysWhatWouldBeDone()
{
    QFETCH(QStringList, first);
    QFETCH(QStringList, second);
    QFETCH(int, status);
    QFETCH(QString, out);
    if (!first.isEmpty())
        QCOMPARE(m_plait->run(first).status, kDone);
    const QStringList files = m_plait->files();
    const QByteArray listed = m_plait->runBare({u"list"_s}).out;
    const PlaitResult result = m_plait->run(second + QStringList{u"--dry-run"_s});
    QVERIFY2(result.status == status, result.err);
    QCOMPARE(QString::fromUtf8(result.out), out.replace("HERE"_L1, m_plait->downloads()));
    QCOMPARE(m_plait->files(), files);
    QCOMPARE(m_plait->runBare({u"list"_s}).out, listed);
}

void TestPlaitAgain::aDryRunKnowsWhatWouldBeGoneOnWith()
{
    const QString url = m_servers.nginx().url(u"/large.bin"_s).toString();
    m_plait->start({u"--limit-rate"_s, u"200K"_s, u"-x"_s, u"1"_s, url});
    QVERIFY(QTest::qWaitFor([&] { return !m_plait->listedPieces().isEmpty(); }, PlaitSandbox::kPatienceMs));
    m_plait->sendSignal(SIGINT);
    QCOMPARE(m_plait->finish().status, kUnfinished);
    const PlaitResult result = m_plait->run({u"--dry-run"_s, u"--json"_s, url});
    const QList<QByteArray> lines = result.out.split('\n');
    const auto line =
        std::find_if(lines.cbegin(), lines.cend(), [](const QByteArray &one) { return one.contains("\"plan\""); });
    QVERIFY2(line != lines.cend(), result.out);
    const QJsonObject plan = QJsonDocument::fromJson(*line).object();
    QCOMPARE(plan.value(u"action"_s).toString(), u"resume"_s);
    QCOMPARE(plan.value(u"path"_s).toString(), m_plait->path(u"large.bin"_s));
    QVERIFY(plan.value(u"done"_s).toInt() > 0);
    QCOMPARE(m_plait->files(), QStringList{u"large.bin.part"_s});
}

/// Nobody knows yet whether more will come.
void TestPlaitAgain::aListIsReadAsItComes()
{
    m_plait->startReading({u"-i"_s, u"-"_s});
    m_plait->write(urlOf(0) + '\n');
    QTRY_COMPARE_WITH_TIMEOUT(m_plait->files(), QStringList{nameOf(0)}, PlaitSandbox::kPatienceMs);
    m_plait->write(urlOf(1) + '\n' + urlOf(2) + "\n  out=own.bin\nnonsense:\n");
    QTRY_VERIFY_WITH_TIMEOUT(m_plait->has(u"own.bin"_s) && m_plait->has(nameOf(1)), PlaitSandbox::kPatienceMs);
    QVERIFY(m_plait->isRunning());
    m_plait->write(urlOf(3));
    m_plait->endInput();
    const PlaitResult result = m_plait->finish();
    QVERIFY2(result.status == kBadOption, result.err);
    QVERIFY2(result.err.contains("standard input:5: \"nonsense:\" is no URL"), result.err);
    QCOMPARE(m_plait->files(), (QStringList{nameOf(0), nameOf(1), nameOf(3), u"own.bin"_s}));
}

void TestPlaitAgain::aListThatIsWrittenNeedsAnAddress()
{
    m_plait->startReading({u"-i"_s, u"-"_s});
    m_plait->write("# nothing yet\n");
    m_plait->endInput();
    const PlaitResult result = m_plait->finish();
    QVERIFY2(result.status == kBadOption && result.err.contains("there is no URL"), result.err);
    // One who is stopped while more may come has not done all.
    m_plait->startReading({u"-i"_s, u"-"_s});
    m_plait->write(urlOf(0) + '\n');
    QTRY_COMPARE_WITH_TIMEOUT(m_plait->files(), QStringList{nameOf(0)}, PlaitSandbox::kPatienceMs);
    m_plait->sendSignal(SIGINT);
    QCOMPARE(m_plait->finish().status, kUnfinished);
}

void TestPlaitAgain::anAddressThatStandsTwiceIsFetchedOnce()
{
    const PlaitResult result = m_plait->run({u"-i"_s, writeList(list(4) + list(4) + list(4))});
    QVERIFY2(result.status == kDone, result.err);
    QCOMPARE(m_plait->files(), (QStringList{nameOf(0), nameOf(1), nameOf(2), nameOf(3)}));
}

void TestPlaitAgain::aListThatIsStoppedAgainAndAgainComesDownOnce()
{
    const QString file = writeList(list(kFiles));
    const QStringList command{u"-j"_s, u"3"_s, u"--max-overall-download-limit"_s, u"6M"_s, u"-i"_s, file};
    for (int stop = 0; stop < kStops; ++stop) {
        const qsizetype before = m_plait->files().size();
        m_plait->start(command);
        QVERIFY(
            QTest::qWaitFor([&] { return m_plait->files().size() >= before + 4 + stop; }, PlaitSandbox::kPatienceMs));
        QVERIFY2(m_plait->isRunning(), m_plait->errorText());
        if (stop % 3 == 2)
            m_plait->kill();
        else
            m_plait->sendSignal(SIGINT);
        m_plait->finish();
    }
    const PlaitResult result = m_plait->run({u"-i"_s, file});
    QVERIFY2(result.status == kDone, result.err);
    QVERIFY2(result.err.contains("Skipped"), result.err);
    QStringList names;
    for (int i = 0; i < kFiles; ++i)
        names.append(nameOf(i));
    names.sort();
    QCOMPARE(m_plait->files(), names);
    for (int i = 0; i < kFiles; ++i)
        QCOMPARE(TestFiles::sha256OfFile(m_plait->path(nameOf(i))), rightHash(i));
}

void TestPlaitAgain::aListHasMirrorsOptionsOfItsOwnAndBadLines()
{
    const QByteArray gone = m_servers.nginx().url(u"/gone.bin"_s).toEncoded();
    const QByteArray text = "\xef\xbb\xbf# mine\r\n\r\n" + gone + '\t' + urlOf(0)
        + "\r\n  out=mirrored.bin\r\n  checksum=sha-256=" + rightHash(0) + "\r\nnonsense:\r\n" + urlOf(1)
        + "\r\n  split=99\r\n" + urlOf(2) + "\r\n  dir=sub\r\n  user-agent=Mine\r\n" + urlOf(3) + "\r\n";
    const QString file = writeList(text);
    const PlaitResult result = m_plait->run({u"-i"_s, file});
    QVERIFY2(result.status == kBadOption, result.err);
    QVERIFY2(result.err.contains(file.toUtf8() + ":6: \"nonsense:\" is no URL"), result.err);
    QVERIFY2(result.err.contains(file.toUtf8() + ":8: split \"99\" is no number from 1 to 20"), result.err);
    QCOMPARE(m_plait->files(), (QStringList{nameOf(3), u"mirrored.bin"_s}));
    QCOMPARE(TestFiles::sha256OfFile(m_plait->path(u"mirrored.bin"_s)), rightHash(0));
    QCOMPARE(TestFiles::sha256OfFile(m_plait->path(u"sub/"_s + nameOf(2))), rightHash(2));
    QVERIFY(!m_servers.nginx().logEntriesOf("Mine").isEmpty());
}

QTEST_GUILESS_MAIN(TestPlaitAgain)
#include "tst_plait_again.moc"
