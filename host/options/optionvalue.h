// SPDX-License-Identifier: MIT
#pragma once

#include <host/options/optionrow.h>
#include <host/parsing/clause.h>

#include <QJsonValue>
#include <QString>
#include <QVariant>

#include <optional>

/// One value of an option, as people write it, as programs send it, and as it is worked with: a bool for a flag, a
/// qint64 for numbers, rates (bytes a second) and times (milliseconds), else a QString. Pure, but for a file that has
/// to be there.
namespace OptionValue
{

/// Nothing, with a problem, where the text is no value of that option. Secrets are not in the problem.
/// @param subject how the option is called there: "--tries"
std::optional<QVariant> fromText(const OptionRow &row, const QString &text, const QString &subject, Clause *problem);
/// As fromText() takes it.
QString toText(const OptionRow &row, const QVariant &value);

/// A bool, a number (of bytes a second; of seconds), or text; what fromText() takes is taken as well.
std::optional<QVariant> fromJson(const OptionRow &row, const QJsonValue &json, Clause *problem);
QJsonValue toJson(const OptionRow &row, const QVariant &value);

/// What holds where nothing is said: false, 0 or empty where the row has no default.
QVariant fallback(const OptionRow &row);

/// Why the text is no address that can be asked; empty = it is one.
Clause urlProblem(const QString &text);

}
