// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <utility>
#include <vector>

/// Calls of the system that a test program answers in the system's place: 0 = the system does it itself.
/// The program's own definitions are found before the C library's.
namespace SystemCalls
{

inline std::atomic<int> fallocateError = 0;
inline std::atomic<int> fdatasyncError = 0;
inline std::atomic<int> fdatasyncCount = 0;
inline std::atomic<int> renameat2Error = 0;
inline std::atomic<int> linkatError = 0;
inline std::atomic<int> fsyncError = 0;
inline std::atomic<int> fsyncCount = 0;
/// Of plain files.
inline std::atomic<int> writeError = 0;
/// As on a disk whose file system neither says when a file was made nor keeps its number.
inline std::atomic<bool> filesAreAlike = false;
/// Called once, between the decision to make or to rename a file and the system's doing so. In one thread.
inline std::function<void()> atCreating;
inline std::function<void()> atRenaming;
/// Negative = as it is.
inline std::atomic<long long> freeBlocks = -1;

inline std::atomic<int> syncFileRangeError = 0;
/// Offset and length of every range whose writing was begun. Of all threads: for the test to read when they are done.
inline std::vector<std::pair<long long, long long>> writebacks;
inline std::mutex writebacksMutex;
/// Where the newest write of 64 KiB and more took its bytes from.
inline std::atomic<const void *> largeWriteFrom = nullptr;

inline void reset()
{
    for (std::atomic<int> *value : {&fallocateError, &fdatasyncError, &fdatasyncCount, &renameat2Error, &linkatError,
                                    &fsyncError, &fsyncCount, &writeError})
        *value = 0;
    freeBlocks = -1;
    filesAreAlike = false;
    atCreating = nullptr;
    atRenaming = nullptr;
    syncFileRangeError = 0;
    writebacks.clear();
    largeWriteFrom = nullptr;
}

}
