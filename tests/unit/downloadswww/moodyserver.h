// SPDX-License-Identifier: MIT
#pragma once

#include <tests/support/scriptedserver.h>

#include <QDateTime>
#include <QMutex>
#include <QRandomGenerator>

#include <optional>

class AbstractDownloadPersistentInfo;

/// What can go wrong with an answer, each as its share of a thousand answers.
struct Moods {
    int refuses = 0; ///< 503
    int ignoresRange = 0; ///< the whole file in place of the piece that was asked for
    int cuts = 0; ///< the connection ends within the body
    int stalls = 0; ///< nothing more is sent until letGo()
    int delays = 0; ///< nothing is sent before letGo()
    int crawls = 0; ///< slowly
    int hangsUp = 0; ///< no answer at all
};

/// A server with one file, of which there are versions, and with moods that follow from a seed. Each version has its
/// own bytes, its own size and its own validators.
class MoodyServer
{
    Q_DISABLE_COPY_MOVE(MoodyServer)

public:
    explicit MoodyServer(quint32 seed);

    QUrl url() const { return m_server.url(QStringLiteral("/file.bin")); }
    qint64 size() const;
    /// All that waits goes on.
    void letGo();
    void dropConnections() { m_server.dropConnections(); }
    /// Another version stands at the URL from now on.
    void change();
    /// No more moods from now on.
    void calmDown();
    bool hasChanged() const;

    /// The bytes of the version that the record's validators name; none when they name no version.
    std::optional<QByteArray> contentNamedBy(const AbstractDownloadPersistentInfo &record) const;
    /// For the report of a failure: size, validators and moods.
    QString description() const;

private:
    ScriptedResponse answer();
    /// Where answers wait that are made now.
    QString gate() const { return QString::number(m_gateNumber); }
    void addMood(ScriptedResponse &response);
    QByteArray etagOf(int version) const;
    QDateTime modifiedOf(int version) const;
    quint64 contentSeedOf(int version) const;
    qint64 sizeOf(int version) const;
    bool happens(int perMille) { return int(m_random.bounded(1000)) < perMille; }

    mutable QMutex m_mutex; // answers are made in the server's thread
    QRandomGenerator m_random;
    const quint32 m_seed;
    qint64 m_size = 0;
    bool m_hasEtag = true;
    bool m_keepsSize = true;
    Moods m_moods;
    int m_version = 0;
    int m_gateNumber = 1;
    ScriptedServer m_server;
};
