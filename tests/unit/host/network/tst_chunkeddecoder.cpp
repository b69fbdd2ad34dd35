// SPDX-License-Identifier: MIT
#include <host/network/chunkeddecoder.h>

#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTest>

#include <optional>

using namespace Qt::StringLiterals;

namespace
{

/// What comes out of a decoder, or of the reference beside it.
struct Outcome {
    QByteArray body;
    QByteArray behind; ///< bytes that were left when the end was there
    bool isAtEnd = false;
    bool isRefused = false;

    friend bool operator==(const Outcome &, const Outcome &) = default;
};

/// Feeds one piece after the other; what a piece leaves behind the end is gathered.
Outcome decoded(const QByteArrayList &pieces, QString *complaint = nullptr)
{
    ChunkedDecoder decoder;
    Outcome outcome;
    for (const QByteArray &piece : pieces) {
        QByteArrayView raw(piece);
        for (QByteArrayView run = decoder.next(&raw); !run.isEmpty(); run = decoder.next(&raw))
            outcome.body += run;
        if (decoder.isAtEnd())
            outcome.behind += raw;
    }
    outcome.isAtEnd = decoder.isAtEnd();
    outcome.isRefused = !decoder.complaint().isEmpty();
    if (complaint != nullptr)
        *complaint = decoder.complaint();
    return outcome;
}

QByteArrayList singleBytes(const QByteArray &input)
{
    QByteArrayList result;
    for (const char c : input)
        result += QByteArray(1, c);
    return result;
}

/// Reads a whole body by the RFC's grammar with regular expressions. It knows no limits of length.
class Reference
{
public:
    explicit Reference(const QByteArray &input)
        : m_rest(input)
    {
    }

    /// Whether it is refused or only cut short it does not tell.
    Outcome outcome()
    {
        bool isLast = false;
        while (!isLast) {
            const std::optional<qint64> size = chunkSize();
            if (!size || (*size > 0 && !takeChunk(*size)))
                return {m_body, {}, false, false};
            isLast = *size == 0;
        }
        static const QRegularExpression trailers(
            uR"(\A(?:[!#$%&'*+\-.^_`|~0-9A-Za-z]+:[^\0\r\n]*\r\n(?:[ \t][^\0\r\n]*\r\n)*)*\r\n)"_s);
        const QRegularExpressionMatch match = trailers.match(QString::fromLatin1(m_rest));
        return match.hasMatch() ? Outcome{m_body, m_rest.sliced(match.capturedLength()), true, false}
                                : Outcome{m_body, {}, false, false};
    }

private:
    std::optional<qint64> chunkSize()
    {
        static const QRegularExpression line(
            uR"(\A([0-9A-Fa-f]+)(?:[ \t]*;[ \t]*T(?:[ \t]*=[ \t]*(?:T|"(?:[\t \x21\x23-\x5B\x5D-\x7E\x80-\xFF]|\\[\t \x21-\x7E\x80-\xFF])*"))?)*\r\n)"_s
                .replace(u'T', uR"([!#$%&'*+\-.^_`|~0-9A-Za-z]+)"_s));
        const QRegularExpressionMatch match = line.match(QString::fromLatin1(m_rest));
        if (!match.hasMatch())
            return {};
        m_rest = m_rest.sliced(match.capturedLength());
        bool fits = false;
        const qint64 size = match.captured(1).toLongLong(&fits, 16);
        return fits ? std::optional(size) : std::nullopt;
    }

    bool takeChunk(qint64 size)
    {
        m_body += m_rest.left(size);
        m_rest = m_rest.mid(size);
        const bool isWhole = m_rest.startsWith("\r\n");
        m_rest = m_rest.mid(2);
        return isWhole;
    }

    QByteArray m_rest;
    QByteArray m_body;
};

QByteArray mutated(QByteArray input, QRandomGenerator *random)
{
    constexpr QByteArrayView kFavourites = "\r\n\r\n;;==\"\\ \t05aAfFgx:,\x7f\xff";
    const int changes = 1 + random->bounded(3);
    for (int i = 0; i < changes && !input.isEmpty(); ++i) {
        const qsizetype place = random->bounded(int(input.size()));
        const char byte = kFavourites.at(random->bounded(int(kFavourites.size())));
        switch (random->bounded(4)) {
        case 0:
            input[place] = byte;
            break;
        case 1:
            input.insert(place, byte);
            break;
        case 2:
            input.remove(place, 1);
            break;
        default:
            input[place] = char(random->bounded(256));
        }
    }
    return input;
}

const QByteArray kSound = "4 ; a=b\t;c = \"d\\\"; \xe4\" ;e\r\nWiki\r\n00F\r\n in \r\n\r\nchunks\r\r\n"
                          "1;x\r\ns\r\n0;last\r\nX-Sum: 1\r\n folded\r\nX-Empty:\r\n\r\n";

}

class TestChunkedDecoder : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whatIsWholeByTheGrammar_data();
    void whatIsWholeByTheGrammar();
    void aCutAnywhereIsNoEndAndNoComplaint_data();
    void aCutAnywhereIsNoEndAndNoComplaint();
    void whatIsRefused_data();
    void whatIsRefused();
    void limitsHoldToTheByte_data();
    void limitsHoldToTheByte();
    void whatStandsBehindTheEndIsLeft();
    void theByteThatIsRefusedIsLeftAndNothingComesAfterIt();
    void bodyBytesAreViewsIntoTheInput();
    void aChunkOfTheLargestSizeIsBegun();
    void anyDamageIsJudgedAsTheGrammarHasItHoweverTheInputIsSplit();
};

void TestChunkedDecoder::whatIsWholeByTheGrammar_data()
{
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<QByteArray>("body");
    const auto row = [](const char *name, const QByteArray &input, const QByteArray &body) {
        QTest::newRow(name) << input << body;
    };
    row("no chunk but the last", "0\r\n\r\n", "");
    row("one chunk", "5\r\nhello\r\n0\r\n\r\n", "hello");
    row("several chunks", "5\r\nhello\r\n1\r\n \r\n6\r\nworld!\r\n0\r\n\r\n", "hello world!");
    row("digits of either case", "A\r\n0123456789\r\na\r\n0123456789\r\n0\r\n\r\n", "01234567890123456789");
    row("leading zeros", "00000000000000000000000000000005\r\nhello\r\n0\r\n\r\n", "hello");
    row("a last chunk of many zeros", "2\r\nhi\r\n0000\r\n\r\n", "hi");
    row("data that looks like framing", "9\r\n0\r\n\r\n5\r\n\n\r\n0\r\n\r\n", "0\r\n\r\n5\r\n\n");
    row("data of bytes beyond ASCII and of NULs", "3\r\n\0\xff\r\r\n0\r\n\r\n"_ba, "\0\xff\r"_ba);
    row("an extension", "2;name\r\nhi\r\n0\r\n\r\n", "hi");
    row("an extension with a value", "2;name=value\r\nhi\r\n0\r\n\r\n", "hi");
    row("an extension of all marks that a token has", "2;!#$%&'*+-.^_`|~=~\r\nhi\r\n0\r\n\r\n", "hi");
    row("white space around the signs of extensions", "2 \t; a\t = b ;c\r\nhi\r\n0\r\n\r\n", "hi");
    row("a quoted value", "2;a=\"b c;d=e\"\r\nhi\r\n0\r\n\r\n", "hi");
    row("an empty quoted value", "2;a=\"\"\r\nhi\r\n0\r\n\r\n", "hi");
    row("escaped marks in a quoted value", "2;a=\"\\\"\\\\\\;\"\r\nhi\r\n0\r\n\r\n", "hi");
    row("bytes beyond ASCII in a quoted value", "2;a=\"\xe4\\\xf6\"\r\nhi\r\n0\r\n\r\n", "hi");
    row("an extension behind a quoted value", "2;a=\"b\";c\r\nhi\r\n0\r\n\r\n", "hi");
    row("white space and an extension behind a quoted value", "2;a=\"b\" ;c\r\nhi\r\n0\r\n\r\n", "hi");
    row("an extension of the last chunk", "2\r\nhi\r\n0;end=1\r\n\r\n", "hi");
    row("a trailer", "2\r\nhi\r\n0\r\nX-Sum: 4711\r\n\r\n", "hi");
    row("a trailer without a value", "2\r\nhi\r\n0\r\nX-Sum:\r\n\r\n", "hi");
    row("several trailers, one folded", "2\r\nhi\r\n0\r\nA: 1\r\nB: 2\r\n\t3\r\nC: 4\r\n\r\n", "hi");
    row("all of it at once", kSound, "Wiki in \r\n\r\nchunks\rs");
}

void TestChunkedDecoder::whatIsWholeByTheGrammar()
{
    QFETCH(QByteArray, input);
    QFETCH(QByteArray, body);
    const Outcome whole{body, {}, true, false};
    QString complaint;
    const Outcome outcome = decoded({input}, &complaint);
    QCOMPARE(complaint, QString());
    QCOMPARE(outcome.body, body);
    QVERIFY(outcome == whole);
    QVERIFY(Reference(input).outcome() == whole);
    QVERIFY(decoded(singleBytes(input)) == whole);
    for (qsizetype i = 0; i <= input.size(); ++i)
        QVERIFY2(decoded({input.first(i), input.sliced(i)}) == whole, qPrintable(QString::number(i)));
}

void TestChunkedDecoder::aCutAnywhereIsNoEndAndNoComplaint_data()
{
    whatIsWholeByTheGrammar_data();
}

void TestChunkedDecoder::aCutAnywhereIsNoEndAndNoComplaint()
{
    QFETCH(QByteArray, input);
    QFETCH(QByteArray, body);
    for (qsizetype i = 0; i < input.size(); ++i) {
        const Outcome outcome = decoded({input.first(i)});
        QVERIFY2(!outcome.isAtEnd && !outcome.isRefused, qPrintable(QString::number(i)));
        QVERIFY2(body.startsWith(outcome.body), qPrintable(QString::number(i)));
    }
}

void TestChunkedDecoder::whatIsRefused_data()
{
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QString>("said");
    const auto row = [](const char *name, const QByteArray &input, const QByteArray &body, const QString &said) {
        QTest::newRow(name) << input << body << said;
    };
    row("a size that is a word", "xyz\r\nhello\r\n0\r\n\r\n", "", u"\"x\""_s);
    row("a size that begins as a number", "5x\r\nhello\r\n0\r\n\r\n", "", u"\"x\""_s);
    row("a size with a prefix", "0x5\r\nhello\r\n0\r\n\r\n", "", u"\"x\""_s);
    row("a size with a plus", "+5\r\nhello\r\n0\r\n\r\n", "", u"\"+\""_s);
    row("a size below zero", "-5\r\nhello\r\n0\r\n\r\n", "", u"\"-\""_s);
    row("a size in two words", "5 5\r\nhello\r\n0\r\n\r\n", "", u"\"5\""_s);
    row("a size with a separator", "1_0\r\nhello\r\n0\r\n\r\n", "", u"\"_\""_s);
    row("a list of sizes", "5,5\r\nhello\r\n0\r\n\r\n", "", u"\",\""_s);
    row("no size", "\r\nhello\r\n0\r\n\r\n", "", u"0x0d"_s);
    row("an extension without a size", ";a\r\nhello\r\n0\r\n\r\n", "", u"\";\""_s);
    row("white space in front of the size", " 5\r\nhello\r\n0\r\n\r\n", "", u"0x20"_s);
    row("white space behind the size", "5 \r\nhello\r\n0\r\n\r\n", "", u"0x0d"_s);
    row("a NUL behind the size", "5\0\r\nhello\r\n0\r\n\r\n"_ba, "", u"0x00"_s);
    row("a size of 2^63", "8000000000000000\r\nhello", "", u"2^63-1"_s);
    row("a size of 2^64 and five", "10000000000000005\r\nhello\r\n0\r\n\r\n", "", u"2^63-1"_s);
    row("a size line that ends in a line feed alone", "5\nhello\r\n0\r\n\r\n", "", u"0x0a"_s);
    row("a size line that ends in a carriage return alone", "5\rhello\r\n0\r\n\r\n", "", u"\"h\""_s);
    row("a size line with two carriage returns", "5\r\r\nhello\r\n0\r\n\r\n", "", u"0x0d"_s);
    row("data that ends in a line feed alone", "5\r\nhello\n0\r\n\r\n", "hello", u"0x0a"_s);
    row("data that ends in a carriage return alone", "5\r\nhello\r0\r\n\r\n", "hello", u"\"0\""_s);
    row("data without an end", "5\r\nhello0\r\n\r\n", "hello", u"\"0\""_s);
    row("data longer than its size", "5\r\nhello!\r\n0\r\n\r\n", "hello", u"\"!\""_s);
    row("data shorter than its size", "6\r\nhello\r\n0\r\n\r\n", "hello\r", u"0x0a"_s);
    row("a second size that is no number", "2\r\nhi\r\nG\r\nhello\r\n0\r\n\r\n", "hi", u"\"G\""_s);
    row("a blank line between chunks", "2\r\nhi\r\n\r\n0\r\n\r\n", "hi", u"0x0d"_s);
    row("an extension without a name", "2;\r\nhi\r\n0\r\n\r\n", "", u"0x0d"_s);
    row("an extension without a name in front of another", "2;;a\r\nhi\r\n0\r\n\r\n", "", u"\";\""_s);
    row("an extension of a value alone", "2;=b\r\nhi\r\n0\r\n\r\n", "", u"\"=\""_s);
    row("an extension that lacks its value", "2;a=\r\nhi\r\n0\r\n\r\n", "", u"0x0d"_s);
    row("an extension with two values", "2;a=b=c\r\nhi\r\n0\r\n\r\n", "", u"\"=\""_s);
    row("an extension of two words", "2;a b\r\nhi\r\n0\r\n\r\n", "", u"\"b\""_s);
    row("white space behind a name", "2;a \r\nhi\r\n0\r\n\r\n", "", u"0x0d"_s);
    row("white space behind a value", "2;a=b \r\nhi\r\n0\r\n\r\n", "", u"0x0d"_s);
    row("white space behind a quoted value", "2;a=\"b\"\t\r\nhi\r\n0\r\n\r\n", "", u"0x0d"_s);
    row("a value of two words", "2;a=b c\r\nhi\r\n0\r\n\r\n", "", u"\"c\""_s);
    row("a name of bytes beyond ASCII", "2;\xe4\r\nhi\r\n0\r\n\r\n", "", u"0xe4"_s);
    row("quotation marks that are not closed", "2;a=\"b\r\nhi\r\n0\r\n\r\n", "", u"0x0d"_s);
    row("a quoted value that ends in a backslash", "2;a=\"b\\\r\nhi\r\n0\r\n\r\n", "", u"0x0d"_s);
    row("a control character in quotation marks", "2;a=\"\x7f\"\r\nhi\r\n0\r\n\r\n", "", u"0x7f"_s);
    row("a word behind quotation marks", "2;a=\"b\"c\r\nhi\r\n0\r\n\r\n", "", u"\"c\""_s);
    row("a quoted name", "2;\"a\"=b\r\nhi\r\n0\r\n\r\n", "", u"\"\"\""_s);
    row("an extension that ends in a line feed alone", "2;a\nhi\r\n0\r\n\r\n", "", u"0x0a"_s);
    row("a last chunk that ends in a line feed alone", "2\r\nhi\r\n0\n\r\n", "hi", u"0x0a"_s);
    row("a final line feed alone", "2\r\nhi\r\n0\r\n\n", "hi", u"0x0a"_s);
    row("a final carriage return with something behind it", "2\r\nhi\r\n0\r\n\rx", "hi", u"\"x\""_s);
    row("a chunk behind the last", "2\r\nhi\r\n0\r\n2\r\nho\r\n0\r\n\r\n", "hi", u"\"2\" has no colon"_s);
    row("a trailer without a name", "0\r\n: 1\r\n\r\n", "", u"has no name"_s);
    row("a trailer with white space in its name", "0\r\nX Sum: 1\r\n\r\n", "", u"\"X Sum\""_s);
    row("a trailer with white space behind its name", "0\r\nX-Sum : 1\r\n\r\n", "", u"\"X-Sum \""_s);
    row("a trailer with a NUL", "0\r\nX-Sum: \0\r\n\r\n"_ba, "", u"NUL"_s);
    row("a trailer with a carriage return in it", "0\r\nX-Sum: 1\r2\r\n\r\n", "", u"\"2\""_s);
    row("a trailer that ends in a line feed alone", "0\r\nX-Sum: 1\n\r\n", "", u"0x0a"_s);
    row("a trailer that continues none", "0\r\n X-Sum: 1\r\n\r\n", "", u"white space"_s);
}

void TestChunkedDecoder::whatIsRefused()
{
    QFETCH(QByteArray, input);
    QFETCH(QByteArray, body);
    QFETCH(QString, said);
    QString complaint;
    const Outcome outcome = decoded({input}, &complaint);
    QVERIFY2(complaint.contains(said), qPrintable(complaint));
    QVERIFY(complaint.endsWith(u'.'));
    QCOMPARE(outcome.body, body);
    QVERIFY(!outcome.isAtEnd);
    QVERIFY(!Reference(input).outcome().isAtEnd);
    for (qsizetype i = 0; i <= input.size(); ++i) {
        QString same;
        QVERIFY2(decoded({input.first(i), input.sliced(i)}, &same) == outcome, qPrintable(QString::number(i)));
        QCOMPARE(same, complaint);
    }
}

void TestChunkedDecoder::limitsHoldToTheByte_data()
{
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<QString>("said");
    const auto sizeLine = [](int length) { return "2;" + QByteArray(length - 4, 'a') + "\r\nhi\r\n0\r\n\r\n"; };
    const auto zeros = [](int length) { return QByteArray(length - 3, '0') + "2\r\nhi\r\n0\r\n\r\n"; };
    const auto trailers = [](int length) {
        const QByteArray line = "A: " + QByteArray(59, 'b') + "\r\n";
        return "0\r\n" + line.repeated(length / 64 - 1) + "A: " + QByteArray(length % 64 + 57, 'b') + "\r\n\r\n";
    };
    QTest::newRow("a size line of 16 KiB") << sizeLine(16384) << QString();
    QTest::newRow("a size line of one byte more") << sizeLine(16385) << u"16 KiB"_s;
    QTest::newRow("zeros that fill a line of 16 KiB") << zeros(16384) << QString();
    QTest::newRow("one zero more") << zeros(16385) << u"16 KiB"_s;
    QTest::newRow("each size line counts for itself")
        << "2;" + QByteArray(16000, 'a') + "\r\nhi\r\n" + sizeLine(16384) << QString();
    QTest::newRow("trailers of 64 KiB") << trailers(65536) << QString();
    QTest::newRow("trailers of one byte more") << trailers(65537) << u"64 KiB"_s;
    QTest::newRow("one trailer that never ends") << "0\r\nA: " + QByteArray(70000, 'b') << u"64 KiB"_s;
}

void TestChunkedDecoder::limitsHoldToTheByte()
{
    QFETCH(QByteArray, input);
    QFETCH(QString, said);
    QString complaint;
    QCOMPARE(decoded({input}, &complaint).isAtEnd, said.isEmpty());
    QVERIFY2(complaint.contains(said), qPrintable(complaint));
    QCOMPARE(complaint.isEmpty(), said.isEmpty());
}

void TestChunkedDecoder::whatStandsBehindTheEndIsLeft()
{
    const QByteArray input = "2\r\nhi\r\n0\r\n\r\n";
    const QByteArray junk = "\r\n5\r\nhello\r\n0\r\n\r\n";
    const Outcome outcome{"hi", junk, true, false};
    QVERIFY(decoded({input + junk}) == outcome);
    QVERIFY(decoded({input, junk}) == outcome);
    QVERIFY(decoded(singleBytes(input + junk)) == outcome);
}

void TestChunkedDecoder::theByteThatIsRefusedIsLeftAndNothingComesAfterIt()
{
    ChunkedDecoder decoder;
    QByteArrayView raw("2\r\nhi?\n0\r\n\r\n");
    QCOMPARE(decoder.next(&raw), QByteArrayView("hi"));
    QVERIFY(decoder.complaint().isEmpty());
    QVERIFY(decoder.next(&raw).isEmpty());
    QCOMPARE(raw, QByteArrayView("?\n0\r\n\r\n"));
    raw = "\r\n2\r\nho\r\n0\r\n\r\n";
    QVERIFY(decoder.next(&raw).isEmpty());
    QVERIFY(!decoder.isAtEnd());
}

void TestChunkedDecoder::bodyBytesAreViewsIntoTheInput()
{
    const QByteArray input = "5\r\nhello\r\n3\r\nyou\r\n0\r\n\r\n";
    ChunkedDecoder decoder;
    QByteArrayView raw(input);
    const QByteArrayView first = decoder.next(&raw);
    QCOMPARE(first.data(), input.data() + 3);
    QCOMPARE(first.size(), 5);
    QCOMPARE(raw.data(), input.data() + 8);
    QCOMPARE(decoder.next(&raw).data(), input.data() + 13);
}

void TestChunkedDecoder::aChunkOfTheLargestSizeIsBegun()
{
    QVERIFY(decoded({"7fffffffffffffff\r\nhello"}) == (Outcome{"hello", {}, false, false}));
}

void TestChunkedDecoder::anyDamageIsJudgedAsTheGrammarHasItHoweverTheInputIsSplit()
{
    QRandomGenerator random(20240229);
    int wholeOnes = 0;
    for (int i = 0; i < 20000; ++i) {
        const QByteArray input = mutated(kSound, &random);
        const Outcome expected = Reference(input).outcome();
        const Outcome outcome = decoded({input});
        const QByteArray shown = input.toPercentEncoding();
        QVERIFY2(outcome.body == expected.body && outcome.behind == expected.behind, shown.constData());
        QVERIFY2(outcome.isAtEnd == expected.isAtEnd, shown.constData());
        const qsizetype cut = random.bounded(int(input.size()) + 1);
        QVERIFY2(decoded({input.first(cut), input.sliced(cut)}) == outcome, shown.constData());
        QVERIFY2(decoded(singleBytes(input)) == outcome, shown.constData());
        wholeOnes += outcome.isAtEnd ? 1 : 0;
    }
    // Neither of the two kinds may have gone missing.
    QVERIFY(wholeOnes > 2000 && wholeOnes < 18000);
}

QTEST_GUILESS_MAIN(TestChunkedDecoder)
#include "tst_chunkeddecoder.moc"
