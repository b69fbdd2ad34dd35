// SPDX-License-Identifier: MIT
#include <host/engine/chosenoptions.h>

#include <host/options/optionvalues.h>
#include <host/policy/proxychoice.h>

#include <QDir>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace
{

/// Of a folder's entry, less what marks an incomplete file.
constexpr int kMostBytesOfName = 250;

/// "Name: value" lines, by their names.
QVariantMap headersOf(const QStringList &lines)
{
    QVariantMap headers;
    for (const QString &line : lines)
        headers.insert(line.section(u':', 0, 0), line.section(u':', 1).trimmed());
    return headers;
}

Credential credentialOf(const QString &login)
{
    return {{}, login.section(u':', 0, 0), login.section(u':', 1), {}};
}

AbstractDownloadExistingFileReaction reactionOf(const OptionValues &values)
{
    using Reaction = AbstractDownloadExistingFileReaction;
    const QString text = values.text("on-exists"_L1);
    if (!values.has("on-exists"_L1))
        return Reaction::NotSet;
    if (text == "overwrite"_L1)
        return Reaction::Overwrite;
    if (text == "ask"_L1)
        return Reaction::Ask;
    return text == "rename"_L1 ? Reaction::Rename : Reaction::Skip;
}

/// Why no file can be called so; empty = one can.
Clause problemOfName(const QString &path, const QString &name)
{
    const QFileInfo there(path);
    if (there.exists() && !there.isFile())
        return {Clause::Kind::NameOfDevice, {path}};
    return name.toUtf8().size() > kMostBytesOfName
        ? Clause(Clause::Kind::NameTooLong, {name, QString::number(kMostBytesOfName)})
        : Clause();
}

/// Who says what is to become of a file in the way means the next one, too.
bool isOnlyOnce(const OptionValues &values)
{
    const bool isAboutFiles = values.has("on-exists"_L1) && values.text("on-exists"_L1) != "skip"_L1;
    return !isAboutFiles && !values.flag("again"_L1);
}

/// Opened anew under such a name, what standard output is led into would be a file in the way.
bool isStandardOutput(const QString &output)
{
    return output == "-"_L1 || output == "/dev/stdout"_L1 || output == "/dev/fd/1"_L1 || output == "/proc/self/fd/1"_L1;
}

void readOutput(const QString &output, DownloadRequest &request, Clause *problem)
{
    request.isStreamed = isStandardOutput(output);
    if (request.isStreamed)
        return;
    const QString name = output.mid(output.lastIndexOf(u'/') + 1);
    const QString path = ChosenOptions::absolute(output, request.folder);
    const bool isFolder = output.endsWith(u'/') || name == "."_L1 || name == ".."_L1 || QFileInfo(path).isDir();
    if (isFolder) {
        request.folder = path;
        return;
    }
    if (name.isEmpty()) {
        *problem = {Clause::Kind::NamesNoFile, {output}};
        return;
    }
    *problem = problemOfName(path, name);
    request.outputName = name;
    const QString folder = output.chopped(name.size());
    if (!folder.isEmpty())
        request.folder = ChosenOptions::absolute(folder, request.folder);
}

RatesOfDay rates(const OptionValues &values, QLatin1StringView name)
{
    return RatesOfDay::fromText(values.text(name)).value_or(RatesOfDay());
}

NetworkPath pathOf(const OptionValues &values, const QString &folder)
{
    using Family = NetworkPath::Family;
    NetworkPath path;
    path.interface = values.text("interface"_L1);
    path.family = values.flag("ipv4"_L1) ? Family::IPv4 : values.flag("ipv6"_L1) ? Family::IPv6 : Family::Any;
    path.resolved = values.texts("resolve"_L1);
    path.connectTimeoutMs = values.number("connect-timeout"_L1);
    path.silenceTimeoutMs = values.number("timeout"_L1);
    path.certificateFile = ChosenOptions::absolute(values.text("cert"_L1), folder);
    path.keyFile = ChosenOptions::absolute(values.text("key"_L1), folder);
    path.keyPassword = values.text("key-password"_L1).toUtf8();
    return path;
}

NetworkOptions networkOf(const OptionValues &values, const QString &folder)
{
    NetworkOptions network;
    Clause problem;
    const QString proxy = values.text("proxy"_L1);
    if (!proxy.isEmpty())
        network.proxy = ProxyChoice::checkedProxy(proxy, &problem);
    network.netrcFile = ChosenOptions::absolute(values.text("netrc-file"_L1), folder);
    network.netrc = values.flag("netrc"_L1) || !network.netrcFile.isEmpty();
    network.cookiesFile = ChosenOptions::absolute(values.text("load-cookies"_L1), folder);
    const QString user = values.text("user"_L1);
    if (!user.isEmpty())
        network.credentials.append(credentialOf(user));
    network.path = pathOf(values, folder);
    return network;
}

}

QString ChosenOptions::absolute(const QString &path, const QString &folder)
{
    return path.isEmpty() ? QString() : QDir::cleanPath(QDir(folder).absoluteFilePath(path));
}

DownloadRequest ChosenOptions::request(const OptionValues &values, const QString &folder, Clause *problem)
{
    DownloadRequest request;
    request.folder = QDir::cleanPath(QDir(folder).absoluteFilePath(values.text("dir"_L1)));
    if (values.has("output"_L1))
        readOutput(values.text("output"_L1), request, problem);
    request.takesOver = values.flag("continue"_L1);
    request.referer = values.text("referer"_L1);
    request.userAgent = values.text("user-agent"_L1);
    request.postData = values.text("post-data"_L1).toLocal8Bit();
    request.headers = headersOf(values.texts("header"_L1));
    request.headersForAll = headersOf(values.texts("header-for-all"_L1));
    for (const QString &mirror : values.texts("mirror"_L1))
        request.mirrors.append(QUrl(mirror, QUrl::TolerantMode));
    request.onExists = reactionOf(values);
    request.onlyOnce = isOnlyOnce(values);
    request.changes = changes(values);
    request.options = DownloadOptions::of(values);
    request.options.storeSecrets = request.changes.storeSecrets;
    request.options.user = request.changes.user;
    request.options.password = request.changes.password;
    return request;
}

OptionChanges ChosenOptions::changes(const OptionValues &values)
{
    OptionChanges changes;
    changes.values = values.at(OptionRow::Download);
    changes.headers = headersOf(values.texts("header"_L1));
    changes.headersForAll = headersOf(values.texts("header-for-all"_L1));
    changes.storeSecrets = values.flag("keep-secrets"_L1);
    if (changes.storeSecrets) {
        const Credential credential = credentialOf(values.text("user"_L1));
        changes.user = credential.user;
        changes.password = credential.password;
    }
    return changes;
}

SessionOptions ChosenOptions::session(const OptionValues &values, const QString &folder)
{
    SessionOptions session;
    session.ignoreSslErrors = values.flag("insecure"_L1);
    session.takesServersTime = !values.flag("no-remote-time"_L1);
    session.caCertificatesFile = absolute(values.text("ca-certificate"_L1), folder);
    session.usage.maximumConnections = int(values.number("max-connections"_L1));
    session.usage.maximumConnectionsPerServer = int(values.number("max-connections-per-server"_L1));
    session.usage.downloadLimit = rates(values, "limit-rate"_L1).usual;
    session.allTogether.maximumConnections = int(values.number("max-overall-connections"_L1));
    session.allTogether.maximumConnectionsPerServer = int(values.number("max-overall-connections-per-server"_L1));
    session.network = networkOf(values, folder);
    return session;
}

QueueOptions ChosenOptions::queue(const OptionValues &values)
{
    QueueOptions queue;
    queue.mostAtOnce = int(values.number("max-downloads"_L1));
    queue.mostTries = int(values.number("tries"_L1));
    queue.speedLimit = rates(values, "max-overall-download-limit"_L1).usual;
    queue.speedTimes = rates(values, "max-overall-download-limit"_L1).timed;
    queue.rateTimes = rates(values, "limit-rate"_L1).timed;
    queue.schedule = TimesOfDay::fromText(values.text("schedule"_L1)).value_or(TimesOfDay());
    queue.retryWaitMs = values.number("retry-wait"_L1);
    return queue;
}
