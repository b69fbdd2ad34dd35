// SPDX-License-Identifier: MIT
#include <host/engine/moduleloader.h>

#include <inet/qt/download/framework/abstractdownloadmodule.h>
#include <inet/qt/download/framework/abstractdownloadmoduleentry.h>

#include <QCoreApplication>
#include <QDir>
#include <QLibrary>

using namespace Qt::StringLiterals;

namespace
{

using Entry = AbstractDownloadModuleEntry;

/// Null, with the rest of a sentence, where the library has none that fits.
const Entry *entryOf(QLibrary &library, QString *reason)
{
    library.setLoadHints(QLibrary::ResolveAllSymbolsHint | QLibrary::PreventUnloadHint);
    if (!library.load()) {
        *reason = library.errorString() + u". Install it anew."_s;
        return nullptr;
    }
    const auto function = reinterpret_cast<Entry::Function>(library.resolve(Entry::kEntrySymbol));
    if (!function) {
        *reason =
            u"it has no \"%1\" and is no module. Move it out of the way."_s.arg(QLatin1String(Entry::kEntrySymbol));
        return nullptr;
    }
    const Entry *const entry = function(Entry::kInterfaceVersion);
    if (!entry)
        *reason = u"it does not speak interface version %1. Install the one that came with this program."_s.arg(
            Entry::kInterfaceVersion);
    return entry;
}

}

QStringList ModuleLoader::defaultFolders()
{
    QStringList folders;
    const QString chosen = qEnvironmentVariable("PLAIT_MODULE_DIR");
    if (!chosen.isEmpty())
        folders.append(QDir(chosen).absolutePath());
    folders.append(QDir::cleanPath(QCoreApplication::applicationDirPath() + "/../lib/plait"_L1));
    folders.append(QStringLiteral(PLAIT_INSTALLED_MODULE_FOLDER));
    folders.removeDuplicates();
    return folders;
}

QList<AbstractDownloadModule *> ModuleLoader::load(const QString &path, QObject *parent, QString *errorText)
{
    QLibrary library(path);
    QString reason;
    const Entry *const entry = entryOf(library, &reason);
    QList<AbstractDownloadModule *> modules;
    const QStringList ids = entry ? entry->uniqueIds() : QStringList();
    for (const QString &id : ids) {
        if (AbstractDownloadModule *const module = entry->createModule(id, QByteArray(), parent))
            modules.append(module);
    }
    if (entry && modules.isEmpty())
        reason = u"it holds no module. Install it anew."_s;
    *errorText = reason.isEmpty() ? QString() : u"cannot load the module \"%1\": %2"_s.arg(path, reason);
    return modules;
}
