#pragma once

#include <memory>
#include <string>

#include "platform/Result.h"

// Handing a file to another application.
namespace nvrprint::platform {

// The "no association" code of a file type without an application.
inline constexpr int kNoAssociation = 31;

class Launcher {
public:
    virtual ~Launcher() = default;
    // Starts the program with the file as its one argument: no shell, no wait, and the
    // child is reaped when it ends. Fails with the system's error when it could not be
    // started. The file is the caller's to check.
    virtual Status StartProgram(const std::string& program, const std::string& file) = 0;
    // Opens the file with the desktop's default application for its type (shared MIME info
    // and .desktop associations, as xdg-open finds them), showing nothing of its own. Fails
    // with kNoAssociation when the type has no application.
    virtual Status OpenWithDefaultApplication(const std::string& file) = 0;
};

std::unique_ptr<Launcher> CreateSystemLauncher();

}  // namespace nvrprint::platform
