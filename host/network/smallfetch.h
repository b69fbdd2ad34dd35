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

class QNetworkReply;

/// Fetches what is small enough to be kept in memory, for work beside downloads: a piece of a file that it is compared
/// with, or a list of checksums. Redirects are followed. Lives in its manager's thread.
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
    explicit SmallFetch(const QSharedPointer<QNetworkAccessManager> &manager, QObject *parent = nullptr);
    ~SmallFetch() override;

    /// Answered by one done(), never from inside the call. One at a time.
    void begin(const Asked &asked);

Q_SIGNALS:
    /// Its receiver may begin the next one.
    void done(const SmallFetch::Answer &answer);

private:
    void send(const QUrl &url);
    void read();
    void onFinished();
    void leave();
    void end(const AbstractError &error);

    const QSharedPointer<QNetworkAccessManager> m_manager;
    Asked m_asked;
    Answer m_answer;
    QPointer<QNetworkReply> m_reply;
    QTimer m_silence;
};
