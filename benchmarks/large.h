// SPDX-License-Identifier: MIT
#pragma once

#include <QTextStream>

/// One file of 1 GiB over http and https, over one connection and over eight, beside curl, aria2c and axel where they
/// are installed: medians of five rounds in a shuffled order. PLAIT_BENCH_MIB=N: another size. False when a run failed
/// or took more memory than it may.
bool runLarge(QTextStream &out);
