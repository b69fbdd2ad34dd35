// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <QtGlobal>

struct Overview;
struct Summary;

/// How the downloads of one command ended, all together. A value.
struct Tally {
    struct Failed {
        QString name;
        QString reason;
    };

    int done = 0;
    int skipped = 0; ///< there was nothing to do
    QStringList stopped = {}; ///< their names
    qsizetype unbegun = 0; ///< stopped before they began
    QList<Failed> failed = {};
    qint64 bytes = 0; ///< of what is done
    bool areListed = true; ///< a later command can go on with them
    qint64 fetched = 0; ///< bytes that came, of whatever became of them

    void add(const Summary &summary);
    /// Where a download that ended so is counted while others run.
    static int &placeIn(Overview &overview, const Summary &summary);
    /// Of one alone its own last line says everything.
    bool isOfMany() const { return done + skipped + unbegun + stopped.size() + failed.size() > 1; }
};
