// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/framework/abstractdownload.h>
#include <inet/qt/download/framework/qtappsystemdefaultuseragentmanager.h>
#include <tests/support/fakereply.h>
#include <tests/support/testaccesschief.h>

#include <QPointer>
#include <QSharedPointer>
#include <QStringList>
#include <QTemporaryDir>
#include <QThread>

#include <functional>

/// The host of one download, as small as it can be: an access chief whose replies the test plays, a folder, a thread
/// for the writers, and a record of everything that the download says. The test makes the download and has it watched.
class DownloadFixture
{
public:
    static constexpr qint64 kDownloadId = 7;

    /// Replies are played by the test.
    DownloadFixture();
    /// Replies come from the network.
    enum RealNetwork { UseRealNetwork };
    explicit DownloadFixture(RealNetwork);
    virtual ~DownloadFixture();

    void watch(AbstractDownload *download);

    /// A record without files, into the fixture's folder.
    AbstractDownloadPersistentInfo record(const QString &url = QStringLiteral("http://a.test/dir/file.bin")) const;
    /// The same with one file, which is not on disk.
    AbstractDownloadPersistentInfo recordWithFile(qint64 size,
                                                  const QList<AbstractDownloadSection> &sections = {}) const;
    /// The same with the file begun on disk: "file.bin.part" holds these bytes, and the sections say so.
    AbstractDownloadPersistentInfo recordWithPart(qint64 size, const QByteArray &bytes) const;

    QString path(const QString &name) const;
    /// Names in the folder, sorted.
    QStringList names() const;
    QByteArray content(const QString &name) const;
    bool write(const QString &name, const QByteArray &bytes) const;

    /// Started when first asked for; ended with the fixture.
    QThread *writersThread();

    /// The reply of that order; negative counts from the last. Null when there is none.
    FakeReply *reply(int index = -1) const;
    /// Plays the whole of the last reply.
    void answer(const QByteArray &body, const QList<QNetworkReply::RawHeaderPair> &headers = {}) const;
    /// Its head with a length, and the body as far as it is given.
    void begin(qint64 length, const QByteArray &body, const QList<QNetworkReply::RawHeaderPair> &headers = {}) const;
    /// The same for a range that reaches from there to the end of so many bytes.
    void beginRange(qint64 from, qint64 total, const QByteArray &body) const;

    /// A log line of the download, without its header.
    bool logged(const QString &line) const;
    int timesLogged(const QString &line) const;
    /// Levels at which it came, in order; empty when it did not.
    QList<int> levelsOf(const QString &line) const;
    /// What the host has added up; empty when nothing is left over.
    QtConnectionsMap connections() const;

    QList<QPointer<FakeReply>> replies;
    const QSharedPointer<TestAccessChief> chief;
    const QSharedPointer<QtAppSystemDefaultUserAgentManager> userAgents;

    /// Every signal but those below: "running 1", "changed 0", "stopping", "files 1", "progress 5/10".
    QStringList events;
    QStringList lines; ///< of the log, with their headers
    QList<QPair<int, QString>> linesWithLevels;
    QList<QtConnectionsMap> deltas;
    QList<QPair<qint64, QList<QString>>> requestHeaders;
    QList<QPair<qint64, QList<QString>>> responseHeaders;
    /// Called behind every event that is recorded.
    std::function<void(const QString &)> onEvent;

private:
    explicit DownloadFixture(const QSharedPointer<TestAccessChief> &accessChief);
    QNetworkAccessManager *makeManager();
    void note(const QString &event);

    QTemporaryDir m_folder;
    QThread m_writersThread;

    Q_DISABLE_COPY_MOVE(DownloadFixture)
};
