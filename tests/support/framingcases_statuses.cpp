// SPDX-License-Identifier: MIT
#include <tests/support/framingcases.h>

#include <tests/support/framingwords.h>

using namespace FramingWords;

namespace
{
using Case = FramingCase;

const QByteArray kWhole = ok("Content-Length: 12", kFile);

QByteArray status(const QByteArray &line, const QByteArray &fields = "Content-Length: 12",
                  const QByteArray &body = kFile)
{
    return answer("HTTP/1.1 " + line, fields, body);
}

QByteArray asksFor(const QByteArray &challenge)
{
    return status("401 Unauthorized", challenge + "\r\nContent-Length: 4", "what");
}

QByteArray digest(const QByteArray &more)
{
    return "Digest realm=\"r\", nonce=\"n0n5e\", qop=\"auth\"" + more;
}

QByteArray range(const QByteArray &contentRange, const QByteArray &body = kSecondHalf)
{
    return partial("Content-Range: " + contentRange + "\r\nContent-Length: " + QByteArray::number(body.size()), body);
}

FramingCase asked(const QByteArray &name, const QByteArray &challenge)
{
    return Case::whole(name, "RFC 9110, 11.6.1: one of the challenges is enough", asksFor(challenge), kFile)
        .keptOpen()
        .then(kWhole)
        .withLogin();
}

FramingCase redirected(const QByteArray &line, const QByteArray &fields, const QByteArray &body)
{
    return Case::whole("a redirect (" + line + ") leads to the file", "RFC 9110, 15.4: redirects",
                       status(line, "Location: again/here.bin\r\n" + fields, body), kFile)
        .then(kWhole);
}
}

QList<FramingCase> statusCases()
{
    const QByteArray bodiless = "RFC 9112, 6.3: an answer of this status has no body";
    const QByteArray notOk = "RFC 9110, 15: this is not the file";
    const QByteArray interim = "RFC 9110, 15.2: interim answers are passed over";
    const QByteArray early = "RFC 9112, 9: an answer before its request";
    const QByteArray hint = "HTTP/1.1 103 Early Hints\r\nLink: </a>; rel=preload\r\n\r\n";
    FramingCase circle = Case::refused("a redirect to itself is refused", "RFC 9110, 15.4: circles",
                                       status("302 Found", "Location: here.bin\r\nContent-Length: 0", ""));
    for (int i = 0; i < 60; ++i) {
        circle.then(circle.answers.first().bytes);
    }
    return {
        Case::either("204 is an empty file or refused", bodiless, status("204 No Content", "", ""), "").keptOpen(),
        Case::either("what follows 204 is not the file", bodiless, status("204 No Content"), "").keptOpen(),
        Case::either("what follows 204 is not a chunked file", bodiless, status("204 No Content", kChunked, kChunks),
                     "")
            .keptOpen(),
        Case::either("205 is an empty file or refused", "RFC 9110, 15.3.6: it has no content",
                     status("205 Reset Content", "Content-Length: 0", ""), "")
            .keptOpen(),
        Case::refused("304 that nobody asked for is refused", bodiless, status("304 Not Modified", "", "")).keptOpen(),
        Case::refused("what follows 304 is not the file", bodiless, status("304 Not Modified")).keptOpen(),
        Case::refused("a head as of HEAD without its body is refused", "RFC 9112, 8: the length is not met",
                      status("200 OK", "Content-Length: 12", "")),
        Case::refused("a chunked head as of HEAD without its body is refused", "RFC 9112, 8: the last chunk is missing",
                      status("200 OK", kChunked, "")),
        Case::either("201 is the file or refused", notOk, status("201 Created"), kFile).keptOpen(),
        Case::either("203 is the file or refused", notOk, status("203 Non-Authoritative Information"), kFile)
            .keptOpen(),
        Case::refused("300 without an address is refused", notOk, status("300 Multiple Choices")).keptOpen(),
        Case::refused("302 without an address is refused", notOk, status("302 Found")).keptOpen(),
        Case::refused("403 is refused", notOk, status("403 Forbidden")).keptOpen(),
        Case::refused("404 is refused", notOk, status("404 Not Found")).keptOpen(),
        Case::refused("404 whose body is cut is refused", notOk, status("404 Not Found", "Content-Length: 50", kFile)),
        Case::refused("404 in chunks is refused", notOk, status("404 Not Found", kChunked, kChunks)).keptOpen(),
        Case::refused("416 to a request for everything is refused", notOk, status("416 Range Not Satisfiable"))
            .keptOpen(),
        Case::refused("500 is refused", notOk, status("500 Oh")).keptOpen(),
        Case::refused("599 is refused", notOk, status("599 Oh")).keptOpen(),
        Case::whole("100 is passed over", interim, "HTTP/1.1 100 Continue\r\n\r\n" + kWhole, kFile).keptOpen(),
        Case::whole("102 is passed over", interim, "HTTP/1.1 102 Processing\r\n\r\n" + kWhole, kFile).keptOpen(),
        Case::whole("103 with its fields is passed over", interim, hint + kWhole, kFile).keptOpen(),
        Case::whole("103 twice is passed over", interim, hint + hint + kWhole, kFile).keptOpen(),
        Case::whole("an unknown interim answer is passed over", interim, "HTTP/1.1 199 Hm\r\n\r\n" + kWhole, kFile)
            .keptOpen(),
        Case::whole("100 before a chunked answer is passed over", interim,
                    "HTTP/1.1 100 Continue\r\n\r\n" + chunked(kChunks), kFile)
            .keptOpen(),
        Case::whole("a length of an interim answer means nothing", interim,
                    "HTTP/1.1 103 Early Hints\r\nContent-Length: 5\r\n\r\n" + kWhole, kFile)
            .keptOpen(),
        Case::whole("a coding of an interim answer means nothing", interim,
                    "HTTP/1.1 103 Early Hints\r\nTransfer-Encoding: chunked\r\n\r\n" + kWhole, kFile)
            .keptOpen(),
        Case::whole("a range of an interim answer means nothing", interim,
                    "HTTP/1.1 103 Early Hints\r\nContent-Range: bytes 0-4/5\r\n\r\n" + kWhole, kFile)
            .keptOpen(),
        Case::refused("an interim answer does not hide that the body is cut", interim,
                      hint + ok("Content-Length: 12", kFirstHalf), kFirstHalf),
        Case::refused("an interim answer alone is refused", "RFC 9112, 8: the answer is missing", hint),
        Case::refused("an interim answer and half a head are refused", "RFC 9112, 8: the head is incomplete",
                      hint + "HTTP/1.1 200 OK\r\nContent-"),
        Case::either("a flood of interim answers ends", interim,
                     QByteArray("HTTP/1.1 100 Continue\r\n\r\n").repeated(40000) + kWhole, kFile),
        Case::refused("101 that nobody asked for is refused", "RFC 9110, 15.2.2: the client did not offer to switch",
                      "HTTP/1.1 101 Switching Protocols\r\nUpgrade: x\r\nConnection: upgrade\r\n\r\n" + kWhole),
        Case::refused("101 without a protocol is refused", "RFC 9110, 15.2.2: the client did not offer to switch",
                      "HTTP/1.1 101 Switching Protocols\r\n\r\n" + kFile),
        Case::either("an answer before its request is the file or refused", early, kWhole, kFile).greeting(),
        Case::refused("an error before the request is refused", early, status("408 Request Timeout")).greeting(),
        Case::refused("junk before the request is refused", early, "junk\r\n").greeting(),
        Case::refused("a file without a head before the request is refused", early, kFile).greeting(),
        redirected("301 Moved Permanently", "Content-Length: 4", "what"),
        redirected("302 Found", kChunked, kChunks),
        redirected("303 See Other", "Content-Length: 0", ""),
        redirected("307 Temporary Redirect", "Content-Length: 0", ""),
        redirected("308 Permanent Redirect", "Content-Length: 0", ""),
        Case::refused("a file behind a redirect that is cut is refused", "RFC 9112, 8: the length is not met",
                      status("302 Found", "Location: here.bin\r\nContent-Length: 0", ""), kFirstHalf)
            .then(ok("Content-Length: 12", kFirstHalf)),
        circle,
        asked("Basic lets in", "WWW-Authenticate: Basic realm=\"r\""),
        asked("Digest with MD5 lets in", "WWW-Authenticate: " + digest(", algorithm=MD5")),
        asked("Digest without an algorithm lets in", "WWW-Authenticate: " + digest("")),
        asked("Digest with SHA-256 lets in", "WWW-Authenticate: " + digest(", algorithm=SHA-256")),
        asked("Basic and Digest in one field let in",
              "WWW-Authenticate: Basic realm=\"r\", " + digest(", algorithm=MD5")),
        asked("Digest and Basic in one field let in",
              "WWW-Authenticate: " + digest(", algorithm=MD5") + ", Basic realm=\"r\""),
        asked("SHA-256 and MD5 in two fields let in",
              "WWW-Authenticate: " + digest(", algorithm=SHA-256")
                  + "\r\nWWW-Authenticate: " + digest(", algorithm=MD5")),
        asked("what we do not speak beside Basic lets in",
              "WWW-Authenticate: X-Nobody a=\"b\"\r\nWWW-Authenticate: Basic realm=\"r\""),
        asked("what we do not speak and Basic in one field let in",
              "WWW-Authenticate: X-Nobody a=\"b\", Basic realm=\"r\""),
        Case::refused("401 without a challenge is refused", notOk, status("401 Unauthorized")).keptOpen().withLogin(),
        Case::refused("a password that is refused again is refused", notOk,
                      asksFor("WWW-Authenticate: Basic realm=\"r\""))
            .keptOpen()
            .then(asksFor("WWW-Authenticate: Basic realm=\"r\""))
            .withLogin(),
    };
}

QList<FramingCase> rangeCases()
{
    const QByteArray asked = "RFC 9110, 15.3.7: the part that was asked for";
    const QByteArray other = "RFC 9110, 15.3.7: not the part that was asked for";
    const QByteArray invalid = "RFC 9110, 14.4: the range is not valid";
    const QByteArray otherFile = "RFC 9110, 15.3.7.3: parts of two files";
    const QByteArray length = "RFC 9112, 6.3: the length contradicts the range";
    const QByteArray nothing = "RFC 9110, 14.4: means nothing but in 206 and 416";
    const QByteArray short416 = "RFC 9110, 15.5.17: the length that the server has";
    const QByteArray nine = "hello wor";
    const QByteArray multipart =
        "--b\r\nContent-Type: text/plain\r\nContent-Range: bytes 6-11/12\r\n\r\nworld!\r\n--b--\r\n";
    const QByteArray zeros = "bytes 0-11/12";
    return {
        Case::whole("the part that was asked for completes the file", asked, range("bytes 6-11/12"), kFile)
            .keptOpen()
            .resumed(),
        Case::whole("the part in chunks completes the file", asked,
                    partial("Content-Range: bytes 6-11/12\r\n" + kChunked, "6\r\nworld!\r\n0\r\n\r\n"), kFile)
            .keptOpen()
            .resumed(),
        Case::whole("the part without a length completes the file", asked,
                    partial("Content-Range: bytes 6-11/12", kSecondHalf), kFile)
            .resumed(),
        Case::refused("the part without a length that is cut is refused", "RFC 9112, 8: the size is known",
                      partial("Content-Range: bytes 6-11/12", "wor"), nine)
            .resumed(),
        Case::refused("the part with a length that is cut is refused", "RFC 9112, 8: the length is not met",
                      range("bytes 6-11/12").chopped(3), nine)
            .resumed(),
        Case::refused("the part in chunks that is cut is refused", "RFC 9112, 8: the last chunk is missing",
                      partial("Content-Range: bytes 6-11/12\r\n" + kChunked, "3\r\nwor\r\n"), nine)
            .resumed(),
        Case::refused("a part that does not say whether it is the last is refused",
                      "RFC 9110, 15.3.7: a server may send less than was asked for", range("bytes 6-11/*"), nine)
            .resumed(),
        Case::refused("a smaller part that does not say whether it is the last is refused",
                      "RFC 9110, 15.3.7: a server may send less than was asked for", range("bytes 6-8/*", "wor"), nine)
            .resumed(),
        Case::whole("a smaller part is taken, and the next", asked, range("bytes 6-8/12", "wor"), kFile)
            .keptOpen()
            .then(range("bytes 9-11/12", "ld!"))
            .resumed(),
        Case::refused("a smaller part alone is refused", other, range("bytes 6-8/12", "wor"), nine).resumed(),
        Case::refused("a part that begins before is refused", other, range("bytes 5-11/12", " world!"), kFirstHalf)
            .resumed(),
        Case::refused("a part that begins behind is refused", other, range("bytes 7-11/12", "orld!"), kFirstHalf)
            .resumed(),
        Case::refused("a part of another place of the same length is refused", other, range("bytes 0-5/12", "hello "),
                      kFirstHalf)
            .resumed(),
        Case::either("all of it in a part is taken or refused", other, range(zeros, kFile), kFile).resumed(),
        Case::refused("a part of a longer file is refused", otherFile, range("bytes 6-11/13"), kFirstHalf).resumed(),
        Case::refused("a part of a shorter file is refused", otherFile, range("bytes 6-10/11", "world"), kFirstHalf)
            .resumed(),
        Case::refused("a part of a file with another tag is refused", otherFile,
                      range("bytes 6-11/12").replace("\"v1\"", "\"v2\""), kFirstHalf)
            .resumed(),
        Case::refused("a part that ends beyond the file is refused", invalid, range("bytes 6-12/12", "world!x"),
                      kFirstHalf)
            .resumed(),
        Case::refused("a part that ends before it begins is refused", invalid, range("bytes 6-5/12"), kFirstHalf)
            .resumed(),
        Case::refused("a part without a place is refused", invalid, range("bytes */12"), kFirstHalf).resumed(),
        Case::refused("a part without a size is refused", invalid, range("bytes 6-11"), kFirstHalf).resumed(),
        Case::refused("a part of another unit is refused", invalid, range("items 6-11/12"), kFirstHalf).resumed(),
        Case::refused("a part without a unit is refused", invalid, range("6-11/12"), kFirstHalf).resumed(),
        Case::either("a unit in capitals may pass", "RFC 9110, 14.1: units are case-insensitive",
                     range("BYTES 6-11/12"), kFile)
            .resumed(),
        Case::either("an equals sign in place of the space may pass", invalid, range("bytes=6-11/12"), kFile).resumed(),
        Case::either("two spaces behind the unit may pass", invalid, range("bytes  6-11/12"), kFile).resumed(),
        Case::refused("a part with letters is refused", invalid, range("bytes six-11/12"), kFirstHalf).resumed(),
        Case::refused("a part below zero is refused", invalid, range("bytes -6-11/12"), kFirstHalf).resumed(),
        Case::refused("a part that is right when it overflows is refused", invalid,
                      range("bytes 18446744073709551622-18446744073709551627/18446744073709551628"), kFirstHalf)
            .resumed(),
        Case::refused("an empty range is refused", invalid, range(""), kFirstHalf).resumed(),
        Case::refused("a part without a range is refused", other, partial("Content-Length: 6", kSecondHalf), kFirstHalf)
            .resumed(),
        Case::refused(
            "a part with two ranges is refused", invalid,
            partial("Content-Range: bytes 6-11/12\r\nContent-Range: bytes 0-5/12\r\nContent-Length: 6", kSecondHalf),
            kFirstHalf)
            .resumed(),
        Case::refused(
            "a part with two ranges, the right one last, is refused", invalid,
            partial("Content-Range: bytes 0-5/12\r\nContent-Range: bytes 6-11/12\r\nContent-Length: 6", kSecondHalf),
            kFirstHalf)
            .resumed(),
        Case::either(
            "a part with its range said twice may pass", invalid,
            partial("Content-Range: bytes 6-11/12\r\nContent-Range: bytes 6-11/12\r\nContent-Length: 6", kSecondHalf),
            kFile)
            .resumed(),
        Case::refused("parts within a part are refused", "RFC 9110, 15.3.7.2: nobody asked for several",
                      partial("Content-Type: multipart/byteranges; boundary=b\r\nContent-Length: "
                                  + QByteArray::number(multipart.size()),
                              multipart),
                      kFirstHalf)
            .resumed(),
        Case::refused("a part shorter than its range is refused", length, range("bytes 6-11/12", "world"),
                      "hello world")
            .resumed(),
        Case::refused("a part longer than its range is refused", length, range("bytes 6-11/12", "world!x"), kFile)
            .resumed(),
        Case::refused("all of it with the range of a part is refused", length, range("bytes 6-11/12", kFile),
                      kFirstHalf)
            .resumed(),
        Case::refused("chunks shorter than the range are refused", length,
                      partial("Content-Range: bytes 6-11/12\r\n" + kChunked, "3\r\nwor\r\n0\r\n\r\n"), nine)
            .keptOpen()
            .resumed(),
        Case::either("chunks longer than the range are cut to it or refused", length,
                     partial("Content-Range: bytes 6-11/12\r\n" + kChunked, "7\r\nworld!x\r\n0\r\n\r\n"), kFile)
            .keptOpen()
            .resumed(),
        Case::either("everything in place of a part is taken or refused", "RFC 9110, 14.2: a server may ignore a range",
                     ok("ETag: \"v1\"\r\nContent-Length: 12", kFile), kFile)
            .keptOpen()
            .resumed(),
        Case::refused("everything in place of a part does not follow the part",
                      "RFC 9110, 14.2: a server may ignore a range",
                      ok("ETag: \"v1\"\r\nContent-Length: 12", kFirstHalf), kFirstHalf)
            .resumed(),
        Case::either("everything in place of a part that says to be one is everything", nothing,
                     ok("ETag: \"v1\"\r\nContent-Range: bytes 6-11/12\r\nContent-Length: 12", kFile), kFile)
            .keptOpen()
            .resumed(),
        Case::whole("a range at the beginning means nothing in 200", nothing, okWith("Content-Range: bytes 0-4/12"),
                    kFile)
            .keptOpen(),
        Case::whole("a range at the end means nothing in 200", nothing, okWith("Content-Range: bytes 7-11/12"), kFile)
            .keptOpen(),
        Case::whole("a range of a shorter file means nothing in 200", nothing, okWith("Content-Range: bytes 0-4/5"),
                    kFile)
            .keptOpen(),
        Case::whole("a range without a place means nothing in 200", nothing, okWith("Content-Range: bytes */5"), kFile)
            .keptOpen(),
        Case::whole("a range means nothing in a chunked 200", nothing,
                    ok("Content-Range: bytes 0-4/5\r\n" + kChunked, kChunks), kFile)
            .keptOpen(),
        Case::whole("nonsense in a range means nothing in 200", nothing, okWith("Content-Range: nonsense"), kFile)
            .keptOpen(),
        Case::either("all of it in a part that nobody asked for is taken or refused", other, range(zeros, kFile), kFile)
            .keptOpen(),
        Case::refused("a part that nobody asked for is not the file", other, range("bytes 0-5/12", kFirstHalf),
                      kFirstHalf)
            .keptOpen(),
        Case::refused("the end of it that nobody asked for is not the file", other, range("bytes 6-11/12"), "")
            .keptOpen(),
        Case::refused("a part that nobody asked for without a range is refused", other,
                      partial("Content-Length: 6", kFirstHalf), kFirstHalf)
            .keptOpen(),
        Case::refused("416 to a part that there is is refused", short416,
                      status("416 No", "Content-Range: bytes */12\r\nContent-Length: 4", "what"), kFirstHalf)
            .keptOpen()
            .resumed(),
        Case::refused("416 of a file that has become shorter is refused", short416,
                      status("416 No", "Content-Range: bytes */6\r\nContent-Length: 4", "what"), kFirstHalf)
            .keptOpen()
            .resumed(),
        Case::refused("416 without a range is refused", short416, status("416 No", "Content-Length: 4", "what"),
                      kFirstHalf)
            .keptOpen()
            .resumed(),
        Case::either("416 that says the file ends here completes it or is refused", short416,
                     status("416 No", "ETag: \"v1\"\r\nContent-Range: bytes */12\r\nContent-Length: 4", "what"), kFile)
            .keptOpen()
            .complete(),
        Case::refused("416 that says the file is longer is refused", short416,
                      status("416 No", "ETag: \"v1\"\r\nContent-Range: bytes */13\r\nContent-Length: 4", "what"), kFile)
            .keptOpen()
            .complete(),
        Case::refused("416 that says the file is shorter is refused", short416,
                      status("416 No", "ETag: \"v1\"\r\nContent-Range: bytes */5\r\nContent-Length: 4", "what"), kFile)
            .keptOpen()
            .complete(),
    };
}
