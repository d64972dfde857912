#pragma once

#include <memory>
#include <string>

#include "platform/FileSystem.h"
#include "platform/Result.h"

// The files the application itself touches: its input, its image file, and the checks on
// them. Lower floors use platform/FileSystem.h directly.
namespace nvrprint::platform {

class Files {
public:
    virtual ~Files() = default;
    // Where piped input ("-") is read from.
    virtual int StandardInput() = 0;
    // Fails, with the system's error, when nothing is at path.
    virtual Status CheckExists(const std::string& path) = 0;
    // A new file only the user may read; fails when the name is taken.
    virtual Result<UniqueFd> CreateNewPrivateFile(const std::string& path) = 0;
};

// The process's own file system, piped input on the given descriptor.
std::unique_ptr<Files> CreateSystemFiles(int standardInput = 0);

}  // namespace nvrprint::platform
