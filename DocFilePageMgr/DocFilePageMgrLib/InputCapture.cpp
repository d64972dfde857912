#include "DocFilePageMgr/DocFilePageMgrLib/InputCapture.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "logging/LogMacros.h"

namespace docmgr {
namespace {

constexpr size_t kCaptureChunkBytes = 4096;

using nvrprint::Failure;
using nvrprint::platform::UniqueFd;

// A fresh, unique file in the system temp directory, as a fallback place for a capture.
nvrprint::Result<UniqueFd> MakeSystemTempFile(std::string* path) {
    std::string pattern = nvrprint::platform::SystemTempPath() + "/docXXXXXX";
    int fd = ::mkostemp(pattern.data(), O_CLOEXEC);
    if (fd < 0) {
        return nvrprint::SystemFailure(errno);
    }
    *path = pattern;
    return UniqueFd(fd);
}

}  // namespace

InputCapture::InputCapture()
    : m_systemFiles(nvrprint::platform::CreateSystemFiles(STDIN_FILENO)),
      m_files(m_systemFiles.get()),
      m_stopSignal(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

void InputCapture::Stop() {
    m_stopRequested.store(true);
    if (m_stopSignal.IsOpen()) {
        uint64_t one = 1;
        [[maybe_unused]] ssize_t written = ::write(m_stopSignal.Get(), &one, sizeof one);
    }
}

void InputCapture::Rearm() {
    m_stopRequested.store(false);
    if (m_stopSignal.IsOpen()) {
        uint64_t pending = 0;
        [[maybe_unused]] ssize_t drained = ::read(m_stopSignal.Get(), &pending, sizeof pending);
    }
}

nvrprint::Result<InputCapture::Captured> InputCapture::Capture(const std::string& path) {
    // Standard input carries bytes unchanged here: there is no text mode to switch off.
    Captured result{path};
    nvrprint::Result<UniqueFd> created = UniqueFd();
    if (result.path.empty()) {
        created = MakeSystemTempFile(&result.path);
        if (!created) {
            NVR_LOG_ERROR("Failed to create temp file name (Error: {})", created.error().code);
            return created.error();
        }
    } else {
        created = m_files->CreateNewPrivateFile(result.path);
    }
    NVR_LOG_DEBUG("Temporary file: {}", result.path);
    if (!created) {
        NVR_LOG_ERROR("Failed to create temporary file: {} (errno: {} - {})", result.path,
                      created.error().code, created.error().text);
        return created.error();
    }
    UniqueFd output = std::move(created).value();

    // Anything short of every byte on disk is a failed capture, and its file is no document.
    auto fail = [&](const std::string& why, int cause) {
        output.Reset();
        std::error_code ec;
        std::filesystem::remove(result.path, ec);
        NVR_LOG_ERROR("{}; deleted the partial file: {}", why, result.path);
        return Failure{cause, why};
    };

    char buffer[kCaptureChunkBytes];
    const int input = m_files->StandardInput();
    for (;;) {
        pollfd waits[2] = {{input, POLLIN, 0}, {m_stopSignal.Get(), POLLIN, 0}};
        if (m_stopRequested.load()) {
            return fail("Capture of standard input stopped", ECANCELED);
        }
        if (::poll(waits, 2, -1) < 0) {
            if (errno == EINTR) {
                continue;
            }
            return fail(fmt::format("Failed to wait for standard input (errno: {} - {})", errno,
                                    std::strerror(errno)),
                        errno);
        }
        if (waits[1].revents != 0 || m_stopRequested.load()) {
            return fail("Capture of standard input stopped", ECANCELED);
        }
        ssize_t got = ::read(input, buffer, sizeof buffer);
        if (got < 0) {
            if (errno == EINTR || errno == EAGAIN) {
                continue;
            }
            return fail(fmt::format("Failed to read standard input (errno: {} - {})", errno,
                                    std::strerror(errno)),
                        errno);
        }
        if (got == 0) {
            break;
        }
        if (const nvrprint::Status written =
                nvrprint::platform::WriteAll(output.Get(), buffer, static_cast<size_t>(got));
            !written) {
            return fail(fmt::format("Failed to write temporary file after {} bytes (errno: {} - "
                                    "{})",
                                    result.bytes, written.error().code, written.error().text),
                        written.error().code);
        }
        result.bytes += static_cast<uint64_t>(got);
    }
    if (const nvrprint::Status closed = output.Close(); !closed) {
        return fail(fmt::format("Failed to close temporary file (errno: {} - {})",
                                closed.error().code, closed.error().text),
                    closed.error().code);
    }
    if (result.bytes == 0) {
        return fail("Standard input ended without a byte", ENODATA);
    }
    NVR_LOG_INFO("Saved stdin to temporary file ({} bytes): {}", result.bytes, result.path);
    return result;
}

}  // namespace docmgr
