// SPDX-License-Identifier: MIT
#include <host/engine/moduleregistry.h>

#include <host/engine/moduleloader.h>
#include <inet/qt/download/framework/abstractdownloadmodule.h>

#include <QDir>
#include <QUrl>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

ModuleRegistry::ModuleRegistry(const QStringList &folders, QObject *parent)
    : QObject(parent)
    , m_folders(folders.isEmpty() ? ModuleLoader::defaultFolders() : folders)
{
}

ModuleRegistry::~ModuleRegistry() = default;

void ModuleRegistry::setPreparation(std::function<void(AbstractDownloadModule &)> prepare)
{
    m_prepare = std::move(prepare);
}

AbstractDownloadModule *ModuleRegistry::moduleFor(const QUrl &url)
{
    if (!std::exchange(m_hasLooked, true))
        look();
    const auto found = std::find_if(m_modules.cbegin(), m_modules.cend(), [&url](const AbstractDownloadModule *module) {
        return module->supportedSource(url);
    });
    return found == m_modules.cend() ? nullptr : *found;
}

void ModuleRegistry::look()
{
    QSet<QString> names;
    for (const QString &folder : m_folders)
        lookInto(folder, names);
    std::stable_sort(m_modules.begin(), m_modules.end(), [](AbstractDownloadModule *a, AbstractDownloadModule *b) {
        return a->supportedSourceCheckPriority() > b->supportedSourceCheckPriority();
    });
    if (m_modules.isEmpty())
        m_failure = Failure::make(Failure::Kind::NoModule, {}, u"\"%1\""_s.arg(m_folders.join(u"\", \""_s)));
}

void ModuleRegistry::lookInto(const QString &folder, QSet<QString> &names)
{
    const QDir dir(folder);
    const QStringList files = dir.entryList({u"*.so"_s}, QDir::Files, QDir::Name);
    for (const QString &name : files) {
        if (!names.contains(name) && take(dir.absoluteFilePath(name)))
            names.insert(name);
    }
}

/// Whether the library holds modules that fit. One that is there under another file's name already is not needed twice.
bool ModuleRegistry::take(const QString &path)
{
    Failure failure;
    const QList<AbstractDownloadModule *> loaded = ModuleLoader::load(path, this, &failure);
    if (loaded.isEmpty()) {
        Q_EMIT refused(failure);
        return false;
    }
    for (AbstractDownloadModule *module : loaded) {
        if (m_ids.contains(module->uniqueId())) {
            delete module;
            continue;
        }
        m_ids.insert(module->uniqueId());
        if (m_prepare)
            m_prepare(*module);
        m_modules.append(module);
    }
    return true;
}
