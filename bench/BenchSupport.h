#pragma once

// What every benchmark needs: a clock, and another program run to compare with.
#include <spawn.h>
#include <sys/wait.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "DocFilePageMgr/DocFilePageMgrLib/DocFilePageMgr.h"

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

// Loads a document, then times rendering each of its pages at the Screen target (300 DPI);
// negative, with the cause on standard error, when the load or a page fails.
inline double TimeScreenRenders(docmgr::DocFilePageMgr& manager, const std::string& path,
                                size_t pages) {
    manager.LoadDocument(path, false, nullptr, "");
    if (!manager.WaitForDocumentLoad(30000)) {
        std::fprintf(stderr, "load failed\n");
        return -1;
    }
    const auto start = Clock::now();
    for (size_t page = 1; page <= pages; ++page) {
        if (!manager.GetPageImage(page, docmgr::Screen)) {
            std::fprintf(stderr, "render of page %zu failed\n", page);
            return -1;
        }
    }
    return Seconds(start);
}

}  // namespace bench
