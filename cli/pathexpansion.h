// SPDX-License-Identifier: MIT
#pragma once

#include <QProcessEnvironment>
#include <QString>

#include <optional>

/// Paths as people write them where no shell reads them first: "~/x" and "~" are in the home folder, "$NAME" and
/// "${NAME}" are variables of the environment, "$$" is a dollar sign. Pure.
namespace PathExpansion
{

/// Nothing, with a sentence, where a variable is not set, or something stands there that means nothing.
std::optional<QString> expanded(const QString &path, const QProcessEnvironment &environment, QString *problem);
/// Of what a shell has read, where "~" in quotes or behind a "=" is still there: "~" and "~/x" alone stand for
/// something. Nothing, with a sentence, where there is no home folder.
std::optional<QString> inHome(const QString &path, const QProcessEnvironment &environment, QString *problem);
/// The path written so that expanded() gives it back.
QString literal(const QString &path);

}
