// SPDX-License-Identifier: MIT
#pragma once

#include <host/network/smallfetch.h>
#include <host/parsing/checksum.h>

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <optional>

/// Looks for the checksum of a file in lists that stand beside it or on this machine, one after the other, until one
/// has it.
///
///     begin() ──> a list is fetched ──> it has the file's, or cannot be asked for ──> done()
///                      ^      └──> none, or not the file's ──┬──> no more ──> done()
///                      └──────────── the next ───────────────┘
///
/// Lives in its manager's thread.
class ChecksumSearch : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(ChecksumSearch)

public:
    struct Asked {
        QList<QUrl> lists; ///< where they may be
        QUrl url; ///< of the file
        QStringList names; ///< that it may have in them, the best first
        QList<SmallFetch::Field> headers;
        bool trustsAll = false; ///< whatever certificate is shown
        SmallFetch::Patience patience;
    };

    struct Found {
        std::optional<Checksum> checksum;
        QUrl list; ///< that has it, or the last one that was looked at
        Clause reason = Clause::Kind::NotFetched; ///< why there is none: about the last one
        /// A failure that may pass has outlasted all tries: nobody knows whether there is one.
        bool isUnanswered = false;
    };

    ChecksumSearch(const QSharedPointer<QNetworkAccessManager> &manager, const Asked &asked, QObject *parent = nullptr);
    ~ChecksumSearch() override;

    /// Once. Answered by one done(), never from inside the call.
    void begin();

Q_SIGNALS:
    void done(const ChecksumSearch::Found &found);
    /// As SmallFetch::retrying().
    void retrying(const SmallFetch::Answer &answer, int attempt, qint64 inMs);

private:
    void askNext();
    void onAnswer(const SmallFetch::Answer &answer);
    void look(const SmallFetch::Answer &answer);

    Asked m_asked;
    Found m_found;
    SmallFetch m_fetch;
    bool m_isDone = false;
};
