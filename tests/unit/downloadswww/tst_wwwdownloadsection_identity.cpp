// SPDX-License-Identifier: MIT
#include <inet/qt/download/downloadswww/wwwdownloadsection.h>
#include <inet/qt/download/response/httpheadersparser.h>

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

using Headers = HttpHeadersParser::Headers;

const QDateTime kDate(QDate(2024, 5, 1), QTime(10, 0), Qt::UTC);

AbstractDownloadGuid guid(const QString &value, quint32 kind = AbstractDownloadGuid::UrlHashAndEtag, quint32 isSet = 1)
{
    return {isSet, kind, value};
}

}

/// Whether two answers tell of one resource: no transfer is needed for that.
class tst_WwwDownloadSectionIdentity : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isResourceChanged_data();
    void isResourceChanged();
    void getDownloadGuid_data();
    void getDownloadGuid();
    void compareDownloadsByHttpEtag_data();
    void compareDownloadsByHttpEtag();
};

void tst_WwwDownloadSectionIdentity::isResourceChanged_data()
{
    QTest::addColumn<qint64>("size");
    QTest::addColumn<QDateTime>("lastModified");
    QTest::addColumn<Headers>("headers");
    QTest::addColumn<bool>("isChanged");
    const QByteArray date = "Wed, 01 May 2024 10:00:00 GMT"_ba;
    const auto sized = [](const QByteArray &size) { return Headers{{"Content-Length"_ba, size}}; };
    const auto dated = [](const QByteArray &when) {
        return Headers{{"Content-Length"_ba, "100"_ba}, {"Last-Modified"_ba, when}};
    };
    const auto row = [](const char *sentence, qint64 size, const QDateTime &lastModified, const Headers &headers,
                        bool isChanged) { QTest::newRow(sentence) << size << lastModified << headers << isChanged; };
    row("an equal size is no change", 100, {}, sized("100"_ba), false);
    row("another size is one", 100, {}, sized("99"_ba), true);
    row("a size that becomes known is one", -1, {}, sized("100"_ba), true);
    row("a size that stays unknown is none", -1, {}, {}, false);
    row("a size that is no longer known is one while bytes are missing", 100, {}, {}, true);
    row("but none when all that came is all there was", 70, {}, {}, false);
    row("an equal date is no change", 100, kDate, dated(date), false);
    row("a later date is one", 100, kDate, dated("Wed, 01 May 2024 10:00:01 GMT"_ba), true);
    row("an earlier date is one", 100, kDate, dated("Tue, 30 Apr 2024 10:00:00 GMT"_ba), true);
    row("a date that cannot be read says nothing", 100, kDate, dated("yesterday"_ba), false);
    row("nor does none", 100, kDate, sized("100"_ba), false);
    row("nor does one where none was known", 100, {}, dated(date), false);
    row("a date counts where the size is unknown too", -1, kDate,
        {{"Last-Modified"_ba, "Tue, 30 Apr 2024 10:00:00 GMT"_ba}}, true);
}

void tst_WwwDownloadSectionIdentity::isResourceChanged()
{
    QFETCH(qint64, size);
    QFETCH(QDateTime, lastModified);
    QFETCH(Headers, headers);
    QFETCH(bool, isChanged);
    AbstractDownloadFileInfo file;
    file.size = size;
    file.lastModified = lastModified;
    file.sections = {{0, 50, 50}, {50, 50, 20}};
    QCOMPARE(WwwDownloadSection::isResourceChanged(file, HttpHeadersParser(headers)), isChanged);
}

void tst_WwwDownloadSectionIdentity::getDownloadGuid_data()
{
    QTest::addColumn<QUrl>("url");
    QTest::addColumn<QUrl>("finalUrl");
    QTest::addColumn<QByteArray>("etag");
    QTest::addColumn<QString>("value");
    const QUrl plain(u"http://a.test/file"_s);
    const QUrl spaced(u"http://a.test/a file"_s);
    const QString plainHash = u"fa9938ac5457a0a2979d50584ae2b3df"_s;
    const QString spacedHash = u"2cf6c9c94665cfbe3e41cd518cc6a465"_s;
    const auto row = [](const char *sentence, const QUrl &url, const QUrl &finalUrl, const QByteArray &etag,
                        const QString &value) { QTest::newRow(sentence) << url << finalUrl << etag << value; };
    row("a strong ETag with its quotes", plain, {}, "\"v1\""_ba, plainHash + u":\"v1\""_s);
    row("with its colons", plain, {}, "\"a:b\""_ba, plainHash + u":\"a:b\""_s);
    row("the final URL where there is one", spaced, plain, "\"v1\""_ba, plainHash + u":\"v1\""_s);
    row("the URL in its encoded form", spaced, {}, "\"v1\""_ba, spacedHash + u":\"v1\""_s);
    row("a weak ETag yields no identity", plain, {}, "W/\"v1\""_ba, QString());
    row("only the capital letter makes it weak", plain, {}, "w/\"v1\""_ba, plainHash + u":w/\"v1\""_s);
    row("no ETag yields none", plain, {}, QByteArray(), QString());
}

void tst_WwwDownloadSectionIdentity::getDownloadGuid()
{
    QFETCH(QUrl, url);
    QFETCH(QUrl, finalUrl);
    QFETCH(QByteArray, etag);
    QFETCH(QString, value);
    const QSharedPointer<AbstractDownloadPersistentInfo> info(new AbstractDownloadPersistentInfo);
    info->url = url;
    info->finalUrl = finalUrl;
    const Headers headers = etag.isEmpty() ? Headers() : Headers{{"ETag"_ba, etag}};
    const AbstractDownloadGuid found = WwwDownloadSection::getDownloadGuid(info, HttpHeadersParser(headers));
    QCOMPARE(found.value, value);
    QCOMPARE(found.isSet, value.isEmpty() ? 0u : 1u);
    QCOMPARE(found.kind, value.isEmpty() ? 0u : 3u);
}

void tst_WwwDownloadSectionIdentity::compareDownloadsByHttpEtag_data()
{
    QTest::addColumn<AbstractDownloadGuid>("a");
    QTest::addColumn<AbstractDownloadGuid>("b");
    QTest::addColumn<bool>("same");
    QTest::addColumn<bool>("changed");
    const auto row = [](const char *sentence, const AbstractDownloadGuid &a, const AbstractDownloadGuid &b, bool same,
                        bool changed) { QTest::newRow(sentence) << a << b << same << changed; };
    const AbstractDownloadGuid known = guid(u"0a:\"v1\""_s);
    row("one URL, one ETag", known, known, true, false);
    row("one URL, two ETags", known, guid(u"0a:\"v2\""_s), false, true);
    row("two URLs, one ETag", known, guid(u"0b:\"v1\""_s), false, false);
    row("two URLs, two ETags", known, guid(u"0b:\"v2\""_s), false, false);
    row("hashes are equal in either case", known, guid(u"0A:\"v1\""_s), true, false);
    row("ETags are not", known, guid(u"0a:\"V1\""_s), false, true);
    row("an ETag that is the beginning of the other", known, guid(u"0a:\"v1"_s), false, true);
    row("the first colon ends the hash", guid(u"0a:x:y"_s), guid(u"0a:x:z"_s), false, true);
    row("and the others belong to the ETag", guid(u"0a:x:y"_s), guid(u"0a:x:y"_s), true, false);
    row("one that is not set", known, guid(u"0a:\"v2\""_s, 3, 0), false, false);
    row("one that is empty", guid(QString()), known, false, false);
    row("one of another kind", known, guid(u"0a:\"v2\""_s, AbstractDownloadGuid::SourceDerived), false, false);
    row("two of another kind", guid(u"0a:x"_s, 0), guid(u"0a:x"_s, 0), false, false);
}

void tst_WwwDownloadSectionIdentity::compareDownloadsByHttpEtag()
{
    QFETCH(AbstractDownloadGuid, a);
    QFETCH(AbstractDownloadGuid, b);
    bool same = true;
    bool changed = true;
    WwwDownloadSection::compareDownloadsByHttpEtag(a, b, same, changed);
    const auto verdict = std::pair(same, changed);
    WwwDownloadSection::compareDownloadsByHttpEtag(b, a, same, changed);
    QVERIFY(verdict == std::pair(same, changed));
    QTEST(same, "same");
    QTEST(changed, "changed");
}

QTEST_GUILESS_MAIN(tst_WwwDownloadSectionIdentity)
#include "tst_wwwdownloadsection_identity.moc"
