// SPDX-License-Identifier: MIT
#include <cli/questions.h>

#include <cli/printer.h>

#include <algorithm>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

/// -1 = no choice, or several, begin so.
int choiceOf(const QString &typed, const QStringList &choices)
{
    if (typed.isEmpty())
        return 0;
    int found = -1;
    for (int i = 0; i < choices.size(); ++i) {
        if (!choices.at(i).startsWith(typed, Qt::CaseInsensitive))
            continue;
        if (found >= 0)
            return -1;
        found = i;
    }
    return found;
}

}

Questions::Questions(Printer &printer, int inputFile, QObject *parent)
    : QObject(parent)
    , m_printer(printer)
    , m_inputFile(inputFile)
    , m_notifier(inputFile, QSocketNotifier::Read)
{
    m_notifier.setEnabled(false);
    connect(&m_notifier, &QSocketNotifier::activated, this, &Questions::onReadable);
}

void Questions::ask(qint64 id, const QString &question, const QStringList &choices,
                    const std::function<void(int)> &answered)
{
    m_questions.enqueue({id, question, choices, answered});
    if (m_questions.size() == 1)
        put();
}

void Questions::withdraw(qint64 id)
{
    const bool wasPut = !m_questions.isEmpty() && m_questions.head().id == id;
    m_questions.removeIf([id](const Question &question) { return question.id == id; });
    if (!wasPut)
        return;
    rest();
    if (!m_questions.isEmpty())
        put();
}

void Questions::rest()
{
    m_notifier.setEnabled(false);
    m_printer.setTyping(false);
}

void Questions::put()
{
    const Question &question = m_questions.head();
    m_printer.note(u"%1 [%2]"_s.arg(question.text, question.choices.join(u'/')));
    m_printer.setTyping(true);
    m_notifier.setEnabled(true);
}

void Questions::onReadable()
{
    char buffer[256];
    const ssize_t count = ::read(m_inputFile, buffer, sizeof buffer);
    if (count <= 0) {
        // Nobody will answer any more: what changes nothing is the first choice.
        rest();
        while (!m_questions.isEmpty())
            m_questions.dequeue().answered(0);
        return;
    }
    m_typed.append(buffer, count);
    const qsizetype end = m_typed.indexOf('\n');
    if (end < 0 || m_questions.isEmpty())
        return;
    const QString line = QString::fromLocal8Bit(m_typed.left(end)).trimmed();
    m_typed.remove(0, end + 1);
    const int choice = choiceOf(line, m_questions.head().choices);
    if (choice < 0) {
        put();
        return;
    }
    const Question question = m_questions.dequeue();
    rest();
    question.answered(choice);
    if (!m_questions.isEmpty())
        put();
}
