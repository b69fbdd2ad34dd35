// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/qtappdefaultlogger.h>
#include <inet/qt/download/framework/qtapplogger.h>
#include <inet/qt/download/framework/qtapploggertextstream.h>

#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

using namespace Qt::StringLiterals;

namespace
{

QStringList linesOf(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts);
}

class CountingLogger : public QtAppLogger
{
public:
    void log(int level, const QString &line) override { calls.append(u"log %1 %2"_s.arg(level).arg(line)); }
    int verbosityLevel() const override
    {
        calls.append(u"level"_s);
        return 4;
    }
    mutable QStringList calls;
};

}

class TestLogger : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void linesAboveTheVerbosityAreDropped_data();
    void linesAboveTheVerbosityAreDropped();
    void aFileLineHasTimeLevelAndText();
    void aTextOfSeveralLinesStaysOneLine();
    void aFileIsAppendedTo();
    void aFileThatCannotBeOpenedIsReported();
    void anEmptySinkTakesTheSinkAway();
    void aFilterComesBeforeFileAndSink();
    void aSinkMayLogItself();
    void threadsDoNotMixTheirLines();
    void oneStreamIsOneLine();
    void theLevelIsAskedForBehindTheLine();
    void aStreamWithoutALoggerIsSilent();
    void theDefaultLoggerIsAlwaysTheSame();
};

void TestLogger::linesAboveTheVerbosityAreDropped_data()
{
    QTest::addColumn<int>("verbosity");
    QTest::addColumn<int>("level");
    QTest::addColumn<bool>("written");
    QTest::newRow("nothing is logged by default") << 0 << 1 << false;
    QTest::newRow("a line of the level itself is written") << 4 << 4 << true;
    QTest::newRow("a line below the level is written") << 4 << 1 << true;
    QTest::newRow("a line above the level is dropped") << 3 << 4 << false;
}

void TestLogger::linesAboveTheVerbosityAreDropped()
{
    QFETCH(int, verbosity);
    QFETCH(int, level);
    QFETCH(bool, written);
    QtAppLogger logger;
    QCOMPARE(logger.verbosityLevel(), 0);
    logger.setVerbosityLevel(verbosity);
    QList<int> levels;
    logger.setSink([&](int lineLevel, const QString &) { levels.append(lineLevel); });
    logger.log(level, u"text"_s);
    QCOMPARE(levels, written ? QList<int>{level} : QList<int>{});
}

void TestLogger::aFileLineHasTimeLevelAndText()
{
    const QTemporaryDir dir;
    QtAppLogger logger;
    logger.setVerbosityLevel(4);
    QVERIFY(logger.openFile(dir.filePath(u"log"_s)));
    logger.log(4, u"writer opened."_s);
    const QRegularExpression form(uR"(^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3} 4 writer opened\.$)"_s);
    const QStringList lines = linesOf(dir.filePath(u"log"_s));
    QCOMPARE(lines.size(), 1);
    QVERIFY2(form.match(lines.first()).hasMatch(), qPrintable(lines.first()));
}

void TestLogger::aTextOfSeveralLinesStaysOneLine()
{
    const QTemporaryDir dir;
    QtAppLogger logger;
    logger.setVerbosityLevel(1);
    QVERIFY(logger.openFile(dir.filePath(u"log"_s)));
    logger.log(1, u"one\r\ntwo"_s);
    const QStringList lines = linesOf(dir.filePath(u"log"_s));
    QCOMPARE(lines.size(), 1);
    QVERIFY(lines.first().endsWith(u"one  two"_s));
}

void TestLogger::aFileIsAppendedTo()
{
    const QTemporaryDir dir;
    for (int run = 0; run < 2; ++run) {
        QtAppLogger logger;
        logger.setVerbosityLevel(1);
        QVERIFY(logger.openFile(dir.filePath(u"log"_s)));
        logger.log(1, u"line"_s);
    }
    QCOMPARE(linesOf(dir.filePath(u"log"_s)).size(), 2);
}

void TestLogger::aFileThatCannotBeOpenedIsReported()
{
    const QTemporaryDir dir;
    QtAppLogger logger;
    QString text;
    QVERIFY(!logger.openFile(dir.path(), &text));
    QVERIFY(!text.isEmpty());
    QVERIFY(!logger.openFile(dir.path()));
    logger.setVerbosityLevel(1);
    logger.log(1, u"goes nowhere"_s);
}

void TestLogger::anEmptySinkTakesTheSinkAway()
{
    QtAppLogger logger;
    logger.setVerbosityLevel(1);
    int lines = 0;
    logger.setSink([&](int, const QString &) { ++lines; });
    logger.log(1, u"a"_s);
    logger.setSink({});
    logger.log(1, u"b"_s);
    QCOMPARE(lines, 1);
}

void TestLogger::aFilterComesBeforeFileAndSink()
{
    const QTemporaryDir dir;
    const QString path = dir.filePath(u"log"_s);
    QtAppLogger logger;
    logger.setVerbosityLevel(1);
    QVERIFY(logger.openFile(path));
    QStringList seen;
    logger.setSink([&seen](int, const QString &line) { seen.append(line); });
    logger.setFilter([](const QString &line) { return QString(line).replace(u"secret"_s, u"***"_s); });
    logger.log(1, u"the secret word"_s);
    logger.setFilter({});
    logger.log(1, u"the secret is out"_s);
    QCOMPARE(seen, (QStringList{u"the *** word"_s, u"the secret is out"_s}));
    const QStringList lines = linesOf(path);
    QCOMPARE(lines.size(), 2);
    QVERIFY(lines.first().endsWith(u"the *** word"_s));
}

void TestLogger::aSinkMayLogItself()
{
    QtAppLogger logger;
    logger.setVerbosityLevel(1);
    int lines = 0;
    logger.setSink([&](int, const QString &) {
        ++lines;
        logger.log(1, u"nested"_s);
    });
    logger.log(1, u"a"_s);
    logger.log(1, u"b"_s);
    QCOMPARE(lines, 2);
}

void TestLogger::threadsDoNotMixTheirLines()
{
    const QTemporaryDir dir;
    QtAppLogger logger;
    logger.setVerbosityLevel(1);
    QVERIFY(logger.openFile(dir.filePath(u"log"_s)));
    int sinkLines = 0;
    logger.setSink([&](int, const QString &) { ++sinkLines; });
    constexpr int kThreads = 4;
    constexpr int kLines = 200;
    QList<QThread *> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.append(QThread::create([&logger] {
            for (int i = 0; i < kLines; ++i)
                logger.log(1, u"0123456789"_s);
        }));
        threads.last()->start();
    }
    for (QThread *thread : threads)
        thread->wait();
    qDeleteAll(threads);
    const QStringList lines = linesOf(dir.filePath(u"log"_s));
    QCOMPARE(lines.size(), kThreads * kLines);
    QCOMPARE(sinkLines, kThreads * kLines);
    for (const QString &line : lines)
        QVERIFY(line.endsWith(u" 1 0123456789"_s));
}

void TestLogger::oneStreamIsOneLine()
{
    CountingLogger logger;
    {
        QtAppLoggerTextStream stream(&logger, 1, false);
        stream << u"[Download #7] "_s << u"running: "_s << 1;
        QVERIFY(logger.calls.isEmpty());
    }
    QCOMPARE(logger.calls, QStringList{u"log 1 [Download #7] running: 1"_s});
}

void TestLogger::theLevelIsAskedForBehindTheLine()
{
    CountingLogger logger;
    QtAppLoggerTextStream(&logger, 4, true) << u"text"_s;
    QCOMPARE(logger.calls, (QStringList{u"log 4 text"_s, u"level"_s}));
}

void TestLogger::aStreamWithoutALoggerIsSilent()
{
    QtAppLoggerTextStream(nullptr, 4, true) << u"text"_s;
}

void TestLogger::theDefaultLoggerIsAlwaysTheSame()
{
    QVERIFY(QtAppDefaultLogger::instance());
    QCOMPARE(QtAppDefaultLogger::instance(), QtAppDefaultLogger::instance());
}

QTEST_GUILESS_MAIN(TestLogger)
#include "tst_qtapplogger.moc"
