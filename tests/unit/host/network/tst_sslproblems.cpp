// SPDX-License-Identifier: MIT
#include <host/network/sslproblems.h>
#include <host/parsing/securitywords.h>
#include <tests/support/testca.h>

#include <QSslCertificate>
#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

/// OpenSSL's own numbers.
enum Code {
    kNoIssuer = 2,
    kNotYetValid = 9,
    kExpired = 10,
    kSelfSigned = 18,
    kSelfSignedInChain = 19,
    kNoIssuerHere = 20,
    kRevoked = 23,
    kInvalidPurpose = 26,
    kHostMismatch = 62,
    kAddressMismatch = 64,
    kKeyTooSmall = 66,
    kOfALaterVersion = 9999,
};

}

class TestSslProblems : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void eachProblemIsOneOfQts_data();
    void eachProblemIsOneOfQts();
    void allAreToldInTheirOrderWithWhoseTheyAre();
    void withoutAProblemItIsTheName();
    void wordsAreToldOnce();

private:
    QSslCertificate m_certificate;
};

void TestSslProblems::initTestCase()
{
    const TestCa ca;
    QVERIFY2(ca.isValid(), qPrintable(ca.errorText()));
    m_certificate = QSslCertificate::fromPath(ca.certificateFile()).value(0);
    QVERIFY(!m_certificate.isNull());
}

void TestSslProblems::eachProblemIsOneOfQts_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QSslError::SslError>("kind");
    QTest::newRow("it has expired") << int(kExpired) << QSslError::CertificateExpired;
    QTest::newRow("it does not hold yet") << int(kNotYetValid) << QSslError::CertificateNotYetValid;
    QTest::newRow("it rests on itself") << int(kSelfSigned) << QSslError::SelfSignedCertificate;
    QTest::newRow("it rests on one that rests on itself")
        << int(kSelfSignedInChain) << QSslError::SelfSignedCertificateInChain;
    QTest::newRow("nobody knows on whom it rests")
        << int(kNoIssuerHere) << QSslError::UnableToGetLocalIssuerCertificate;
    QTest::newRow("it was taken back") << int(kRevoked) << QSslError::CertificateRevoked;
    QTest::newRow("it is for something else") << int(kInvalidPurpose) << QSslError::InvalidPurpose;
    QTest::newRow("it is another's") << int(kHostMismatch) << QSslError::HostNameMismatch;
    QTest::newRow("it is another address's") << int(kAddressMismatch) << QSslError::HostNameMismatch;
    // No problem would be an error that is none, and could be accepted unseen.
    QTest::newRow("what Qt has no word for") << int(kKeyTooSmall) << QSslError::UnspecifiedError;
    QTest::newRow("what nobody has a word for") << int(kOfALaterVersion) << QSslError::UnspecifiedError;
}

void TestSslProblems::eachProblemIsOneOfQts()
{
    QFETCH(int, code);
    const QList<QSslError> errors = SslProblems::errorsFrom({{code, m_certificate.toDer()}}, m_certificate.toDer());
    QCOMPARE(errors.size(), 1);
    QTEST(errors.constFirst().error(), "kind");
    QCOMPARE(errors.constFirst().certificate(), m_certificate);
}

void TestSslProblems::allAreToldInTheirOrderWithWhoseTheyAre()
{
    const QList<CertificateProblem> problems{{kNoIssuer, {}}, {kExpired, m_certificate.toDer()}};
    const QList<QSslError> errors = SslProblems::errorsFrom(problems, m_certificate.toDer());
    QCOMPARE(errors.size(), 2);
    QCOMPARE(errors.at(0).error(), QSslError::UnableToGetIssuerCertificate);
    QVERIFY2(errors.at(0).certificate().isNull(), "the chain lacks it");
    QCOMPARE(errors.at(1), QSslError(QSslError::CertificateExpired, m_certificate));
}

/// The transport compares it, and says of it that the certificate was refused, no more.
void TestSslProblems::withoutAProblemItIsTheName()
{
    QCOMPARE(SslProblems::errorsFrom({}, m_certificate.toDer()),
             QList<QSslError>{QSslError(QSslError::HostNameMismatch, m_certificate)});
}

/// Several problems may come to the same.
void TestSslProblems::wordsAreToldOnce()
{
    const QList<QSslError> errors{QSslError(QSslError::CertificateExpired, m_certificate),
                                  QSslError(QSslError::UnableToGetLocalIssuerCertificate, m_certificate),
                                  QSslError(QSslError::UnableToVerifyFirstCertificate, m_certificate),
                                  QSslError(QSslError::HostNameMismatch, m_certificate)};
    const QStringList words{SecurityWords::expired(m_certificate.expiryDate()), SecurityWords::ofUnknownAuthority(),
                            uR"(it is for "127.0.0.1", "::1", "localhost")"_s};
    QCOMPARE(SslProblems::textFor(errors), words.join(u"; "_s));
}

QTEST_GUILESS_MAIN(TestSslProblems)
#include "tst_sslproblems.moc"
