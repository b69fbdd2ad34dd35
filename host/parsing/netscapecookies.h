// SPDX-License-Identifier: MIT
#pragma once

#include <host/parsing/clause.h>

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QNetworkCookie>
#include <QString>

#include <optional>

/// Files of cookies in Netscape's format, as browsers' add-ons write them: one line to a cookie, seven fields with tabs
/// between them: domain, whether subdomains get it, path, whether only https does, expiry in seconds since 1970, name,
/// value. Pure.
namespace NetscapeCookies
{

/// All cookies that have not expired; expiry 0 lasts as long as the session. Whether hosts below the domain get one is
/// for the second field to say; a dot before the domain says nothing. "#HttpOnly_" before a domain marks the cookie so;
/// other lines that begin with "#" and empty ones are comments.
/// Nothing, with a reason that names the line, when the text is no such file. @param reason gets why
std::optional<QList<QNetworkCookie>> parse(const QByteArray &text, const QDateTime &now, Clause *reason);

}
