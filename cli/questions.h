// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QQueue>
#include <QSocketNotifier>
#include <QStringList>

#include <functional>

class Printer;

/// Asks the person at the terminal, one question at a time, without holding up the downloads. What was typed before a
/// question was put is no answer to it.
class Questions : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Questions)

public:
    /// In place of a choice: the input is at its end.
    static constexpr int kNobody = -1;

    /// @param inputFile descriptor of the terminal that answers are typed at
    Questions(Printer &printer, int inputFile, QObject *parent = nullptr);

    /// @param id of the question @param choices a word each; the beginning of one is enough for an
    /// answer, an empty line is the first
    /// @param answered gets the number of the choice, or kNobody
    void ask(qint64 id, const QString &question, const QStringList &choices, const std::function<void(int)> &answered);
    /// Forgets it, where nobody has answered yet.
    void withdraw(qint64 id);

private:
    struct Question {
        qint64 id = 0;
        QString text;
        QStringList choices;
        std::function<void(int)> answered;
    };

    void putNext();
    void put();
    void rest();
    void forgetWhatWasTyped();
    void onReadable();
    void leaveAll();
    void take(const QString &line);

    Printer &m_printer;
    const int m_inputFile;
    QSocketNotifier m_notifier;
    QQueue<Question> m_questions;
    bool m_isPut = false; ///< the first of them was
    QByteArray m_typed;
};
