// SPDX-License-Identifier: MIT
#include <tests/support/apacheserver.h>

#include <tests/support/testca.h>
#include <tests/support/testfiles.h>

#include <QCryptographicHash>
#include <QFile>
#include <QSet>

#include <utility>

#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{
const QByteArray kRealm = QByteArrayLiteral("private");

// Includes read through a file and so make its length unknown.
constexpr char kTemplate[] = R"(ServerRoot "%HOME%"
ServerName 127.0.0.1
DefaultRuntimeDir "%HOME%"
PidFile "%HOME%/apache.pid"
ErrorLog "%HOME%/error.log"
LogLevel warn
%MODULES%
%USER%
StartServers 1
ServerLimit 1
ThreadLimit 64
ThreadsPerChild 64
MinSpareThreads 1
MaxSpareThreads 64
MaxRequestWorkers 64
MaxKeepAliveRequests 0
Listen 127.0.0.1:%HTTP%
Listen 127.0.0.1:%HTTPS%
DocumentRoot "%WWW%"
LogFormat "%r\t%>s\t%B\t%{Range}i\t%{User-Agent}i" plait
LogFormat "%{remote}p\t%{User-Agent}i" connections
CustomLog "%HOME%/access.log" plait
CustomLog "%HOME%/connections.log" connections
Alias "/.ready/" "%READY%/"
AliasMatch "^/(chunked|until-close|no-ranges|basic|digest)/(.*)$" "%WWW%/$2"
<Directory "/">
    Require all granted
    Options +Includes
</Directory>
<LocationMatch "^/(chunked|until-close)/">
    SetOutputFilter INCLUDES
</LocationMatch>
SetEnvIf Request_URI "^/until-close/" nokeepalive force-response-1.0 downgrade-1.0
<Location "/no-ranges/">
    RequestHeader unset Range
    Header set Accept-Ranges none
</Location>
<LocationMatch "^/(basic|digest)/">
    AuthName "%REALM%"
    Require valid-user
</LocationMatch>
<Location "/basic/">
    AuthType Basic
    AuthUserFile "%HOME%/basic"
</Location>
<Location "/digest/">
    AuthType Digest
    AuthUserFile "%HOME%/digest"
</Location>
<VirtualHost 127.0.0.1:%HTTPS%>
    SSLEngine on
    SSLCertificateFile "%CERTIFICATE%"
    SSLCertificateKeyFile "%KEY%"
</VirtualHost>
)";

/// Without an ending `.so`, in the order in which they are loaded.
constexpr const char *kModules[] = {"mpm_event",  "authn_core",    "authn_file", "authz_core", "authz_user",
                                    "auth_basic", "auth_digest",   "alias",      "headers",    "include",
                                    "setenvif",   "socache_shmcb", "ssl"};

QByteArray modules()
{
    QByteArray text;
    for (const QByteArray name : kModules) {
        text += "LoadModule " + name + "_module /usr/lib/apache2/modules/mod_" + name + ".so\n";
    }
    return text;
}

void writeUsers(const QString &home)
{
    const QByteArray login(ApacheServer::kLogin);
    const QByteArray user = login.left(login.indexOf(':'));
    const QByteArray password = login.mid(user.size() + 1);
    const QByteArray plain = QCryptographicHash::hash(password, QCryptographicHash::Sha1).toBase64();
    const QByteArray digest =
        QCryptographicHash::hash(user + ":" + kRealm + ":" + password, QCryptographicHash::Md5).toHex();
    for (const auto &[name, text] : {std::pair(u"/basic"_s, user + ":{SHA}" + plain + '\n'),
                                     std::pair(u"/digest"_s, user + ':' + kRealm + ':' + digest + '\n')}) {
        QFile file(home + name);
        if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size()) {
            qWarning("cannot write %s", qPrintable(file.fileName()));
        }
    }
}
}

QString ApacheServer::program() const
{
    return u"apache2"_s;
}

QStringList ApacheServer::arguments(const QString &configFile) const
{
    return {u"-D"_s, u"FOREGROUND"_s, u"-f"_s, configFile};
}

QByteArray ApacheServer::configuration(const Places &places, const TestCa &ca) const
{
    writeUsers(places.home);
    // Started by root, it answers from a process that is nobody's, and may read only what all may.
    const bool isRoot = geteuid() == 0;
    if (isRoot && chmod(qPrintable(ServerProcess::folder()), 0755) != 0) {
        qWarning("cannot let anybody into %s", qPrintable(ServerProcess::folder()));
    }
    QByteArray text(kTemplate);
    text.replace("%MODULES%", modules());
    text.replace("%USER%", isRoot ? "User #65534\nGroup #65534" : "");
    text.replace("%REALM%", kRealm);
    text.replace("%READY%", places.readyFolder.toUtf8());
    text.replace("%HOME%", places.home.toUtf8());
    text.replace("%WWW%", places.folder.toUtf8());
    text.replace("%CERTIFICATE%", ca.certificateFile().toUtf8());
    text.replace("%KEY%", ca.keyFile().toUtf8());
    text.replace("%HTTPS%", QByteArray::number(places.httpsPort));
    text.replace("%HTTP%", QByteArray::number(places.httpPort));
    return text;
}

qsizetype ApacheServer::connectionsOf(const QByteArray &agent) const
{
    QSet<QByteArray> ports;
    const QList<QByteArray> lines = TestFiles::readFile(home() + u"/connections.log"_s).split('\n');
    for (const QByteArray &line : lines) {
        const QList<QByteArray> fields = line.split('\t');
        if (fields.size() == 2 && fields.at(1) == agent) {
            ports.insert(fields.at(0));
        }
    }
    return ports.size();
}
