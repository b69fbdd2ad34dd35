// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/framework/abstractdownloadmoduleentry.h>

/// Entry of a plug-in that holds one module.
template<typename Module>
class AbstractDownloadModuleStandardEntry : public AbstractDownloadModuleEntry
{
public:
    /// @param uniqueId UTF-8
    explicit AbstractDownloadModuleStandardEntry(const char *uniqueId)
        : m_uniqueId(QString::fromUtf8(uniqueId))
    {
    }

    QList<QString> uniqueIds() const override { return {m_uniqueId}; }

    AbstractDownloadModule *createModule(const QString &, const QByteArray &instanceData,
                                         QObject *parent) const override
    {
        return new Module(instanceData, parent);
    }

private:
    const QString m_uniqueId;
};
