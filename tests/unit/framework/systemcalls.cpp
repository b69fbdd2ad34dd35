// SPDX-License-Identifier: MIT
#include <tests/unit/framework/systemcalls.h>

#include <cerrno>

#include <dlfcn.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/statvfs.h>
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

}

FOR_THE_LIBRARY int fallocate(int file, int mode, off_t offset, off_t size)
{
    if (SystemCalls::fallocateError != 0)
        return refuse(SystemCalls::fallocateError);
    return next<int(int, int, off_t, off_t)>("fallocate")(file, mode, offset, size);
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

FOR_THE_LIBRARY int fstatvfs(int file, struct statvfs *disk) noexcept
{
    const int result = next<int(int, struct statvfs *)>("fstatvfs")(file, disk);
    if (SystemCalls::freeBlocks >= 0)
        disk->f_bavail = fsblkcnt_t(SystemCalls::freeBlocks);
    return result;
}

FOR_THE_LIBRARY int renameat2(int oldFolder, const char *oldName, int newFolder, const char *newName,
                              unsigned int flags) noexcept
{
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
