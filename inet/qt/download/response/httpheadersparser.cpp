// SPDX-License-Identifier: MIT
#include <inet/qt/download/response/httpheadersparser.h>

#include <QRegularExpression>

#include <algorithm>

using namespace Qt::StringLiterals;

const QByteArray HttpHeadersParser::RangeHeader = "Range"_ba;
const QByteArray HttpHeadersParser::RefererHeader = "Referer"_ba;
const QByteArray HttpHeadersParser::ContentTypeHeader = "Content-Type"_ba;
const QByteArray HttpHeadersParser::ContentLengthHeader = "Content-Length"_ba;
const QByteArray HttpHeadersParser::ContentRangeHeader = "Content-Range"_ba;
const QByteArray HttpHeadersParser::ContentEncodingHeader = "Content-Encoding"_ba;
const QByteArray HttpHeadersParser::LocationHeader = "Location"_ba;
const QByteArray HttpHeadersParser::LastModifiedHeader = "Last-Modified"_ba;
const QByteArray HttpHeadersParser::CookieHeader = "Cookie"_ba;
const QByteArray HttpHeadersParser::SetCookieHeader = "Set-Cookie"_ba;
const QByteArray HttpHeadersParser::ContentDispositionHeader = "Content-Disposition"_ba;
const QByteArray HttpHeadersParser::UserAgentHeader = "User-Agent"_ba;
const QByteArray HttpHeadersParser::ServerHeader = "Server"_ba;
const QByteArray HttpHeadersParser::AcceptRangesHeader = "Accept-Ranges"_ba;
const QMimeDatabase HttpHeadersParser::m_mimeDatabase;

namespace
{

bool mentionsByteRanges(const QByteArray &acceptRanges)
{
    static const QRegularExpression pattern(uR"(^(?:.*[^\w]+)?bytes(?:[^\w]+.*)?$)"_s,
                                            QRegularExpression::CaseInsensitiveOption);
    return pattern.match(QString::fromLatin1(acceptRanges)).hasMatch();
}

qint64 sizeFromText(const QByteArray &text)
{
    bool ok = false;
    const qint64 size = text.toLongLong(&ok, 10);
    return ok && size >= 0 ? size : -1;
}

} // namespace

HttpHeadersParser::HttpHeadersParser(const Headers &headers)
{
    setHeaders(headers);
}

HttpHeadersParser::~HttpHeadersParser() = default;

void HttpHeadersParser::setHeaders(const Headers &headers)
{
    m_headers = headers;
}

QByteArray HttpHeadersParser::headerValueByName(const QByteArray &name) const
{
    const QString wanted = QString::fromLatin1(name);
    const auto found = std::find_if(m_headers.cbegin(), m_headers.cend(), [&wanted](const auto &header) {
        return QString::fromLatin1(header.first).compare(wanted, Qt::CaseInsensitive) == 0;
    });
    return found == m_headers.cend() ? QByteArray() : found->second;
}

bool HttpHeadersParser::hasHeader(const QByteArray &name) const
{
    return !headerValueByName(name).isEmpty();
}

bool HttpHeadersParser::hasContentTypeHeader() const
{
    return hasHeader(ContentTypeHeader);
}

bool HttpHeadersParser::hasContentLengthHeader() const
{
    return hasHeader(ContentLengthHeader);
}

bool HttpHeadersParser::hasContentRangeHeader() const
{
    return hasHeader(ContentRangeHeader);
}

bool HttpHeadersParser::hasContentEncodingHeader() const
{
    return hasHeader(ContentEncodingHeader);
}

bool HttpHeadersParser::hasAcceptRangesHeader() const
{
    return hasHeader(AcceptRangesHeader);
}

QString HttpHeadersParser::contentTypeHeader() const
{
    return QString::fromLatin1(headerValueByName(ContentTypeHeader));
}

QString HttpHeadersParser::mimeFromContentType(const QString &contentType)
{
    if (contentType.isEmpty())
        return contentType;

    static const QRegularExpression pattern(uR"(\s*([^;\s]*))"_s, QRegularExpression::CaseInsensitiveOption);
    const auto match = pattern.match(contentType);
    return match.hasMatch() ? match.captured(1).trimmed() : QString();
}

QString HttpHeadersParser::etag() const
{
    const QByteArray value = headerValueByName("ETag"_ba);
    return value.isEmpty() ? QString() : QString::fromLatin1(value);
}

int HttpHeadersParser::contentEncoding() const
{
    const QString encoding = QString::fromLatin1(headerValueByName(ContentEncodingHeader));
    if (encoding.isEmpty() || encoding == "none"_L1)
        return kNoEncoding;
    if (encoding.compare("gzip"_L1, Qt::CaseInsensitive) == 0)
        return kGzipEncoding;
    if (encoding.compare("deflate"_L1, Qt::CaseInsensitive) == 0)
        return kDeflateEncoding;
    return kUnhandledEncoding;
}

qint64 HttpHeadersParser::resourceSize() const
{
    if (contentEncoding() != kNoEncoding)
        return -1;

    const QByteArray range = headerValueByName(ContentRangeHeader);
    if (!range.isEmpty())
        return sizeFromText(range.mid(range.indexOf('/') + 1));
    return sizeFromText(headerValueByName(ContentLengthHeader));
}

int HttpHeadersParser::acceptRanges() const
{
    if (contentEncoding() != kNoEncoding)
        return kRangesUnknown;
    if (hasAcceptRangesHeader())
        return mentionsByteRanges(headerValueByName(AcceptRangesHeader)) ? kRangesAccepted : kRangesNotAccepted;
    if (hasContentRangeHeader())
        return kRangesAccepted;
    return resourceSize() == -1 ? kRangesUnknown : kRangesNotAccepted;
}

QDateTime HttpHeadersParser::lastModifiedDate() const
{
    const auto found = std::find_if(m_headers.cbegin(), m_headers.cend(),
                                    [](const auto &header) { return header.first == LastModifiedHeader; });
    if (found == m_headers.cend())
        return {};

    // The parser of RFC 2822 dates knows numeric zones only; without a zone it takes the time as UTC.
    QString text = QString::fromUtf8(found->second);
    if (text.endsWith(" UT"_L1))
        text.chop(3);
    else if (text.endsWith(" GMT"_L1))
        text.chop(4);
    return QDateTime::fromString(text, Qt::RFC2822Date);
}
