// SPDX-License-Identifier: MIT
#include <host/network/answerhead.h>

#include <QRandomGenerator>
#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

using Fields = QList<AnswerHead::Field>;

/// Each with its line end; the last may lack it.
QByteArrayList linesOf(const QByteArray &bytes)
{
    QByteArrayList result;
    for (qsizetype at = 0; at < bytes.size();) {
        const qsizetype end = bytes.indexOf('\n', at);
        const qsizetype next = end < 0 ? bytes.size() : end + 1;
        result += bytes.sliced(at, next - at);
        at = next;
    }
    return result;
}

/// The first complaint; empty = there was none.
QString feed(AnswerHead *head, const QByteArray &bytes)
{
    for (const QByteArray &line : linesOf(bytes)) {
        const QString complaint = head->addLine(line);
        if (!complaint.isEmpty())
            return complaint;
    }
    return {};
}

AnswerHead headOf(const QByteArray &bytes)
{
    AnswerHead head;
    feed(&head, bytes);
    return head;
}

}

Q_DECLARE_METATYPE(Fields)

class TestAnswerHead : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whatIsRead_data();
    void whatIsRead();
    void aCutAnywhereIsNoCompleteHead_data();
    void aCutAnywhereIsNoCompleteHead();
    void whatCannotBeRead_data();
    void whatCannotBeRead();
    void limitsHoldToTheByte_data();
    void limitsHoldToTheByte();
    void aComplaintStays();
    void interimAnswersArePassedOver();
    void sixtyFourInterimAnswersAreEnough();
    void switchingProtocolsIsRefused();
    void trailersAreIgnored();
    void anotherAnswerMayFollow();
    void valuesAreFoundWithoutRegardToCase();
    void fieldsOfOneNameAreJoined();
    void whateverIsDamagedEveryFieldThatIsReadIsOne();
};

void TestAnswerHead::whatIsRead_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("reason");
    QTest::addColumn<int>("version");
    QTest::addColumn<Fields>("fields");
    const auto row = [](const char *name, const QByteArray &bytes, int status, const QByteArray &reason, int version,
                        const Fields &fields) {
        QTest::newRow(name) << bytes << status << reason << version << fields;
    };
    const auto field = [](const char *name, const QByteArray &line, const QByteArray &key, const QByteArray &value) {
        QTest::newRow(name) << "HTTP/1.1 200 OK\r\n" + line + "\r\n"
                            << 200 << QByteArray("OK") << 11 << Fields{{key, value}};
    };
    row("no field", "HTTP/1.1 200 OK\r\n\r\n", 200, "OK", 11, {});
    row("the old version", "HTTP/1.0 200 OK\r\n\r\n", 200, "OK", 10, {});
    row("a minor version to come", "HTTP/1.9 200 OK\r\n\r\n", 200, "OK", 19, {});
    row("a major version alone", "HTTP/2 200\r\n\r\n", 200, "", 20, {});
    row("a reason of several words", "HTTP/1.1 404 Not to be found\r\n\r\n", 404, "Not to be found", 11, {});
    row("an empty reason", "HTTP/1.1 200 \r\n\r\n", 200, "", 11, {});
    row("an empty reason without its blank", "HTTP/1.1 200\r\n\r\n", 200, "", 11, {});
    row("a reason beyond ASCII", "HTTP/1.1 200 sch\xf6n\r\n\r\n", 200, "sch\xf6n", 11, {});
    row("a status that nobody knows", "HTTP/1.1 799 What\r\n\r\n", 799, "What", 11, {});
    row("lines that end in a line feed alone", "HTTP/1.1 200 OK\nA: 1\nB: 2\n\n", 200, "OK", 11,
        {{"A", "1"}, {"B", "2"}});
    row("several fields of one name, each for itself", "HTTP/1.1 200 OK\r\nA: 1\r\nB: 2\r\na: 3\r\n\r\n", 200, "OK", 11,
        {{"A", "1"}, {"B", "2"}, {"a", "3"}});
    field("a field without white space", "A:1\r\n", "A", "1");
    field("white space around a value", "A: \t 1 2 \t\r\n", "A", "1 2");
    field("an empty value", "A:\r\n", "A", "");
    field("a value of white space", "A:  \t\r\n", "A", "");
    field("colons in a value", "A: b:c: d\r\n", "A", "b:c: d");
    field("a name of all marks that a token has", "!#$%&'*+-.^_`|~09aZ: 1\r\n", "!#$%&'*+-.^_`|~09aZ", "1");
    field("a value beyond ASCII", "A: \xe4\xff\r\n", "A", "\xe4\xff");
    field("a control character in a value", "A: \x01\x1b\r\n", "A", "\x01\x1b");
    field("a value that is folded", "A: 1\r\n \t 2\r\n", "A", "1 2");
    field("a value that is folded twice", "A: 1 \r\n\t2\r\n 3\r\n", "A", "1 2 3");
    field("a value that begins on the second line", "A:\r\n 1\r\n", "A", "1");
    field("a value whose second line is empty", "A: 1\r\n  \r\n", "A", "1");
    field("a folded line that looks like a field", "A: 1\r\n B: 2\r\n", "A", "1 B: 2");
}

void TestAnswerHead::whatIsRead()
{
    QFETCH(QByteArray, bytes);
    AnswerHead head;
    QCOMPARE(feed(&head, bytes), QString());
    QVERIFY(head.isComplete());
    QTEST(head.status(), "status");
    QTEST(head.reason(), "reason");
    QTEST(head.majorVersion() * 10 + head.minorVersion(), "version");
    QTEST(head.fields(), "fields");
}

void TestAnswerHead::aCutAnywhereIsNoCompleteHead_data()
{
    whatIsRead_data();
}

void TestAnswerHead::aCutAnywhereIsNoCompleteHead()
{
    QFETCH(QByteArray, bytes);
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        AnswerHead head;
        const QString complaint = feed(&head, bytes.first(i));
        QVERIFY2(!head.isComplete(), qPrintable(QString::number(i)));
        const bool isInLine = i > 0 && bytes.at(i - 1) != '\n';
        QVERIFY2(complaint.contains(u"breaks off"_s) == isInLine, qPrintable(complaint));
    }
}

void TestAnswerHead::whatCannotBeRead_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("said");
    const auto row = [](const char *name, const QByteArray &bytes, const QString &said) {
        QTest::newRow(name) << bytes << said;
    };
    const auto field = [](const char *name, const QByteArray &line, const QString &said) {
        QTest::newRow(name) << "HTTP/1.1 200 OK\r\nA: 1\r\n" + line << said;
    };
    row("another protocol", "ICY 200 OK\r\n", u"\"ICY 200 OK\", which is no status line"_s);
    row("a name in lower case", "http/1.1 200 OK\r\n", u"no status line"_s);
    row("no version", "HTTP 200 OK\r\n", u"no status line"_s);
    row("a version of two digits", "HTTP/1.10 200 OK\r\n", u"no status line"_s);
    row("a version that ends at its point", "HTTP/1. 200 OK\r\n", u"no status line"_s);
    row("a version of letters", "HTTP/x.1 200 OK\r\n", u"no status line"_s);
    row("no status", "HTTP/1.1\r\n", u"no status line"_s);
    row("a blank in place of the status", "HTTP/1.1 \r\n", u"no status line"_s);
    row("two blanks in front of the status", "HTTP/1.1  200 OK\r\n", u"no status line"_s);
    row("a tab in front of the status", "HTTP/1.1\t200 OK\r\n", u"no status line"_s);
    row("a status of two digits", "HTTP/1.1 20 OK\r\n", u"no status line"_s);
    row("a status of four digits", "HTTP/1.1 2000 OK\r\n", u"no status line"_s);
    row("a status with a sign", "HTTP/1.1 -20 OK\r\n", u"no status line"_s);
    row("a status below 100", "HTTP/1.1 099 OK\r\n", u"no status line"_s);
    row("a status of letters", "HTTP/1.1 OK\r\n", u"no status line"_s);
    row("a reason that is glued to the status", "HTTP/1.1 200OK\r\n", u"no status line"_s);
    row("white space in front of the status line", " HTTP/1.1 200 OK\r\n", u"no status line"_s);
    row("a field in place of the status line", "A: 1\r\n", u"no status line"_s);
    row("an empty line in front of the status line", "\r\n", u"no status line"_s);
    row("a NUL in the status line", "HTTP/1.1 200 O\0K\r\n"_ba, u"NUL"_s);
    row("a carriage return in the status line", "HTTP/1.1 200 O\rK\r\n", u"carriage return"_s);
    row("two carriage returns behind the status line", "HTTP/1.1 200 OK\r\r\n", u"carriage return"_s);
    row("white space in front of the first field", "HTTP/1.1 200 OK\r\n A: 1\r\n", u"first field begins"_s);
    row("a field in place of an answer behind an interim one", "HTTP/1.1 103 Early\r\n\r\nA: 1\r\n", u"\"A: 1\""_s);
    row("an empty line behind an interim answer", "HTTP/1.1 103 Early\r\n\r\n\r\n", u"no status line"_s);
    row("a damaged interim answer", "HTTP/1.1 103 Early\r\nLink\r\n", u"\"Link\" has no colon"_s);
    field("a field without colon", "Nonsense\r\n", u"\"Nonsense\" has no colon"_s);
    field("a status line among the fields", "HTTP/1.1 200 OK\r\n", u"no colon"_s);
    field("an empty name", ": 1\r\n", u"has no name"_s);
    field("white space in front of the colon", "Length : 1\r\n",
          u"white space in front of the colon of the field \"Length \""_s);
    field("a tab in front of the colon", "Length\t: 1\r\n", u"white space"_s);
    field("white space in a name", "Content Length: 1\r\n", u"\"Content Length\""_s);
    field("a name in quotation marks", "\"B\": 1\r\n", u"a character that no name may have"_s);
    field("a comma in a name", "B,C: 1\r\n", u"a character"_s);
    field("a name beyond ASCII", "\xc4: 1\r\n", u"a character"_s);
    field("a control character in a name", "B\x7f: 1\r\n", u"a character"_s);
    field("a NUL in a name", "B\0C: 1\r\n"_ba, u"NUL"_s);
    field("a NUL in a value", "B: 1\0\r\n"_ba, u"NUL"_s);
    field("a NUL in a folded line", " 1\0\r\n"_ba, u"NUL"_s);
    field("a NUL alone", "\0\r\n"_ba, u"NUL"_s);
    field("a carriage return in a value", "B: 1\r2\r\n", u"carriage return"_s);
    field("a carriage return in front of a field", "\rB: 1\r\n", u"carriage return"_s);
    field("a carriage return in a folded line", " 1\r2\r\n", u"carriage return"_s);
    field("two carriage returns at the end", "\r\r\n", u"carriage return"_s);
    field("a line that breaks off", "B: 1", u"breaks off within a line"_s);
    field("a line that breaks off in its end", "B: 1\r", u"breaks off within a line"_s);
}

void TestAnswerHead::whatCannotBeRead()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, said);
    AnswerHead head;
    const QByteArrayList lines = linesOf(bytes);
    for (qsizetype i = 0; i + 1 < lines.size(); ++i)
        QCOMPARE(head.addLine(lines.at(i)), QString());
    const QString complaint = head.addLine(lines.last());
    QVERIFY2(complaint.contains(said), qPrintable(complaint));
    QVERIFY2(complaint.startsWith(u"The head of the server's answer cannot be read: "_s), qPrintable(complaint));
    QVERIFY(complaint.endsWith(u'.'));
    QVERIFY(!head.isComplete());
}

void TestAnswerHead::limitsHoldToTheByte_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("said");
    const QByteArray begin = "HTTP/1.1 200 OK\r\n";
    const auto line = [](qsizetype size) { return "A: " + QByteArray(size - 5, 'a') + "\r\n"; };
    const qsizetype largest = 300 * 1024 - begin.size() - 2 - 2 * 102400;
    QTest::newRow("a line of 100 KiB") << begin + line(102400) + "\r\n" << QString();
    QTest::newRow("a line of one byte more") << begin + line(102401) + "\r\n" << u"a line is longer than 100 KiB"_s;
    QTest::newRow("a status line of one byte more") << "HTTP/1.1 200 " + QByteArray(102386, 'a') + "\r\n\r\n"
                                                    << u"100 KiB"_s;
    QTest::newRow("a head of 300 KiB") << begin + line(102400) + line(102400) + line(largest) + "\r\n" << QString();
    QTest::newRow("a head of one byte more") << begin + line(102400) + line(102400) + line(largest + 1) + "\r\n"
                                             << u"it is longer than 300 KiB"_s;
    QTest::newRow("a field that is folded without end")
        << begin + line(100) + line(100).replace(0, 1, " ").repeated(4000) << u"300 KiB"_s;
    QTest::newRow("a thousand fields") << begin + line(300).repeated(1000) + "\r\n" << QString();
    QTest::newRow("each interim head counts for itself")
        << ("HTTP/1.1 103 Early\r\n" + line(102400) + line(102400) + "\r\n").repeated(3) + begin + line(102400) + "\r\n"
        << QString();
}

void TestAnswerHead::limitsHoldToTheByte()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, said);
    AnswerHead head;
    const QString complaint = feed(&head, bytes);
    QVERIFY2(complaint.contains(said), qPrintable(complaint));
    QCOMPARE(complaint.isEmpty(), said.isEmpty());
    QCOMPARE(head.isComplete(), said.isEmpty());
}

void TestAnswerHead::aComplaintStays()
{
    AnswerHead head;
    const QString complaint = feed(&head, "HTTP/1.1 200 OK\r\nNonsense\r\n");
    QVERIFY(!complaint.isEmpty());
    QCOMPARE(head.addLine("A: 1\r\n"), complaint);
    QCOMPARE(head.addLine("\r\n"), complaint);
    QVERIFY(!head.isComplete());
}

void TestAnswerHead::interimAnswersArePassedOver()
{
    AnswerHead head;
    QCOMPARE(feed(&head, "HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 103 Early\r\nLink: x\r\n\r\n"), QString());
    QVERIFY(!head.isComplete());
    QCOMPARE(feed(&head, "HTTP/1.0 206 Piece\r\nA: 1\r\n\r\n"), QString());
    QVERIFY(head.isComplete());
    QCOMPARE(head.status(), 206);
    QCOMPARE(head.reason(), QByteArray("Piece"));
    QCOMPARE(head.minorVersion(), 0);
    QCOMPARE(head.fields(), (Fields{{"A", "1"}}));
}

void TestAnswerHead::sixtyFourInterimAnswersAreEnough()
{
    const QByteArray interim = "HTTP/1.1 102 Processing\r\n\r\n";
    const QByteArray final = "HTTP/1.1 200 OK\r\n\r\n";
    QVERIFY(headOf(interim.repeated(64) + final).isComplete());
    AnswerHead head;
    const QString complaint = feed(&head, interim.repeated(65) + final);
    QVERIFY2(complaint.contains(u"more than 64 interim answers"_s), qPrintable(complaint));
    QVERIFY(!head.isComplete());
}

void TestAnswerHead::switchingProtocolsIsRefused()
{
    AnswerHead head;
    const QString complaint = head.addLine("HTTP/1.1 101 Switching Protocols\r\n");
    QVERIFY2(complaint.contains(u"(status 101), which nobody asked for"_s), qPrintable(complaint));
}

void TestAnswerHead::trailersAreIgnored()
{
    AnswerHead head = headOf("HTTP/1.1 200 OK\r\nA: 1\r\n\r\n");
    QCOMPARE(feed(&head, "A: 2\r\nNonsense\r\n\r\nHTTP/1.1 500 No\r\n\r\n"), QString());
    QVERIFY(head.isComplete());
    QCOMPARE(head.status(), 200);
    QCOMPARE(head.fields(), (Fields{{"A", "1"}}));
}

void TestAnswerHead::anotherAnswerMayFollow()
{
    AnswerHead head = headOf("HTTP/1.1 401 Who\r\nWWW-Authenticate: Basic\r\n\r\n");
    head.beginAnew();
    QVERIFY(!head.isComplete());
    QCOMPARE(head.status(), 0);
    QCOMPARE(feed(&head, "HTTP/1.1 200 OK\r\nA: 1\r\n\r\n"), QString());
    QVERIFY(head.isComplete());
    QCOMPARE(head.status(), 200);
    QCOMPARE(head.fields(), (Fields{{"A", "1"}}));
}

void TestAnswerHead::valuesAreFoundWithoutRegardToCase()
{
    const AnswerHead head = headOf("HTTP/1.1 200 OK\r\nContent-Length: 5\r\nA: 1\r\ncontent-LENGTH: 6, 7\r\n\r\n");
    QCOMPARE(head.values("CONTENT-length"), (QList<QByteArray>{"5", "6, 7"}));
    QCOMPARE(head.values("Content"), QList<QByteArray>());
}

void TestAnswerHead::fieldsOfOneNameAreJoined()
{
    const AnswerHead head =
        headOf("HTTP/1.1 200 OK\r\nVary: a\r\nSet-Cookie: b=1, 2\r\nETag: \"x\"\r\nvary: c\r\n"
               "Location: /1\r\nset-cookie: d=3\r\nEmpty:\r\nVARY:\r\nLocation: /2\r\nempty: e\r\nNothing:\r\n\r\n");
    QCOMPARE(
        head.joinedFields(),
        (Fields{
            {"Vary", "a, c, "}, {"Set-Cookie", "b=1, 2\nd=3"}, {"ETag", "\"x\""}, {"Location", "/2"}, {"Empty", "e"}}));
}

void TestAnswerHead::whateverIsDamagedEveryFieldThatIsReadIsOne()
{
    const QByteArray sound = "HTTP/1.1 200 OK\r\nA: 1\r\n 2\r\nB: x\r\nC:y\r\n\r\n";
    QRandomGenerator random(19700101);
    int read = 0;
    for (int i = 0; i < 20000; ++i) {
        QByteArray bytes = sound;
        for (int changes = 1 + random.bounded(3); changes > 0; --changes)
            bytes[random.bounded(int(bytes.size()))] = "\r\n \t:\0,\"x\xff"[random.bounded(10)];
        AnswerHead head;
        if (!feed(&head, bytes).isEmpty() || !head.isComplete())
            continue;
        ++read;
        // Written down plainly, it reads the same again.
        QByteArray plain = "HTTP/1.1 200\r\n";
        for (const AnswerHead::Field &field : head.fields())
            plain += field.first + ": " + field.second + "\r\n";
        const QByteArray shown = bytes.toPercentEncoding();
        QVERIFY2(headOf(plain + "\r\n").fields() == head.fields(), shown.constData());
    }
    QVERIFY(read > 1000 && read < 19000);
}

QTEST_GUILESS_MAIN(TestAnswerHead)
#include "tst_answerhead.moc"
