// SPDX-License-Identifier: MIT
#include <tests/honesty/scripts.h>

#include <algorithm>

namespace
{
using Visit = Exhibit::Visit;
using Framing = ScriptedResponse::Framing;

constexpr qint64 kSize = FileVersion::kSize;
constexpr qint64 kHalf = kSize / 2;
constexpr qint64 kCutAfter = 300000;
constexpr qint64 kMore = 1000;

const FileVersion kFile = FileVersion::number(0);

ScriptedResponse framed(ScriptedResponse response, Framing framing)
{
    response.framing = framing;
    return response;
}

ScriptedResponse cut(ScriptedResponse response, qint64 after)
{
    response.cutAfter = after;
    return response;
}

ScriptedResponse packed(ScriptedResponse response)
{
    return response.withHeader("Content-Encoding", "gzip").withHeader("Vary", "Accept-Encoding");
}

/// The range that was asked for, named rightly, of which only the half comes before the orderly end.
ScriptedResponse halfOfTheRange(const Asked &asked, Framing framing)
{
    const QByteArray name = FileVersion::contentRange(asked.first, asked.last, kSize);
    return framed(kFile.pieceCalled(name, asked.first, (asked.first + asked.last) / 2), framing);
}

/// A range of the packed file, where there is one.
ScriptedResponse packedPiece(const Asked &asked)
{
    static const FileVersion zipped = kFile.zipped();
    const qint64 last = std::min(asked.last, zipped.size - 1);
    return packed(asked.first <= last ? zipped.piece(asked.first, last) : FileVersion::nothingBeyond(zipped.size));
}

/// The right range, packed on its way.
ScriptedResponse pieceThatIsPacked(const Asked &asked)
{
    FileVersion piece = kFile;
    piece.bytes = [first = asked.first](qint64 offset, qint64 length) { return kFile.bytes(first + offset, length); };
    piece = piece.withSize(asked.last - asked.first + 1).zipped();
    const QByteArray name = FileVersion::contentRange(asked.first, asked.last, kSize);
    return packed(framed(piece.pieceCalled(name, 0, piece.size - 1), Framing::Chunked));
}

QList<Exhibit> lengths()
{
    ScriptedResponse shorter = kFile.whole();
    shorter.withHeader("Content-Length", QByteArray::number(kSize + kMore)).closesConnection = true;
    ScriptedResponse longer = kFile.withSize(kSize + kMore).whole();
    longer.withHeader("Content-Length", QByteArray::number(kSize)).closesConnection = true;
    return {
        {.name = "a length that is never reached",
         .about = "200 with a Content-Length that is 1,000 bytes more than all that comes. No ranges.",
         .script = [shorter](const Asked &) { return shorter; },
         .visits = {Visit::AtOnce},
         .versions = {}},
        {.name = "bytes behind the end",
         .about = "200 with the right Content-Length, and 1,000 bytes more behind it. No ranges.",
         .script = [longer](const Asked &) { return longer; },
         .visits = {Visit::AtOnce}},
    };
}

QList<Exhibit> cuts()
{
    return {
        {.name = "every answer is cut",
         .about = "Each connection ends after 300,000 bytes of the body, whatever its length was to be.",
         .script = [](const Asked &) { return cut(kFile.sound(), kCutAfter); },
         .visits = {Visit::AtOnce}},
        {.name = "chunks that break off",
         .about = "200 in chunks, without a length and without ranges; the connection ends in the middle each time.",
         .script = [](const Asked &) { return cut(framed(kFile.whole(), Framing::Chunked), kHalf); },
         .visits = {Visit::AtOnce}},
        {.name = "chunks that break off once",
         .about = "The first answer is in chunks, without a length; all others are sound.",
         .script =
             [](const Asked &asked) {
                 return asked.number == 0 ? framed(kFile.sound(), Framing::Chunked) : kFile.sound();
             },
         .visits = {Visit::AfterACut}},
        {.name = "half a range, up to the end of the connection",
         .about = "206 with the right Content-Range and no length; the connection ends in the middle.",
         .script =
             Scripts::laterRanges([](const Asked &asked) { return halfOfTheRange(asked, Framing::CloseDelimited); })},
        {.name = "half a range, with its last chunk",
         .about = "206 with the right Content-Range, in chunks that end in the middle as though that were all.",
         .script = Scripts::laterRanges([](const Asked &asked) { return halfOfTheRange(asked, Framing::Chunked); })},
    };
}

QList<Exhibit> encodings()
{
    return {
        {.name = "all of it packed, though nobody asked",
         .about = "200 with Content-Encoding: gzip. The file packed and the file unpacked both count as right.",
         .script = [file = packed(kFile.zipped().sound())](const Asked &) { return file; },
         .visits = {Visit::AtOnce},
         .versions = {kFile, kFile.zipped()}},
        {.name = "ranges of the packed file",
         .about = "The first answer is plain; later ranges are cut out of the file as packed by gzip, under the same "
                  "ETag.",
         .script = Scripts::laterRanges(packedPiece)},
        {.name = "ranges that are packed on their way",
         .about = "The first answer is plain; later ranges are the right ones, each packed by gzip, in chunks.",
         .script = Scripts::laterRanges(pieceThatIsPacked)},
    };
}
}

QList<Exhibit> Exhibit::ofLengths()
{
    return lengths() + cuts() + encodings();
}
