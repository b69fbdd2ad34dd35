// SPDX-License-Identifier: MIT
#pragma once

#include <tests/support/hostileanswer.h>

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QString>

/// Says whether a file is one that a correct reader could have made of the answers that were given: one state of the
/// resource, or a mixture of which no answer that was used gave any sign.
class HostileJudge
{
public:
    enum class Verdict {
        Right, ///< one of the versions, byte for byte
        Excusable, ///< nothing that was said tells the answers of which it is made apart
        Wrong,
    };

    HostileJudge(const HostileResource &resource, const QList<HostileReading> &readings);

    Verdict judge(const QByteArray &file);
    /// Whether it is made of one answer whose end was told, or of ranges under one strong validator.
    bool isProven(const QByteArray &file);
    /// Whether all that was answered proves every file that can be made of it: one answer, or one strong validator.
    bool isBeyondDoubt() const;
    /// Whether each of these bytes was sent for its place, by whatever answer.
    bool wereSent(const QByteArray &bytes, qint64 offset);
    /// Which versions' bytes lie where, for people.
    QString composition(const QByteArray &file);

    /// Whether one of the two says something of the file that the other denies.
    static bool contradict(const HostileReading &one, const HostileReading &other);

private:
    /// An answer that fits a file from its place on.
    struct Match {
        HostileReading reading;
        qint64 to = 0; ///< place in the file behind the last byte that fits
    };

    QByteArray bytesOf(const HostileReading &reading);
    qint64 matching(const HostileReading &reading, const QByteArray &bytes, qint64 offset);
    QList<Match> matchesOf(const QByteArray &file);
    static bool isMadeOf(const QList<Match> &matches, qint64 size);
    static bool isMadeOfPeaceful(const QList<Match> &matches, qint64 size);

    const HostileResource m_resource;
    const QList<HostileReading> m_readings;
    QHash<quint64, QByteArray> m_contents;
};
