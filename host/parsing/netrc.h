// SPDX-License-Identifier: MIT
#pragma once

#include <host/parsing/clause.h>
#include <host/parsing/urlcredentials.h>

#include <QByteArray>
#include <QFileDevice>
#include <QList>
#include <QString>

#include <optional>

/// The file ~/.netrc: who a person is on which machine. Pure.
namespace Netrc
{

struct Entry {
    QString machine; ///< in lower case; empty = the default, for all machines that have no entry
    Login login;
    QString account; ///< for ftp; empty = none

    friend bool operator==(const Entry &, const Entry &) = default;
};

/// All entries in their order. Macros ("macdef") are skipped; a "#" begins a comment where a keyword would stand, but
/// not in a password; a word in double quotes may hold blanks, and quotes and backslashes behind a backslash. Nothing,
/// with a reason that names the line, when the text is no netrc file.
/// @param reason gets why; nothing of what the file says is in it
std::optional<QList<Entry>> parse(const QByteArray &text, Clause *reason);

/// The first entry for the host, else, where that may serve, the default. @param user of whom the password is wanted;
/// empty = of anybody
std::optional<Entry> entryFor(const QList<Entry> &entries, const QString &host, bool mayUseDefault,
                              const QString &user = {});

/// Others than the owner of a file with these entries can get at passwords in it.
bool isExposed(QFileDevice::Permissions permissions, const QList<Entry> &entries);

}
