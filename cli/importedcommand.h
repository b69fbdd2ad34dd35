// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QStringList>

/// A line for curl, wget or aria2, as documents have them and browsers copy them, in our own words. Pure.
namespace ImportedCommand
{

/// What stands behind "import": options of ours, then the line, in words or as one.
struct Parts {
    QStringList own;
    QStringList line;
};

struct Read {
    QStringList options;
    QStringList addresses;
    QStringList notes; ///< sentences: what is left out, and why
    QString complaint; ///< a sentence; empty = it can be done
};

Parts partsOf(const QStringList &words);
Read read(const QStringList &line);

}
