// SPDX-License-Identifier: MIT
#include <tests/support/nginxserver.h>

#include <tests/support/testca.h>

#include <QFile>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{
// One process, so that there is none left behind. SSI reads through a file and so makes its length unknown.
constexpr char kTemplate[] = R"(daemon off;
master_process off;
%USER%
pid "%HOME%/nginx.pid";
error_log "%HOME%/error.log";
events { worker_connections 512; }
http {
    client_body_temp_path "%HOME%/tmp-body";
    proxy_temp_path "%HOME%/tmp-proxy";
    fastcgi_temp_path "%HOME%/tmp-fastcgi";
    uwsgi_temp_path "%HOME%/tmp-uwsgi";
    scgi_temp_path "%HOME%/tmp-scgi";
    types { text/plain txt; text/html html; application/zip zip; }
    default_type application/octet-stream;
    log_format plait escape=none "$request\t$status\t$body_bytes_sent\t$range_asked\t$agent";
    map $http_range $range_asked { default $http_range; "" "-"; }
    map $http_user_agent $agent { default $http_user_agent; "" "-"; }
    access_log "%HOME%/access.log" plait;
    sendfile on;
    gzip off;
    ssl_certificate "%CERTIFICATE%";
    ssl_certificate_key "%KEY%";
    ssl_client_certificate "%CA%";
    ssl_verify_client optional;
%TLS%    server {
        listen 127.0.0.1:%HTTP%;
        listen 127.0.0.1:%HTTPS% ssl;
        root "%WWW%";
        location /.ready/ { alias "%READY%/"; }
        location /chunked/ { alias "%WWW%/"; ssi on; ssi_types *; }
        location /until-close/ { alias "%WWW%/"; ssi on; ssi_types *; chunked_transfer_encoding off; }
        location /no-ranges/ { alias "%WWW%/"; max_ranges 0; }
        location ~ ^/rate/(\d+k)/(.*)$ { set $rate $1; limit_rate $rate; alias "%WWW%/$2"; }
        location ~ ^/private/(\d+k)/(.*)$ {
            auth_basic "private";
            auth_basic_user_file "%HOME%/users";
            set $rate $1;
            limit_rate $rate;
            alias "%WWW%/$2";
        }
        location /known/ { if ($ssl_client_verify != SUCCESS) { return 403; } alias "%WWW%/"; }
        location ~ ^/first-slow/(\d+k)/(\d+k)/(.*)$ {
            set $rate $2;
            if ($http_range = "") { set $rate $1; }
            limit_rate $rate;
            alias "%WWW%/$3";
        }
%STATUSES%%REDIRECTS%    }
}
)";

void writeUsers(const QString &path)
{
    QFile file(path);
    const QByteArray line = QByteArray(NginxServer::kLogin).replace(":", ":{PLAIN}") + '\n';
    if (!file.open(QIODevice::WriteOnly) || file.write(line) != line.size()) {
        qWarning("cannot write %s", qPrintable(path));
    }
}

QByteArray statusLocations()
{
    QByteArray text;
    for (const int status : {401, 403, 404, 410, 416, 500, 503}) {
        const QByteArray number = QByteArray::number(status);
        text += "        location = /status/" + number + " { return " + number + "; }\n";
    }
    return text;
}

QByteArray redirectLocations()
{
    QByteArray text;
    for (int hop = 1; hop <= NginxServer::kLongestChain; ++hop) {
        const QByteArray next = hop == 1 ? QByteArray() : "redirect/" + QByteArray::number(hop - 1) + '/';
        text += "        location ~ ^/redirect/" + QByteArray::number(hop) + "/(.*)$ { return 302 /" + next + "$1; }\n";
    }
    return text;
}
}

QString NginxServer::program() const
{
    return u"nginx"_s;
}

QStringList NginxServer::arguments(const QString &configFile) const
{
    // -e: without it nginx first opens a log in a folder that only root may write to.
    return {u"-c"_s, configFile, u"-e"_s, u"stderr"_s};
}

QByteArray NginxServer::configuration(const Places &places, const TestCa &ca) const
{
    writeUsers(places.home + u"/users"_s);
    QByteArray text(kTemplate);
    text.replace("%USER%", geteuid() == 0 ? "user root;" : "");
    // What is safe would not let a version before 1.2 be spoken.
    text.replace("%TLS%", m_speaksOldTls ? "    ssl_protocols TLSv1.1; ssl_ciphers DEFAULT@SECLEVEL=0;\n" : "");
    text.replace("%STATUSES%", statusLocations());
    text.replace("%REDIRECTS%", redirectLocations());
    text.replace("%READY%", places.readyFolder.toUtf8());
    text.replace("%HOME%", places.home.toUtf8());
    text.replace("%WWW%", places.folder.toUtf8());
    text.replace("%CERTIFICATE%", places.certificate.toUtf8());
    text.replace("%CA%", ca.caFile().toUtf8());
    text.replace("%KEY%", places.key.toUtf8());
    text.replace("%HTTP%", QByteArray::number(places.httpPort));
    text.replace("%HTTPS%", QByteArray::number(places.httpsPort));
    return text;
}
