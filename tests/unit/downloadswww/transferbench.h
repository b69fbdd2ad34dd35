// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/downloadswww/wwwdownloader.h>
#include <tests/support/blockreply.h>
#include <tests/support/fakenetworkaccessmanager.h>
#include <tests/support/fakereply.h>
#include <tests/support/testaccesschief.h>

#include <QDateTime>
#include <QPointer>
#include <QSharedPointer>
#include <QTest>
#include <QTimer>

#include <algorithm>
#include <functional>
#include <memory>
#include <utility>

/// A transfer whose clock stands until the test moves it.
class ClockedDownloader : public WwwDownloader
{
public:
    using WwwDownloader::WwwDownloader;

    qint64 second = 1'000'000;

protected:
    qint64 currentSecond() const override { return second; }
};

/// A transfer between a chief that keeps nothing and replies that the test plays, with everything recorded that it
/// says.
class TransferBench
{
public:
    /// With replies that give their bytes away in blocks.
    struct InBlocks {
    };

    TransferBench()
        : chief(new TestAccessChief([this] { return makeManager(); }))
        , downloader(new ClockedDownloader(chief, nullptr))
    {
        record();
    }

    explicit TransferBench(InBlocks)
        : chief(new TestAccessChief([this] { return makeManager(makeBlockReply); }))
        , downloader(new ClockedDownloader(chief, nullptr))
    {
        record();
    }

    /// The source of a whole resource, or of a part of it.
    static WwwDownloadSourceInfo source(const QString &url, qint64 offset = 0, qint64 length = -1,
                                        qint64 downloaded = 0)
    {
        WwwDownloadSourceInfo info;
        info.url = QUrl(url);
        info.sectionOffset = offset;
        info.sectionLength = length;
        info.sectionDownloaded = downloaded;
        return info;
    }

    void start(const WwwDownloadSourceInfo &info) { downloader->start(info, QString()); }
    void start(qint64 length = -1, qint64 downloaded = 0)
    {
        start(source(QStringLiteral("http://a.test/dir/file"), 0, length, downloaded));
    }
    /// A run of which the head has come, with that much of the section done.
    void startReceiving(qint64 length = -1, qint64 downloaded = 0)
    {
        start(length, downloaded);
        reply()->sendHead(200);
    }
    void confirm() { downloader->onDataProcessed(chunks.last().size()); }

    /// The reply made last.
    FakeReply *reply() const { return replies.isEmpty() ? nullptr : replies.last().data(); }
    BlockReply *blockReply() const { return static_cast<BlockReply *>(reply()); }
    QByteArray received() const { return chunks.join(); }
    /// What the host has added up; empty when nothing is left over.
    QtConnectionsMap connections() const
    {
        QtConnectionsMap sum;
        for (const QtConnectionsMap &delta : deltas)
            uniteConnectionsMaps(sum, delta);
        return sum;
    }

    QTimer *handOutTimer() const { return timer(WwwDownloader::kHandOutIntervalMs); }
    QTimer *readTimer() const { return timer(WwwDownloader::kReadIntervalMs); }
    QTimer *inactivityTimer() const { return timer(WwwDownloader::kInactivityLimitMs); }
    static void fire(QTimer *timer) { QMetaObject::invokeMethod(timer, "timeout"); }

    QList<QPointer<FakeReply>> replies;
    QSharedPointer<TestAccessChief> chief;
    /// Called inside every signal, after it was recorded.
    std::function<void(const QString &name)> onEvent;

    QStringList events; ///< names of all signals, in order
    QList<bool> runs;
    QList<QList<QString>> requests;
    QList<QList<QString>> responses;
    QList<QtConnectionsMap> deltas;
    QByteArrayList chunks;

    std::unique_ptr<ClockedDownloader> downloader; // goes before the lists: it still speaks as it goes

private:
    QNetworkAccessManager *makeManager()
    {
        return new FakeNetworkAccessManager([this](FakeReply *made) { replies.append(made); });
    }

    static FakeReply *makeBlockReply(QNetworkAccessManager::Operation operation, const QNetworkRequest &request,
                                     const QByteArray &body, QObject *parent)
    {
        return new BlockReply(operation, request, body, parent);
    }
    QNetworkAccessManager *makeManager(const FakeNetworkAccessManager::Maker &maker)
    {
        return new FakeNetworkAccessManager([this](FakeReply *made) { replies.append(made); }, maker);
    }

    QTimer *timer(int interval) const
    {
        const QList<QTimer *> timers = downloader->findChildren<QTimer *>();
        const auto it = std::find_if(timers.cbegin(), timers.cend(),
                                     [interval](const QTimer *candidate) { return candidate->interval() == interval; });
        return it == timers.cend() ? nullptr : *it;
    }

    template<typename Signal, typename... Arguments>
    void record(Signal signal, const char *name, QList<Arguments> &...lists)
    {
        QObject::connect(downloader.get(), signal, downloader.get(),
                         [this, name, &lists...](const Arguments &...values) {
                             events.append(QString::fromLatin1(name));
                             (lists.append(values), ...);
                             if (onEvent)
                                 onEvent(QString::fromLatin1(name));
                         });
    }

    void record()
    {
        record(&WwwDownloader::running, "running", runs);
        record(&WwwDownloader::connectionsMapChangedDelta, "connectionsMapChangedDelta", deltas);
        record(&WwwDownloader::requestHeaders, "requestHeaders", requests);
        record(&WwwDownloader::responseHeaders, "responseHeaders", responses);
        record(&WwwDownloader::gotHeaders, "gotHeaders");
        record(&WwwDownloader::gotData, "gotData", chunks);
        record(&WwwDownloader::timedOut, "timedOut");
    }

    Q_DISABLE_COPY_MOVE(TransferBench)
};

/// Waits until the clock has left the last error's time behind, and tells the time then: an error that is not set anew
/// is older.
inline void waitForLaterTime(const TransferBench &bench, QDateTime &now)
{
    QTRY_VERIFY(QDateTime::currentDateTime() > bench.downloader->lastErrorTime());
    now = QDateTime::currentDateTime();
}
