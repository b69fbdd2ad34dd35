// SPDX-License-Identifier: MIT
#pragma once

#include <host/engine/downloadrequest.h>
#include <host/engine/queueoptions.h>
#include <host/engine/sessionoptions.h>

#include <QString>

class OptionValues;

/// What people chose, as the engine takes it. Values are checked before, when they are read; see OptionValue. Pure.
namespace ChosenOptions
{

/// All but the address. @param folder that relative paths are relative to; absolute
/// @param problem a sentence where the name to save under is none; else as it was
DownloadRequest request(const OptionValues &values, const QString &folder, Clause *problem);
/// For downloads of the list.
OptionChanges changes(const OptionValues &values);
/// For all downloads. @param folder as above
SessionOptions session(const OptionValues &values, const QString &folder);
QueueOptions queue(const OptionValues &values);

/// An absolute path; empty for an empty one.
QString absolute(const QString &path, const QString &folder);

}
