// SPDX-License-Identifier: MIT
#pragma once

#include <host/engine/queueoptions.h>
#include <host/engine/sessionoptions.h>

#include <QString>

/// What an engine is opened with. Its secrets stay in it, and in memory.
struct EngineOptions {
    SessionOptions session;
    QueueOptions queue;

    /// The list's file, the usual one where none was chosen. Empty = it is kept in none: none is wanted, or there is no
    /// home folder for it.
    QString listPath() const;
};
