// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/memorydataasyncwriter.h>

#include <inet/qt/download/framework/assertion.h>

#include <QFileDevice>

#include <cstring>
#include <limits>
#include <new>

using namespace Qt::StringLiterals;

namespace
{

/// Larger arrays travel in no record.
constexpr qint64 kMaxSize = std::numeric_limits<qint32>::max();

bool resize(QByteArray &array, qint64 size)
{
    try {
        array.resize(size);
    } catch (const std::bad_alloc &) {
        return false;
    }
    return true;
}

}

MemoryDataAsyncWriter::MemoryDataAsyncWriter(QByteArray *target, QObject *parent)
    : AbstractDataAsyncProcessor(parent)
    , m_target(target)
{
    DOWNLOAD_ASSERT(target);
}

MemoryDataAsyncWriter::~MemoryDataAsyncWriter() = default;

AbstractError MemoryDataAsyncWriter::lastError() const
{
    return m_lastError;
}

QDateTime MemoryDataAsyncWriter::lastErrorTime() const
{
    return m_lastErrorTime;
}

void MemoryDataAsyncWriter::clearLastError()
{
    m_lastError = {};
    m_lastErrorTime = QDateTime::currentDateTime();
}

bool MemoryDataAsyncWriter::isOpen() const
{
    return m_open;
}

void MemoryDataAsyncWriter::open(const QString &, qint64 position, bool)
{
    m_closeAsked = false;
    ++m_opening;
    if (position < 0) {
        fail(QFileDevice::PositionError, u"Data cannot begin before the start."_s);
        return;
    }
    m_state = State::Open;
    m_position = position;
    m_lastEnd = position;
    const auto answer = [this] {
        m_open = true;
        Q_EMIT opened();
    };
    QMetaObject::invokeMethod(this, answer, Qt::QueuedConnection);
}

void MemoryDataAsyncWriter::reposition(qint64 position)
{
    m_position = position;
}

void MemoryDataAsyncWriter::close()
{
    if (m_closeAsked)
        return;
    m_closeAsked = true;
    m_state = State::Closed;
    ++m_closesPending;
    const auto answer = [this] {
        m_open = false;
        DOWNLOAD_ASSERT(m_closesPending > 0);
        if (--m_closesPending == 0)
            m_closeAsked = false;
        Q_EMIT closed();
    };
    QMetaObject::invokeMethod(this, answer, Qt::QueuedConnection);
}

void MemoryDataAsyncWriter::processData(const QByteArray &data)
{
    if (m_state != State::Open || data.isEmpty() || !makeRoom(data.size()))
        return;
    std::memcpy(m_target->data() + m_position, data.constData(), size_t(data.size()));
    m_position += data.size();
    m_lastEnd = m_position;
    const qint64 written = data.size();
    QMetaObject::invokeMethod(
        this, [this, written] { Q_EMIT dataProcessed(written); }, Qt::QueuedConnection);
}

void MemoryDataAsyncWriter::finishPendingData()
{
    QMetaObject::invokeMethod(this, &AbstractDataAsyncProcessor::allDataIsProcessed, Qt::QueuedConnection);
}

void MemoryDataAsyncWriter::restart()
{
    m_position = m_lastEnd;
}

/// The array holds so many bytes behind m_position; what lies between its old end and m_position is zero.
bool MemoryDataAsyncWriter::makeRoom(qint64 bytes)
{
    if (m_position < 0) {
        fail(QFileDevice::PositionError, u"Data cannot begin before the start."_s);
        return false;
    }
    const qint64 oldSize = m_target->size();
    if (bytes <= oldSize - m_position)
        return true;
    if (m_position > kMaxSize - bytes || !resize(*m_target, m_position + bytes)) {
        fail(QFileDevice::ResourceError, u"There is not enough memory for the data."_s);
        return false;
    }
    if (m_position > oldSize)
        std::memset(m_target->data() + oldSize, 0, size_t(m_position - oldSize));
    return true;
}

void MemoryDataAsyncWriter::fail(int code, const QString &text)
{
    m_state = State::Failed;
    m_lastError = {code, ErrorCategory::kFile, errorSourceHere(), text.toStdString()};
    m_lastErrorTime = QDateTime::currentDateTime();
    const auto answer = [this, opening = m_opening] {
        if (!m_closeAsked && opening == m_opening)
            Q_EMIT failed();
    };
    QMetaObject::invokeMethod(this, answer, Qt::QueuedConnection);
}
