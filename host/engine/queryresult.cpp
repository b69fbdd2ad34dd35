// SPDX-License-Identifier: MIT
#include <host/engine/queryresult.h>

using namespace Qt::StringLiterals;

namespace
{

/// What a server announces that was not asked for a part yet.
QueryResult::Resume announcedResume(const QList<QString> &responseHeaders)
{
    constexpr auto kName = "Accept-Ranges:"_L1;
    for (const QString &line : responseHeaders) {
        if (!line.startsWith(kName, Qt::CaseInsensitive))
            continue;
        const QString value = line.mid(kName.size()).trimmed();
        return value.compare("bytes"_L1, Qt::CaseInsensitive) == 0 ? QueryResult::Resume::Supported
                                                                   : QueryResult::Resume::NotSupported;
    }
    return QueryResult::Resume::Unknown;
}

QueryResult::Resume resumeOf(const AbstractDownloadPersistentInfo &info, const QList<QString> &responseHeaders)
{
    switch (info.resumeSupport) {
    case AbstractDownloadPersistentInfo::ResumeSupported:
        return QueryResult::Resume::Supported;
    case AbstractDownloadPersistentInfo::ResumeNotSupported:
        return QueryResult::Resume::NotSupported;
    default:
        return announcedResume(responseHeaders);
    }
}

}

QueryResult QueryResult::from(const AbstractDownloadPersistentInfo &info, const QList<QString> &responseHeaders)
{
    QueryResult result;
    if (!info.files.isEmpty()) {
        result.name = info.files.first().name;
        result.size = info.files.first().size;
        result.type = info.files.first().contentType;
    }
    result.resume = resumeOf(info, responseHeaders);
    result.url = info.finalSource();
    return result;
}
