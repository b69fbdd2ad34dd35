// SPDX-License-Identifier: MIT
#include <host/engine/moduleloader.h>

#include <inet/qt/download/framework/abstractdownloadmodule.h>
#include <inet/qt/download/framework/abstractdownloadmoduleentry.h>

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QLibrary>

using namespace Qt::StringLiterals;

namespace
{

QString fileName(const QString &uniqueId)
{
    return "lib"_L1 + uniqueId + ".so"_L1;
}

}

ModuleLoader::ModuleLoader(const QStringList &folders)
    : m_folders(folders)
{
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

AbstractDownloadModule *ModuleLoader::load(const QString &uniqueId, QObject *parent)
{
    m_errorText.clear();
    const QString path = find(uniqueId);
    if (path.isEmpty()) {
        return fail(
            u"cannot find the module \"%1\" (\"%2\") in \"%3\". Set PLAIT_MODULE_DIR to the folder that holds it."_s
                .arg(uniqueId, fileName(uniqueId), m_folders.join(u"\", \""_s)));
    }
    QLibrary library(path);
    library.setLoadHints(QLibrary::ResolveAllSymbolsHint | QLibrary::PreventUnloadHint);
    return loadFrom(library, uniqueId, parent);
}

QString ModuleLoader::find(const QString &uniqueId) const
{
    for (const QString &folder : m_folders) {
        const QFileInfo file(QDir(folder).filePath(fileName(uniqueId)));
        if (file.isFile())
            return file.absoluteFilePath();
    }
    return {};
}

AbstractDownloadModule *ModuleLoader::loadFrom(QLibrary &library, const QString &uniqueId, QObject *parent)
{
    using Entry = AbstractDownloadModuleEntry;
    const QString path = library.fileName();
    if (!library.load())
        return fail(u"cannot load the module \"%1\": %2. Install it anew."_s.arg(path, library.errorString()));
    const auto function = reinterpret_cast<Entry::Function>(library.resolve(Entry::kEntrySymbol));
    if (!function) {
        return fail(u"cannot load the module \"%1\": it has no \"%2\" and is no module. Move it out of the way."_s.arg(
            path, QLatin1String(Entry::kEntrySymbol)));
    }
    const Entry *const entry = function(Entry::kInterfaceVersion);
    if (!entry) {
        return fail(u"cannot load the module \"%1\": it does not speak interface version %2. Install the one that came "
                    u"with this program."_s.arg(path, QString::number(Entry::kInterfaceVersion)));
    }
    if (!entry->uniqueIds().contains(uniqueId)) {
        return fail(u"cannot load the module \"%1\": it does not hold \"%2\". Install it anew."_s.arg(path, uniqueId));
    }
    return entry->createModule(uniqueId, QByteArray(), parent);
}

AbstractDownloadModule *ModuleLoader::fail(const QString &errorText)
{
    m_errorText = errorText;
    return nullptr;
}
