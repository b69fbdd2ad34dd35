// SPDX-License-Identifier: MIT
#include <tests/honesty/meeting.h>

QList<Meeting> Meeting::allOf(const QList<Exhibit> &exhibits)
{
    QList<Meeting> meetings;
    for (const Exhibit &exhibit : exhibits) {
        for (const Exhibit::Visit visit : exhibit.visits) {
            meetings.append({exhibit, visit});
        }
    }
    return meetings;
}

QString Meeting::inWords() const
{
    return QString::fromUtf8(exhibit.name + ", " + Exhibit::inWords(visit));
}
