// SPDX-License-Identifier: MIT
#include <host/engine/downloadrun.h>
#include <host/engine/downloadstate.h>

#include <QFile>
#include <QTest>

using namespace Qt::StringLiterals;

class TestDownloadState : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theDocumentsShowThem_data();
    void theDocumentsShowThem();
    void eachStateIsNamedAndCanBeReached();
    void nothingFollowsUponTheLast();
};

void TestDownloadState::theDocumentsShowThem_data()
{
    QTest::addColumn<QString>("heading");
    QTest::addColumn<QString>("chart");
    QTest::newRow("queue") << u"States of a download in the queue"_s << downloadStates().chart(u"append"_s);
    QTest::newRow("session") << u"States of a download in a session"_s
                             << DownloadRun::states().chart(u"start, restart, finishNow, query"_s);
}

void TestDownloadState::theDocumentsShowThem()
{
    QFETCH(QString, heading);
    QFile file(QStringLiteral(PLAIT_SOURCE_ROOT "/docs/architecture.md"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QString chapter = QString::fromUtf8(file.readAll()).section(u"\n### "_s + heading, 1, 1);
    const QString chart = chapter.section("```mermaid\n"_L1, 1, 1).section("```\n"_L1, 0, 0);
    QTEST(chart, "chart");
}

void TestDownloadState::eachStateIsNamedAndCanBeReached()
{
    for (int state = 0; state <= int(DownloadState::Removed); ++state) {
        const DownloadState to = DownloadState(state);
        QVERIFY(downloadStates().nameOf(to) != "?"_L1);
        const auto &exits = downloadStates().exits();
        QVERIFY(std::any_of(exits.begin(), exits.end(), [to](const auto &exit) { return exit.to == to; }));
    }
}

void TestDownloadState::nothingFollowsUponTheLast()
{
    for (const auto &[state, name] : downloadStates().names())
        QCOMPARE(downloadStates().isLast(state), state == DownloadState::Removed);
}

QTEST_GUILESS_MAIN(TestDownloadState)
#include "tst_downloadstate.moc"
