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

using Remedy = Failure::Remedy;

Failure unusable(const QLibrary &library, const Clause &reason, Remedy remedy = Remedy::Reinstall)
{
    Failure::Subject subject;
    subject.path = library.fileName();
    Failure failure = Failure::make(Failure::Kind::ModuleUnusable, subject, reason);
    failure.remedies = {remedy};
    return failure;
}

/// Null, with a failure, where the library has none that fits.
const Entry *entryOf(QLibrary &library, Failure *failure)
{
    library.setLoadHints(QLibrary::ResolveAllSymbolsHint | QLibrary::PreventUnloadHint);
    if (!library.load()) {
        *failure = unusable(library, library.errorString());
        return nullptr;
    }
    const auto function = reinterpret_cast<Entry::Function>(library.resolve(Entry::kEntrySymbol));
    if (!function) {
        *failure = unusable(library, {Clause::Kind::NoEntryIn, {QLatin1String(Entry::kEntrySymbol)}}, Remedy::MoveAway);
        return nullptr;
    }
    const Entry *const entry = function(Entry::kInterfaceVersion);
    if (!entry)
        *failure = unusable(library, {Clause::Kind::OtherInterface, {QString::number(Entry::kInterfaceVersion)}});
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

QList<AbstractDownloadModule *> ModuleLoader::load(const QString &path, QObject *parent, Failure *failure)
{
    QLibrary library(path);
    *failure = {};
    const Entry *const entry = entryOf(library, failure);
    QList<AbstractDownloadModule *> modules;
    const QStringList ids = entry ? entry->uniqueIds() : QStringList();
    for (const QString &id : ids) {
        if (AbstractDownloadModule *const module = entry->createModule(id, QByteArray(), parent))
            modules.append(module);
    }
    if (entry && modules.isEmpty())
        *failure = unusable(library, Clause::Kind::NoModuleIn);
    return modules;
}
