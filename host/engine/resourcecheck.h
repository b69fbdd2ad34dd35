// SPDX-License-Identifier: MIT
#pragma once

#include <host/policy/failure.h>
#include <inet/qt/download/records/abstractdownloadpersistentinfo.h>

#include <QObject>
#include <QString>

#include <memory>

class AbstractDownload;
class DownloadSession;
class ResourceGuard;

/// Asks a server whether it still has the file that a record is of. Downloads nothing and changes nothing. One check at
/// a time; lives in the session's thread.
class ResourceCheck : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(ResourceCheck)

public:
    enum class Finding {
        Same,
        Changed,
        Unknown, ///< the server could not be asked, or there is nothing to compare with
    };

    struct Result {
        Finding finding = Finding::Unknown;
        bool isProven = false; ///< of the same: by more than its size
        AbstractError error; ///< why it is unknown, as it was told; may be empty
        Failure failure; ///< of an unknown one
    };

    /// @param session open; outlives this object
    explicit ResourceCheck(DownloadSession &session, QObject *parent = nullptr);
    ~ResourceCheck() override;

    /// Always answered by checked(), never from inside the call.
    void begin(const AbstractDownloadPersistentInfo &record);
    /// Without an answer.
    void stop();

Q_SIGNALS:
    void checked(const ResourceCheck::Result &result);

private:
    void look();
    Result result() const;
    bool isOnlySizeUnsaid(const AbstractDownloadPersistentInfo &info) const;

    DownloadSession &m_session;
    std::shared_ptr<ResourceGuard> m_guard;
    std::unique_ptr<AbstractDownload> m_download;
    quint64 m_number = 0; ///< of the check that was begun last; another one once that was stopped
};
