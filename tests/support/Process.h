#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace testsupport {

struct ProcessResult {
    int exitCode = -1;
    std::string out, err;
};

struct ProcessOptions {
    std::optional<std::string> stdinData;  // nothing: standard input is /dev/null
    std::string stdinFile;                 // or this file
    std::string outputFile;  // StartProcess: standard output and error (empty: the test's own)
    std::map<std::string, std::string> setEnv;
    std::vector<std::string> unsetEnv = {"DISPLAY", "WAYLAND_DISPLAY"};
    int timeoutSeconds = 60;
    std::string workingDirectory;       // empty: the caller's
    std::optional<long> fileSizeLimit;  // bytes any one file of the program may reach
};

// Runs a program with the given arguments and collects its output and exit code; killed
// when it outlives the timeout.
ProcessResult RunProcess(const std::vector<std::string>& argv, const ProcessOptions& options = {});

// Starts a program without waiting for it. Returns the process id.
int StartProcess(const std::vector<std::string>& argv, const ProcessOptions& options = {});
// Waits for a started process and returns its exit code (128 + signal when killed); one that
// does not end in time is killed.
int WaitForProcess(int pid, int timeoutSeconds = 60);

// Asks every so often until the answer is yes or the time is up; the last answer.
bool WaitUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout,
               std::chrono::milliseconds every = std::chrono::milliseconds(20));

// The program under test, as built next to the tests.
std::string ProgramPath();
// Runs it with the arguments and its TMPDIR in the given directory.
ProcessResult RunProgram(std::vector<std::string> args, const std::string& tmpDir,
                         ProcessOptions options = {});
// What the program shows on standard error as an error notice.
inline std::string ErrorBox(const std::string& text) {
    return "[NvrPrintHelper Error] " + text + "\n";
}

}  // namespace testsupport
