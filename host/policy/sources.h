// SPDX-License-Identifier: MIT
#pragma once

#include <host/policy/failure.h>
#include <inet/qt/download/records/abstractdownloadpersistentinfo.h>

#include <QList>
#include <QString>
#include <QUrl>

/// Which of a download's addresses are tried. One that proved wrong is put aside for this run of the program; the
/// record keeps them all. Pure.
class Sources
{
public:
    Sources() = default;
    /// The record's URL and its mirrors, each once.
    explicit Sources(const AbstractDownloadPersistentInfo &record);

    /// There is more than one.
    bool areSeveral() const { return m_urls.size() > 1; }
    /// Some are left.
    bool hasNext() const { return m_aside.size() < m_urls.size(); }
    bool contains(const QUrl &url) const { return m_urls.contains(url); }
    /// The one that a run begins with; empty when none is left.
    QUrl current() const;
    /// @param reason as in "HTTP status 404" @param mayPass the same address may do at another time
    void putAside(const QUrl &url, const Clause &reason, bool mayPass = false);
    bool isAside(const QUrl &url) const;
    /// Some were put aside for what may pass.
    bool mayAnyPass() const;
    /// Those are tried again.
    void bringBack();

    /// Makes the record download from what is left: a wrong URL is passed over without being forgotten.
    void applyTo(AbstractDownloadPersistentInfo &record) const;
    /// Makes it again a record of all addresses.
    void restore(AbstractDownloadPersistentInfo &record) const;

    /// Each address that was put aside, with its reason.
    QList<Failure::Address> failed() const;

    /// What a mirror must not do: answer with an HTTP error, or with something else than the file.
    static bool isSourcesFault(const AbstractError &error);

private:
    struct Aside {
        QUrl url;
        Clause reason;
        bool mayPass = false;
    };

    QList<QUrl> m_urls;
    QList<AbstractDownloadMirrorInfo> m_mirrors;
    QUrl m_effectiveUrl;
    QList<Aside> m_aside;
};
