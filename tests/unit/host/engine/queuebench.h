// SPDX-License-Identifier: MIT
#pragma once

#include <host/engine/downloadqueue.h>
#include <host/engine/downloadsession.h>

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QObject>
#include <QPair>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QUrl>

#include <memory>

/// A queue that takes the time from the test.
class BenchQueue : public DownloadQueue
{
public:
    using DownloadQueue::DownloadQueue;

    qint64 now = 0;
    QDateTime wall{QDate(2026, 11, 16), QTime(12, 0)};

protected:
    qint64 elapsedMs() const override { return now; }
    QDateTime wallClock() const override { return wall; }
};

/// A session with the fake module and a list of its own, a queue, and all that the queue told.
class QueueBench : public QObject
{
    Q_OBJECT

public:
    struct Question {
        qint64 id = 0;
        Trouble::Kind kind = Trouble::Kind::None;
    };

    /// Where a download is when something happens to it or to its queue.
    enum class Place {
        Waiting,
        Beginning, ///< appended just now
        Running,
        BetweenAttempts,
        BeforeARestart,
        Asking,
        Hashing,
    };
    static const QList<QPair<const char *, Place>> kPlaces; ///< all of them

    explicit QueueBench(const QueueOptions &options = quickly());
    ~QueueBench() override;

    /// Waits so short that nobody notices.
    static QueueOptions quickly();
    /// The same, with somebody to ask; as bring() needs it.
    static QueueOptions oneAtATime();

    /// An address that does so, see FakePaths::kSteps. No two are the same.
    static QUrl urlOf(const QString &steps);
    /// Puts a download into the list. 0 = failed.
    qint64 add(const QString &steps, const DownloadOptions &options = {}, const QList<QUrl> &mirrors = {});
    /// The same, and into the queue.
    qint64 append(const QString &steps, const DownloadOptions &options = {}, const QList<QUrl> &mirrors = {});
    /// A download in this place, which is done when it is begun once more; 0 = it does not come there.
    qint64 bring(Place place);
    /// Until there is nothing left to do.
    bool run();
    /// Whatever is to come by itself has come.
    static void settle();
    void tick();

    int endsOf(qint64 id) const;
    DownloadOutcome outcomeOf(qint64 id) const;
    AbstractDownload *running(qint64 id) const;
    QString path(const QString &name) const { return m_dir.filePath(name); }
    QString listPath() const { return path(QStringLiteral("list.sqlite")); }

    std::unique_ptr<DownloadSession> session;
    std::unique_ptr<BenchQueue> queue;
    QList<qint64> began;
    QList<Warning> retries;
    QList<Question> questions;
    QList<DownloadOutcome> outcomes;
    QHash<qint64, QList<DownloadState>> states; ///< that each came to, as it was told
    QStringList illegal; ///< what was told of states and may not be; empty at the end
    qsizetype neverBegan = 0;
    int drained = 0;
    qsizetype mostActive = 0;
    Failure error;

private:
    void onStateChanged(qint64 id, DownloadState from, DownloadState to);

    QTemporaryDir m_dir;
};
