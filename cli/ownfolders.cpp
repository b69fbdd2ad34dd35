// SPDX-License-Identifier: MIT
#include <cli/ownfolders.h>

#include <cli/foreignbytes.h>

#include <QDir>

using namespace Qt::StringLiterals;

namespace
{

/// Empty = neither the variable names a folder, nor is there a home folder. Qt would take the root for one.
QString fileIn(const char *variable, QLatin1StringView belowHome, QLatin1StringView name)
{
    const QString folder = qEnvironmentVariable(variable);
    if (QDir::isAbsolutePath(folder))
        return folder + name;
    const QString home = qEnvironmentVariable("HOME");
    return QDir::isAbsolutePath(home) ? QDir::cleanPath(home) + belowHome + name : QString();
}

}

QString OwnFolders::configFile()
{
    return fileIn("XDG_CONFIG_HOME", "/.config"_L1, "/plait/plait.conf"_L1);
}

QString OwnFolders::logFile()
{
    return fileIn("XDG_STATE_HOME", "/.local/state"_L1, "/plait/plait.log"_L1);
}

QString OwnFolders::problem()
{
    for (const char *variable : {"HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_STATE_HOME", "XDG_CACHE_HOME"}) {
        const QString folder = ForeignBytes::text(qgetenv(variable));
        if (ForeignBytes::areIn(folder) && QDir::isAbsolutePath(folder))
            return u"%1 names the folder \"%2\", which is not UTF-8, and would become another one. Name another "
                   u"folder: \"%1=/path plait …\"."_s.arg(QLatin1StringView(variable), ForeignBytes::shown(folder));
    }
    return {};
}
