// SPDX-License-Identifier: MIT
#include <tests/support/hostilejudge.h>

#include <tests/support/testfiles.h>

#include <QPair>
#include <QStringList>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{
/// No content of a hostile world is longer.
constexpr qint64 kLongest = 6 * 1024 * 1024;
constexpr qsizetype kBlock = 256;
/// Kinds of what was said of one file; there are fewer.
constexpr qsizetype kMostKinds = 14;

bool isStrong(const QByteArray &etag)
{
    return !etag.isEmpty() && !etag.startsWith("W/");
}

QByteArray withoutWeakness(const QByteArray &etag)
{
    return etag.startsWith("W/") ? etag.mid(2) : etag;
}

bool saysTheSame(const HostileReading &one, const HostileReading &other)
{
    return one.address == other.address && one.total == other.total && one.etag == other.etag
        && one.modified == other.modified;
}
}

HostileJudge::HostileJudge(const HostileResource &resource, const QList<HostileReading> &readings)
    : m_resource(resource)
    , m_readings([&readings] {
        QList<HostileReading> usable = readings;
        usable.removeIf([](const HostileReading &reading) { return !reading.isUsable; });
        return usable;
    }())
{
}

HostileJudge::Verdict HostileJudge::judge(const QByteArray &file)
{
    for (const HostileVersion &version : m_resource.versions) {
        if (file == TestFiles::content(version.content, 0, version.size))
            return Verdict::Right;
    }
    return isMadeOfPeaceful(matchesOf(file), file.size()) ? Verdict::Excusable : Verdict::Wrong;
}

bool HostileJudge::isProven(const QByteArray &file)
{
    const QList<Match> matches = matchesOf(file);
    return std::any_of(matches.cbegin(), matches.cend(), [&](const Match &match) {
        if (match.reading.isProof && isMadeOf({match}, file.size()))
            return true;
        QList<Match> same = matches;
        same.removeIf([&match](const Match &other) {
            return other.reading.address != match.reading.address || other.reading.etag != match.reading.etag;
        });
        return isStrong(match.reading.etag) && isMadeOf(same, file.size());
    });
}

bool HostileJudge::isBeyondDoubt() const
{
    const bool isOne = m_readings.size() == 1 && m_readings.constFirst().isProof;
    return isOne || std::all_of(m_readings.cbegin(), m_readings.cend(), [this](const HostileReading &reading) {
               const HostileReading &first = m_readings.constFirst();
               return isStrong(reading.etag) && reading.etag == first.etag && reading.address == first.address
                   && reading.total >= 0;
           });
}

bool HostileJudge::wereSent(const QByteArray &bytes, qint64 offset)
{
    QList<QPair<qint64, qint64>> sent;
    for (const HostileReading &reading : m_readings) {
        const qint64 from = std::max(reading.from, offset);
        sent.append({from, from + matching(reading, bytes, offset)});
    }
    std::sort(sent.begin(), sent.end());
    qint64 at = offset;
    for (const auto &[from, to] : sent) {
        if (from <= at)
            at = std::max(at, to);
    }
    return at >= offset + bytes.size();
}

QString HostileJudge::composition(const QByteArray &file)
{
    QStringList parts;
    QString last;
    for (qsizetype at = 0; at < file.size(); at += kBlock) {
        const QByteArray block = file.mid(at, kBlock);
        QString what = u"nobody knows"_s;
        for (const HostileVersion &version : m_resource.versions) {
            if (block == TestFiles::content(version.content, at, block.size()))
                what = QString::number(version.content);
        }
        if (what != last)
            parts.append(u"from %1: %2"_s.arg(QString::number(at), what));
        last = what;
    }
    return u"%1 bytes, "_s.arg(file.size()) + parts.join(u", "_s);
}

bool HostileJudge::contradict(const HostileReading &one, const HostileReading &other)
{
    if (one.total >= 0 && other.total >= 0 && one.total != other.total)
        return true;
    // The tags of different addresses say nothing of each other.
    const bool areComparable = one.address == other.address && !one.etag.isEmpty() && !other.etag.isEmpty();
    if (areComparable && withoutWeakness(one.etag) != withoutWeakness(other.etag))
        return true;
    const bool isSame = areComparable && isStrong(one.etag) && one.etag == other.etag;
    return !isSame && one.modified != 0 && other.modified != 0 && one.modified != other.modified;
}

QByteArray HostileJudge::bytesOf(const HostileReading &reading)
{
    QByteArray bytes;
    for (const HostileReading::Piece &piece : reading.pieces) {
        QByteArray &content = m_contents[piece.content];
        if (content.isEmpty())
            content = TestFiles::content(piece.content, 0, kLongest);
        bytes += content.mid(piece.at, piece.size);
    }
    return bytes;
}

/// How many bytes of the answer are those from `offset` on; what lies before them in the answer does not count.
qint64 HostileJudge::matching(const HostileReading &reading, const QByteArray &bytes, qint64 offset)
{
    const QByteArray sent = bytesOf(reading).mid(std::max<qint64>(0, offset - reading.from));
    const qsizetype at = std::max<qint64>(0, reading.from - offset);
    const qsizetype most = std::min<qsizetype>(sent.size(), bytes.size() - at);
    if (most <= 0)
        return 0;
    return std::mismatch(sent.cbegin(), sent.cbegin() + most, bytes.cbegin() + at).first - sent.cbegin();
}

/// Those that were told another size do not fit.
QList<HostileJudge::Match> HostileJudge::matchesOf(const QByteArray &file)
{
    QList<Match> matches;
    for (const HostileReading &reading : m_readings) {
        if (reading.total < 0 || reading.total == file.size())
            matches.append({reading, reading.from + matching(reading, file, 0)});
    }
    std::stable_sort(matches.begin(), matches.end(),
                     [](const Match &one, const Match &other) { return one.reading.from < other.reading.from; });
    return matches;
}

/// Whether all of it is there, and something tells that it ends where it does. @param matches by their places
bool HostileJudge::isMadeOf(const QList<Match> &matches, qint64 size)
{
    qint64 at = 0;
    bool isEndTold = false;
    for (const Match &match : matches) {
        if (match.reading.from <= at)
            at = std::max(at, match.to);
        const bool endsHere = match.reading.isWhole && match.reading.from + match.reading.size() == size;
        isEndTold |= endsHere || (match.reading.total >= 0 && size > 0);
    }
    return isEndTold && at >= size;
}

/// The same of some answers that do not contradict each other: each choice of them is tried.
bool HostileJudge::isMadeOfPeaceful(const QList<Match> &matches, qint64 size)
{
    QList<HostileReading> kinds;
    QList<qsizetype> kindOf;
    for (const Match &match : matches) {
        const auto known = std::find_if(kinds.cbegin(), kinds.cend(),
                                        [&](const auto &kind) { return saysTheSame(kind, match.reading); });
        kindOf.append(known - kinds.cbegin());
        if (known == kinds.cend())
            kinds.append(match.reading);
    }
    const qsizetype count = std::min(kinds.size(), kMostKinds);
    for (quint32 chosen = 1; chosen < 1U << count; ++chosen) {
        const auto isChosen = [&](qsizetype i) { return i < count && (chosen >> i & 1U) != 0; };
        bool isPeaceful = true;
        for (qsizetype i = 0; i < count; ++i) {
            for (qsizetype j = 0; j < i; ++j)
                isPeaceful &= !isChosen(i) || !isChosen(j) || !contradict(kinds.at(i), kinds.at(j));
        }
        QList<Match> some;
        for (qsizetype i = 0; isPeaceful && i < matches.size(); ++i) {
            if (isChosen(kindOf.at(i)))
                some.append(matches.at(i));
        }
        if (isPeaceful && isMadeOf(some, size))
            return true;
    }
    return false;
}
