// SPDX-License-Identifier: MIT
#pragma once

#include <host/policy/resourceidentity.h>
#include <inet/qt/download/records/abstracterror.h>

#include <QByteArray>
#include <QList>
#include <QNetworkAccessManager>
#include <QObject>
#include <QPointer>
#include <QSharedPointer>
#include <QTimer>
#include <QUrl>

#include <optional>

class QNetworkReply;

/// Fetches what is small enough to be kept in memory, for work beside downloads: a piece of a file that it is compared
/// with, or a list of checksums. Redirects are followed, and failures that may pass are waited for.
///
///     begin() ──> asked ──> an answer, or a failure that stays ──> done()
///                   ^  └──> one that may pass ──> retrying() ──┐
///                   └───────────── a rest ────────────────────┘
///
/// Lives in its manager's thread.
class SmallFetch : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(SmallFetch)

public:
    using Field = ResourceIdentity::Field;

    /// As many as a download follows.
    static constexpr int kMostRedirects = 15;
    /// Without a sign of the server.
    static constexpr int kPatienceMs = 30000;

    /// With failures that may pass by themselves.
    struct Patience {
        int mostTries = 1; ///< of each question; 0 = no end
        qint64 waitMs = 1000; ///< after the first; doubled with each that follows
    };

    struct Asked {
        QUrl url;
        qint64 first = -1; ///< of the bytes that are wanted; -1 = all of them
        qint64 most = 0; ///< so many bytes are kept; the answer is left there
        QList<Field> headers; ///< besides those that everybody sends
        bool trustsAll = false; ///< whatever certificate is shown
    };

    struct Answer {
        AbstractError error; ///< no answer came, or one without a file
        QUrl url; ///< where it came from
        int redirects = 0; ///< on the way there
        int status = 0; ///< 0 = no answer came
        QList<Field> fields;
        QByteArray bytes;
        bool isCut = false; ///< there was more

        /// Empty = it has none.
        QByteArray field(const char *name) const;
        ResourceIdentity identity() const { return ResourceIdentity::of(status, fields); }
    };

    /// @param manager that knows what may be shown to whom
    explicit SmallFetch(const QSharedPointer<QNetworkAccessManager> &manager, const Patience &patience,
                        QObject *parent = nullptr);
    ~SmallFetch() override;

    /// Answered by one done(), never from inside the call. One at a time.
    void begin(const Asked &asked);

Q_SIGNALS:
    /// Its receiver may begin the next one.
    void done(const SmallFetch::Answer &answer);
    /// @param answer that did not do @param attempt the one that comes, from 2 @param inMs until then
    void retrying(const SmallFetch::Answer &answer, int attempt, qint64 inMs);

private:
    void ask();
    void send(const QUrl &url);
    void read();
    void onFinished();
    void leave();
    void end(const AbstractError &error);
    /// ms; nothing where it is not to be asked again.
    std::optional<qint64> rest() const;

    const QSharedPointer<QNetworkAccessManager> m_manager;
    const Patience m_patience;
    Asked m_asked;
    Answer m_answer;
    QPointer<QNetworkReply> m_reply;
    int m_attempt = 1; ///< of the question that is asked
    QTimer m_silence;
    QTimer m_rest;
};
