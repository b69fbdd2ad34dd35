// SPDX-License-Identifier: MIT
#include <cli/habits.h>

using namespace Qt::StringLiterals;

namespace
{

using namespace HabitRows;

/// Tries again are counted there, tries here.
QString triesOf(const QString &value)
{
    bool isNumber = false;
    const int again = value.toInt(&isNumber);
    return u"--tries="_s + (isNumber && again >= 0 ? QString::number(again + 1) : value);
}

/// Cookies, or a file of them.
QString cookiesOf(const QString &value)
{
    return value.contains(u'=') ? u"--header=Cookie: "_s + value : u"--load-cookies="_s + value;
}

QString refererOf(const QString &value)
{
    return u"--referer="_s + value.section(u";auto"_s, 0, 0);
}

constexpr Habit kRows[] = {
    same("-o --output", "FILE", "output"),
    same("--output-dir", "DIR", "dir"),
    always("-O --remote-name", nullptr, "a file gets the server's name where no other is given"),
    always("--remote-name-all", nullptr, "files get the server's names"),
    always("-J --remote-header-name", nullptr, "the name that the server gives (Content-Disposition) is taken"),
    always("--create-dirs", nullptr, "folders are made where they are missing"),
    same("--no-clobber", nullptr, "on-exists=skip"),
    always("-L --location", nullptr, "redirects are followed, 15 at most"),
    advice("--location-trusted", nullptr, "to give a header to every server write \"--header-for-all 'N: V'\""),
    advice("--max-redirs", "N", "up to 15 redirects are followed, and that is not to be set"),
    part("-C --continue-at", "OFFSET", "offset",
         "with \"-\" as \"--continue\"; nobody can say where to go on but what is on the disk"),
    always("-f --fail --fail-with-body", nullptr, "what is no file is never saved as one"),
    always("--fail-early", nullptr, "each address is tried, and the first failure makes the exit status"),
    same("-s --silent", nullptr, "quiet"),
    always("-S --show-error", nullptr, "errors are always shown"),
    same("-# --progress-bar", nullptr, "progress=bar"),
    same("--no-progress-meter", nullptr, "progress=none"),
    same("-v --verbose", nullptr, "verbose"),
    advice("--trace --trace-ascii --stderr", "FILE", "write \"--log FILE --log-level 9\""),
    always("--trace-time", nullptr, "the log has times"),
    advice("-i --include", nullptr, "what a server says of a file tells \"plait query URL\""),
    advice("-D --dump-header", "FILE", "what a server says of a file tells \"plait query URL\""),
    same("-I --head", nullptr, "query"),
    advice("-w --write-out", "FORMAT", "write \"--json\" for all that is known of a download, in one line"),
    minor(advice("-N --no-buffer", nullptr, "there is nothing to write at once; leave it out")),

    same("-H --header", "'N: V'", "header"),
    same("-A --user-agent", "NAME", "user-agent"),
    same("-e --referer", "URL", "referer", &refererOf),
    secret(same("-b --cookie", "COOKIES", "header=Cookie: %1", &cookiesOf)),
    advice("-c --cookie-jar", "FILE", "cookies that servers set live as long as plait does, and no file is written"),
    always("-j --junk-session-cookies", nullptr, "cookies that servers set are not kept"),
    advice("--compressed", nullptr,
           "a file is asked for as it is, so that there is nothing to unpack and it can be gone on with; leave it out"),
    always("--raw --tr-encoding", nullptr, "what is sent is saved as it is"),
    secret(part("-d --data --data-ascii --data-raw --data-binary", "DATA", "data", "write \"--post-data DATA\"")),
    secret(part("--data-urlencode", "DATA", "data-encoded", "write \"--post-data DATA\", encoded")),
    secret(part("--json", "DATA", "json", "write \"--post-data DATA\", and the headers of JSON")),
    secret(part("--url-query", "DATA", "query", "write it into the address, behind \"?\"")),
    part("-G --get", nullptr, "get", "write it into the address, behind \"?\""),
    part("-X --request", "METHOD", "method",
         "requests are GET, or POST with \"--post-data DATA\"; nothing else brings a file"),
    secret(
        refused("-F --form --form-string", "NAME=DATA", "there are no forms: give the body with \"--post-data DATA\"")),
    refused("-T --upload-file", "FILE", "nothing is sent to servers but requests"),
    refused("-r --range", "RANGE", "files are fetched whole; what is there already is not fetched again"),
    same("--url", "URL", nullptr),
    advice("-g --globoff", nullptr, "brackets in an address are what they are; leave it out"),
    always("--path-as-is", nullptr, "an address is asked for as it was given"),
    minor(always("-a --append", nullptr, "what is unfinished is gone on with")),

    secret(same("-u --user", "NAME:PASSWORD", "user")),
    secret(same("--oauth2-bearer", "TOKEN", "header=Authorization: Bearer %1")),
    always("--basic --digest --anyauth", nullptr, "the basic and the digest method are tried as the server asks"),
    advice("--ntlm --negotiate", nullptr, "of methods to log in there are the basic and the digest one, and tokens"),
    same("-n --netrc --netrc-optional", nullptr, "netrc"),
    same("--netrc-file", "FILE", "netrc-file"),

    advice("-k", nullptr,
           "write \"--insecure\" if servers need not prove who they are, \"--ca-certificate FILE\" if yours "
           "has a certificate of its own"),
    same("--cacert", "FILE", "ca-certificate"),
    advice("--capath", "DIR", "write \"--ca-certificate FILE\""),
    same("-E --cert", "FILE", "cert"),
    same("--key", "FILE", "key"),
    secret(same("--pass", "WORDS", "key-password")),
    advice("--pinnedpubkey", "HASHES",
           "write \"--ca-certificate FILE\", or compare the file by \"--checksum ALGO=HEX\""),
    always("-1 --tlsv1 --tlsv1.0 --tlsv1.1 --tlsv1.2", nullptr, "TLS is 1.2 or later"),
    advice("--tlsv1.3", nullptr, "TLS is 1.2 or later, and the best that both sides have; leave it out"),
    advice("--ciphers --tls13-ciphers --tls-max --curves", "LIST", "what TLS does is left to OpenSSL's settings"),
    advice("--proto --proto-redir --proto-default", "LIST",
           "addresses are of http, https and ftp, and what leads elsewhere is not followed; leave it out"),
    always("--ssl --ssl-no-revoke --ssl-allow-beast", nullptr, "TLS is 1.2 or later"),
    advice("--ssl-reqd", nullptr, "ftp is not encrypted here; take an https address"),
    always("-0 --http1.0 --http1.1 --http2 --http2-prior-knowledge --http3 --no-alpn", nullptr,
           "HTTP/1.1 is spoken, over several connections"),

    same("-x --proxy", "URL", "proxy"),
    secret(part("-U --proxy-user", "NAME:PASSWORD", "proxy-login", "write \"--proxy NAME:PASSWORD@HOST:PORT\"")),
    same("--socks5", "HOST:PORT", "proxy=socks5://%1"),
    same("--socks5-hostname", "HOST:PORT", "proxy=socks5h://%1"),
    advice("--socks4 --socks4a --preproxy", "HOST:PORT", "write \"--proxy socks5://HOST:PORT\""),
    advice("--noproxy", "HOSTS", "set the variable no_proxy to them"),
    always("-p --proxytunnel", nullptr, "https and ftp go through a proxy by CONNECT"),
    always("--proxy-anyauth --proxy-basic --proxy-digest", nullptr, "the method is the one that the proxy asks for"),
    advice("--proxy-insecure", nullptr, "write \"--ca-certificate FILE\": the proxy's certificate is always checked"),
    same("--proxy-cacert", "FILE", "ca-certificate"),

    same("--connect-timeout", "SECONDS", "connect-timeout"),
    advice("-m --max-time", "SECONDS", "write \"timeout SECONDS plait …\"; what has come is kept, and gone on with"),
    advice("-y --speed-time", "SECONDS", "a download in which nothing moves for 150 s is tried again by itself"),
    advice("-Y --speed-limit", "RATE", "a download in which nothing moves for 150 s is tried again by itself"),
    same("--retry", "N", "tries", &triesOf),
    same("--retry-delay", "SECONDS", "retry-wait"),
    advice("--retry-max-time", "SECONDS", "write \"--tries N\""),
    always("--retry-all-errors --retry-connrefused", nullptr, "what may pass by itself is tried again"),
    same("--limit-rate", "RATE", "limit-rate"),
    advice("--rate", "RATE", "servers that bring nothing are asked more seldom by themselves"),
    advice("--max-filesize", "SIZE", "\"plait query URL\" tells the size, and what does not fit the disk is not begun"),
    always("-Z --parallel --parallel-immediate", nullptr, "several addresses are fetched at once"),
    same("--parallel-max", "N", "max-downloads"),
    refused("-K --config", "FILE", "that is a file of curl's; settings are in plait.conf, see \"plait config\""),
    always("-q --disable", nullptr, "other programs' settings are not read"),

    same("--interface", "NAME", "interface"),
    same("-4 --ipv4", nullptr, "ipv4"),
    same("-6 --ipv6", nullptr, "ipv6"),
    same("--resolve", "HOST:PORT:ADDRESS", "resolve"),
    advice("--connect-to --dns-servers --doh-url --unix-socket --local-port", "ADDRESS",
           "names and ways are left to the system"),
    always("--keepalive-time --happy-eyeballs-timeout-ms --expect100-timeout", "N",
           "connections are kept and looked after"),
    always("--tcp-nodelay --tcp-fastopen --no-keepalive --no-sessionid", nullptr,
           "connections are kept and looked after"),
    always("--ftp-pasv --ftp-skip-pasv-ip --disable-eprt --disable-epsv", nullptr, "ftp is passive"),
    minor(advice("-P --ftp-port", "ADDRESS", "ftp is passive here; leave it out")),
    minor(advice("-l --list-only", nullptr, "folders are not listed; give the addresses of files")),
    always("-R --remote-time", nullptr, "a finished file is as old as its server says"),
    advice("-z --time-cond", "TIME", "\"plait check ID\" tells whether the server still has the same file"),
    advice("--etag-save --etag-compare", "FILE", "\"plait check ID\" tells whether the server still has the same file"),
    advice("--xattr", nullptr, "\"plait show ID\" tells where a file is from"),
    refused("-: --next", nullptr, "run plait once for each"),
    advice("--metalink", nullptr,
           "write \"--mirror URL\" for each other address of the file, and \"--checksum ALGO=HEX\""),
    same("-V", nullptr, "version"),
};

}

const Habits::Tool &Habits::curl()
{
    static const Tool tool("curl", {std::begin(kRows), std::end(kRows)});
    return tool;
}
