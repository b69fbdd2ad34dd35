// SPDX-License-Identifier: MIT
#pragma once

#include <host/policy/failure.h>

#include <QList>
#include <QObject>
#include <QSet>
#include <QString>
#include <QStringList>

#include <functional>

class AbstractDownloadModule;
class QUrl;

/// The modules that there are, and which of them serves an address.
///
/// Every library in the module folders is one; an earlier folder's hides those of that name in later ones. They are
/// looked for when an address is first asked for, and not again. One that does not fit is told of and left out, while
/// others serve. Lives in the thread of the downloads, and owns its modules.
class ModuleRegistry : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(ModuleRegistry)

public:
    /// @param folders in order; empty = ModuleLoader::defaultFolders()
    explicit ModuleRegistry(const QStringList &folders, QObject *parent = nullptr);
    ~ModuleRegistry() override;

    /// Called with each module once, before it is first asked anything.
    void setPreparation(std::function<void(AbstractDownloadModule &module)> prepare);

    /// Of the modules that serve the address the one of the greatest priority; of several, that found first. Null =
    /// none does.
    AbstractDownloadModule *moduleFor(const QUrl &url);
    /// That there is no module at all; none = there is one, or nobody has asked yet.
    Failure failure() const { return m_failure; }

Q_SIGNALS:
    /// A library in a module folder is no module that fits. Emitted while the folders are looked into.
    void refused(const Failure &failure);

private:
    void look();
    void lookInto(const QString &folder, QSet<QString> &names);
    bool take(const QString &path);

    const QStringList m_folders;
    std::function<void(AbstractDownloadModule &)> m_prepare;
    QList<AbstractDownloadModule *> m_modules; ///< children; those that are asked first come first
    QSet<QString> m_ids;
    Failure m_failure;
    bool m_hasLooked = false;
};
