// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QString>
#include <QtGlobal>

class QJsonObject;

/// What a download cannot go on without, asked of whoever is there. A value; the words are the front end's.
struct Question {
    enum class Kind {
        FileExists, ///< a file of that name is in the way
        ResourceChanged, ///< the server has another file than the one of which there is a part
        CannotResume, ///< the server does not send the rest alone
    };

    enum class Choice {
        No, ///< nothing is changed, and the download ends with its error
        FromTheBeginning,
        Rename,
        Overwrite,
        Skip, ///< the file that is there is as good as the download
    };

    qint64 id = 0; ///< of the question; never given twice by one engine
    qint64 downloadId = 0;
    Kind kind = Kind::FileExists;
    QString title; ///< of the download, for people
    QString path; ///< of the file in the way; empty = there is none
    QList<Choice> choices = {}; ///< the first is what changes least

    QJsonObject toJson() const;
    static Question fromJson(const QJsonObject &json);

    friend bool operator==(const Question &, const Question &) = default;
};
