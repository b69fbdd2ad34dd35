// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>

class Engine;

/// The program from its first argument to its exit status, over whatever engine it is given.
namespace Program
{

/// Makes an engine that is not open yet. Called at most once, with an application there.
using EngineFactory = std::function<std::unique_ptr<Engine>()>;

/// What main() returns.
int run(int argc, char *argv[], const EngineFactory &makeEngine);

}
