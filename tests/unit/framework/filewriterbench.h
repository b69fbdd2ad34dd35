// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/framework/filedataasyncwriter.h>

#include <QTest>
#include <QThread>

#include <atomic>
#include <csignal>

#include <sys/resource.h>

/// A writer, in a thread of its own or not, and all that it says to the owner's thread.
class FileWriterBench
{
public:
    explicit FileWriterBench(bool ownThread, int syncEveryBytes = 0, qint64 progressStep = 32768)
        : writer(new FileDataAsyncWriter(syncEveryBytes, 'P', progressStep, nullptr))
    {
        listen();
        if (!ownThread)
            return;
        thread.start();
        writer->moveToThread(&thread);
    }

    ~FileWriterBench()
    {
        release();
        // A thread that is told to quit drops what is queued.
        [this] { QTRY_VERIFY(gone); }();
        thread.quit();
        thread.wait();
    }

    /// As a section does: the writer ends in its own thread, at its own time.
    void release()
    {
        if (!writer)
            return;
        if (writer->thread() == QThread::currentThread())
            delete writer;
        else
            writer->deleteLater();
        writer = nullptr;
    }

    void openAndWait(const QString &path, qint64 position = 0, bool exists = false)
    {
        writer->open(path, position, exists);
        QTRY_VERIFY(writer->isOpen());
        said.clear();
    }

    void closeAndWait()
    {
        writer->close();
        QTRY_VERIFY(said.contains(QStringLiteral("closed")));
    }

    /// Behind everything that was asked for before.
    void settle()
    {
        const qsizetype before = said.count(QStringLiteral("all"));
        writer->finishPendingData();
        QTRY_VERIFY(said.count(QStringLiteral("all")) > before);
    }

    QStringList withoutProgress() const
    {
        QStringList lines = said;
        lines.removeIf([](const QString &line) { return line.startsWith(QStringLiteral("reserving")); });
        return lines;
    }

    FileDataAsyncWriter *writer;
    std::atomic<bool> gone = false;
    QThread thread;
    QObject owner;
    QStringList said;
    QStringList openWhenSaid; ///< lines that came while the writer was open
    QList<qint64> reserving;
    qint64 written = 0;

private:
    void listen()
    {
        using Base = AbstractDataAsyncProcessor;
        QObject::connect(writer, &QObject::destroyed, [this] { gone = true; });
        const auto log = [this](const QString &line) {
            said.append(line);
            if (writer && writer->isOpen())
                openWhenSaid.append(line);
        };
        QObject::connect(writer, &Base::opened, &owner, [log] { log(QStringLiteral("opened")); });
        QObject::connect(writer, &Base::closed, &owner, [log] { log(QStringLiteral("closed")); });
        QObject::connect(writer, &Base::failed, &owner, [log] { log(QStringLiteral("failed")); });
        QObject::connect(writer, &Base::allDataIsProcessed, &owner, [log] { log(QStringLiteral("all")); });
        QObject::connect(writer, &Base::dataProcessed, &owner, [this, log](qint64 n) {
            written += n;
            log(QString::number(n));
        });
        QObject::connect(writer, &FileDataAsyncWriter::preallocatingProgress, &owner, [this, log](qint64 n) {
            reserving.append(n);
            log(QStringLiteral("reserving %1").arg(n));
        });
        QObject::connect(writer, &FileDataAsyncWriter::preallocateFinished, &owner,
                         [log](qint64 n) { log(QStringLiteral("reserved %1").arg(n)); });
    }
};

/// No file of this process grows beyond the size while the object lives.
class FileSizeLimit
{
public:
    explicit FileSizeLimit(qint64 size)
    {
        ::signal(SIGXFSZ, SIG_IGN);
        ::getrlimit(RLIMIT_FSIZE, &m_before);
        rlimit limit = m_before;
        limit.rlim_cur = rlim_t(size);
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() { ::setrlimit(RLIMIT_FSIZE, &m_before); }

private:
    rlimit m_before{};
};
