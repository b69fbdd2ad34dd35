// SPDX-License-Identifier: MIT
#include <cli/trace.h>

#include <cli/printer.h>
#include <cli/tracewords.h>
#include <inet/qt/download/framework/qtappdefaultlogger.h>

#include <algorithm>

namespace
{
constexpr int kLevel = 1; ///< of the course of downloads
}

Trace::Trace(Printer &printer, const QtAppLogger::Sink &log)
    : m_printer(printer)
    , m_log(log)
{
    QtAppLogger *const logger = QtAppDefaultLogger::instance();
    logger->setVerbosityLevel(std::max(kLevel, logger->verbosityLevel()));
    logger->setSink([this](int level, const QString &line) { pass(level, line); });
}

Trace::~Trace()
{
    QtAppDefaultLogger::instance()->setSink(m_log);
}

void Trace::pass(int level, const QString &line)
{
    if (m_log)
        m_log(level, line);
    const QString words = level <= kLevel ? TraceWords::of(line) : QString();
    if (!words.isEmpty())
        QMetaObject::invokeMethod(this, [this, words] { m_printer.trace(words); });
}
