// SPDX-License-Identifier: MIT
#include <tests/support/squidproxy.h>

#include <tests/support/testfiles.h>

using namespace Qt::StringLiterals;

namespace
{
constexpr char kTemplate[] = R"(http_port 127.0.0.1:%PORT%
pid_filename none
visible_hostname plait.test
pinger_enable off
cache deny all
cache_mem 0 MB
cache_log /dev/stderr
netdb_filename none
logformat plait %rm %ru %>Hs %un
access_log stdio:%HOME%/access.log plait
buffered_logs off
coredump_dir %HOME%
shutdown_lifetime 0 seconds
%ACCESS%)";

/// kLogin, as crypt() has it.
constexpr char kUsers[] = "agent:$6$plait$4TV4R7SqHvjFqtTkXBukmALkw9S41G2S4beg0tZtFCFu1Jax7MMKAWeUNhfwry9ceEZ7qxy2OzcWa"
                          "VuIRCqHx0\n";

constexpr char kKnownOnly[] = R"(auth_param basic program /usr/lib/squid/basic_ncsa_auth %HOME%/users
auth_param basic children 1 startup=1 idle=1
auth_param basic realm plait
acl known proxy_auth REQUIRED
http_access allow known
http_access deny all
)";
}

// It would change to a user of its own when root starts it.
SquidProxy::SquidProxy(Access access)
    : ServerProcess(User::Nobody)
    , m_access(access)
{
}

QUrl SquidProxy::url(const QString &userInfo) const
{
    QUrl url(u"http://127.0.0.1:%1"_s.arg(firstPort()));
    url.setUserInfo(userInfo);
    return url;
}

QByteArrayList SquidProxy::requests() const
{
    QByteArrayList lines = TestFiles::readFile(home() + u"/access.log"_s).split('\n');
    lines.removeAll(QByteArray());
    return lines;
}

QString SquidProxy::program() const
{
    return u"squid"_s;
}

QStringList SquidProxy::arguments(const QString &configFile) const
{
    return {u"-N"_s, u"-f"_s, configFile};
}

QByteArray SquidProxy::configurationText()
{
    writeText(home() + u"/users"_s, kUsers);
    QByteArray text(kTemplate);
    text.replace("%ACCESS%", m_access == Access::Anybody ? "http_access allow all\n" : kKnownOnly);
    text.replace("%HOME%", home().toUtf8());
    text.replace("%PORT%", QByteArray::number(firstPort()));
    return text;
}
