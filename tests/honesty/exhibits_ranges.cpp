// SPDX-License-Identifier: MIT
#include <tests/honesty/scripts.h>

#include <algorithm>

namespace
{
using Visit = Exhibit::Visit;

constexpr qint64 kSize = FileVersion::kSize;
constexpr qint64 kLargestPiece = 300000;
constexpr qint64 kMore = 1000;

const FileVersion kFile = FileVersion::number(0);

QByteArray asAsked(const Asked &asked)
{
    return FileVersion::contentRange(asked.first, asked.last, kSize);
}

/// The bytes from `first` on, as many as were asked for, under the Content-Range that was.
ScriptedResponse pieceFrom(qint64 first, const Asked &asked)
{
    return kFile.pieceCalled(asAsked(asked), first, first + asked.last - asked.first);
}

ScriptedResponse severalParts(const Asked &asked)
{
    ScriptedResponse response;
    response.status = 206;
    response.headers = {{"Content-Type", "multipart/byteranges; boundary=MUSEUM"}, {"ETag", kFile.etag}};
    response.body = "--MUSEUM\r\nContent-Type: application/octet-stream\r\nContent-Range: " + asAsked(asked)
        + "\r\n\r\n" + kFile.bytes(asked.first, asked.last - asked.first + 1) + "\r\n--MUSEUM--\r\n";
    return response;
}

ScriptedResponse nothingAtAll(const Asked &asked)
{
    ScriptedResponse response = kFile.pieceCalled(asAsked(asked), asked.first, asked.first - 1);
    response.framing = ScriptedResponse::Framing::Chunked;
    return response;
}

Exhibit soundServer()
{
    const QList<Visit> anyTime = {Visit::AtOnce, Visit::AfterACut, Visit::TakenUpAgain};
    return {.name = "a sound server",
            .about = "Ranges, an ETag, a date, and nothing wrong.",
            .script = [](const Asked &) { return kFile.sound(); },
            .visits = anyTime,
            .rightIn = anyTime};
}

QList<Exhibit> otherBytes()
{
    return {
        soundServer(),
        {.name = "every range is the head of the file",
         .about = "206 with the bytes from 0 on, whatever was asked for; Content-Range says so.",
         .script = Scripts::laterRanges([](const Asked &asked) { return kFile.piece(0, asked.last - asked.first); }),
         .visits = {Visit::AtOnce, Visit::AfterACut, Visit::TakenUpAgain}},
        {.name = "every range is the head of the file, and called what was asked for",
         .about = "206 with the bytes from 0 on, under the Content-Range that was asked for.",
         .script = Scripts::laterRanges([](const Asked &asked) { return pieceFrom(0, asked); }),
         .isKnowable = false},
        {.name = "every range lacks its first byte, and its length",
         .about = "206 with one byte less than Content-Range says, the first one. Content-Length fits the body.",
         .script = Scripts::laterRanges([](const Asked &asked) {
             return kFile.pieceCalled(asAsked(asked), std::min(asked.first + 1, asked.last), asked.last);
         })},
        {.name = "every range is one byte late",
         .about = "206 with the bytes that stand one behind those asked for; all that it says is what was asked for.",
         .script = Scripts::laterRanges([](const Asked &asked) { return pieceFrom(asked.first + 1, asked); }),
         .isKnowable = false},
        {.name = "a range without a word on which one it is",
         .about = "206 without Content-Range, with the head of the file.",
         .script = Scripts::laterRanges(
             [](const Asked &asked) { return kFile.pieceCalled({}, 0, asked.last - asked.first); })},
        {.name = "half the file where all of it was asked for",
         .about = "206 with the first half, though nobody asked for a range.",
         .script = [](const Asked &asked) { return asked.isRange ? kFile.sound() : kFile.piece(0, kSize / 2 - 1); },
         .visits = {Visit::AtOnce}},
    };
}

QList<Exhibit> otherLengths()
{
    return {
        {.name = "the whole file to every range",
         .about = "200 and the file from its beginning, as from a server that knows no ranges.",
         .script = [](const Asked &) { return kFile.whole(); },
         .visits = {Visit::AtOnce, Visit::AfterACut, Visit::TakenUpAgain},
         .rightIn = {Visit::AtOnce}},
        {.name = "more bytes than the range has",
         .about = "206 whose Content-Length and body are 1,000 bytes longer than its Content-Range.",
         .script = Scripts::laterRanges(
             [](const Asked &asked) { return kFile.pieceCalled(asAsked(asked), asked.first, asked.last + kMore); })},
        {.name = "fewer bytes than the range has",
         .about = "206 whose Content-Length and body are half of what its Content-Range says.",
         .script = Scripts::laterRanges([](const Asked &asked) {
             return kFile.pieceCalled(asAsked(asked), asked.first, (asked.first + asked.last) / 2);
         })},
        {.name = "a range up to the end, whatever end was asked for",
         .about = "206 from the byte asked for up to the end of the file, and Content-Range says so.",
         .script = Scripts::laterRanges([](const Asked &asked) { return kFile.piece(asked.first, kSize - 1); }),
         .visits = {Visit::AtOnce, Visit::AfterACut, Visit::TakenUpAgain}},
        {.name = "no range longer than 300,000 bytes",
         .about = "206 with the first 300,000 bytes of what was asked for, and Content-Range says so: HTTP allows it.",
         .script = Scripts::laterRanges([](const Asked &asked) {
             return kFile.piece(asked.first, std::min(asked.last, asked.first + kLargestPiece - 1));
         })},
        {.name = "several parts where one range was asked for",
         .about = "206 as multipart/byteranges: the range between lines that are not of the file.",
         .script = Scripts::laterRanges(severalParts)},
        {.name = "another total in each range",
         .about = "206 of a file that is 1,000 bytes longer, with other bytes, under the same ETag.",
         .script = Scripts::laterRanges([](const Asked &asked) {
             return FileVersion::number(1).withETag(kFile.etag).withSize(kSize + kMore).piece(asked.first, asked.last);
         })},
        {.name = "the file ends where you stand",
         .about = "416 to every range, as though the file had not a byte more than those that are there.",
         .script = Scripts::laterRanges([](const Asked &asked) { return FileVersion::nothingBeyond(asked.first); })},
        {.name = "a range of nothing",
         .about = "206 with the Content-Range that was asked for, and a body in chunks that has none.",
         .script = Scripts::laterRanges(nothingAtAll)},
    };
}
}

QList<Exhibit> Exhibit::ofRanges()
{
    return otherBytes() + otherLengths();
}
