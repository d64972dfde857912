#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace testsupport {

struct ProcessResult {
    int exitCode = -1;
    std::string out;
    std::string err;
};

struct ProcessOptions {
    std::optional<std::string> stdinData;  // nothing: standard input is /dev/null
    std::map<std::string, std::string> setEnv;
    std::vector<std::string> unsetEnv = {"DISPLAY", "WAYLAND_DISPLAY"};
    int timeoutSeconds = 60;
    std::string workingDirectory;       // empty: the caller's
    std::optional<long> fileSizeLimit;  // bytes any one file of the program may reach
};

// Runs a program with the given arguments and collects its output and exit code.
ProcessResult RunProcess(const std::vector<std::string>& argv, const ProcessOptions& options = {});

// Starts a program without waiting for it; its standard input is /dev/null and its output
// goes to the test's own. Returns the process id.
int StartProcess(const std::vector<std::string>& argv, const ProcessOptions& options = {});
// Waits for a started process and returns its exit code (128 + signal when killed).
int WaitForProcess(int pid);

// The program under test, as built next to the tests.
std::string ProgramPath();

}  // namespace testsupport
