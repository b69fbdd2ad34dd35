// SPDX-License-Identifier: MIT
#include <host/network/sslproblems.h>

#include <host/parsing/securitywords.h>

#include <QSslCertificate>
#include <QStringList>

#include <openssl/x509_vfy.h>

using namespace Qt::StringLiterals;

namespace
{

QSslError::SslError kindOf(int code)
{
    switch (code) {
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
        return QSslError::UnableToGetIssuerCertificate;
    case X509_V_ERR_UNABLE_TO_DECRYPT_CERT_SIGNATURE:
        return QSslError::UnableToDecryptCertificateSignature;
    case X509_V_ERR_UNABLE_TO_DECODE_ISSUER_PUBLIC_KEY:
        return QSslError::UnableToDecodeIssuerPublicKey;
    case X509_V_ERR_CERT_SIGNATURE_FAILURE:
        return QSslError::CertificateSignatureFailed;
    case X509_V_ERR_CERT_NOT_YET_VALID:
        return QSslError::CertificateNotYetValid;
    case X509_V_ERR_CERT_HAS_EXPIRED:
        return QSslError::CertificateExpired;
    case X509_V_ERR_ERROR_IN_CERT_NOT_BEFORE_FIELD:
        return QSslError::InvalidNotBeforeField;
    case X509_V_ERR_ERROR_IN_CERT_NOT_AFTER_FIELD:
        return QSslError::InvalidNotAfterField;
    case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
        return QSslError::SelfSignedCertificate;
    case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
        return QSslError::SelfSignedCertificateInChain;
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
        return QSslError::UnableToGetLocalIssuerCertificate;
    case X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE:
        return QSslError::UnableToVerifyFirstCertificate;
    case X509_V_ERR_CERT_REVOKED:
        return QSslError::CertificateRevoked;
    case X509_V_ERR_INVALID_CA:
        return QSslError::InvalidCaCertificate;
    case X509_V_ERR_PATH_LENGTH_EXCEEDED:
        return QSslError::PathLengthExceeded;
    case X509_V_ERR_INVALID_PURPOSE:
        return QSslError::InvalidPurpose;
    case X509_V_ERR_CERT_UNTRUSTED:
        return QSslError::CertificateUntrusted;
    case X509_V_ERR_CERT_REJECTED:
        return QSslError::CertificateRejected;
    case X509_V_ERR_HOSTNAME_MISMATCH:
    case X509_V_ERR_IP_ADDRESS_MISMATCH:
        return QSslError::HostNameMismatch;
    default:
        return QSslError::UnspecifiedError;
    }
}

QStringList namesOf(const QSslCertificate &certificate)
{
    QStringList names = certificate.subjectAlternativeNames().values();
    if (names.isEmpty())
        names = certificate.subjectInfo(QSslCertificate::CommonName);
    names.sort();
    return names;
}

QString clauseFor(const QSslError &error)
{
    const QSslCertificate certificate = error.certificate();
    switch (error.error()) {
    case QSslError::CertificateExpired:
        return SecurityWords::expired(certificate.expiryDate());
    case QSslError::CertificateNotYetValid:
        return SecurityWords::notYetValid(certificate.effectiveDate());
    case QSslError::HostNameMismatch:
        return SecurityWords::ofOthers(namesOf(certificate));
    case QSslError::SelfSignedCertificate:
        return SecurityWords::selfSigned();
    case QSslError::SelfSignedCertificateInChain:
    case QSslError::UnableToGetIssuerCertificate:
    case QSslError::UnableToGetLocalIssuerCertificate:
    case QSslError::UnableToVerifyFirstCertificate:
    case QSslError::CertificateUntrusted:
        return SecurityWords::ofUnknownAuthority();
    default:
        return error.errorString();
    }
}

}

QList<QSslError> SslProblems::errorsFrom(const QList<CertificateProblem> &problems, const QByteArray &certificate)
{
    if (problems.isEmpty())
        return {QSslError(QSslError::HostNameMismatch, QSslCertificate(certificate, QSsl::Der))};
    QList<QSslError> errors;
    for (const CertificateProblem &problem : problems)
        errors.append(QSslError(kindOf(problem.code), QSslCertificate(problem.certificate, QSsl::Der)));
    return errors;
}

QString SslProblems::textFor(const QList<QSslError> &errors)
{
    QStringList texts;
    for (const QSslError &error : errors)
        texts.append(clauseFor(error));
    texts.removeDuplicates();
    return texts.join("; "_L1);
}
