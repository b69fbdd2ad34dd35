// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

class PlaitSandbox;

/// A program that downloads, told to go on with what is there, to use several connections if it can, and to try three
/// times.
struct Visitor {
    QString name = {};
    QString program = {}; ///< with its path
    QStringList arguments = {}; ///< the address is put behind them
    /// "%SHA256%" in it is the checksum. Empty: it takes none.
    QString checksumArgument = {};
    bool hasSeveralConnections = false;
    /// It writes what it has when it is stopped, at the latest, and nothing before.
    bool holdsBytesBack = false;
    /// Until it is to have begun, and again until it is to have ended after Ctrl-C.
    int stopPatienceMs = 60000;

    static Visitor plait();
    /// plait first, then all others that are installed.
    static QList<Visitor> all();

    /// What it has to find at home before it runs.
    void moveInto(const PlaitSandbox &home) const;
    QStringList argumentsFor(const QString &url, const QByteArray &sha256) const;
    /// Name and number, as it says itself.
    QString version() const;
};
