// SPDX-License-Identifier: MIT
#pragma once

#include <tests/support/scriptbook.h>

#include <QByteArray>

/// Handlers that let only those in who can say who they are; the others get 401 and are asked.
namespace Authentication
{

/// @param login "user:password"
ScriptBook::Handler basic(const QByteArray &login, const ScriptedResponse &response);
/// MD5, quality "auth". The nonce is always the same.
ScriptBook::Handler digest(const QByteArray &login, const ScriptedResponse &response);
/// Asks with each of these fields. Who answers one of them, by Basic or by Digest with the realm "realm" and the nonce
/// "f00dcafe", gets in.
ScriptBook::Handler challenged(const QByteArray &login, const QList<QByteArray> &fields,
                               const ScriptedResponse &response);
ScriptBook::Handler bearer(const QByteArray &token, const ScriptedResponse &response);

/// Whether it is the right answer to a Digest challenge like digest()'s, with MD5 or SHA-256.
bool answersDigest(const QByteArray &header, const QByteArray &method, const QByteArray &target,
                   const QByteArray &login);

/// The Authorization header that basic() wants.
QByteArray basicHeader(const QByteArray &login);

}
