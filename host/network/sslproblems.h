// SPDX-License-Identifier: MIT
#pragma once

#include <host/network/certificateproblem.h>

#include <QList>
#include <QSslError>
#include <QString>

/// A refused certificate in Qt's terms. Pure.
namespace SslProblems
{

/// @param problems empty = the certificate itself is fine, but it is another host's
/// @param certificate the server's own, DER
QList<QSslError> errorsFrom(const QList<CertificateProblem> &problems, const QByteArray &certificate);

/// Clauses, with semicolons between them.
QString textFor(const QList<QSslError> &errors);

}
