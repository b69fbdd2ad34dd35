// SPDX-License-Identifier: MIT
#include <host/policy/streamwindow.h>

#include <host/policy/schemes.h>

#include <algorithm>

namespace
{

using StreamWindow::Ranges;

constexpr qint64 kUnknown = -1;
/// More than so many pieces' worth in one is worth being cut.
constexpr int kPiecesInOne = 2;

qint64 pieceAt(qint64 position)
{
    constexpr qint64 kPart = 8;
    return std::clamp(position / kPart, StreamWindow::kSmallestPiece, StreamWindow::kLargestPiece);
}

bool isWhole(const AbstractDownloadSection &range)
{
    return range.size != kUnknown && range.downloaded >= range.size;
}

bool isToBeCut(const AbstractDownloadSection &range)
{
    return range.size != kUnknown && range.bytesLeft() > kPiecesInOne * pieceAt(range.position());
}

qint64 countMissingBefore(const Ranges &ranges, qint64 position)
{
    return std::count_if(ranges.cbegin(), ranges.cend(), [position](const AbstractDownloadSection &range) {
        return !isWhole(range) && range.position() < position;
    });
}

/// @param made pieces up to now
void appendPieces(AbstractDownloadSection rest, Ranges &pieces, int &made)
{
    while (isToBeCut(rest) && made < StreamWindow::kMostPieces) {
        const qint64 end = rest.position() + pieceAt(rest.position());
        pieces.append({rest.offset, end - rest.offset, rest.downloaded});
        rest = {end, rest.end() - end, 0};
        ++made;
    }
    pieces.append(rest);
}

}

/// Over ftp that is what nearly every server does, and no answer says so.
bool StreamWindow::isResumable(const AbstractDownloadPersistentInfo &record)
{
    if (record.files.isEmpty() || record.files.first().size == kUnknown)
        return false;
    return record.resumeSupport == AbstractDownloadPersistentInfo::ResumeSupported
        || (Schemes::isFtp(record.url) && record.resumeSupport == AbstractDownloadPersistentInfo::ResumeUnknown);
}

qint64 StreamWindow::ready(const Ranges &ranges)
{
    qint64 end = 0;
    for (const AbstractDownloadSection &range : ranges) {
        if (range.offset != end)
            break;
        end = range.position();
        if (!isWhole(range))
            break;
    }
    return end;
}

StreamWindow::Ranges StreamWindow::cutAhead(const Ranges &ranges)
{
    Ranges pieces;
    int made = 0;
    for (const AbstractDownloadSection &range : ranges)
        appendPieces(range, pieces, made);
    return pieces;
}

StreamWindow::Verdict StreamWindow::judge(const Sample &sample)
{
    using What = Verdict::What;
    if (!sample.isResumable)
        return {ready(sample.ranges) - sample.taken >= kWindow ? What::Trickle : What::GoOn, 1};
    const qint64 end = sample.taken + kWindow;
    const auto isCutable = [end](const AbstractDownloadSection &range) {
        return range.position() < end && isToBeCut(range);
    };
    // A single connection takes all from the beginning in any case.
    if (sample.mostConnections != 1 && std::any_of(sample.ranges.cbegin(), sample.ranges.cend(), isCutable))
        return {What::CutAhead, 1};
    const qint64 missing = std::count_if(sample.ranges.cbegin(), sample.ranges.cend(),
                                         [](const AbstractDownloadSection &range) { return !isWhole(range); });
    const qint64 inside = countMissingBefore(sample.ranges, end);
    if (inside == missing)
        return {What::GoOn, sample.mostConnections};
    if (inside == 0)
        return {What::Wait, 1};
    const qint64 most = sample.mostConnections > 0 ? std::min<qint64>(inside, sample.mostConnections) : inside;
    return {What::GoOn, int(most)};
}

bool StreamWindow::mayGoOn(const Sample &sample)
{
    constexpr qint64 kHalf = kWindow / 2;
    return countMissingBefore(sample.ranges, sample.taken + kHalf) > 0 || ready(sample.ranges) - sample.taken < kHalf;
}
