// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/records/abstracterror.h>

#include <string>

class QNetworkReply;

/// What became of a reply, as a record of category "QtNetworkError" whose codes are QNetworkReply::NetworkError.
/// The empty record, without a source, when the reply has no error, whatever its HTTP status.
/// @param location becomes the record's source
AbstractError errorFrom(QNetworkReply *reply, const std::string &location);
