// SPDX-License-Identifier: MIT
#include <tests/support/framingcases.h>

#include <tests/support/framingwords.h>

using namespace FramingWords;

namespace
{
FramingCase made(FramingCase::Verdict verdict, const QByteArray &name, const QByteArray &rule, const QByteArray &answer,
                 const QByteArray &file)
{
    FramingCase made;
    made.name = name;
    made.rule = rule;
    made.verdict = verdict;
    made.file = file;
    made.then(answer);
    return made;
}
}

FramingCase FramingCase::whole(const QByteArray &name, const QByteArray &rule, const QByteArray &answer,
                               const QByteArray &file)
{
    return made(Verdict::Whole, name, rule, answer, file);
}

FramingCase FramingCase::refused(const QByteArray &name, const QByteArray &rule, const QByteArray &answer,
                                 const QByteArray &certain)
{
    return made(Verdict::Refused, name, rule, answer, certain);
}

FramingCase FramingCase::either(const QByteArray &name, const QByteArray &rule, const QByteArray &answer,
                                const QByteArray &file)
{
    return made(Verdict::Either, name, rule, answer, file);
}

FramingCase &FramingCase::then(const QByteArray &answer)
{
    RawAnswer raw;
    raw.bytes = answer;
    answers.append(raw);
    return *this;
}

FramingCase &FramingCase::reset()
{
    answers.last().end = RawAnswer::End::Reset;
    return *this;
}

FramingCase &FramingCase::keptOpen()
{
    answers.last().end = RawAnswer::End::KeepOpen;
    return *this;
}

FramingCase &FramingCase::resumed()
{
    begin = Begin::AfterSix;
    return *this;
}

FramingCase &FramingCase::complete()
{
    begin = Begin::AfterAll;
    return *this;
}

FramingCase &FramingCase::greeting()
{
    isGreeting = true;
    return *this;
}

FramingCase &FramingCase::withLogin()
{
    login = "anna:secret";
    return *this;
}

FramingCase &FramingCase::filled(qsizetype at, qint64 size)
{
    answers.last().fillAt = at;
    answers.last().fillSize = size;
    return *this;
}

QList<FramingCase> allFramingCases()
{
    return statusLineCases() + fieldCases() + lengthCases() + transferCodingCases() + chunkCases() + statusCases()
        + rangeCases();
}

RawAnswer firstPartOf(FramingCase::Begin begin)
{
    const QByteArray known = "ETag: \"v1\"\r\nAccept-Ranges: bytes\r\n";
    RawAnswer raw;
    if (begin == FramingCase::Begin::AfterSix) {
        raw.bytes = ok(known + "Content-Length: 12", kFirstHalf);
    } else if (begin == FramingCase::Begin::AfterAll) {
        raw.bytes = ok(known + kChunked, "c\r\nhello world!\r\n");
    }
    return raw;
}

QList<SoundAnswer> soundAnswers()
{
    using Begin = FramingCase::Begin;
    const QByteArray rest = "Content-Range: bytes 6-11/12";
    const QByteArray unknownLength = ok("Connection: close", kFile);
    const QByteArray digest = answer("HTTP/1.1 401 No",
                                     "WWW-Authenticate: Digest realm=\"r\", nonce=\"n\", qop=\"auth\"\r\n"
                                     "Content-Length: 4",
                                     "what");
    return {
        {"length", {ok("Content-Length: 12", kFile)}, kFile},
        {"emptylength", {ok("Content-Length: 0", "")}, ""},
        {"twolengths", {ok("Content-Length: 12\r\nContent-Length: 12", kFile)}, kFile},
        {"chunked", {chunked(kChunks)}, kFile},
        {"extensions",
         {chunked("006;a=b\r\nhello \r\n6;q=\"x;\\\"y\"\r\nworld!\r\n0;end\r\nMore: 1\r\nLast: 2\r\n\r\n")},
         kFile},
        {"chunkedlength", {ok("Content-Length: 5\r\nTransfer-Encoding: chunked", kChunks)}, kFile},
        {"closed", {unknownLength}, kFile, Begin::AtZero, {}, unknownLength.size() - kFile.size()},
        {"oldclosed", {answer("HTTP/1.0 200 OK", {}, kFile)}, kFile, Begin::AtZero, {}, 19},
        {"partial", {partial(rest + "\r\nContent-Length: 6", kSecondHalf)}, kFile, Begin::AfterSix},
        {"partialchunked", {partial(rest + "\r\n" + kChunked, "6\r\nworld!\r\n0\r\n\r\n")}, kFile, Begin::AfterSix},
        {"partialclosed", {partial(rest, kSecondHalf)}, kFile, Begin::AfterSix},
        {"beyond",
         {answer("HTTP/1.1 416 No", "Content-Range: bytes */12\r\nContent-Length: 4", "what")},
         kFile,
         Begin::AfterSix,
         {},
         -1,
         false},
        {"redirect",
         {answer("HTTP/1.1 302 Found", "Location: again/here.bin\r\nContent-Length: 4", "what"),
          ok("Content-Length: 12", kFile)},
         kFile},
        {"digest", {digest, ok("Content-Length: 12", kFile)}, kFile, Begin::AtZero, "anna:secret"},
        {"interim",
         {"HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 103 Early Hints\r\nLink: <a>\r\n\r\n"
          + ok("Content-Length: 12", kFile)},
         kFile},
        {"nocontent", {answer("HTTP/1.1 204 No Content", {}, {})}, "", Begin::AtZero, {}, -1, false},
    };
}
