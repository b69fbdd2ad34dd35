// SPDX-License-Identifier: MIT
// A machine that loses its power, for one process: preloaded into it, this library writes down whatever the process
// does to files below one folder and takes back, at a given call, what no sync has made last. Then the process is gone.
//
// What the disk would have kept of it all the same is left to chance, for each file and each folder by itself: nothing,
// everything, or the first so many changes. A file's bytes last from its fsync or fdatasync on, names from the fsync of
// their folder on.
//
//     PLAIT_LOST_FOLDER   files below it count; an absolute path without links
//     PLAIT_LOST_AT       number of the call that does not happen any more, from 1; 0 = none
//     PLAIT_LOST_SEED     of what is left to chance
//     PLAIT_LOST_REPORT   file that gets the number of calls at the end; not below the folder
//
// Files are told by their inode number, so that nobody has to follow descriptors; each is kept open from its first
// opening on, which keeps its number from being given out again and closes no descriptor that a lock hangs on.
#undef _FORTIFY_SOURCE
#ifndef _GNU_SOURCE
#define _GNU_SOURCE
#endif

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <random>
#include <string>
#include <vector>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#define FOR_THE_PROCESS extern "C" __attribute__((visibility("default")))

namespace
{

/// What a machine's end looks like to whoever waits for the process.
constexpr int kStatus = 137;

template<typename Function>
Function *next(const char *name)
{
    return reinterpret_cast<Function *>(::dlsym(RTLD_NEXT, name));
}

#define REAL(function) next<decltype(::function)>(#function)

/// One change that can be taken back.
struct Change {
    enum Kind { Content, Creation, Renaming, Removal };

    Kind kind = Content;
    ino_t key = 0; ///< the file for content, the folder for names
    unsigned long sequence = 0;
    off_t offset = 0;
    off_t oldLength = 0;
    std::string oldBytes;
    std::string from; ///< path as it was
    std::string to; ///< path as it is
    std::string held; ///< where what was replaced or removed is kept; empty = nothing was
};

struct Disk {
    std::recursive_mutex mutex;
    const std::string folder;
    const std::string holdFolder;
    const long dieAt;
    long calls = 0;
    unsigned long sequence = 0;
    unsigned long heldCount = 0;
    std::map<ino_t, int> files; ///< number to a descriptor of our own
    std::vector<Change> changes;

    Disk();
    static Disk &instance();

    bool covers(const std::string &path) const
    {
        return !folder.empty() && path.compare(0, folder.size(), folder) == 0;
    }
    void step();
    void note(Change change);
    void forget(ino_t key, unsigned long upTo);
    std::string hold(const std::string &path);
    [[noreturn]] void die();
    void takeBack(const Change &change) const;
    void report() const;
};

std::string environmentText(const char *name)
{
    const char *const value = std::getenv(name);
    return value ? value : "";
}

Disk::Disk()
    : folder(environmentText("PLAIT_LOST_FOLDER").empty() ? "" : environmentText("PLAIT_LOST_FOLDER") + "/")
    , holdFolder(folder + ".held/")
    , dieAt(std::atol(environmentText("PLAIT_LOST_AT").c_str()))
{
    if (!folder.empty())
        ::mkdir(holdFolder.c_str(), 0700);
}

/// Never destroyed: others still write while the process ends.
Disk &Disk::instance()
{
    static Disk *const disk = new Disk;
    return *disk;
}

void Disk::step()
{
    if (++calls == dieAt)
        die();
}

void Disk::note(Change change)
{
    change.sequence = ++sequence;
    changes.push_back(std::move(change));
}

void Disk::forget(ino_t key, unsigned long upTo)
{
    const auto lasts = [=](const Change &change) { return change.key == key && change.sequence <= upTo; };
    changes.erase(std::remove_if(changes.begin(), changes.end(), lasts), changes.end());
}

/// A second name for what is about to lose its only one.
std::string Disk::hold(const std::string &path)
{
    const std::string held = holdFolder + std::to_string(++heldCount);
    return REAL(link)(path.c_str(), held.c_str()) == 0 ? held : std::string();
}

void Disk::die()
{
    std::mt19937 chance(unsigned(std::atol(environmentText("PLAIT_LOST_SEED").c_str())));
    std::map<ino_t, std::size_t> counts;
    for (const Change &change : changes)
        ++counts[change.key];
    std::map<ino_t, std::size_t> kept;
    for (const auto &[key, count] : counts) {
        const std::size_t choices[] = {0, 0, count, chance() % (count + 1)};
        kept[key] = choices[chance() % 4];
    }
    for (auto it = changes.rbegin(); it != changes.rend(); ++it) {
        if (counts[it->key]-- > kept[it->key])
            takeBack(*it);
    }
    report();
    ::_exit(kStatus);
}

void Disk::takeBack(const Change &change) const
{
    switch (change.kind) {
    case Change::Content: {
        const int file = files.at(change.key);
        bool done = REAL(ftruncate64)(file, change.oldLength) == 0;
        done = done && REAL(pwrite64)(file, change.oldBytes.data(), change.oldBytes.size(), change.offset) >= 0;
        if (!done)
            ::abort();
        break;
    }
    case Change::Creation:
        REAL(unlink)(change.to.c_str());
        break;
    case Change::Renaming:
        REAL(rename)(change.to.c_str(), change.from.c_str());
        [[fallthrough]];
    case Change::Removal:
        if (!change.held.empty())
            REAL(rename)(change.held.c_str(), change.to.c_str());
        break;
    }
}

void Disk::report() const
{
    const std::string path = environmentText("PLAIT_LOST_REPORT");
    if (path.empty())
        return;
    const int file = REAL(open64)(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    const std::string text = std::to_string(calls);
    if (file < 0 || REAL(write)(file, text.data(), text.size()) < 0)
        ::abort();
}

__attribute__((destructor)) void reportAtTheEnd()
{
    Disk &disk = Disk::instance();
    const std::lock_guard lock(disk.mutex);
    disk.report();
}

std::string pathOfDescriptor(int descriptor)
{
    char text[4096];
    const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
    const ssize_t length = ::readlink(link.c_str(), text, sizeof text);
    return length > 0 ? std::string(text, std::size_t(length)) : std::string();
}

/// Absolute, as far as the folder goes; the last component may be a link or nothing.
std::string pathOf(int folder, const char *path)
{
    if (path[0] == '/')
        return path;
    if (folder != AT_FDCWD)
        return pathOfDescriptor(folder) + '/' + path;
    char text[4096];
    return (::getcwd(text, sizeof text) ? std::string(text) : std::string()) + '/' + path;
}

ino_t folderOf(const std::string &path)
{
    struct stat status;
    return ::stat(path.substr(0, path.rfind('/')).c_str(), &status) == 0 ? status.st_ino : 0;
}

bool exists(const std::string &path)
{
    struct stat status;
    return ::lstat(path.c_str(), &status) == 0;
}

/// The number of a regular file that counts; 0 = it does not.
ino_t trackedFile(Disk &disk, int descriptor, struct stat &status)
{
    if (disk.folder.empty() || ::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode))
        return 0;
    return disk.files.count(status.st_ino) != 0 ? status.st_ino : 0;
}

std::string bytesOf(int file, off_t begin, off_t end)
{
    std::string bytes(std::size_t(std::max<off_t>(end - begin, 0)), '\0');
    const ssize_t count = ::pread64(file, bytes.data(), bytes.size(), begin);
    bytes.resize(count > 0 ? std::size_t(count) : 0);
    return bytes;
}

/// To be called before the bytes between begin and end, or the length, change.
void noteContent(Disk &disk, ino_t key, const struct stat &status, off_t begin, off_t end)
{
    disk.step();
    Change change;
    change.key = key;
    change.offset = begin;
    change.oldLength = status.st_size;
    change.oldBytes = bytesOf(disk.files.at(key), begin, std::min(end, off_t(status.st_size)));
    disk.note(std::move(change));
}

off_t writePosition(int descriptor, const struct stat &status)
{
    const bool appends = (::fcntl(descriptor, F_GETFL) & O_APPEND) != 0;
    return appends ? status.st_size : ::lseek64(descriptor, 0, SEEK_CUR);
}

/// @param offset -1 = where the descriptor stands @param work does it
template<typename Work>
ssize_t writing(int descriptor, std::size_t size, off_t offset, Work work)
{
    Disk &disk = Disk::instance();
    const std::lock_guard lock(disk.mutex);
    struct stat status;
    if (const ino_t key = trackedFile(disk, descriptor, status)) {
        const off_t begin = offset >= 0 ? offset : writePosition(descriptor, status);
        noteContent(disk, key, status, begin, begin + off_t(size));
    }
    return work();
}

int truncating(int descriptor, off_t length)
{
    Disk &disk = Disk::instance();
    const std::lock_guard lock(disk.mutex);
    struct stat status;
    if (const ino_t key = trackedFile(disk, descriptor, status))
        noteContent(disk, key, status, length, std::max(off_t(status.st_size), length));
    return REAL(ftruncate64)(descriptor, length);
}

template<typename Work>
int allocating(int descriptor, off_t offset, off_t size, Work work)
{
    Disk &disk = Disk::instance();
    const std::lock_guard lock(disk.mutex);
    struct stat status;
    // It changes no byte, only the length.
    if (const ino_t key = trackedFile(disk, descriptor, status))
        noteContent(disk, key, status, offset + size, offset + size);
    return work();
}

void track(Disk &disk, int descriptor)
{
    struct stat status;
    if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode) || disk.files.count(status.st_ino) != 0)
        return;
    const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
    const int own = REAL(open64)(link.c_str(), O_RDWR | O_CLOEXEC);
    if (own >= 0)
        disk.files[status.st_ino] = own;
}

int opening(int folder, const char *name, int flags, mode_t mode)
{
    Disk &disk = Disk::instance();
    const std::lock_guard lock(disk.mutex);
    const std::string path = pathOf(folder, name);
    const bool counts = disk.covers(path);
    const bool creates = counts && (flags & O_CREAT) != 0 && !exists(path);
    if (creates)
        disk.step();
    const int descriptor = REAL(openat64)(folder, name, counts ? flags & ~O_TRUNC : flags, mode);
    if (descriptor < 0 || !counts)
        return descriptor;
    if (creates) {
        Change change;
        change.kind = Change::Creation;
        change.key = folderOf(path);
        change.to = path;
        disk.note(std::move(change));
    }
    track(disk, descriptor);
    if ((flags & O_TRUNC) != 0)
        truncating(descriptor, 0);
    return descriptor;
}

mode_t modeOf(int flags, va_list arguments)
{
    return (flags & (O_CREAT | O_TMPFILE)) != 0 ? mode_t(va_arg(arguments, int)) : 0;
}

template<typename Work>
int syncing(int descriptor, Work work)
{
    Disk &disk = Disk::instance();
    std::unique_lock lock(disk.mutex);
    struct stat status;
    const bool isFolder = !disk.folder.empty() && ::fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode)
        && disk.covers(pathOfDescriptor(descriptor) + '/');
    const ino_t key = isFolder ? status.st_ino : trackedFile(disk, descriptor, status);
    if (key == 0) {
        lock.unlock();
        return work();
    }
    disk.step();
    // What others write from now on is not part of it.
    const unsigned long upTo = disk.sequence;
    lock.unlock();
    const int result = work();
    lock.lock();
    if (result == 0)
        disk.forget(key, upTo);
    return result;
}

template<typename Work>
int renaming(int oldFolder, const char *oldName, int newFolder, const char *newName, Work work)
{
    Disk &disk = Disk::instance();
    const std::lock_guard lock(disk.mutex);
    Change change;
    change.kind = Change::Renaming;
    change.from = pathOf(oldFolder, oldName);
    change.to = pathOf(newFolder, newName);
    if (!disk.covers(change.from) || !disk.covers(change.to))
        return work();
    disk.step();
    change.key = folderOf(change.to);
    if (exists(change.to))
        change.held = disk.hold(change.to);
    const int result = work();
    if (result == 0)
        disk.note(std::move(change));
    return result;
}

template<typename Work>
int removing(int folder, const char *name, Work work)
{
    Disk &disk = Disk::instance();
    const std::lock_guard lock(disk.mutex);
    Change change;
    change.kind = Change::Removal;
    change.to = pathOf(folder, name);
    if (!disk.covers(change.to) || !exists(change.to))
        return work();
    disk.step();
    change.key = folderOf(change.to);
    change.held = disk.hold(change.to);
    const int result = work();
    if (result == 0)
        disk.note(std::move(change));
    return result;
}

template<typename Work>
int linking(int newFolder, const char *newName, Work work)
{
    Disk &disk = Disk::instance();
    const std::lock_guard lock(disk.mutex);
    Change change;
    change.kind = Change::Creation;
    change.to = pathOf(newFolder, newName);
    if (!disk.covers(change.to))
        return work();
    disk.step();
    change.key = folderOf(change.to);
    const int result = work();
    if (result == 0)
        disk.note(std::move(change));
    return result;
}

}

FOR_THE_PROCESS int open(const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = modeOf(flags, arguments);
    va_end(arguments);
    return opening(AT_FDCWD, path, flags, mode);
}

FOR_THE_PROCESS int open64(const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = modeOf(flags, arguments);
    va_end(arguments);
    return opening(AT_FDCWD, path, flags, mode);
}

FOR_THE_PROCESS int openat(int folder, const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = modeOf(flags, arguments);
    va_end(arguments);
    return opening(folder, path, flags, mode);
}

FOR_THE_PROCESS int openat64(int folder, const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = modeOf(flags, arguments);
    va_end(arguments);
    return opening(folder, path, flags, mode);
}

FOR_THE_PROCESS int creat(const char *path, mode_t mode)
{
    return opening(AT_FDCWD, path, O_CREAT | O_WRONLY | O_TRUNC, mode);
}

FOR_THE_PROCESS int creat64(const char *path, mode_t mode)
{
    return opening(AT_FDCWD, path, O_CREAT | O_WRONLY | O_TRUNC, mode);
}

FOR_THE_PROCESS ssize_t write(int file, const void *bytes, size_t size)
{
    return writing(file, size, -1, [=] { return REAL(write)(file, bytes, size); });
}

FOR_THE_PROCESS ssize_t pwrite(int file, const void *bytes, size_t size, off_t offset)
{
    return writing(file, size, offset, [=] { return REAL(pwrite)(file, bytes, size, offset); });
}

FOR_THE_PROCESS ssize_t pwrite64(int file, const void *bytes, size_t size, off64_t offset)
{
    return writing(file, size, offset, [=] { return REAL(pwrite64)(file, bytes, size, offset); });
}

FOR_THE_PROCESS ssize_t writev(int file, const struct iovec *pieces, int count)
{
    std::size_t size = 0;
    for (int i = 0; i < count; ++i)
        size += pieces[i].iov_len;
    return writing(file, size, -1, [=] { return REAL(writev)(file, pieces, count); });
}

FOR_THE_PROCESS int ftruncate(int file, off_t length) noexcept
{
    return truncating(file, length);
}

FOR_THE_PROCESS int ftruncate64(int file, off64_t length) noexcept
{
    return truncating(file, length);
}

FOR_THE_PROCESS int truncate(const char *path, off_t length) noexcept
{
    const int file = opening(AT_FDCWD, path, O_WRONLY | O_CLOEXEC, 0);
    const int result = file < 0 ? -1 : truncating(file, length);
    if (file >= 0)
        ::close(file);
    return result;
}

FOR_THE_PROCESS int truncate64(const char *path, off64_t length) noexcept
{
    return truncate(path, length);
}

FOR_THE_PROCESS int fallocate(int file, int mode, off_t offset, off_t size)
{
    return allocating(file, offset, size, [=] { return REAL(fallocate)(file, mode, offset, size); });
}

FOR_THE_PROCESS int fallocate64(int file, int mode, off64_t offset, off64_t size)
{
    return allocating(file, offset, size, [=] { return REAL(fallocate64)(file, mode, offset, size); });
}

FOR_THE_PROCESS int posix_fallocate(int file, off_t offset, off_t size)
{
    return allocating(file, offset, size, [=] { return REAL(posix_fallocate)(file, offset, size); });
}

FOR_THE_PROCESS int posix_fallocate64(int file, off64_t offset, off64_t size)
{
    return allocating(file, offset, size, [=] { return REAL(posix_fallocate64)(file, offset, size); });
}

FOR_THE_PROCESS int fsync(int file)
{
    return syncing(file, [=] { return REAL(fsync)(file); });
}

FOR_THE_PROCESS int fdatasync(int file)
{
    return syncing(file, [=] { return REAL(fdatasync)(file); });
}

FOR_THE_PROCESS int rename(const char *from, const char *to) noexcept
{
    return renaming(AT_FDCWD, from, AT_FDCWD, to, [=] { return REAL(rename)(from, to); });
}

FOR_THE_PROCESS int renameat(int oldFolder, const char *from, int newFolder, const char *to) noexcept
{
    return renaming(oldFolder, from, newFolder, to, [=] { return REAL(renameat)(oldFolder, from, newFolder, to); });
}

FOR_THE_PROCESS int renameat2(int oldFolder, const char *from, int newFolder, const char *to, unsigned flags) noexcept
{
    return renaming(oldFolder, from, newFolder, to,
                    [=] { return REAL(renameat2)(oldFolder, from, newFolder, to, flags); });
}

FOR_THE_PROCESS int unlink(const char *path) noexcept
{
    return removing(AT_FDCWD, path, [=] { return REAL(unlink)(path); });
}

FOR_THE_PROCESS int unlinkat(int folder, const char *path, int flags) noexcept
{
    return removing(folder, path, [=] { return REAL(unlinkat)(folder, path, flags); });
}

FOR_THE_PROCESS int link(const char *from, const char *to) noexcept
{
    return linking(AT_FDCWD, to, [=] { return REAL(link)(from, to); });
}

FOR_THE_PROCESS int linkat(int oldFolder, const char *from, int newFolder, const char *to, int flags) noexcept
{
    return linking(newFolder, to, [=] { return REAL(linkat)(oldFolder, from, newFolder, to, flags); });
}
