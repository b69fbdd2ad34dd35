// SPDX-License-Identifier: MIT
#include <tests/unit/host/engine/fakedownload.h>

#include <inet/qt/download/framework/abstractdownloadmodule.h>
#include <inet/qt/download/framework/abstractdownloadmodulestandardentry.h>

using namespace Qt::StringLiterals;

namespace
{

class FakeModule : public AbstractDownloadModule
{
public:
    using AbstractDownloadModule::AbstractDownloadModule;

    QString uniqueId() const override { return u"downloadswww"_s; }
    using AbstractDownloadModule::supportedSource;
    bool supportedSource(const QUrl &url) const override { return url.scheme() == "http"_L1; }
    AbstractDownload *createDownload(qint64 id, QObject *parent) const override { return new FakeDownload(id, parent); }
};

}

extern "C" Q_DECL_EXPORT AbstractDownloadModuleEntry *downloadsModuleEntry(int interfaceVersion)
{
    static AbstractDownloadModuleStandardEntry<FakeModule> entry("downloadswww");
    return interfaceVersion == AbstractDownloadModuleEntry::kInterfaceVersion ? &entry : nullptr;
}
