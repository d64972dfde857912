#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>

#include "platform/Result.h"

// File-system operations whose meaning differs between platforms.
namespace nvrprint::platform {

// Directory the system offers for temporary files, without a trailing separator;
// empty when the system names none that is usable.
std::string SystemTempPath();

// Creates a directory that only the current user may enter. An existing directory counts as
// created (another instance may have won the race).
Status CreatePrivateDirectory(const std::string& path);

// Checks that path is a real directory (not a link), owned by the current user, and closed
// to everybody else; the error's text says why not ("is a symbolic link").
Status CheckPrivateDirectory(const std::string& path);

// An open file descriptor, closed with the object.
class UniqueFd {
public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : m_fd(fd) {}
    ~UniqueFd() { Reset(); }
    UniqueFd(UniqueFd&& other) noexcept : m_fd(other.Release()) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept;
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;

    int Get() const { return m_fd; }
    bool IsOpen() const { return m_fd >= 0; }
    int Release();
    void Reset();
    // Closes the descriptor and reports whether the close succeeded.
    Status Close();

private:
    int m_fd = -1;
};

// Creates a new file that only the current user may read and write. Never opens an existing
// file and never follows a symbolic link in the last component.
Result<UniqueFd> CreateNewPrivateFile(const std::string& path);

// Takes the exclusive advisory lock of an open file without waiting; it is held until the
// descriptor is closed, and ends with the process however it ends. False when another holds it.
bool LockExclusive(int fd);

// True when the file at path is there and nobody holds its lock: it was left by a process that
// ended without removing it. False when it is held, gone, or cannot be read.
bool IsAbandonedLock(const std::string& path);

// Writes all bytes, going on after short writes and interruptions; fails with the system's
// error (for example ENOSPC or EFBIG).
Status WriteAll(int fd, const void* data, size_t length);

// True when both paths name one existing file (same device and inode).
bool IsSameFile(const std::string& first, const std::string& second);

// True when path names an existing regular file, following links.
bool IsRegularFile(const std::string& path);

// The user id the program runs as, for names of per-user places and ownership tests.
uid_t EffectiveUserId();

// True when path exists, is not a link and belongs to the current user.
bool IsOwnedByCurrentUser(const std::string& path);

}  // namespace nvrprint::platform
