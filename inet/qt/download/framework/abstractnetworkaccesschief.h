// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/records/abstractnetworkconsumersettings.h>
#include <inet/qt/download/records/exportmacro.h>
#include <inet/qt/download/records/networkusagesettings.h>

#include <QObject>
#include <QSharedPointer>

class AbstractNetworkConsumersStats;
class QNetworkAccessManager;
class QUrl;

/// The host's one point of access to the network, shared by all downloads. Lives in their thread.
///
/// What a host may offer beyond the operations below; where it does not, transfers do without:
///
/// - the dynamic property kEarlyHandOutSize;
/// - replies with an invokable "QByteArray takeBlock(qint64 maxSize)", which gives away received bytes without copying
///   them: at most so many, or with -1 all that come in one piece, even if that is more than bytesAvailable() showed.
///   Empty = nothing is there. Called in the reply's thread, in place of read() and readAll() and with their effects;
/// - replies that heed the dynamic property kDownloadLimit, which transfers set.
class DOWNLOADFRAMEWORK_EXPORT AbstractNetworkAccessChief : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(AbstractNetworkAccessChief)

public:
    /// Name of a dynamic property: how many bytes (qint64) a transfer holds at most before it hands them out although
    /// the second is not over. 1 = whenever the writer is idle; unset, 0, negative or no number = once a second. It is
    /// read at every chunk, in the chief's thread, so that it may change while transfers run.
    static constexpr char kEarlyHandOutSize[] = "earlyHandOutSize";

    /// Name of a dynamic property of replies: so many bytes a second (qint64) are read of it; 0 = as many as come. Told
    /// before the answer begins, and again whenever it changes, so that no more than that need be on its way.
    static constexpr char kDownloadLimit[] = "downloadLimit";

    explicit AbstractNetworkAccessChief(QObject *parent = nullptr);
    ~AbstractNetworkAccessChief() override;

    /// A manager for one transfer to that URL. It is the caller's alone until given back.
    virtual QSharedPointer<QNetworkAccessManager> takeManager(const QUrl &url) = 0;
    /// Gives a manager back, with the URL that it was taken for. Replies that still live are not harmed.
    virtual void returnManager(const QSharedPointer<QNetworkAccessManager> &manager, const QUrl &url) = 0;

    /// Never null; lives as long as the chief.
    virtual AbstractNetworkConsumersStats *consumersStats() const = 0;
    /// Limits over all downloads together, as they stand now.
    virtual NetworkUsageSettings usageSettings() const = 0;
    /// What a download starts from.
    virtual AbstractNetworkConsumerSettings defaultConsumerSettings() const = 0;
};
