// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>

/// How fields are written. Pure.
namespace FieldNames
{

/// The usual spelling of a field that readers look for ("Last-Modified"), which compare it with regard to case; any
/// other as it came.
QByteArray usual(const QByteArray &name);

/// The value of a field as readers know it: a Last-Modified in one of the older forms of dates in today's; any other as
/// it came. @param name in its usual spelling
QByteArray usualValue(const QByteArray &name, const QByteArray &value);

}
