// SPDX-License-Identifier: MIT
#pragma once

#include <cli/terminallook.h>
#include <host/engine/downloadstatus.h>

#include <QList>
#include <QString>

/// A file as a row of cells, each of which stands for the same share of its bytes. Pure.
namespace ProgressStrip
{

enum class Cell {
    Empty, ///< nothing of it is there
    Partly,
    Filled,
    Fetching, ///< bytes arrive in it now, whatever else is there
};

/// Empty when the size is unknown: there is nothing to take shares of.
QList<Cell> cells(const DownloadStatus &status, int count);
/// One character for each cell, between brackets.
QString text(const QList<Cell> &cells, TerminalLook look);

}
