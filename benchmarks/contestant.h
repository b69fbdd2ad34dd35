// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>

/// A program that downloads, with the habits that make it comparable: no settings of the user's, nothing kept.
struct Contestant {
    QString name;
    QString program;
    QStringList arguments; ///< "%DIR%" is the folder to download to; the URL is put behind them

    /// The built one, with that many connections.
    static Contestant plait(int connections);
    /// aria2c with as many; none when it is not installed.
    static std::optional<Contestant> aria2(int connections);

    /// Seconds from start to end of one download of the URL; none when it fails or what arrives has another hash.
    std::optional<double> secondsFor(const QString &url, const QByteArray &sha256) const;
};
