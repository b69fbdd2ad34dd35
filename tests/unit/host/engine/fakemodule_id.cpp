// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/abstractdownloadmoduleentry.h>

namespace
{

class OtherEntry : public AbstractDownloadModuleEntry
{
public:
    QList<QString> uniqueIds() const override { return {QStringLiteral("downloadsother")}; }
    AbstractDownloadModule *createModule(const QString &, const QByteArray &, QObject *) const override
    {
        return nullptr;
    }
};

}

extern "C" Q_DECL_EXPORT AbstractDownloadModuleEntry *downloadsModuleEntry(int)
{
    static OtherEntry entry;
    return &entry;
}
