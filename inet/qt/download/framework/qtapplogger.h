// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/records/exportmacro.h>

#include <QFile>
#include <QMutex>
#include <QString>

#include <atomic>
#include <functional>

/// The application's log: lines with a level, 1 for the course of a download, 4 for its sections. Safe from any thread.
class DOWNLOADFRAMEWORK_EXPORT QtAppLogger
{
    Q_DISABLE_COPY_MOVE(QtAppLogger)

public:
    /// Gets every line that the verbosity lets through, in the thread that logs, one at a time.
    using Sink = std::function<void(int level, const QString &line)>;
    /// Gives the line that is logged in place of another one; called as a sink is.
    using Filter = std::function<QString(const QString &line)>;

    QtAppLogger();
    virtual ~QtAppLogger();

    virtual void log(int level, const QString &line);
    /// Lines above this level are dropped; 0 = all are.
    virtual int verbosityLevel() const;

    void setVerbosityLevel(int level);
    /// An empty function takes the sink away.
    void setSink(Sink sink);
    /// Comes before file and sink, so that neither sees what the filter takes out. An empty function takes it away.
    void setFilter(Filter filter);
    /// Appends to a file, with time and level before each line. False, with the reason in @p errorText, when it cannot
    /// be opened.
    bool openFile(const QString &path, QString *errorText = nullptr);

private:
    mutable QMutex m_mutex;
    std::atomic<int> m_verbosityLevel = 0;
    Sink m_sink;
    Filter m_filter;
    QFile m_file;
};
