// SPDX-License-Identifier: MIT
#pragma once

#include <QTextStream>

/// A server that gives every connection so much and no more: what many connections are for. Prints, for each program,
/// the time as a multiple of the ideal. False when something could not be measured.
bool runThrottled(QTextStream &out);
