// SPDX-License-Identifier: MIT
#include <tests/support/framingcases.h>

#include <tests/support/framingwords.h>

using namespace FramingWords;
using namespace Qt::StringLiterals;

namespace
{
using Case = FramingCase;

/// "hello world!", compressed by gzip.
const QByteArray kZipped = QByteArray::fromHex("1f8b0800000000000203cb48cdc9c95728cf2fca495104006dc2b4030c000000");

QByteArray zippedInOneChunk()
{
    return QByteArray::number(kZipped.size(), 16) + "\r\n" + kZipped + "\r\n0\r\n\r\n";
}
}

QList<FramingCase> lengthCases()
{
    const QByteArray met = "RFC 9112, 6.3: the length says where the body ends";
    const QByteArray cut = "RFC 9112, 8: the length is not met";
    const QByteArray invalid = "RFC 9112, 6.3: a length that is not valid cannot be mended";
    const QByteArray same = "RFC 9110, 8.6: equal lengths are one length";
    const QByteArray differ = "RFC 9112, 6.3: lengths that differ cannot be mended";
    const QByteArray list = "RFC 9110, 5.6.1: empty elements of a list may be passed over";
    const QByteArray closing = "RFC 9112, 6.3: without a length the body ends with the connection";
    return {
        Case::whole("a body ends where its length says", met, ok("Content-Length: 12", kFile), kFile).keptOpen(),
        Case::whole("a body of no bytes is a file", met, ok("Content-Length: 0", ""), "").keptOpen(),
        Case::whole("junk behind the body is not the file", met, ok("Content-Length: 12", kFile + "junk"), kFile)
            .keptOpen(),
        Case::whole("junk behind a body of no bytes is not the file", met, ok("Content-Length: 0", kFile), "")
            .keptOpen(),
        Case::whole("another answer behind the body is not the file", met,
                    ok("Content-Length: 12", kFile) + ok("Content-Length: 4", "next"), kFile)
            .keptOpen(),
        Case::whole("zeros before a length are fine", met, ok("Content-Length: 012", kFile), kFile).keptOpen(),
        Case::whole("thirty zeros before a length are fine", met,
                    ok("Content-Length: " + QByteArray("0").repeated(30) + "12", kFile), kFile)
            .keptOpen(),
        Case::refused("a body shorter than its length is refused", cut, ok("Content-Length: 12", kFirstHalf),
                      kFirstHalf),
        Case::refused("a body shorter than its length by one byte is refused", cut, ok("Content-Length: 13", kFile),
                      kFile),
        Case::refused("a body shorter than its length that a reset ends is refused", cut,
                      ok("Content-Length: 12", kFirstHalf), kFirstHalf)
            .reset(),
        Case::refused("a length without a body is refused", cut, ok("Content-Length: 12", "")),
        Case::refused("a body that is cut is refused although the server said it would close", cut,
                      ok("Connection: close\r\nContent-Length: 12", kFirstHalf), kFirstHalf),
        Case::refused("a body of HTTP/1.0 shorter than its length is refused", cut,
                      answer("HTTP/1.0 200 OK", "Content-Length: 12", kFirstHalf), kFirstHalf),
        Case::either("a reset behind the last byte leaves the file whole or is refused", met,
                     ok("Content-Length: 12", kFile), kFile)
            .reset(),
        Case::whole("two equal lengths are one", same, ok("Content-Length: 12\r\nContent-Length: 12", kFile), kFile)
            .keptOpen(),
        Case::whole("two equal lengths in one field are one", same, ok("Content-Length: 12, 12", kFile), kFile)
            .keptOpen(),
        Case::whole("three equal lengths without spaces are one", same, ok("Content-Length: 12,12,12", kFile), kFile)
            .keptOpen(),
        Case::refused("two equal lengths in one field do not hide that the body is cut", cut,
                      ok("Content-Length: 12, 12", kFirstHalf), kFirstHalf),
        Case::refused("two equal lengths do not hide that the body is cut", cut,
                      ok("Content-Length: 12\r\nContent-Length: 12", kFirstHalf), kFirstHalf),
        Case::either("two spellings of one length may count as one", same, ok("Content-Length: 12, 012", kFile), kFile),
        Case::refused("two spellings of one length do not hide that the body is cut", cut,
                      ok("Content-Length: 12, 012", kFirstHalf), kFirstHalf),
        Case::refused("two lengths, the smaller first, are refused", differ,
                      ok("Content-Length: 9\r\nContent-Length: 12", kFile)),
        Case::refused("two lengths, the larger first, are refused", differ,
                      ok("Content-Length: 12\r\nContent-Length: 9", kFile)),
        Case::refused("two lengths in one field, the smaller first, are refused", differ,
                      ok("Content-Length: 9, 12", kFile)),
        Case::refused("two lengths in one field, the larger first, are refused", differ,
                      ok("Content-Length: 12, 9", kFile)),
        Case::refused("a length and none are refused", differ, ok("Content-Length: 12\r\nContent-Length: x", kFile)),
        Case::either("a comma behind a length may pass", list, ok("Content-Length: 12,", kFile), kFile),
        Case::either("a comma before a length may pass", list, ok("Content-Length: ,12", kFile), kFile),
        Case::refused("an empty length is refused", invalid, ok("Content-Length:", kFile)),
        Case::refused("a length with a plus is refused", invalid, ok("Content-Length: +12", kFile)),
        Case::refused("a length below zero is refused", invalid, ok("Content-Length: -12", kFile)),
        Case::refused("a length of -1 is refused", invalid, ok("Content-Length: -1", kFile)),
        Case::refused("a hexadecimal length is refused", invalid, ok("Content-Length: 0xc", kFile)),
        Case::refused("two numbers in a length are refused", invalid, ok("Content-Length: 12 12", kFile)),
        Case::refused("a space in a length is refused", invalid, ok("Content-Length: 1 2", kFile)),
        Case::refused("a semicolon behind a length is refused", invalid, ok("Content-Length: 12;", kFile)),
        Case::refused("a unit behind a length is refused", invalid, ok("Content-Length: 12 bytes", kFile)),
        Case::refused("a length with a point is refused", invalid, ok("Content-Length: 12.0", kFile)),
        Case::refused("a length in words is refused", invalid, ok("Content-Length: twelve", kFile)),
        Case::refused("a length in quotes is refused", invalid, ok("Content-Length: \"12\"", kFile)),
        Case::refused("a length of 2 to the 63rd is refused", invalid, ok("Content-Length: 9223372036854775808", kFile),
                      kFile),
        Case::refused("a length of 2 to the 64th is refused", invalid,
                      ok("Content-Length: 18446744073709551616", kFile), kFile),
        Case::refused("a length that is 12 when it overflows is refused", invalid,
                      ok("Content-Length: 18446744073709551628", kFile), kFile),
        Case::whole("without a length the body ends with the connection", closing, ok("", kFile), kFile),
        Case::whole("without a length the body of HTTP/1.0 ends with the connection", closing,
                    answer("HTTP/1.0 200 OK", "", kFile), kFile),
        Case::whole("without a length a server that would keep the connection ends the body with it", closing,
                    ok("Connection: keep-alive", kFile), kFile),
        Case::whole("without a length and a byte the file is empty", closing, ok("Connection: close", ""), ""),
        Case::refused("a body without a length that a reset ends is refused",
                      "RFC 9112, 8: the connection did not end in order", ok("Connection: close", kFile), kFile)
            .reset(),
        Case::whole("a compressed body nobody asked for is saved as sent",
                    "RFC 9110, 8.4: the coding is a property of the file",
                    ok("Content-Encoding: gzip\r\nContent-Length: " + QByteArray::number(kZipped.size()), kZipped),
                    kZipped)
            .keptOpen(),
        Case::whole("a compressed body in chunks is saved as sent",
                    "RFC 9110, 8.4: the coding is a property of the file",
                    ok("Content-Encoding: gzip\r\n" + kChunked, zippedInOneChunk()), kZipped)
            .keptOpen(),
        Case::whole("a body of a coding that nobody knows is saved as sent",
                    "RFC 9110, 8.4: the coding is a property of the file", okWith("Content-Encoding: x-nobody"), kFile)
            .keptOpen(),
        Case::whole("a body said to be compressed that is not is saved as sent",
                    "RFC 9110, 8.4: the coding is a property of the file", okWith("Content-Encoding: deflate, br"),
                    kFile)
            .keptOpen(),
        Case::whole("an empty coding is none", "RFC 9110, 8.4", okWith("Content-Encoding:"), kFile).keptOpen(),
        Case::refused(
            "a compressed body that is cut is refused", cut,
            ok("Content-Encoding: gzip\r\nContent-Length: " + QByteArray::number(kZipped.size()), kZipped.left(20)),
            kZipped.left(20)),
    };
}

QList<FramingCase> transferCodingCases()
{
    const QByteArray spelling = "RFC 9112, 7: names of codings are case-insensitive";
    const QByteArray unknown = "RFC 9112, 6.1: a coding that is not taken off leaves no file";
    const QByteArray last = "RFC 9112, 6.3: chunked is not the last coding";
    const QByteArray once = "RFC 9112, 6.1: chunked is applied once";
    const QByteArray wins = "RFC 9112, 6.3: chunked overrides a length";
    return {
        Case::whole("a chunked body is fine", spelling, chunked(kChunks), kFile).keptOpen(),
        Case::whole("Chunked with a capital is fine", spelling, ok("Transfer-Encoding: Chunked", kChunks), kFile)
            .keptOpen(),
        Case::whole("CHUNKED in capitals is fine", spelling, ok("TRANSFER-ENCODING: CHUNKED", kChunks), kFile)
            .keptOpen(),
        Case::whole("chunked with spaces around it is fine", spelling, ok("Transfer-Encoding: \tchunked \t", kChunks),
                    kFile)
            .keptOpen(),
        Case::either("an empty element before chunked may pass", "RFC 9110, 5.6.1: empty elements",
                     ok("Transfer-Encoding: , chunked", kChunks), kFile),
        Case::either("gzip and chunked are taken off or refused", unknown,
                     ok("Transfer-Encoding: gzip, chunked", zippedInOneChunk()), kFile),
        Case::either("gzip and chunked in two fields are taken off or refused", unknown,
                     ok("Transfer-Encoding: gzip\r\nTransfer-Encoding: chunked", zippedInOneChunk()), kFile),
        Case::either("gzip alone is taken off or refused", unknown, ok("Transfer-Encoding: gzip", kZipped), kFile),
        Case::either("gzip with a length is taken off or refused", unknown,
                     ok("Transfer-Encoding: gzip\r\nContent-Length: " + QByteArray::number(kZipped.size()), kZipped),
                     kFile),
        Case::refused("a coding behind chunked is refused", last, ok("Transfer-Encoding: chunked, gzip", kChunks)),
        Case::either("identity, which is no more, leaves the body as it is or is refused", unknown,
                     ok("Transfer-Encoding: identity", kFile), kFile),
        Case::either("identity with a length leaves the body as it is or is refused", unknown,
                     ok("Transfer-Encoding: identity\r\nContent-Length: 12", kFile), kFile),
        Case::refused("identity does not hide that the body is cut", unknown,
                      ok("Transfer-Encoding: identity\r\nContent-Length: 12", kFirstHalf), kFirstHalf),
        Case::refused("chunked twice in one field is refused", once, ok("Transfer-Encoding: chunked, chunked", kChunks),
                      kFile),
        Case::refused("chunked in two fields is refused", once, ok(kChunked + "\r\n" + kChunked, kChunks), kFile),
        Case::refused("an unknown coding is refused", unknown, ok("Transfer-Encoding: x-nobody", kFile)),
        Case::refused("an unknown coding with a length is refused", unknown, okWith("Transfer-Encoding: x-nobody")),
        Case::refused("an unknown coding before chunked is refused", unknown,
                      ok("Transfer-Encoding: x-nobody, chunked", kChunks)),
        Case::refused("a name that begins with chunked is refused", unknown,
                      ok("Transfer-Encoding: chunkedx", kChunks)),
        Case::refused("a name that ends with chunked is refused", unknown, ok("Transfer-Encoding: xchunked", kChunks)),
        Case::refused("chunked in quotes is refused", unknown, ok("Transfer-Encoding: \"chunked\"", kChunks)),
        Case::either("chunked with a parameter may pass", "RFC 9112, 7.1: it has none; an error, or passed over",
                     ok("Transfer-Encoding: chunked;a=b", kChunks), kFile),
        Case::either("an empty coding may pass", "RFC 9110, 5.6.1: empty elements", okWith("Transfer-Encoding:"),
                     kFile),
        Case::either("a folded coding counts or is refused", "RFC 9112, 5.2: a folded line counts as a space",
                     ok("Transfer-Encoding:\r\n chunked", kChunks), kFile),
        Case::either("a space before the colon of a coding may pass", "RFC 9112, 5.1: asked of servers only",
                     ok("Transfer-Encoding : chunked", kChunks), kFile),
        Case::whole("chunked beside a length of zero counts", wins, ok("Content-Length: 0\r\n" + kChunked, kChunks),
                    kFile)
            .keptOpen(),
        Case::whole("chunked beside a length too short counts", wins, ok("Content-Length: 5\r\n" + kChunked, kChunks),
                    kFile)
            .keptOpen(),
        Case::whole("chunked beside a length too long counts", wins, ok("Content-Length: 5000\r\n" + kChunked, kChunks),
                    kFile)
            .keptOpen(),
        Case::whole("chunked beside the right length counts", wins, ok("Content-Length: 12\r\n" + kChunked, kChunks),
                    kFile)
            .keptOpen(),
        Case::whole("chunked before a length too short counts", wins, ok(kChunked + "\r\nContent-Length: 5", kChunks),
                    kFile)
            .keptOpen(),
        Case::whole("chunked before a length of zero counts", wins, ok(kChunked + "\r\nContent-Length: 0", kChunks),
                    kFile)
            .keptOpen(),
        Case::refused("a length that is met does not end a chunked body", wins,
                      ok("Content-Length: 6\r\n" + kChunked, "6\r\nhello \r\n6\r\nwo"), kFile),
        Case::either("chunked beside a length that is none counts or is refused", wins,
                     ok("Content-Length: x\r\n" + kChunked, kChunks), kFile),
        Case::either("chunked in an answer of HTTP/1.0 is taken off or refused", "RFC 9112, 6.1: its framing is faulty",
                     answer("HTTP/1.0 200 OK", kChunked, kChunks), kFile),
    };
}

QList<FramingCase> chunkCases()
{
    const QByteArray syntax = "RFC 9112, 7.1: chunks";
    const QByteArray size = "RFC 9112, 7.1: a size is hexadecimal digits";
    const QByteArray extension = "RFC 9112, 7.1.1: extensions are passed over";
    const QByteArray trailer = "RFC 9112, 7.1.2: trailers are not the file";
    const QByteArray last = "RFC 9112, 8: the last chunk is missing";
    const QByteArray closed = "RFC 9112, 7.1: CRLF ends the data of a chunk";
    const QByteArray one = "hello world!\r\n0\r\n\r\n";
    const QByteArray overflow = "RFC 9112, 7.1: sizes overflow";
    return {
        Case::whole("an empty chunked body is a file", syntax, chunked("0\r\n\r\n"), "").keptOpen(),
        Case::whole("chunks of one byte are fine", syntax, chunked("1\r\na\r\n1\r\nb\r\n1\r\nc\r\n0\r\n\r\n"), "abc")
            .keptOpen(),
        Case::whole("a size in small letters is fine", size, chunked("c\r\n" + one), kFile).keptOpen(),
        Case::whole("a size in capitals is fine", size, chunked("C\r\n" + one), kFile).keptOpen(),
        Case::whole("zeros before a size are fine", size, chunked("000c\r\n" + one), kFile).keptOpen(),
        Case::either("a hundred zeros before a size may pass", size,
                     chunked(QByteArray("0").repeated(100) + "c\r\n" + one), kFile),
        Case::whole("a last chunk of many zeros is fine", size, chunked("c\r\nhello world!\r\n00000\r\n\r\n"), kFile)
            .keptOpen(),
        Case::whole("data that looks like a last chunk is data", syntax, chunked("7\r\n\r\n0\r\n\r\n\r\n0\r\n\r\n"),
                    "\r\n0\r\n\r\n")
            .keptOpen(),
        Case::whole("an extension is fine", extension, chunked("c;a\r\n" + one), kFile).keptOpen(),
        Case::whole("an extension with a value is fine", extension, chunked("c;a=b;c=d\r\n" + one), kFile).keptOpen(),
        Case::whole("an extension in quotes is fine", extension, chunked("c;a=\"b;\\\"c\"\r\n" + one), kFile)
            .keptOpen(),
        Case::whole("an extension with spaces is fine", extension, chunked("c ; a = b\r\n" + one), kFile).keptOpen(),
        Case::whole("an extension that looks like a size is fine", extension, chunked("c;5\r\n" + one), kFile)
            .keptOpen(),
        Case::whole("an extension of the last chunk is fine", extension, chunked("c\r\nhello world!\r\n0;a=b\r\n\r\n"),
                    kFile)
            .keptOpen(),
        Case::whole("an extension of a thousand bytes is fine", extension,
                    chunked("c;a=" + QByteArray("b").repeated(1000) + "\r\n" + one), kFile)
            .keptOpen(),
        Case::either("an extension of 20,000 bytes may pass", extension,
                     chunked("c;a=" + QByteArray("b").repeated(20000) + "\r\n" + one), kFile),
        Case::either("an extension of 100 MB may pass", extension, chunked("c;\r\n" + one), kFile)
            .filled(chunked("c;").size(), 100000000),
        Case::refused("a size of 100 MB is refused", size, chunked("z\r\n" + one))
            .filled(chunked("").size(), 100000000),
        Case::whole("trailers are not the file", trailer, chunked("c\r\nhello world!\r\n0\r\nA: b\r\nC: d\r\n\r\n"),
                    kFile)
            .keptOpen(),
        Case::whole("a length in the trailers means nothing", trailer,
                    chunked("c\r\nhello world!\r\n0\r\nContent-Length: 5\r\n\r\n"), kFile)
            .keptOpen(),
        Case::whole("a range in the trailers means nothing", trailer,
                    chunked("c\r\nhello world!\r\n0\r\nContent-Range: bytes 0-4/5\r\n\r\n"), kFile)
            .keptOpen(),
        Case::either("a trailer without a colon may pass", trailer,
                     chunked("c\r\nhello world!\r\n0\r\nnonsense\r\n\r\n"), kFile),
        Case::either("trailers that are cut leave the file whole or are refused", trailer,
                     chunked("c\r\nhello world!\r\n0\r\nA: b"), kFile),
        Case::either("a last chunk without its empty line leaves the file whole or is refused", trailer,
                     chunked("c\r\nhello world!\r\n0\r\n"), kFile),
        Case::refused("a last chunk that is cut behind its zero is refused", last, chunked("c\r\nhello world!\r\n0"),
                      kFile),
        Case::refused("a missing last chunk is refused", last, chunked("c\r\nhello world!\r\n"), kFile),
        Case::refused("a missing last chunk and a reset are refused", last, chunked("c\r\nhello world!\r\n"), kFile)
            .reset(),
        Case::refused("a body that is cut behind a chunk's data is refused", last, chunked("c\r\nhello world!"), kFile),
        Case::refused("a body that is cut in a chunk's data is refused", last, chunked("c\r\nhello "), kFirstHalf),
        Case::refused("a body that is cut behind a size is refused", last, chunked("6\r\nhello \r\n6\r\n"), kFirstHalf),
        Case::refused("a body that is cut in a size is refused", last, chunked("6\r\nhello \r\n6"), kFirstHalf),
        Case::refused("a body that is cut in an extension is refused", last, chunked("6\r\nhello \r\n0;a"), kFirstHalf),
        Case::refused("chunked without a body is refused", last, chunked("")),
        Case::refused("a body that is not chunked is refused", size, chunked(kFile)),
        Case::refused("a size that is no number is refused", size, chunked("xyz\r\n" + one)).keptOpen(),
        Case::refused("a size that is no number behind a chunk is refused", size,
                      chunked("6\r\nhello \r\nxyz\r\nworld!\r\n0\r\n\r\n"), kFirstHalf)
            .keptOpen(),
        Case::refused("a letter behind a size is refused", size, chunked("cx\r\n" + one)).keptOpen(),
        Case::refused("a letter behind the size of the last chunk is refused", size,
                      chunked("c\r\nhello world!\r\n0x\r\n\r\n"), kFile)
            .keptOpen(),
        Case::refused("an empty size is refused", size, chunked("\r\n" + one)).keptOpen(),
        Case::refused("an empty size behind a chunk is refused", size, chunked("6\r\nhello \r\n\r\n0\r\n\r\n"),
                      kFirstHalf)
            .keptOpen(),
        Case::refused("an extension without a size is refused", size, chunked(";a=b\r\n" + one)).keptOpen(),
        Case::refused("a size below zero is refused", size, chunked("-c\r\n" + one)).keptOpen(),
        Case::refused("a size with a plus is refused", size, chunked("+c\r\n" + one)).keptOpen(),
        Case::refused("a size with 0x is refused", size, chunked("0xc\r\n" + one)).keptOpen(),
        Case::refused("two numbers in a size are refused", size, chunked("c c\r\n" + one)).keptOpen(),
        Case::refused("a NUL behind a size is refused", size, chunked("c\0\r\n"_ba + one)).keptOpen(),
        Case::refused("a comma in a size is refused", size, chunked("c,c\r\n" + one)).keptOpen(),
        Case::refused("a decimal size is taken as hexadecimal", last, chunked("12\r\n" + one),
                      "hello world!\r\n0\r\n\r"),
        Case::either("a space before a size may pass", size, chunked(" c\r\n" + one), kFile),
        Case::either("a space behind a size may pass", size, chunked("c \r\n" + one), kFile),
        Case::either("a tab behind a size may pass", size, chunked("c\t\r\n" + one), kFile),
        Case::either("a semicolon without an extension may pass", extension, chunked("c;\r\n" + one), kFile),
        Case::refused("a size that is 12 when it overflows is refused", overflow,
                      chunked("1000000000000000c\r\n" + one))
            .keptOpen(),
        Case::refused("a size of all ones is refused", overflow, chunked("ffffffffffffffff\r\n" + one), one + "0"),
        Case::refused("a size of 2 to the 63rd is refused", overflow, chunked("8000000000000000\r\n" + one), one),
        Case::refused("a size of eighty digits is refused", overflow,
                      chunked(QByteArray("f").repeated(80) + "\r\n" + one))
            .keptOpen(),
        Case::refused("no CRLF behind the data is refused", closed, chunked("c\r\nhello world!0\r\n\r\n"), kFile)
            .keptOpen(),
        Case::refused("two letters in place of CRLF are refused", closed, chunked("c\r\nhello world!xx0\r\n\r\n"),
                      kFile)
            .keptOpen(),
        Case::refused("data beyond its chunk is refused", closed, chunked("5\r\n" + one), "hello").keptOpen(),
        Case::refused("one byte beyond its chunk is refused", closed, chunked("b\r\n" + one), "hello world").keptOpen(),
        Case::refused("a CR alone behind the data is refused", closed, chunked("c\r\nhello world!\r0\r\n\r\n"), kFile)
            .keptOpen(),
        Case::either("LF alone behind the data may pass", closed, chunked("c\r\nhello world!\n0\r\n\r\n"), kFile),
        Case::either("LF alone behind sizes may pass", closed, chunked("c\nhello world!\n0\n\n"), kFile),
        Case::refused("a CR alone behind a size is refused", size, chunked("c\rhello world!\r\n0\r\n\r\n")),
        Case::whole("junk behind the last chunk is not the file", syntax, chunked(kChunks + "junk"), kFile).keptOpen(),
        Case::whole("another answer behind the last chunk is not the file", syntax, chunked(kChunks) + chunked(kChunks),
                    kFile)
            .keptOpen(),
    };
}
