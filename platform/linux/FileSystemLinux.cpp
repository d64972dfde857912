#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "platform/FileSystem.h"

namespace nvrprint::platform {

std::string SystemTempPath() {
    const char* fromEnvironment = std::getenv("TMPDIR");
    std::string path = (fromEnvironment != nullptr && fromEnvironment[0] == '/')
                           ? std::string(fromEnvironment)
                           : std::string("/tmp");
    while (path.size() > 1 && path.back() == '/') {
        path.pop_back();
    }
    return path;
}

Status CreatePrivateDirectory(const std::string& path) {
    if (::mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) {
        return SystemFailure(errno);
    }
    return {};
}

Status CheckPrivateDirectory(const std::string& path) {
    struct stat info {};
    if (::lstat(path.c_str(), &info) != 0) {
        return Failure{errno, "cannot be examined"};
    }
    if (S_ISLNK(info.st_mode)) {
        return Failure{ENOTDIR, "is a symbolic link"};
    }
    if (!S_ISDIR(info.st_mode)) {
        return Failure{ENOTDIR, "is not a directory"};
    }
    if (info.st_uid != ::geteuid()) {
        return Failure{EPERM, "is owned by another user"};
    }
    if ((info.st_mode & 077) != 0) {
        return Failure{EPERM, "is accessible to other users"};
    }
    return {};
}

UniqueFd& UniqueFd::operator=(UniqueFd&& other) noexcept {
    if (this != &other) {
        Reset();
        m_fd = other.Release();
    }
    return *this;
}

int UniqueFd::Release() {
    int fd = m_fd;
    m_fd = -1;
    return fd;
}

void UniqueFd::Reset() {
    if (m_fd >= 0) {
        ::close(m_fd);
        m_fd = -1;
    }
}

Status UniqueFd::Close() {
    int fd = Release();
    if (fd >= 0 && ::close(fd) != 0) {
        return SystemFailure(errno);
    }
    return {};
}

bool LockExclusive(int fd) {
    return ::flock(fd, LOCK_EX | LOCK_NB) == 0;
}

bool IsAbandonedLock(const std::string& path) {
    // A description of its own: flock conflicts between descriptions even in one process.
    UniqueFd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
    if (!file.IsOpen() || !LockExclusive(file.Get())) {
        return false;
    }
    // Still the file at path: its owner did not release and remove it meanwhile.
    struct stat opened {};
    struct stat named {};
    return ::fstat(file.Get(), &opened) == 0 && ::lstat(path.c_str(), &named) == 0 &&
           opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

Result<UniqueFd> CreateNewPrivateFile(const std::string& path) {
    int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0) {
        return SystemFailure(errno);
    }
    return UniqueFd(fd);
}

Status WriteAll(int fd, const void* data, size_t length) {
    const char* next = static_cast<const char*>(data);
    while (length > 0) {
        ssize_t written = ::write(fd, next, length);
        if (written < 0) {
            if (errno == EINTR) {
                continue;
            }
            return SystemFailure(errno);
        }
        if (written == 0) {
            return SystemFailure(EIO);
        }
        next += written;
        length -= static_cast<size_t>(written);
    }
    return {};
}

bool IsSameFile(const std::string& first, const std::string& second) {
    struct stat a {};
    struct stat b {};
    return ::stat(first.c_str(), &a) == 0 && ::stat(second.c_str(), &b) == 0 &&
           a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

bool IsRegularFile(const std::string& path) {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

uid_t EffectiveUserId() {
    return ::geteuid();
}

bool IsOwnedByCurrentUser(const std::string& path) {
    struct stat info {};
    return ::lstat(path.c_str(), &info) == 0 && !S_ISLNK(info.st_mode) &&
           info.st_uid == ::geteuid();
}

}  // namespace nvrprint::platform
