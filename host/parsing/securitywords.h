// SPDX-License-Identifier: MIT
#pragma once

#include <QDateTime>
#include <QString>
#include <QStringList>

/// What the transport says of an encrypted connection that did not come about, in clauses. A network error has one code
/// for all of it; by these words, which are made and read here alone, one is told from the other. Pure.
namespace SecurityWords
{

enum class Refusal {
    Certificate, ///< the server's, in anybody's words
    ProxyCertificate,
    NoAgreement, ///< before any certificate was seen
    NoTls, ///< what answers speaks something else
};

/// What would have to be otherwise for a certificate to be trusted; the first of these where several things would.
enum class Flaw {
    Authority, ///< nobody here knows who signed it, or it is not fit for what it is shown for
    Host, ///< it is another's
    Time, ///< it was valid before, or will be
};

/// @param proxy its address, in quotes @param reason why its certificate is not trusted
QString proxyCertificate(const QString &proxy, const QString &reason);
/// @param words of the library that failed
QString noAgreement(const QString &host, const QString &words);

QString expired(const QDateTime &when);
QString notYetValid(const QDateTime &when);
/// @param names whose it is
QString ofOthers(const QStringList &names);
QString selfSigned();
QString ofUnknownAuthority();

Refusal refusalIn(const QString &text);
Flaw flawIn(const QString &text);

}
