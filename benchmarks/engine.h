// SPDX-License-Identifier: MIT
#pragma once

#include <QTextStream>

/// A list of 100,000 downloads: how long a page takes from the call to the answer, by order and filter, and what 1,000
/// changes a second cost a transfer that runs beside them. False when something failed.
bool runEngine(QTextStream &out);
