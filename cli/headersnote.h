// SPDX-License-Identifier: MIT
#pragma once

#include <host/policy/secretheader.h>

#include <QList>
#include <QString>

/// What people are told of headers that a download was begun with and that are not kept. Pure.
namespace HeadersNote
{

/// Which to give again; empty where none is missing.
QString missing(qint64 id, const QList<SecretHeader> &headers);

}
