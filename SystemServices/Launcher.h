#pragma once

#include <string>

// Handing a file to another application.
namespace nvrprint::platform {

// Starts the program with the file as its one argument: no shell, no wait, and the child
// is reaped when it ends. False, with an errno value, when it could not be started. The
// file is the caller's to check.
bool StartProgram(const std::string& program, const std::string& file, int* error);

struct OpenResult {
    enum Outcome { Started, LaunchFailed, NoApplication } outcome = LaunchFailed;
    int code = 0;  // an error number; for NoApplication the shell's "no association"
    std::string reason;
};

// The "no association" code of a file type without an application.
inline constexpr int kNoAssociation = 31;

// Opens the file with the desktop's default application for its type (shared MIME info
// and .desktop associations, as xdg-open finds them), showing nothing of its own.
OpenResult OpenWithDefaultApplication(const std::string& file);

}  // namespace nvrprint::platform
