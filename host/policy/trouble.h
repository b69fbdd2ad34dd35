// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/records/abstractdownloadpersistentinfo.h>
#include <inet/qt/download/records/abstracterror.h>

#include <QString>

#include <optional>

/// Failures that only a decision ends: what was downloaded is of no use for going on, but nobody throws it away
/// unasked. Pure.
namespace Trouble
{

enum class Kind : int {
    None = 0,
    Changed = 1, ///< the server has another file by now
    Unresumable = 2, ///< the server does not send the rest of a file alone
};

/// What is to be done; kept in the list by these numbers.
enum class Policy : int {
    Fail = 0, ///< end with an error, keep the bytes
    Restart = 1, ///< fetch all of it again
    Ask = 2, ///< a person decides; where there is none, as Fail
};

/// @param error that a run ended with @param info the record that it left
Kind kindOf(const AbstractError &error, const AbstractDownloadPersistentInfo &info);

/// "fail", "restart" or "ask".
std::optional<Policy> policyFromText(const QString &text);

}
