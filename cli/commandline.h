// SPDX-License-Identifier: MIT
#pragma once

#include <cli/typed.h>

#include <QString>
#include <QStringList>

#include <optional>

/// The words of the command line and of the configuration file, sorted into options.
///
/// The file has lines "name = value", with the names of the long options; what is typed wins over it.
class CommandLine
{
public:
    /// What the words come to: options, or a text to end with.
    struct Outcome {
        std::optional<Typed> typed;
        bool isHelp = false; ///< the text is an answer, not a complaint
        QString text;
        QString settings; ///< every setting that a file may hold, with its value, one a line
    };

    /// @param configFile need not exist
    static Outcome read(const QStringList &words, const QString &configFile);
    /// The words of a command: the first one, or "get" where that is left out.
    static QStringList commands();
    /// --config FILE among the words; empty = it is not there.
    static QString configFileOf(const QStringList &words);
};
