// SPDX-License-Identifier: MIT
#pragma once

#include <host/parsing/clause.h>

#include <QByteArray>
#include <QCryptographicHash>
#include <QString>

#include <optional>

/// A hash that a file must have, as people give it: "sha-256=HEX".
struct Checksum {
    QCryptographicHash::Algorithm algorithm = QCryptographicHash::Sha256;
    QByteArray expected; ///< raw bytes; never empty

    /// Nothing, with a problem, when the text is none.
    static std::optional<Checksum> parse(const QString &text, Clause *problem);
    /// "sha-256=0123…", as parse() takes it.
    QString toText() const;
    QString algorithmName() const;

    friend bool operator==(const Checksum &, const Checksum &) = default;
};
