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

QString sizeProblem(qint64 size, qint64 total)
{
    if (total < 0)
        return u"the server does not say how long its file is"_s;
    return size > total
        ? u"it has %1 bytes, and the server's file %2"_s.arg(QString::number(size), QString::number(total))
        : QString();
}

/// Of a server that sends everything whatever is asked for.
QString partsProblem(const TakeOver::Local &local, const TakeOver::Answer &first)
{
    if (first.status == kPartialContent)
        return {};
    if (local.size < first.identity.total)
        return u"the server does not send the rest of a file alone"_s;
    return local.hasChecksum ? QString()
                             : u"it is as long as the server's file, but the server sends no parts that it could be "
                               u"compared with"_s;
}

QString timeProblem(const TakeOver::Local &local, const ResourceIdentity &identity)
{
    const bool isNewer =
        identity.lastModified.isValid() && identity.lastModified.toSecsSinceEpoch() > local.modified.toSecsSinceEpoch();
    return isNewer ? u"the server's file changed at %1, after it was written"_s.arg(inWords(identity.lastModified))
                   : QString();
}

/// A server may send less than was asked for; that says too little.
QString bytesProblem(const TakeOver::Answer &answer)
{
    const bool isAll = answer.bytes.size() == answer.piece.size;
    return isAll && answer.bytes == answer.ours
        ? QString()
        : u"it has other bytes than the server's file, from byte %1 on"_s.arg(answer.piece.offset);
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

QString TakeOver::refusal(const Local &local, const Answer &first, const Answer &answer)
{
    if (!answer.encoding.isEmpty() && answer.encoding.compare("identity", Qt::CaseInsensitive) != 0)
        return u"the server sends its file compressed"_s;
    const QString change = first.identity.contradiction(answer.identity);
    if (!change.isEmpty())
        return u"the server's file changed just now: "_s + change;
    for (const QString &problem : {sizeProblem(local.size, first.identity.total), partsProblem(local, first),
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
