// SPDX-License-Identifier: MIT
#pragma once

#include <host/engine/queueoptions.h>
#include <host/engine/sessionoptions.h>

/// What an engine is opened with. Its secrets stay in it, and in memory.
struct EngineOptions {
    SessionOptions session;
    QueueOptions queue;
};
