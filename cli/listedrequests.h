// SPDX-License-Identifier: MIT
#pragma once

#include <cli/addresslist.h>
#include <host/engine/downloadrequest.h>

#include <QList>
#include <QString>
#include <QStringList>

class OptionValues;

/// What a list of addresses asks for. What is wrong with one of them keeps none of the others from being asked for.
struct ListedRequests {
    QList<DownloadRequest> requests; ///< in order
    QStringList complaints; ///< a sentence each, with file and line; what it is about is not among the requests

    /// @param fileName of the list, for the complaints
    /// @param common what holds where an address has nothing of its own
    /// @param folder that relative paths are relative to; absolute
    static ListedRequests of(const AddressList &list, const QString &fileName, const OptionValues &common,
                             const QString &folder);
};
