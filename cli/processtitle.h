// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QList>

/// The process's own command line, as every user of the machine can read it. Pure but for the arguments themselves.
namespace ProcessTitle
{

/// Overwrites secrets in place, with asterisks: the values of these options ("--user NAME", "--user=NAME", "-u NAME",
/// "-uNAME") and every USER:PASSWORD@ and login of a URL, wherever they stand, in another URL's query, too. Behind "--"
/// there are no options. To be called as early as may be, once the arguments were read: nobody can read the secrets
/// from them any more.
/// @param options names with their dashes, abbreviations not known
void hide(int argc, char *const *argv, const QList<QByteArray> &options);

}
