// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/records/abstractdownloadpersistentinfo.h>

#include <QList>
#include <QMetaType>
#include <QString>
#include <QUrl>

/// What a query learns of a resource without downloading it.
struct QueryResult {
    enum class Resume {
        Unknown,
        Supported,
        NotSupported,
    };

    QString name;
    qint64 size = -1; ///< -1 = unknown
    QString type; ///< the response's Content-Type; empty = not said
    Resume resume = Resume::Unknown;
    QUrl url; ///< after redirects

    /// @param responseHeaders the answer's lines, as a download relays them
    static QueryResult from(const AbstractDownloadPersistentInfo &info, const QList<QString> &responseHeaders);

    friend bool operator==(const QueryResult &, const QueryResult &) = default;
};
Q_DECLARE_METATYPE(QueryResult)
