// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QPair>
#include <QString>

/// What an answer says of the whole resource that its bytes are part of: by it the parts of one file are told from
/// those of another. A value.
struct ResourceIdentity {
    using Field = QPair<QByteArray, QByteArray>; ///< name and value, as answers have them

    QByteArray etag; ///< a strong one, with its quotes; empty = none
    QByteArray weakEtag; ///< a weak one, without its "W/"; empty = none
    QDateTime lastModified; ///< invalid = not said
    qint64 total = -1; ///< bytes; -1 = not said
    QByteArray digest; ///< value of a digest field about the whole, as sent; empty = none that is understood

    /// @param status 200 or 206, which says whether a length is the whole's @param fields of the answer, in any case
    static ResourceIdentity of(int status, const QList<Field> &fields);

    /// There is a validator: something that changes with the resource.
    bool hasValidator() const { return !etag.isEmpty() || !weakEtag.isEmpty() || lastModified.isValid(); }
    /// Both have a validator of one kind, so that it can be said whether they are of one resource.
    bool isComparableWith(const ResourceIdentity &newer) const;
    /// Fields of a request that is to be answered only where the resource has changed; none without a validator.
    QList<Field> conditions() const;
    /// In what the newer answer contradicts this one, as a clause ("its ETag is …, and was …"); empty = in nothing.
    /// What only one of them says contradicts nothing.
    QString contradiction(const ResourceIdentity &newer) const;
    /// The newer answer has another date, which means nothing: its strong ETag is this one's.
    bool hasOtherDate(const ResourceIdentity &newer) const;
    /// With what the newer answer says and this one does not.
    ResourceIdentity completed(const ResourceIdentity &newer) const;

    friend bool operator==(const ResourceIdentity &, const ResourceIdentity &) = default;
};
