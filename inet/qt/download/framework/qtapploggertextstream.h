// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/framework/qtapplogger.h>

#include <QTextStream>

/// One line of the log: text is streamed in, and written when the object ends.
///
/// Inline, so that a module carries its own and only log() itself crosses the library's border.
class QtAppLoggerTextStream
{
    Q_DISABLE_COPY_MOVE(QtAppLoggerTextStream)

public:
    /// @param logger null = the text goes nowhere @param readLevel asks for the verbosity behind the line
    QtAppLoggerTextStream(QtAppLogger *logger, int level, bool readLevel)
        : m_logger(logger)
        , m_level(level)
        , m_readLevel(readLevel)
        , m_stream(&m_buffer, QIODeviceBase::ReadWrite)
    {
    }

    ~QtAppLoggerTextStream()
    {
        m_stream.flush();
        if (!m_logger)
            return;
        m_logger->log(m_level, m_buffer);
        if (m_readLevel)
            m_verbosityLevel = m_logger->verbosityLevel();
    }

    template<typename T>
    QtAppLoggerTextStream &operator<<(const T &value)
    {
        m_stream << value;
        return *this;
    }

private:
    QtAppLogger *const m_logger;
    const int m_level;
    const bool m_readLevel;
    [[maybe_unused]] int m_verbosityLevel = 0;
    QString m_buffer;
    QTextStream m_stream;
};
