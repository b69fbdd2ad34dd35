// SPDX-License-Identifier: MIT
#include <host/policy/bodylength.h>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

constexpr qint64 kUnknown = -1;
constexpr int kOk = 200;
constexpr int kPartialContent = 206;

}

qint64 BodyLength::announced(const Head &head)
{
    const bool carriesTheResource = head.status == kOk || head.status == kPartialContent;
    // Where both are there, the transfer coding says where the body ends.
    if (!carriesTheResource || !head.transferEncoding.isEmpty())
        return kUnknown;
    const QByteArray text = head.contentLength.trimmed();
    const bool digitsOnly = std::all_of(text.cbegin(), text.cend(), [](char c) { return c >= '0' && c <= '9'; });
    bool ok = false;
    const qint64 length = text.toLongLong(&ok);
    return ok && digitsOnly ? length : kUnknown;
}

QString BodyLength::complaint(const Head &head, qint64 received)
{
    const qint64 length = announced(head);
    if (length == kUnknown || length == received)
        return {};
    return u"The connection was closed after %1 of %2 bytes."_s.arg(QString::number(received), QString::number(length));
}
