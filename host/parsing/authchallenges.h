// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QString>

#include <optional>

/// What a server or a proxy asks for before it lets anybody in (WWW-Authenticate, Proxy-Authenticate). Pure.
namespace AuthChallenges
{

struct Challenge {
    QString scheme; ///< as it was written
    std::optional<QString> realm; ///< what the login is for, in the server's words; nothing = it does not say
    QString algorithm; ///< of Digest; empty = its first, MD5

    friend bool operator==(const Challenge &, const Challenge &) = default;
};

/// @param value of the field; those of several fields with commas between them
QList<Challenge> parse(const QString &value);

/// A name and a password are an answer that can be given.
bool isSpoken(const Challenge &challenge);

/// Whether Basic is all of them that can be spoken.
bool isBasicAlone(const QList<Challenge> &challenges);

/// @param lines of an answer's head @param isProxys what the proxy asks for
/// @return the field's value, see parse(); empty = there is none
QString valueIn(const QList<QString> &lines, bool isProxys);

/// Who asks for what, as a clause. @param who as people know it @param user whose password was given, and not taken;
/// empty = none was
QString refusal(const QString &who, const QString &value, const QString &user = {});

/// Whether a text was made by refusal().
bool isRefusal(const QString &text);

/// Whether it is a refusal() of a name and a password that were given.
bool isOfGiven(const QString &text);

/// Whether it is a refusal() of things that cannot be given as a name and a password.
bool isOfUnspoken(const QString &text);

}
