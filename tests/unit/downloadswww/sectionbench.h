// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/downloadswww/wwwdownloadsection.h>
#include <inet/qt/download/framework/filedataasyncwriter.h>
#include <tests/support/fakereply.h>
#include <tests/support/testaccesschief.h>

#include <QObject>
#include <QPointer>
#include <QSharedPointer>
#include <QTemporaryDir>
#include <QThread>
#include <QTimer>

#include <functional>
#include <memory>

class MemoryDataAsyncWriter;

/// A section between replies that the test plays and a real writer, with everything recorded that it says.
///
/// Its record keeps the data in memory unless useFolder() was called. Writers answer through the event loop, so that
/// what a test does without running events happens before any answer.
class SectionBench : public QObject
{
    Q_OBJECT

public:
    using Headers = QList<QNetworkReply::RawHeaderPair>;

    SectionBench();
    /// The section lives in a room with real managers: what it asks for goes out to a server.
    explicit SectionBench(TestAccessChief *realChief);
    ~SectionBench() override;

    /// Data goes to files below folder() from now on.
    void useFolder();
    QString folder() const { return m_folder.path(); }
    QString path(const QString &name) const { return m_folder.filePath(name); }
    /// A thread for writers, which ends with the bench.
    QThread *writersThread();
    /// The record has a file, of which the ranges are known.
    AbstractDownloadFileInfo &addFile(qint64 size, const QList<AbstractDownloadSection> &ranges = {}, quint8 flags = 0);
    /// Another source of the same bytes.
    void addMirror(const QString &url);

    /// A new section in the place of the former; its transfers and writers go with that.
    WwwDownloadSection *make(const AbstractDownloadSection &range = {}, bool resourceCheck = false);
    void destroySection();

    /// The head of an answer: "OK" with the length and with ranges, and what else is given.
    static Headers headersFor(qint64 length, const Headers &more = {});
    static Headers headersForRange(qint64 first, qint64 total, const Headers &more = {});
    void answerWhole(qint64 length, const Headers &more = {});
    void answerPart(qint64 first, qint64 total, const Headers &more = {});
    /// The rest of an answer.
    void finishWith(const QByteArray &body);
    /// A query that ended well, of which the transfer is kept.
    void runQuery(qint64 length);
    /// Queued work of the test's own thread until the section is idle; false when it will not end.
    bool waitUntilIdle();

    /// The reply made last.
    FakeReply *reply() const { return replies.isEmpty() ? nullptr : replies.last().data(); }
    /// Transfers that the section holds: the running one and the one kept from a query.
    QList<WwwDownloader *> transfers() const;
    WwwDownloader *transfer() const;
    MemoryDataAsyncWriter *memoryWriter() const;
    /// Known once it has answered something, and if it lives in the test's thread.
    FileDataAsyncWriter *fileWriter() const { return m_fileWriter; }
    /// Whether there ever was such a one.
    bool hadFileWriterHere() const { return m_hadFileWriterHere; }
    QTimer *queryKeptTimer() const;
    QByteArray range(int order) const;
    /// What a host has added up; empty when nothing is left over.
    QtConnectionsMap connections() const;
    int count(const QString &event) const { return int(events.count(event)); }

    static AbstractError anError(int code = 7);
    static void fire(QTimer *timer) { QMetaObject::invokeMethod(timer, "timeout"); }

    QList<QPointer<FakeReply>> replies;
    QSharedPointer<AbstractDownloadPersistentInfo> info;
    QSharedPointer<DownloadMirrorsUsageManager> mirrors;
    QSharedPointer<TestAccessChief> chief;
    std::unique_ptr<WwwDownloadSection> section;

    QStringList events; ///< what the section said, in order, but for connections
    QList<QtConnectionsMap> deltas;
    QList<qint64> preallocated;
    /// Called at each event, and at "connections", from inside the signal.
    std::function<void(const QString &event)> atEvent;

protected:
    bool eventFilter(QObject *object, QEvent *event) override;

private:
    void setUp();
    void record(WwwDownloadSection *made);
    void note(const QString &event);

    QTemporaryDir m_folder;
    std::unique_ptr<QThread> m_writersThread;
    QPointer<FileDataAsyncWriter> m_fileWriter;
    bool m_hadFileWriterHere = false;
    qint64 m_lastSectionId = 0;
    QList<AbstractDownloadMirrorInfo> m_mirrors;

    Q_DISABLE_COPY_MOVE(SectionBench)
};

/// The lines of the application's log while it lives, at the verbosity of sections.
class LogCapture
{
public:
    LogCapture();
    ~LogCapture();

    QStringList lines;
    QList<int> levels;

private:
    Q_DISABLE_COPY_MOVE(LogCapture)
};
