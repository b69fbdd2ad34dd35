// SPDX-License-Identifier: MIT
#include <tests/integration/plaitsandbox.h>
#include <tests/integration/plaitterminal.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/testfiles.h>

#include <QFile>
#include <QTest>

#include <algorithm>
#include <csignal>
#include <memory>

using namespace Qt::StringLiterals;

namespace
{
constexpr int kDone = 0;
constexpr int kUnfinished = 7;
constexpr int kCannotResume = 8;
constexpr int kFileExists = 13;
constexpr int kResourceChanged = 33;

constexpr int kColumns = 120;
constexpr int kRows = 24;
constexpr quint64 kSeed = 41;
constexpr quint64 kNewSeed = 42;
constexpr qint64 kSize = 300000; // too small to be split
constexpr qint64 kWord = 16;
const QString kName = u"file.bin"_s;
const QString kPart = u"file.bin.part"_s;
const QByteArray kExisting = QByteArrayLiteral("what was here before\n");
const QByteArray kNoOrYes = QByteArrayLiteral("[no/yes]");
const QByteArray kHowToSave = QByteArrayLiteral("[rename/overwrite/skip]");

/// What stands in the way of going on.
enum class Obstacle { Changed, Unresumable };

bool writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

qint64 prefixOnDisk(const QString &path)
{
    const QByteArray bytes = TestFiles::readFile(path);
    const QByteArray content = TestFiles::content(kSeed, 0, bytes.size());
    return std::mismatch(bytes.begin(), bytes.end(), content.begin()).first - bytes.begin();
}

QByteArray contentOf(quint64 seed)
{
    return TestFiles::content(seed, 0, kSize);
}

/// The file comes slowly and stops in its middle.
ScriptedResponse heldFile(quint64 seed = kSeed)
{
    ScriptedResponse response = ScriptedResponse::file(seed, kSize);
    response.bytesPerSecond = 60000;
    response.holdAfter = 150000;
    return response;
}

ScriptedResponse inTheWay(Obstacle obstacle)
{
    ScriptedResponse response = ScriptedResponse::file(obstacle == Obstacle::Changed ? kNewSeed : kSeed, kSize);
    response.honoursRanges = obstacle == Obstacle::Changed;
    return response;
}

QString optionOf(Obstacle obstacle)
{
    return obstacle == Obstacle::Changed ? u"--on-changed"_s : u"--on-unresumable"_s;
}

/// Types each line when the question has been put once more. False when it is not put.
bool answer(PlaitTerminal &terminal, const QByteArray &question, const QList<QByteArray> &lines)
{
    for (qsizetype i = 0; i < lines.size(); ++i) {
        if (!terminal.waitFor([&] { return terminal.bytes().count(question) > i; }))
            return false;
        terminal.type(lines.at(i));
    }
    return true;
}

QByteArray told(int status, const QByteArray &text)
{
    return "status " + QByteArray::number(status) + ": " + text;
}
}

Q_DECLARE_METATYPE(Obstacle)

/// The program asks the person at the terminal, and does what is answered.
class TestPlaitQuestions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void anExistingFileIsTreatedAsAnswered_data();
    void anExistingFileIsTreatedAsAnswered();
    void theEndOfTheInputLeavesEverythingAsItIs();
    void aNameOfOnesOwnIsAskedAbout_data();
    void aNameOfOnesOwnIsAskedAbout();
    void anAnswerDecidesHowItGoesOn_data();
    void anAnswerDecidesHowItGoesOn();
    void asksWithoutBeingToldTo();
    void twoDownloadsAskOneAfterTheOther();
    void ctrlCAtTheQuestionOfAnExistingFileLosesNothing();
    void ctrlCAtAQuestionLosesNothing_data();
    void ctrlCAtAQuestionLosesNothing();
    void ctrlCAtAQuestionStopsTheOthersToo();
    void offATerminalNobodyIsAsked_data();
    void offATerminalNobodyIsAsked();
    void offATerminalAnExistingFileIsAnError();

private:
    QString url(const QString &name = kName) const { return m_server->url(u'/' + name).toString(); }
    /// Runs off the terminal until something of each is on disk, and stops.
    void runIntoTheMiddle(const QStringList &names);

    std::unique_ptr<ScriptedServer> m_server;
    std::unique_ptr<PlaitSandbox> m_plait;
};

void TestPlaitQuestions::init()
{
    m_server = std::make_unique<ScriptedServer>();
    m_plait = std::make_unique<PlaitSandbox>();
}

void TestPlaitQuestions::runIntoTheMiddle(const QStringList &names)
{
    QStringList arguments;
    for (const QString &name : names) {
        m_server->setResponse('/' + name.toLatin1(), heldFile());
        arguments.append(url(name));
    }
    m_plait->start(arguments);
    const auto hasBegun = [&](const QString &name) {
        return m_plait->partBeginsWith(name, TestFiles::content(kSeed, 0, kWord));
    };
    QVERIFY2(QTest::qWaitFor([&] { return !m_plait->isRunning() || std::all_of(names.begin(), names.end(), hasBegun); },
                             PlaitSandbox::kPatienceMs)
                 && m_plait->isRunning(),
             m_plait->errorText());
    m_plait->sendSignal(SIGTERM);
    const PlaitResult result = m_plait->finish();
    QVERIFY2(result.status == kUnfinished, told(result.status, result.err));
}

void TestPlaitQuestions::anExistingFileIsTreatedAsAnswered_data()
{
    QTest::addColumn<QList<QByteArray>>("lines");
    QTest::addColumn<QStringList>("files");
    QTest::addColumn<QByteArray>("underTheName");
    const QStringList both{u"file (1).bin"_s, kName};
    const QStringList one{kName};
    using Lines = QList<QByteArray>;

    QTest::newRow("rename gives the new one a number") << Lines{"rename\n"} << both << kExisting;
    QTest::newRow("overwrite replaces it") << Lines{"overwrite\n"} << one << contentOf(kSeed);
    QTest::newRow("skip leaves it alone") << Lines{"skip\n"} << one << kExisting;
    QTest::newRow("r is enough for rename") << Lines{"r\n"} << both << kExisting;
    QTest::newRow("over is enough for overwrite") << Lines{"over\n"} << one << contentOf(kSeed);
    QTest::newRow("S is enough for skip") << Lines{"S\n"} << one << kExisting;
    QTest::newRow("an empty line is the first choice") << Lines{"\n"} << both << kExisting;
    QTest::newRow("white space around it does not count") << Lines{"  o \n"} << one << contentOf(kSeed);
    QTest::newRow("nonsense is asked again") << Lines{"what?\n", "overwritten\n", "o\n"} << one << contentOf(kSeed);
}

void TestPlaitQuestions::anExistingFileIsTreatedAsAnswered()
{
    QFETCH(QList<QByteArray>, lines);
    QFETCH(QStringList, files);
    QFETCH(QByteArray, underTheName);
    m_server->setResponse("/file.bin", ScriptedResponse::file(kSeed, kSize));
    QVERIFY(writeFile(m_plait->path(kName), kExisting));

    PlaitTerminal terminal(kColumns, kRows);
    QVERIFY(terminal.start(*m_plait, {u"--on-exists"_s, u"ask"_s, url()}));
    QVERIFY2(answer(terminal, kHowToSave, lines), terminal.bytes());
    const int status = terminal.finish();
    QVERIFY2(status == kDone, told(status, terminal.bytes()));
    QCOMPARE(terminal.bytes().count(kHowToSave), lines.size());
    QCOMPARE(m_plait->files(), files);
    QCOMPARE(TestFiles::readFile(m_plait->path(kName)), underTheName);
    if (files.size() > 1)
        QCOMPARE(TestFiles::readFile(m_plait->path(files.first())), contentOf(kSeed));
}

void TestPlaitQuestions::theEndOfTheInputLeavesEverythingAsItIs()
{
    m_server->setResponse("/file.bin", ScriptedResponse::file(kSeed, kSize));
    QVERIFY(writeFile(m_plait->path(kName), kExisting));
    PlaitTerminal terminal(kColumns, kRows);
    QVERIFY(terminal.start(*m_plait, {u"--on-exists"_s, u"ask"_s, url()}));
    QVERIFY2(answer(terminal, kHowToSave, {"\x04"}), terminal.bytes());
    const int status = terminal.finish();
    QVERIFY2(status == kFileExists, told(status, terminal.bytes()));
    QVERIFY2(terminal.bytes().contains("--on-exists rename"), terminal.bytes());
    QCOMPARE(m_plait->files(), QStringList{kName});
    QCOMPARE(TestFiles::readFile(m_plait->path(kName)), kExisting);
    const PlaitResult resumed = m_plait->runBare({u"--on-exists"_s, u"rename"_s, url()});
    QVERIFY2(resumed.status == kDone, told(resumed.status, resumed.err));
    QCOMPARE(m_plait->files(), QStringList({u"file (1).bin"_s, kName}));
}

void TestPlaitQuestions::aNameOfOnesOwnIsAskedAbout_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QString>("newFile");
    QTest::newRow("rename") << QByteArray("rename\n") << u"mine (1).bin"_s;
    QTest::newRow("overwrite") << QByteArray("overwrite\n") << u"mine.bin"_s;
    QTest::newRow("rename, of a hidden one") << QByteArray("rename\n") << u".mine (1)"_s;
    QTest::newRow("overwrite, of a hidden one") << QByteArray("overwrite\n") << u".mine"_s;
}

void TestPlaitQuestions::aNameOfOnesOwnIsAskedAbout()
{
    QFETCH(QByteArray, line);
    QFETCH(QString, newFile);
    const QString name = newFile.startsWith(u'.') ? u".mine"_s : u"mine.bin"_s;
    m_server->setResponse("/file.bin", ScriptedResponse::file(kSeed, kSize));
    QVERIFY(writeFile(m_plait->path(name), kExisting));
    PlaitTerminal terminal(kColumns, kRows);
    QVERIFY(terminal.start(*m_plait, {u"--on-exists"_s, u"ask"_s, u"-o"_s, name, url()}));
    QVERIFY2(answer(terminal, kHowToSave, {line}), terminal.bytes());
    const int status = terminal.finish();
    QVERIFY2(status == kDone, told(status, terminal.bytes()));
    QCOMPARE(TestFiles::readFile(m_plait->path(newFile)), contentOf(kSeed));
    if (newFile != name)
        QCOMPARE(TestFiles::readFile(m_plait->path(name)), kExisting);
}

void TestPlaitQuestions::anAnswerDecidesHowItGoesOn_data()
{
    QTest::addColumn<Obstacle>("obstacle");
    QTest::addColumn<QList<QByteArray>>("lines");
    QTest::addColumn<bool>("restarts");
    using Lines = QList<QByteArray>;
    for (const Obstacle obstacle : {Obstacle::Changed, Obstacle::Unresumable}) {
        const char *what = obstacle == Obstacle::Changed ? "changed" : "unresumable";
        QTest::addRow("%s: yes fetches it from the beginning", what) << obstacle << Lines{"yes\n"} << true;
        QTest::addRow("%s: Y does, too", what) << obstacle << Lines{"Y\n"} << true;
        QTest::addRow("%s: no keeps what is there", what) << obstacle << Lines{"no\n"} << false;
        QTest::addRow("%s: an empty line does, too", what) << obstacle << Lines{"\n"} << false;
        QTest::addRow("%s: so does the end of the input", what) << obstacle << Lines{"\x04"} << false;
        QTest::addRow("%s: nonsense is asked again", what) << obstacle << Lines{"yesss\n", " y \n"} << true;
    }
}

void TestPlaitQuestions::anAnswerDecidesHowItGoesOn()
{
    QFETCH(Obstacle, obstacle);
    QFETCH(QList<QByteArray>, lines);
    QFETCH(bool, restarts);
    runIntoTheMiddle({kName});
    if (QTest::currentTestFailed())
        return;
    const QByteArray before = TestFiles::sha256OfFile(m_plait->path(kPart));
    m_server->setResponse("/file.bin", inTheWay(obstacle));

    PlaitTerminal terminal(kColumns, kRows);
    QVERIFY(terminal.start(*m_plait, {u"resume"_s, u"1"_s, optionOf(obstacle), u"ask"_s}));
    QVERIFY2(answer(terminal, kNoOrYes, lines), terminal.bytes());
    const int status = terminal.finish();
    QCOMPARE(terminal.bytes().count(kNoOrYes), lines.size());
    if (restarts) {
        QVERIFY2(status == kDone, told(status, terminal.bytes()));
        QCOMPARE(m_plait->files(), QStringList(kName));
        QCOMPARE(TestFiles::readFile(m_plait->path(kName)),
                 contentOf(obstacle == Obstacle::Changed ? kNewSeed : kSeed));
    } else {
        const int refused = obstacle == Obstacle::Changed ? kResourceChanged : kCannotResume;
        QVERIFY2(status == refused, told(status, terminal.bytes()));
        QVERIFY2(terminal.bytes().contains("plait restart 1"), terminal.bytes());
        QCOMPARE(m_plait->files(), QStringList(kPart));
        QCOMPARE(TestFiles::sha256OfFile(m_plait->path(kPart)), before);
    }
}

void TestPlaitQuestions::asksWithoutBeingToldTo()
{
    runIntoTheMiddle({kName});
    if (QTest::currentTestFailed())
        return;
    m_server->setResponse("/file.bin", inTheWay(Obstacle::Changed));
    PlaitTerminal terminal(kColumns, kRows);
    QVERIFY(terminal.start(*m_plait, {url()}));
    QVERIFY2(answer(terminal, kNoOrYes, {"y\n"}), terminal.bytes());
    QCOMPARE(terminal.finish(), kDone);
    QCOMPARE(TestFiles::readFile(m_plait->path(kName)), contentOf(kNewSeed));
}

void TestPlaitQuestions::twoDownloadsAskOneAfterTheOther()
{
    const QStringList names{kName, u"other.bin"_s};
    runIntoTheMiddle(names);
    if (QTest::currentTestFailed())
        return;
    const qsizetype before = m_server->requests().size();
    for (const QString &name : names)
        m_server->setResponse('/' + name.toLatin1(), inTheWay(Obstacle::Changed));

    PlaitTerminal terminal(kColumns, kRows);
    QVERIFY(terminal.start(*m_plait, {u"resume"_s, u"--all"_s}));
    // Both have had their answers and closed what they had open.
    QVERIFY2(terminal.waitFor([&] {
        return m_server->requests().size() >= before + 2 && m_server->openConnections() == 0
            && terminal.bytes().contains(kNoOrYes);
    }),
             terminal.bytes());
    QCOMPARE(terminal.bytes().count(kNoOrYes), 1);
    const bool isFirst = terminal.bytes().contains('"' + names.first().toLatin1() + '"');
    QVERIFY2(isFirst != terminal.bytes().contains('"' + names.last().toLatin1() + '"'), terminal.bytes());
    QVERIFY2(answer(terminal, kNoOrYes, {"yes\n", "no\n"}), terminal.bytes());
    QCOMPARE(terminal.finish(), kResourceChanged);

    const QString fresh = isFirst ? names.first() : names.last();
    const QString kept = isFirst ? names.last() : names.first();
    QCOMPARE(TestFiles::readFile(m_plait->path(fresh)), contentOf(kNewSeed));
    QVERIFY(!m_plait->has(kept));
    QVERIFY(m_plait->partBeginsWith(kept, TestFiles::content(kSeed, 0, kWord)));
}

void TestPlaitQuestions::ctrlCAtTheQuestionOfAnExistingFileLosesNothing()
{
    m_server->setResponse("/file.bin", ScriptedResponse::file(kSeed, kSize));
    QVERIFY(writeFile(m_plait->path(kName), kExisting));
    PlaitTerminal terminal(kColumns, kRows);
    QVERIFY(terminal.start(*m_plait, {u"--on-exists"_s, u"ask"_s, url()}));
    QVERIFY2(terminal.waitFor([&] { return terminal.bytes().contains(kHowToSave); }), terminal.bytes());
    terminal.interrupt();
    const int status = terminal.finish();
    QVERIFY2(status == kUnfinished, told(status, terminal.bytes()));
    QCOMPARE(TestFiles::readFile(m_plait->path(kName)), kExisting);

    const PlaitResult result = m_plait->run({u"--on-exists"_s, u"rename"_s, url()});
    QVERIFY2(result.status == kDone, told(result.status, result.err));
    QCOMPARE(m_plait->files(), QStringList({u"file (1).bin"_s, kName}));
    QCOMPARE(TestFiles::readFile(m_plait->path(kName)), kExisting);
    QCOMPARE(TestFiles::readFile(m_plait->path(u"file (1).bin"_s)), contentOf(kSeed));
    const PlaitResult listed = m_plait->runBare({u"list"_s});
    QVERIFY2(listed.out.count('\n') == 1 && listed.out.contains("done"), listed.out);
}

void TestPlaitQuestions::ctrlCAtAQuestionLosesNothing_data()
{
    QTest::addColumn<Obstacle>("obstacle");
    QTest::newRow("the server has another file") << Obstacle::Changed;
    QTest::newRow("the server does not send the rest alone") << Obstacle::Unresumable;
}

void TestPlaitQuestions::ctrlCAtAQuestionLosesNothing()
{
    QFETCH(Obstacle, obstacle);
    runIntoTheMiddle({kName});
    if (QTest::currentTestFailed())
        return;
    const QByteArray before = TestFiles::sha256OfFile(m_plait->path(kPart));
    const qint64 done = prefixOnDisk(m_plait->path(kPart));
    m_server->setResponse("/file.bin", inTheWay(obstacle));

    PlaitTerminal terminal(kColumns, kRows);
    QVERIFY(terminal.start(*m_plait, {u"resume"_s, u"1"_s}));
    QVERIFY2(terminal.waitFor([&] { return terminal.bytes().contains(kNoOrYes); }), terminal.bytes());
    terminal.interrupt();
    const int status = terminal.finish();
    QVERIFY2(status == kUnfinished, told(status, terminal.bytes()));
    QCOMPARE(m_plait->files(), QStringList(kPart));
    QCOMPARE(TestFiles::sha256OfFile(m_plait->path(kPart)), before);

    m_server->setResponse("/file.bin", ScriptedResponse::file(kSeed, kSize));
    const PlaitResult result = m_plait->runBare({u"resume"_s, u"1"_s});
    QVERIFY2(result.status == kDone, told(result.status, result.err));
    QCOMPARE(TestFiles::readFile(m_plait->path(kName)), contentOf(kSeed));
    QCOMPARE(m_server->bodyBytesSent(m_server->requests().constLast().order), kSize - done);
}

void TestPlaitQuestions::ctrlCAtAQuestionStopsTheOthersToo()
{
    const QString other = u"other.bin"_s;
    runIntoTheMiddle({kName});
    if (QTest::currentTestFailed())
        return;
    m_server->setResponse("/file.bin", inTheWay(Obstacle::Changed));
    m_server->setResponse("/other.bin", heldFile());

    PlaitTerminal terminal(kColumns, kRows);
    QVERIFY(terminal.start(*m_plait, {url(), url(other)}));
    QVERIFY2(terminal.waitFor([&] {
        return terminal.bytes().contains(kNoOrYes)
            && m_plait->partBeginsWith(other, TestFiles::content(kSeed, 0, kWord));
    }),
             terminal.bytes());
    terminal.interrupt();
    const int status = terminal.finish();
    QVERIFY2(status == kUnfinished, told(status, terminal.bytes()));
    QCOMPARE(m_plait->files(), QStringList({kPart, other + u".part"_s}));

    for (const QByteArray path : {"/file.bin", "/other.bin"})
        m_server->setResponse(path, ScriptedResponse::file(kSeed, kSize));
    const PlaitResult result = m_plait->runBare({u"resume"_s, u"--all"_s});
    QVERIFY2(result.status == kDone, told(result.status, result.err));
    for (const QString &name : {kName, other})
        QCOMPARE(TestFiles::readFile(m_plait->path(name)), contentOf(kSeed));
}

void TestPlaitQuestions::offATerminalNobodyIsAsked_data()
{
    QTest::addColumn<Obstacle>("obstacle");
    QTest::addColumn<int>("status");
    QTest::newRow("the server has another file") << Obstacle::Changed << kResourceChanged;
    QTest::newRow("the server does not send the rest alone") << Obstacle::Unresumable << kCannotResume;
}

void TestPlaitQuestions::offATerminalNobodyIsAsked()
{
    QFETCH(Obstacle, obstacle);
    QFETCH(int, status);
    runIntoTheMiddle({kName});
    if (QTest::currentTestFailed())
        return;
    const QByteArray before = TestFiles::sha256OfFile(m_plait->path(kPart));
    m_server->setResponse("/file.bin", inTheWay(obstacle));
    PlaitResult result = m_plait->runBare({u"resume"_s, u"1"_s, optionOf(obstacle), u"ask"_s});
    QVERIFY2(result.status == status, told(result.status, result.err));
    QVERIFY2(!result.err.contains(kNoOrYes) && result.err.contains("plait restart 1"), result.err);
    QCOMPARE(m_plait->files(), QStringList(kPart));
    QCOMPARE(TestFiles::sha256OfFile(m_plait->path(kPart)), before);

    // It is no empty promise.
    result = m_plait->runBare({u"restart"_s, u"1"_s});
    QVERIFY2(result.status == kDone, told(result.status, result.err));
    QCOMPARE(TestFiles::readFile(m_plait->path(kName)), contentOf(obstacle == Obstacle::Changed ? kNewSeed : kSeed));
}

void TestPlaitQuestions::offATerminalAnExistingFileIsAnError()
{
    m_server->setResponse("/file.bin", ScriptedResponse::file(kSeed, kSize));
    QVERIFY(writeFile(m_plait->path(kName), kExisting));
    const PlaitResult result = m_plait->run({u"--on-exists"_s, u"ask"_s, url()});
    QVERIFY2(result.status == kFileExists, told(result.status, result.err));
    QVERIFY2(result.err.contains("exists") && !result.err.contains(kHowToSave), result.err);
    QCOMPARE(m_plait->files(), QStringList(kName));
    QCOMPARE(TestFiles::readFile(m_plait->path(kName)), kExisting);
}

QTEST_GUILESS_MAIN(TestPlaitQuestions)
#include "tst_plait_questions.moc"
