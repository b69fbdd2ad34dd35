// SPDX-License-Identifier: MIT
#pragma once

#include <QTextStream>

/// A long list of small files: what is done for each download beside fetching it. Prints times and the most memory of
/// each program, and the times as a ratio. False when something could not be measured, a file was not right, or plait
/// took more memory than it may. PLAIT_BENCH_URLS is the number of files; 10,000 without it.
bool runMany(QTextStream &out);
