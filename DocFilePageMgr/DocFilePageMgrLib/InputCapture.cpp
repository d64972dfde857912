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

// A fresh, unique file in the system temp directory, as a fallback place for a capture.
std::string MakeSystemTempName(nvrprint::platform::UniqueFd* file, int* error) {
    std::string pattern = nvrprint::platform::SystemTempPath() + "/docXXXXXX";
    int fd = ::mkostemp(pattern.data(), O_CLOEXEC);
    if (fd < 0) {
        *error = errno;
        return {};
    }
    *file = nvrprint::platform::UniqueFd(fd);
    return pattern;
}

}  // namespace

InputCapture::InputCapture() : m_stopSignal(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

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

InputCapture::Result InputCapture::Capture(const std::string& path) {
    // Standard input carries bytes unchanged here: there is no text mode to switch off.
    Result result;
    nvrprint::platform::UniqueFd output;
    result.path = path;
    if (result.path.empty()) {
        result.path = MakeSystemTempName(&output, &result.error);
        if (result.path.empty()) {
            NVR_LOG_ERROR("Failed to create temp file name (Error: {})", result.error);
            return result;
        }
    } else {
        output = nvrprint::platform::CreateNewPrivateFile(result.path, &result.error);
    }
    NVR_LOG_DEBUG("Temporary file: {}", result.path);
    if (!output.IsOpen()) {
        NVR_LOG_ERROR("Failed to create temporary file: {} (errno: {} - {})", result.path,
                      result.error, std::strerror(result.error));
        return result;
    }

    // Anything short of every byte on disk is a failed capture, and its file is no document.
    auto fail = [&](const std::string& why, int cause) {
        output.Reset();
        std::error_code ec;
        std::filesystem::remove(result.path, ec);
        NVR_LOG_ERROR("{}; deleted the partial file: {}", why, result.path);
        result.error = cause;
        return result;
    };

    char buffer[kCaptureChunkBytes];
    int error = 0;
    for (;;) {
        pollfd waits[2] = {{m_inputFd, POLLIN, 0}, {m_stopSignal.Get(), POLLIN, 0}};
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
        ssize_t got = ::read(m_inputFd, buffer, sizeof buffer);
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
        if (!nvrprint::platform::WriteAll(output.Get(), buffer, static_cast<size_t>(got), &error)) {
            return fail(fmt::format("Failed to write temporary file after {} bytes (errno: {} - "
                                    "{})",
                                    result.bytes, error, std::strerror(error)),
                        error);
        }
        result.bytes += static_cast<uint64_t>(got);
    }
    if (!output.Close()) {
        error = errno;
        return fail(fmt::format("Failed to close temporary file (errno: {} - {})", error,
                                std::strerror(error)),
                    error);
    }
    if (result.bytes == 0) {
        return fail("Standard input ended without a byte", ENODATA);
    }
    NVR_LOG_INFO("Saved stdin to temporary file ({} bytes): {}", result.bytes, result.path);
    result.captured = true;
    return result;
}

}  // namespace docmgr
