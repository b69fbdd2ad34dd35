// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QMimeDatabase>
#include <QMimeType>
#include <QString>
#include <QUrl>

#include <utility>

/// Reads the header pairs of one HTTP response. A value type: it keeps the list and nothing else.
///
/// It never fails: absent and malformed headers have an answer to every query, named at the query. Header names are
/// looked up ignoring case, the first of several with one name counts, and a header with an empty value counts as
/// absent. Const operations may run in several threads at once.
class HttpHeadersParser
{
public:
    using Headers = QList<std::pair<QByteArray, QByteArray>>;

    /// Results of contentEncoding().
    enum ContentEncoding : int {
        kUnhandledEncoding = 0, ///< anything not below, lists of codings included
        kNoEncoding = 1,
        kGzipEncoding = 2,
        kDeflateEncoding = 3,
    };

    /// Results of acceptRanges().
    enum AcceptRanges : int {
        kRangesNotAccepted = 0,
        kRangesAccepted = 1,
        kRangesUnknown = 2,
    };

    static const QByteArray RangeHeader;
    static const QByteArray RefererHeader;
    static const QByteArray ContentTypeHeader;
    static const QByteArray ContentLengthHeader;
    static const QByteArray ContentRangeHeader;
    static const QByteArray ContentEncodingHeader;
    static const QByteArray LocationHeader;
    static const QByteArray LastModifiedHeader;
    static const QByteArray CookieHeader;
    static const QByteArray SetCookieHeader;
    static const QByteArray ContentDispositionHeader;
    static const QByteArray UserAgentHeader;
    static const QByteArray ServerHeader;
    static const QByteArray AcceptRangesHeader;

    /// One database for all parsers: it is filled from disk on first use.
    static const QMimeDatabase m_mimeDatabase;

    explicit HttpHeadersParser(const Headers &headers);
    HttpHeadersParser(const HttpHeadersParser &) = default;
    HttpHeadersParser(HttpHeadersParser &&) = default;
    HttpHeadersParser &operator=(const HttpHeadersParser &) = default;
    HttpHeadersParser &operator=(HttpHeadersParser &&) = default;
    virtual ~HttpHeadersParser();

    void setHeaders(const Headers &headers);
    /// In the order received, duplicates kept.
    const Headers &headers() const { return m_headers; }

    /// Whether there are headers at all.
    bool isValid() const { return !m_headers.isEmpty(); }

    /// The value as it came, untrimmed; empty when there is no such header.
    QByteArray headerValueByName(const QByteArray &name) const;
    /// Whether the header is there with a value.
    bool hasHeader(const QByteArray &name) const;
    bool hasContentTypeHeader() const;
    bool hasContentLengthHeader() const;
    bool hasContentRangeHeader() const;
    bool hasContentEncodingHeader() const;
    bool hasAcceptRangesHeader() const;

    QString contentTypeHeader() const;
    /// "text/html; charset=UTF-8" gives "text/html". Empty when there is no name before the parameters.
    static QString mimeFromContentType(const QString &contentType);

    /// With its quotes and weak prefix; a null string when there is none.
    QString etag() const;
    /// A ContentEncoding.
    int contentEncoding() const;
    /// Size of the whole resource in bytes, also when the response carries a part of it; -1 when unknown. A coded body
    /// says nothing of the resource's size.
    qint64 resourceSize() const;
    /// An AcceptRanges.
    int acceptRanges() const;
    /// A null or invalid date when there is none or it cannot be read. The one lookup that heeds case.
    QDateTime lastModifiedDate() const;

    /// The name to save the body under when it came from `url`: the server's name for it, otherwise the last segment
    /// of the URL with an extension that fits the content type. Never holds a path separator; may still be a name
    /// that a file system refuses (an over-long one, or ".."), which is for whoever creates the file to settle.
    QString fileName(const QUrl &url) const;
    /// Extensions in use for `type` that the MIME database does not list.
    QList<QString> additionalExtensions(const QMimeType &type) const;

private:
    QString nameFromContentDisposition() const;
    QList<QString> candidateExtensions(const QString &name) const;
    QList<QString> extensionsOfMime(const QString &mimeName, const QString &name) const;

    Headers m_headers;
};
