// SPDX-License-Identifier: MIT
#pragma once

#include <host/policy/failure.h>

#include <QList>
#include <QString>
#include <QStringList>

class AbstractDownloadModule;
class QObject;

/// Loads libraries of modules, which the host knows by nothing but their entry symbol and interface version.
///
/// A library that was loaded stays so until the process ends: objects of its classes may outlive everything else.
namespace ModuleLoader
{

/// $PLAIT_MODULE_DIR, ../lib/plait beside the program's own folder, and where modules get installed.
QStringList defaultFolders();

/// The modules of a library, children of @p parent. None, with a failure, where it is none that fits.
QList<AbstractDownloadModule *> load(const QString &path, QObject *parent, Failure *failure);

}
