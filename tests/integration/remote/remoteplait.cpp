// SPDX-License-Identifier: MIT
#include <cli/program.h>
#include <tests/integration/remote/remoteengine.h>

#include <QCoreApplication>

using namespace Qt::StringLiterals;

/// The command line over an engine in another process. It is another program in this one thing alone.
int main(int argc, char *argv[])
{
    return Program::run(argc, argv, [] {
        return std::make_unique<RemoteEngine>(QCoreApplication::applicationDirPath() + "/engineserver"_L1);
    });
}
