// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// What the transport says of an encrypted connection that did not come about. A network error has one code for all of
/// it; by these words, which are made and read here alone, one is told from the other. Pure.
namespace SecurityWords
{

enum class Refusal {
    Certificate, ///< the server's, in anybody's words
    ProxyCertificate,
    NoAgreement, ///< before any certificate was seen
};

/// A clause. @param proxy its address, in quotes @param reason why its certificate is not trusted
QString proxyCertificate(const QString &proxy, const QString &reason);

/// Sentences, which say everything. @param words of the library that failed
QString noAgreement(const QString &host, const QString &words);

Refusal refusalIn(const QString &text);

}
