// SPDX-License-Identifier: MIT
#pragma once

#include <QJsonObject>
#include <QString>

/// What --json prints. Pure.
namespace JsonLine
{

/// The object on one line, with the line's end: without logins, and safe to be shown on a terminal.
QString of(const QJsonObject &object);

}
