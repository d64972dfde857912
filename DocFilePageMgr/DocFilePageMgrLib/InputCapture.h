#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "platform/Files.h"

namespace docmgr {

// The capture of piped input into a file of its own, for a backend that reads documents from
// files. A capture waits for bytes until its input ends or it is stopped from another thread;
// a capture that fails leaves no file behind.
class InputCapture {
public:
    InputCapture();

    // Where the bytes come from and where their file is made: the process's standard input
    // and file system, unless a caller substitutes its own, which stays the caller's.
    void SetFiles(nvrprint::platform::Files& files) { m_files = &files; }

    struct Captured {
        std::string path;
        uint64_t bytes = 0;
    };
    // Copies the input to path (a fresh file in the system's temp directory when empty)
    // until it ends. No bytes at all count as a failure (ENODATA).
    nvrprint::Result<Captured> Capture(const std::string& path);

    // Ends a capture that is waiting for bytes, now or when it next waits.
    void Stop();
    // Forgets an earlier stop, before a new capture.
    void Rearm();

private:
    std::unique_ptr<nvrprint::platform::Files> m_systemFiles;
    nvrprint::platform::Files* m_files;
    std::atomic<bool> m_stopRequested{false};
    nvrprint::platform::UniqueFd m_stopSignal;
};

}  // namespace docmgr
