// SPDX-License-Identifier: MIT
#pragma once

#include <host/policy/checksumresult.h>
#include <host/policy/ratesofday.h>
#include <host/policy/secretheader.h>

#include <QList>
#include <QString>
#include <QtGlobal>

class OptionValues;

/// What the host keeps of a download beside its record: how it is to be run, not what it is.
///
/// A value. Numbers of policies are the host's own; the list keeps them without looking at them.
struct DownloadOptions {
    qint64 rateLimit = 0; ///< bytes per second; 0 = none
    QList<RatesOfDay::Timed> rateTimes; ///< hours at which it is another one
    int connections = 0; ///< at once; 0 = the default
    int connectionsPerServer = 0; ///< at once; 0 = the default
    QString checksumAlgorithm; ///< empty = there is no checksum to compare with
    QString checksumHex; ///< what the finished file has to have
    /// Where a checksum is looked for in place of one that was given: "auto" = beside the file, or a list's address.
    QString checksumSource;
    ChecksumResult checksumResult = ChecksumResult::NotCompared;
    int onChanged = 0; ///< what to do when the resource is another one by now
    int onUnresumable = 0; ///< what to do when the server cannot go on in the middle
    bool skipExisting = false; ///< a file of that name in the way is as good as a download; else it is an error
    QString user; ///< kept only with storeSecrets
    QString password; ///< kept only with storeSecrets
    QList<SecretHeader> headers; ///< that it was begun with; values are kept only with storeSecrets
    bool storeSecrets = false; ///< the person asked for user, password and values of headers to be kept in the list
    bool insecure = false; ///< certificates are not checked

    /// Of a new download: what was chosen, and defaults where a download is to keep those that it began with.
    static DownloadOptions of(const OptionValues &values);
    /// What was chosen now, of what is in the table and kept for each download; all else stays.
    void give(const OptionValues &values);
    /// The same, as the download has it: what it says nothing of is not among them.
    OptionValues values() const;

    /// A person gave a checksum, or named a list that has to have it; a file is not done before that was compared.
    bool isToBeCompared() const;

    /// As they come back from the list: what is not to be kept has gone.
    DownloadOptions kept() const;

    friend bool operator==(const DownloadOptions &, const DownloadOptions &) = default;
};
