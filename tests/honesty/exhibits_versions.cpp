// SPDX-License-Identifier: MIT
#include <tests/honesty/scripts.h>

namespace
{
using Visit = Exhibit::Visit;

constexpr qint64 kSize = FileVersion::kSize;
constexpr qint64 kHalf = kSize / 2;
constexpr int kManyVersions = 200;

const FileVersion kFile = FileVersion::number(0);
const FileVersion kNext = FileVersion::number(1);
const QList<FileVersion> kBoth = {kFile, kNext};
const QList<Visit> kAnyTime = {Visit::AtOnce, Visit::AfterACut, Visit::TakenUpAgain};

QList<FileVersion> manyVersions()
{
    QList<FileVersion> versions;
    for (int number = 0; number < kManyVersions; ++number) {
        versions.append(FileVersion::number(number));
    }
    return versions;
}

/// What a cache makes of an answer that was cut when it stored it.
ScriptedResponse fromHalfACopy(const Asked &asked)
{
    const FileVersion half = kFile.withSize(kHalf);
    return asked.first < kHalf ? half.sound() : FileVersion::nothingBeyond(kHalf);
}

FileVersion inSmallLetters(const FileVersion &version)
{
    return version.withETag({}).inSpelling(FileVersion::Spelling::SmallLetters);
}

QList<Exhibit> newVersions()
{
    return {
        {.name = "a new version, with another ETag and another date",
         .about = "The file was replaced by one of the same size. The server honours If-Range.",
         .script = Scripts::changed(kFile, kNext),
         .versions = kBoth},
        {.name = "a new version, with another ETag alone",
         .about = "The same size, the same date.",
         .script = Scripts::changed(kFile, kNext.withDate(kFile.date)),
         .versions = kBoth},
        {.name = "a new version, with another date alone",
         .about = "The same size, and no ETags.",
         .script = Scripts::changed(kFile.withETag({}), kNext.withETag({})),
         .versions = kBoth},
        {.name = "a new version, with another date alone, in small letters",
         .about = "The same size, and no ETags. The field is called last-modified, as many servers call it.",
         .script = Scripts::changed(inSmallLetters(kFile), inSmallLetters(kNext)),
         .versions = kBoth},
        {.name = "a new version, with another weak ETag alone",
         .about = "The same size, and no dates.",
         .script = Scripts::changed(kFile.withDate({}).withETag("W/\"1\""), kNext.withDate({}).withETag("W/\"2\"")),
         .versions = kBoth},
        {.name = "a new version, with another size alone",
         .about = "7,000 bytes more, and neither ETags nor dates.",
         .script = Scripts::changed(kFile.unmarked(), kNext.unmarked().withSize(kSize + 7000)),
         .versions = {kFile, kNext.withSize(kSize + 7000)}},
        {.name = "a new version that nothing tells from the old one",
         .about = "The same size, and neither ETags nor dates.",
         .script = Scripts::changed(kFile.unmarked(), kNext.unmarked()),
         .versions = kBoth,
         .isKnowable = false},
        {.name = "all of a new version to a range",
         .about = "200 with the new version and its ETag, as to an If-Range that does not hold any more.",
         .script = Scripts::later([](const Asked &) { return kNext.whole(); }),
         .versions = kBoth},
        {.name = "a new version with each request",
         .about = "The same size; another ETag and other bytes each time.",
         .script = [](const Asked &asked) { return FileVersion::number(asked.number).sound(); },
         .visits = kAnyTime,
         .versions = manyVersions()},
    };
}

QList<Exhibit> severalBackends()
{
    return {
        {.name = "two servers behind one name, with two ETags for the same bytes",
         .about = "They answer in turn.",
         .script = Scripts::inTurn(kFile, kFile.withETag(kNext.etag)),
         .visits = kAnyTime},
        {.name = "two servers behind one name, with different bytes",
         .about = "They answer in turn, each with its ETag and its date; the size is the same.",
         .script = Scripts::inTurn(kFile, kNext),
         .visits = kAnyTime,
         .versions = kBoth},
        {.name = "a cache that holds half of the file",
         .about = "It stored an answer that was cut and takes that for the whole file: its total is half, what is "
                  "beyond gets 416, and the ETag is the old one.",
         .script = Scripts::later(fromHalfACopy)},
    };
}
}

QList<Exhibit> Exhibit::ofVersions()
{
    return newVersions() + severalBackends();
}
