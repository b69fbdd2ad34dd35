// SPDX-License-Identifier: MIT
#include <tests/unit/host/engine/fakedownload.h>

#include <inet/qt/download/framework/abstractdownloadmodule.h>
#include <inet/qt/download/framework/abstractdownloadmodulestandardentry.h>

using namespace Qt::StringLiterals;

namespace
{

/// Of one scheme. That of http wants to be asked before others.
class OtherModule : public AbstractDownloadModule
{
public:
    using AbstractDownloadModule::AbstractDownloadModule;

    QString uniqueId() const override { return u"fake" FAKE_SCHEME ""_s; }
    using AbstractDownloadModule::supportedSource;
    bool supportedSource(const QUrl &url) const override { return url.scheme() == QLatin1StringView(FAKE_SCHEME); }
    int supportedSourceCheckPriority() override { return qstrcmp(FAKE_SCHEME, "http") == 0 ? 1 : 0; }
    AbstractDownload *createDownload(qint64 id, QObject *parent) const override { return new FakeDownload(id, parent); }
};

}

extern "C" Q_DECL_EXPORT AbstractDownloadModuleEntry *downloadsModuleEntry(int interfaceVersion)
{
    static AbstractDownloadModuleStandardEntry<OtherModule> entry("fake" FAKE_SCHEME);
    return interfaceVersion == AbstractDownloadModuleEntry::kInterfaceVersion ? &entry : nullptr;
}
