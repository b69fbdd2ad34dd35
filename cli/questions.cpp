// SPDX-License-Identifier: MIT
#include <cli/questions.h>

#include <cli/printer.h>

#include <algorithm>
#include <utility>

#include <poll.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

/// Bytes of what is typed.
constexpr qsizetype kMostAtOnce = 256;

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
    putNext();
}

void Questions::withdraw(qint64 id)
{
    const bool wasPut = m_isPut && m_questions.head().id == id;
    m_questions.removeIf([id](const Question &question) { return question.id == id; });
    if (!wasPut)
        return;
    rest();
    putNext();
}

void Questions::putNext()
{
    if (!m_isPut && !m_questions.isEmpty())
        put();
}

void Questions::rest()
{
    m_isPut = false;
    m_notifier.setEnabled(false);
    m_printer.setTyping(false);
}

void Questions::put()
{
    const Question &question = m_questions.head();
    forgetWhatWasTyped();
    m_isPut = true;
    m_printer.note(u"%1 [%2]"_s.arg(question.text, question.choices.join(u'/')));
    m_printer.setTyping(true);
    m_notifier.setEnabled(true);
}

/// Nobody answers what he has not seen.
void Questions::forgetWhatWasTyped()
{
    m_typed.clear();
    pollfd input{m_inputFile, POLLIN, 0};
    char buffer[kMostAtOnce];
    while (::poll(&input, 1, 0) > 0 && (input.revents & POLLIN) != 0 && ::read(m_inputFile, buffer, sizeof buffer) > 0)
        input.revents = 0;
}

void Questions::onReadable()
{
    char buffer[kMostAtOnce];
    const ssize_t count = ::read(m_inputFile, buffer, sizeof buffer);
    if (count <= 0) {
        leaveAll();
        return;
    }
    m_typed.append(buffer, count);
    const qsizetype end = m_typed.indexOf('\n');
    if (end >= 0 && m_isPut)
        take(QString::fromLocal8Bit(m_typed.left(end)).trimmed());
}

void Questions::leaveAll()
{
    rest();
    const QQueue<Question> open = std::exchange(m_questions, {});
    for (const Question &question : open)
        question.answered(kNobody);
}

void Questions::take(const QString &line)
{
    const int choice = choiceOf(line, m_questions.head().choices);
    if (choice < 0) {
        put();
        return;
    }
    const Question question = m_questions.dequeue();
    rest();
    question.answered(choice);
    putNext();
}
