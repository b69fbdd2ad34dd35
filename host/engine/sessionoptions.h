// SPDX-License-Identifier: MIT
#pragma once

#include <host/network/networkoptions.h>
#include <inet/qt/download/records/networkusagesettings.h>

#include <QString>
#include <QStringList>

/// What a session is opened with.
struct SessionOptions {
    QString listPath; ///< empty = the usual one
    bool isListKept = true; ///< false = in memory only
    bool isListNeeded = false; ///< for what is in it: a list that is there and cannot be written is a failure
    QStringList moduleFolders; ///< empty = ModuleLoader::defaultFolders()
    bool ignoreSslErrors = false;
    bool takesServersTime = true; ///< finished files are as old as their server says
    QString caCertificatesFile; ///< PEM, trusted besides the system's; empty = none
    NetworkOptions network;
    NetworkUsageSettings usage; ///< of every single download that has no settings of its own
    NetworkUsageSettings allTogether; ///< of all downloads; its speed limit is the queue's to share out
};
