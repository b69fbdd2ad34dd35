// SPDX-License-Identifier: MIT
#include <host/network/bodyframing.h>

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

using BodyFraming::End;
using BodyFraming::Plan;
using Fields = QList<AnswerHead::Field>;
constexpr qint64 kUnknown = -1;

AnswerHead headOf(const QByteArray &statusLine, const QByteArrayList &fields)
{
    AnswerHead head;
    head.addLine(statusLine + "\r\n");
    for (const QByteArray &field : fields)
        head.addLine(field + "\r\n");
    head.addLine("\r\n");
    return head;
}

AnswerHead headOf(int status, const QByteArrayList &fields)
{
    return headOf("HTTP/1.1 " + QByteArray::number(status) + " Reason", fields);
}

}

Q_DECLARE_METATYPE(BodyFraming::End)
Q_DECLARE_METATYPE(Fields)

class TestBodyFraming : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whereTheBodyEnds_data();
    void whereTheBodyEnds();
    void whetherTheConnectionMayBeUsedAgain_data();
    void whetherTheConnectionMayBeUsedAgain();
    void whatPieceIsTaken_data();
    void whatPieceIsTaken();
    void whatIsRefused_data();
    void whatIsRefused();
    void whatIsHandedOn_data();
    void whatIsHandedOn();
};

void TestBodyFraming::whereTheBodyEnds_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArrayList>("fields");
    QTest::addColumn<BodyFraming::End>("end");
    QTest::addColumn<qint64>("length");
    const auto row = [](const char *name, int status, const QByteArrayList &fields, End end, qint64 length) {
        QTest::newRow(name) << status << fields << end << length;
    };
    row("a length", 200, {"Content-Length: 5"}, End::Length, 5);
    row("a length of nothing", 200, {"Content-Length: 0"}, End::Length, 0);
    row("the largest length", 200, {"Content-Length: 9223372036854775807"}, End::Length,
        Q_INT64_C(9223372036854775807));
    row("leading zeros", 200, {"Content-Length: 00000000000000000000000005"}, End::Length, 5);
    row("equal lengths in one field", 200, {"Content-Length: 5, 5"}, End::Length, 5);
    row("equal lengths in two fields", 200, {"Content-Length: 5", "content-length: 5"}, End::Length, 5);
    row("lengths that are equal as numbers", 200, {"Content-Length: 5,05", "Content-Length: 005"}, End::Length, 5);
    row("no word on it", 200, {}, End::Close, kUnknown);
    row("a length of an error's text", 404, {"Content-Length: 5"}, End::Length, 5);
    row("a redirect without a word on it", 302, {"Location: /"}, End::Close, kUnknown);
    row("chunks", 200, {"Transfer-Encoding: chunked"}, End::Chunked, kUnknown);
    row("chunks in capitals", 200, {"TRANSFER-ENCODING: CHUNKED"}, End::Chunked, kUnknown);
    row("chunks among empty members", 200, {"Transfer-Encoding: , chunked,"}, End::Chunked, kUnknown);
    row("chunks beside a length", 200, {"Content-Length: 5", "Transfer-Encoding: chunked"}, End::Chunked, kUnknown);
    row("chunks beside two lengths", 200, {"Transfer-Encoding: chunked", "Content-Length: 5, 6"}, End::Chunked,
        kUnknown);
    row("chunks beside a length that is none", 200, {"Transfer-Encoding: chunked", "Content-Length: x"}, End::Chunked,
        kUnknown);
    row("no coding by name", 200, {"Transfer-Encoding: identity", "Content-Length: 5"}, End::Length, 5);
    row("no coding by name, and no length", 200, {"Transfer-Encoding: Identity"}, End::Close, kUnknown);
    row("an empty coding", 200, {"Transfer-Encoding:", "Content-Length: 5"}, End::Length, 5);
    row("no content", 204, {}, End::NoBody, 0);
    row("no content with a length", 204, {"Content-Length: 5"}, End::NoBody, 0);
    row("no content with a length that is none", 204, {"Content-Length: x"}, End::NoBody, 0);
    row("no content in chunks", 204, {"Transfer-Encoding: chunked"}, End::NoBody, 0);
    row("no content in a coding that nobody knows", 204, {"Transfer-Encoding: x"}, End::NoBody, 0);
    row("not modified, with the length of the file", 304, {"Content-Length: 5"}, End::NoBody, 0);
    row("not modified, in chunks", 304, {"Transfer-Encoding: chunked"}, End::NoBody, 0);
    row("a text with which to begin anew", 205, {"Content-Length: 5"}, End::Length, 5);
}

void TestBodyFraming::whereTheBodyEnds()
{
    QFETCH(int, status);
    QFETCH(QByteArrayList, fields);
    const Plan plan = BodyFraming::planFor(headOf(status, fields), {});
    QCOMPARE(plan.complaint, QString());
    QTEST(plan.end, "end");
    QTEST(plan.length, "length");
}

void TestBodyFraming::whetherTheConnectionMayBeUsedAgain_data()
{
    QTest::addColumn<QByteArray>("statusLine");
    QTest::addColumn<QByteArrayList>("fields");
    QTest::addColumn<bool>("mayReuse");
    const auto row = [](const char *name, const QByteArray &version, const QByteArrayList &fields, bool mayReuse) {
        QTest::newRow(name) << "HTTP/" + version << fields << mayReuse;
    };
    row("a length", "1.1 200", {"Content-Length: 5"}, true);
    row("equal lengths", "1.1 200", {"Content-Length: 5, 5"}, true);
    row("chunks", "1.1 200", {"Transfer-Encoding: chunked"}, true);
    row("chunks beside a length", "1.1 200", {"Transfer-Encoding: chunked", "Content-Length: 5"}, false);
    row("no word on where it ends", "1.1 200", {}, false);
    row("it is to be closed", "1.1 200", {"Content-Length: 5", "Connection: x, Close"}, false);
    row("the old version", "1.0 200", {"Content-Length: 5"}, false);
    row("the old version that keeps it", "1.0 200", {"Content-Length: 5", "Connection: Keep-Alive"}, true);
    row("chunks in the old version", "1.0 200", {"Transfer-Encoding: chunked", "Connection: keep-alive"}, false);
    row("no content", "1.1 204", {}, true);
    row("no content, of no length", "1.1 204", {"Content-Length: 0"}, true);
    row("no content, with a length", "1.1 204", {"Content-Length: 5"}, false);
    row("no content, with a length that is none", "1.1 204", {"Content-Length: x"}, false);
    row("no content, in chunks", "1.1 204", {"Transfer-Encoding: chunked"}, false);
    row("no content, then closed", "1.1 204", {"Connection: close"}, false);
    row("not modified, with the length of the file", "1.1 304", {"Content-Length: 5"}, true);
    row("not modified, with a length that is none", "1.1 304", {"Content-Length: x"}, false);
    row("what cannot be read", "1.1 200", {"Content-Length: x"}, false);
}

void TestBodyFraming::whetherTheConnectionMayBeUsedAgain()
{
    QFETCH(QByteArray, statusLine);
    QFETCH(QByteArrayList, fields);
    QTEST(BodyFraming::planFor(headOf(statusLine, fields), {}).mayReuse, "mayReuse");
}

void TestBodyFraming::whatPieceIsTaken_data()
{
    QTest::addColumn<QByteArray>("range");
    QTest::addColumn<QByteArrayList>("fields");
    QTest::addColumn<BodyFraming::End>("end");
    QTest::addColumn<qint64>("length");
    const auto row = [](const char *name, const QByteArray &range, const QByteArrayList &fields, End end,
                        qint64 length) { QTest::newRow(name) << range << fields << end << length; };
    row("the rest of the file", "bytes=10-", {"Content-Range: bytes 10-99/100", "Content-Length: 90"}, End::Length, 90);
    row("a piece of it", "bytes=10-19", {"Content-Range: bytes 10-19/100", "Content-Length: 10"}, End::Length, 10);
    row("less than was asked for", "bytes=10-", {"Content-Range: bytes 10-19/*", "Content-Length: 10"}, End::Length,
        10);
    row("one byte", "bytes=0-0", {"Content-Range: bytes 0-0/100", "Content-Length: 1"}, End::Length, 1);
    row("without a length", "bytes=10-", {"Content-Range: bytes 10-99/100"}, End::Close, 90);
    row("in chunks", "bytes=10-", {"Content-Range: bytes 10-99/100", "Transfer-Encoding: chunked"}, End::Chunked, 90);
    row("in chunks beside a wrong length", "bytes=10-",
        {"Content-Range: bytes 10-99/100", "Transfer-Encoding: chunked", "Content-Length: 5"}, End::Chunked, 90);
    row("said twice", "bytes=10-", {"Content-Range: bytes 10-99/100", "content-range:  bytes 10-99/100"}, End::Close,
        90);
    row("the last bytes", "bytes=-5", {"Content-Range: bytes 95-99/100", "Content-Length: 5"}, End::Length, 5);
    row("the whole that nobody asked to be a piece", "", {"Content-Range: bytes 0-99/100"}, End::Close, 100);
}

void TestBodyFraming::whatPieceIsTaken()
{
    QFETCH(QByteArray, range);
    QFETCH(QByteArrayList, fields);
    const Plan plan = BodyFraming::planFor(headOf(206, fields), range);
    QCOMPARE(plan.complaint, QString());
    QTEST(plan.end, "end");
    QTEST(plan.length, "length");
    QVERIFY(!plan.withheld.contains("content-range"));
}

void TestBodyFraming::whatIsRefused_data()
{
    QTest::addColumn<QByteArray>("statusLine");
    QTest::addColumn<QByteArray>("range");
    QTest::addColumn<QByteArrayList>("fields");
    QTest::addColumn<QString>("said");
    const auto row = [](const char *name, const QByteArrayList &fields, const QString &said) {
        QTest::newRow(name) << QByteArray("HTTP/1.1 200 OK") << QByteArray() << fields << said;
    };
    const auto piece = [](const char *name, const QByteArray &range, const QByteArrayList &fields,
                          const QString &said) {
        QTest::newRow(name) << QByteArray("HTTP/1.1 206 Piece") << range << fields << said;
    };
    QTest::newRow("the next version") << QByteArray("HTTP/2 200") << QByteArray() << QByteArrayList() << u"HTTP/2"_s;
    QTest::newRow("the version before the first")
        << QByteArray("HTTP/0.9 204") << QByteArray() << QByteArrayList() << u"HTTP/0"_s;
    row("a coding that nobody takes off", {"Transfer-Encoding: gzip"}, u"\"gzip\""_s);
    row("chunks below another coding", {"Transfer-Encoding: gzip, chunked"}, u"\"gzip, chunked\""_s);
    row("chunks below another coding, in two fields", {"Transfer-Encoding: gzip", "Transfer-Encoding: chunked"},
        u"\"gzip, chunked\""_s);
    row("chunks above another coding", {"Transfer-Encoding: chunked, gzip"}, u"\"chunked, gzip\""_s);
    row("chunks in chunks", {"Transfer-Encoding: chunked, chunked"}, u"\"chunked, chunked\""_s);
    row("chunks and none", {"Transfer-Encoding: identity", "Transfer-Encoding: chunked"}, u"\"identity, chunked\""_s);
    row("none twice", {"Transfer-Encoding: identity, identity"}, u"\"identity, identity\""_s);
    row("chunks with a parameter", {"Transfer-Encoding: chunked;q=1"}, u"\"chunked;q=1\""_s);
    row("chunks in quotation marks", {"Transfer-Encoding: \"chunked\""}, u"chunked"_s);
    row("nearly chunks", {"Transfer-Encoding: xchunked"}, u"\"xchunked\""_s);
    row("chunks behind a control character",
        {"Transfer-Encoding: \x0b"
         "chunked"},
        u"chunked"_s);
    row("another coding beside a length", {"Transfer-Encoding: gzip", "Content-Length: 5"}, u"\"gzip\""_s);
    row("two lengths in one field", {"Content-Length: 9, 16"}, u"9 and 16 bytes"_s);
    row("two lengths in two fields", {"Content-Length: 16", "Content-Length: 9"}, u"16 and 9 bytes"_s);
    row("a length and none", {"Content-Length: 9", "Content-Length:"}, u"\"\""_s);
    row("an empty length", {"Content-Length:"}, u"\"\""_s);
    row("an empty member", {"Content-Length: 5,"}, u"\"\""_s);
    row("a length with a sign", {"Content-Length: +5"}, u"\"+5\""_s);
    row("a length below zero", {"Content-Length: -5"}, u"\"-5\""_s);
    row("a length that ends in a letter", {"Content-Length: 5x"}, u"\"5x\""_s);
    row("a length of two words", {"Content-Length: 5 5"}, u"\"5 5\""_s);
    row("a length that is folded", {"Content-Length: 5", " 5"}, u"\"5 5\""_s);
    row("a length with a point", {"Content-Length: 5.0"}, u"\"5.0\""_s);
    row("a length with another base", {"Content-Length: 0x5"}, u"\"0x5\""_s);
    row("a length parted by a semicolon", {"Content-Length: 5;5"}, u"\"5;5\""_s);
    row("a length of 2^63", {"Content-Length: 9223372036854775808"}, u"\"9223372036854775808\""_s);
    row("a length of 2^64 and five", {"Content-Length: 18446744073709551621"}, u"\"18446744073709551621\""_s);
    const QByteArray sound = "Content-Range: bytes 10-19/100";
    piece("another piece than was asked for", "bytes=11-", {sound}, u"\"bytes 10-19/100\""_s);
    piece("no word on which piece", "bytes=10-", {}, u"no Content-Range"_s);
    piece("a word that is none", "bytes=10-", {"Content-Range: bytes 10/100"}, u"no byte range"_s);
    piece("a range that was not met", "bytes=10-", {"Content-Range: bytes */100"}, u"no byte range"_s);
    piece("an end behind the total", "bytes=10-", {"Content-Range: bytes 10-100/100"}, u"contradicts itself"_s);
    piece("an end before the start", "bytes=10-", {"Content-Range: bytes 10-9/100"}, u"contradicts itself"_s);
    piece("an end where no file has one", "bytes=0-", {"Content-Range: bytes 0-9223372036854775807/*"},
          u"contradicts"_s);
    piece("a length that is too short", "bytes=10-", {sound, "Content-Length: 9"}, u"9 bytes"_s);
    piece("a length that is too long", "bytes=10-", {"Content-Length: 11", sound}, u"11 bytes"_s);
    piece("a length of the whole", "bytes=10-", {"Content-Length: 100", sound}, u"contradicts itself"_s);
    piece("two words on which piece", "bytes=10-", {sound, "Content-Range: bytes 10-18/100"}, u"says twice"_s);
    piece("two words in one field", "bytes=10-", {"Content-Range: bytes 10-19/100, bytes 10-19/100"},
          u"no byte range"_s);
    piece("several pieces", "bytes=10-", {"Content-Type: Multipart/Byteranges; boundary=x"}, u"several pieces"_s);
    piece("several pieces that are said to be one", "bytes=10-", {sound, "Content-Type: multipart/byteranges"},
          u"several pieces"_s);
    piece("a piece that nobody asked for", "", {sound}, u"where the whole was asked for"_s);
    piece("an end that nobody asked for", "", {"Content-Range: bytes 10-99/100"}, u"where the whole was"_s);
    piece("a beginning that nobody asked for", "", {"Content-Range: bytes 0-98/100"}, u"where the whole was"_s);
    piece("perhaps the whole", "", {"Content-Range: bytes 0-99/*"}, u"where the whole was asked for"_s);
    piece("no word on which piece, and none was asked for", "", {}, u"without a sound word"_s);
    piece("a piece of which nobody can tell whether it is the one", "bytes=-5", {}, u"without a sound word"_s);
    piece("a contradiction where the last bytes were asked for", "bytes=-5", {"Content-Range: bytes 95-100/100"},
          u"without a sound word"_s);
    piece("a piece in a coding that nobody takes off", "bytes=10-", {sound, "Transfer-Encoding: x"}, u"\"x\""_s);
}

void TestBodyFraming::whatIsRefused()
{
    QFETCH(QByteArray, statusLine);
    QFETCH(QByteArray, range);
    QFETCH(QByteArrayList, fields);
    QFETCH(QString, said);
    const AnswerHead head = headOf(statusLine, fields);
    QVERIFY(head.isComplete());
    const QString complaint = BodyFraming::planFor(head, range).complaint;
    QVERIFY2(complaint.contains(said), qPrintable(complaint));
    QVERIFY2(complaint.startsWith(u"The server"_s) && complaint.endsWith(u'.'), qPrintable(complaint));
}

void TestBodyFraming::whatIsHandedOn_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("range");
    QTest::addColumn<QByteArrayList>("fields");
    QTest::addColumn<Fields>("handedOn");
    const auto row = [](const char *name, int status, const QByteArray &range, const QByteArrayList &fields,
                        const Fields &handedOn) { QTest::newRow(name) << status << range << fields << handedOn; };
    row("what is sound, joined", 200, "", {"A: 1", "Content-Length: 5", "a: 2"},
        {{"A", "1, 2"}, {"Content-Length", "5"}});
    row("one of several lengths", 200, "", {"Content-Length: 05, 5", "Content-Length: 5"}, {{"Content-Length", "5"}});
    row("chunks, but no length beside them", 200, "", {"Content-Length: 5", "Transfer-Encoding: chunked"},
        {{"Transfer-Encoding", "chunked"}});
    row("no coding that is none", 200, "", {"Transfer-Encoding: identity", "A: 1"}, {{"A", "1"}});
    row("no range in a whole file", 200, "bytes=0-4", {"Content-Range: bytes 0-4/10", "A: 1"}, {{"A", "1"}});
    row("no range in an error", 404, "bytes=5-", {"content-range: bytes */10"}, {});
    row("no range in a redirect", 302, "bytes=5-", {"Content-Range: bytes 5-9/10"}, {});
    row("one of two equal ranges", 206, "bytes=5-", {"Content-Range: bytes 5-9/10", "Content-Range: bytes 5-9/10"},
        {{"Content-Range", "bytes 5-9/10"}});
    row("the total where a range was not met", 416, "bytes=20-", {"Content-Range: bytes */10"},
        {{"Content-Range", "bytes */10"}});
    row("one of two equal totals", 416, "bytes=20-", {"Content-Range: bytes */10", "Content-Range: bytes */10"},
        {{"Content-Range", "bytes */10"}});
    row("no two totals", 416, "bytes=20-", {"Content-Range: bytes */10", "Content-Range: bytes */11"}, {});
    row("no piece where a range was not met", 416, "bytes=20-", {"Content-Range: bytes 0-9/10"}, {});
    row("no unknown total where a range was not met", 416, "bytes=20-", {"Content-Range: bytes */*"}, {});
    row("no length of no content", 204, "", {"Content-Length: 5", "Transfer-Encoding: chunked", "A: 1"}, {{"A", "1"}});
    row("the length of what was not modified", 304, "", {"Content-Length: 5", "A: 1"},
        {{"Content-Length", "5"}, {"A", "1"}});
    row("no two lengths of what was not modified", 304, "", {"Content-Length: 5, 6", "A: 1"}, {{"A", "1"}});
}

void TestBodyFraming::whatIsHandedOn()
{
    QFETCH(int, status);
    QFETCH(QByteArray, range);
    QFETCH(QByteArrayList, fields);
    const AnswerHead head = headOf(status, fields);
    const Plan plan = BodyFraming::planFor(head, range);
    QCOMPARE(plan.complaint, QString());
    QTEST(BodyFraming::handedOn(head, plan), "handedOn");
}

QTEST_GUILESS_MAIN(TestBodyFraming)
#include "tst_bodyframing.moc"
