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
ScriptBook::Handler bearer(const QByteArray &token, const ScriptedResponse &response);

/// The Authorization header that basic() wants.
QByteArray basicHeader(const QByteArray &login);

}
