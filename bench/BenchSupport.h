#pragma once

// What every benchmark needs: a clock, and another program run to compare with.
#include <spawn.h>
#include <sys/wait.h>

#include <chrono>
#include <string>
#include <vector>

extern char** environ;

namespace bench {

using Clock = std::chrono::steady_clock;

inline double Seconds(Clock::time_point from) {
    return std::chrono::duration<double>(Clock::now() - from).count();
}

// Runs a program found on PATH and waits for it; its exit code, or -1.
inline int RunCommand(std::vector<std::string> argv) {
    std::vector<char*> args;
    for (std::string& a : argv)
        args.push_back(a.data());
    args.push_back(nullptr);
    pid_t pid;
    if (posix_spawnp(&pid, args[0], nullptr, nullptr, args.data(), environ) != 0)
        return -1;
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace bench
