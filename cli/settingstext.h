// SPDX-License-Identifier: MIT
#pragma once

#include <host/options/optionvalues.h>

#include <QString>

/// The settings that hold, as people and settings files have them. Pure.
namespace SettingsText
{

/// Every setting of these that a file may hold, in their order: a remark that says where its value comes from and its
/// default, then the value. One that nobody gave is a remark with its default; what may not be shown is one, too.
QString of(const OptionValues &values, const QList<const OptionRow *> &options);

}
