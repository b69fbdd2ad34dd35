// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QStringList>

/// The words of a line as a shell would hand them to a program: one for sh and its kin, or one for cmd.exe, as browsers
/// copy either. Nothing is looked up, run or expanded. Pure.
namespace ShellWords
{

struct Split {
    QStringList words;
    QString output; ///< of "> FILE"; empty = it goes nowhere else
    QString rest; ///< from a "|", "&" or ";" on, which is for a shell; empty = there is none
    QString problem; ///< a sentence; empty = all could be read
};

Split split(const QString &line);

}
