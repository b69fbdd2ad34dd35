// SPDX-License-Identifier: MIT
#pragma once

#include <cli/commandtable.h>
#include <host/options/optionvalues.h>

#include <QString>
#include <QStringList>

/// What is asked for by the words of a command line and the lines of a settings file together: what is typed comes
/// before what stands there.
class CommandLine
{
public:
    /// What the words come to: a command with its options, or a text to end with.
    struct Outcome {
        const CommandRow *command = nullptr; ///< null = there is a text to end with
        QStringList words; ///< what follows the command: URLs or numbers
        OptionValues values;
        QStringList notes; ///< sentences to say before it is done
        QStringList asides; ///< the same, but not to those who want quiet
        bool isHelp = false; ///< the text is an answer, not a complaint
        QString text;
    };

    /// @param configFile need not exist
    static Outcome read(const QStringList &words, const QString &configFile);
    /// Where a value that was typed is from, as OptionValues know it.
    static QString typed();
    /// --config FILE among the words; empty = it is not there.
    static QString configFileOf(const QStringList &words);
    /// --list FILE among the words, in the same way.
    static QString listFileOf(const QStringList &words);
    /// What is typed behind these is not for others' eyes, as "--user".
    static QList<QByteArray> secretOptions();
};
