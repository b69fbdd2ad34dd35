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

bool writeText(const QString &path, const QByteArray &text)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(text) == text.size();
}
}

TestCa::TestCa()
{
    m_valid = m_dir.isValid() && makeAuthority()
        && !issue(u"server"_s, u"IP:127.0.0.1,IP:::1,DNS:localhost"_s, kDays).isEmpty()
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

QString TestCa::issue(const QString &fileName, const QString &subjectAltName, int days)
{
    const QString stem = path(fileName);
    const QString request = stem + u".csr"_s;
    const QString extensions = stem + u".ext"_s;
    const QByteArray text =
        "basicConstraints=CA:FALSE\nextendedKeyUsage=serverAuth\nsubjectAltName=" + subjectAltName.toUtf8() + '\n';
    const bool made = writeText(extensions, text)
        && openssl({u"req"_s, u"-newkey"_s, u"ec"_s, u"-pkeyopt"_s, u"ec_paramgen_curve:prime256v1"_s, u"-nodes"_s,
                    u"-keyout"_s, stem + u".key"_s, u"-out"_s, request, u"-subj"_s, u"/CN=plait test server"_s})
        && openssl({u"x509"_s, u"-req"_s, u"-in"_s, request, u"-CA"_s, caFile(), u"-CAkey"_s, path(u"ca.key"_s),
                    u"-CAcreateserial"_s, u"-days"_s, QString::number(days), u"-sha256"_s, u"-extfile"_s, extensions,
                    u"-out"_s, stem + u".pem"_s});
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
