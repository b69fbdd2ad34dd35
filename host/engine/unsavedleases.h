// SPDX-License-Identifier: MIT
#pragma once

#include <host/storage/downloadstore.h>

#include <QList>
#include <QMap>
#include <QObject>
#include <QTimer>

#include <optional>

/// What the list has not taken at the end of a run, and of how its file compares with a checksum, until it does.
///
///     keep() ──> tried again now and then ──> written, or the download is another's or no more ──> forgotten
///
/// It is written under the number of its claim, the record first: who has claimed the download since is not disturbed,
/// and whoever is about to claim it here has it written first. Lives in the thread of the list's user.
class UnsavedLeases : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(UnsavedLeases)

public:
    static constexpr int kRestMs = 5000; ///< behind one that was refused once more

    /// What is known of the file besides.
    struct Result {
        DownloadStore::Work put; ///< false, without a failure = there is no need of it any more
        bool isOfRun = false; ///< of what the last run brought: the next one's record says it
    };

    /// What the list was given last of a download.
    struct Unsaved {
        std::optional<DownloadStore::Record> record; ///< nothing = the list has it
        DownloadStore::Holdings holdings;
        QList<Result> results; ///< in the order in which they came
        quint64 number = 0; ///< of all that were kept
    };

    /// @param list outlives this
    explicit UnsavedLeases(DownloadStore &list, QObject *parent = nullptr);
    ~UnsavedLeases() override;

    /// In place of the record that there is of the same download.
    void keep(const DownloadStore::Record &record, const DownloadStore::Holdings &holdings);
    /// Behind all that there is of the same download.
    void keep(qint64 id, const Result &result);
    /// Another run has it now, and saves it.
    void forget(qint64 id);
    bool isEmpty() const { return m_leases.isEmpty(); }
    /// Waits for it. Why the list does not take it either; it is kept then.
    Failure writeNow(qint64 id);
    /// The same for all of them, up to the first that is not taken.
    Failure writeAllNow();

private:
    void begin();
    bool write(Unsaved &lease);
    void writeNext();
    void onWritten(qint64 id, quint64 number, const Failure &failure);

    DownloadStore &m_list;
    QMap<qint64, Unsaved> m_leases;
    QTimer m_timer; ///< runs while there are any
    quint64 m_kept = 0;
    qint64 m_lastTried = 0;
};
