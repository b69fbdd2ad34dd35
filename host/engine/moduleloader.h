// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QStringList>

class AbstractDownloadModule;
class QLibrary;
class QObject;

/// Finds and loads modules, which the host knows by nothing but their entry symbol and interface version.
///
/// A library that was loaded stays so until the process ends: objects of its classes may outlive everything else.
class ModuleLoader
{
public:
    /// @param folders where modules are looked for, in order
    explicit ModuleLoader(const QStringList &folders);

    /// $PLAIT_MODULE_DIR, ../lib/plait beside the program's own folder, and where modules get installed.
    static QStringList defaultFolders();

    /// A new module, child of @p parent. Null, with a sentence in errorText(), when there is none that fits.
    AbstractDownloadModule *load(const QString &uniqueId, QObject *parent);
    QString errorText() const { return m_errorText; }

private:
    QString find(const QString &uniqueId) const;
    AbstractDownloadModule *loadFrom(QLibrary &library, const QString &uniqueId, QObject *parent);
    AbstractDownloadModule *fail(const QString &errorText);

    const QStringList m_folders;
    QString m_errorText;
};
