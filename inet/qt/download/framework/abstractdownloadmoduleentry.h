// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/framework/abstractdownloadsmodulesprovider.h>

#include <QByteArray>
#include <QList>
#include <QString>

class AbstractDownloadModule;
class QObject;

/// What a plug-in's entry function hands to the host: names its modules and makes them. Lives until the library is
/// unloaded.
class DOWNLOADFRAMEWORK_EXPORT AbstractDownloadModuleEntry : public AbstractDownloadsModulesProvider
{
public:
    /// The one interface version that is spoken here.
    static constexpr int kInterfaceVersion = 43;
    /// Unmangled name of the entry function, of type Function.
    static constexpr char kEntrySymbol[] = "downloadsModuleEntry";
    /// Null for an interface version that the module does not speak.
    using Function = AbstractDownloadModuleEntry *(*)(int interfaceVersion);

    AbstractDownloadModuleEntry();
    ~AbstractDownloadModuleEntry() override;

    virtual QList<QString> uniqueIds() const = 0;
    /// A new module, owned by the caller. @param instanceData what the host stored for it
    virtual AbstractDownloadModule *createModule(const QString &uniqueId, const QByteArray &instanceData,
                                                 QObject *parent) const = 0;
};
