// SPDX-License-Identifier: MIT
#pragma once

#include <host/engine/downloadqueue.h>
#include <host/engine/downloadsession.h>

#include <QList>
#include <QObject>
#include <QString>
#include <QTemporaryDir>
#include <QUrl>

#include <memory>

/// A queue that takes the time from the test.
class BenchQueue : public DownloadQueue
{
public:
    using DownloadQueue::DownloadQueue;

    qint64 now = 0;

protected:
    qint64 elapsedMs() const override { return now; }
};

/// A session with the fake module and a list of its own, a queue, and all that the queue told.
class QueueBench : public QObject
{
    Q_OBJECT

public:
    struct Retry {
        qint64 id = 0;
        qint64 inMs = 0;
        QString reason;
    };
    struct Question {
        qint64 id = 0;
        Trouble::Kind kind = Trouble::Kind::None;
        QString text;
    };

    explicit QueueBench(const QueueOptions &options = quickly());
    ~QueueBench() override;

    /// Waits so short that nobody notices.
    static QueueOptions quickly();

    /// An address that does so, see FakePaths::kSteps. No two are the same.
    static QUrl urlOf(const QString &steps);
    /// Puts a download into the list. 0 = failed.
    qint64 add(const QString &steps, const DownloadOptions &options = {}, const QList<QUrl> &mirrors = {});
    /// The same, and into the queue.
    qint64 append(const QString &steps, const DownloadOptions &options = {}, const QList<QUrl> &mirrors = {});
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
    QList<Retry> retries;
    QList<Question> questions;
    QList<DownloadOutcome> outcomes;
    int drained = 0;
    qsizetype mostActive = 0;
    Failure error;

private:
    QTemporaryDir m_dir;
};
