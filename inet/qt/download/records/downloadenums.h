// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QMetaType>
#include <QString>
#include <QUrl>

/// What a host tells a download to do.
enum class AbstractDownloadCommand : qint32 {
    QueryInfo = 0, ///< learn name, size and type; the transfer is kept for a start that follows soon
    QueryInfoMinimal = 1, ///< the same; nothing is kept
    Start = 2, ///< download what is missing
    Stop = 3,
    Restart = 4, ///< download again from the beginning; what was downloaded is discarded
    CheckResource = 5, ///< ask whether the resource has changed
    FinishNow = 6, ///< be content with what is there
};
Q_DECLARE_METATYPE(AbstractDownloadCommand)

/// How updateWith() combines flags.
enum class BitFlagsUpdateMode : qint32 {
    Replace = 0,
    Clear = 1, ///< the other's set bits are cleared
    Add = 2, ///< the other's set bits are set
};
Q_DECLARE_METATYPE(BitFlagsUpdateMode)

/// What happens when the target file exists already.
enum class AbstractDownloadExistingFileReaction : qint32 {
    NotSet = 0, ///< as the settings say
    Ask = 1,
    Rename = 2, ///< take a free name
    Overwrite = 3,
    Skip = 4, ///< leave the file alone and fail
};
Q_DECLARE_METATYPE(AbstractDownloadExistingFileReaction)

/// A person's answer to an existing target file.
enum class AbstractDownloadFileExistsAction : qint32 {
    Rename = 0,
    Overwrite = 1,
    Skip = 2,
};
Q_DECLARE_METATYPE(AbstractDownloadFileExistsAction)

/// Directions of traffic, in the order in which speeds are asked for.
enum class NetworkTrafficDirection : qint32 {
    Download = 0,
    Upload = 1,
};
Q_DECLARE_METATYPE(NetworkTrafficDirection)

/// Whether two records describe one download.
enum class CompareDownloadsResult : qint32 {
    Different = 0,
    OtherModule = 1, ///< the other record belongs to another module: no judgement
    SameContent = 2,
    SameSource = 3, ///< the same request, of which the content is not known to be the same
};
Q_DECLARE_METATYPE(CompareDownloadsResult)

/// Who made a download.
enum class AbstractDownloadCreatedBy : qint32 {
    Person = 0,
    Program = 1,
};
Q_DECLARE_METATYPE(AbstractDownloadCreatedBy)

enum class AbstractDownloadPriority : qint32 {
    Low = -1,
    Normal = 0,
    High = 1,
};
Q_DECLARE_METATYPE(AbstractDownloadPriority)

/// Why a host gave a download up.
enum class AbstractDownloadAbortReason : qint32 {
    None = 0,
    ByPerson = 1,
    ByPolicy = 2,
};
Q_DECLARE_METATYPE(AbstractDownloadAbortReason)

/// Kinds of downloads that a module offers.
enum class AbstractDownloadType : qint32 {
    Unknown = 0,
    File = 1,
};
Q_DECLARE_METATYPE(AbstractDownloadType)

/// Tasks of AbstractDownload::currentTasks() and tasksProgress(), as bits.
enum AbstractDownloadTask : qint32 {
    DownloadingTask = 1,
    AllocatingFileTask = 8,
};

/// How a record's list is sorted.
struct AbstractDownloadPersistentInfoSortByPlusOrder {
    qint32 sortBy = 0; ///< 1 creation time, 2 title, 3 size, 5 the person's own order; others have no order
    qint32 order = 0; ///< 0 = ascending, anything else = descending
};
Q_DECLARE_METATYPE(AbstractDownloadPersistentInfoSortByPlusOrder)

/// The choices that a merge of two downloads offers, as the texts shown to people.
struct AbstractDownloadMergeOptions {
    QList<QString> options;

    friend bool operator==(const AbstractDownloadMergeOptions &, const AbstractDownloadMergeOptions &) = default;
};
Q_DECLARE_METATYPE(AbstractDownloadMergeOptions)

/// One merge that a host has planned.
struct AbstractDownloadMergeTaskOptions {
    qint64 otherDownloadId = 0;
    AbstractDownloadMergeOptions options;
};
Q_DECLARE_METATYPE(AbstractDownloadMergeTaskOptions)

/// A request for new downloads, as it reaches the host from outside.
struct AbstractNewDownloadsRequest {
    QList<QUrl> urls;
};
Q_DECLARE_METATYPE(AbstractNewDownloadsRequest)

/// One piece of work that such a request became.
struct AbstractNewDownloadsRequestJob {
    qint64 requestId = 0;
    QUrl url;
};
Q_DECLARE_METATYPE(AbstractNewDownloadsRequestJob)
