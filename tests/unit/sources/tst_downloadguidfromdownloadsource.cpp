// SPDX-License-Identifier: MIT
#include <inet/qt/download/sources/downloadguidfromdownloadsource.h>

#include <inet/qt/download/records/abstractdownloadguid.h>
#include <inet/qt/download/records/abstractdownloadsourceinfo.h>
#include <inet/qt/download/records/clouddrivehosts.h>

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

constexpr char16_t kFile[] = u"https://doc-0g.googleusercontent.com/docs/1A2b3C4d5E";

AbstractDownloadSourceInfo sourceOf(const QString &url, const QString &referer = {}, const QString &webPageUrl = {})
{
    AbstractDownloadSourceInfo source;
    source.url = QUrl(url);
    source.referer = referer;
    source.webPageUrl = QUrl(webPageUrl);
    return source;
}

}

class TestDownloadGuidFromDownloadSource : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void hosts();
    void identity_data();
    void identity();
    void otherSourcesLeaveTheArgumentsAlone_data();
    void otherSourcesLeaveTheArgumentsAlone();
    void frontEndFlag_data();
    void frontEndFlag();
    void anEarlierIdentityIsReplacedWhole();
};

void TestDownloadGuidFromDownloadSource::hosts()
{
    QCOMPARE(CloudDriveHosts::kFrontEndHost, "drive.google.com"_L1);
    QCOMPARE(CloudDriveHosts::kContentHostSuffix, ".googleusercontent.com"_L1);
    QCOMPARE(CloudDriveHosts::kContentHostDomain, "googleusercontent.com"_L1);
}

void TestDownloadGuidFromDownloadSource::identity_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("identifier");

    const QString host = u"https://doc-0g.googleusercontent.com"_s;
    QTest::newRow("the last segment on a subdomain") << host + u"/docs/1A2b3C4d5E"_s << u"1A2b3C4d5E"_s;
    QTest::newRow("the last segment on the domain itself")
        << u"https://googleusercontent.com/docs/1A2b3C4d5E"_s << u"1A2b3C4d5E"_s;
    QTest::newRow("a subdomain of a subdomain") << u"https://a.b.googleusercontent.com/1A2b3C4d5E"_s << u"1A2b3C4d5E"_s;
    QTest::newRow("the case of the host does not count")
        << u"https://DOC.GoogleUserContent.COM/1A2b3C4d5E"_s << u"1A2b3C4d5E"_s;
    QTest::newRow("the port does not count")
        << u"http://doc.googleusercontent.com:8080/1A2b3C4d5E"_s << u"1A2b3C4d5E"_s;
    QTest::newRow("a long identifier is taken whole")
        << host + u"/docs/securesc/1A2b3C4d5E6f7G8h9I0j"_s << u"1A2b3C4d5E6f7G8h9I0j"_s;
    QTest::newRow("query and fragment are no part of it")
        << host + u"/docs/1A2b3C4d5E?e=download&x=a/b#c/d"_s << u"1A2b3C4d5E"_s;
    QTest::newRow("it is fully decoded") << host + u"/docs/1A2b%203C4d%25E"_s << u"1A2b 3C4d%E"_s;
    QTest::newRow("a backslash behind the last slash begins it") << host + u"/docs/x%5C1A2b3C4d5E"_s << u"1A2b3C4d5E"_s;
    QTest::newRow("a backslash before the last slash does not") << host + u"/do%5Ccs/1A2b3C4d5E"_s << u"1A2b3C4d5E"_s;
    QTest::newRow("an encoded slash begins it too") << host + u"/docs/x%2F1A2b3C4d5E"_s << u"1A2b3C4d5E"_s;
}

void TestDownloadGuidFromDownloadSource::identity()
{
    QFETCH(QString, url);
    QFETCH(QString, identifier);
    AbstractDownloadGuid guid;
    bool frontEnd = true;
    QVERIFY(DownloadGuidFromDownloadSource().get(sourceOf(url), guid, frontEnd));
    QVERIFY(guid == (AbstractDownloadGuid{1, 0, u"googledrive:"_s + identifier}));
    QVERIFY(!frontEnd);
}

void TestDownloadGuidFromDownloadSource::otherSourcesLeaveTheArgumentsAlone_data()
{
    QTest::addColumn<QString>("url");

    const QString host = u"https://doc-0g.googleusercontent.com"_s;
    QTest::newRow("another host") << u"https://h.example/docs/1A2b3C4d5E"_s;
    QTest::newRow("a domain that ends in the same letters") << u"https://notgoogleusercontent.com/docs/1A2b3C4d5E"_s;
    QTest::newRow("a domain that only begins so") << u"https://googleusercontent.com.example/docs/1A2b3C4d5E"_s;
    QTest::newRow("the domain within the path") << u"https://h.example/doc.googleusercontent.com/1A2b3C4d5E"_s;
    QTest::newRow("the front end itself") << u"https://drive.google.com/file/1A2b3C4d5E"_s;
    QTest::newRow("an empty URL") << QString();
    QTest::newRow("an identifier of 9 characters") << host + u"/docs/1A2b3C4d5"_s;
    QTest::newRow("9 characters that were longer before decoding") << host + u"/docs/1A2b%203C4"_s;
    QTest::newRow("a path that ends in a slash") << host + u"/docs/1A2b3C4d5E/"_s;
    QTest::newRow("a path that ends in a backslash") << host + u"/docs/1A2b3C4d5E%5C"_s;
    QTest::newRow("no path") << host;
}

void TestDownloadGuidFromDownloadSource::otherSourcesLeaveTheArgumentsAlone()
{
    QFETCH(QString, url);
    const AbstractDownloadGuid before{1, AbstractDownloadGuid::UrlHashAndEtag, u"before"_s};
    const AbstractDownloadSourceInfo source = sourceOf(url, u"https://drive.google.com/"_s);
    for (bool flag : {false, true}) {
        AbstractDownloadGuid guid = before;
        bool frontEnd = flag;
        QVERIFY(!DownloadGuidFromDownloadSource().get(source, guid, frontEnd));
        QVERIFY(guid == before);
        QCOMPARE(frontEnd, flag);
    }
}

void TestDownloadGuidFromDownloadSource::frontEndFlag_data()
{
    QTest::addColumn<QString>("referer");
    QTest::addColumn<QString>("webPageUrl");
    QTest::addColumn<bool>("expected");

    const QString page = u"https://drive.google.com/file/d/1A2b3C4d5E/view"_s;
    const QString other = u"https://h.example/drive.google.com"_s;
    QTest::newRow("a direct link clears it") << QString() << QString() << false;
    QTest::newRow("the front end as referer sets it") << page << QString() << true;
    QTest::newRow("the front end as page sets it") << QString() << page << true;
    QTest::newRow("either is enough") << page << other << true;
    QTest::newRow("whichever of them") << other << page << true;
    QTest::newRow("other pages clear it") << other << other << false;
    QTest::newRow("the case of the referer's host does not count")
        << u"https://DRIVE.Google.com/"_s << QString() << true;
    QTest::newRow("the case of the page's host does not count") << QString() << u"https://DRIVE.Google.com/"_s << true;
    QTest::newRow("a subdomain of the front end clears it") << u"https://x.drive.google.com/"_s << QString() << false;
    QTest::newRow("a referer that is no URL clears it") << u"drive.google.com"_s << QString() << false;
}

void TestDownloadGuidFromDownloadSource::frontEndFlag()
{
    QFETCH(QString, referer);
    QFETCH(QString, webPageUrl);
    QFETCH(bool, expected);
    const AbstractDownloadSourceInfo source = sourceOf(QString::fromUtf16(kFile), referer, webPageUrl);
    AbstractDownloadGuid guid;
    bool frontEnd = !expected;
    QVERIFY(DownloadGuidFromDownloadSource().get(source, guid, frontEnd));
    QCOMPARE(frontEnd, expected);
}

void TestDownloadGuidFromDownloadSource::anEarlierIdentityIsReplacedWhole()
{
    AbstractDownloadGuid guid{7, AbstractDownloadGuid::UrlHashAndEtag, u"before"_s};
    bool frontEnd = false;
    QVERIFY(DownloadGuidFromDownloadSource().get(sourceOf(QString::fromUtf16(kFile)), guid, frontEnd));
    QVERIFY(guid == (AbstractDownloadGuid{1, 0, u"googledrive:1A2b3C4d5E"_s}));
}

QTEST_GUILESS_MAIN(TestDownloadGuidFromDownloadSource)
#include "tst_downloadguidfromdownloadsource.moc"
