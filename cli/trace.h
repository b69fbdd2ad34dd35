// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/framework/qtapplogger.h>

#include <QObject>

class Printer;

/// Has a printer tell what the log says of each request, as long as it lives. Lives in the printer's thread; lines come
/// from any.
class Trace : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Trace)

public:
    /// @param printer outlives this object @param log gets all lines as before; empty = nobody does
    Trace(Printer &printer, const QtAppLogger::Sink &log);
    /// From now on the log alone gets them.
    ~Trace() override;

private:
    void pass(int level, const QString &line);

    Printer &m_printer;
    const QtAppLogger::Sink m_log;
};
