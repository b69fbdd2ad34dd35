// SPDX-License-Identifier: MIT
#include <host/network/bodyframing.h>

#include <host/network/fieldline.h>
#include <host/parsing/partialanswer.h>

#include <algorithm>
#include <limits>
#include <optional>

using namespace Qt::StringLiterals;

namespace
{

using BodyFraming::End;
using BodyFraming::Plan;

constexpr int kNoContent = 204;
constexpr int kPartialContent = 206;
constexpr int kNotModified = 304;
constexpr int kRangeNotSatisfiable = 416;
constexpr qint64 kUnknown = -1;
const QByteArray kContentLength = QByteArrayLiteral("content-length");
const QByteArray kContentRange = QByteArrayLiteral("content-range");
const QByteArray kTransferEncoding = QByteArrayLiteral("transfer-encoding");

/// Members of a list in all lines of that name, empty ones included.
QList<QByteArray> members(const AnswerHead &head, QByteArrayView name)
{
    QList<QByteArray> result;
    for (const QByteArray &value : head.values(name)) {
        for (const QByteArray &member : value.split(','))
            result += FieldLine::withoutWhiteSpace(member).toByteArray();
    }
    return result;
}

bool hasMember(const AnswerHead &head, QByteArrayView name, QByteArrayView wanted)
{
    const QList<QByteArray> all = members(head, name);
    return std::any_of(all.cbegin(), all.cend(),
                       [wanted](const QByteArray &one) { return one.compare(wanted, Qt::CaseInsensitive) == 0; });
}

/// Digits alone; nothing when it is none or beyond 2^63-1.
std::optional<qint64> lengthIn(const QByteArray &text)
{
    const bool isNumber =
        !text.isEmpty() && std::all_of(text.cbegin(), text.cend(), [](char c) { return c >= '0' && c <= '9'; });
    bool fits = false;
    const qint64 length = text.toLongLong(&fits);
    return isNumber && fits ? std::optional(length) : std::nullopt;
}

/// -1 = there is none, or it is none to believe; why not stands in *complaint.
qint64 announcedLength(const AnswerHead &head, QString *complaint)
{
    qint64 length = kUnknown;
    for (const QByteArray &text : members(head, kContentLength)) {
        const std::optional<qint64> one = lengthIn(text);
        if (!one)
            *complaint = u"The server's answer has a length that is none: %1."_s.arg(FieldLine::quoted(text));
        else if (length != kUnknown && length != *one)
            *complaint = u"The server's answer has two lengths: %1 and %2 bytes."_s.arg(QString::number(length),
                                                                                        QString::number(*one));
        if (!complaint->isEmpty())
            return kUnknown;
        length = *one;
    }
    return length;
}

QList<QByteArray> codings(const AnswerHead &head)
{
    QList<QByteArray> result = members(head, kTransferEncoding);
    result.removeAll(QByteArray());
    return result;
}

bool isOnly(const QList<QByteArray> &codings, QByteArrayView name)
{
    return codings.size() == 1 && codings.first().compare(name, Qt::CaseInsensitive) == 0;
}

/// As the fields of the connection have it, whatever the body does.
bool isKeptAlive(const AnswerHead &head)
{
    if (hasMember(head, "Connection", "close"))
        return false;
    return head.minorVersion() > 0 || hasMember(head, "Connection", "keep-alive");
}

Plan refused(const QString &complaint)
{
    Plan plan;
    plan.mayReuse = false;
    plan.complaint = complaint;
    return plan;
}

/// A length or coding where no body may be promises one all the same: what follows on the connection is uncertain.
Plan planWithoutBody(const AnswerHead &head)
{
    Plan plan{End::NoBody, 0, isKeptAlive(head), {}, {}};
    QString complaint;
    const qint64 length = announcedLength(head, &complaint);
    const bool isEmpty = head.status() == kNotModified || (length <= 0 && codings(head).isEmpty());
    plan.mayReuse = plan.mayReuse && isEmpty && complaint.isEmpty();
    // In a 304 it is the length of what was not sent.
    if (head.status() != kNotModified || !complaint.isEmpty())
        plan.withheld += kContentLength;
    if (head.status() != kNotModified)
        plan.withheld += kTransferEncoding;
    return plan;
}

/// Two statements of where the body ends, or one of the wrong version, come from a chain in which somebody errs:
/// nothing that follows on the connection can be trusted.
Plan chunkedPlan(const AnswerHead &head)
{
    Plan plan{End::Chunked, kUnknown, isKeptAlive(head) && head.minorVersion() > 0, {}, {}};
    if (!head.values(kContentLength).isEmpty()) {
        plan.withheld += kContentLength;
        plan.mayReuse = false;
    }
    return plan;
}

Plan planByLength(const AnswerHead &head)
{
    QString complaint;
    const qint64 length = announcedLength(head, &complaint);
    if (!complaint.isEmpty())
        return refused(complaint);
    const bool isKnown = length != kUnknown;
    Plan plan{isKnown ? End::Length : End::Close, length, isKnown && isKeptAlive(head), {}, {}};
    // "identity", or nothing at all
    if (!head.values(kTransferEncoding).isEmpty())
        plan.withheld += kTransferEncoding;
    return plan;
}

Plan planByFraming(const AnswerHead &head)
{
    if (head.status() == kNoContent || head.status() == kNotModified)
        return planWithoutBody(head);
    const QList<QByteArray> all = codings(head);
    if (isOnly(all, "chunked"))
        return chunkedPlan(head);
    if (all.isEmpty() || isOnly(all, "identity"))
        return planByLength(head);
    return refused(u"The server's answer is in a transfer coding that is not understood: %1."_s.arg(
        FieldLine::quoted(all.join(", "))));
}

/// Each value once.
QList<QByteArray> differentValues(const AnswerHead &head, QByteArrayView name)
{
    QList<QByteArray> result;
    for (const QByteArray &value : head.values(name)) {
        if (!result.contains(value))
            result += value;
    }
    return result;
}

bool isOfSeveralPieces(const AnswerHead &head)
{
    const QList<QByteArray> types = head.values("Content-Type");
    return std::any_of(types.cbegin(), types.cend(),
                       [](const QByteArray &type) { return type.toLower().startsWith("multipart/byteranges"); });
}

QString complaintAboutPiece(const QByteArray &range, const QByteArray &contentRange)
{
    const QString refusal = PartialAnswer::refusal(range, contentRange);
    if (!refusal.isEmpty())
        return refusal;
    const std::optional<PartialAnswer::ContentRange> piece = PartialAnswer::parseContentRange(contentRange);
    if (!piece || PartialAnswer::contradictsItself(*piece))
        return u"The server sent a piece of the file without a sound word on which: %1."_s.arg(
            FieldLine::quoted(contentRange));
    if (range.isEmpty() && (piece->first != 0 || piece->last != piece->total - 1))
        return u"The server sent a piece of the file, %1, where the whole was asked for."_s.arg(
            FieldLine::quoted(contentRange));
    return {};
}

/// Sets the length; it must not contradict the one that is known.
QString takeLength(const QByteArray &contentRange, Plan *plan)
{
    const PartialAnswer::ContentRange piece = *PartialAnswer::parseContentRange(contentRange);
    const qint64 length = piece.last - piece.first + 1;
    if (plan->length != kUnknown && plan->length != length)
        return u"The server's answer contradicts itself: its Content-Range is %1 and its length %2 bytes."_s.arg(
            FieldLine::quoted(contentRange), QString::number(plan->length));
    plan->length = length;
    plan->mayRestFollow = piece.total < 0;
    return {};
}

QString takePiece(const AnswerHead &head, const QByteArray &range, Plan *plan)
{
    if (isOfSeveralPieces(head))
        return u"The server sent several pieces in one answer (multipart/byteranges), which nobody can take for the file."_s;
    const QList<QByteArray> values = differentValues(head, kContentRange);
    if (values.size() > 1)
        return u"The server's answer says twice which piece it is: %1 and %2."_s.arg(FieldLine::quoted(values[0]),
                                                                                     FieldLine::quoted(values[1]));
    const QByteArray contentRange = values.value(0);
    const QString complaint = complaintAboutPiece(range, contentRange);
    return complaint.isEmpty() ? takeLength(contentRange, plan) : complaint;
}

bool isContentRangeOfRefusal(const AnswerHead &head)
{
    const QList<QByteArray> values = differentValues(head, kContentRange);
    return head.status() == kRangeNotSatisfiable && values.size() == 1
        && PartialAnswer::parseUnsatisfiedTotal(values.first()).has_value();
}

/// Of a length or range that was sent several times over: one.
QByteArray onceOnly(const AnswerHead &head, const AnswerHead::Field &joined)
{
    const QByteArray name = joined.first.toLower();
    QString complaint;
    if (name == kContentLength)
        return QByteArray::number(announcedLength(head, &complaint));
    return name == kContentRange ? differentValues(head, kContentRange).value(0) : joined.second;
}

}

BodyFraming::Plan BodyFraming::planFor(const AnswerHead &head, const QByteArray &range)
{
    if (head.majorVersion() != 1)
        return refused(u"The server answered in HTTP/%1, which was not asked for."_s.arg(head.majorVersion()));
    Plan plan = planByFraming(head);
    if (!plan.complaint.isEmpty())
        return plan;
    if (head.status() == kPartialContent) {
        const QString complaint = takePiece(head, range, &plan);
        return complaint.isEmpty() ? plan : refused(complaint);
    }
    if (!isContentRangeOfRefusal(head))
        plan.withheld += kContentRange;
    return plan;
}

QList<AnswerHead::Field> BodyFraming::handedOn(const AnswerHead &head, const Plan &plan)
{
    QList<AnswerHead::Field> result = head.joinedFields();
    result.removeIf([&plan](const AnswerHead::Field &field) { return plan.withheld.contains(field.first.toLower()); });
    for (AnswerHead::Field &field : result)
        field.second = onceOnly(head, field);
    return result;
}
