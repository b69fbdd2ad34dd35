// SPDX-License-Identifier: MIT
#pragma once

#include <host/network/smallfetch.h>
#include <host/policy/failure.h>
#include <host/policy/resourcememory.h>
#include <host/policy/takeover.h>
#include <inet/qt/download/framework/fileidentity.h>

#include <QFile>
#include <QList>
#include <QObject>
#include <QString>
#include <QUrl>

#include <optional>

/// A file that was found, and may be gone on with: the beginning of what its address has, or all of that.
struct TakenFile {
    QString path; ///< as it was found
    FileIdentity found; ///< the file that was compared, whatever stands there by now
    qint64 size = 0; ///< bytes that are there
    ResourceIdentity identity; ///< of what the server has; its total is known
    QUrl target; ///< where the address's redirects led; empty = it answers itself
    int redirects = 0;

    bool isWhole() const { return size == identity.total; }
    /// As what a new record has of its file by now.
    void putInto(AbstractDownloadPersistentInfo &record) const;
    /// What is remembered of the resource. @param url of the download
    ResourceMemory memory(const QUrl &url) const;
    /// The same file stands there, and nobody has written to it.
    bool isAsCompared() const;
    /// Its name is the one that it was found under again.
    void giveBack() const;
};

/// Looks whether a file that another program left is what a server has, as far as it goes, and changes nothing of it.
///
///     begin() ──> one question after the other, see TakeOver::piecesOf() ──> done()
///
/// Lives in its manager's thread.
class FileTakeOver : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(FileTakeOver)

public:
    struct Asked {
        QString path;
        QUrl url;
        QList<SmallFetch::Field> headers;
        bool trustsAll = false; ///< whatever certificate is shown
        bool hasChecksum = false;
        SmallFetch::Patience patience;
    };

    FileTakeOver(const QSharedPointer<QNetworkAccessManager> &manager, const Asked &asked, QObject *parent = nullptr);
    ~FileTakeOver() override;

    /// Once. Answered by one done(), never from inside the call.
    void begin();

Q_SIGNALS:
    /// @param failure CannotTakeOver, with the reason, or why the server could not be asked; none = it is taken
    void done(const Failure &failure, const TakenFile &file);
    /// As SmallFetch::retrying(). @param failure why
    void retrying(const Failure &failure, int attempt, qint64 inMs);

private:
    Clause obstacle();
    void askNext();
    void onAnswer(const SmallFetch::Answer &answer);
    Failure failureOf(const SmallFetch::Answer &answer) const;
    TakeOver::Answer judged(const SmallFetch::Answer &answer);
    QByteArray ours(const TakeOver::Piece &piece);
    void refuse(const Clause &reason);
    void end(const Failure &failure);
    Failure::Subject subject() const;

    const Asked m_asked;
    QFile m_file;
    TakeOver::Local m_local;
    QList<TakeOver::Piece> m_pieces; ///< that are still to be asked for
    std::optional<TakeOver::Answer> m_first;
    TakenFile m_taken;
    SmallFetch m_fetch;
    bool m_isDone = false;
};
