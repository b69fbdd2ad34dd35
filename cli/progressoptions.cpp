// SPDX-License-Identifier: MIT
#include <cli/progressoptions.h>

#include <QDir>
#include <QString>

using namespace Qt::StringLiterals;

namespace
{

/// From the environment: Qt has put the process into a UTF-8 locale whatever the person's is.
bool isUtf8(const QProcessEnvironment &environment)
{
    for (const QString &name : {u"LC_ALL"_s, u"LC_CTYPE"_s, u"LANG"_s}) {
        const QString locale = environment.value(name);
        if (!locale.isEmpty())
            return locale.contains("utf-8"_L1, Qt::CaseInsensitive) || locale.contains("utf8"_L1, Qt::CaseInsensitive);
    }
    return false;
}

ProgressMode settled(ProgressMode asked, bool canMoveCursor)
{
    const bool wantsBar = asked == ProgressMode::Auto || asked == ProgressMode::Bar;
    if (!wantsBar)
        return asked;
    return canMoveCursor ? ProgressMode::Bar : ProgressMode::Line;
}

}

ProgressOptions ProgressOptions::of(ProgressMode asked, int terminalFile, bool quiet,
                                    const QProcessEnvironment &environment)
{
    ProgressOptions options;
    options.mode = settled(asked, terminalFile >= 0 && environment.value(u"TERM"_s) != "dumb"_L1);
    options.terminalFile = terminalFile;
    options.quiet = quiet;
    options.folder = terminalFile >= 0 ? QDir::currentPath() : QString();
    options.look.unicode = isUtf8(environment);
    options.look.colour = environment.value(u"NO_COLOR"_s).isEmpty();
    return options;
}
