// SPDX-License-Identifier: MIT
#include <tests/honesty/exhibit.h>

#include <algorithm>

Asked Asked::of(const ScriptedRequest &request)
{
    Asked asked;
    asked.path = request.path();
    const QByteArray range = request.header("Range");
    if (range.startsWith("bytes=")) {
        const QList<QByteArray> ends = range.mid(6).split('-');
        asked.isRange = true;
        asked.first = ends.first().toLongLong();
        asked.last = ends.last().isEmpty() ? asked.last : std::min(ends.last().toLongLong(), asked.last);
    }
    return asked;
}

bool Exhibit::isRight(const QByteArray &content) const
{
    return std::any_of(versions.begin(), versions.end(),
                       [&](const FileVersion &version) { return version.isWholly(content); });
}

QByteArray Exhibit::inWords(Visit visit)
{
    switch (visit) {
    case Visit::AtOnce:
        return "at once";
    case Visit::AfterACut:
        return "after a cut";
    case Visit::TakenUpAgain:
        break;
    }
    return "taken up again";
}

QList<Exhibit> Exhibit::all()
{
    return ofRanges() + ofVersions() + ofPages() + ofLengths();
}
