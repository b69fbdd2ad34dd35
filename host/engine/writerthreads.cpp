// SPDX-License-Identifier: MIT
#include <host/engine/writerthreads.h>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

WriterThreads::WriterThreads(QObject *parent)
    : QObject(parent)
{
    for (int i = 0; i < kThreads; ++i) {
        QThread &thread = m_threads.at(i);
        thread.setObjectName(u"writers"_s);
        connect(&thread, &QThread::finished, this, &WriterThreads::tellIfEnded);
        m_there.at(i).moveToThread(&thread);
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

/// From within, in its turn: a thread that has hardly begun would go without having looked at what was left to it.
void WriterThreads::quit()
{
    for (int i = 0; i < kThreads; ++i) {
        QThread *const thread = &m_threads.at(i);
        if (thread->isRunning())
            QMetaObject::invokeMethod(
                &m_there.at(i), [thread] { thread->quit(); }, Qt::QueuedConnection);
    }
}

void WriterThreads::tellIfEnded()
{
    const bool isAnyLeft =
        std::any_of(m_threads.cbegin(), m_threads.cend(), [](const QThread &thread) { return thread.isRunning(); });
    if (!isAnyLeft && std::exchange(m_isEnding, false))
        Q_EMIT ended();
}
