// SPDX-License-Identifier: MIT
#include <tests/unit/cli/runnerbench.h>

using namespace Qt::StringLiterals;

QList<EngineCommand> ScriptedEngine::of(Kind kind) const
{
    QList<EngineCommand> found;
    for (const EngineCommand &command : commands) {
        if (command.kind == kind)
            found.append(command);
    }
    return found;
}

bool ScriptedEngine::answerTo(Kind kind, EngineAnswer answer)
{
    for (qsizetype i = 0; i < m_open.size(); ++i) {
        if (m_open.at(i).kind != kind)
            continue;
        answer.number = m_open.takeAt(i).number;
        EngineNews news{EngineNews::Kind::Answered};
        news.answer = answer;
        deliver(news);
        return true;
    }
    return false;
}

void ScriptedEngine::tellChanged(const Snapshot &row)
{
    EngineNews news{EngineNews::Kind::Changed, row.id};
    news.snapshot = row;
    deliver(news);
}

void ScriptedEngine::tellAsked(const Question &question)
{
    EngineNews news{EngineNews::Kind::Asked, question.downloadId};
    news.question = question;
    deliver(news);
}

void ScriptedEngine::tellWarned(qint64 id, const Warning &warning)
{
    EngineNews news{EngineNews::Kind::Warned, id};
    news.warning = warning;
    deliver(news);
}

void ScriptedEngine::tellClosed()
{
    deliver({EngineNews::Kind::Closed});
}

void ScriptedEngine::transmit(const EngineCommand &command)
{
    commands.append(command);
    m_open.append(command);
}

void Notebook::begin(qint64 id, const QUrl &url)
{
    lines.append(u"begin %1 %2"_s.arg(QString::number(id), url.toString()));
}

void Notebook::warn(qint64 id, const QString &text)
{
    lines.append(u"warn %1: %2"_s.arg(QString::number(id), text));
}

void Notebook::planned(qint64 id, const FetchPlan &plan)
{
    lines.append(u"planned %1 %2"_s.arg(QString::number(id), plan.text()));
}

void Notebook::queried(qint64 id, const QueryResult &result)
{
    lines.append(u"queried %1 %2"_s.arg(QString::number(id), result.name));
}

void Notebook::end(qint64 id, const Summary &summary)
{
    lines.append(u"end %1 %2"_s.arg(id).arg(int(summary.status)));
    summaries.append(summary);
}

void Notebook::leave(qsizetype count)
{
    lines.append(u"leave %1"_s.arg(count));
}
