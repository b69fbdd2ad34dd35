// SPDX-License-Identifier: MIT
#pragma once

#include <host/parsing/clause.h>

#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <optional>

/// What may be told to whom of the headers that people give with a request. Pure.
///
/// Any header may let whoever reads it pass for the person who gave it: which ones do is up to each server. So a header
/// belongs to the server that it was given for, but for a few names that are known to say nothing of that kind.
namespace HarmlessHeaders
{

/// In lower case.
QStringList names();

/// Whether strangers, the list and the log may have its value. Case does not count.
bool isHarmless(const QString &name);

/// Takes all others out of @p headers (name to text) and gives them back.
QVariantMap takeOthersFrom(QVariantMap *headers);

/// Why a header of that name is not for people to give, as a clause about a value of an option;
/// nothing = it is. @param everywhere it would go to every server that the download leads to
std::optional<Clause::Kind> refusal(const QString &name, bool everywhere = false);

}
