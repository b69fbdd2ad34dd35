// SPDX-License-Identifier: MIT
#pragma once

#include <tests/honesty/meeting.h>
#include <tests/honesty/visitor.h>

#include <QList>
#include <QString>

/// What a program made of it.
struct Impression {
    enum class Kind {
        Right, ///< status 0, and the file is one that the server has
        Error, ///< another status
        Wrong, ///< status 0, and no file or another one
        Hung, ///< it had not ended when it was killed
        Died, ///< by a signal
        NotBegun, ///< the first run left nothing to take up
    };

    Kind kind = Kind::NotBegun;
    int status = 0;
    /// There is a file under its final name.
    bool hasFile = false;
    /// What it said went wrong.
    QString sentence;
    /// How sure plait is, and why not surer; of others nothing.
    QString assurance;
    QString doubt;

    /// One word, or two.
    QString inWords() const;
    /// What plait must not do there; empty: nothing is wrong.
    QString wrongFor(const Meeting &meeting) const;
};

/// Leads programs to exhibits, each with a server and a folder of its own. Any thread may call.
namespace Showing
{
/// @param patienceMs after which a program that runs is killed
Impression lead(const Visitor &visitor, const Meeting &meeting, int patienceMs);
/// Several at once. @return in the order of the meetings, for each what the visitors made of it, in their order
QList<QList<Impression>> leadAll(const QList<Visitor> &visitors, const QList<Meeting> &meetings, int patienceMs);
}
