// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/assertion.h>

#include <QByteArray>

namespace
{
/// Before main(). What somebody has set already stays.
[[maybe_unused]] const bool kIsSet =
    qEnvironmentVariableIsSet(Assertion::kFatalVariable) || qputenv(Assertion::kFatalVariable, QByteArrayLiteral("1"));
}
