#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "platform/FileSystem.h"

namespace docmgr {

// The capture of piped input into a file of its own, for a backend that reads documents from
// files. A capture waits for bytes until its input ends or it is stopped from another thread;
// a capture that fails leaves no file behind.
class InputCapture {
public:
    InputCapture();

    // Where the bytes come from: standard input unless a caller substitutes another
    // descriptor, which stays the caller's.
    void SetInput(int fd) { m_inputFd = fd; }

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
    int m_inputFd = 0;
    std::atomic<bool> m_stopRequested{false};
    nvrprint::platform::UniqueFd m_stopSignal;
};

}  // namespace docmgr
