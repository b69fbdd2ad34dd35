// SPDX-License-Identifier: MIT
#pragma once

#include <host/engine/engine.h>

#include <QEventLoop>

#include <functional>

/// Waits for what an engine answers, for commands that have nothing else to do meanwhile.
/// @param call gives the command, with this callback
inline EngineAnswer answerOf(const std::function<void(const Engine::Callback &)> &call)
{
    QEventLoop loop;
    EngineAnswer answer;
    call([&](const EngineAnswer &given) {
        answer = given;
        loop.quit();
    });
    loop.exec();
    return answer;
}
