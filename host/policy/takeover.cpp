// SPDX-License-Identifier: MIT
#include <host/policy/takeover.h>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kPartialContent = 206;
constexpr qint64 kPlacesBetween = 3;

QString inWords(const QDateTime &time)
{
    return time.toUTC().toString(u"yyyy-MM-dd hh:mm:ss"_s) + u" UTC"_s;
}

Clause sizeProblem(qint64 size, qint64 total)
{
    if (total < 0)
        return Clause::Kind::LengthUnsaid;
    return size > total ? Clause(Clause::Kind::LongerThanServers, {QString::number(size), QString::number(total)})
                        : Clause();
}

/// Of a server that sends everything whatever is asked for.
Clause partsProblem(const TakeOver::Local &local, const TakeOver::Answer &first)
{
    if (first.status == kPartialContent)
        return {};
    if (local.size < first.identity.total)
        return Clause::Kind::RestNotSent;
    return local.hasChecksum ? Clause() : Clause::Kind::NoPartsToCompare;
}

Clause timeProblem(const TakeOver::Local &local, const ResourceIdentity &identity)
{
    const bool isNewer =
        identity.lastModified.isValid() && identity.lastModified.toSecsSinceEpoch() > local.modified.toSecsSinceEpoch();
    return isNewer ? Clause(Clause::Kind::ChangedSince, {inWords(identity.lastModified)}) : Clause();
}

/// A server may send less than was asked for; that says too little.
Clause bytesProblem(const TakeOver::Answer &answer)
{
    const bool isAll = answer.bytes.size() == answer.piece.size;
    return isAll && answer.bytes == answer.ours
        ? Clause()
        : Clause(Clause::Kind::OtherBytes, {QString::number(answer.piece.offset)});
}

}

QList<TakeOver::Piece> TakeOver::piecesOf(qint64 size)
{
    QList<Piece> pieces;
    qint64 end = 0;
    for (qint64 i = 0; i <= kPlacesBetween; ++i) {
        const qint64 offset = std::max(end, (size - std::min(size, kPiece)) / kPlacesBetween * i);
        const qint64 last = i == kPlacesBetween ? size : std::min(size, offset + kPiece);
        const qint64 first = i == kPlacesBetween ? std::max(end, size - kPiece) : offset;
        if (last > first)
            pieces.append({first, last - first});
        end = std::max(end, last);
    }
    return pieces;
}

Clause TakeOver::refusal(const Local &local, const Answer &first, const Answer &answer)
{
    if (!answer.encoding.isEmpty() && answer.encoding.compare("identity", Qt::CaseInsensitive) != 0)
        return Clause::Kind::SentCompressed;
    const QString change = first.identity.contradiction(answer.identity);
    if (!change.isEmpty())
        return {Clause::Kind::ChangedJustNow, {}, change};
    for (const Clause &problem : {sizeProblem(local.size, first.identity.total), partsProblem(local, first),
                                  timeProblem(local, first.identity), bytesProblem(answer)}) {
        if (!problem.isEmpty())
            return problem;
    }
    return {};
}

bool TakeOver::isSettled(const Local &local, const Answer &first)
{
    return first.status != kPartialContent && local.hasChecksum;
}
