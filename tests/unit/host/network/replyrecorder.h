// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QNetworkReply>
#include <QObject>
#include <QStringList>

/// Everything that a reply tells, in order: "encrypted", "refused certificate", "head", "data" (several in a row are
/// noted once), "error 203", "channel" (its end), "finished". Reads what comes unless told otherwise.
class ReplyRecorder : public QObject
{
    Q_DISABLE_COPY_MOVE(ReplyRecorder)

public:
    enum class Reads { All, Nothing };

    explicit ReplyRecorder(QNetworkReply *reply, Reads reads = Reads::All);
    ~ReplyRecorder() override;

    /// Until the end.
    bool wait() const;
    bool hasEnded() const;
    /// How often data was told of.
    int dataCount() const { return m_dataCount; }

    /// Of an answer with a body that comes whole.
    static QStringList wholeAnswer();
    /// How an error ends everything.
    static QStringList failureWith(QNetworkReply::NetworkError code);

    QStringList events;
    QByteArray body;

private:
    void note(const QString &event) { events.append(event); }

    int m_dataCount = 0;
};
