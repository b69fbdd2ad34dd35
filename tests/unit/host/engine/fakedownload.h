// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/framework/abstractdownload.h>

#include <functional>

/// A download without a network, that does as its URL says (see FakePaths) or as the test tells it.
class FakeDownload : public AbstractDownload
{
    Q_OBJECT

public:
    static constexpr int kSize = 1000;

    FakeDownload(qint64 id, QObject *parent);
    ~FakeDownload() override;

    void begin();
    void end(const AbstractError &error);
    void change(bool significantly, const std::function<void(AbstractDownloadPersistentInfo &)> &how);
    QThread *writersThread() const { return m_writersThread; }

    void doCommand(AbstractDownloadCommand command) override;
    void fileExistsAction(int fileIndex, AbstractDownloadFileExistsAction action) override;
    AbstractDownloadPersistentInfo info() const override { return m_info; }
    bool setInfo(const AbstractDownloadPersistentInfo &info) override;
    bool updateInfoFields(const AbstractDownloadPersistentInfo &, qint64, BitFlagsUpdateMode) override { return false; }
    QSet<int> supportedDestinations() const override { return {AbstractDownloadPersistentInfo::ToFolder}; }
    bool supportsWriteOffset() const override { return false; }
    bool setWritersThread(QThread *thread) override;
    void setSettings(const AbstractDownloadSettings &) override {}
    AbstractDownloadSettings settings() const override { return {}; }
    int currentTasks() const override { return m_running ? DownloadingTask : 0; }
    QMap<int, Progress> tasksProgress() const override;
    CompareDownloadsResult compareDownloads(const AbstractDownloadPersistentInfo &) const override
    {
        return CompareDownloadsResult::Different;
    }
    bool acquireDownloadsMergeOptions(const AbstractDownloadPersistentInfo &, AbstractDownloadMergeOptions &,
                                      AbstractDownloadMergeOptions &) override
    {
        return false;
    }
    bool mergeIntoThisDownload(const AbstractDownloadPersistentInfo &other,
                               const AbstractDownloadMergeOptions &) override
    {
        m_info.url = other.url;
        return true;
    }
    bool mergeIntoOtherDownload(AbstractDownloadPersistentInfo &, const AbstractDownloadMergeOptions &) override
    {
        return false;
    }
    bool isQueryingInfo() const override { return false; }
    bool isStopping() const override { return false; }
    bool isFinalizing() const override { return false; }

    void setNetworkSettings(const AbstractNetworkConsumerSettings &) override {}
    AbstractNetworkConsumerSettings networkSettings() const override { return {}; }
    void setNetworkUsageSettings(const NetworkUsageSettings &settings) override { m_usage = settings; }
    NetworkUsageSettings networkUsageSettings() const override { return m_usage; }
    QtConnectionsMap connectionsMap() const override;
    qint64 speed(NetworkTrafficDirection direction, bool payloadOnly) const override;
    AbstractError lastError() const override { return m_info.lastError; }
    QList<QSslError> lastSslErrors() const override { return {}; }
    QDateTime lastErrorTime() const override { return {}; }
    void clearLastError() override {}
    bool isRunning() const override { return m_running; }
    QVariant details() const override;

private:
    void query();
    void start();
    void finish();
    void giveFinalName();
    void fail();
    void restart();
    void takeStep();
    void failAs(const QStringList &fields);
    void keep(qint64 bytes, bool isSizeKnown);

    AbstractDownloadPersistentInfo m_info;
    QThread *m_writersThread = nullptr;
    NetworkUsageSettings m_usage;
    QUrl m_failedSource;
    bool m_isChecking = false;
    bool m_running = false;
    bool m_silent = false;
};
