// SPDX-License-Identifier: MIT
#pragma once

#include <cli/arguments.h>
#include <cli/runner.h>
#include <host/engine/downloadsession.h>
#include <host/engine/resourcecheck.h>

#include <QElapsedTimer>

class Printer;

/// Asks servers without downloading, one after the other: what a URL holds, whether a download's resource has changed,
/// or whether a fresh address may be given to a download.
class LookupsRunner : public Runner
{
    Q_OBJECT

public:
    /// @param session open; outlives this object, as the printer does
    LookupsRunner(const Arguments &arguments, DownloadSession &session, Printer &printer, QObject *parent = nullptr);

    void begin() override;
    void stop() override;

private:
    void next();
    void query();
    void check();
    void onQueried(qint64 id, const QueryResult &result);
    void onFinished(qint64 id, const AbstractDownloadPersistentInfo &info);
    void onChecked(const ResourceCheck::Result &result);
    void mergeUrl();
    void end(const Failure &failure, const AbstractError &error = {});
    void end(ExitStatus status, const QString &errorText, const AbstractError &error);
    qsizetype count() const;

    const Arguments m_arguments;
    DownloadSession &m_session;
    Printer &m_printer;
    ResourceCheck m_check;
    QElapsedTimer m_clock;
    qsizetype m_index = -1;
    qint64 m_id = 0; ///< of what is being looked up
    QUrl m_url; ///< the same
    QueryResult m_found; ///< at the newest URL that was asked
    bool m_stopping = false;
    ExitStatus m_status = ExitStatus::Done;
};
