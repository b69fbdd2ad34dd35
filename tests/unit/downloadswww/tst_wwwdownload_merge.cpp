// SPDX-License-Identifier: MIT
#include <inet/qt/download/downloadswww/wwwdownload.h>
#include <tests/support/downloadfixture.h>

#include <QTest>

#include <functional>

using namespace Qt::StringLiterals;

using Command = AbstractDownloadCommand;
using Options = AbstractDownloadMergeOptions;
using Record = AbstractDownloadPersistentInfo;
using Ranges = QList<AbstractDownloadSection>;
using Result = CompareDownloadsResult;
using Mode = BitFlagsUpdateMode;
/// Makes one record, or two, differ from where they start.
using Change = std::function<void(Record &mine, Record &other)>;
Q_DECLARE_METATYPE(Change)

namespace
{

constexpr char kFrontEnd[] = "https://drive.google.com/";

struct Bench : DownloadFixture {
    Bench() { watch(&download); }

    void take(const Record &info)
    {
        download.setInfo(info);
        events.clear();
    }
    Record inMemory(bool finished) const
    {
        Record info = recordWithFile(5, {{0, 5, finished ? 5 : 3}});
        info.destinationType = Record::ToMemory;
        info.content = finished ? "bytes"_ba : "byt"_ba;
        info.setFinished(finished, true);
        return info;
    }
    void playToTheEnd(const QByteArray &body)
    {
        const auto isAtRest = [this, &body] {
            if (FakeReply *const asked = reply(); asked && !asked->isFinished())
                answer(body);
            return !download.isRunning();
        };
        QTRY_VERIFY(isAtRest());
    }

    WwwDownload download{kDownloadId, chief, userAgents, nullptr};
};

AbstractDownloadGuid identity(const char *text)
{
    return {1, AbstractDownloadGuid::UrlHashAndEtag, QString::fromLatin1(text)};
}

Record otherRecord(const DownloadFixture &host)
{
    Record info = host.recordWithFile(1000);
    info.url = QUrl(u"http://other.test/elsewhere"_s);
    info.moduleId = u"downloadswww"_s;
    return info;
}

QUrl cloudFile(const char *host, const char *segment)
{
    return QUrl(u"https://%1/docs/%2"_s.arg(QLatin1String(host), QLatin1String(segment)));
}

void makeCloudFiles(Record &mine, Record &other)
{
    mine.url = cloudFile("doc-01.googleusercontent.com", "0123456789abc");
    other.url = cloudFile("doc-02.googleusercontent.com", "0123456789abc");
    mine.files.first().name = u"mine"_s;
}

}

class TestWwwDownloadMerge : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void comparison_data();
    void comparison();
    void comparisonWithoutRecordKnowsNothing();
    void optionsAreOffered_data();
    void optionsAreOffered();
    void mergingAsksForExactlyOneKnownOption_data();
    void mergingAsksForExactlyOneKnownOption();
    void mergingTakesTheSource();
    void finishedContentWaitsForItsFile();
    void finishedContentIsForgottenWithItsSource_data();
    void finishedContentIsForgottenWithItsSource();
    void finishedContentIsForgottenByARestart();
    void unfinishedContentIsFetchedAgain_data();
    void unfinishedContentIsFetchedAgain();
    void contentStays_data();
    void contentStays();
};

void TestWwwDownloadMerge::comparison_data()
{
    QTest::addColumn<Change>("change");
    QTest::addColumn<Result>("result");
    const auto row = [](const char *name, Result result, const Change &change) {
        QTest::newRow(name) << change << result;
    };

    row("another module's record is not judged", Result::OtherModule, [](Record &mine, Record &other) {
        other = mine;
        other.moduleId = u"other"_s;
    });
    row("nor is one of no module", Result::OtherModule, [](Record &, Record &other) { other.moduleId.clear(); });
    row("the same size and name are the same content", Result::SameContent, [](Record &, Record &) {});
    row("another name is different", Result::Different,
        [](Record &, Record &other) { other.files.first().name = u"o"_s; });
    row("another size is different", Result::Different,
        [](Record &, Record &other) { other.files.first().size = 999; });
    row("files of unknown size say nothing", Result::Different, [](Record &mine, Record &other) {
        mine.files.first().size = -1;
        other.files.first().size = -1;
    });
    row("empty files say nothing", Result::Different, [](Record &mine, Record &other) {
        mine.files.first().size = 0;
        other.files.first().size = 0;
    });
    row("files of one byte do", Result::SameContent, [](Record &mine, Record &other) {
        mine.files.first().size = 1;
        other.files.first().size = 1;
    });
    row("a finished record is not the same by size and name", Result::Different,
        [](Record &, Record &other) { other.setFinished(true, true); });
    row("that this one is finished does not matter", Result::SameContent,
        [](Record &mine, Record &) { mine.setFinished(true, true); });
    row("without a file nothing is the same by size and name", Result::Different,
        [](Record &mine, Record &) { mine.files.clear(); });
    row("without a file in the other neither", Result::Different, [](Record &, Record &other) { other.files.clear(); });

    row("the same identity is the same content", Result::SameContent, [](Record &mine, Record &other) {
        mine.guid = identity("ab:\"e\"");
        other.guid = mine.guid;
        other.files.clear();
    });
    row("a finished record may be the same by identity", Result::SameContent, [](Record &mine, Record &other) {
        mine.guid = identity("ab:\"e\"");
        other.guid = mine.guid;
        other.setFinished(true, true);
    });
    row("another ETag of the same URL is different whatever size and name", Result::Different,
        [](Record &mine, Record &other) {
            mine.guid = identity("ab:\"e\"");
            other.guid = identity("ab:\"f\"");
        });
    row("an identity of another URL leaves it to size and name", Result::SameContent, [](Record &mine, Record &other) {
        mine.guid = identity("ab:\"e\"");
        other.guid = identity("cd:\"f\"");
    });
    row("one identity alone leaves it to size and name", Result::SameContent,
        [](Record &mine, Record &) { mine.guid = identity("ab:\"e\""); });

    row("one cloud file that both reached through the front end", Result::SameContent, [](Record &mine, Record &other) {
        makeCloudFiles(mine, other);
        mine.referer = QString::fromLatin1(kFrontEnd);
        other.webPageUrl = QUrl(QString::fromLatin1(kFrontEnd));
        other.setFinished(true, true);
    });
    row("one cloud file without the front end, the other failed", Result::SameContent, [](Record &mine, Record &other) {
        makeCloudFiles(mine, other);
        other.setLastError({403, ErrorCategory::kHttp, "s", "d"});
    });
    row("one cloud file without the front end, the other failed and finished", Result::Different,
        [](Record &mine, Record &other) {
            makeCloudFiles(mine, other);
            other.setLastError({403, ErrorCategory::kHttp, "s", "d"});
            other.setFinished(true, true);
        });
    row("one cloud file that only one reached through the front end", Result::Different,
        [](Record &mine, Record &other) {
            makeCloudFiles(mine, other);
            mine.referer = QString::fromLatin1(kFrontEnd);
        });
    row("two cloud files", Result::Different, [](Record &mine, Record &other) {
        makeCloudFiles(mine, other);
        mine.referer = other.referer = QString::fromLatin1(kFrontEnd);
        other.url = cloudFile("doc-02.googleusercontent.com", "9876543210abc");
    });

    const auto sameSource = [](Record &mine, Record &other) {
        other.files.clear();
        other.url = mine.url;
        mine.cookies = {QNetworkCookie("a", "1"), QNetworkCookie("b", "2")};
        other.cookies = mine.cookies;
        mine.postData = "x=1";
        other.postData = mine.postData;
    };
    row("the same request is the same source", Result::SameSource, sameSource);
    row("another URL is not", Result::Different, [sameSource](Record &mine, Record &other) {
        sameSource(mine, other);
        other.url = QUrl(u"http://a.test/dir/file.bin?"_s);
    });
    row("cookies in another order are not", Result::Different, [sameSource](Record &mine, Record &other) {
        sameSource(mine, other);
        other.cookies.swapItemsAt(0, 1);
    });
    row("a cookie less is not", Result::Different, [sameSource](Record &mine, Record &other) {
        sameSource(mine, other);
        other.cookies.removeLast();
    });
    row("other post data are not", Result::Different, [sameSource](Record &mine, Record &other) {
        sameSource(mine, other);
        other.postData = "x=2";
    });
    row("another referer does not matter", Result::SameSource, [sameSource](Record &mine, Record &other) {
        sameSource(mine, other);
        other.referer = u"http://a.test/"_s;
    });
}

void TestWwwDownloadMerge::comparison()
{
    QFETCH(Change, change);
    QFETCH(Result, result);
    Bench bench;
    Record mine = bench.recordWithFile(1000);
    Record other = otherRecord(bench);
    change(mine, other);
    bench.take(mine);
    QCOMPARE(bench.download.compareDownloads(other), result);
    QVERIFY(bench.events.isEmpty());
}

void TestWwwDownloadMerge::comparisonWithoutRecordKnowsNothing()
{
    Bench bench;
    Record other = otherRecord(bench);
    Options mine;
    Options others;
    QCOMPARE(bench.download.compareDownloads(other), Result::Different);
    QVERIFY(!bench.download.isSameContent(other));
    QVERIFY(bench.download.acquireDownloadsMergeOptions(other, mine, others));
    QCOMPARE(mine, Options());
    QVERIFY(!bench.download.mergeIntoThisDownload(other, {{u"Update URL"_s}}));
    QVERIFY(!bench.download.mergeIntoOtherDownload(other, {{u"Update URL"_s}}));
}

void TestWwwDownloadMerge::optionsAreOffered_data()
{
    QTest::addColumn<Change>("change");
    QTest::addColumn<bool>("offered");
    QTest::newRow("for the same content") << Change([](Record &, Record &) {}) << true;
    QTest::newRow("not for another") << Change([](Record &, Record &other) { other.files.clear(); }) << false;
    QTest::newRow("not for a finished one") << Change([](Record &mine, Record &other) {
        mine.guid = other.guid = identity("ab:\"e\"");
        other.setFinished(true, true);
    }) << false;
}

void TestWwwDownloadMerge::optionsAreOffered()
{
    QFETCH(Change, change);
    QFETCH(bool, offered);
    Bench bench;
    Record mine = bench.recordWithFile(1000);
    Record other = otherRecord(bench);
    change(mine, other);
    bench.take(mine);
    Options thisOptions{{u"before"_s}};
    Options otherOptions{{u"replaced"_s}};
    QVERIFY(bench.download.acquireDownloadsMergeOptions(other, thisOptions, otherOptions));
    QCOMPARE(thisOptions, offered ? (Options{{u"before"_s, u"Update URL"_s}}) : Options{{u"before"_s}});
    QCOMPARE(otherOptions, offered ? thisOptions : Options{{u"replaced"_s}});
}

void TestWwwDownloadMerge::mergingAsksForExactlyOneKnownOption_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<bool>("accepted");
    QTest::addColumn<bool>("merged");
    QTest::newRow("without options nothing is done, which is fine") << QStringList{} << true << false;
    QTest::newRow("the one option is done") << QStringList{u"Update URL"_s} << true << true;
    QTest::newRow("another text is refused") << QStringList{u"update url"_s} << false << false;
    QTest::newRow("two options are refused") << QStringList{u"Update URL"_s, u"Update URL"_s} << false << false;
}

void TestWwwDownloadMerge::mergingAsksForExactlyOneKnownOption()
{
    QFETCH(QStringList, options);
    QFETCH(bool, accepted);
    QFETCH(bool, merged);
    Bench bench;
    const Record mine = bench.recordWithFile(1000);
    const Record other = otherRecord(bench);

    bench.take(mine);
    Record target = other;
    QCOMPARE(bench.download.mergeIntoOtherDownload(target, {options}), accepted);
    QCOMPARE(target.url, merged ? mine.url : other.url);
    QCOMPARE(bench.download.info().url, mine.url);
    QVERIFY(bench.events.isEmpty());

    QCOMPARE(bench.download.mergeIntoThisDownload(other, {options}), accepted);
    QCOMPARE(bench.download.info().url, merged ? other.url : mine.url);
    QCOMPARE(bench.events, merged ? QStringList{u"changed 1"_s} : QStringList());
}

void TestWwwDownloadMerge::mergingTakesTheSource()
{
    Bench bench;
    bench.take(bench.record());
    Record other = bench.record(u"http://b.test/file"_s);
    other.referer = u"http://b.test/"_s;
    other.cookies = {QNetworkCookie("a", "1")};
    other.postData = "x=1";
    other.webPageUrl = QUrl(u"http://b.test/page"_s);
    other.customTitle = u"title"_s;
    QVERIFY(bench.download.mergeIntoThisDownload(other, {{u"Update URL"_s}}));
    QCOMPARE(bench.download.info().sourceInfo(), other.sourceInfo());
    QVERIFY(bench.download.info().customTitle.isEmpty());
    bench.download.doCommand(Command::Start);
    QCOMPARE(bench.reply()->url(), other.url);
    QCOMPARE(bench.reply()->postedBody(), "x=1"_ba);
}

// The host hands the old record back with another destination, content and all.
void TestWwwDownloadMerge::finishedContentWaitsForItsFile()
{
    for (const bool byFields : {false, true}) {
        Bench bench;
        Record info = bench.inMemory(true);
        bench.take(info);
        info.destinationType = Record::ToFolder;
        if (byFields)
            QVERIFY(bench.download.updateInfoFields(info, Record::AllFields, Mode::Replace));
        else
            QVERIFY(bench.download.setInfo(info));
        QCOMPARE(bench.events, QStringList{u"changed 0"_s});
        QVERIFY(!bench.download.info().isFinished());
        QVERIFY(bench.download.info().content.isEmpty());
        bench.download.doCommand(Command::Start);
        bench.playToTheEnd({});
        QVERIFY(bench.replies.isEmpty());
        QVERIFY(bench.download.info().isFinished());
        QCOMPARE(bench.content(u"file.bin"_s), "bytes"_ba);
    }
}

void TestWwwDownloadMerge::finishedContentIsForgottenWithItsSource_data()
{
    QTest::addColumn<Change>("change");
    QTest::addColumn<bool>("isForgotten");
    const auto row = [](const char *name, bool isForgotten, const Change &change) {
        QTest::newRow(name) << change << isForgotten;
    };
    row("by another URL", true, [](Record &, Record &other) { other.url = QUrl(u"http://b.test/"_s); });
    row("by another cookie", true, [](Record &, Record &other) { other.cookies = {QNetworkCookie("a", "1")}; });
    row("by other post data", true, [](Record &, Record &other) { other.postData = "x"; });
    row("by another referer", true, [](Record &, Record &other) { other.referer = u"http://b.test/"_s; });
    row("by another page", true, [](Record &, Record &other) { other.webPageUrl = QUrl(u"http://b.test/"_s); });
    row("not by another title", false, [](Record &, Record &other) { other.customTitle = u"title"_s; });
}

void TestWwwDownloadMerge::finishedContentIsForgottenWithItsSource()
{
    QFETCH(Change, change);
    QFETCH(bool, isForgotten);
    Bench bench;
    Record info = bench.inMemory(true);
    bench.take(info);
    info.destinationType = Record::ToFolder;
    bench.download.setInfo(info);
    info = bench.download.info();
    change(info, info);
    bench.download.setInfo(info);
    bench.download.doCommand(Command::Start);
    bench.playToTheEnd("other"_ba);
    QVERIFY(bench.download.info().isFinished());
    QCOMPARE(bench.content(u"file.bin"_s), isForgotten ? "other"_ba : "bytes"_ba);
}

void TestWwwDownloadMerge::finishedContentIsForgottenByARestart()
{
    Bench bench;
    Record info = bench.inMemory(true);
    bench.take(info);
    info.destinationType = Record::ToFolder;
    bench.download.setInfo(info);
    bench.download.doCommand(Command::Restart);
    bench.begin(3, {});
    QTRY_COMPARE(bench.names(), QStringList{u"file.bin.part"_s});
    QTRY_VERIFY(bench.events.contains(u"files 0"_s));
    QVERIFY(bench.content(u"file.bin.part"_s).isEmpty());
    bench.reply()->sendData("new"_ba);
    bench.reply()->end();
    QTRY_VERIFY(!bench.download.isRunning());
    QVERIFY(bench.download.info().isFinished());
    QCOMPARE(bench.content(u"file.bin"_s), "new"_ba);
    QCOMPARE(bench.download.info().files.first().sections, (Ranges{{0, 3, 3}}));
}

void TestWwwDownloadMerge::unfinishedContentIsFetchedAgain_data()
{
    QTest::addColumn<qint64>("fields");
    QTest::newRow("when the whole record is given") << qint64(0);
    QTest::newRow("when all fields are updated") << qint64(Record::AllFields);
    QTest::newRow("when the destination is updated") << qint64(Record::FieldDestination);
    QTest::newRow("when the files come along")
        << qint64(Record::FieldDestination | Record::FieldFiles | Record::FieldContent);
}

void TestWwwDownloadMerge::unfinishedContentIsFetchedAgain()
{
    QFETCH(qint64, fields);
    Bench bench;
    Record info = bench.inMemory(false);
    bench.take(info);
    info.destinationType = Record::ToFolder;
    if (fields == 0)
        bench.download.setInfo(info);
    else
        bench.download.updateInfoFields(info, fields, Mode::Replace);
    QCOMPARE(bench.events, QStringList{u"changed 0"_s});
    QVERIFY(bench.download.info().content.isEmpty());
    QVERIFY(bench.download.info().files.first().sections.isEmpty());
    QVERIFY(bench.download.sections(true).isEmpty());
    bench.download.doCommand(Command::Start);
    QVERIFY(!bench.reply()->request().hasRawHeader("Range"));
    bench.playToTheEnd("BYTES"_ba);
    QCOMPARE(bench.content(u"file.bin"_s), "BYTES"_ba);
}

void TestWwwDownloadMerge::contentStays_data()
{
    QTest::addColumn<Change>("before");
    QTest::addColumn<Change>("after");
    const Change nothing = [](Record &, Record &) {};
    QTest::newRow("in memory") << nothing << Change([](Record &, Record &other) { other.customTitle = u"title"_s; });
    QTest::newRow("in a record that is no longer in memory")
        << Change([](Record &mine, Record &) { mine.destinationType = Record::ToFolder; })
        << Change([](Record &, Record &other) { other.destinationType = Record::ToMemory; });
    QTest::newRow("when another source is taken over with it") << nothing << Change([](Record &, Record &other) {
        other.destinationType = Record::ToFolder;
        other.url = QUrl(u"http://b.test/"_s);
    });
}

void TestWwwDownloadMerge::contentStays()
{
    QFETCH(Change, before);
    QFETCH(Change, after);
    Bench bench;
    Record info = bench.inMemory(true);
    before(info, info);
    bench.take(info);
    after(info, info);
    bench.download.setInfo(info);
    QCOMPARE(bench.download.info().content, "bytes"_ba);
    QVERIFY(bench.download.info().isFinished());
    QCOMPARE(bench.download.sections(true).size(), 1);
}

QTEST_GUILESS_MAIN(TestWwwDownloadMerge)
#include "tst_wwwdownload_merge.moc"
