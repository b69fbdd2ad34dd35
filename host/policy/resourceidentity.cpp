// SPDX-License-Identifier: MIT
#include <host/policy/resourceidentity.h>

#include <host/parsing/httpdate.h>
#include <host/parsing/partialanswer.h>
#include <host/parsing/resourcedigest.h>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kPartialContent = 206;
constexpr int kWeakMarkSize = 2;
/// A server may send pages of it.
constexpr qsizetype kLongestShown = 80;

using Field = ResourceIdentity::Field;

QByteArray valueOf(const QList<Field> &fields, const char *name)
{
    const auto found = std::find_if(fields.cbegin(), fields.cend(), [name](const Field &field) {
        return field.first.compare(name, Qt::CaseInsensitive) == 0;
    });
    return found == fields.cend() ? QByteArray() : found->second.trimmed();
}

qint64 totalOf(int status, const QList<Field> &fields)
{
    if (status == kPartialContent) {
        const auto range = PartialAnswer::parseContentRange(valueOf(fields, "Content-Range"));
        return range ? range->total : -1;
    }
    bool isNumber = false;
    const qint64 length = valueOf(fields, "Content-Length").toLongLong(&isNumber);
    return isNumber && length >= 0 ? length : -1;
}

/// As it was sent. Content-Digest would be about the part alone.
QByteArray digestOf(const QList<Field> &fields)
{
    for (const char *const name : {"Repr-Digest", "Digest"}) {
        const QByteArray digest = valueOf(fields, name);
        if (ResourceDigest::parse(digest))
            return digest;
    }
    return {};
}

/// Some servers write a zone where HTTP wants "GMT".
QDateTime dateFrom(const QString &text)
{
    const std::optional<QDateTime> date = HttpDate::parse(text);
    return date ? *date : QDateTime::fromString(text, Qt::RFC2822Date);
}

QString shown(const QString &text)
{
    return text.size() > kLongestShown ? text.first(kLongestShown) + u'…' : text;
}

QString differs(const QString &what, const QString &now, const QString &before)
{
    return u"%1 is %2, and was %3"_s.arg(what, shown(now), shown(before));
}

bool isOtherDate(const ResourceIdentity &one, const ResourceIdentity &other)
{
    return one.lastModified.isValid() && other.lastModified.isValid() && one.lastModified != other.lastModified;
}

bool isProvedTheSame(const ResourceIdentity &one, const ResourceIdentity &other)
{
    return !one.etag.isEmpty() && one.etag == other.etag;
}

QString inWords(const QDateTime &date)
{
    return date.toUTC().toString(Qt::ISODate);
}

const QByteArray &tagOf(const ResourceIdentity &identity)
{
    return identity.etag.isEmpty() ? identity.weakEtag : identity.etag;
}

}

ResourceIdentity ResourceIdentity::of(int status, const QList<Field> &fields)
{
    ResourceIdentity identity;
    const QByteArray etag = valueOf(fields, "ETag");
    if (etag.startsWith("W/") || etag.startsWith("w/"))
        identity.weakEtag = etag.sliced(kWeakMarkSize);
    else
        identity.etag = etag;
    identity.lastModified = dateFrom(QString::fromLatin1(valueOf(fields, "Last-Modified")));
    identity.total = totalOf(status, fields);
    identity.digest = digestOf(fields);
    return identity;
}

bool ResourceIdentity::isComparableWith(const ResourceIdentity &newer) const
{
    const bool haveTags = !tagOf(*this).isEmpty() && !tagOf(newer).isEmpty();
    const bool haveDates = lastModified.isValid() && newer.lastModified.isValid();
    return haveTags || haveDates;
}

QList<ResourceIdentity::Field> ResourceIdentity::conditions() const
{
    QList<Field> fields;
    if (!tagOf(*this).isEmpty())
        fields.append({"If-None-Match", etag.isEmpty() ? "W/" + weakEtag : etag});
    if (lastModified.isValid())
        fields.append({"If-Modified-Since", HttpDate::format(lastModified).toLatin1()});
    return fields;
}

QString ResourceIdentity::contradiction(const ResourceIdentity &newer) const
{
    if (total >= 0 && newer.total >= 0 && total != newer.total)
        return differs(u"its size"_s, u"%1 bytes"_s.arg(newer.total), QString::number(total));
    const QByteArray &tag = tagOf(*this);
    const QByteArray &newerTag = tagOf(newer);
    if (!tag.isEmpty() && !newerTag.isEmpty() && tag != newerTag)
        return differs(u"its ETag"_s, QString::fromLatin1(newerTag), QString::fromLatin1(tag));
    if (ResourceDigest::areOfDifferentFiles(digest, newer.digest))
        return differs(u"its digest"_s, QString::fromLatin1(newer.digest), QString::fromLatin1(digest));
    return isOtherDate(*this, newer) && !isProvedTheSame(*this, newer)
        ? differs(u"its date"_s, inWords(newer.lastModified), inWords(lastModified))
        : QString();
}

bool ResourceIdentity::hasOtherDate(const ResourceIdentity &newer) const
{
    return isOtherDate(*this, newer) && isProvedTheSame(*this, newer);
}

ResourceIdentity ResourceIdentity::completed(const ResourceIdentity &newer) const
{
    ResourceIdentity result = *this;
    if (result.etag.isEmpty())
        result.etag = newer.etag;
    if (result.weakEtag.isEmpty())
        result.weakEtag = newer.weakEtag;
    if (!result.lastModified.isValid())
        result.lastModified = newer.lastModified;
    if (result.total < 0)
        result.total = newer.total;
    if (result.digest.isEmpty())
        result.digest = newer.digest;
    return result;
}
