// SPDX-License-Identifier: MIT
#pragma once

#include <host/options/downloadoptions.h>
#include <host/options/optionchanges.h>
#include <inet/qt/download/records/abstractdownloadpersistentinfo.h>

#include <QByteArray>
#include <QList>
#include <QString>
#include <QUrl>
#include <QVariantMap>

/// What a person asks for: a URL, where to, and what to send along.
struct DownloadRequest {
    QUrl url;
    QString folder; ///< absolute
    QString outputName; ///< exact name in the folder; empty = left to the server
    /// Its bytes are for who asks, in their order, and kept for nobody: see Engine::takeStream(). Folder and name are
    /// the engine's then.
    bool isStreamed = false;
    /// A file that another program has left under the name is gone on with, where it proves to be the server's.
    bool takesOver = false;
    /// Of what is there under the name, the server is asked whether it is its file still: only the very file that was
    /// downloaded is taken for that.
    bool isToAsk = false;
    QString referer;
    QString userAgent; ///< empty = the program's
    QByteArray postData; ///< empty = GET
    QVariantMap headers; ///< custom request headers, name to text; those not harmless are for the URL's server alone
    QVariantMap headersForAll; ///< the same, for every server that the download leads to
    QList<QUrl> mirrors; ///< other addresses of the same file
    AbstractDownloadExistingFileReaction onExists = AbstractDownloadExistingFileReaction::NotSet;
    /// What the list has finished of the same request, and the disk still holds, is as good as a download.
    bool onlyOnce = false;
    DownloadOptions options; ///< how it is to be run, where it is new
    OptionChanges changes; ///< the same, where the list has it already

    /// A new record of a download that has not begun.
    AbstractDownloadPersistentInfo newRecord() const;
    /// Whether the record is of the same request: URL, destination and body. What else is sent along may change.
    bool isSameDownload(const AbstractDownloadPersistentInfo &record) const;
    /// Takes what is given here along into a record of an earlier run.
    void renew(AbstractDownloadPersistentInfo &record) const;
};
