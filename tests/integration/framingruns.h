// SPDX-License-Identifier: MIT
#pragma once

#include <tests/support/framingcases.h>

#include <QByteArray>
#include <QList>
#include <QString>

#include <functional>
#include <optional>

/// What a program made of an answer.
struct FramingOutcome {
    enum class Kind {
        Whole, ///< exit status 0
        Refused, ///< another one
        Hangs, ///< it had not ended when it was killed
        Died, ///< by a signal
        NotBegun, ///< what had to be there before was not
    };

    Kind kind = Kind::NotBegun;
    int status = 0;
    /// The file under its final name; nothing: there is none.
    std::optional<QByteArray> file;
    /// What there is of an incomplete one.
    QByteArray kept;
    QByteArray sentence;

    /// In a few words, for people.
    QString inWords() const;
    /// What is wrong with it; empty: nothing.
    QString wrongFor(const FramingCase &row) const;
};

/// Runs framing cases through programs, each in a folder of its own, several at once. Any thread may call.
namespace FramingRuns
{
using Program = std::function<FramingOutcome(const FramingCase &row, RawServer &server, const QByteArray &key)>;

/// @param key of the server, for this run alone
FramingOutcome runPlait(const FramingCase &row, RawServer &server, const QByteArray &key);
FramingOutcome runCurl(const FramingCase &row, RawServer &server, const QByteArray &key);

/// In the order of the rows.
QList<FramingOutcome> runAll(const QList<FramingCase> &rows, const Program &program);

/// One run of plait over a sound answer cut behind each of its bytes, and over all of it.
/// @param pieceOf how many bytes go out at once where it is cut behind so many
/// @return what is wrong, a line for each cut; empty: nothing
QStringList runCuts(const SoundAnswer &sound, const std::function<qsizetype(qsizetype)> &pieceOf);
}
