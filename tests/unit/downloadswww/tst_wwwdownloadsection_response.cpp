// SPDX-License-Identifier: MIT
#include <tests/unit/downloadswww/sectionbench.h>

#include <inet/qt/download/framework/memorydataasyncwriter.h>
#include <inet/qt/download/response/abstractfiletypedetector.h>
#include <inet/qt/download/response/httpheadersparser.h>

#include <QNetworkCookie>
#include <QNetworkCookieJar>
#include <QTest>

#include <functional>

using namespace Qt::StringLiterals;

namespace
{

using Play = std::function<void(SectionBench &)>;
using Info = AbstractDownloadPersistentInfo;
using Headers = SectionBench::Headers;

constexpr int kNoStatus = 0;
constexpr char kSourceFile[] = "inet/qt/download/downloadswww/wwwdownloadsection.cpp";

AbstractError errorAt(int code, const char *category, unsigned line)
{
    return {code, category, errorSource(kSourceFile, line), {}};
}

AbstractError resourceChanged()
{
    return errorAt(2, "AbstractDownloadError", 745);
}

}

class tst_WwwDownloadSectionResponse : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void status_data();
    void status();
    void aWholeInsteadOfARangeIsRemembered();
    void resumeSupport_data();
    void resumeSupport();

    void aNewFileIsDescribed();
    void aFileWithoutRangesIsDescribedAgain();
    void whatTheHeadDoesNotSayIsForgotten();
    void aResourceCheckDescribesTheFileOnce();
    void fileName_data();
    void fileName();
    void streamName_data();
    void streamName();

    void theSizeOfAKnownFileIsLearnt_data();
    void theSizeOfAKnownFileIsLearnt();
    void theSizeIsNotLearntFromAnAnswerFromTheStart();
    void aKnownFileThatIsTheSameSaysNothingNew();
    void rangesKnownToBeRefusedAreNothingNew();
    void cookiesOfTheAnswerAreNews_data();
    void cookiesOfTheAnswerAreNews();
    void aChangedResourceStopsTheSection_data();
    void aChangedResourceStopsTheSection();

    void redirectsAreRemembered_data();
    void redirectsAreRemembered();
    void theNameComesFromWhereItWasRedirectedTo();
    void aRedirectBeforeAnErrorIsRememberedAndTold_data();
    void aRedirectBeforeAnErrorIsRememberedAndTold();
    void anErrorBeforeAnyAnswerForgetsNothing();
};

void tst_WwwDownloadSectionResponse::status_data()
{
    QTest::addColumn<qint64>("offset");
    QTest::addColumn<qint64>("done");
    QTest::addColumn<int>("status");
    QTest::addColumn<AbstractError>("error");
    const AbstractError none;
    const AbstractError whole = errorAt(1, "AbstractDownloadError", 620);
    const auto http = [](int code) { return errorAt(code, "HttpError", 626); };
    const auto row = [](const char *name, qint64 offset, qint64 done, int status, const AbstractError &error) {
        QTest::newRow(name) << offset << done << status << error;
    };
    row("the whole, asked from the start, is fine", 0, 0, 200, none);
    row("a part, asked from the start, is an error", 0, 0, 206, http(206));
    row("an empty success is an error", 0, 0, 204, http(204));
    row("a missing resource is an error", 0, 0, 404, http(404));
    row("a broken server is an error", 0, 0, 503, http(503));
    row("no status from the start is fine", 0, 0, kNoStatus, none);
    row("a part at an offset is fine", 40, 0, 206, none);
    row("a part behind what is done is fine", 0, 40, 206, none);
    row("a part behind both is fine", 20, 20, 206, none);
    row("the whole in place of an offset is an error", 40, 0, 200, whole);
    row("the whole in place of the rest is an error", 0, 40, 200, whole);
    row("a missing part is an error", 40, 0, 404, http(404));
    row("a range that cannot be is an error", 40, 0, 416, http(416));
    row("no status at an offset is fine", 40, 0, kNoStatus, none);
}

void tst_WwwDownloadSectionResponse::status()
{
    QFETCH(qint64, offset);
    QFETCH(qint64, done);
    QFETCH(int, status);
    QFETCH(AbstractError, error);
    SectionBench bench;
    const AbstractDownloadSection range{offset, 100 - offset, done};
    bench.addFile(100, {range});
    WwwDownloadSection *section = bench.make(range);
    section->start();
    bench.reply()->sendHead(status, "words"_ba,
                            status == 206 ? SectionBench::headersForRange(offset + done, 100)
                                          : SectionBench::headersFor(100));
    QCOMPARE(section->lastError(), error);
    QCOMPARE(section->isRunning(), !error);
    QVERIFY(!section->isLastErrorFileError());
    QCOMPARE(bench.count(u"gotOkResponse"_s), error ? 0 : 1);
    QCOMPARE(bench.memoryWriter() != nullptr, !error);
    QCOMPARE(bench.transfers().size(), error ? 0 : 1);
}

void tst_WwwDownloadSectionResponse::aWholeInsteadOfARangeIsRemembered()
{
    SectionBench bench;
    bench.info->resumeSupport = Info::ResumeSupported;
    bench.make({40, 60, 0})->start();
    bench.answerWhole(100);
    QCOMPARE(bench.info->resumeSupport, int(Info::ResumeNotSupported));
    QCOMPARE(bench.count(u"persistentInfoChanged"_s), 1);
    QVERIFY(bench.info->files.isEmpty());
    QVERIFY(bench.events.indexOf(u"persistentInfoChanged"_s) < bench.events.indexOf(u"idle"_s));
}

void tst_WwwDownloadSectionResponse::resumeSupport_data()
{
    QTest::addColumn<qint64>("position");
    QTest::addColumn<int>("status");
    QTest::addColumn<Headers>("headers");
    QTest::addColumn<int>("before");
    QTest::addColumn<int>("after");
    const Headers length{{"Content-Length"_ba, "100"_ba}};
    const Headers ranges = SectionBench::headersFor(100);
    const Headers none{{"Content-Length"_ba, "100"_ba}, {"Accept-Ranges"_ba, "none"_ba}};
    const Headers coded{{"Content-Length"_ba, "60"_ba}, {"Content-Encoding"_ba, "gzip"_ba}};
    const Headers range = SectionBench::headersForRange(40, 100);
    const auto row = [](const char *name, qint64 position, int status, const Headers &headers, int before, int after) {
        QTest::newRow(name) << position << status << headers << before << after;
    };
    row("a part proves it", 40, 206, range, Info::ResumeUnknown, Info::ResumeSupported);
    row("a part refutes what was believed", 40, 206, range, Info::ResumeNotSupported, Info::ResumeSupported);
    row("a part without a status proves nothing", 40, kNoStatus, ranges, Info::ResumeUnknown, Info::ResumeUnknown);
    row("the word alone proves nothing", 0, 200, ranges, Info::ResumeUnknown, Info::ResumeUnknown);
    row("a refusal in words leaves it open", 0, 200, none, Info::ResumeUnknown, Info::ResumeUnknown);
    row("a length alone leaves it open", 0, 200, length, Info::ResumeUnknown, Info::ResumeUnknown);
    row("neither ranges nor a length rule it out", 0, 200, {}, Info::ResumeUnknown, Info::ResumeNotSupported);
    row("nor does it stay believed then", 0, 200, {}, Info::ResumeSupported, Info::ResumeNotSupported);
    row("a coded body rules it out", 0, 200, coded, Info::ResumeUnknown, Info::ResumeNotSupported);
}

void tst_WwwDownloadSectionResponse::resumeSupport()
{
    QFETCH(qint64, position);
    QFETCH(int, status);
    QFETCH(Headers, headers);
    QFETCH(int, before);
    QFETCH(int, after);
    SectionBench bench;
    bench.info->resumeSupport = before;
    bench.make({position, -1, 0})->start();
    bench.reply()->sendHead(status, "words"_ba, headers);
    QCOMPARE(bench.info->resumeSupport, after);
}

void tst_WwwDownloadSectionResponse::aNewFileIsDescribed()
{
    SectionBench bench;
    bench.info->url = QUrl(u"http://a.test/music/song.mp3"_s);
    bench.mirrors->setMirrors(bench.info->sourceInfo(), {});
    WwwDownloadSection *section = bench.make();
    section->start();
    bench.answerWhole(1000,
                      {{"Content-Type"_ba, "audio/mpeg"_ba},
                       {"ETag"_ba, "\"v1\""_ba},
                       {"Last-Modified"_ba, "Wed, 01 May 2024 10:00:00 GMT"_ba}});
    QCOMPARE(bench.info->files.size(), 1);
    const AbstractDownloadFileInfo &file = bench.info->files.first();
    QCOMPARE(file.name, u"song.mp3"_s);
    QCOMPARE(file.type, int(AbstractFileTypeDetector::kAudioFile));
    QCOMPARE(file.size, 1000);
    QVERIFY(file.selected);
    QVERIFY(file.sections.isEmpty());
    QCOMPARE(file.fileFlags, 0);
    QCOMPARE(file.contentType, u"audio/mpeg"_s);
    QCOMPARE(file.lastModified, QDateTime(QDate(2024, 5, 1), QTime(10, 0), Qt::UTC));
    QCOMPARE(section->section().size, 1000);
    QCOMPARE(bench.info->guid.kind, quint32(AbstractDownloadGuid::UrlHashAndEtag));
    QVERIFY(bench.info->guid.value.endsWith(u":\"v1\""_s));
    QCOMPARE(bench.events.mid(3), (QStringList{u"persistentInfoChanged"_s, u"gotOkResponse"_s}));
}

void tst_WwwDownloadSectionResponse::aFileWithoutRangesIsDescribedAgain()
{
    SectionBench bench;
    AbstractDownloadFileInfo &file = bench.addFile(5);
    file.name = u"kept.txt"_s;
    file.contentType = u"text/plain"_s;
    WwwDownloadSection *section = bench.make();
    section->start();
    bench.answerWhole(1000);
    QCOMPARE(bench.info->files.size(), 1);
    QCOMPARE(bench.info->files.first().name, u"kept.txt"_s);
    QCOMPARE(bench.info->files.first().size, 1000);
    QCOMPARE(bench.info->files.first().contentType, u"text/plain"_s);
    QCOMPARE(section->section().size, 1000);
    QVERIFY(section->isRunning());
    QCOMPARE(bench.count(u"persistentInfoChanged"_s), 1);
}

void tst_WwwDownloadSectionResponse::whatTheHeadDoesNotSayIsForgotten()
{
    SectionBench bench;
    bench.addFile(1000).lastModified = QDateTime(QDate(2020, 1, 1), QTime(0, 0), Qt::UTC);
    bench.info->guid = {1, AbstractDownloadGuid::UrlHashAndEtag, u"0123:\"old\""_s};
    bench.make()->start();
    bench.answerWhole(1000, {{"ETag"_ba, "W/\"weak\""_ba}});
    QVERIFY(!bench.info->files.first().lastModified.isValid());
    QVERIFY(bench.info->guid.isEmpty());
}

void tst_WwwDownloadSectionResponse::aResourceCheckDescribesTheFileOnce()
{
    SectionBench bench;
    const QList<AbstractDownloadSection> ranges{{0, 50, 50}, {50, 50, 0}};
    bench.addFile(100, ranges);
    WwwDownloadSection *section = bench.make({0, -1, 0}, true);
    section->query(true);
    bench.answerWhole(2000);
    QCOMPARE(bench.info->files.first().size, 2000);
    QCOMPARE(bench.info->files.first().sections, ranges);
    QCOMPARE(section->section().size, 2000);
    QVERIFY(!section->lastError());

    section->query(true);
    bench.answerWhole(3000);
    QCOMPARE(bench.info->files.first().size, 2000);
    QCOMPARE(section->lastError(), resourceChanged());
}

void tst_WwwDownloadSectionResponse::fileName_data()
{
    QTest::addColumn<QString>("served");
    QTest::addColumn<QString>("preset");
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("type");
    const auto row = [](const char *sentence, const char *served, const char *preset, const char *name, int type) {
        QTest::newRow(sentence) << QString::fromLatin1(served) << QString::fromLatin1(preset)
                                << QString::fromLatin1(name) << type;
    };
    row("the server's name where none is preset", "film.mkv", "", "film.mkv", AbstractFileTypeDetector::kVideoFile);
    row("a preset name gets the extension", "film.mkv", "Holiday", "Holiday.mkv", AbstractFileTypeDetector::kVideoFile);
    row("and no more than the last one", "data.tar.gz", "Backup", "Backup.gz", AbstractFileTypeDetector::kUnknownFile);
    row("even if it has one already", "film.mkv", "Holiday.mp3", "Holiday.mp3.mkv",
        AbstractFileTypeDetector::kVideoFile);
    row("there may be no extension", "film", "Holiday", "Holiday", AbstractFileTypeDetector::kUnknownFile);
    row("a leading dot begins no extension", ".profile", "Holiday", "Holiday", AbstractFileTypeDetector::kUnknownFile);
}

void tst_WwwDownloadSectionResponse::fileName()
{
    QFETCH(QString, served);
    QFETCH(QString, preset);
    QFETCH(QString, name);
    QFETCH(int, type);
    SectionBench bench;
    bench.info->presetFileName = preset;
    bench.make()->start();
    bench.answerWhole(1000, {{"Content-Disposition"_ba, "attachment; filename=\"" + served.toLatin1() + '"'}});
    QCOMPARE(bench.info->files.first().name, name);
    QCOMPARE(bench.info->files.first().type, type);
}

void tst_WwwDownloadSectionResponse::streamName_data()
{
    QTest::addColumn<bool>("isKnown");
    QTest::addColumn<bool>("isBlocked");
    QTest::addColumn<Headers>("headers");
    QTest::addColumn<QString>("name");
    const Headers title{{"icy-name"_ba, "Radio One"_ba}};
    const Headers both = Headers{{"icy-br"_ba, "128"_ba}} + title;
    const Headers noRate = Headers{{"icy-br"_ba, "0"_ba}} + title;
    const Headers oddRate = Headers{{"icy-br"_ba, "much"_ba}} + title;
    const Headers rateOnly{{"icy-br"_ba, "128"_ba}};
    const Headers withLength = Headers{{"Content-Length"_ba, "9"_ba}} + both;
    const Headers awkward{{"icy-br"_ba, "128"_ba}, {"icy-name"_ba, "a/?<b>\\:*|\"c\n.d"_ba}};
    const Headers foreign{{"icy-br"_ba, "128"_ba}, {"icy-name"_ba, "Bl\xc3\xa4ser"_ba}};
    const auto row = [](const char *sentence, bool isKnown, bool isBlocked, const Headers &headers,
                        const QString &name) { QTest::newRow(sentence) << isKnown << isBlocked << headers << name; };
    row("a new stream is named by its title", false, false, title, u"Radio One.mp3"_s);
    row("a known one is not, without a bit rate", true, false, title, u"live.mp3"_s);
    row("with a bit rate a known one is too", true, false, both, u"Radio One.mp3"_s);
    row("a bit rate of nothing is no stream", false, false, noRate, u"live.mp3"_s);
    row("nor is one that is no number", false, false, oddRate, u"live.mp3"_s);
    row("without a title the name stays", false, false, rateOnly, u"live.mp3"_s);
    row("a person's name stays", false, true, both, u"live.mp3"_s);
    row("what has a length is no stream", false, false, withLength, u"live.mp3"_s);
    row("characters that no file name may have are left out", false, false, awkward, u"abc.d.mp3"_s);
    row("titles may be in any language", false, false, foreign, u"Bläser.mp3"_s);
}

void tst_WwwDownloadSectionResponse::streamName()
{
    QFETCH(bool, isKnown);
    QFETCH(bool, isBlocked);
    QFETCH(Headers, headers);
    QFETCH(QString, name);
    SectionBench bench;
    bench.info->url.setPath(u"/live.mp3"_s);
    bench.mirrors->setMirrors(bench.info->sourceInfo(), {});
    bench.info->setFlag(Info::RenameBlocked, isBlocked);
    if (isKnown)
        bench.addFile(-1).name = u"live.mp3"_s;
    WwwDownloadSection *section = bench.make();
    section->start();
    bench.reply()->sendHead(200, "OK"_ba, headers);
    QVERIFY(section->isRunning());
    QCOMPARE(bench.info->files.first().name, name);
}

void tst_WwwDownloadSectionResponse::theSizeOfAKnownFileIsLearnt_data()
{
    QTest::addColumn<QList<AbstractDownloadSection>>("ranges");
    QTest::addColumn<Headers>("headers");
    QTest::addColumn<qint64>("fileSize");
    QTest::addColumn<qint64>("sectionSize");
    QTest::addColumn<int>("changes");
    using Ranges = QList<AbstractDownloadSection>;
    const Ranges one{{0, -1, 40}};
    const Ranges two{{0, -1, 40}, {50, 10, 0}};
    const Headers total = SectionBench::headersForRange(40, 100);
    const Headers noTotal{{"Content-Range"_ba, "bytes 40-99/*"_ba}};
    QTest::newRow("by the file's only range too") << one << total << qint64(100) << qint64(100) << 1;
    QTest::newRow("by the file alone where there are several ranges") << two << total << qint64(100) << qint64(-1) << 1;
    QTest::newRow("not while it is still unknown") << one << noTotal << qint64(-1) << qint64(-1) << 0;
}

void tst_WwwDownloadSectionResponse::theSizeOfAKnownFileIsLearnt()
{
    QFETCH(QList<AbstractDownloadSection>, ranges);
    QFETCH(Headers, headers);
    QFETCH(qint64, fileSize);
    QFETCH(qint64, sectionSize);
    QFETCH(int, changes);
    SectionBench bench;
    bench.addFile(-1, ranges);
    bench.info->resumeSupport = Info::ResumeSupported;
    WwwDownloadSection *section = bench.make(ranges.first());
    section->start();
    bench.reply()->sendHead(206, "Partial Content"_ba, headers);
    QCOMPARE(bench.info->files.first().size, fileSize);
    QCOMPARE(bench.info->files.first().sections.first().size, sectionSize);
    QCOMPARE(section->section().size, sectionSize);
    QVERIFY(section->isRunning());
    QCOMPARE(bench.count(u"persistentInfoChanged"_s), changes);
}

void tst_WwwDownloadSectionResponse::theSizeIsNotLearntFromAnAnswerFromTheStart()
{
    SectionBench bench;
    bench.addFile(-1, {{0, -1, 0}});
    WwwDownloadSection *section = bench.make({0, -1, 0});
    section->start();
    bench.answerWhole(100);
    QCOMPARE(section->lastError(), resourceChanged());
    QCOMPARE(bench.info->files.first().size, -1);
    QCOMPARE(section->section().size, -1);
}

void tst_WwwDownloadSectionResponse::aKnownFileThatIsTheSameSaysNothingNew()
{
    SectionBench bench;
    bench.addFile(100, {{0, 100, 40}});
    bench.info->resumeSupport = Info::ResumeSupported;
    const Info before = *bench.info;
    bench.make({0, 100, 40})->start();
    bench.answerPart(40, 100);
    QVERIFY(*bench.info == before);
    QCOMPARE(bench.count(u"persistentInfoChanged"_s), 0);
    QCOMPARE(bench.count(u"gotOkResponse"_s), 1);
}

void tst_WwwDownloadSectionResponse::rangesKnownToBeRefusedAreNothingNew()
{
    SectionBench bench;
    bench.addFile(-1, {{0, -1, 0}});
    bench.info->resumeSupport = Info::ResumeNotSupported;
    const Info before = *bench.info;
    bench.make({0, -1, 0})->start();
    bench.reply()->sendHead(200);
    QVERIFY(*bench.info == before);
    QCOMPARE(bench.count(u"persistentInfoChanged"_s), 0);
    QCOMPARE(bench.count(u"gotOkResponse"_s), 1);
}

void tst_WwwDownloadSectionResponse::cookiesOfTheAnswerAreNews_data()
{
    QTest::addColumn<QList<QNetworkCookie>>("asked");
    QTest::addColumn<int>("changes");
    QNetworkCookie cookie("session"_ba, "of today"_ba);
    cookie.setDomain(u"a.test"_s);
    cookie.setPath(u"/"_s);
    QNetworkCookie former = cookie;
    former.setValue("of yesterday"_ba);
    QTest::newRow("one that the source had") << QList<QNetworkCookie>{cookie} << 0;
    QTest::newRow("one that the source had not") << QList<QNetworkCookie>{} << 1;
    QTest::newRow("another value than the source had") << QList<QNetworkCookie>{former} << 1;
}

void tst_WwwDownloadSectionResponse::cookiesOfTheAnswerAreNews()
{
    QFETCH(QList<QNetworkCookie>, asked);
    QFETCH(int, changes);
    SectionBench bench;
    bench.addFile(100, {{0, 100, 40}});
    bench.info->resumeSupport = Info::ResumeSupported;
    bench.info->cookies = asked;
    bench.mirrors.reset(new DownloadMirrorsUsageManager);
    bench.mirrors->setMirrors(bench.info->sourceInfo(), {});
    bench.make({0, 100, 40})->start();
    QNetworkCookie cookie("session"_ba, "of today"_ba);
    cookie.setDomain(u"a.test"_s);
    cookie.setPath(u"/"_s);
    QVERIFY(bench.chief->cookieJar()->insertCookie(cookie));
    bench.answerPart(40, 100);
    QCOMPARE(bench.count(u"persistentInfoChanged"_s), changes);
    QCOMPARE(bench.count(u"gotOkResponse"_s), 1);
}

void tst_WwwDownloadSectionResponse::aChangedResourceStopsTheSection_data()
{
    QTest::addColumn<QByteArray>("etag");
    QTest::addColumn<QByteArray>("date");
    QTest::addColumn<qint64>("total");
    QTest::addColumn<QString>("knownBy");
    QTest::addColumn<bool>("isChanged");
    const QByteArray date = "Wed, 01 May 2024 10:00:00 GMT"_ba;
    const QByteArray later = "Wed, 01 May 2024 10:00:01 GMT"_ba;
    const QString here = u"http://a.test/dir/file.bin"_s;
    const auto row = [](const char *sentence, const QByteArray &etag, const QByteArray &lastModified, qint64 total,
                        const QString &knownBy, bool isChanged) {
        QTest::newRow(sentence) << etag << lastModified << total << knownBy << isChanged;
    };
    row("all as it was", "\"v1\""_ba, date, 100, here, false);
    row("a new ETag", "\"v2\""_ba, date, 100, here, true);
    row("an ETag of another URL says nothing", "\"v2\""_ba, date, 100, u"http://b.test/file.bin"_s, false);
    row("a weak ETag says nothing", "W/\"v2\""_ba, date, 100, here, false);
    row("nor does none", {}, date, 100, here, false);
    row("nor one that was never known", "\"v2\""_ba, date, 100, QString(), false);
    row("an equal ETag does not outweigh another size", "\"v1\""_ba, date, 101, here, true);
    row("nor a later date", "\"v1\""_ba, later, 100, here, true);
    row("no date is no change", "\"v1\""_ba, {}, 100, here, false);
}

void tst_WwwDownloadSectionResponse::aChangedResourceStopsTheSection()
{
    QFETCH(QByteArray, etag);
    QFETCH(QByteArray, date);
    QFETCH(qint64, total);
    QFETCH(QString, knownBy);
    QFETCH(bool, isChanged);
    SectionBench bench;
    bench.addFile(100, {{0, 100, 40}}).lastModified = QDateTime(QDate(2024, 5, 1), QTime(10, 0), Qt::UTC);
    if (!knownBy.isEmpty()) {
        const QSharedPointer<Info> known(new Info);
        known->url = QUrl(knownBy);
        bench.info->guid = WwwDownloadSection::getDownloadGuid(known, HttpHeadersParser({{"ETag"_ba, "\"v1\""_ba}}));
    }
    const AbstractDownloadGuid guid = bench.info->guid;
    WwwDownloadSection *section = bench.make({0, 100, 40});
    section->start();
    Headers headers = SectionBench::headersForRange(40, total);
    if (!etag.isEmpty())
        headers.append({"ETag"_ba, etag});
    if (!date.isEmpty())
        headers.append({"Last-Modified"_ba, date});
    bench.reply()->sendHead(206, "Partial Content"_ba, headers);
    QCOMPARE(section->lastError(), isChanged ? resourceChanged() : AbstractError());
    QCOMPARE(section->isRunning(), !isChanged);
    QCOMPARE(bench.count(u"gotOkResponse"_s), isChanged ? 0 : 1);
    // What is known stays known, so that the next try finds out again.
    QCOMPARE(bench.info->guid, guid);
    QCOMPARE(bench.info->files.first().size, 100);
}

void tst_WwwDownloadSectionResponse::redirectsAreRemembered_data()
{
    QTest::addColumn<QUrl>("before");
    QTest::addColumn<QString>("location");
    QTest::addColumn<QUrl>("after");
    const QUrl there(u"http://b.test/other.bin"_s);
    QTest::newRow("none is none") << QUrl() << QString() << QUrl();
    QTest::newRow("a redirect is the final URL") << QUrl() << there.toString() << there;
    QTest::newRow("one in place of another") << QUrl(u"http://c.test/x"_s) << there.toString() << there;
    QTest::newRow("one that is no more") << there << QString() << QUrl();
    QTest::newRow("one that leads back") << there << u"http://a.test/dir/file.bin"_s << QUrl();
}

void tst_WwwDownloadSectionResponse::redirectsAreRemembered()
{
    QFETCH(QUrl, before);
    QFETCH(QString, location);
    QFETCH(QUrl, after);
    SectionBench bench;
    bench.addFile(100, {{0, 100, 40}});
    bench.info->resumeSupport = Info::ResumeSupported;
    bench.info->finalUrl = before;
    bench.make({0, 100, 40})->start();
    if (!location.isEmpty())
        bench.reply()->sendRedirect(location.toLatin1());
    QCOMPARE(bench.info->finalUrl, before);
    bench.answerPart(40, 100);
    QCOMPARE(bench.info->finalUrl, after);
    QCOMPARE(bench.count(u"persistentInfoChanged"_s), before == after ? 0 : 1);
    QCOMPARE(bench.count(u"gotOkResponse"_s), 1);
}

void tst_WwwDownloadSectionResponse::theNameComesFromWhereItWasRedirectedTo()
{
    SectionBench bench;
    bench.make()->start();
    bench.reply()->sendRedirect("http://b.test/real.iso"_ba);
    bench.answerWhole(100, {{"ETag"_ba, "\"v1\""_ba}});
    QCOMPARE(bench.info->files.first().name, u"real.iso"_s);
    const QSharedPointer<Info> there(new Info);
    there->url = QUrl(u"http://b.test/real.iso"_s);
    QCOMPARE(bench.info->guid,
             WwwDownloadSection::getDownloadGuid(there, HttpHeadersParser({{"ETag"_ba, "\"v1\""_ba}})));
}

void tst_WwwDownloadSectionResponse::aRedirectBeforeAnErrorIsRememberedAndTold_data()
{
    const auto cut = [](SectionBench &bench) { bench.reply()->end(QNetworkReply::RemoteHostClosedError); };
    QTest::addColumn<Play>("play");
    QTest::newRow("no answer from there") << Play(cut);
    QTest::newRow("an answer that is an error") << Play([](SectionBench &bench) { bench.reply()->sendHead(404); });
    QTest::newRow("another file there") << Play([](SectionBench &bench) { bench.answerPart(40, 200); });
    QTest::newRow("an answer that is cut off, once") << Play([cut](SectionBench &bench) {
        bench.answerPart(40, 100);
        cut(bench);
    });
}

void tst_WwwDownloadSectionResponse::aRedirectBeforeAnErrorIsRememberedAndTold()
{
    QFETCH(Play, play);
    SectionBench bench;
    bench.addFile(100, {{0, 100, 40}});
    bench.info->resumeSupport = Info::ResumeSupported;
    bench.make({0, 100, 40})->start();
    bench.reply()->sendRedirect("http://b.test/other.bin"_ba);
    play(bench);
    QVERIFY(bench.waitUntilIdle());
    QVERIFY(bench.section->lastError());
    QCOMPARE(bench.info->finalUrl, QUrl(u"http://b.test/other.bin"_s));
    QCOMPARE(bench.count(u"persistentInfoChanged"_s), 1);
    QCOMPARE(bench.events.last(), u"idle"_s);
}

void tst_WwwDownloadSectionResponse::anErrorBeforeAnyAnswerForgetsNothing()
{
    SectionBench bench;
    const QUrl there(u"http://b.test/other.bin"_s);
    bench.info->finalUrl = there;
    bench.make()->start();
    bench.reply()->end(QNetworkReply::ConnectionRefusedError);
    QVERIFY(!bench.section->isRunning());
    QCOMPARE(bench.info->finalUrl, there);
    QCOMPARE(bench.count(u"persistentInfoChanged"_s), 0);
}

QTEST_GUILESS_MAIN(tst_WwwDownloadSectionResponse)
#include "tst_wwwdownloadsection_response.moc"
