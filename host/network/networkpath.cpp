// SPDX-License-Identifier: MIT
#include <host/network/networkpath.h>

#include <QFile>
#include <QHostAddress>
#include <QNetworkInterface>

#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509err.h>

#include <algorithm>
#include <memory>

using namespace Qt::StringLiterals;

namespace
{

struct ContextDelete {
    void operator()(SSL_CTX *context) const { SSL_CTX_free(context); }
};
using Context = std::unique_ptr<SSL_CTX, ContextDelete>;

QStringList interfaceNames()
{
    QStringList names;
    const QList<QNetworkInterface> all = QNetworkInterface::allInterfaces();
    for (const QNetworkInterface &one : all)
        names.append(one.name());
    return names;
}

Failure interfaceProblem(const QString &interface)
{
    // To look at what the machine has costs something at each start.
    if (interface.isEmpty())
        return {};
    const QHostAddress address(interface);
    const QStringList names = interfaceNames();
    const bool isThere =
        address.isNull() ? names.contains(interface) : QNetworkInterface::allAddresses().contains(address);
    if (isThere)
        return {};
    Failure::Subject subject;
    subject.title = interface;
    return Failure::make(Failure::Kind::InterfaceUnusable, subject, {Clause::Kind::MachineHas, {names.join(", "_L1)}});
}

Failure unusable(const QString &path, const Clause &reason)
{
    Failure::Subject subject;
    subject.path = path;
    return Failure::make(Failure::Kind::ClientCertificateUnusable, subject, reason);
}

/// Asked by OpenSSL, which would ask at the terminal else.
int givePassword(char *buffer, int size, int, void *password)
{
    const auto &given = *static_cast<const QByteArray *>(password);
    const int length = int(std::min<qsizetype>(given.size(), size));
    std::copy_n(given.constData(), length, buffer);
    return length;
}

QString whyUnreadable(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString() : file.errorString();
}

Failure keyProblem(const QString &path)
{
    const int reason = ERR_GET_REASON(ERR_peek_last_error());
    const bool isOfAnother = reason == X509_R_KEY_VALUES_MISMATCH || reason == X509_R_KEY_TYPE_MISMATCH;
    return unusable(path, isOfAnother ? Clause::Kind::KeyOfAnother : Clause::Kind::NoKey);
}

Failure certificateProblem(const NetworkPath &path)
{
    const QString &keyFile = path.keyFile.isEmpty() ? path.certificateFile : path.keyFile;
    for (const QString &file : {path.certificateFile, keyFile}) {
        if (const QString reason = whyUnreadable(file); !reason.isEmpty())
            return unusable(file, reason);
    }
    const Context context(SSL_CTX_new(TLS_client_method()));
    QByteArray password = path.keyPassword;
    SSL_CTX_set_default_passwd_cb(context.get(), givePassword);
    SSL_CTX_set_default_passwd_cb_userdata(context.get(), &password);
    // What was noted before, by whomever, is no news of these files.
    ERR_clear_error();
    if (SSL_CTX_use_certificate_chain_file(context.get(), QFile::encodeName(path.certificateFile).constData()) != 1)
        return unusable(path.certificateFile, Clause::Kind::NoCertificate);
    const bool fits =
        SSL_CTX_use_PrivateKey_file(context.get(), QFile::encodeName(keyFile).constData(), SSL_FILETYPE_PEM) == 1;
    return fits ? Failure() : keyProblem(keyFile);
}

}

Failure NetworkPath::problem() const
{
    if (const Failure failure = interfaceProblem(interface); failure.kind != Failure::Kind::None)
        return failure;
    const Failure failure = certificateFile.isEmpty() ? Failure() : certificateProblem(*this);
    // Nor is what was noted now any of the next connection.
    ERR_clear_error();
    return failure;
}
