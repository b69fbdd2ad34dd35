// SPDX-License-Identifier: MIT
#include <tests/unit/framework/systemcalls.h>

#include <cerrno>
#include <cstdarg>
#include <utility>

#include <dlfcn.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/vfs.h>
#include <unistd.h>

#define FOR_THE_LIBRARY extern "C" __attribute__((visibility("default")))

namespace
{

template<typename Function>
Function *next(const char *name)
{
    return reinterpret_cast<Function *>(::dlsym(RTLD_NEXT, name));
}

int refuse(int error)
{
    errno = error;
    return -1;
}

/// The test's own output may go to a file, too.
bool isPlainFile(int file)
{
    struct stat status = {};
    return file > STDERR_FILENO && ::fstat(file, &status) == 0 && S_ISREG(status.st_mode);
}

}

namespace
{

void call(std::function<void()> &hook)
{
    if (const std::function<void()> once = std::exchange(hook, nullptr))
        once();
}

}

FOR_THE_LIBRARY int openat(int folder, const char *name, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    if ((flags & O_CREAT) != 0)
        call(SystemCalls::atCreating);
    return next<int(int, const char *, int, ...)>("openat")(folder, name, flags, mode);
}

FOR_THE_LIBRARY int fallocate(int file, int mode, off_t offset, off_t size)
{
    if (SystemCalls::fallocateError != 0)
        return refuse(SystemCalls::fallocateError);
    return next<int(int, int, off_t, off_t)>("fallocate")(file, mode, offset, size);
}

FOR_THE_LIBRARY ssize_t write(int file, const void *bytes, size_t count)
{
    constexpr size_t large = 65536;
    if (SystemCalls::writeError != 0 && isPlainFile(file))
        return refuse(SystemCalls::writeError);
    if (count >= large)
        SystemCalls::largeWriteFrom = bytes;
    return next<ssize_t(int, const void *, size_t)>("write")(file, bytes, count);
}

FOR_THE_LIBRARY int fdatasync(int file)
{
    ++SystemCalls::fdatasyncCount;
    if (SystemCalls::fdatasyncError != 0)
        return refuse(SystemCalls::fdatasyncError);
    return next<int(int)>("fdatasync")(file);
}

FOR_THE_LIBRARY int fsync(int file)
{
    ++SystemCalls::fsyncCount;
    if (SystemCalls::fsyncError != 0)
        return refuse(SystemCalls::fsyncError);
    return next<int(int)>("fsync")(file);
}

FOR_THE_LIBRARY int sync_file_range(int file, off64_t offset, off64_t size, unsigned int flags)
{
    {
        const std::lock_guard lock(SystemCalls::writebacksMutex);
        SystemCalls::writebacks.emplace_back(offset, size);
    }
    if (SystemCalls::syncFileRangeError != 0)
        return refuse(SystemCalls::syncFileRangeError);
    return next<int(int, off64_t, off64_t, unsigned int)>("sync_file_range")(file, offset, size, flags);
}

FOR_THE_LIBRARY int fstatvfs(int file, struct statvfs *disk) noexcept
{
    const int result = next<int(int, struct statvfs *)>("fstatvfs")(file, disk);
    if (SystemCalls::freeBlocks >= 0)
        disk->f_bavail = fsblkcnt_t(SystemCalls::freeBlocks);
    return result;
}

FOR_THE_LIBRARY int fstatfs(int file, struct statfs *disk) noexcept
{
    const int result = next<int(int, struct statfs *)>("fstatfs")(file, disk);
    if (SystemCalls::filesAreAlike)
        disk->f_type = MSDOS_SUPER_MAGIC;
    return result;
}

FOR_THE_LIBRARY int statx(int folder, const char *name, int flags, unsigned int mask, struct statx *status) noexcept
{
    using Function = int(int, const char *, int, unsigned int, struct statx *);
    const int result = next<Function>("statx")(folder, name, flags, mask, status);
    if (SystemCalls::filesAreAlike)
        status->stx_mask &= ~STATX_BTIME;
    return result;
}

FOR_THE_LIBRARY int renameat2(int oldFolder, const char *oldName, int newFolder, const char *newName,
                              unsigned int flags) noexcept
{
    call(SystemCalls::atRenaming);
    if (SystemCalls::renameat2Error != 0)
        return refuse(SystemCalls::renameat2Error);
    using Function = int(int, const char *, int, const char *, unsigned int);
    return next<Function>("renameat2")(oldFolder, oldName, newFolder, newName, flags);
}

FOR_THE_LIBRARY int linkat(int oldFolder, const char *oldName, int newFolder, const char *newName, int flags) noexcept
{
    if (SystemCalls::linkatError != 0)
        return refuse(SystemCalls::linkatError);
    using Function = int(int, const char *, int, const char *, int);
    return next<Function>("linkat")(oldFolder, oldName, newFolder, newName, flags);
}
