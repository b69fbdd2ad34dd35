// SPDX-License-Identifier: MIT
#include <host/engine/downloadrequest.h>
#include <host/storage/replacedfile.h>

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

using Info = AbstractDownloadPersistentInfo;

DownloadRequest fullRequest()
{
    DownloadRequest request;
    request.url = QUrl(u"http://a/x?b=c"_s);
    request.folder = u"/home/anna"_s;
    request.outputName = u"y.bin"_s;
    request.referer = u"http://a/"_s;
    request.userAgent = u"Me/1"_s;
    request.postData = "k=v";
    request.headers = {{u"X-Test"_s, u"1"_s}};
    return request;
}

}

class TestDownloadRequest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everythingGoesIntoTheRecord();
    void withoutANameTheServerChooses();
    void isSameDownload_data();
    void isSameDownload();
    void whatIsGivenAgainReplacesWhatWasRemembered();
    void whatIsFetchedAnewStillTakesItsFilesPlace();
    void whatIsNotGivenAgainStays();
};

void TestDownloadRequest::everythingGoesIntoTheRecord()
{
    const Info record = fullRequest().newRecord();
    QCOMPARE(record.id, 0);
    QCOMPARE(record.url, QUrl(u"http://a/x?b=c"_s));
    QCOMPARE(record.destinationType, qint32(Info::ToFolder));
    QCOMPARE(record.folder, u"/home/anna"_s);
    QCOMPARE(record.referer, u"http://a/"_s);
    QCOMPARE(record.userAgent, u"Me/1"_s);
    QCOMPARE(record.postData, QByteArray("k=v"));
    QCOMPARE(record.parameters, (QVariantMap{{u"headers"_s, QVariantMap{{u"X-Test"_s, u"1"_s}}}}));
    QVERIFY(record.creationTime.isValid());
    QCOMPARE(record.flags, quint64(Info::FinalDownload | Info::RenameBlocked));
    AbstractDownloadFileInfo file;
    file.name = u"y.bin"_s;
    QCOMPARE(record.files, QList<AbstractDownloadFileInfo>{file});
}

void TestDownloadRequest::withoutANameTheServerChooses()
{
    DownloadRequest request = fullRequest();
    request.outputName.clear();
    const Info record = request.newRecord();
    QVERIFY(record.files.isEmpty());
    QCOMPARE(record.flags, quint64(Info::FinalDownload));
}

void TestDownloadRequest::isSameDownload_data()
{
    QTest::addColumn<DownloadRequest>("request");
    QTest::addColumn<bool>("same");

    const auto row = [](const char *name, bool same, void (*change)(DownloadRequest &)) {
        DownloadRequest request = fullRequest();
        change(request);
        QTest::newRow(name) << request << same;
    };
    row("the same", true, [](DownloadRequest &) {});
    row("other headers are the same download", true, [](DownloadRequest &request) { request.headers.clear(); });
    row("another referer is the same download", true, [](DownloadRequest &request) { request.referer.clear(); });
    row("another user agent is the same download", true, [](DownloadRequest &request) { request.userAgent.clear(); });
    row("another URL", false, [](DownloadRequest &request) { request.url = QUrl(u"http://a/x"_s); });
    row("another folder", false, [](DownloadRequest &request) { request.folder = u"/tmp"_s; });
    row("another name", false, [](DownloadRequest &request) { request.outputName = u"z"_s; });
    row("no name", false, [](DownloadRequest &request) { request.outputName.clear(); });
    row("another body", false, [](DownloadRequest &request) { request.postData = "k=w"; });
}

void TestDownloadRequest::isSameDownload()
{
    QFETCH(DownloadRequest, request);
    QTEST(request.isSameDownload(fullRequest().newRecord()), "same");
}

void TestDownloadRequest::whatIsGivenAgainReplacesWhatWasRemembered()
{
    Info record = fullRequest().newRecord();
    DownloadRequest again = fullRequest();
    again.referer = u"http://b/"_s;
    again.userAgent = u"Me/2"_s;
    again.headers = {{u"Authorization"_s, u"Basic x"_s}};
    again.renew(record);
    QCOMPARE(record.referer, u"http://b/"_s);
    QCOMPARE(record.userAgent, u"Me/2"_s);
    QCOMPARE(record.parameters.value(u"headers"_s).toMap(), again.headers);
}

void TestDownloadRequest::whatIsFetchedAnewStillTakesItsFilesPlace()
{
    Info record = fullRequest().newRecord();
    ReplacedFile::plan(record, {}, true);
    DownloadRequest again = fullRequest();
    again.onExists = AbstractDownloadExistingFileReaction::Rename;
    again.renew(record);
    QVERIFY(ReplacedFile::isPlanned(record));
}

void TestDownloadRequest::whatIsNotGivenAgainStays()
{
    Info record = fullRequest().newRecord();
    const Info before = record;
    DownloadRequest().renew(record);
    QCOMPARE(record, before);
}

QTEST_GUILESS_MAIN(TestDownloadRequest)
#include "tst_downloadrequest.moc"
