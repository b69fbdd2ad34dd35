// SPDX-License-Identifier: MIT
#include <inet/qt/download/downloadswww/wwwdownload.h>
#include <tests/support/downloadfixture.h>

#include <QSslError>
#include <QTest>

using namespace Qt::StringLiterals;

using Command = AbstractDownloadCommand;
using Record = AbstractDownloadPersistentInfo;
using Ranges = QList<AbstractDownloadSection>;
using Mode = BitFlagsUpdateMode;

namespace
{

struct Bench : DownloadFixture {
    Bench() { watch(&download); }

    void take(const Record &info)
    {
        download.setInfo(info);
        events.clear();
    }
    Ranges liveRanges() const
    {
        Ranges ranges;
        for (const auto &section : download.sections(true))
            ranges.append(section->section());
        return ranges;
    }
    Ranges recordedRanges() const { return download.info().files.first().sections; }
    void beat()
    {
        QTimer *const timer = download.findChild<QTimer *>(QString(), Qt::FindDirectChildrenOnly);
        QVERIFY(timer);
        QMetaObject::invokeMethod(timer, "timeout");
    }
    /// The URL that a request goes to now.
    QUrl askedUrl()
    {
        download.doCommand(Command::Start);
        const QUrl url = reply() ? reply()->url() : QUrl();
        download.doCommand(Command::Stop);
        return url;
    }

    WwwDownload download{kDownloadId, chief, userAgents, nullptr};
};

}

class TestWwwDownloadInfo : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void firstRecordMakesSections_data();
    void firstRecordMakesSections();
    void everyRecordIsMarkedAsOurs();
    void laterRecordKeepsTheSections();
    void laterRecordSetsTheMirrors();
    void updateWithoutRecordFails();
    void updateTellsWhatChanged();
    void updateOfSourceSetsTheMirrors_data();
    void updateOfSourceSetsTheMirrors();
    void updateByErrorlessRecordClearsTheError();
    void settingsReachTheSections();
    void userAgentComesFromTheFirstThatHasOne();
    void usageSettingsReachTheSections();
    void sectionsAreRecordedInOrder();
    void sectionInCreationIsNotRecorded();
    void recordWithoutFileMakesNoSections();
    void changeOfASectionIsToldOn();
    void progressIsToldWhenSomethingMoved();
    void sectionInCreationDoesNotCount();
    void tasksProgressWhileRunning();
    void errorsAreTheRecords();
    void clearedErrorIsToldOnce();
    void sslErrorsAreKept();
};

void TestWwwDownloadInfo::firstRecordMakesSections_data()
{
    QTest::addColumn<qint64>("size");
    QTest::addColumn<Ranges>("given");
    QTest::addColumn<Ranges>("made");
    QTest::newRow("a file without sections gets one that covers it")
        << qint64(1000) << Ranges{} << Ranges{{0, 1000, 0}};
    QTest::newRow("an empty file gets an empty one") << qint64(0) << Ranges{} << Ranges{{0, 0, 0}};
    QTest::newRow("a file of unknown size gets none") << qint64(-1) << Ranges{} << Ranges{};
    QTest::newRow("sections that are there are taken as they are")
        << qint64(1000) << Ranges{{0, 500, 20}, {500, 500, 0}} << Ranges{{0, 500, 20}, {500, 500, 0}};
    QTest::newRow("of unknown size, too") << qint64(-1) << Ranges{{0, -1, 7}} << Ranges{{0, -1, 7}};
}

void TestWwwDownloadInfo::firstRecordMakesSections()
{
    QFETCH(qint64, size);
    QFETCH(Ranges, given);
    QFETCH(Ranges, made);
    Bench bench;
    QVERIFY(bench.download.setInfo(bench.recordWithFile(size, given)));
    QCOMPARE(bench.liveRanges(), made);
    QCOMPARE(bench.recordedRanges(), made);
    QCOMPARE(bench.events, QStringList{u"changed 0"_s});
    QVERIFY(!bench.download.creatingSection());
    for (int i = 0; i < made.size(); ++i)
        QCOMPARE(bench.download.sections(true).at(i)->id(), i + 1);
}

void TestWwwDownloadInfo::everyRecordIsMarkedAsOurs()
{
    Bench bench;
    Record info = bench.record();
    info.moduleId = u"other"_s;
    info.flags = 0x3;
    bench.take(info);
    QCOMPARE(bench.download.info().moduleId, u"downloadswww"_s);
    QCOMPARE(bench.download.info().flags, Q_UINT64_C(0x280C03));
    bench.download.setInfo(info);
    QCOMPARE(bench.download.info().moduleId, u"downloadswww"_s);
    bench.download.updateInfoFields(info, Record::AllFields, Mode::Replace);
    QCOMPARE(bench.download.info().flags, Q_UINT64_C(0x280C03));
    QCOMPARE(bench.download.info().moduleId, u"downloadswww"_s);
    QCOMPARE(bench.download.rwInfo()->moduleId, u"downloadswww"_s);
}

void TestWwwDownloadInfo::laterRecordKeepsTheSections()
{
    Bench bench;
    bench.take(bench.recordWithFile(1000));
    const auto before = bench.download.sections(true);
    const Record *const shared = bench.download.rwInfo();
    Record info = bench.recordWithFile(1000, {{0, 500, 1}, {500, 500, 2}});
    info.customTitle = u"title"_s;
    QVERIFY(bench.download.setInfo(info));
    QCOMPARE(bench.events, QStringList{u"changed 0"_s});
    QCOMPARE(bench.download.sections(true), before);
    QCOMPARE(bench.download.rwInfo(), shared);
    QCOMPARE(bench.download.info().customTitle, u"title"_s);
    QCOMPARE(bench.recordedRanges(), info.files.first().sections);
}

void TestWwwDownloadInfo::laterRecordSetsTheMirrors()
{
    Bench bench;
    bench.take(bench.record());
    QCOMPARE(bench.askedUrl(), QUrl(u"http://a.test/dir/file.bin"_s));
    bench.take(bench.record(u"http://b.test/file"_s));
    QCOMPARE(bench.askedUrl(), QUrl(u"http://b.test/file"_s));
    Record info = bench.record(u"http://z.test/file"_s);
    info.mirrors = {{QUrl(u"http://c.test/file"_s), {}}};
    bench.take(info);
    QCOMPARE(bench.askedUrl(), QUrl(u"http://c.test/file"_s));
}

void TestWwwDownloadInfo::updateWithoutRecordFails()
{
    Bench bench;
    QVERIFY(!bench.download.updateInfoFields(bench.record(), Record::AllFields, Mode::Replace));
    QVERIFY(bench.events.isEmpty());
    QVERIFY(!bench.download.rwInfo());
}

void TestWwwDownloadInfo::updateTellsWhatChanged()
{
    Bench bench;
    bench.take(bench.record());
    Record info = bench.record();
    info.customTitle = u"title"_s;
    info.referer = u"http://a.test/"_s;
    QVERIFY(bench.download.updateInfoFields(info, Record::FieldDestination, Mode::Replace));
    QVERIFY(bench.events.isEmpty());
    QVERIFY(bench.download.updateInfoFields(info, Record::FieldTitle, Mode::Replace));
    QCOMPARE(bench.events, QStringList{u"changed 0"_s});
    QCOMPARE(bench.download.info().customTitle, u"title"_s);
    QVERIFY(bench.download.info().referer.isEmpty());
    info.flags = Record::LoggingSuppressed;
    QVERIFY(bench.download.updateInfoFields(info, Record::FieldFlags, Mode::Add));
    QCOMPARE(bench.download.info().flags, Record::LoggingSuppressed | Record::ModuleFlags);
}

void TestWwwDownloadInfo::updateOfSourceSetsTheMirrors_data()
{
    QTest::addColumn<qint64>("fields");
    QTest::addColumn<bool>("isSource");
    QTest::newRow("the URLs are of the source") << qint64(Record::FieldSourceUrls) << true;
    QTest::newRow("what is sent along is of the source") << qint64(Record::FieldSourceRequest) << true;
    QTest::newRow("the mirrors are") << qint64(Record::FieldMirrors) << true;
    QTest::newRow("the title is not") << qint64(Record::FieldTitle) << false;
    QTest::newRow("the user agent is not") << qint64(Record::FieldUserAgent) << false;
}

// The URL is changed behind the download's back: whether the mirrors follow shows whether they were set anew.
void TestWwwDownloadInfo::updateOfSourceSetsTheMirrors()
{
    QFETCH(qint64, fields);
    QFETCH(bool, isSource);
    Bench bench;
    bench.take(bench.record());
    Record info = bench.record(u"http://b.test/file"_s);
    info.referer = u"http://a.test/"_s;
    info.mirrors = {{QUrl(u"http://y.test/file"_s), {}}};
    info.title = u"title"_s;
    info.userAgent = u"agent"_s;
    bench.download.rwInfo()->effectiveUrl = QUrl(u"http://b.test/file"_s);
    info.effectiveUrl = QUrl(u"http://b.test/file"_s);
    QVERIFY(bench.download.updateInfoFields(info, fields, Mode::Replace));
    QCOMPARE(bench.events, QStringList{u"changed 0"_s});
    QCOMPARE(bench.askedUrl().host(), isSource ? u"b.test"_s : u"a.test"_s);
}

void TestWwwDownloadInfo::updateByErrorlessRecordClearsTheError()
{
    Bench bench;
    Record info = bench.record();
    info.setLastError({404, ErrorCategory::kHttp, "s", "d"});
    bench.take(info);
    QVERIFY(bench.download.updateInfoFields(bench.record(), Record::FieldTitle, Mode::Replace));
    QCOMPARE(bench.download.lastError().code, 404);
    QVERIFY(bench.events.isEmpty());
    QVERIFY(bench.download.updateInfoFields(bench.record(), Record::FieldLastError, Mode::Replace));
    QCOMPARE(bench.download.lastError(), AbstractError());
    QCOMPARE(bench.events, QStringList{u"changed 0"_s});
    QVERIFY(bench.download.updateInfoFields(info, Record::FieldLastError, Mode::Replace));
    QCOMPARE(bench.download.lastError().code, 404);
}

void TestWwwDownloadInfo::settingsReachTheSections()
{
    Bench bench;
    bench.take(bench.recordWithFile(1000));
    AbstractNetworkConsumerSettings settings;
    settings.userAgent = u"person's"_s;
    settings.ignoreSslErrors = true;
    bench.download.setNetworkSettings(settings);
    QCOMPARE(bench.download.networkSettings(), settings);
    QCOMPARE(bench.download.sections(true).first()->networkSettings(), settings);
    bench.askedUrl();
    QCOMPARE(bench.replies.size(), 1);
    QVERIFY(bench.requestHeaders.first().second.contains(u"User-Agent: person's"_s));
}

void TestWwwDownloadInfo::userAgentComesFromTheFirstThatHasOne()
{
    Bench bench;
    bench.take(bench.recordWithFile(1000));
    const auto agent = [&bench] { return bench.download.sections(true).first()->networkSettings().userAgent; };
    QCOMPARE(agent(),
             u"Mozilla/5.0 (X11; Linux x86_64) AppleWebKit/537.36 (KHTML, like Gecko) "
             "Chrome/114.0.0.0 Safari/537.36"_s);
    QVERIFY(bench.download.networkSettings().userAgent.isEmpty());
    bench.userAgents->setUserAgent(u"application's"_s);
    bench.download.setInfo(bench.recordWithFile(1000));
    QCOMPARE(agent(), u"application's"_s);
    AbstractNetworkConsumerSettings settings;
    settings.userAgent = u"download's"_s;
    bench.download.setNetworkSettings(settings);
    QCOMPARE(agent(), u"download's"_s);
}

void TestWwwDownloadInfo::usageSettingsReachTheSections()
{
    Bench bench;
    bench.take(bench.recordWithFile(1000));
    const NetworkUsageSettings settings{1, 2, 3, true};
    bench.download.setNetworkUsageSettings(settings);
    QCOMPARE(bench.download.networkUsageSettings(), settings);
    QCOMPARE(bench.download.sections(true).first()->networkUsageSettings(), settings);
}

void TestWwwDownloadInfo::sectionsAreRecordedInOrder()
{
    Bench bench;
    const Ranges mixed{{600, 400, 1}, {0, 300, 2}, {300, 300, 3}};
    bench.take(bench.recordWithFile(1000, mixed));
    QCOMPARE(bench.liveRanges(), mixed);
    QVERIFY(bench.download.serializeSections(true));
    QCOMPARE(bench.recordedRanges(), (Ranges{{0, 300, 2}, {300, 300, 3}, {600, 400, 1}}));
    QVERIFY(bench.events.isEmpty());
}

void TestWwwDownloadInfo::sectionInCreationIsNotRecorded()
{
    Bench bench;
    bench.take(bench.recordWithFile(-1));
    bench.download.doCommand(Command::Start);
    QVERIFY(bench.download.creatingSection());
    const Ranges untouched{{0, 5, 5}};
    bench.download.rwInfo()->files.first().sections = untouched;
    QVERIFY(bench.download.serializeSections(true));
    QCOMPARE(bench.recordedRanges(), untouched);
}

void TestWwwDownloadInfo::recordWithoutFileMakesNoSections()
{
    Bench bench;
    bench.take(bench.record());
    QVERIFY(bench.download.serializeSections(false));
    QVERIFY(bench.download.serializeSections(true));
    QVERIFY(bench.download.sections(true).isEmpty());
    QVERIFY(bench.download.info().files.isEmpty());
}

void TestWwwDownloadInfo::changeOfASectionIsToldOn()
{
    Bench bench;
    bench.take(bench.recordWithFile(1000));
    const Record before = bench.download.info();
    Q_EMIT bench.download.sections(true).first()->persistentInfoChanged();
    QCOMPARE(bench.events, QStringList{u"changed 0"_s});
    QCOMPARE(bench.download.info(), before);
}

void TestWwwDownloadInfo::progressIsToldWhenSomethingMoved()
{
    Bench bench;
    bench.take(bench.record());
    bench.download.doCommand(Command::Start);
    bench.beat();
    bench.begin(1000, QByteArray(400, 'x'));
    QTRY_COMPARE(bench.download.bytesDownloaded(), 400);
    QCOMPARE(bench.download.info().bytesDownloaded(false), 0);
    bench.events.clear();
    bench.beat();
    QCOMPARE(bench.events, (QStringList{u"changed 0"_s, u"progress 400/1000"_s}));
    QCOMPARE(bench.recordedRanges(), (Ranges{{0, 1000, 400}}));
    bench.beat();
    QCOMPARE(bench.events.size(), 2);
}

void TestWwwDownloadInfo::sectionInCreationDoesNotCount()
{
    Bench bench;
    Record info = bench.recordWithFile(1000000, {{0, 1000000, 10}});
    info.destinationType = Record::ToMemory;
    info.content = QByteArray(10, 'x');
    bench.take(info);
    bench.download.doCommand(Command::Start);
    bench.beginRange(10, 1000000, {});
    QCOMPARE(bench.replies.size(), 2);
    QCOMPARE(bench.download.sections(true).size(), 2);
    QCOMPARE(bench.download.sections(false).size(), 1);
    QVERIFY(bench.download.creatingSection());
    bench.download.creatingSection()->onCompactSections(5);
    QCOMPARE(bench.download.bytesDownloaded(), 10);
    QCOMPARE(bench.download.sortedSections(true).last(), bench.download.creatingSection());
}

void TestWwwDownloadInfo::tasksProgressWhileRunning()
{
    using Tasks = QMap<int, AbstractDownload::Progress>;
    Bench bench;
    bench.take(bench.record());
    QCOMPARE(bench.download.tasksProgress(), Tasks());
    bench.download.doCommand(Command::Start);
    QCOMPARE(bench.download.tasksProgress(), Tasks());
    bench.begin(1000, QByteArray(400, 'x'));
    QTRY_COMPARE(bench.download.bytesDownloaded(), 400);
    bench.beat();
    QCOMPARE(bench.download.tasksProgress(), (Tasks{{1, {400, 1000}}}));

    const auto section = bench.download.sections(true).first();
    Q_EMIT section->preallocatingFile(500);
    QCOMPARE(bench.download.tasksProgress(), (Tasks{{1, {400, 1000}}, {8, {500, 1000}}}));
    bench.download.rwInfo()->files.first().fileFlags |= AbstractDownloadFileInfo::Preallocated;
    QCOMPARE(bench.download.tasksProgress(), (Tasks{{1, {400, 1000}}}));
    bench.download.rwInfo()->files.first().fileFlags &= quint8(~AbstractDownloadFileInfo::Preallocated);
    Q_EMIT section->filePreallocated();
    QVERIFY(bench.logged(u"file is allocated"_s));
    QCOMPARE(bench.download.tasksProgress(), (Tasks{{1, {400, 1000}}}));

    Q_EMIT section->preallocatingFile(500);
    bench.download.doCommand(Command::Stop);
    QTRY_VERIFY(!bench.download.isRunning());
    QCOMPARE(bench.download.tasksProgress(), Tasks());
    bench.download.doCommand(Command::Start);
    QCOMPARE(bench.download.tasksProgress(), (Tasks{{1, {400, 1000}}}));
}

void TestWwwDownloadInfo::errorsAreTheRecords()
{
    Bench bench;
    QCOMPARE(bench.download.lastError(), AbstractError());
    Record info = bench.record();
    const AbstractError error(5, "X", "s", "d");
    info.setLastError(error);
    bench.take(info);
    QCOMPARE(bench.download.lastError(), error);
    QVERIFY(!bench.download.lastErrorTime().isValid());
    QCOMPARE(bench.download.errorReportData(), error.toLogText());
}

void TestWwwDownloadInfo::clearedErrorIsToldOnce()
{
    Bench bench;
    bench.take(bench.record());
    bench.download.doCommand(Command::Start);
    bench.reply()->sendHead(404);
    QCOMPARE(bench.download.lastError().code, 404);
    bench.events.clear();
    bench.download.clearLastError();
    QCOMPARE(bench.download.lastError(), AbstractError());
    QCOMPARE(bench.events, QStringList{u"changed 0"_s});
    QVERIFY(bench.download.lastErrorTime().isValid());
    bench.download.clearLastError();
    QCOMPARE(bench.events.size(), 1);
}

void TestWwwDownloadInfo::sslErrorsAreKept()
{
    Bench bench;
    bench.take(bench.record(u"https://a.test/file"_s));
    bench.download.doCommand(Command::Start);
    const QList<QSslError> errors{QSslError(QSslError::SelfSignedCertificate)};
    bench.reply()->sendSslErrors(errors);
    bench.reply()->end(QNetworkReply::SslHandshakeFailedError, u"handshake"_s);
    QVERIFY(!bench.download.isRunning());
    QCOMPARE(bench.download.lastSslErrors(), errors);
    QCOMPARE(bench.download.lastError().code, int(QNetworkReply::SslHandshakeFailedError));
    Record errorless = bench.download.info();
    errorless.lastError = {};
    bench.download.updateInfoFields(errorless, Record::FieldTitle, Mode::Replace);
    QCOMPARE(bench.download.lastSslErrors(), errors);
    bench.download.updateInfoFields(errorless, Record::FieldLastError, Mode::Replace);
    QVERIFY(bench.download.lastSslErrors().isEmpty());
    QCOMPARE(bench.download.lastError(), AbstractError());
}

QTEST_GUILESS_MAIN(TestWwwDownloadInfo)
#include "tst_wwwdownload_info.moc"
