// SPDX-License-Identifier: MIT
#include <tests/support/lighttpdserver.h>

#include <tests/support/testca.h>

#include <QDir>
#include <QFile>

#include <csignal>

using namespace Qt::StringLiterals;

namespace
{
constexpr char kTemplate[] = R"(server.document-root = "%WWW%"
server.bind = "127.0.0.1"
server.port = %HTTP%
server.modules = ( "mod_alias", "mod_redirect", "mod_accesslog", "mod_cgi", "mod_openssl" )
server.errorlog = "%HOME%/error.log"
server.upload-dirs = ( "%HOME%" )
accesslog.filename = "%HOME%/access.log"
accesslog.format = "%r	%s	%B	%{Range}i	%{User-Agent}i"
mimetype.assign = ( ".txt" => "text/plain", ".html" => "text/html", ".zip" => "application/zip",
                    "" => "application/octet-stream" )
$SERVER["socket"] == "127.0.0.1:%HTTPS%" { ssl.engine = "enable" ssl.pemfile = "%BUNDLE%" }
alias.url = ( "/.ready/" => "%READY%/", "/rate/" => "%WWW%/", "/cgi/" => "%HOME%/cgi/" )
$HTTP["url"] =~ "^/rate/" { connection.kbytes-per-second = %RATE% }
$HTTP["url"] =~ "^/cgi/" { cgi.assign = ( ".sh" => "/bin/sh" ) server.stream-response-body = 1 }
url.redirect-code = 302
url.redirect = ( %REDIRECTS% )
)";

constexpr char kChunkedScript[] = R"(printf 'Content-Type: application/octet-stream\r\n\r\n'
exec cat "%WWW%/$QUERY_STRING"
)";

QByteArray redirects()
{
    QByteArray text;
    for (int hop = 1; hop <= LighttpdServer::kLongestChain; ++hop) {
        const QByteArray next = hop == 1 ? QByteArray() : "redirect/" + QByteArray::number(hop - 1) + '/';
        text += (hop == 1 ? "" : ", ") + QByteArray("\"^/redirect/") + QByteArray::number(hop) + "/(.*)$\" => \"/"
            + next + "$1\"";
    }
    return text;
}

void writeScript(const QString &folder, QByteArray text, const QString &www)
{
    QDir().mkpath(folder);
    QFile file(folder + u"/chunked.sh"_s);
    if (file.open(QIODevice::WriteOnly)) {
        file.write(text.replace("%WWW%", www.toUtf8()));
    }
}
}

QString LighttpdServer::program() const
{
    return u"lighttpd"_s;
}

QStringList LighttpdServer::arguments(const QString &configFile) const
{
    return {u"-D"_s, u"-f"_s, configFile};
}

QByteArray LighttpdServer::configuration(const Places &places, const TestCa &ca) const
{
    writeScript(places.home + u"/cgi"_s, kChunkedScript, places.folder);
    QByteArray text(kTemplate);
    text.replace("%REDIRECTS%", redirects());
    text.replace("%READY%", places.readyFolder.toUtf8());
    text.replace("%HOME%", places.home.toUtf8());
    text.replace("%WWW%", places.folder.toUtf8());
    text.replace("%BUNDLE%", ca.bundleFile().toUtf8());
    text.replace("%RATE%", QByteArray::number(kSlowRate / 1024));
    text.replace("%HTTPS%", QByteArray::number(places.httpsPort));
    text.replace("%HTTP%", QByteArray::number(places.httpPort));
    return text;
}

void LighttpdServer::flushLog() const
{
    // It writes its log when it is asked to begin a new one, and otherwise only every few seconds.
    if (processId() > 0) {
        kill(static_cast<pid_t>(processId()), SIGHUP);
    }
}
