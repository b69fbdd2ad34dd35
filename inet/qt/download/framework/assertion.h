// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/records/exportmacro.h>

#include <source_location>

/// What the code relies on. A failure is a mistake in the program, never in what came from outside. It is logged and
/// the program goes on, for a host must not end with a module that errs; in tests and under sanitizers it does end.
/// Safe from any thread.
namespace Assertion
{

/// In the environment: other than 0 = a failure ends the program. Builds with sanitizers take it for 1 where it is not
/// set.
inline constexpr char kFatalVariable[] = "PLAIT_FATAL_ASSERTIONS";

/// Logs a failure, at level 1, and no more: for what strangers may cause after all.
DOWNLOADFRAMEWORK_EXPORT void report(const char *expression,
                                     std::source_location place = std::source_location::current());
/// Logs a failure, and ends the program where failures are fatal.
DOWNLOADFRAMEWORK_EXPORT void fail(const char *expression,
                                   std::source_location place = std::source_location::current());

}

/// Evaluates the condition in every build.
#define DOWNLOAD_ASSERT(condition) ((condition) ? void() : Assertion::fail(#condition))
