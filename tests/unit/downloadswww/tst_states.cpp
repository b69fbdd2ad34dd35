// SPDX-License-Identifier: MIT
#include <inet/qt/download/downloadswww/wwwdownload.h>
#include <inet/qt/download/framework/qtappdefaultlogger.h>
#include <tests/support/downloadfixture.h>

#include <QFile>
#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

/// The chart behind the heading that begins so; empty = there is none.
QString documentedChart(const QString &heading)
{
    QFile file(QStringLiteral(PLAIT_SOURCE_ROOT "/docs/architecture.md"));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QString text = QString::fromUtf8(file.readAll());
    return text.section(u"\n### "_s + heading, 1, 1).section("```mermaid\n"_L1, 1, 1).section("```\n"_L1, 0, 0);
}

struct Bench : DownloadFixture {
    Bench()
    {
        QtAppDefaultLogger::instance()->setVerbosityLevel(WwwDownload::kStateLogLevel);
        watch(&download);
        download.setWritersThread(writersThread());
    }

    /// Names of states in the order of the log, of the download or of its first section.
    QStringList states(const QString &who = {}) const
    {
        const QString head = u"[Download #7] "_s + who + u"state: "_s;
        QStringList names;
        for (const QString &line : lines) {
            if (line.startsWith(head))
                names.append(line.mid(head.size()));
        }
        return names;
    }

    WwwDownload download{kDownloadId, chief, userAgents, nullptr};
};

}

class TestStates : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theDocumentsShowThem_data();
    void theDocumentsShowThem();
    void eachChangeIsOneLineOfTheLog();
    void lowerLevelsOfTheLogHaveNoneOfThem();
    void whatLogsNothingLogsNoneOfThem();
};

void TestStates::theDocumentsShowThem_data()
{
    QTest::addColumn<QString>("heading");
    QTest::addColumn<QString>("chart");
    QTest::newRow("download") << u"States of a download (`WwwDownload`"_s << WwwDownload::states().chart();
    QTest::newRow("section") << u"States of a section (`WwwDownloadSection`"_s << WwwDownloadSection::states().chart();
    QTest::newRow("transfer") << u"States of a transfer (`WwwDownloader`"_s << WwwDownloader::states().chart();
}

void TestStates::theDocumentsShowThem()
{
    QFETCH(QString, heading);
    QTEST(documentedChart(heading), "chart");
}

void TestStates::eachChangeIsOneLineOfTheLog()
{
    Bench bench;
    bench.download.setInfo(bench.record());
    bench.download.doCommand(AbstractDownloadCommand::Start);
    bench.answer("0123456789"_ba);
    QTRY_VERIFY(!bench.download.isRunning());
    QCOMPARE(bench.states(), (QStringList{u"Running"_s, u"FinalFileOps"_s, u"Running"_s, u"Stopping"_s, u"Idle"_s}));
    QCOMPARE(bench.states(u"[Section #1]: "_s),
             (QStringList{u"Requesting"_s, u"WaitingFile"_s, u"Opening"_s, u"Writing"_s, u"Closing"_s, u"Idle"_s}));
}

void TestStates::lowerLevelsOfTheLogHaveNoneOfThem()
{
    Bench bench;
    QtAppDefaultLogger::instance()->setVerbosityLevel(WwwDownload::kSectionLogLevel);
    bench.download.setInfo(bench.record());
    bench.download.doCommand(AbstractDownloadCommand::Start);
    bench.download.doCommand(AbstractDownloadCommand::Stop);
    QVERIFY(!bench.lines.isEmpty());
    QVERIFY(bench.lines.filter(u"state: "_s).isEmpty());
}

void TestStates::whatLogsNothingLogsNoneOfThem()
{
    Bench bench;
    AbstractDownloadPersistentInfo info = bench.record();
    info.setFlag(AbstractDownloadPersistentInfo::LoggingSuppressed, true);
    bench.download.setInfo(info);
    bench.download.doCommand(AbstractDownloadCommand::Start);
    bench.download.doCommand(AbstractDownloadCommand::Stop);
    QVERIFY(bench.lines.filter(u"state: "_s).isEmpty());
}

QTEST_GUILESS_MAIN(TestStates)
#include "tst_states.moc"
