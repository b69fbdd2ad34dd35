// SPDX-License-Identifier: MIT
#include <tests/integration/plaitsandbox.h>
#include <tests/integration/plantedthing.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/testfiles.h>

#include <QDir>
#include <QFile>
#include <QTest>

#include <atomic>
#include <csignal>

using namespace Qt::StringLiterals;

namespace
{
using Kind = PlantedThing::Kind;

constexpr int kDone = 0;
constexpr int kUnfinished = 7;
constexpr int kCannotCreate = 16;
constexpr int kFileError = 17;

constexpr quint64 kSeed = 23;
constexpr qint64 kSize = 250000; // too small to be split
constexpr qint64 kHeldAt = 100000;
constexpr qint64 kWord = 16;

const QString kName = QStringLiteral("file.bin");
const QString kPart = QStringLiteral("file.bin.part");
const QString kOther = QStringLiteral("file (1).bin");

bool isWhole(const QString &path)
{
    return TestFiles::sha256OfFile(path) == TestFiles::sha256OfContent(kSeed, kSize);
}

void addKinds()
{
    QTest::addColumn<Kind>("kind");
    for (const Kind kind : PlantedThing::kinds())
        QTest::newRow(PlantedThing::name(kind)) << kind;
}
}

/// What others put in the place of a download's files is neither read nor written nor replaced, nor taken for ours.
class TestPlaitPlanted : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void inPlaceOfTheFileToBeMade_data();
    void inPlaceOfTheFileToBeMade();
    void inPlaceOfThePartWhileNothingRuns_data() { addKinds(); }
    void inPlaceOfThePartWhileNothingRuns();
    void inPlaceOfTheFinalNameWhileNothingRuns_data() { addKinds(); }
    void inPlaceOfTheFinalNameWhileNothingRuns();
    void inPlaceOfThePartWhileItRuns_data() { addKinds(); }
    void inPlaceOfThePartWhileItRuns();
    void inPlaceOfTheFinalNameWhileItRuns_data() { addKinds(); }
    void inPlaceOfTheFinalNameWhileItRuns();
    void asTheFinishedFileOfAPartThatVanished_data() { addKinds(); }
    void asTheFinishedFileOfAPartThatVanished();
    void inPlaceOfTheFolder_data();
    void inPlaceOfTheFolder();
    void anotherFolderInItsPlaceWhileItRuns_data();
    void anotherFolderInItsPlaceWhileItRuns();
    void aFolderThatIsALinkIsThePersonsChoice();

private:
    QString at(const QString &name) const { return QDir(m_plait->path(u"in"_s)).filePath(name); }
    QStringList arguments() const
    {
        return {m_server->url(u"/"_s + kName).toString(), u"-d"_s, m_plait->path(u"in"_s)};
    }
    QStringList names() const
    {
        return QDir(at({})).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    }
    /// Runs until the answer is held and what came of it is on disk.
    void runToTheHeldByte();
    /// The same, then stops it in order.
    void leavePartWay();
    PlaitResult goOn();

    std::unique_ptr<PlaitSandbox> m_plait;
    std::unique_ptr<ScriptedServer> m_server;
};

void TestPlaitPlanted::init()
{
    m_plait = std::make_unique<PlaitSandbox>();
    m_server = std::make_unique<ScriptedServer>();
    QVERIFY(m_server->isListening());
    QVERIFY(QDir().mkpath(at({})));
    ScriptedResponse response = ScriptedResponse::file(kSeed, kSize);
    response.holdAfter = kHeldAt;
    m_server->setResponse("/file.bin", response);
}

void TestPlaitPlanted::runToTheHeldByte()
{
    m_plait->startBare(arguments());
    const QByteArray beginning = TestFiles::content(kSeed, 0, kWord);
    QTRY_VERIFY_WITH_TIMEOUT(!m_plait->isRunning() || TestFiles::readFile(at(kPart)).startsWith(beginning),
                             PlaitSandbox::kPatienceMs);
    QVERIFY2(m_plait->isRunning() && m_server->waitForHeld({}), m_plait->errorText());
}

void TestPlaitPlanted::leavePartWay()
{
    runToTheHeldByte();
    m_plait->sendSignal(SIGTERM);
    const PlaitResult result = m_plait->finish();
    QVERIFY2(result.status == kUnfinished, result.err);
}

PlaitResult TestPlaitPlanted::goOn()
{
    m_server->release();
    return m_plait->finish();
}

void TestPlaitPlanted::inPlaceOfTheFileToBeMade_data()
{
    QTest::addColumn<Kind>("kind");
    QTest::addColumn<QString>("name");
    for (const QString &name : {kName, kPart}) {
        for (const Kind kind : PlantedThing::kinds())
            QTest::addRow("%s, under the name %s", PlantedThing::name(kind), qPrintable(name)) << kind << name;
    }
}

void TestPlaitPlanted::inPlaceOfTheFileToBeMade()
{
    QFETCH(Kind, kind);
    QFETCH(QString, name);
    PlantedThing planted(kind, kSize);
    QVERIFY(planted.plant(at(name)));
    m_server->release();
    const PlaitResult result = m_plait->runBare(arguments());
    QVERIFY2(result.status == kDone, result.err);
    QVERIFY(isWhole(at(kOther)));
    QCOMPARE(names(), (QStringList{kOther, name}));
    QCOMPARE(planted.harm(), QString());
}

void TestPlaitPlanted::inPlaceOfThePartWhileNothingRuns()
{
    QFETCH(Kind, kind);
    leavePartWay();
    QVERIFY(QFile::rename(at(kPart), at(u"aside"_s)));
    const QByteArray ours = TestFiles::readFile(at(u"aside"_s));
    PlantedThing planted(kind, kSize);
    QVERIFY(planted.plant(at(kPart)));
    m_server->release();
    const PlaitResult result = m_plait->runBare(arguments());
    QVERIFY2(result.status == kDone, result.err);
    QVERIFY2(result.err.contains("the download begins anew"), result.err);
    QVERIFY(isWhole(at(kOther)));
    QCOMPARE(names(), (QStringList{u"aside"_s, kOther, kPart}));
    QVERIFY(TestFiles::readFile(at(u"aside"_s)) == ours);
    QCOMPARE(planted.harm(), QString());
}

void TestPlaitPlanted::inPlaceOfTheFinalNameWhileNothingRuns()
{
    QFETCH(Kind, kind);
    leavePartWay();
    PlantedThing planted(kind, kSize);
    QVERIFY(planted.plant(at(kName)));
    m_server->release();
    const PlaitResult result = m_plait->runBare(arguments());
    QVERIFY2(result.status == kDone, result.err);
    QVERIFY(isWhole(at(kOther)));
    QCOMPARE(names(), (QStringList{kOther, kName}));
    QCOMPARE(planted.harm(), QString());
}

void TestPlaitPlanted::inPlaceOfThePartWhileItRuns()
{
    QFETCH(Kind, kind);
    runToTheHeldByte();
    QVERIFY(QFile::rename(at(kPart), at(u"aside"_s)));
    PlantedThing planted(kind, kSize);
    QVERIFY(planted.plant(at(kPart)));
    const PlaitResult result = goOn();
    QCOMPARE(result.status, kFileError);
    QVERIFY2(result.err.contains("cannot finish \"" + at(kPart).toUtf8() + "\": it is " + planted.words()), result.err);
    QCOMPARE(names(), (QStringList{u"aside"_s, kPart}));
    QCOMPARE(planted.harm(), QString());
    // Nor is it taken for ours the next time.
    const PlaitResult next = m_plait->runBare(arguments());
    QVERIFY2(next.status == kDone, next.err);
    QVERIFY(isWhole(at(kOther)));
    QCOMPARE(planted.harm(), QString());
}

void TestPlaitPlanted::inPlaceOfTheFinalNameWhileItRuns()
{
    QFETCH(Kind, kind);
    runToTheHeldByte();
    PlantedThing planted(kind, kSize);
    QVERIFY(planted.plant(at(kName)));
    const PlaitResult result = goOn();
    QVERIFY2(result.status == kDone, result.err);
    QVERIFY(isWhole(at(kOther)));
    QCOMPARE(names(), (QStringList{kOther, kName}));
    QCOMPARE(planted.harm(), QString());
}

void TestPlaitPlanted::asTheFinishedFileOfAPartThatVanished()
{
    QFETCH(Kind, kind);
    runToTheHeldByte();
    QVERIFY(QFile::remove(at(kPart)));
    PlantedThing planted(kind, kSize);
    QVERIFY(planted.plant(at(kName)));
    const PlaitResult result = goOn();
    QCOMPARE(result.status, kFileError);
    QVERIFY2(result.err.contains("cannot finish \"" + at(kPart).toUtf8() + "\": No such file"), result.err);
    QCOMPARE(names(), QStringList{kName});
    QCOMPARE(planted.harm(), QString());
}

void TestPlaitPlanted::inPlaceOfTheFolder_data()
{
    QTest::addColumn<Kind>("kind");
    QTest::addColumn<bool>("isRunning");
    for (const Kind kind : PlantedThing::kindsButFolders()) {
        QTest::addRow("%s, before it runs", PlantedThing::name(kind)) << kind << false;
        QTest::addRow("%s, while it runs", PlantedThing::name(kind)) << kind << true;
    }
}

void TestPlaitPlanted::inPlaceOfTheFolder()
{
    QFETCH(Kind, kind);
    QFETCH(bool, isRunning);
    if (isRunning)
        runToTheHeldByte();
    QVERIFY(QDir().rename(m_plait->path(u"in"_s), m_plait->path(u"aside"_s)));
    PlantedThing planted(kind, kSize);
    QVERIFY(planted.plant(m_plait->path(u"in"_s)));
    if (!isRunning)
        m_plait->startBare(arguments());
    const PlaitResult result = goOn();
    QVERIFY2(result.status == kCannotCreate || result.status == kFileError, result.err);
    QVERIFY2(result.err.contains("cannot use the folder \"" + m_plait->path(u"in"_s).toUtf8() + '"'), result.err);
    QCOMPARE(planted.harm(), QString());
}

void TestPlaitPlanted::anotherFolderInItsPlaceWhileItRuns_data()
{
    QTest::addColumn<bool>("isLink");
    QTest::addColumn<QString>("name");
    for (const QString &name : {kName, kPart}) {
        QTest::addRow("a folder that holds a %s", qPrintable(name)) << false << name;
        QTest::addRow("a link to a folder that holds a %s", qPrintable(name)) << true << name;
    }
}

void TestPlaitPlanted::anotherFolderInItsPlaceWhileItRuns()
{
    QFETCH(bool, isLink);
    QFETCH(QString, name);
    runToTheHeldByte();
    QVERIFY(QDir().rename(m_plait->path(u"in"_s), m_plait->path(u"aside"_s)));
    const QString elsewhere = m_plait->path(isLink ? u"elsewhere"_s : u"in"_s);
    QVERIFY(QDir().mkdir(elsewhere));
    PlantedThing planted(Kind::File, kSize);
    QVERIFY(planted.plant(elsewhere + u'/' + name));
    QVERIFY(!isLink || QFile::link(elsewhere, m_plait->path(u"in"_s)));
    const PlaitResult result = goOn();
    QCOMPARE(result.status, kFileError);
    QVERIFY2(result.err.contains("cannot finish \"" + at(kPart).toUtf8() + '"'), result.err);
    QCOMPARE(names(), QStringList{name});
    QCOMPARE(planted.harm(), QString());
}

void TestPlaitPlanted::aFolderThatIsALinkIsThePersonsChoice()
{
    QVERIFY(QDir().rename(m_plait->path(u"in"_s), m_plait->path(u"elsewhere"_s)));
    QVERIFY(QFile::link(m_plait->path(u"elsewhere"_s), m_plait->path(u"in"_s)));
    leavePartWay();
    m_server->release();
    const PlaitResult result = m_plait->runBare(arguments());
    QVERIFY2(result.status == kDone, result.err);
    QVERIFY(isWhole(m_plait->path(u"elsewhere/"_s + kName)));
    QCOMPARE(names(), QStringList{kName});
}

QTEST_GUILESS_MAIN(TestPlaitPlanted)
#include "tst_plait_planted.moc"
