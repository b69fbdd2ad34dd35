// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/framework/abstractnetworkconsumerwithextratasks.h>
#include <inet/qt/download/records/abstractdownloadpersistentinfo.h>
#include <inet/qt/download/records/abstractdownloadsettings.h>
#include <inet/qt/download/records/downloadenums.h>

#include <QMap>
#include <QPair>
#include <QSet>
#include <QSharedPointer>
#include <QVariant>

class AbstractChildDownloadsManager;
class QThread;

/// One download, as a host sees it: given a record and commands, it answers with a changed record and signals.
///
/// The host owns it. It lives in one thread; nothing blocks. running(true) ... running(false) frame a run, whose
/// outcome is in the record by then.
class DOWNLOADFRAMEWORK_EXPORT AbstractDownload : public AbstractNetworkConsumerWithExtraTasks
{
    Q_OBJECT

public:
    /// Done and total bytes.
    using Progress = QPair<qint64, qint64>;

    AbstractDownload(qint64 id, QObject *parent);
    ~AbstractDownload() override;

    qint64 id() const override;

    virtual void doCommand(AbstractDownloadCommand command) = 0;
    virtual void doCustomCommand(const QVariant &command, const QVariant &argument);
    /// A person's answer to fileExistsActionRequired().
    virtual void fileExistsAction(int fileIndex, AbstractDownloadFileExistsAction action) = 0;
    virtual AbstractDownloadPersistentInfo info() const = 0;
    virtual bool setInfo(const AbstractDownloadPersistentInfo &info) = 0;
    /// @param fields AbstractDownloadPersistentInfo::Field bits
    virtual bool updateInfoFields(const AbstractDownloadPersistentInfo &info, qint64 fields,
                                  BitFlagsUpdateMode mode) = 0;
    /// AbstractDownloadPersistentInfo::DestinationType values that a person may choose.
    virtual QSet<int> supportedDestinations() const = 0;
    /// Whether data may begin elsewhere than at the start of the file.
    virtual bool supportsWriteOffset() const = 0;
    /// The thread of the disk writers. False = not taken.
    virtual bool setWritersThread(QThread *thread) = 0;
    virtual QObject *resourceVersionSelector();
    virtual void setSettings(const AbstractDownloadSettings &settings) = 0;
    virtual AbstractDownloadSettings settings() const = 0;
    virtual void setupBySourceDownload(QSharedPointer<AbstractDownload> source);
    /// AbstractDownloadTask bits.
    virtual int currentTasks() const = 0;
    /// By AbstractDownloadTask, in bytes.
    virtual QMap<int, Progress> tasksProgress() const = 0;
    virtual CompareDownloadsResult compareDownloads(const AbstractDownloadPersistentInfo &other) const = 0;
    virtual bool acquireDownloadsMergeOptions(const AbstractDownloadPersistentInfo &other,
                                              AbstractDownloadMergeOptions &thisOptions,
                                              AbstractDownloadMergeOptions &otherOptions) = 0;
    virtual bool mergeIntoThisDownload(const AbstractDownloadPersistentInfo &other,
                                       const AbstractDownloadMergeOptions &options) = 0;
    virtual bool mergeIntoOtherDownload(AbstractDownloadPersistentInfo &other,
                                        const AbstractDownloadMergeOptions &options) = 0;
    virtual bool isChildDownloadsManagerRequired() const;
    virtual void setChildDownloadsManager(const QSharedPointer<AbstractChildDownloadsManager> &manager);
    virtual QVariant previews() const;
    virtual QObject *newDownloadsSource() const;
    virtual bool setOption(quint64 option, const QVariant &value);
    virtual QVariant option(quint64 option);
    virtual bool isQueryingInfo() const = 0;
    virtual bool isStopping() const = 0;
    virtual bool isFinalizing() const = 0;
    /// What a person may attach to a report of an error.
    virtual QString errorReportData() const;
    virtual bool interactive() const;
    virtual void setInteractive(bool interactive);
    virtual void setInitData(const QVariant &data);
    /// DownloadDetails, or nothing.
    virtual QVariant details() const;
    /// The record itself, for the host's own fields; null where a download does not give it away.
    virtual AbstractDownloadPersistentInfo *rwInfo();

    /// Stands before every log line of the download.
    QString logHeader() const;

Q_SIGNALS:
    /// The record changed. @param significantly worth saving at once: files, errors, the finish; else progress and the
    /// like
    void changed(bool significantly);
    /// Relays of a transfer's header lines.
    void gotResponseHeaders(qint64 sectionId, const QList<QString> &headers);
    void sendingRequestHeaders(qint64 sectionId, const QList<QString> &headers);
    /// The file operations wait for fileExistsAction().
    void fileExistsActionRequired(int fileIndex, const QList<QString> &existingPaths);
    void fileExistsActionApplied(int fileIndex, AbstractDownloadFileExistsAction action, const AbstractError &error);
    /// True while files are created, checked or brought to their names.
    void performingFilesOperations(bool performing);
    /// A stop has begun; running(false) ends it.
    void stopping();
    /// A check whether the resource has changed has ended, with a verdict or without, and all of it was told; another
    /// may have begun. Never from inside a call.
    void resourceChecked();

private:
    const qint64 m_id;
    bool m_interactive = true;
};
