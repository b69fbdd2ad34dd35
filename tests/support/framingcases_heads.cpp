// SPDX-License-Identifier: MIT
#include <tests/support/framingcases.h>

#include <tests/support/framingwords.h>

using namespace FramingWords;
using namespace Qt::StringLiterals;

namespace
{
using Case = FramingCase;

constexpr qsizetype kBehindStatusLine = 17;
constexpr qint64 kKiB = 1024;

QByteArray repeated(const QByteArray &line, int count)
{
    return line.repeated(count);
}
}

QList<FramingCase> statusLineCases()
{
    const QByteArray line = "RFC 9112, 4: the status line";
    const QByteArray lenient = "RFC 9112, 4: may be taken leniently";
    const QByteArray code = "RFC 9112, 4: a status is three digits";
    const QByteArray version = "RFC 9110, 2.5: versions";
    const QByteArray noHttp = "RFC 9112, 2.1: that is no HTTP/1.1 message";
    return {
        Case::whole("a status line without words is fine", line, okWithStatusLine("HTTP/1.1 200 "), kFile).keptOpen(),
        Case::either("a status line that ends behind its number may pass", lenient, okWithStatusLine("HTTP/1.1 200"),
                     kFile)
            .keptOpen(),
        Case::whole("words of the status in another alphabet are fine", line,
                    okWithStatusLine("HTTP/1.1 200 \xc3\xa4\xff"), kFile)
            .keptOpen(),
        Case::whole("words of the status with a tab are fine", line, okWithStatusLine("HTTP/1.1 200 a\tb"), kFile)
            .keptOpen(),
        Case::whole("two thousand bytes of words are fine", line,
                    okWithStatusLine("HTTP/1.1 200 " + repeated("w", 2000)), kFile)
            .keptOpen(),
        Case::refused("a status of two digits is refused", code, okWithStatusLine("HTTP/1.1 20 OK")),
        Case::refused("a status of four digits is refused", code, okWithStatusLine("HTTP/1.1 2000 OK")),
        Case::refused("a status with a letter is refused", code, okWithStatusLine("HTTP/1.1 2x0 OK")),
        Case::refused("a status below zero is refused", code, okWithStatusLine("HTTP/1.1 -20 OK")),
        Case::refused("a status line without a status is refused", code, okWithStatusLine("HTTP/1.1 OK")),
        Case::refused("status 000 is refused", "RFC 9110, 15: 100 to 599", okWithStatusLine("HTTP/1.1 000 OK")),
        Case::refused("status 099 is refused", "RFC 9110, 15: 100 to 599", okWithStatusLine("HTTP/1.1 099 OK")),
        Case::refused("status 600 is refused", "RFC 9110, 15: counts as 500", okWithStatusLine("HTTP/1.1 600 OK")),
        Case::refused("status 999 is refused", "RFC 9110, 15: counts as 500", okWithStatusLine("HTTP/1.1 999 OK")),
        Case::either("an unknown status from 200 on counts as 200 or is refused", "RFC 9110, 15: counts as 200",
                     okWithStatusLine("HTTP/1.1 299 Fine"), kFile)
            .keptOpen(),
        Case::either("two spaces in the status line may pass", lenient, okWithStatusLine("HTTP/1.1  200 OK"), kFile),
        Case::either("a tab in the status line may pass", lenient, okWithStatusLine("HTTP/1.1\t200 OK"), kFile),
        Case::refused("the name of the protocol in small letters is refused",
                      "RFC 9112, 2.3: the name is case-sensitive", okWithStatusLine("http/1.1 200 OK")),
        Case::whole("an answer of HTTP/1.0 with a length is fine", version, okWithStatusLine("HTTP/1.0 200 OK"), kFile),
        Case::either("an answer of HTTP/1.7 counts as 1.1 or is refused", version, okWithStatusLine("HTTP/1.7 200 OK"),
                     kFile),
        Case::refused("HTTP/2.0 in letters is refused", version, okWithStatusLine("HTTP/2.0 200 OK")),
        Case::refused("HTTP/2 in letters is refused", version, okWithStatusLine("HTTP/2 200 OK")),
        Case::refused("HTTP/3.0 in letters is refused", version, okWithStatusLine("HTTP/3.0 200 OK")),
        Case::refused("HTTP/11.1 is refused", version, okWithStatusLine("HTTP/11.1 200 OK")),
        Case::refused("HTTP/1.11 is refused", version, okWithStatusLine("HTTP/1.11 200 OK")),
        Case::refused("a version without a point is refused", version, okWithStatusLine("HTTP/1 200 OK")),
        Case::refused("a status line without a version is refused", noHttp, okWithStatusLine("HTTP 200 OK")),
        Case::refused("the status line of a radio is refused", noHttp, okWithStatusLine("ICY 200 OK")),
        Case::refused("the greeting of a mail server is refused", noHttp, "220 mail ready\r\n"),
        Case::refused("a body without a head is refused", noHttp, kFile),
        Case::refused("a page without a head is refused", noHttp, "<html>hello</html>\r\n\r\n"),
        Case::refused("junk before the status line is refused", noHttp, "junk\r\n" + okWith("X: y")),
        Case::refused("a letter before the status line is refused", noHttp, "x" + okWith("X: y")),
        Case::refused("a space before the status line is refused", noHttp, " " + okWith("X: y")),
        Case::either("an empty line before the status line may pass", "RFC 9112, 2.2: asked of servers only",
                     "\r\n" + okWith("X: y"), kFile),
        Case::refused("no answer at all is refused", noHttp, ""),
        Case::refused("no answer and a reset is refused", noHttp, "").reset(),
        Case::refused("half a status line is refused", noHttp, "HTTP/1.1 20"),
        Case::refused("a status line alone is refused", "RFC 9112, 8: the head is incomplete", "HTTP/1.1 200 OK\r\n"),
        Case::refused("a NUL in the status line is refused", line, okWithStatusLine("HTTP/1.1 200 O\0K"_ba)),
        Case::refused("a bare CR in the status line is refused", "RFC 9112, 2.2: a bare CR",
                      okWithStatusLine("HTTP/1.1 200 O\rK")),
        Case::refused("a status line beyond 100 KiB is refused", line, okWithStatusLine("HTTP/1.1 200 OK"))
            .filled(15, 101 * kKiB),
        Case::either("a head whose lines end with LF may pass", "RFC 9112, 2.2: LF alone may end a line",
                     "HTTP/1.1 200 OK\nContent-Length: 12\n\n" + kFile, kFile),
    };
}

QList<FramingCase> fieldCases()
{
    const QByteArray fold = "RFC 9112, 5.2: a folded line counts as a space";
    const QByteArray syntax = "RFC 9112, 5: a field is a name, a colon and a value";
    const QByteArray value = "RFC 9110, 5.5: what a value may hold";
    const QByteArray incomplete = "RFC 9112, 8: the head is incomplete";
    const QByteArray size = "100 KiB a line and 300 KiB a head at most";
    const QByteArray half = "Content-Length: 12";
    return {
        Case::whole("a folded line is fine", fold, okWith("X: a\r\n b\r\n\tc"), kFile).keptOpen(),
        Case::either("a folded length counts or is refused", fold, ok("Content-Length:\r\n 12", kFile), kFile),
        Case::refused("a folded length is not cut to its first line", fold, ok("Content-Length: 1\r\n 2", kFile)),
        Case::refused("a folded line does not hide that the body is cut", fold, ok("X: a\r\n b\r\n" + half, kFirstHalf),
                      kFirstHalf),
        Case::either("a line that begins with a space behind the status line may pass",
                     "RFC 9112, 2.2: is to be passed over or refused", okWith(" X: a"), kFile),
        Case::refused("a field without a colon is refused", syntax, okWith("Nonsense")),
        Case::refused("a field without a colon and a body that is cut are refused", syntax,
                      ok("Nonsense\r\n" + half, kFirstHalf), kFirstHalf),
        Case::refused("a field without a name is refused", syntax, okWith(": value")),
        Case::refused("a field without a name and a body that is cut are refused", syntax,
                      ok(": value\r\n" + half, kFirstHalf), kFirstHalf),
        Case::either("a space before the colon of a length may pass", "RFC 9112, 5.1: asked of servers only",
                     ok("Content-Length : 12", kFile), kFile),
        Case::refused("a space before the colon of a length does not hide that the body is cut", "RFC 9112, 5.1",
                      ok("Content-Length : 12", kFirstHalf), kFirstHalf),
        Case::either("a space in a name may pass", syntax, okWith("X Y: z"), kFile),
        Case::refused("a NUL in a value is refused", value, okWith("X: a\0b"_ba)),
        Case::refused("a NUL in a value and a body that is cut are refused", value,
                      ok("X: a\0b\r\n"_ba + half, kFirstHalf), kFirstHalf),
        Case::refused("a NUL in a name is refused", syntax, okWith("X\0Y: a"_ba)),
        Case::refused("a NUL behind the digits of a length is refused", value, ok("Content-Length: 12\0"_ba, kFile)),
        Case::refused("a NUL on a line of its own is refused", syntax, okWith("\0"_ba)),
        Case::refused("a bare CR in a value is refused", "RFC 9112, 2.2: a bare CR", okWith("X: a\rb")),
        Case::refused("a bare CR in a value and a body that is cut are refused", "RFC 9112, 2.2: a bare CR",
                      ok("X: a\rb\r\n" + half, kFirstHalf), kFirstHalf),
        Case::refused("a bare CR in a name is refused", "RFC 9112, 2.2: a bare CR", okWith("X\rY: a")),
        Case::refused("a bare CR does not begin a field", "RFC 9112, 2.2: a bare CR",
                      ok("X: a\rContent-Length: 5", kFile)),
        Case::either("a field that ends with LF may pass", "RFC 9112, 2.2: LF alone may end a line",
                     ok("X: y\nContent-Length: 12", kFile), kFile),
        Case::whole("bytes beyond ASCII in a value are fine", value, okWith("X: \xc3\xa4\xff"), kFile).keptOpen(),
        Case::either("a control character in a value may pass", value,
                     okWith("X: a\x01"
                            "b"),
                     kFile),
        Case::whole("an empty value is fine", value, okWith("X:"), kFile).keptOpen(),
        Case::whole("a value of spaces is fine", value, okWith("X:  \t "), kFile).keptOpen(),
        Case::whole("a value with colons is fine", value, okWith("X: a:b::c"), kFile).keptOpen(),
        Case::whole("a name of all signs that a name may have is fine", "RFC 9110, 5.6.2: tokens",
                    okWith("!#$%&'*+-.^_`|~09: a"), kFile)
            .keptOpen(),
        Case::whole("names count in any spelling", "RFC 9110, 5.1: names are case-insensitive",
                    ok("cOnTeNt-LeNgTh: 12", kFile), kFile)
            .keptOpen(),
        Case::whole("no space behind the colon is fine", syntax, ok("Content-Length:12", kFile), kFile).keptOpen(),
        Case::whole("tabs and spaces around a length are fine", syntax, ok("Content-Length: \t 12 \t ", kFile), kFile)
            .keptOpen(),
        Case::whole("a value of 9,000 bytes is fine", size, okWith("X: " + repeated("y", 9000)), kFile).keptOpen(),
        Case::whole("101 fields are fine", size, okWith("X: y" + repeated("\r\nX: y", 100)), kFile).keptOpen(),
        Case::whole("101 fields before a chunked body are fine", size,
                    ok(kChunked + repeated("\r\nX: y", 100), kChunks), kFile)
            .keptOpen(),
        Case::whole("a thousand fields are fine", size, okWith("X: y" + repeated("\r\nX: y", 999)), kFile).keptOpen(),
        Case::refused("101 fields do not hide that the body is cut", size,
                      ok("X: y" + repeated("\r\nX: y", 100) + "\r\n" + half, kFirstHalf), kFirstHalf),
        Case::whole("a line of 90 KiB is fine", size, okWith("X: y"), kFile).filled(kBehindStatusLine + 3, 90 * kKiB),
        Case::refused("a line beyond 100 KiB is refused", size, okWith("X: y"))
            .filled(kBehindStatusLine + 3, 101 * kKiB),
        Case::refused("a line of 100 MB is refused", size, okWith("X: y")).filled(kBehindStatusLine + 3, 100000000),
        Case::refused("a name of 100 MB is refused", size, okWith("X: y")).filled(kBehindStatusLine, 100000000),
        Case::whole("a head of 250 KiB is fine", size, okWith("X: y" + repeated("\r\nX: " + repeated("y", 8187), 31)),
                    kFile)
            .keptOpen(),
        Case::refused("a head beyond 300 KiB is refused", size,
                      okWith("X: y" + repeated("\r\nX: " + repeated("y", 8187), 40))),
        Case::refused("a head beyond 300 KiB of small fields is refused", size,
                      okWith("X: y" + repeated("\r\nX: y", 60000))),
        Case::refused("a head that ends in a name is refused", incomplete, "HTTP/1.1 200 OK\r\nContent-Le"),
        Case::refused("a head that ends in a value is refused", incomplete, "HTTP/1.1 200 OK\r\nContent-Length: 1"),
        Case::refused("a head that ends behind a field is refused", incomplete,
                      "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n"),
        Case::refused("a head that ends in its empty line is refused", incomplete,
                      "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r"),
        Case::refused("a head that a reset ends is refused", incomplete, "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n")
            .reset(),
    };
}
