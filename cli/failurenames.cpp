// SPDX-License-Identifier: MIT
#include <cli/failurenames.h>

#include <cli/clausewords.h>
#include <cli/nextcommand.h>

#include <QDir>

using namespace Qt::StringLiterals;

namespace
{

/// As it stands in an address, where its colons are not those of a port.
QString hostOf(const Failure &failure)
{
    const QString &host = failure.subject.host;
    return host.count(u':') > 1 && !host.startsWith(u'[') ? u'[' + host + u']' : host;
}

}

QString FailureNames::quoted(const QString &text)
{
    return u'"' + text + u'"';
}

QString FailureNames::quotedUrl(const Failure &failure)
{
    return quoted(failure.subject.url.toDisplayString());
}

QString FailureNames::quotedHost(const Failure &failure)
{
    return quoted(hostOf(failure));
}

QString FailureNames::quotedServer(const Failure &failure)
{
    const QUrl &url = failure.subject.url;
    const bool isItsPort = url.port() > 0 && url.host() == failure.subject.host;
    return isItsPort ? quoted(hostOf(failure) + u':' + QString::number(url.port())) : quotedHost(failure);
}

QString FailureNames::quotedTitle(const Failure &failure)
{
    return failure.subject.path.isEmpty() ? quotedUrl(failure) : quoted(failure.subject.title);
}

QString FailureNames::quotedFolder(const Failure &failure)
{
    return quoted(QDir::toNativeSeparators(failure.subject.folder));
}

QString FailureNames::quotedFile(const Failure &failure)
{
    const QString &path = failure.subject.path;
    return path.isEmpty() ? quotedFolder(failure) : quoted(QDir::toNativeSeparators(path));
}

QString FailureNames::numberOf(const Failure &failure)
{
    return QString::number(failure.subject.id);
}

QString FailureNames::commandOf(QLatin1StringView command, const Failure &failure)
{
    return NextCommand::line(command + u' ' + numberOf(failure));
}

QString FailureNames::sameCommand(const Failure &failure)
{
    return failure.subject.id == 0 ? u"run the same command again to begin anew"_s
                                   : u"run the same command again to resume"_s;
}

QString FailureNames::command(QLatin1StringView verb, const Failure &failure)
{
    return failure.subject.id == 0 ? u"the same command"_s : u'"' + commandOf(verb, failure) + u'"';
}

QString FailureNames::cause(const Failure &failure)
{
    return failure.cause.isEmpty() ? failure.detail : ClauseWords::of(failure.cause);
}

QString FailureNames::reason(const Failure &failure, const QString &otherwise)
{
    const QString known = cause(failure);
    return known.isEmpty() ? otherwise : known;
}
