// SPDX-License-Identifier: MIT
#include <tests/support/testca.h>

#include <tests/support/testfiles.h>

#include <QFile>
#include <QProcess>
#include <QSslCertificate>
#include <QSslKey>

using namespace Qt::StringLiterals;

namespace
{
constexpr int kDays = 30;
constexpr int kPatienceMs = 60000;

const QString kThisMachine = u"IP:127.0.0.1,IP:::1,DNS:localhost"_s;

QByteArray extensionsOf(const QByteArray &purpose, const QString &subjectAltName)
{
    return "basicConstraints=CA:FALSE\nextendedKeyUsage=" + purpose + "\nsubjectAltName=" + subjectAltName.toUtf8()
        + '\n';
}

bool writeText(const QString &path, const QByteArray &text)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(text) == text.size();
}
}

TestCa::TestCa()
{
    m_valid = m_dir.isValid() && makeAuthority() && !issue(u"server"_s, kThisMachine, kDays).isEmpty()
        && writeText(bundleFile(), TestFiles::readFile(keyFile()) + TestFiles::readFile(certificateFile()));
}

bool TestCa::isValid() const
{
    return m_valid;
}

QString TestCa::errorText() const
{
    return m_errorText;
}

QString TestCa::caFile() const
{
    return path(u"ca.pem"_s);
}

QString TestCa::certificateFile() const
{
    return path(u"server.pem"_s);
}

QString TestCa::keyFile() const
{
    return path(u"server.key"_s);
}

QString TestCa::bundleFile() const
{
    return path(u"bundle.pem"_s);
}

QString TestCa::intermediateFile() const
{
    return path(u"intermediate.pem"_s);
}

QString TestCa::issue(const QString &fileName, const QString &subjectAltName, int days)
{
    const QString stem = path(fileName);
    return makeRequest(stem, extensionsOf("serverAuth", subjectAltName)) && sign(stem, u"ca"_s, days) ? stem
                                                                                                      : QString();
}

QString TestCa::issueForClients(const QString &fileName)
{
    const QString stem = path(fileName);
    return makeRequest(stem, extensionsOf("clientAuth", kThisMachine)) && sign(stem, u"ca"_s, kDays) ? stem : QString();
}

QString TestCa::issueByIntermediate(const QString &fileName)
{
    const QString stem = path(fileName);
    const bool made = makeIntermediate() && makeRequest(stem, extensionsOf("serverAuth", kThisMachine))
        && sign(stem, u"intermediate"_s, kDays);
    return made ? stem : QString();
}

QString TestCa::issueSelfSigned(const QString &fileName)
{
    const QString stem = path(fileName);
    const bool made = makeRequest(stem, extensionsOf("serverAuth", kThisMachine))
        && openssl({u"x509"_s, u"-req"_s, u"-in"_s, stem + u".csr"_s, u"-signkey"_s, stem + u".key"_s, u"-days"_s,
                    QString::number(kDays), u"-sha256"_s, u"-extfile"_s, stem + u".ext"_s, u"-out"_s,
                    stem + u".pem"_s});
    return made ? stem : QString();
}

// Only `openssl ca` lets the first day be chosen, and it wants books to be kept.
QString TestCa::issueNotYetValid(const QString &fileName)
{
    const QString stem = path(fileName);
    const QString books = stem + u".cnf"_s;
    const bool made = makeRequest(stem, extensionsOf("serverAuth", kThisMachine)) && writeText(stem + u".index"_s, {})
        && writeText(books,
                     "[ca]\ndefault_ca=books\n[books]\ndatabase=" + stem.toUtf8()
                         + ".index\nrand_serial=yes\ndefault_md=sha256\npolicy=any\nnew_certs_dir="
                         + m_dir.path().toUtf8() + "\n[any]\ncommonName=supplied\n")
        && openssl({u"ca"_s, u"-batch"_s, u"-notext"_s, u"-config"_s, books, u"-cert"_s, caFile(), u"-keyfile"_s,
                    path(u"ca.key"_s), u"-in"_s, stem + u".csr"_s, u"-extfile"_s, stem + u".ext"_s, u"-startdate"_s,
                    u"20980101000000Z"_s, u"-enddate"_s, u"20990101000000Z"_s, u"-out"_s, stem + u".pem"_s});
    return made ? stem : QString();
}

QSslConfiguration TestCa::serverConfiguration() const
{
    return serverConfiguration(certificateFile(), keyFile());
}

QSslConfiguration TestCa::serverConfiguration(const QString &certificateFile, const QString &keyFile)
{
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setLocalCertificate(QSslCertificate(TestFiles::readFile(certificateFile)));
    configuration.setPrivateKey(QSslKey(TestFiles::readFile(keyFile), QSsl::Ec));
    configuration.setPeerVerifyMode(QSslSocket::VerifyNone);
    return configuration;
}

bool TestCa::makeAuthority()
{
    return openssl({u"req"_s, u"-x509"_s, u"-newkey"_s, u"ec"_s, u"-pkeyopt"_s, u"ec_paramgen_curve:prime256v1"_s,
                    u"-nodes"_s, u"-keyout"_s, path(u"ca.key"_s), u"-out"_s, caFile(), u"-days"_s,
                    QString::number(kDays), u"-sha256"_s, u"-subj"_s, u"/CN=plait test authority"_s, u"-addext"_s,
                    u"keyUsage=critical,keyCertSign,cRLSign"_s});
}

bool TestCa::makeIntermediate()
{
    const QString stem = path(u"intermediate"_s);
    return makeRequest(stem, "basicConstraints=critical,CA:TRUE\nkeyUsage=critical,keyCertSign\n",
                       u"/CN=plait test intermediate"_s)
        && sign(stem, u"ca"_s, kDays);
}

bool TestCa::makeRequest(const QString &stem, const QByteArray &extensions, const QString &subject)
{
    return writeText(stem + u".ext"_s, extensions)
        && openssl({u"req"_s, u"-newkey"_s, u"ec"_s, u"-pkeyopt"_s, u"ec_paramgen_curve:prime256v1"_s, u"-nodes"_s,
                    u"-keyout"_s, stem + u".key"_s, u"-out"_s, stem + u".csr"_s, u"-subj"_s, subject});
}

bool TestCa::sign(const QString &stem, const QString &signer, int days)
{
    return openssl({u"x509"_s, u"-req"_s, u"-in"_s, stem + u".csr"_s, u"-CA"_s, path(signer + u".pem"_s), u"-CAkey"_s,
                    path(signer + u".key"_s), u"-CAcreateserial"_s, u"-days"_s, QString::number(days), u"-sha256"_s,
                    u"-extfile"_s, stem + u".ext"_s, u"-out"_s, stem + u".pem"_s});
}

bool TestCa::openssl(const QStringList &arguments)
{
    QProcess process;
    process.setStandardInputFile(QProcess::nullDevice());
    process.start(u"openssl"_s, arguments);
    if (!process.waitForFinished(kPatienceMs)) {
        m_errorText = process.errorString();
        return false;
    }
    if (process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0) {
        return true;
    }
    m_errorText = QString::fromLocal8Bit(process.readAllStandardError());
    return false;
}

QString TestCa::path(const QString &fileName) const
{
    return m_dir.filePath(fileName);
}
