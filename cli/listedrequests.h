// SPDX-License-Identifier: MIT
#pragma once

#include <cli/addresslist.h>
#include <host/engine/downloadrequest.h>
#include <host/options/optionvalues.h>

#include <QList>
#include <QString>
#include <QStringList>

/// What a list of addresses asks for. What is wrong with one of them keeps none of the others from being asked for.
struct ListedRequests {
    QList<DownloadRequest> requests; ///< in order
    QStringList complaints; ///< a sentence each, with file and line; what it is about is not among the requests

    /// What does not stand in the list.
    struct Common {
        QString fileName; ///< of the list, for the complaints
        OptionValues values; ///< what holds where an address has nothing of its own
        QString folder; ///< that relative paths are relative to; absolute
    };

    static ListedRequests of(const AddressList &list, const Common &common);
};
