// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/qtappdefaultlogger.h>

QtAppLogger *QtAppDefaultLogger::instance()
{
    // Never destroyed: objects that end behind main() may still log.
    static QtAppLogger *const logger = new QtAppLogger;
    return logger;
}
