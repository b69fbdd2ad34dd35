// SPDX-License-Identifier: MIT
#include <tests/honesty/changes.h>

#include <tests/honesty/scripts.h>

#include <iterator>

namespace
{
using Spelling = FileVersion::Spelling;
using Way = Change::Way;

const FileVersion kOld = FileVersion::number(0);
const FileVersion kNew = FileVersion::number(1);
const FileVersion kOldUnmarked = kOld.unmarked();
const FileVersion kNewUnmarked = kNew.unmarked();
constexpr qint64 kMore = 7000;

Change ofETag(const QByteArray &name, const QByteArray &before, const QByteArray &after, bool isSeen = true)
{
    return {name, kOldUnmarked.withETag(before), kNewUnmarked.withETag(after), isSeen};
}

Change ofDate(const QByteArray &name, Spelling spelling)
{
    return {name, kOld.withETag({}).inSpelling(spelling), kNew.withETag({}).inSpelling(spelling)};
}

Change ofDigest(const QByteArray &name, const QByteArray &field, const QByteArray &begin, const QByteArray &end)
{
    return {name, kOldUnmarked.withField(field, begin + kOld.sha256() + end),
            kNewUnmarked.withField(field, begin + kNew.sha256() + end)};
}

/// Where so many requests have been sent on before.
QByteArray targetOf(int number)
{
    return "/target/" + QByteArray::number(number) + "/file.bin";
}

/// An address that leads to a file.
class Road
{
public:
    Road(const Change &change, Way way)
        : m_change(change)
        , m_way(way)
    {
    }

    ScriptedResponse answer(const Asked &asked)
    {
        if (m_way != Way::Direct && asked.path == Exhibit::kPath) {
            return ScriptedResponse::redirect(targetOf(m_way == Way::OneTarget ? 0 : m_sentOn++));
        }
        const bool isBefore = asked.isPrelude || !m_isChanged;
        m_isChanged = true;
        const bool isGone = m_way == Way::TargetsThatGo && asked.path == targetOf(0);
        return isBefore ? m_change.before.sound() : isGone ? Scripts::page(404, "Not here") : m_change.after.sound();
    }

private:
    Change m_change;
    Way m_way;
    int m_sentOn = 0;
    bool m_isChanged = false; ///< its first answer has been given
};
}

QList<Change> Change::all()
{
    return {
        ofETag("another ETag", "\"1\"", "\"2\""),
        ofETag("another weak ETag", "W/\"1\"", "W/\"2\""),
        ofETag("a weak ETag that is another one than the strong", "\"1\"", "W/\"2\""),
        ofETag("a strong ETag that is another one than the weak", "W/\"1\"", "\"2\""),
        ofETag("the same ETag, which is weak now", "\"1\"", "W/\"1\"", false),
        ofETag("the same ETag, which was weak before", "W/\"1\"", "\"1\"", false),
        ofETag("an ETag where there was none", {}, "\"2\"", false),
        ofETag("no ETag where there was one", "\"1\"", {}, false),
        ofDate("another date", Spelling::Usual),
        ofDate("another date, in small letters", Spelling::SmallLetters),
        ofDate("another date, in capitals", Spelling::Capitals),
        {"another size", kOldUnmarked, kNewUnmarked.withSize(FileVersion::kSize + kMore)},
        {"a smaller size", kOldUnmarked, kNewUnmarked.withSize(FileVersion::kSize - kMore)},
        ofDigest("another Repr-Digest", "Repr-Digest", "sha-256=:", ":"),
        ofDigest("another Digest", "Digest", "sha-256=", {}),
        {"nothing but other bytes", kOldUnmarked, kNewUnmarked, false},
    };
}

QByteArray Change::inWords(Way way)
{
    switch (way) {
    case Way::Direct:
        return "at the address";
    case Way::OneTarget:
        return "behind a redirect to one target";
    case Way::NewTargets:
        return "behind redirects to new targets";
    case Way::TargetsThatGo:
        break;
    }
    return "behind redirects to new targets, the old one gone";
}

Exhibit Change::exhibit(Way way) const
{
    return {.name = name + ", " + inWords(way),
            .script = [road = Road(*this, way)](const Asked &asked) mutable { return road.answer(asked); },
            .visits = {Exhibit::Visit::AtOnce, Exhibit::Visit::AfterACut, Exhibit::Visit::TakenUpAgain},
            .versions = {before, after}};
}
