// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>

/// What is wrong with one certificate of a server's chain.
struct CertificateProblem {
    int code = 0; ///< X509_V_ERR_… of OpenSSL
    QByteArray certificate; ///< DER; empty = the chain lacks one
};
