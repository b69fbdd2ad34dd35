// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/records/abstractdownloadpersistentinfo.h>

#include <QByteArray>
#include <QLatin1String>
#include <QList>
#include <QSharedPointer>

/// A download's record: how the sections get into it and back, what becomes of bytes that a new record has no place
/// for, and whether another record is of the same file. None before begin().
///
/// Owned by the download, which shares the record itself with its sections; all in one thread. Sends no signals:
/// whoever calls tells.
class RecordKeeper
{
public:
    using Record = AbstractDownloadPersistentInfo;
    using Ranges = QList<AbstractDownloadSection>;

    /// The same is asked of the server.
    static bool isSameRequest(const Record &a, const Record &b);
    /// What there is to choose where two records are of the same content: to go on with the other's source.
    static QString updateUrlOption();
    /// That was chosen, and nothing else.
    static bool isUpdateUrl(const AbstractDownloadMergeOptions &options);

    explicit operator bool() const { return bool(m_record); }
    Record *operator->() const { return m_record.get(); }
    Record &operator*() const { return *m_record; }
    /// Null before begin().
    const QSharedPointer<Record> &shared() const { return m_record; }
    bool hasFile() const { return m_record && !m_record->files.isEmpty(); }
    /// The one whose ranges the sections are. Only where there is one.
    AbstractDownloadFileInfo &firstFile() const { return m_record->files.first(); }

    /// Both are of the same file, by what identifies it, by what its source says, or by its name and size. False before
    /// begin().
    bool isSameContent(const Record &other) const;

    /// The first record. A file of which the size is known and no range is one range.
    void begin(const Record &record);
    /// Another one in its place. True = what was there of the bytes is lost with it, and to be fetched again.
    bool replace(const Record &record);
    /// Some fields of another one. @param isFetchedAgain as above, also where nothing changed @return whether something
    /// did
    bool update(const Record &record, qint64 fields, BitFlagsUpdateMode mode, bool *isFetchedAgain);
    /// Marks it as that module's.
    void adjustInfo(QLatin1String moduleId);

    /// Of the first file; empty without one.
    Ranges ranges() const;
    /// What the sections say takes their place, by offset. None at all, or no file, changes nothing.
    void keep(const Ranges &ranges);
    /// The record counts other bytes than so many.
    bool isBehind(qint64 bytesDownloaded) const;
    /// The file is what there is of it. Only where there is one.
    void settleForWhatIsThere();
    /// True = it is news: the record did not say that failure already.
    bool takeError(const AbstractError &error, const QDateTime &time);

    /// Bytes that the record kept inside itself, and that go into the file as soon as there is one.
    const QByteArray &pendingContent() const { return m_pendingContent; }
    void dropPendingContent() { m_pendingContent.clear(); }
    /// A record with bytes that are not in their file yet is not finished.
    void reopenForPendingContent();

private:
    /// What becomes of the bytes that a record kept inside itself when its destination changes.
    enum class ContentFate { Untouched, Pending, FetchedAgain };

    ContentFate checkNewInfoForSpecialCase(const Record &record, bool compareSource);
    ContentFate fateUnderOtherSource(const Record &record);
    void settle(ContentFate fate);
    void forgetRanges();

    QSharedPointer<Record> m_record;
    QByteArray m_pendingContent;
};
