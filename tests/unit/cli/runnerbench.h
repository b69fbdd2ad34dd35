// SPDX-License-Identifier: MIT
#pragma once

#include <cli/printer.h>
#include <host/engine/engine.h>

#include <QList>
#include <QStringList>

/// An engine that only keeps what it is told to do, and says what the test has it say.
class ScriptedEngine : public Engine
{
    Q_OBJECT

public:
    using Kind = EngineCommand::Kind;

    QList<EngineCommand> commands; ///< all, in order

    QList<EngineCommand> of(Kind kind) const;
    /// The oldest of its kind that is not answered yet gets this answer. False = there is none.
    bool answerTo(Kind kind, EngineAnswer answer = {});
    void tellChanged(const Snapshot &row);
    void tellAsked(const Question &question);
    void tellWarned(qint64 id, const Warning &warning);
    void tellClosed();

protected:
    void transmit(const EngineCommand &command) override;

private:
    QList<EngineCommand> m_open;
};

/// Keeps what a person would read, a line for each call.
class Notebook : public Printer
{
public:
    QStringList lines;
    QList<Summary> summaries;
    Overview overview;
    bool isFinished = false; ///< nothing more may be told

    void begin(qint64 id, const QUrl &url) override;
    void progress(const Overview &now) override { overview = now; }
    void warn(qint64 id, const QString &text) override;
    void queried(qint64 id, const QueryResult &result) override;
    void planned(qint64 id, const FetchPlan &plan) override;
    void end(qint64 id, const Summary &summary) override;
    void leave(qsizetype count) override;
    void note(const QString &text) override { lines.append(text); }
    void finish() override { isFinished = true; }
};
