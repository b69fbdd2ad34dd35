// SPDX-License-Identifier: MIT
#include <inet/qt/download/response/httpheadersparser.h>

#include <QTest>
#include <QTimeZone>

#include <limits>

using namespace Qt::StringLiterals;

using Headers = QList<std::pair<QByteArray, QByteArray>>;
Q_DECLARE_METATYPE(Headers)

namespace
{

constexpr int kUnhandled = 0;
constexpr int kNone = 1;
constexpr int kGzip = 2;
constexpr int kDeflate = 3;

constexpr int kRefused = 0;
constexpr int kAccepted = 1;
constexpr int kUnknown = 2;

} // namespace

class TestHttpHeadersParser : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void anEmptyListHasAnAnswerToEverything();
    void headersAreKeptInOrderWithDuplicates();
    void setHeadersReplacesTheList();
    void copiesAreIndependent();
    void sharedNames();
    void fixedResultsKeepTheirValues();
    void headerLookup_data();
    void headerLookup();
    void queriesForOneHeader_data();
    void queriesForOneHeader();
    void contentTypeIsLatin1();
    void mimeFromContentType_data();
    void mimeFromContentType();
    void mimeOfAnEmptyTypeIsReturnedAsItIs();
    void etag_data();
    void etag();
    void etagIsNullWhenThereIsNone();
    void contentEncoding_data();
    void contentEncoding();
    void resourceSize_data();
    void resourceSize();
    void acceptRanges_data();
    void acceptRanges();
    void lastModified_data();
    void lastModified();
    void lastModifiedThatCannotBeRead_data();
    void lastModifiedThatCannotBeRead();
    void longHostileValuesAreAnswered_data();
    void longHostileValuesAreAnswered();
};

void TestHttpHeadersParser::anEmptyListHasAnAnswerToEverything()
{
    const HttpHeadersParser parser(Headers{});
    QVERIFY(!parser.isValid());
    QVERIFY(parser.headers().isEmpty());
    QVERIFY(parser.headerValueByName("Server").isEmpty());
    QVERIFY(!parser.hasHeader("Server"));
    QVERIFY(!parser.hasHeader(QByteArray()));
    QVERIFY(parser.contentTypeHeader().isEmpty());
    QVERIFY(parser.etag().isNull());
    QCOMPARE(parser.contentEncoding(), kNone);
    QCOMPARE(parser.resourceSize(), -1);
    QCOMPARE(parser.acceptRanges(), kUnknown);
    QVERIFY(parser.lastModifiedDate().isNull());
}

void TestHttpHeadersParser::headersAreKeptInOrderWithDuplicates()
{
    const Headers headers = {{"B", "1"}, {"A", "2"}, {"B", "1"}, {"", ""}};
    const HttpHeadersParser parser(headers);
    QVERIFY(parser.isValid());
    QCOMPARE(parser.headers(), headers);
}

void TestHttpHeadersParser::setHeadersReplacesTheList()
{
    HttpHeadersParser parser(Headers{{"Content-Length", "5"}});
    parser.setHeaders({{"Content-Length", "7"}});
    QCOMPARE(parser.resourceSize(), 7);
    parser.setHeaders({});
    QVERIFY(!parser.isValid());
    QCOMPARE(parser.resourceSize(), -1);
}

void TestHttpHeadersParser::copiesAreIndependent()
{
    const HttpHeadersParser first(Headers{{"Content-Length", "5"}});
    HttpHeadersParser second = first;
    second.setHeaders({{"Content-Length", "7"}});
    QCOMPARE(first.resourceSize(), 5);
    QCOMPARE(second.resourceSize(), 7);
}

void TestHttpHeadersParser::sharedNames()
{
    QCOMPARE(HttpHeadersParser::RangeHeader, QByteArray("Range"));
    QCOMPARE(HttpHeadersParser::RefererHeader, QByteArray("Referer"));
    QCOMPARE(HttpHeadersParser::ContentTypeHeader, QByteArray("Content-Type"));
    QCOMPARE(HttpHeadersParser::ContentLengthHeader, QByteArray("Content-Length"));
    QCOMPARE(HttpHeadersParser::ContentRangeHeader, QByteArray("Content-Range"));
    QCOMPARE(HttpHeadersParser::ContentEncodingHeader, QByteArray("Content-Encoding"));
    QCOMPARE(HttpHeadersParser::LocationHeader, QByteArray("Location"));
    QCOMPARE(HttpHeadersParser::LastModifiedHeader, QByteArray("Last-Modified"));
    QCOMPARE(HttpHeadersParser::CookieHeader, QByteArray("Cookie"));
    QCOMPARE(HttpHeadersParser::SetCookieHeader, QByteArray("Set-Cookie"));
    QCOMPARE(HttpHeadersParser::ContentDispositionHeader, QByteArray("Content-Disposition"));
    QCOMPARE(HttpHeadersParser::UserAgentHeader, QByteArray("User-Agent"));
    QCOMPARE(HttpHeadersParser::ServerHeader, QByteArray("Server"));
    QCOMPARE(HttpHeadersParser::AcceptRangesHeader, QByteArray("Accept-Ranges"));
    QVERIFY(HttpHeadersParser::m_mimeDatabase.mimeTypeForName(u"text/html"_s).isValid());
}

void TestHttpHeadersParser::fixedResultsKeepTheirValues()
{
    QCOMPARE(int(HttpHeadersParser::kUnhandledEncoding), kUnhandled);
    QCOMPARE(int(HttpHeadersParser::kNoEncoding), kNone);
    QCOMPARE(int(HttpHeadersParser::kGzipEncoding), kGzip);
    QCOMPARE(int(HttpHeadersParser::kDeflateEncoding), kDeflate);
    QCOMPARE(int(HttpHeadersParser::kRangesNotAccepted), kRefused);
    QCOMPARE(int(HttpHeadersParser::kRangesAccepted), kAccepted);
    QCOMPARE(int(HttpHeadersParser::kRangesUnknown), kUnknown);
}

void TestHttpHeadersParser::headerLookup_data()
{
    QTest::addColumn<Headers>("headers");
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<bool>("present");

    const Headers two = {{"Server", "one"}, {"SERVER", "two"}};
    QTest::newRow("a name is found as it stands") << two << QByteArray("Server") << QByteArray("one") << true;
    QTest::newRow("case is ignored and the first wins") << two << QByteArray("sErVeR") << QByteArray("one") << true;
    QTest::newRow("another name is not found") << two << QByteArray("Serve") << QByteArray() << false;
    QTest::newRow("a value is not trimmed")
        << Headers{{"X", "  a b\t"}} << QByteArray("x") << QByteArray("  a b\t") << true;
    QTest::newRow("a value of blanks is present") << Headers{{"X", " "}} << QByteArray("X") << QByteArray(" ") << true;
    QTest::newRow("an empty value counts as absent") << Headers{{"X", ""}} << QByteArray("X") << QByteArray() << false;
    QTest::newRow("an empty first value hides a later one")
        << Headers{{"X", ""}, {"X", "1"}} << QByteArray("X") << QByteArray() << false;
    QTest::newRow("a blank in the name is part of it")
        << Headers{{"X ", "1"}} << QByteArray("X") << QByteArray() << false;
    QTest::newRow("a name in Latin-1 is found in the other case")
        << Headers{{"X-\xC9", "1"}} << QByteArray("x-\xE9") << QByteArray("1") << true;
    QTest::newRow("a zero in the name is part of it")
        << Headers{{QByteArray("X\0Y", 3), "1"}} << QByteArray("X") << QByteArray() << false;
    QTest::newRow("an empty name is found if a header has one")
        << Headers{{"", "1"}} << QByteArray() << QByteArray("1") << true;
}

void TestHttpHeadersParser::headerLookup()
{
    QFETCH(Headers, headers);
    QFETCH(QByteArray, name);
    const HttpHeadersParser parser(headers);
    QTEST(parser.headerValueByName(name), "value");
    QTEST(parser.hasHeader(name), "present");
}

void TestHttpHeadersParser::queriesForOneHeader_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<int>("asked");

    QTest::newRow("content type") << QByteArray("content-type") << 0;
    QTest::newRow("content length") << QByteArray("content-length") << 1;
    QTest::newRow("content range") << QByteArray("content-range") << 2;
    QTest::newRow("content encoding") << QByteArray("content-encoding") << 3;
    QTest::newRow("accept ranges") << QByteArray("accept-ranges") << 4;
    QTest::newRow("none of them") << QByteArray("content") << -1;
}

void TestHttpHeadersParser::queriesForOneHeader()
{
    QFETCH(QByteArray, name);
    QFETCH(int, asked);
    const HttpHeadersParser full(Headers{{name, "x"}});
    QCOMPARE(full.hasContentTypeHeader(), asked == 0);
    QCOMPARE(full.hasContentLengthHeader(), asked == 1);
    QCOMPARE(full.hasContentRangeHeader(), asked == 2);
    QCOMPARE(full.hasContentEncodingHeader(), asked == 3);
    QCOMPARE(full.hasAcceptRangesHeader(), asked == 4);

    const HttpHeadersParser empty(Headers{{name, ""}});
    QVERIFY(!empty.hasContentTypeHeader());
    QVERIFY(!empty.hasContentLengthHeader());
    QVERIFY(!empty.hasContentRangeHeader());
    QVERIFY(!empty.hasContentEncodingHeader());
    QVERIFY(!empty.hasAcceptRangesHeader());
}

void TestHttpHeadersParser::contentTypeIsLatin1()
{
    const HttpHeadersParser parser(Headers{{"content-type", " text/\xE9; a=b "}});
    QCOMPARE(parser.contentTypeHeader(), u" text/\u00E9; a=b "_s);
}

void TestHttpHeadersParser::mimeFromContentType_data()
{
    QTest::addColumn<QString>("contentType");
    QTest::addColumn<QString>("mime");

    QTest::newRow("parameters are cut off") << u"text/html; charset=UTF-8"_s << u"text/html"_s;
    QTest::newRow("parameters without a blank are cut off") << u"text/html;charset=UTF-8"_s << u"text/html"_s;
    QTest::newRow("a bare type stays") << u"application/zip"_s << u"application/zip"_s;
    QTest::newRow("leading white space is skipped") << u" \t text/html"_s << u"text/html"_s;
    QTest::newRow("a no-break space around the name is trimmed") << u"\u00A0text/html\u00A0; q=1"_s << u"text/html"_s;
    QTest::newRow("white space ends the name") << u"text/html charset"_s << u"text/html"_s;
    QTest::newRow("case is left alone") << u"Text/HTML"_s << u"Text/HTML"_s;
    QTest::newRow("only parameters give an empty name") << u"; charset=UTF-8"_s << QString();
    QTest::newRow("only white space gives an empty name") << u"  "_s << QString();
    QTest::newRow("an empty type stays empty") << QString() << QString();
    QTest::newRow("something that is no type is handed back") << u"??"_s << u"??"_s;
}

void TestHttpHeadersParser::mimeFromContentType()
{
    QFETCH(QString, contentType);
    QTEST(HttpHeadersParser::mimeFromContentType(contentType), "mime");
}

void TestHttpHeadersParser::mimeOfAnEmptyTypeIsReturnedAsItIs()
{
    QVERIFY(HttpHeadersParser::mimeFromContentType(QString()).isNull());
    QVERIFY(!HttpHeadersParser::mimeFromContentType(u""_s).isNull());
}

void TestHttpHeadersParser::etag_data()
{
    QTest::addColumn<Headers>("headers");
    QTest::addColumn<QString>("etag");

    QTest::newRow("quotes are kept") << Headers{{"ETag", "\"abc\""}} << u"\"abc\""_s;
    QTest::newRow("a weak prefix is kept") << Headers{{"ETag", "W/\"abc\""}} << u"W/\"abc\""_s;
    QTest::newRow("a tag without quotes stays") << Headers{{"ETag", "abc"}} << u"abc"_s;
    QTest::newRow("case of the name is ignored") << Headers{{"etag", "x"}} << u"x"_s;
    QTest::newRow("the first of two wins") << Headers{{"Etag", "1"}, {"ETag", "2"}} << u"1"_s;
    QTest::newRow("the value is Latin-1") << Headers{{"ETag", "\xE9"}} << u"\u00E9"_s;
}

void TestHttpHeadersParser::etag()
{
    QFETCH(Headers, headers);
    QTEST(HttpHeadersParser(headers).etag(), "etag");
}

void TestHttpHeadersParser::etagIsNullWhenThereIsNone()
{
    QVERIFY(HttpHeadersParser(Headers{{"Server", "x"}}).etag().isNull());
    QVERIFY(HttpHeadersParser(Headers{{"ETag", ""}}).etag().isNull());
}

void TestHttpHeadersParser::contentEncoding_data()
{
    QTest::addColumn<Headers>("headers");
    QTest::addColumn<int>("encoding");

    QTest::newRow("no header is no encoding") << Headers{{"Server", "x"}} << kNone;
    QTest::newRow("an empty header is no encoding") << Headers{{"Content-Encoding", ""}} << kNone;
    QTest::newRow("none is no encoding") << Headers{{"Content-Encoding", "none"}} << kNone;
    QTest::newRow("none in capitals is not known") << Headers{{"Content-Encoding", "None"}} << kUnhandled;
    QTest::newRow("gzip") << Headers{{"Content-Encoding", "gzip"}} << kGzip;
    QTest::newRow("gzip in any case") << Headers{{"content-encoding", "GZip"}} << kGzip;
    QTest::newRow("deflate") << Headers{{"Content-Encoding", "deflate"}} << kDeflate;
    QTest::newRow("deflate in any case") << Headers{{"CONTENT-ENCODING", "DEFLATE"}} << kDeflate;
    QTest::newRow("a list of codings is not handled") << Headers{{"Content-Encoding", "gzip, deflate"}} << kUnhandled;
    QTest::newRow("br is not handled") << Headers{{"Content-Encoding", "br"}} << kUnhandled;
    QTest::newRow("identity is not handled") << Headers{{"Content-Encoding", "identity"}} << kUnhandled;
    QTest::newRow("a blank before the name makes it another") << Headers{{"Content-Encoding", " gzip"}} << kUnhandled;
    QTest::newRow("a blank alone is not handled") << Headers{{"Content-Encoding", " "}} << kUnhandled;
    QTest::newRow("the first of two wins")
        << Headers{{"Content-Encoding", "gzip"}, {"Content-Encoding", "deflate"}} << kGzip;
}

void TestHttpHeadersParser::contentEncoding()
{
    QFETCH(Headers, headers);
    QTEST(HttpHeadersParser(headers).contentEncoding(), "encoding");
}

void TestHttpHeadersParser::resourceSize_data()
{
    QTest::addColumn<Headers>("headers");
    QTest::addColumn<qint64>("size");

    const auto length = [](const QByteArray &value) { return Headers{{"Content-Length", value}}; };
    const auto range = [](const QByteArray &value) {
        return Headers{{"Content-Length", "100"}, {"Content-Range", value}};
    };

    QTest::newRow("a length is the size") << length("1000") << qint64(1000);
    QTest::newRow("a length of nothing is known") << length("0") << qint64(0);
    QTest::newRow("a length beyond 32 bits is read") << length("5000000000") << qint64(5000000000);
    QTest::newRow("the largest length is read") << length("9223372036854775807") << std::numeric_limits<qint64>::max();
    QTest::newRow("a length that overflows is unknown") << length("9223372036854775808") << qint64(-1);
    QTest::newRow("the first of two lengths wins")
        << Headers{{"Content-Length", "5"}, {"Content-Length", "6"}} << qint64(5);
    QTest::newRow("two lengths joined are unknown") << length("5, 5") << qint64(-1);
    QTest::newRow("a negative length is unknown") << length("-5") << qint64(-1);
    QTest::newRow("a length with letters is unknown") << length("12abc") << qint64(-1);
    QTest::newRow("a hexadecimal length is unknown") << length("0x10") << qint64(-1);
    QTest::newRow("a length with leading zeros is decimal") << length("010") << qint64(10);
    QTest::newRow("a fraction is unknown") << length("1.5") << qint64(-1);
    QTest::newRow("an empty length is unknown") << length("") << qint64(-1);
    QTest::newRow("no length is unknown") << Headers{{"Server", "x"}} << qint64(-1);
    QTest::newRow("a range tells the whole size") << range("bytes 100-199/5000") << qint64(5000);
    QTest::newRow("a range of an unknown whole is unknown") << range("bytes 0-99/*") << qint64(-1);
    QTest::newRow("a range that was not satisfied tells the size") << range("bytes */5000") << qint64(5000);
    QTest::newRow("a range that is a bare number is the size") << range("5000") << qint64(5000);
    QTest::newRow("a range without a slash is unknown") << range("bytes 0-99") << qint64(-1);
    QTest::newRow("a range that ends with its slash is unknown") << range("bytes 0-99/") << qint64(-1);
    QTest::newRow("a range with two slashes is unknown") << range("bytes 0-99/50/60") << qint64(-1);
    QTest::newRow("a range with a negative size is unknown") << range("bytes 0-99/-100") << qint64(-1);
    QTest::newRow("an empty range leaves the length") << range("") << qint64(100);
    QTest::newRow("a gzip body does not tell the size")
        << Headers{{"Content-Encoding", "gzip"}, {"Content-Length", "1000"}} << qint64(-1);
    QTest::newRow("a coded part does not tell the size")
        << Headers{{"Content-Encoding", "deflate"}, {"Content-Range", "bytes 0-9/10"}} << qint64(-1);
    QTest::newRow("a coding not handled does not tell the size")
        << Headers{{"Content-Encoding", "br"}, {"Content-Length", "1000"}} << qint64(-1);
    QTest::newRow("the coding none leaves the size")
        << Headers{{"Content-Encoding", "none"}, {"Content-Length", "1000"}} << qint64(1000);
}

void TestHttpHeadersParser::resourceSize()
{
    QFETCH(Headers, headers);
    QTEST(HttpHeadersParser(headers).resourceSize(), "size");
}

void TestHttpHeadersParser::acceptRanges_data()
{
    QTest::addColumn<Headers>("headers");
    QTest::addColumn<int>("accept");

    const auto ranges = [](const QByteArray &value) { return Headers{{"Accept-Ranges", value}}; };

    QTest::newRow("bytes are accepted") << ranges("bytes") << kAccepted;
    QTest::newRow("names and values in any case are accepted") << Headers{{"accept-ranges", "BYTES"}} << kAccepted;
    QTest::newRow("bytes at the head of a list are accepted") << ranges("bytes, none") << kAccepted;
    QTest::newRow("bytes at the end of a list are accepted") << ranges("none, bytes") << kAccepted;
    QTest::newRow("bytes within a list are accepted") << ranges("a, bytes, b") << kAccepted;
    QTest::newRow("bytes between blanks are accepted") << ranges(" bytes ") << kAccepted;
    QTest::newRow("bytes in quotes are accepted") << ranges("\"bytes\"") << kAccepted;
    QTest::newRow("bytes said twice are accepted") << ranges("bytes, bytes") << kAccepted;
    QTest::newRow("bytes with a hyphen behind are accepted") << ranges("bytes-x") << kAccepted;
    QTest::newRow("none is a refusal") << ranges("none") << kRefused;
    QTest::newRow("bytes within a word are a refusal") << ranges("kilobytes") << kRefused;
    QTest::newRow("bytes with letters behind are a refusal") << ranges("bytesize") << kRefused;
    QTest::newRow("bytes with an underscore are a refusal") << ranges("bytes_") << kRefused;
    QTest::newRow("byte alone is a refusal") << ranges("byte") << kRefused;
    QTest::newRow("a blank value is a refusal") << ranges(" ") << kRefused;
    QTest::newRow("a refusal holds against a range in the answer")
        << Headers{{"Accept-Ranges", "none"}, {"Content-Range", "bytes 0-9/10"}} << kRefused;
    QTest::newRow("a range in the answer is acceptance") << Headers{{"Content-Range", "bytes 0-9/10"}} << kAccepted;
    QTest::newRow("a range of unknown size is acceptance") << Headers{{"Content-Range", "bytes 0-9/*"}} << kAccepted;
    QTest::newRow("an empty value counts as absent")
        << Headers{{"Accept-Ranges", ""}, {"Content-Range", "bytes 0-9/10"}} << kAccepted;
    QTest::newRow("a known size without a word on ranges is a refusal")
        << Headers{{"Content-Length", "10"}} << kRefused;
    QTest::newRow("a size of nothing without a word on ranges is a refusal")
        << Headers{{"Content-Length", "0"}} << kRefused;
    QTest::newRow("an unknown size without a word on ranges is unknown")
        << Headers{{"Content-Length", "x"}} << kUnknown;
    QTest::newRow("nothing said is unknown") << Headers{{"Server", "x"}} << kUnknown;
    QTest::newRow("a gzip body leaves it unknown")
        << Headers{{"Content-Encoding", "gzip"}, {"Content-Length", "1000"}} << kUnknown;
    QTest::newRow("a gzip body leaves it unknown whatever is promised")
        << Headers{{"Content-Encoding", "gzip"}, {"Accept-Ranges", "bytes"}} << kUnknown;
    QTest::newRow("a coding not handled leaves it unknown")
        << Headers{{"Content-Encoding", "br"}, {"Accept-Ranges", "none"}} << kUnknown;
    QTest::newRow("the first of two headers wins")
        << Headers{{"Accept-Ranges", "none"}, {"Accept-Ranges", "bytes"}} << kRefused;
}

void TestHttpHeadersParser::acceptRanges()
{
    QFETCH(Headers, headers);
    QTEST(HttpHeadersParser(headers).acceptRanges(), "accept");
}

void TestHttpHeadersParser::lastModified_data()
{
    QTest::addColumn<Headers>("headers");
    QTest::addColumn<QDateTime>("date");

    const QDateTime date(QDate(2015, 10, 21), QTime(7, 28, 0), Qt::UTC);
    const auto modified = [](const QByteArray &value) { return Headers{{"Last-Modified", value}}; };

    QTest::newRow("a date in GMT") << modified("Wed, 21 Oct 2015 07:28:00 GMT") << date;
    QTest::newRow("a date in UT") << modified("Wed, 21 Oct 2015 07:28:00 UT") << date;
    QTest::newRow("a date without a zone") << modified("Wed, 21 Oct 2015 07:28:00") << date;
    QTest::newRow("a date with a numeric zone") << modified("Wed, 21 Oct 2015 09:28:00 +0200") << date;
    QTest::newRow("a date without its weekday") << modified("21 Oct 2015 07:28:00 GMT") << date;
    QTest::newRow("the first of two wins") << Headers{{"Last-Modified", "Wed, 21 Oct 2015 07:28:00 GMT"},
                                                      {"Last-Modified", "Thu, 22 Oct 2015 07:28:00 GMT"}}
                                           << date;
    QTest::newRow("one spelled otherwise is passed over") << Headers{{"last-modified", "Thu, 22 Oct 2015 07:28:00 GMT"},
                                                                     {"Last-Modified", "Wed, 21 Oct 2015 07:28:00 GMT"}}
                                                          << date;
}

void TestHttpHeadersParser::lastModified()
{
    QFETCH(Headers, headers);
    QTEST(HttpHeadersParser(headers).lastModifiedDate(), "date");
}

void TestHttpHeadersParser::lastModifiedThatCannotBeRead_data()
{
    QTest::addColumn<Headers>("headers");

    QTest::newRow("no header") << Headers{{"Server", "x"}};
    QTest::newRow("a name in lower case is not found") << Headers{{"last-modified", "Wed, 21 Oct 2015 07:28:00 GMT"}};
    QTest::newRow("a name with one letter in lower case is not found")
        << Headers{{"Last-modified", "Wed, 21 Oct 2015 07:28:00 GMT"}};
    QTest::newRow("an empty value") << Headers{{"Last-Modified", ""}};
    QTest::newRow("an empty first value hides a later one")
        << Headers{{"Last-Modified", ""}, {"Last-Modified", "Wed, 21 Oct 2015 07:28:00 GMT"}};
    QTest::newRow("a zone alone") << Headers{{"Last-Modified", " GMT"}};
    QTest::newRow("a zone in lower case is not taken off")
        << Headers{{"Last-Modified", "Wed, 21 Oct 2015 07:28:00 gmt"}};
    QTest::newRow("a short zone in lower case is not taken off")
        << Headers{{"Last-Modified", "Wed, 21 Oct 2015 07:28:00 ut"}};
    QTest::newRow("no date at all") << Headers{{"Last-Modified", "yesterday"}};
    QTest::newRow("a day that does not exist") << Headers{{"Last-Modified", "Wed, 42 Oct 2015 07:28:00 GMT"}};
    QTest::newRow("bytes that are not UTF-8") << Headers{{"Last-Modified", "\xFF\xFE GMT"}};
    QTest::newRow("a long value") << Headers{{"Last-Modified", QByteArray(100000, '1')}};
}

void TestHttpHeadersParser::lastModifiedThatCannotBeRead()
{
    QFETCH(Headers, headers);
    QVERIFY(!HttpHeadersParser(headers).lastModifiedDate().isValid());
}

void TestHttpHeadersParser::longHostileValuesAreAnswered_data()
{
    QTest::addColumn<QByteArray>("value");

    QTest::newRow("blanks") << QByteArray(100000, ' ');
    QTest::newRow("commas") << QByteArray(100000, ',');
    QTest::newRow("digits") << QByteArray(100000, '9');
    QTest::newRow("slashes") << QByteArray(100000, '/');
    QTest::newRow("zeros") << QByteArray(100000, '\0');
    QTest::newRow("bytes beyond ASCII") << QByteArray(100000, '\xFF');
    QTest::newRow("a word nearly right, over and over") << QByteArray(" byte").repeated(20000);
    QTest::newRow("the right word glued together") << QByteArray("bytes").repeated(20000);
    QTest::newRow("line feeds") << QByteArray(100000, '\n');
}

void TestHttpHeadersParser::longHostileValuesAreAnswered()
{
    QFETCH(QByteArray, value);
    const HttpHeadersParser parser(Headers{{"Content-Type", value},
                                           {"Content-Length", value},
                                           {"Content-Range", value},
                                           {"Accept-Ranges", value},
                                           {"Last-Modified", value},
                                           {"ETag", value}});
    QCOMPARE(parser.resourceSize(), -1);
    QCOMPARE(parser.acceptRanges(), kRefused);
    QCOMPARE(parser.etag().size(), value.size());
    QVERIFY(!parser.lastModifiedDate().isValid());
    QVERIFY(HttpHeadersParser::mimeFromContentType(parser.contentTypeHeader()).size() <= value.size());

    const HttpHeadersParser coded(Headers{{"Content-Encoding", value}});
    QCOMPARE(coded.contentEncoding(), kUnhandled);
}

QTEST_GUILESS_MAIN(TestHttpHeadersParser)
#include "tst_httpheadersparser.moc"
