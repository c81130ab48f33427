// kxsavefile.cpp - POSIX implementation of the safe file replacement (temporary file, fsync,
// rename).
#include "foundation/kxsavefile.h"

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

kxSaveStatus Fail(kxSaveResult result, int sysError) { return {result, sysError}; }

/// The file a save should replace: the target of a symbolic link, else the path itself.
std::string ResolveTarget(const char *path)
{
    struct stat st;
    if (lstat(path, &st) != 0 || !S_ISLNK(st.st_mode))
        return path;
    char *real = realpath(path, nullptr);
    if (!real)
        return path; // a dangling link: the save replaces the link itself
    std::string resolved(real);
    std::free(real);
    return resolved;
}

std::string DirectoryOf(const std::string &path)
{
    const size_t slash = path.rfind('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

mode_t NewFileMode()
{
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

bool WriteAll(int fd, const char *data, size_t n)
{
    while (n > 0) {
        const ssize_t written = write(fd, data, n);
        if (written < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        data += written;
        n -= static_cast<size_t>(written);
    }
    return true;
}

/// Makes the rename itself durable; a directory that cannot be synced is not an error.
void SyncDirectory(const std::string &dir)
{
    const int fd = open(dir.c_str(), O_RDONLY | O_DIRECTORY);
    if (fd < 0)
        return;
    fsync(fd);
    close(fd);
}

} // namespace

kxSaveStatus kxSaveFileAtomic(const char *path, const char *data, size_t n)
{
    if (!path || !*path)
        return Fail(kxSaveResult::CannotOpen, ENOENT);
    const std::string target = ResolveTarget(path);
    struct stat st;
    const bool exists = stat(target.c_str(), &st) == 0;
    if (exists && S_ISDIR(st.st_mode))
        return Fail(kxSaveResult::CannotOpen, EISDIR);
    if (exists && access(target.c_str(), W_OK) != 0)
        return Fail(kxSaveResult::CannotOpen, errno);

    const std::string dir = DirectoryOf(target);
    const size_t slash = target.rfind('/');
    const std::string base = slash == std::string::npos ? target : target.substr(slash + 1);
    std::string temp = dir + "/." + base + ".XXXXXX";
    const int fd = mkstemp(&temp[0]);
    if (fd < 0)
        return Fail(kxSaveResult::CannotOpen, errno);

    const mode_t mode = exists ? (st.st_mode & 07777) : NewFileMode();
    bool ok = fchmod(fd, mode) == 0 && WriteAll(fd, data, n) && fsync(fd) == 0;
    int sysError = ok ? 0 : errno;
    if (close(fd) != 0 && ok) {
        ok = false;
        sysError = errno;
    }
    if (ok && rename(temp.c_str(), target.c_str()) != 0) {
        ok = false;
        sysError = errno;
    }
    if (!ok) {
        unlink(temp.c_str());
        return Fail(kxSaveResult::WriteFailed, sysError);
    }
    SyncDirectory(dir);
    return {kxSaveResult::Ok, 0};
}

bool kxFileIsReadable(const char *path)
{
    struct stat st;
    if (!path || stat(path, &st) != 0 || S_ISDIR(st.st_mode))
        return false;
    return access(path, R_OK) == 0;
}

void kxAdviseLargeBuffer(void *p, size_t n)
{
#ifdef MADV_HUGEPAGE
    constexpr uintptr_t kHuge = uintptr_t(2) << 20;
    const uintptr_t begin = (reinterpret_cast<uintptr_t>(p) + kHuge - 1) & ~(kHuge - 1);
    const uintptr_t end = (reinterpret_cast<uintptr_t>(p) + n) & ~(kHuge - 1);
    if (end > begin)
        madvise(reinterpret_cast<void *>(begin), end - begin, MADV_HUGEPAGE);
#else
    (void)p;
    (void)n;
#endif
}
