// SPDX-License-Identifier: MIT
#pragma once

#include <host/policy/failure.h>
#include <host/policy/secretheader.h>

#include <QDateTime>
#include <QList>
#include <QtGlobal>

class QJsonObject;

/// What a person should know of a download, and that does not end it. A value.
struct Warning {
    enum class Kind {
        Failure, ///< failure: something did not work, or not as expected
        Retrying, ///< failure: what happened, subject.url: at which address; next, attempt, inMs
        HeadersMissing, ///< headers: that it was begun with, and that nobody knows now
        OutOfHours, ///< of no download: until when all wait, and inMs
    };

    /// What comes by itself.
    enum class Next {
        Again, ///< the same once more
        OtherAddress,
        FromTheBeginning,
    };

    Kind kind = Kind::Failure;
    ::Failure failure = {};
    Next next = Next::Again;
    int attempt = 0; ///< which one of those comes that are counted together, from 2; 0 = it is not counted
    qint64 inMs = 0; ///< until then
    QList<SecretHeader> headers = {}; ///< without their values
    QDateTime until = {};

    QJsonObject toJson() const;
    static Warning fromJson(const QJsonObject &json);

    friend bool operator==(const Warning &, const Warning &) = default;
};
