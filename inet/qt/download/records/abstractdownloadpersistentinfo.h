// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/records/abstractdownloadfileinfo.h>
#include <inet/qt/download/records/abstractdownloadguid.h>
#include <inet/qt/download/records/abstractdownloadmirrorinfo.h>
#include <inet/qt/download/records/abstractdownloadsourceinfo.h>
#include <inet/qt/download/records/abstracterror.h>
#include <inet/qt/download/records/downloadenums.h>
#include <inet/qt/download/records/exportmacro.h>

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QMetaType>
#include <QString>
#include <QUrl>

/// All that is remembered of one download between runs. The host keeps it, the module fills it.
///
/// A value: copies are independent of each other. All sizes are bytes; -1 = unknown.
class DOWNLOADFRAMEWORK_EXPORT AbstractDownloadPersistentInfo
{
public:
    /// Bits of flags.
    enum Flag : quint64 {
        FinalDownload = Q_UINT64_C(1) << 0,
        Finished = Q_UINT64_C(1) << 1,
        HasPostFinishedTasks = Q_UINT64_C(1) << 6,
        DummyFilesMode = Q_UINT64_C(1) << 7, ///< files count only when they are there, whole
        ChildDownloadsInside = Q_UINT64_C(1) << 8,
        ModuleFlags = Q_UINT64_C(0x280C00), ///< bits 10, 11, 19, 21: set by the www module on all its records
        LoggingSuppressed = Q_UINT64_C(1) << 18, ///< neither the download nor its sections write log lines
        ResourceChanged = Q_UINT64_C(1) << 22,
        IgnoreUploadRatioLimit = Q_UINT64_C(1) << 25,
        RenameBlocked = Q_UINT64_C(1) << 27, ///< a person chose the name: a stream's own title does not replace it
    };

    /// Values of resumeSupport.
    enum ResumeSupport : qint32 {
        ResumeUnknown = 0,
        ResumeSupported = 1, ///< the server honours byte ranges
        ResumeNotSupported = 2,
    };

    /// Values of destinationType.
    enum DestinationType : qint32 {
        ToMemory = 0, ///< the bytes are kept in content
        ToFolder = 1, ///< the files lie in folder, data goes to the first of them
    };

    /// Groups of fields that updateWith() copies, as bits.
    enum Field : qint64 {
        FieldDestination = 1 << 0, ///< destinationType and folder, together
        FieldTitle = 1 << 1, ///< title and customTitle
        FieldFlags = 1 << 2, ///< combined by the mode
        FieldFiles = 1 << 3, ///< files, but for what the two modifiers keep
        FieldTimes = 1 << 4, ///< creationTime and finishedTime
        FieldFilesKeepSections = 1 << 5, ///< modifies FieldFiles: sections stay those of this record, by index
        FieldLastError = 1 << 6, ///< by code and category; the time becomes now
        FieldSourceUrls = 1 << 7, ///< url, effectiveUrl, webPageUrl
        FieldNaming = 1 << 8, ///< presetFileName and existingFileReaction
        FieldUserAgent = 1 << 9,
        FieldSourceRequest = 1 << 10, ///< referer, cookies, postData, parameters, sourceFlags
        FieldOrdering = 1 << 11, ///< sortIndex, priority, createdBy
        FieldMirrors = 1 << 12,
        FieldResource = 1 << 13, ///< guid, resumeSupport, finalUrl
        FieldCounters = 1 << 14, ///< childDownloads and uploaded
        FieldContent = 1 << 15, ///< content and moduleId
        FieldFilesKeepDisk = 1 << 16, ///< modifies FieldFiles: pathOnDisk, fileFlags, dataStart stay, by index
        AllFields = -1,
    };

    /// Bits of changedFields().
    enum ChangedField : qint64 {
        FolderChanged = 1 << 0,
        TitleChanged = 1 << 1,
    };

    qint64 id = 0; ///< the host's number; 0 = not in a list
    quint64 flags = 0; ///< Flag bits
    quint64 childDownloads = 0; ///< 0 for a plain download
    QString moduleId; ///< module that owns the download
    QString title; ///< given by the source
    QUrl url; ///< the source as the person gave it
    QUrl effectiveUrl; ///< to download from, when it differs from url; invalid = none
    QUrl finalUrl; ///< source after redirects, when it differs from url; invalid = none
    QString referer; ///< empty = none given
    QList<QNetworkCookie> cookies;
    QByteArray postData; ///< empty = GET
    QUrl webPageUrl; ///< page that the download came from; invalid = unknown
    QVariantMap parameters; ///< of the source; "headers" holds custom request headers
    quint64 sourceFlags = 0; ///< AbstractDownloadSourceInfo::Flag bits
    QString userAgent; ///< of this download alone; empty = the settings' one
    QList<AbstractDownloadMirrorInfo> mirrors;
    qint32 destinationType = ToFolder; ///< a DestinationType
    QString folder;
    QString presetFileName; ///< name without extension that a person chose beforehand; empty = none
    AbstractDownloadExistingFileReaction existingFileReaction = AbstractDownloadExistingFileReaction::NotSet;
    QString customTitle; ///< set by the person; empty = none
    AbstractDownloadPriority priority = AbstractDownloadPriority::Normal;
    AbstractDownloadCreatedBy createdBy = AbstractDownloadCreatedBy::Person;
    QDateTime creationTime;
    QDateTime finishedTime; ///< null = not finished
    AbstractError lastError;
    QDateTime lastErrorTime;
    qint32 resumeSupport = ResumeUnknown; ///< a ResumeSupport
    AbstractDownloadGuid guid;
    QList<AbstractDownloadFileInfo> files;
    QByteArray content; ///< the bytes, when destinationType is ToMemory
    qint64 uploaded = 0; ///< sent to peers
    qint64 sortIndex = 0; ///< the person's own order

    bool hasFlag(Flag flag) const { return (flags & flag) != 0; }
    void setFlag(Flag flag, bool on) { flags = on ? flags | flag : flags & ~quint64(flag); }

    /// The source as a transfer gets it; its URL is downloadUrl().
    AbstractDownloadSourceInfo sourceInfo() const;
    /// Takes the source fields of another record over, its URLs included: that after redirects is the source's, too.
    void copySourceFrom(const AbstractDownloadPersistentInfo &other);

    /// customTitle, the first file's name, title or the URL's text: the first that there is.
    QString downloadTitle() const;
    /// effectiveUrl if valid, else url.
    QUrl downloadUrl() const { return effectiveUrl.isValid() ? effectiveUrl : url; }
    /// finalUrl if valid, else url.
    QUrl finalSource() const { return finalUrl.isValid() ? finalUrl : url; }

    /// In dummy-files mode: the file is not on disk, or not whole.
    bool isDummyFile(int index) const;
    bool hasNonDummyFiles() const;
    /// Sum of the files' sizes; -1 when one that counts is unknown.
    /// @param dummyIfAllDummy when all selected files are dummies and there are no children, these are summed up
    qint64 filesSize(bool selectedOnly, bool excludeDummy, bool dummyIfAllDummy) const;
    qint64 bytesDownloaded(bool selectedOnly) const;

    bool isFinished() const { return hasFlag(Finished); }
    /// @param setTime sets finishedTime to now, or to null
    void setFinished(bool finished, bool setTime);
    bool isFinalDownload() const { return hasFlag(FinalDownload); }
    bool isFinishedAndFinal() const { return isFinished() && isFinalDownload(); }
    /// False without files.
    bool areFilesFinished(bool selectedOnly) const;
    bool areFilesPathsOnDiskChanged(const AbstractDownloadPersistentInfo &other) const;
    bool hasPostFinishedTasks() const { return hasFlag(HasPostFinishedTasks); }

    bool ignoreURatioLimit() const { return hasFlag(IgnoreUploadRatioLimit); }
    /// uploaded divided by the size of the files; 0 when either is 0.
    double uRatio() const;

    /// Among selected files of known size; -1 = none.
    int largestFileIndex() const;
    /// What the disk must still give.
    qint64 diskSpaceNotUsedYet() const;
    bool hasSeparateChildDownloads() const { return childDownloads != 0 && !hasFlag(ChildDownloadsInside); }
    /// OR of 1 << type over the files.
    quint64 allFilesTypes(bool selectedOnly, bool completeOnly) const;
    bool hasFilesOnDisk() const;
    int nonSkippedFilesCount() const;
    /// -1 = none.
    int firstNonSkippedFileIndex() const;

    /// There is an error, and it is not a deliberate stop.
    bool isLastErrorSignificant() const;
    /// Sets the time to now.
    void setLastError(const AbstractError &error);

    /// ChangedField bits.
    qint64 changedFields(const AbstractDownloadPersistentInfo &other) const;
    /// Path of a file on disk, or its bare name.
    QString filePath(int index, bool nameOnly = false) const;

    /// Copies the groups of @p other named by @p fields (Field bits). True when something changed, and always for
    /// AllFields, which copies every field whatever the mode.
    /// A mode other than the three named reports a change of flags but leaves them as they were.
    bool updateWith(const AbstractDownloadPersistentInfo &other, qint64 fields, BitFlagsUpdateMode mode);

    friend bool operator==(const AbstractDownloadPersistentInfo &, const AbstractDownloadPersistentInfo &) = default;

private:
    bool updateFlags(quint64 otherFlags, BitFlagsUpdateMode mode);
    bool updateFiles(QList<AbstractDownloadFileInfo> otherFiles, qint64 fields);
};
Q_DECLARE_METATYPE(AbstractDownloadPersistentInfo)
