// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>

/// How names of fields are written. Pure.
namespace FieldNames
{

/// The usual spelling of a field that readers look for ("Last-Modified"), which compare it with regard to case; any
/// other as it came.
QByteArray usual(const QByteArray &name);

}
