// SPDX-License-Identifier: MIT
#pragma once

#include <host/storage/downloadstore.h>
#include <host/storage/owners.h>
#include <host/storage/storechoice.h>

#include <QObject>
#include <QThread>
#include <QTimer>

#include <atomic>
#include <functional>
#include <memory>

/// A list of downloads whose store is opened, used and closed in a thread of its own.
///
///     this thread      save() ──> goes on ───────────────────────> saved()
///                      releaseSoon() ──> goes on
///                      others ──────────────> wait ──> answer
///     the list's       ........ one after the other, in the order of the calls ........
///
/// Whoever only saves goes on at once: a slow disk and a list that another process is at hold up neither bytes nor
/// people. All other calls wait for their answer, and with it for the saves before it, so that they see them. Its end
/// waits for what was begun. Lives in the thread of who uses it.
class StoreThread : public QObject, public DownloadStore
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(StoreThread)

public:
    /// @param renewMs between two renewClaims() of its store @param sureMs so long after one its claims hold for sure
    explicit StoreThread(int renewMs = Owners::kRenewMs, qint64 sureMs = Owners::kSureMs);
    ~StoreThread() override;

    /// So long a claim waits for another process that has the list to itself. Who claims can do so later, and nothing
    /// else of its thread goes on meanwhile.
    static constexpr int kClaimWaitMs = 500;

    /// Once. False, with a failure, when there is no such store; before, and then, every call fails.
    bool open(const StoreChoice &choice);

    /// That have waited for their answer so far: for who looks into what is slow.
    qint64 calls() const { return m_calls; }

    QString path() const override { return m_path; }
    /// Of the last call that waited for its answer.
    Failure lastFailure() const override { return m_failure; }
    Failure warning() const override { return m_warning; }

    using DownloadStore::together;
    bool together(const Work &work, Lasting lasting) override;
    qint64 insert(Record &record) override;
    qint64 insertOwned(Record &record, const DownloadOptions &options) override;
    using DownloadStore::update;
    bool update(const Record &record, const Holdings &holdings, Lasting lasting) override;
    void save(const Record &record, const Holdings &holdings, QObject *context, const Saved &saved) override;
    FileIdentity fileIdentity(qint64 id) override;
    QString contentEncoding(qint64 id) override;
    ResourceMemory memory(qint64 id) override;
    bool setDigestResult(qint64 id, ChecksumResult result, qint64 fence = 0) override;
    std::optional<Record> load(qint64 id) override;
    QList<Record> loadUnfinished() override;
    QList<Record> findUnfinished(const QUrl &url, const QString &folder, const QString &outputName) override;
    QList<Record> findFinished(const QUrl &url, const QString &folder, const QString &outputName, int limit) override;
    QList<Record> findByUrl(const QUrl &url, int limit) override;
    bool isBegun(const QString &folder, const QString &pathOnDisk, qint64 butId) override;
    QList<Record> list() override;
    QList<ListEntry> page(ListFilter filter, int limit, qint64 before = 0) override;
    QList<ListEntry> page(ListFilter filter, ListOrder order, qint64 first, int limit) override;
    qint64 move(qint64 id, qint64 position, QList<RowPlace> *places = nullptr) override;
    qint64 count(ListFilter filter, qint64 *othersChanges = nullptr) override;
    void askOthersChanges(QObject *context, const std::function<void(qint64)> &told) override;
    DownloadOptions options(qint64 id) override;
    bool setOptions(qint64 id, const DownloadOptions &options, qint64 fence = 0) override;
    bool remove(qint64 id, qint64 fence = 0) override;
    Claim claim(qint64 id, Owner *owner = nullptr) override;
    Claim claim(qint64 id, Lease &lease, Owner *owner = nullptr) override;
    bool release(qint64 id) override;
    void releaseSoon(const QList<qint64> &ids) override;
    bool renewClaims() override;
    Failure lostTo(qint64 id, qint64 fence) override;

    /// In any thread: the claims of this process hold, if they did after so many lapses, which is how often they were
    /// renewed too late, and so may have been another's meanwhile.
    bool isSure(int lapses) const;
    /// In any thread but the list's: renews the claims, if that is overdue, and answers as lostTo().
    /// @param lapses gets how many there had been before it was looked at
    Failure look(qint64 id, qint64 fence, int *lapses);
    /// The claims may be another's by now: for who hears that the machine has slept.
    void doubt();

Q_SIGNALS:
    /// The claims were renewed too late: each of them is to be looked at.
    void lapsed();

private:
    template<typename Question>
    auto call(const Question &question);
    void inThread(const std::function<void()> &work);
    void end();
    void renew();

    QThread m_thread;
    QObject m_there; ///< lives in it
    const int m_renewMs;
    const qint64 m_sureMs;
    std::atomic<qint64> m_sureUntilMs; ///< since the machine started, and also while it sleeps
    std::atomic<int> m_lapses = 0;
    std::unique_ptr<QTimer> m_renewal; ///< made and deleted there
    std::unique_ptr<DownloadStore> m_store; ///< used there, and here while nothing runs there
    qint64 m_calls = 0;
    QString m_path;
    Failure m_failure;
    Failure m_warning;
};
