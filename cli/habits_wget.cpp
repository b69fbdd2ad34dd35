// SPDX-License-Identifier: MIT
#include <cli/habits.h>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

using namespace HabitRows;

constexpr char kNoLinks[] = "no links are followed; give addresses, or a file of them with \"-i FILE\"";
constexpr char kNoFolders[] = "a file lies in the folder of \"-d\", and no folders are made of its address";

QString progressOf(const QString &value)
{
    const QString kind = value.section(u':', 0, 0);
    return u"--progress="_s + (kind == "dot"_L1 ? u"line"_s : kind == "bar"_L1 ? kind : value);
}

bool allowsARedirect(const QString &value)
{
    return value != "0"_L1;
}

bool isOfWhatMayPass(const QString &status)
{
    bool isNumber = false;
    const int number = status.toInt(&isNumber);
    return isNumber && (number == 408 || number == 425 || number == 429 || (number >= 500 && number <= 599));
}

bool areOfWhatMayPass(const QString &list)
{
    const QStringList statuses = list.split(u',', Qt::SkipEmptyParts);
    return std::all_of(statuses.cbegin(), statuses.cend(), &isOfWhatMayPass);
}

bool isTlsOfOld(const QString &value)
{
    const QString protocol = value.toLower();
    return protocol == "auto"_L1 || protocol == "tlsv1"_L1 || protocol == "tlsv1_1"_L1 || protocol == "tlsv1_2"_L1;
}

bool isPem(const QString &value)
{
    return value.compare("PEM"_L1, Qt::CaseInsensitive) == 0;
}

bool isOfNoRobots(const QString &setting)
{
    return QString(setting).remove(u' ') == "robots=off"_L1;
}

constexpr Habit kRows[] = {
    same("-O --output-document", "FILE", "output"),
    same("-P --directory-prefix", "DIR", "dir"),
    same("-i --input-file", "FILE", "input-file"),
    same("-o --output-file", "FILE", "log"),
    same("-a --append-output", "FILE", "log"),
    same("-c --continue", nullptr, "continue"),
    refused("--start-pos", "OFFSET", "files are fetched whole; what is there already is not fetched again"),
    same("-nc --no-clobber", nullptr, "on-exists=skip"),
    same("-N --timestamping", nullptr, "timestamping"),
    same("--no-use-server-timestamps", nullptr, "no-remote-time"),
    advice("--backups", nullptr, "a file that is there stays: the new one gets a number; see \"--on-exists\""),
    same("--unlink", nullptr, "on-exists=overwrite"),
    always("--content-disposition --trust-server-names", nullptr,
           "the name is the server's (Content-Disposition), else that of the address"),
    needless("--restrict-file-names", "HOW", "names that the disk cannot hold are changed by themselves"),
    needless("-E --adjust-extension", nullptr, "a name without an ending gets that of its type"),
    advice("--default-page", "FILE", "write \"--output FILE\""),
    needless("--no-if-modified-since", nullptr, "\"--timestamping\" asks as the server understands"),
    needless("--local-encoding --remote-encoding", "ENC", "addresses are of UTF-8"),
    needless("--no-iri", nullptr, "addresses are of UTF-8"),
    always("--no-xattr", nullptr, "where a file is from is in the list, see \"plait show\""),

    same("-q --quiet", nullptr, "quiet"),
    same("-nv --no-verbose", nullptr, "progress=none"),
    same("-v --verbose", nullptr, "verbose"),
    advice("-d --debug", nullptr, "write \"--log FILE --log-level 9\""),
    part("--show-progress --force-progress", nullptr, "progress",
         "progress is shown; beside \"-q\" it is \"--progress bar\", and the rest is not quiet"),
    needless("--report-speed", "TYPE", "speeds are in bytes"),
    advice("--rejected-log", "FILE", kNoLinks),
    minor(advice("-S --server-response", nullptr, "what a server says of a file tells \"plait query URL\"")),
    same("--spider", nullptr, "query"),
    advice("-b --background", nullptr,
           "write \"nohup plait … &\"; a download that ended is gone on with by \"plait resume\""),
    adviceUnless(&isOfNoRobots, "-e --execute", "SETTING",
                 "no links are followed, and settings are in plait.conf, or options of the command line"),
    advice("-F --force-html", nullptr, kNoLinks),
    advice("-B --base", "URL", "give whole addresses"),
    refused("--config", "FILE", "that is a file of wget's; settings are in plait.conf, see \"plait config\""),
    same("--progress", "TYPE", "progress", &progressOf),
    always("--no-config", nullptr, "other programs' settings are not read"),

    same("-t --tries", "N", "tries"),
    always("--retry-connrefused", nullptr, "a connection that is refused is tried again"),
    adviceUnless(&areOfWhatMayPass, "--retry-on-http-error", "LIST",
                 "408, 425, 429 and 500 to 599 are tried again by themselves, and no others"),
    always("--retry-on-host-error", nullptr, "a name that is not found is looked up again"),
    needless("--waitretry", "SECONDS", "the wait is \"--retry-wait SECONDS\", doubled each time, up to a minute"),
    advice("-w --wait", "SECONDS",
           "write \"-j 1\" for one after the other; servers that bring nothing are asked more seldom"),
    advice("--random-wait", nullptr, "write \"-j 1\" for one after the other"),
    same("-T --timeout", "SECONDS", "timeout"),
    same("--dns-timeout", "SECONDS", "connect-timeout"),
    same("--connect-timeout", "SECONDS", "connect-timeout"),
    same("--read-timeout", "SECONDS", "timeout"),
    same("--limit-rate", "RATE", "limit-rate"),
    advice("-Q --quota", "SIZE", "\"plait query URL\" tells sizes, and what does not fit the disk is not begun"),
    adviceUnless(&allowsARedirect, "--max-redirect", "N", "up to 15 redirects are followed, and that is not to be set"),
    same("--max-threads", "N", "max-downloads"),
    always("--chunk-size", "SIZE", "how a file is divided among connections is decided while it comes"),

    same("-U --user-agent", "NAME", "user-agent"),
    same("--referer", "URL", "referer"),
    same("--header", "'N: V'", "header"),
    secret(same("--user --http-user --ftp-user", "NAME", "user")),
    secret(part("--password --http-password --ftp-password", "PASSWORD", "password", "write \"--user NAME:PASSWORD\"")),
    advice("--ask-password", nullptr, "write names and passwords into ~/.netrc, and \"--netrc\""),
    advice("--use-askpass", "COMMAND", "write names and passwords into ~/.netrc, and \"--netrc\""),
    always("--no-netrc", nullptr, "~/.netrc is read with \"--netrc\" alone"),
    advice("--auth-no-challenge", nullptr,
           "a login goes to a server that asks for it; \"--header 'Authorization: Basic …'\" goes at once"),
    same("--load-cookies", "FILE", "load-cookies"),
    advice("--save-cookies", "FILE", "cookies that servers set live as long as plait does, and no file is written"),
    always("--keep-session-cookies", nullptr, "cookies that servers set live as long as plait does"),
    needless("--no-cookies", nullptr, "cookies that servers set go back to them, as long as plait runs"),
    secret(same("--post-data", "DATA", "post-data")),
    secret(part("--body-data", "DATA", "data", "write \"--post-data DATA\"")),
    refused("--post-file --body-file", "FILE", "give the body with \"--post-data\""),
    part("--method", "METHOD", "method",
         "requests are GET, or POST with \"--post-data DATA\"; nothing else brings a file"),
    same("--no-cache", nullptr, "header=Cache-Control: no-cache"),
    needless("--compression", "TYPE", "a file is asked for as it is, so that there is nothing to unpack"),
    advice("--save-headers", nullptr, "what a server says of a file tells \"plait query URL\""),
    advice("--ignore-length", nullptr, "a file that is not as long as its server says is not whole"),
    always("--no-http-keep-alive --no-dns-cache", nullptr, "connections and names are kept and looked after"),
    advice("--content-on-error", nullptr, "what is no file is never saved as one"),

    same("--no-check-certificate", nullptr, "insecure"),
    same("--ca-certificate", "FILE", "ca-certificate"),
    advice("--ca-directory", "DIR", "write \"--ca-certificate FILE\""),
    refused("--crl-file", "FILE",
            "whether a certificate was revoked is not asked; compare the file by \"--checksum ALGO=HEX\""),
    same("--certificate", "FILE", "cert"),
    same("--private-key", "FILE", "key"),
    adviceUnless(&isPem, "--certificate-type --private-key-type", "TYPE", "certificates and keys are of the form PEM"),
    adviceUnless(&isTlsOfOld, "--secure-protocol", "NAME",
                 "TLS is 1.2 or later, and the best that both sides have; leave it out"),
    advice("--ciphers", "NAME", "what TLS does is left to OpenSSL's settings; leave it out"),
    refused("--pinnedpubkey", "HASHES",
            "write \"--ca-certificate FILE\", or compare the file by \"--checksum ALGO=HEX\""),
    advice("--ftps-implicit --ftps-resume-ssl --ftps-clear-data-connection --ftps-fallback-to-ftp", nullptr,
           "ftp is not encrypted here; take an https address"),
    always("--no-hsts", nullptr, "an address is asked for as it was given"),
    advice("--hsts-file", "FILE", "an address is asked for as it was given: write it with https"),
    always("--https-only --follow-ftp --ignore-case --strict-comments", nullptr, "no links are followed"),
    always("--regex-type", "TYPE", "no links are followed"),
    advice("--no-proxy", nullptr, "write \"no_proxy='*' plait …\""),
    secret(part("--proxy-user", "NAME", "proxy-login", "write \"--proxy NAME:PASSWORD@HOST:PORT\"")),
    secret(part("--proxy-password", "PASSWORD", "proxy-password", "write \"--proxy NAME:PASSWORD@HOST:PORT\"")),

    same("-4 --inet4-only --ipv4", nullptr, "ipv4"),
    same("-6 --inet6-only --ipv6", nullptr, "ipv6"),
    needless("--prefer-family", "FAMILY", "of a host's addresses, whichever answers is taken"),
    advice("--dns-servers --bind-dns-address", "ADDRESS", "names and ways are left to the system"),
    same("--bind-address", "ADDRESS", "interface"),
    always("--no-passive-ftp --no-remove-listing --no-glob", nullptr, "ftp is passive, and no folder is listed"),
    needless("--preserve-permissions --retr-symlinks", nullptr, "a file has the rights of new files"),

    refused("-r --recursive", nullptr, kNoLinks),
    refused("-m --mirror", nullptr, kNoLinks),
    refused("-p --page-requisites", nullptr, kNoLinks),
    advice("-l --level", "N", kNoLinks),
    advice("-k --convert-links --convert-file-only", nullptr, kNoLinks),
    advice("-K --backup-converted", nullptr, kNoLinks),
    advice("--delete-after", nullptr, kNoLinks),
    minor(advice("-A --accept --accept-regex", "LIST", kNoLinks)),
    minor(advice("-R --reject --reject-regex", "LIST", kNoLinks)),
    minor(advice("-D --domains --exclude-domains", "LIST", kNoLinks)),
    minor(advice("-I --include-directories --follow-tags --ignore-tags", "LIST", kNoLinks)),
    minor(advice("-X --exclude-directories", "LIST", kNoLinks)),
    minor(advice("-H --span-hosts", nullptr, kNoLinks)),
    minor(advice("-L --relative", nullptr, kNoLinks)),
    always("-np --no-parent", nullptr, "no links are followed"),
    always("-nd --no-directories", nullptr, kNoFolders),
    always("-nH --no-host-directories", nullptr, kNoFolders),
    always("--cut-dirs", "N", kNoFolders),
    advice("-x --force-directories --protocol-directories", nullptr, kNoFolders),
    advice("--warc-file --warc-header --warc-max-size --warc-dedup --warc-tempdir", "VALUE",
           "files are saved as they are, and no archive of their traffic is made"),
    advice("--warc-cdx --no-warc-compression --no-warc-digests --no-warc-keep-log", nullptr,
           "files are saved as they are, and no archive of their traffic is made"),
    refused("--input-metalink", "FILE",
            "write \"--mirror URL\" for each other address of the file, and \"--checksum ALGO=HEX\""),
    same("-V", nullptr, "version"),
};

}

const Habits::Tool &Habits::wget()
{
    static const Tool tool("wget", {std::begin(kRows), std::end(kRows)});
    return tool;
}
