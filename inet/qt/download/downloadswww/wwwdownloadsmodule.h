// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/framework/abstractdownloadmodule.h>

/// Serves http, https and ftp URLs.
class WwwDownloadsModule : public AbstractDownloadModule
{
public:
    static constexpr char kUniqueId[] = "downloadswww";

    WwwDownloadsModule(const QByteArray &instanceData, QObject *parent);
    ~WwwDownloadsModule() override;

    QString uniqueId() const override;
    using AbstractDownloadModule::supportedSource;
    bool supportedSource(const QUrl &url) const override;
    AbstractDownload *createDownload(qint64 id, QObject *parent) const override;
};
