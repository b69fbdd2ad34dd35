// SPDX-License-Identifier: MIT
#include <host/policy/resourceidentity.h>

#include <QTest>
#include <QTimeZone>

using namespace Qt::StringLiterals;

namespace
{

using Fields = QList<ResourceIdentity::Field>;

const QByteArray kDay = QByteArrayLiteral("Mon, 01 Jan 2024 10:00:00 GMT");
const QByteArray kNextDay = QByteArrayLiteral("Tue, 02 Jan 2024 10:00:00 GMT");

QDateTime day()
{
    return {QDate(2024, 1, 1), QTime(10, 0), QTimeZone::utc()};
}

/// Digests that are understood: of one file, and of another.
const QByteArray kMd5 = "md5=" + QByteArray(16, 'x').toBase64();
const QByteArray kOtherMd5 = "md5=" + QByteArray(16, 'y').toBase64();
const QByteArray kSha256 = QByteArray(32, 'x').toBase64();
const QByteArray kOtherSha256 = QByteArray(32, 'y').toBase64();

ResourceIdentity of(const Fields &fields, int status = 200)
{
    return ResourceIdentity::of(status, fields);
}

}

/// What identifies a resource, and what shows that another stands in its place.
class TestResourceIdentity : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void tagsAreStrongOrWeak_data();
    void tagsAreStrongOrWeak();
    void datesAreReadAsServersWriteThem_data();
    void datesAreReadAsServersWriteThem();
    void theTotalIsThatOfTheWhole_data();
    void theTotalIsThatOfTheWhole();
    void theDigestIsThatOfTheWhole_data();
    void theDigestIsThatOfTheWhole();
    void whatContradicts_data();
    void whatContradicts();
    void longValuesAreSaidInShort();
    void aDateThatMeansNothingIsTold();
    void aValidatorIsWhatChangesWithTheResource_data();
    void aValidatorIsWhatChangesWithTheResource();
    void whatIsKnownIsCompletedAndNotReplaced();
};

void TestResourceIdentity::tagsAreStrongOrWeak_data()
{
    QTest::addColumn<Fields>("fields");
    QTest::addColumn<QByteArray>("strong");
    QTest::addColumn<QByteArray>("weak");
    const QByteArray none;
    QTest::newRow("none") << Fields{} << none << none;
    QTest::newRow("a strong one") << Fields{{"ETag", "\"a\""}} << QByteArray("\"a\"") << none;
    QTest::newRow("a weak one") << Fields{{"ETag", "W/\"a\""}} << none << QByteArray("\"a\"");
    QTest::newRow("a weak one in a small letter") << Fields{{"ETag", "w/\"a\""}} << none << QByteArray("\"a\"");
    QTest::newRow("its name in small letters") << Fields{{"etag", "\"a\""}} << QByteArray("\"a\"") << none;
    QTest::newRow("blanks around it") << Fields{{"ETag", " \"a\" "}} << QByteArray("\"a\"") << none;
    QTest::newRow("one without quotes") << Fields{{"ETag", "a"}} << QByteArray("a") << none;
    QTest::newRow("an empty one") << Fields{{"ETag", ""}} << none << none;
}

void TestResourceIdentity::tagsAreStrongOrWeak()
{
    QFETCH(Fields, fields);
    const ResourceIdentity identity = of(fields);
    QTEST(identity.etag, "strong");
    QTEST(identity.weakEtag, "weak");
}

void TestResourceIdentity::datesAreReadAsServersWriteThem_data()
{
    QTest::addColumn<Fields>("fields");
    QTest::addColumn<QDateTime>("date");
    QTest::newRow("none") << Fields{} << QDateTime();
    QTest::newRow("as HTTP wants it") << Fields{{"Last-Modified", kDay}} << day();
    QTest::newRow("its name in small letters") << Fields{{"last-modified", kDay}} << day();
    QTest::newRow("its name in capitals") << Fields{{"LAST-MODIFIED", kDay}} << day();
    QTest::newRow("with a zone") << Fields{{"Last-Modified", "Mon, 01 Jan 2024 12:00:00 +0200"}} << day();
    QTest::newRow("as C writes it") << Fields{{"Last-Modified", "Mon Jan 1 10:00:00 2024"}} << day();
    QTest::newRow("no date") << Fields{{"Last-Modified", "yesterday"}} << QDateTime();
}

void TestResourceIdentity::datesAreReadAsServersWriteThem()
{
    QFETCH(Fields, fields);
    QTEST(of(fields).lastModified, "date");
}

void TestResourceIdentity::theTotalIsThatOfTheWhole_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<Fields>("fields");
    QTest::addColumn<qint64>("total");
    QTest::newRow("length of the whole") << 200 << Fields{{"Content-Length", "10"}} << qint64(10);
    QTest::newRow("an empty whole") << 200 << Fields{{"Content-Length", "0"}} << qint64(0);
    QTest::newRow("a whole of no length") << 200 << Fields{} << qint64(-1);
    QTest::newRow("a length below zero") << 200 << Fields{{"Content-Length", "-5"}} << qint64(-1);
    QTest::newRow("a length that is none") << 200 << Fields{{"Content-Length", "ten"}} << qint64(-1);
    QTest::newRow("a part") << 206 << Fields{{"Content-Length", "6"}, {"Content-Range", "bytes 4-9/10"}} << qint64(10);
    QTest::newRow("a part of nobody knows how much")
        << 206 << Fields{{"Content-Length", "6"}, {"Content-Range", "bytes 4-9/*"}} << qint64(-1);
    QTest::newRow("a part without its place") << 206 << Fields{{"Content-Length", "6"}} << qint64(-1);
}

void TestResourceIdentity::theTotalIsThatOfTheWhole()
{
    QFETCH(int, status);
    QFETCH(Fields, fields);
    QTEST(of(fields, status).total, "total");
}

void TestResourceIdentity::theDigestIsThatOfTheWhole_data()
{
    QTest::addColumn<Fields>("fields");
    QTest::addColumn<QByteArray>("digest");
    QTest::newRow("none") << Fields{} << QByteArray();
    const QByteArray older = "sha-256=" + kSha256;
    const QByteArray newer = "sha-256=:" + kSha256 + ":;p=1";
    QTest::newRow("the older field") << Fields{{"Digest", older}} << older;
    QTest::newRow("the newer field") << Fields{{"repr-digest", newer}} << newer;
    QTest::newRow("both") << Fields{{"Digest", kMd5}, {"Repr-Digest", newer}} << newer;
    QTest::newRow("both, and one is not understood")
        << Fields{{"Digest", kMd5}, {"Repr-Digest", "crc32c=:AAAAAA==:"}} << kMd5;
    QTest::newRow("one that is not understood") << Fields{{"Digest", "sha-256=aGk="}} << QByteArray();
    QTest::newRow("that of the part") << Fields{{"Content-Digest", newer}} << QByteArray();
}

void TestResourceIdentity::theDigestIsThatOfTheWhole()
{
    QFETCH(Fields, fields);
    QTEST(of(fields).digest, "digest");
}

void TestResourceIdentity::whatContradicts_data()
{
    QTest::addColumn<Fields>("before");
    QTest::addColumn<Fields>("now");
    QTest::addColumn<QString>("what"); // the contradiction begins so; empty = there is none
    const QString none;
    const auto row = [](const char *name, const Fields &before, const Fields &now, const QString &what) {
        QTest::newRow(name) << before << now << what;
    };
    const auto etag = [](const QByteArray &value) { return Fields{{"ETag", value}}; };
    const auto date = [](const QByteArray &value) { return Fields{{"Last-Modified", value}}; };
    const auto size = [](const QByteArray &value) { return Fields{{"Content-Length", value}}; };
    const auto digest = [](const QByteArray &value) { return Fields{{"Digest", value}}; };

    row("nothing is said", {}, {}, none);
    row("the same ETag", etag("\"a\""), etag("\"a\""), none);
    row("another ETag", etag("\"a\""), etag("\"b\""), u"its ETag is \"b\", and was \"a\""_s);
    row("another weak ETag", etag("W/\"a\""), etag("W/\"b\""), u"its ETag is \"b\", and was \"a\""_s);
    row("an ETag that became weak", etag("\"a\""), etag("W/\"a\""), none);
    row("an ETag that became strong", etag("W/\"a\""), etag("\"a\""), none);
    row("one that became weak, and another", etag("\"a\""), etag("W/\"b\""), u"its ETag is \"b\", and was \"a\""_s);
    row("an ETag that differs by a letter's case", etag("\"a\""), etag("\"A\""), u"its ETag is"_s);
    row("an ETag that appeared", {}, etag("\"a\""), none);
    row("an ETag that vanished", etag("\"a\""), {}, none);

    row("the same date", date(kDay), date(kDay), none);
    row("another date", date(kDay), date(kNextDay), u"its date is 2024-01-02T10:00:00Z, and was 2024-01-01"_s);
    row("the same date in another zone", date(kDay), date("Mon, 01 Jan 2024 12:00:00 +0200"), none);
    row("a date that appeared", {}, date(kDay), none);
    row("a date that vanished", date(kDay), {}, none);
    row("another date under a strong ETag", etag("\"a\"") + date(kDay), etag("\"a\"") + date(kNextDay), none);
    row("another date under a weak ETag", etag("W/\"a\"") + date(kDay), etag("W/\"a\"") + date(kNextDay),
        u"its date is"_s);
    row("another date, and the ETag became weak", etag("\"a\"") + date(kDay), etag("W/\"a\"") + date(kNextDay),
        u"its date is"_s);
    row("another date, and the ETag vanished", etag("\"a\"") + date(kDay), date(kNextDay), u"its date is"_s);

    row("the same size", size("10"), size("10"), none);
    row("another size", size("10"), size("11"), u"its size is 11 bytes, and was 10"_s);
    row("another size under a strong ETag", etag("\"a\"") + size("10"), etag("\"a\"") + size("11"), u"its size is"_s);
    row("a size that was not known", {}, size("10"), none);
    row("a size that is not known any more", size("10"), {}, none);
    row("an empty file that is no more", size("0"), size("1"), u"its size is 1 bytes, and was 0"_s);

    const auto newer = [](const QByteArray &value) { return Fields{{"Repr-Digest", value}}; };
    const QByteArray sha256 = "sha-256=" + kSha256;
    row("the same digest", digest(kMd5), digest(kMd5), none);
    row("another digest", digest(kMd5), digest(kOtherMd5),
        u"its digest is %1, and was %2"_s.arg(QString::fromLatin1(kOtherMd5), QString::fromLatin1(kMd5)));
    row("another digest of another algorithm", digest(kMd5), digest("sha-256=" + kOtherSha256), none);
    row("one of several digests is another", digest(kMd5 + ", " + sha256),
        digest("sha-256=" + kOtherSha256 + ',' + kMd5), u"its digest is"_s);
    row("an algorithm in capitals", digest("SHA-256=" + kSha256), digest(sha256), none);
    row("the same digest in the newer field", digest(sha256), newer("sha-256=:" + kSha256 + ":"), none);
    row("the same digest with a parameter", newer("sha-256=:" + kSha256 + ":"), newer("sha-256=:" + kSha256 + ":;p=1"),
        none);
    row("the same digest without its padding", digest(sha256), digest(sha256.chopped(1)), none);
    row("another digest behind a parameter", newer("sha-256=:" + kSha256 + ":;p=1"),
        newer("sha-256=:" + kOtherSha256 + ":;p=1"), u"its digest is"_s);
    row("digests that are none", digest("eA"), digest("eQ"), none);
}

void TestResourceIdentity::whatContradicts()
{
    QFETCH(Fields, before);
    QFETCH(Fields, now);
    QFETCH(QString, what);
    const QString found = of(before).contradiction(of(now));
    QVERIFY2(what.isEmpty() ? found.isEmpty() : found.startsWith(what), qPrintable(found));
}

void TestResourceIdentity::longValuesAreSaidInShort()
{
    const ResourceIdentity before = of({{"ETag", QByteArray(10000, 'a')}});
    const QString found = before.contradiction(of({{"ETag", QByteArray(10000, 'b')}}));
    QVERIFY2(found.size() < 250 && found.contains(u"bbb…, and was aaa"_s), qPrintable(found));
}

void TestResourceIdentity::aDateThatMeansNothingIsTold()
{
    const ResourceIdentity before = of({{"ETag", "\"a\""}, {"Last-Modified", kDay}});
    QVERIFY(before.hasOtherDate(of({{"ETag", "\"a\""}, {"Last-Modified", kNextDay}})));
    QVERIFY(!before.hasOtherDate(of({{"ETag", "\"a\""}, {"Last-Modified", kDay}})));
    QVERIFY(!before.hasOtherDate(of({{"ETag", "W/\"a\""}, {"Last-Modified", kNextDay}})));
    QVERIFY(!before.hasOtherDate(of({{"ETag", "\"a\""}})));
}

void TestResourceIdentity::aValidatorIsWhatChangesWithTheResource_data()
{
    QTest::addColumn<Fields>("fields");
    QTest::addColumn<bool>("hasValidator");
    QTest::newRow("nothing") << Fields{} << false;
    QTest::newRow("a size") << Fields{{"Content-Length", "1"}} << false;
    QTest::newRow("a strong ETag") << Fields{{"ETag", "\"a\""}} << true;
    QTest::newRow("a weak ETag") << Fields{{"ETag", "W/\"a\""}} << true;
    QTest::newRow("a date") << Fields{{"Last-Modified", kDay}} << true;
}

void TestResourceIdentity::aValidatorIsWhatChangesWithTheResource()
{
    QFETCH(Fields, fields);
    QTEST(of(fields).hasValidator(), "hasValidator");
}

void TestResourceIdentity::whatIsKnownIsCompletedAndNotReplaced()
{
    const ResourceIdentity full =
        of({{"ETag", "\"a\""}, {"Last-Modified", kDay}, {"Content-Length", "10"}, {"Digest", kMd5}});
    const ResourceIdentity other =
        of({{"ETag", "\"b\""}, {"Last-Modified", kNextDay}, {"Content-Length", "11"}, {"Digest", kOtherMd5}});
    QCOMPARE(ResourceIdentity().completed(full), full);
    QCOMPARE(full.completed(other), full);
    QCOMPARE(of({{"ETag", "W/\"a\""}}).completed(full).etag, "\"a\""_ba);
    QCOMPARE(of({{"ETag", "W/\"a\""}}).completed(full).weakEtag, "\"a\""_ba);
}

QTEST_GUILESS_MAIN(TestResourceIdentity)

#include "tst_resourceidentity.moc"
