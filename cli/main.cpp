// SPDX-License-Identifier: MIT
#include <cli/program.h>
#include <host/engine/localengine.h>

int main(int argc, char *argv[])
{
    return Program::run(argc, argv, [] { return std::make_unique<LocalEngine>(); });
}
