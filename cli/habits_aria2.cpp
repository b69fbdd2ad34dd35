// SPDX-License-Identifier: MIT
#include <cli/habits.h>

using namespace Qt::StringLiterals;

namespace
{

using namespace HabitRows;

constexpr char kNoPeers[] = "addresses are of http, https and ftp; there are no torrents and no metalinks here";
constexpr char kNoService[] = "there is no service here; programs use \"--json\"";
constexpr char kOwnDivision[] = "how a file is divided among connections is decided while it comes";
constexpr char kList[] = "what is unfinished is in the list: see \"plait list\", and go on with \"plait resume --all\"";

QString logLevelOf(const QString &value)
{
    const QString level = value == "debug"_L1 ? u"9"_s : value == "info"_L1 ? u"4"_s : u"1"_s;
    return u"--log-level="_s + level;
}

constexpr Habit kRows[] = {
    same("-d --dir", "DIR", "dir"),
    same("-o --out", "FILE", "output"),
    same("-i --input-file", "FILE", "input-file"),
    same("-s --split", "N", "max-connections"),
    same("-x --max-connection-per-server", "N", "max-connections-per-server"),
    same("-j --max-concurrent-downloads", "N", "max-downloads"),
    always("-k --min-split-size", "SIZE", kOwnDivision),
    always("--piece-length --stream-piece-selector --uri-selector", "HOW", kOwnDivision),
    same("-c --continue", nullptr, "continue"),
    always("--continue=false --always-resume", nullptr, "what is unfinished is gone on with"),
    same("--always-resume=false", nullptr, "on-unresumable=restart"),
    needless("--max-resume-failure-tries", "N", "see \"--on-unresumable\""),
    same("--allow-overwrite", nullptr, "on-exists=overwrite"),
    always("--allow-overwrite=false", nullptr, "a file that is there stays"),
    always("--auto-file-renaming", nullptr, "where a file is there, the new one gets a number"),
    same("--auto-file-renaming=false", nullptr, "on-exists=fail"),
    always("--file-allocation", "HOW", "room on the disk is taken before a file is begun, where that costs no time"),
    always("--no-file-allocation-limit --disk-cache", "SIZE", "room on the disk and in memory is bounded by itself"),
    always("--max-mmap-limit", "SIZE", "room on the disk and in memory is bounded by itself"),
    always("--enable-mmap --remove-control-file", nullptr, "room on the disk and in memory is bounded by itself"),
    same("--checksum", "ALGO=HEX", "checksum"),
    minor(always("-V --check-integrity", nullptr, "a file is compared with its checksum when it is finished")),
    advice("--hash-check-only", nullptr, "\"plait resume ID\" compares a finished file with its checksum again"),
    same("--conditional-get", nullptr, "timestamping"),
    same("--dry-run", nullptr, "dry-run"),
    always("-R --remote-time", nullptr, "a finished file is as old as its server says"),
    same("--remote-time=false", nullptr, "no-remote-time"),
    always("-Z --force-sequential", nullptr, "several addresses are several files"),
    always("--content-disposition-default-utf8", nullptr, "a name that is in UTF-8 is taken as that"),
    advice("-P --parameterized-uri", nullptr, "give each address, or a list of them with \"-i FILE\""),
    needless("--reuse-uri --realtime-chunk-checksum --allow-piece-length-change --optimize-concurrent-downloads",
             nullptr, kOwnDivision),

    same("-m --max-tries", "N", "tries"),
    same("--retry-wait", "SECONDS", "retry-wait"),
    needless("--max-file-not-found", "N", "a file that a server does not have is not asked for again"),
    same("-t --timeout", "SECONDS", "timeout"),
    same("--connect-timeout", "SECONDS", "connect-timeout"),
    needless("--lowest-speed-limit", "RATE",
             "a connection that brings nothing for so long as \"--timeout\" says is given up"),
    same("--max-download-limit", "RATE", "limit-rate"),
    same("--max-overall-download-limit", "RATE", "max-overall-download-limit"),
    needless("-u --max-upload-limit --max-overall-upload-limit", "RATE", kNoPeers),
    advice("--stop", "SECONDS",
           "write \"timeout %1 plait …\"; what has come is kept, and the same line goes on with it"),
    advice("--stop-with-process", "PID", "stop plait by a signal; what has come is kept"),

    same("-U --user-agent", "NAME", "user-agent"),
    same("--referer", "URL", "referer"),
    same("--header", "'N: V'", "header"),
    secret(same("--http-user --ftp-user", "NAME", "user")),
    secret(part("--http-passwd --ftp-passwd", "PASSWORD", "password", "write \"--user NAME:PASSWORD\"")),
    always("--http-auth-challenge", nullptr, "a login goes to a server that asks for it"),
    same("--netrc-path", "FILE", "netrc-file"),
    minor(always("-n --no-netrc", nullptr, "~/.netrc is read with \"--netrc\" alone")),
    same("--load-cookies", "FILE", "load-cookies"),
    advice("--save-cookies", "FILE", "cookies that servers set live as long as plait does, and no file is written"),
    same("--http-no-cache", nullptr, "header=Cache-Control: no-cache"),
    needless("--http-accept-gzip", nullptr, "a file is asked for as it is, so that there is nothing to unpack"),
    always("--enable-http-keep-alive --enable-http-pipelining --use-head --ftp-reuse-connection", nullptr,
           "connections are kept and looked after"),
    minor(always("-p --ftp-pasv", nullptr, "ftp is passive")),
    always("--ftp-type", "TYPE", "files come as they are"),

    same("--all-proxy --http-proxy --https-proxy --ftp-proxy", "URL", "proxy"),
    secret(part("--all-proxy-user --http-proxy-user --https-proxy-user --ftp-proxy-user", "NAME", "proxy-login",
                "write \"--proxy NAME:PASSWORD@HOST:PORT\"")),
    secret(part("--all-proxy-passwd --http-proxy-passwd --https-proxy-passwd --ftp-proxy-passwd", "PASSWORD",
                "proxy-password", "write \"--proxy NAME:PASSWORD@HOST:PORT\"")),
    advice("--no-proxy", "HOSTS", "write \"no_proxy=%1 plait …\""),
    always("--proxy-method", "HOW", "https and ftp go through a proxy by CONNECT"),
    always("--check-certificate", nullptr, "certificates are checked"),
    same("--check-certificate=false", nullptr, "insecure"),
    same("--ca-certificate", "FILE", "ca-certificate"),
    same("--certificate", "FILE", "cert"),
    same("--private-key", "FILE", "key"),
    always("--min-tls-version", "VERSION", "TLS is 1.2 or later"),
    same("--interface --multiple-interface", "NAME", "interface"),
    same("--disable-ipv6", nullptr, "ipv4"),
    always("--async-dns --enable-async-dns6", nullptr, "a name that takes long holds up nothing else"),
    advice("--async-dns-server", "ADDRESSES", "names and ways are left to the system"),
    needless("--dscp --socket-recv-buffer-size --rlimit-nofile", "N", "that is left to the system"),
    always("--event-poll", "HOW", "that is left to the system"),

    same("-q --quiet", nullptr, "quiet"),
    same("-l --log", "FILE", "log"),
    same("--log-level", "LEVEL", "log-level", &logLevelOf),
    same("--show-console-readout=false", nullptr, "progress=none"),
    always("--show-console-readout --truncate-console-readout --human-readable --enable-color", nullptr,
           "progress is shown as the terminal can; see \"--progress\""),
    needless("--summary-interval", "SECONDS", "\"--progress line\" has a line every 5 s"),
    same("--summary-interval=0", nullptr, "progress=bar"),
    needless("--console-log-level --download-result", "LEVEL", "write \"-q\" for errors alone, \"--log FILE\" for all"),
    refused("--conf-path", "FILE", "that is a file of aria2's; settings are in plait.conf, see \"plait config\""),
    always("--no-conf --deferred-input", nullptr, "other programs' settings are not read"),
    advice("-D --daemon", nullptr,
           "write \"nohup plait … &\"; a download that ended is gone on with by \"plait resume\""),
    always("--save-session", "FILE", kList),
    always("--save-session-interval --auto-save-interval --max-download-result", "N", kList),
    always("--force-save --save-not-found --keep-unfinished-download-result", nullptr, kList),
    needless("--server-stat-of --server-stat-if --server-stat-timeout", "FILE",
             "which server is fast is found out anew each time"),
    same("--on-download-complete", "COMMAND", "on-complete"),
    same("--on-download-error", "COMMAND", "on-error"),
    advice("--on-download-start --on-download-pause --on-download-stop --on-bt-download-complete", "COMMAND",
           "with \"--json\" each event is a line"),
    advice("--enable-rpc --rpc-listen-all --rpc-secure --rpc-allow-origin-all --pause", nullptr, kNoService),
    secret(advice("--rpc-secret --rpc-passwd", "WORD", kNoService)),
    advice("--rpc-listen-port --rpc-user --gid --rpc-certificate --rpc-private-key --rpc-max-request-size", "VALUE",
           kNoService),
    advice("--ssh-host-key-md", "ALGO=HEX", "addresses are of http, https and ftp"),
    refused("-T --torrent-file", "FILE", kNoPeers),
    refused("-M --metalink-file", "FILE", kNoPeers),
    minor(advice("-S --show-files", nullptr, kNoPeers)),
    minor(advice("-O --index-out", "INDEX=PATH", kNoPeers)),
    needless(
        "--seed-time --seed-ratio --follow-torrent --follow-metalink --select-file --listen-port --dht-listen-port "
        "--dht-entry-point --dht-entry-point6 --dht-file-path --dht-file-path6 --dht-listen-addr6 "
        "--dht-message-timeout --bt-max-peers --bt-tracker --bt-exclude-tracker --bt-stop-timeout "
        "--bt-external-ip --bt-lpd-interface --bt-max-open-files --bt-min-crypto-level --bt-prioritize-piece "
        "--bt-request-peer-speed-limit --bt-tracker-connect-timeout --bt-tracker-interval --bt-tracker-timeout "
        "--peer-id-prefix --peer-agent --metalink-base-uri --metalink-language --metalink-location --metalink-os "
        "--metalink-preferred-protocol --metalink-version",
        "VALUE", kNoPeers),
    needless("--enable-dht --enable-dht6 --enable-peer-exchange --bt-save-metadata --bt-enable-lpd "
             "--bt-seed-unverified --bt-detach-seed-only --bt-enable-hook-after-hash-check --bt-force-encryption "
             "--bt-hash-check-seed --bt-load-saved-metadata --bt-metadata-only --bt-remove-unselected-file "
             "--bt-require-crypto --metalink-enable-unique-protocol --pause-metadata --rpc-save-upload-metadata",
             nullptr, kNoPeers),
    minor(same("-v", nullptr, "version")),
};

}

const Habits::Tool &Habits::aria2()
{
    static const Tool tool("aria2", {std::begin(kRows), std::end(kRows)});
    return tool;
}
