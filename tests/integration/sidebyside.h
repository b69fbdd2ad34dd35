// SPDX-License-Identifier: MIT
#pragma once

#include <functional>

/// Work in so many threads at once, which mostly waits. Each asks for a next piece until it is told that there is none.
/// @param workOne is called in any of them, several at a time; false: there is nothing left
void runSideBySide(int threads, const std::function<bool()> &workOne);
