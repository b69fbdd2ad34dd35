// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/qtapplogger.h>

#include <QDateTime>
#include <QMutexLocker>

#include <utility>

using namespace Qt::StringLiterals;

namespace
{

/// The logger that this thread is in; a sink that logs would otherwise wait for itself.
thread_local const QtAppLogger *t_inside = nullptr;

/// One entry is one line, whatever the text of strangers holds.
QByteArray fileLine(int level, QString text)
{
    text.replace(u'\n', u' ').replace(u'\r', u' ');
    const QString head =
        QDateTime::currentDateTime().toString(Qt::ISODateWithMs) + u' ' + QString::number(level) + u' ';
    return (head + text + u'\n').toUtf8();
}

}

QtAppLogger::QtAppLogger() = default;

QtAppLogger::~QtAppLogger() = default;

void QtAppLogger::log(int level, const QString &line)
{
    if (level > verbosityLevel() || t_inside == this)
        return;
    const QMutexLocker lock(&m_mutex);
    const QtAppLogger *const before = std::exchange(t_inside, this);
    const QString text = m_filter ? m_filter(line) : line;
    if (m_file.isOpen())
        m_file.write(fileLine(level, text));
    if (m_sink)
        m_sink(level, text);
    t_inside = before;
}

int QtAppLogger::verbosityLevel() const
{
    return m_verbosityLevel.load(std::memory_order_relaxed);
}

void QtAppLogger::setVerbosityLevel(int level)
{
    m_verbosityLevel.store(level, std::memory_order_relaxed);
}

void QtAppLogger::setSink(Sink sink)
{
    const QMutexLocker lock(&m_mutex);
    m_sink = std::move(sink);
}

void QtAppLogger::setFilter(Filter filter)
{
    const QMutexLocker lock(&m_mutex);
    m_filter = std::move(filter);
}

bool QtAppLogger::openFile(const QString &path, QString *errorText)
{
    const QMutexLocker lock(&m_mutex);
    m_file.close();
    m_file.setFileName(path);
    // Unbuffered: what was logged before a crash is in the file.
    const bool opened = m_file.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered);
    if (!opened && errorText)
        *errorText = m_file.errorString();
    return opened;
}
