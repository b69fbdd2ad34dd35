// SPDX-License-Identifier: MIT
#include <cli/program.h>
#include <tests/integration/remote/remoteengine.h>

#include <QCoreApplication>

using namespace Qt::StringLiterals;

namespace
{

/// What ends by an assert of its own is no end of a program, whatever its front end makes of it.
class WatchedEngine : public RemoteEngine
{
public:
    using RemoteEngine::RemoteEngine;
    ~WatchedEngine() override
    {
        if (!hasEndedWell())
            qFatal("the engine's process did not end in order");
    }
};

}

/// The command line over an engine in another process. It is another program in this one thing alone.
int main(int argc, char *argv[])
{
    return Program::run(argc, argv, [] {
        return std::make_unique<WatchedEngine>(QCoreApplication::applicationDirPath() + "/engineserver"_L1);
    });
}
