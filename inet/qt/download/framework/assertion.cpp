// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/assertion.h>

#include <inet/qt/download/framework/qtappdefaultlogger.h>
#include <inet/qt/download/framework/qtapploggertextstream.h>
#include <inet/qt/download/records/abstracterror.h>

namespace
{

constexpr int kLogLevel = 1;

#ifdef PLAIT_FATAL_ASSERTIONS
constexpr bool kIsFatalByDefault = true;
#else
constexpr bool kIsFatalByDefault = false;
#endif

bool isFatal()
{
    bool isSaid = false;
    const int said = qEnvironmentVariableIntValue(Assertion::kFatalVariable, &isSaid);
    return isSaid ? said != 0 : kIsFatalByDefault;
}

QString lineOf(const char *expression, const std::source_location &place)
{
    return QStringLiteral("ASSERTION FAILED: ") + QString::fromUtf8(expression) + QStringLiteral(", ")
        + QString::fromStdString(errorSource(place.file_name(), place.line()));
}

}

void Assertion::report(const char *expression, std::source_location place)
{
    QtAppLoggerTextStream(QtAppDefaultLogger::instance(), kLogLevel, true) << lineOf(expression, place);
}

void Assertion::fail(const char *expression, std::source_location place)
{
    report(expression, place);
    if (isFatal())
        qFatal("%s", qPrintable(lineOf(expression, place)));
}
