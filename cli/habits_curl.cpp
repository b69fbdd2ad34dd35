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

bool allowsARedirect(const QString &value)
{
    return value != "0"_L1;
}

/// "=http,https": both may be asked for, as they are here.
bool allowsBothWebSchemes(const QString &value)
{
    const QStringList schemes = value.mid(1).split(u',');
    return value.startsWith(u'=') && schemes.contains("http"_L1) && schemes.contains("https"_L1);
}

bool isPem(const QString &value)
{
    return value.compare("PEM"_L1, Qt::CaseInsensitive) == 0;
}

constexpr char kNoSilence[] = "a connection that brings nothing for so long as \"--timeout\" says is given up";
constexpr char kAskAgain[] =
    "write \"-N\" (\"--timestamping\"): the server is asked whether what is there is its file still";
constexpr char kOtherSchemes[] = "addresses are of http, https and ftp";
constexpr char kProxyIsNotShown[] = "a proxy is shown no certificate, and its own is always checked";

constexpr Habit kRows[] = {
    same("-o --output", "FILE", "output"),
    same("--output-dir", "DIR", "dir"),
    always("-O --remote-name", nullptr, "a file gets the server's name where no other is given"),
    always("--remote-name-all", nullptr, "files get the server's names"),
    always("-J --remote-header-name", nullptr, "the name that the server gives (Content-Disposition) is taken"),
    always("--create-dirs", nullptr, "folders are made where they are missing"),
    same("--no-clobber --skip-existing", nullptr, "on-exists=skip"),
    always("--remove-on-error", nullptr, "what is not finished has no final name"),
    needless("--create-file-mode", "MODE", "a file has the rights of new files"),
    always("-L --location", nullptr, "redirects are followed, 15 at most"),
    advice("--location-trusted", nullptr, "to give a header to every server write \"--header-for-all 'N: V'\""),
    adviceUnless(&allowsARedirect, "--max-redirs", "N", "up to 15 redirects are followed, and that is not to be set"),
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
    always("--trace-time --trace-ids", nullptr, "the log has times"),
    advice("-i --include", nullptr, "what a server says of a file tells \"plait query URL\""),
    advice("-D --dump-header", "FILE", "what a server says of a file tells \"plait query URL\""),
    same("-I --head", nullptr, "query"),
    advice("-w --write-out", "FORMAT", "write \"--json\" for all that is known of a download, in one line"),
    minor(needless("-N --no-buffer", nullptr, "what is streamed goes out as it comes")),
    always("--styled-output --no-styled-output --suppress-connect-headers", nullptr,
           "heads of answers are not printed"),
    advice("--libcurl", "FILE", "no program is written; leave it out"),
    minor(advice("-M --manual", nullptr, "see \"plait help\"")),

    same("-H --header", "'N: V'", "header"),
    same("-A --user-agent", "NAME", "user-agent"),
    same("-e --referer", "URL", "referer", &refererOf),
    secret(same("-b --cookie", "COOKIES", "header=Cookie: %1", &cookiesOf)),
    advice("-c --cookie-jar", "FILE", "cookies that servers set live as long as plait does, and no file is written"),
    always("-j --junk-session-cookies", nullptr, "cookies that servers set are not kept"),
    needless("--compressed", nullptr,
             "a file is asked for as it is, so that there is nothing to unpack and it can be gone on with"),
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
    always("-g --globoff", nullptr, "brackets in an address are what they are"),
    advice("--request-target", "PATH", "write it into the address"),
    always("--post301 --post302 --post303", nullptr, "what is posted stays so along redirects"),
    advice("--http0.9", nullptr, "what answers without a head is no server of files"),
    advice("--ignore-content-length", nullptr, "a file that is not as long as its server says is not whole"),
    advice("--disallow-username-in-url", nullptr,
           "a name in an address goes to its server alone; to have none, take it out of the address"),
    always("--path-as-is", nullptr, "an address is asked for as it was given"),
    minor(always("-a --append", nullptr, "what is unfinished is gone on with")),

    secret(same("-u --user", "NAME:PASSWORD", "user")),
    secret(same("--oauth2-bearer", "TOKEN", "header=Authorization: Bearer %1")),
    advice("--aws-sigv4 --login-options --sasl-authzid", "TEXT",
           "of methods to log in there are the basic and the digest one, and tokens"),
    always("--sasl-ir", nullptr, "a login goes to a server that asks for it"),
    always("--basic --digest --anyauth", nullptr, "the basic and the digest method are tried as the server asks"),
    advice("--ntlm --ntlm-wb --negotiate --proxy-ntlm --proxy-negotiate", nullptr,
           "of methods to log in there are the basic and the digest one, and tokens"),
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
    refused("--pinnedpubkey --proxy-pinnedpubkey", "HASHES",
            "write \"--ca-certificate FILE\", or compare the file by \"--checksum ALGO=HEX\""),
    refused("--cert-status --doh-cert-status", nullptr,
            "whether a certificate was revoked is not asked; compare the file by \"--checksum ALGO=HEX\""),
    refused("--crlfile --proxy-crlfile", "FILE",
            "whether a certificate was revoked is not asked; compare the file by \"--checksum ALGO=HEX\""),
    adviceUnless(&isPem, "--cert-type --key-type --proxy-cert-type --proxy-key-type", "TYPE",
                 "certificates and keys are of the form PEM"),
    always("--ca-native", nullptr, "certificates that the system trusts are trusted"),
    always("-1 --tlsv1 --tlsv1.0 --tlsv1.1 --tlsv1.2 --proxy-tlsv1", nullptr, "TLS is 1.2 or later"),
    minor(always("-2 -3 --sslv2 --sslv3", nullptr, "TLS is 1.2 or later")),
    advice("--tlsv1.3", nullptr, "TLS is 1.2 or later, and the best that both sides have; leave it out"),
    advice("--ciphers --tls13-ciphers --tls-max --curves --proxy-ciphers --proxy-tls13-ciphers --engine", "LIST",
           "what TLS does is left to OpenSSL's settings"),
    adviceUnless(&allowsBothWebSchemes, "--proto --proto-redir", "LIST",
                 "without it redirects are followed to http, too: compare the file by \"--checksum ALGO=HEX\""),
    advice("--proto-default", "SCHEME", "write the address with its scheme, as in \"https://example.com/file\""),
    always("--ssl --ssl-no-revoke --ssl-allow-beast --ssl-revoke-best-effort --ssl-auto-client-cert --false-start "
           "--proxy-ssl-allow-beast --proxy-ssl-auto-client-cert",
           nullptr, "TLS is 1.2 or later"),
    always("--egd-file --random-file", "FILE", "chance is the system's"),
    advice("--ssl-reqd", nullptr, "ftp is not encrypted here; take an https address"),
    always("-0 --http1.0 --http1.1 --http2 --http2-prior-knowledge --http3 --http3-only --no-alpn --no-npn", nullptr,
           "HTTP/1.1 is spoken, over several connections"),
    needless("--alt-svc", "FILE", "HTTP/1.1 is spoken, over several connections"),
    advice("--hsts", "FILE", "an address is asked for as it was given: write it with https"),

    same("-x --proxy", "URL", "proxy"),
    same("--proxy1.0", "HOST:PORT", "proxy=http://%1"),
    secret(part("-U --proxy-user", "NAME:PASSWORD", "proxy-login", "write \"--proxy NAME:PASSWORD@HOST:PORT\"")),
    same("--socks5", "HOST:PORT", "proxy=socks5://%1"),
    same("--socks5-hostname", "HOST:PORT", "proxy=socks5h://%1"),
    advice("--socks4 --socks4a --preproxy", "HOST:PORT", "write \"--proxy socks5://HOST:PORT\""),
    advice("--noproxy", "HOSTS", "write \"no_proxy=%1 plait …\""),
    secret(refused("--proxy-header", "'N: V'", "a proxy gets no headers but those of its login")),
    secret(advice("--proxy-pass", "WORDS", kProxyIsNotShown)),
    advice("--proxy-cert --proxy-key --proxy-capath", "FILE", kProxyIsNotShown),
    always("--socks5-basic", nullptr, "a proxy's name and password stand in its address"),
    advice("--socks5-gssapi --socks5-gssapi-nec", nullptr, "a proxy's name and password stand in its address"),
    always("-p --proxytunnel", nullptr, "https and ftp go through a proxy by CONNECT"),
    always("--proxy-anyauth --proxy-basic --proxy-digest", nullptr, "the method is the one that the proxy asks for"),
    advice("--proxy-insecure", nullptr, "write \"--ca-certificate FILE\": the proxy's certificate is always checked"),
    same("--proxy-cacert", "FILE", "ca-certificate"),

    same("--connect-timeout", "SECONDS", "connect-timeout"),
    advice("-m --max-time", "SECONDS",
           "write \"timeout %1 plait …\"; what has come is kept, and the same line goes on with it"),
    minor(same("-y --speed-time", "SECONDS", "timeout")),
    needless("-Y --speed-limit", "RATE", kNoSilence),
    same("--retry", "N", "tries", &triesOf),
    same("--retry-delay", "SECONDS", "retry-wait"),
    needless("--retry-max-time", "SECONDS", "tries are counted, see \"--tries\""),
    always("--retry-all-errors --retry-connrefused", nullptr, "what may pass by itself is tried again"),
    same("--limit-rate", "RATE", "limit-rate"),
    advice("--rate", "RATE", "write \"-j 1\" for one after the other"),
    advice("--max-filesize", "SIZE", "\"plait query URL\" tells the size, and what does not fit the disk is not begun"),
    always("-Z --parallel --parallel-immediate", nullptr, "several addresses are fetched at once"),
    same("--parallel-max", "N", "max-downloads"),
    refused("-K --config", "FILE", "that is a file of curl's; settings are in plait.conf, see \"plait config\""),
    always("-q --disable", nullptr, "other programs' settings are not read"),

    same("--interface", "NAME", "interface"),
    same("-4 --ipv4", nullptr, "ipv4"),
    same("-6 --ipv6", nullptr, "ipv6"),
    same("--resolve", "HOST:PORT:ADDRESS", "resolve"),
    advice("--connect-to", "HOST:PORT:HOST:PORT", "write \"--resolve HOST:PORT:ADDRESS\""),
    advice("--dns-servers --dns-interface --dns-ipv4-addr --dns-ipv6-addr --doh-url --unix-socket "
           "--abstract-unix-socket --local-port",
           "ADDRESS", "names and ways are left to the system"),
    advice("--doh-insecure --haproxy-protocol", nullptr, "names and ways are left to the system"),
    always("--keepalive-time --happy-eyeballs-timeout-ms --expect100-timeout", "N",
           "connections are kept and looked after"),
    always("--tcp-nodelay --tcp-fastopen --no-tcp-nodelay --mptcp --no-keepalive --no-sessionid", nullptr,
           "connections are kept and looked after"),
    always("--ftp-pasv --ftp-skip-pasv-ip --disable-eprt --disable-epsv", nullptr, "ftp is passive"),
    minor(needless("-P --ftp-port", "ADDRESS", "ftp is passive here")),
    always("--ftp-method", "HOW", "a file is reached as its server lets it be"),
    always("--ftp-pret --ftp-create-dirs", nullptr, "a file is reached as its server lets it be"),
    advice("--ftp-account --ftp-alternative-to-user", "TEXT", "there are the name and the password of \"--user\""),
    minor(advice("-B --use-ascii", nullptr, "files come as they are")),
    refused("--quote", "COMMAND", "servers are asked for files alone"),
    advice("--mail-from --mail-rcpt --mail-auth --telnet-option --tftp-blksize --pubkey --hostpubmd5 --hostpubsha256",
           "TEXT", kOtherSchemes),
    minor(advice("-l --list-only", nullptr, "folders are not listed; give the addresses of files")),
    always("-R --remote-time", nullptr, "a finished file is as old as its server says"),
    advice("-z --time-cond", "TIME", kAskAgain),
    advice("--etag-compare", "FILE", kAskAgain),
    needless("--etag-save", "FILE",
             "what a file is known by is in the list, and \"-N\" (\"--timestamping\") compares it"),
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
