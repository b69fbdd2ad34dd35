// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

/// A list of addresses as people write it: one a line, or several with tabs between them where they are of one file;
/// below it, indented, what holds for it alone.
///
///     # a remark
///     https://example.com/a.iso	https://mirror.example.com/a.iso
///       out = first.iso
///       checksum = sha-256=…
///     https://example.com/b.iso
///
/// Blank lines and remarks pass. Only what the text says is told; what options mean is left to whoever asked. Pure.
struct AddressList {
    struct Option {
        int line = 0; ///< from 1
        QString name;
        std::optional<QString> value; ///< nothing = the name stands alone
    };
    struct Entry {
        int line = 0; ///< from 1
        QStringList addresses; ///< of one file; at least one
        QList<Option> options = {};
    };

    QList<Entry> entries;
    QList<Option> strays; ///< options with no address above them

    /// @param firstLine number of the line that the text begins with
    static AddressList read(const QString &text, int firstLine = 1);
};
