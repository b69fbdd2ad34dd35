// SPDX-License-Identifier: MIT
#pragma once

#include <QSslConfiguration>
#include <QString>
#include <QTemporaryDir>

/// A certificate authority that lives as long as this object. It issues, with the `openssl` program, certificates for
/// servers on this machine. Nothing on the machine trusts it but what is given caFile().
class TestCa
{
public:
    /// Makes the authority and a server certificate for 127.0.0.1, ::1 and localhost.
    TestCa();

    /// False when `openssl` is missing or failed; errorText() then says what it said.
    bool isValid() const;
    QString errorText() const;

    /// PEM files.
    QString caFile() const;
    QString certificateFile() const;
    QString keyFile() const;
    /// Key and certificate in one file, as lighttpd wants them.
    QString bundleFile() const;

    /// Another server certificate, for other names ("DNS:elsewhere.invalid") or another life: -1 days has expired.
    /// Gives the path without its ending: `.pem` is the certificate, `.key` the key. Empty when that failed.
    QString issue(const QString &fileName, const QString &subjectAltName, int days);

    /// Others for this machine, each with one flaw; the path as above.
    QString issueNotYetValid(const QString &fileName);
    QString issueForClients(const QString &fileName);
    QString issueSelfSigned(const QString &fileName);
    /// It rests on an authority between this one and itself, which no server shows; intermediateFile() is that.
    QString issueByIntermediate(const QString &fileName);
    QString intermediateFile() const;

    /// What a QSslSocket on the server's side needs.
    QSslConfiguration serverConfiguration() const;
    static QSslConfiguration serverConfiguration(const QString &certificateFile, const QString &keyFile);

private:
    bool makeAuthority();
    bool makeIntermediate();
    bool makeRequest(const QString &stem, const QByteArray &extensions,
                     const QString &subject = QStringLiteral("/CN=plait test server"));
    bool sign(const QString &stem, const QString &signer, int days);
    bool openssl(const QStringList &arguments);
    QString path(const QString &fileName) const;

    QTemporaryDir m_dir;
    QString m_errorText;
    bool m_valid = false;

    Q_DISABLE_COPY_MOVE(TestCa)
};
