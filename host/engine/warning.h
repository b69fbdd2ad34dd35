// SPDX-License-Identifier: MIT
#pragma once

#include <host/policy/failure.h>
#include <host/policy/secretheader.h>

#include <QList>
#include <QString>

class QJsonObject;

/// What a person should know of a download, and that does not end it. A value.
struct Warning {
    enum class Kind {
        Failure, ///< failure: something did not work, or not as expected
        Retrying, ///< text: which address, what happened and what comes next; inMs
        HeadersMissing, ///< headers: that it was begun with, and that nobody knows now
    };

    Kind kind = Kind::Failure;
    ::Failure failure = {};
    QString text = {};
    qint64 inMs = 0; ///< until the next attempt
    QList<SecretHeader> headers = {}; ///< without their values

    QJsonObject toJson() const;
    static Warning fromJson(const QJsonObject &json);

    friend bool operator==(const Warning &, const Warning &) = default;
};
