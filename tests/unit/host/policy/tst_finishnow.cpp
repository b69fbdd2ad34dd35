// SPDX-License-Identifier: MIT
#include <cli/clausewords.h>
#include <host/policy/finishnow.h>

#include <QTest>

using namespace Qt::StringLiterals;

using Info = AbstractDownloadPersistentInfo;
using Sections = QList<AbstractDownloadSection>;

class TestFinishNow : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void onlyOnePieceFromTheStartMakesAFile_data();
    void onlyOnePieceFromTheStartMakesAFile();
    void itIsEarlyWhereBytesMayBeMissing_data();
    void itIsEarlyWhereBytesMayBeMissing();
    void whatIsThereBecomesAllThatThereIs();
};

namespace
{

Info recordOf(const Sections &sections)
{
    AbstractDownloadFileInfo file;
    file.size = 1000;
    file.sections = sections;
    Info info;
    info.files = {file};
    return info;
}

}

void TestFinishNow::onlyOnePieceFromTheStartMakesAFile_data()
{
    QTest::addColumn<Info>("info");
    QTest::addColumn<bool>("isRunning");
    QTest::addColumn<QString>("refusal"); // a part of it; empty = none

    const Sections one{{0, 1000, 400}};
    const Sections filledUpToTheNext{{0, 500, 500}, {500, 500, 3}};
    const Sections onlyTheFirst{{0, 500, 3}, {500, 500, 0}};
    Info finished = recordOf(one);
    finished.setFinished(true, true);
    QTest::newRow("one section") << recordOf(one) << false << QString();
    QTest::newRow("one section that runs") << recordOf(one) << true << QString();
    QTest::newRow("the second follows upon the full first") << recordOf(filledUpToTheNext) << false << QString();
    QTest::newRow("the others have nothing yet") << recordOf(onlyTheFirst) << false << QString();
    QTest::newRow("several that run may write at any moment")
        << recordOf(onlyTheFirst) << true << u"runs over several"_s;
    QTest::newRow("a gap") << recordOf({{0, 500, 499}, {500, 500, 1}}) << false << u"holes"_s;
    QTest::newRow("nothing at the start") << recordOf({{0, 500, 0}, {500, 500, 1}}) << false << u"holes"_s;
    QTest::newRow("no bytes") << recordOf({{0, 1000, 0}}) << false << u"nothing"_s;
    QTest::newRow("no file") << Info() << false << u"nothing"_s;
    QTest::newRow("finished already") << finished << false << u"finished"_s;
}

void TestFinishNow::onlyOnePieceFromTheStartMakesAFile()
{
    QFETCH(Info, info);
    QFETCH(bool, isRunning);
    QFETCH(QString, refusal);
    const QString text = ClauseWords::of(FinishNow::refusal(info, isRunning).cause);
    QVERIFY2(refusal.isEmpty() ? text.isEmpty() : text.contains(refusal), qPrintable(text));
}

void TestFinishNow::itIsEarlyWhereBytesMayBeMissing_data()
{
    QTest::addColumn<qint64>("size");
    QTest::addColumn<bool>("isEarly");
    QTest::newRow("bytes are missing") << qint64(401) << true;
    QTest::newRow("nobody knows the size") << qint64(-1) << true;
    QTest::newRow("all are there") << qint64(400) << false;
}

void TestFinishNow::itIsEarlyWhereBytesMayBeMissing()
{
    QFETCH(qint64, size);
    Info info = recordOf({{0, 400, 400}});
    info.files.first().size = size;
    QTEST(FinishNow::isEarly(info), "isEarly");
}

void TestFinishNow::whatIsThereBecomesAllThatThereIs()
{
    Info info = recordOf({{0, 500, 500}, {500, 500, 3}});
    FinishNow::settle(info);
    QCOMPARE(info.files.first().size, 503);
    QCOMPARE(info.files.first().sections, (Sections{{0, 503, 503}}));
    QVERIFY(info.files.first().isComplete());
}

QTEST_GUILESS_MAIN(TestFinishNow)
#include "tst_finishnow.moc"
