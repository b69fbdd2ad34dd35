// SPDX-License-Identifier: MIT
#pragma once

#include <cli/arguments.h>
#include <cli/runner.h>
#include <host/engine/engine.h>

#include <QElapsedTimer>

class Printer;

/// Asks servers without downloading, one after the other: what a URL holds, whether a download's resource has changed,
/// or whether a fresh address may be given to a download.
class LookupsRunner : public Runner
{
    Q_OBJECT

public:
    /// @param engine prepared; outlives this object, as the printer does
    LookupsRunner(const Arguments &arguments, Engine &engine, Printer &printer, QObject *parent = nullptr);

    void begin() override;
    void stop() override;

private:
    void refuse(const QString &complaint);
    void next();
    void query();
    void plan();
    void setUrl();
    void lookAt(qint64 id);
    void check(const EngineAnswer &known);
    void onQueried(const EngineAnswer &answer);
    void onPlanned(const EngineAnswer &answer);
    void onUrlSet(const EngineAnswer &answer);
    void onChecked(const EngineAnswer &answer);
    void onWarned(qint64 id, const Warning &warning);
    void begin(qint64 id, const QUrl &url);
    void end(ExitStatus status, const QString &errorText, const AbstractError &error);
    void end(const Failure &failure, const AbstractError &error = {});
    qsizetype count() const;

    const Arguments m_arguments;
    Engine &m_engine;
    Printer &m_printer;
    QElapsedTimer m_clock;
    qsizetype m_index = -1;
    qint64 m_queries = 0; ///< counts down: numbers for what is in no list
    qint64 m_id = 0; ///< of what is being looked up
    QUrl m_url; ///< the same
    bool m_stopping = false;
    ExitStatus m_status = ExitStatus::Done;
};
