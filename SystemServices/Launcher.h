#pragma once

#include <memory>
#include <string>

// Handing a file to another application.
namespace nvrprint::platform {

struct OpenResult {
    enum Outcome { Started, LaunchFailed, NoApplication } outcome = LaunchFailed;
    int code = 0;  // an error number; for NoApplication the shell's "no association"
    std::string reason;
};

// The "no association" code of a file type without an application.
inline constexpr int kNoAssociation = 31;

class Launcher {
public:
    virtual ~Launcher() = default;
    // Starts the program with the file as its one argument: no shell, no wait, and the
    // child is reaped when it ends. False, with an errno value, when it could not be
    // started. The file is the caller's to check.
    virtual bool StartProgram(const std::string& program, const std::string& file, int* error) = 0;
    // Opens the file with the desktop's default application for its type (shared MIME info
    // and .desktop associations, as xdg-open finds them), showing nothing of its own.
    virtual OpenResult OpenWithDefaultApplication(const std::string& file) = 0;
};

std::unique_ptr<Launcher> CreateSystemLauncher();

}  // namespace nvrprint::platform
