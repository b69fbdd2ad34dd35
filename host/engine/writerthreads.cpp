// SPDX-License-Identifier: MIT
#include <host/engine/writerthreads.h>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

WriterThreads::WriterThreads(QObject *parent)
    : QObject(parent)
{
    for (QThread &thread : m_threads) {
        thread.setObjectName(u"writers"_s);
        connect(&thread, &QThread::finished, this, &WriterThreads::tellIfEnded);
    }
}

WriterThreads::~WriterThreads()
{
    quit();
    for (QThread &thread : m_threads)
        thread.wait();
}

void WriterThreads::begin()
{
    Q_ASSERT_X(!m_hasBegun, "WriterThreads", "once");
    m_hasBegun = true;
}

/// Those that nobody needs are not begun.
QThread *WriterThreads::threadFor(qint64 id)
{
    Q_ASSERT_X(m_hasBegun && !m_isEnding, "WriterThreads", "between its beginning and its end");
    QThread &thread = m_threads.at(std::size_t(quint64(id) % kThreads));
    if (!thread.isRunning())
        thread.start();
    return &thread;
}

void WriterThreads::end()
{
    m_isEnding = true;
    quit();
    QMetaObject::invokeMethod(this, &WriterThreads::tellIfEnded, Qt::QueuedConnection);
}

void WriterThreads::quit()
{
    for (QThread &thread : m_threads)
        thread.quit();
}

void WriterThreads::tellIfEnded()
{
    const bool isAnyLeft =
        std::any_of(m_threads.cbegin(), m_threads.cend(), [](const QThread &thread) { return thread.isRunning(); });
    if (!isAnyLeft && std::exchange(m_isEnding, false))
        Q_EMIT ended();
}
