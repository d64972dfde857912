#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "FileSystem.h"

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

bool CreatePrivateDirectory(const std::string& path, int* error) {
    if (::mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) {
        *error = errno;
        return false;
    }
    return true;
}

bool IsPrivateDirectory(const std::string& path, std::string* reason) {
    struct stat info {};
    if (::lstat(path.c_str(), &info) != 0) {
        *reason = "cannot be examined";
        return false;
    }
    if (S_ISLNK(info.st_mode)) {
        *reason = "is a symbolic link";
        return false;
    }
    if (!S_ISDIR(info.st_mode)) {
        *reason = "is not a directory";
        return false;
    }
    if (info.st_uid != ::geteuid()) {
        *reason = "is owned by another user";
        return false;
    }
    if ((info.st_mode & 077) != 0) {
        *reason = "is accessible to other users";
        return false;
    }
    return true;
}

}  // namespace nvrprint::platform
