// Loading a document on a thread of its own: capture of piped input, the backend's load,
// the events of the load, and the wait for its end.
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "DocFilePageMgr/DocFilePageMgrLib/DocFilePageMgr.h"
#include "logging/LogMacros.h"
#include "platform/FileSystem.h"

namespace docmgr {
namespace {

constexpr size_t kCaptureChunkBytes = 4096;

uint64_t FileSizeOrZero(const std::string& path) {
    std::error_code ec;
    uintmax_t size = std::filesystem::file_size(path, ec);
    return ec ? 0 : static_cast<uint64_t>(size);
}

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

LoadHandle DocFilePageMgr::LoadDocument(const std::string& path, bool isPipe,
                                        const DocMgrEventCallback& callback,
                                        const std::string& tempFilePath) {
    NVR_LOG_ENTRY("Entered");
    NVR_LOG_INFO("Loading document from {}", path);
    if (m_loadThread.joinable()) {
        {
            std::lock_guard lock(m_threadStateLock);
            if (!m_threadFinished) {
                NVR_LOG_ERROR("A document is still loading; a second load is refused");
                NVR_LOG_ENTRY("Returning nullptr (load in progress)");
                return nullptr;
            }
        }
        m_loadThread.join();
    }
    m_stopRequested.store(false);
    if (m_stopSignal.IsOpen()) {
        uint64_t pending = 0;
        [[maybe_unused]] ssize_t drained = ::read(m_stopSignal.Get(), &pending, sizeof pending);
    }
    m_eventCallback = callback;
    m_loadComplete.store(false);
    m_loadSuccess.store(false);
    m_images.Clear();
    m_pageCount = 0;
    {
        std::lock_guard lock(m_threadStateLock);
        m_threadFinished = false;
    }

    auto context = std::make_shared<LoadThreadContext>();
    context->manager = this;
    context->inputPath = path;
    context->isPipe = isPipe;
    context->callback = callback;
    context->tempFilePath = tempFilePath;

    try {
        m_loadThread = std::thread(&DocFilePageMgr::LoadDocumentThreadProc, context);
    } catch (const std::system_error& e) {
        int error = e.code().value();
        NVR_LOG_ERROR("Failed to create load thread (Error: {})", error);
        if (m_eventCallback) {
            FireEvent(DocumentLoadError, DocumentLoadErrorData{"Failed to create load thread",
                                                               static_cast<uint32_t>(error)});
        }
        NVR_LOG_ENTRY("Returning nullptr (failed to create thread)");
        return nullptr;
    }
    NVR_LOG_ENTRY("Returning HANDLE: {}", "valid");
    return &m_loadThread;
}

void DocFilePageMgr::MarkThreadFinished() {
    std::lock_guard lock(m_threadStateLock);
    m_threadFinished = true;
    m_threadFinishedSignal.notify_all();
}

void DocFilePageMgr::LoadDocumentThreadProc(std::shared_ptr<LoadThreadContext> context) {
    DocFilePageMgr* self = context->manager;
    const DocMgrEventCallback& callback = context->callback;
    // Whatever way the thread leaves, waiters learn of it.
    struct FinishedSignal {
        DocFilePageMgr* manager;
        ~FinishedSignal() { manager->MarkThreadFinished(); }
    } finished{self};

    try {
        NVR_LOG_DEBUG("Thread started");
        std::string path = context->inputPath;

        if (context->isPipe) {
            NVR_LOG_INFO("Capturing input from pipe");
            if (callback) {
                callback(InputCaptureStart, InputCaptureStartData{context->inputPath});
            }
            errno = 0;
            if (!self->CaptureInputFileFromPipe(context->inputPath, context->tempFilePath)) {
                int error = errno;
                NVR_LOG_ERROR("Failed to capture input from pipe");
                if (callback) {
                    callback(DocumentLoadError,
                             DocumentLoadErrorData{"Failed to capture input from pipe",
                                                   static_cast<uint32_t>(error)});
                }
                return;
            }
            path = context->tempFilePath;
            context->actualPath = context->tempFilePath;
            self->m_tempFilePath = context->tempFilePath;
            uint64_t fileSize = FileSizeOrZero(context->tempFilePath);
            if (callback) {
                callback(InputCaptureComplete,
                         InputCaptureCompleteData{context->tempFilePath, fileSize});
            }
            NVR_LOG_INFO("Input captured successfully ({} bytes)", fileSize);
        }

        if (callback) {
            callback(LoadDocumentStart, LoadDocumentStartData{path, self->m_documentType.name});
        }
        NVR_LOG_INFO("Loading document from: {}", path);
        if (!self->OnLoadDocument(path)) {
            NVR_LOG_ERROR("OnLoadDocument failed");
            if (callback) {
                callback(DocumentLoadError, DocumentLoadErrorData{"Failed to load document", 0});
            }
            self->m_loadComplete.store(true);
            self->m_loadSuccess.store(false);
            NVR_LOG_ENTRY("Exiting (OnLoadDocument failed)");
            return;
        }

        self->m_pageCount = self->OnGetPageCount();
        NVR_LOG_INFO("Document loaded with {} page(s)", self->m_pageCount);
        if (callback) {
            for (uint64_t i = 0; i < self->m_pageCount; ++i) {
                double width = 0.0;
                double height = 0.0;
                self->OnGetPageSizePoints(static_cast<size_t>(i), &width, &height);
                callback(NewPageAvailable, NewPageAvailableData{i + 1, width, height});
            }
            callback(LoadDocumentComplete, LoadDocumentCompleteData{self->m_pageCount});
        }
        context->completed = true;
        self->m_loadComplete.store(true);
        self->m_loadSuccess.store(true);
        NVR_LOG_INFO("Thread completed successfully");
    } catch (const std::exception& e) {
        NVR_LOG_ERROR("Load thread ended by an exception: {}", e.what());
    } catch (...) {
        NVR_LOG_ERROR("Load thread ended by an unknown exception");
    }
}

bool DocFilePageMgr::WaitForDocumentLoad(uint32_t timeoutMs) {
    NVR_LOG_ENTRY("Entered");
    if (!m_loadThread.joinable()) {
        NVR_LOG_DEBUG("No load thread active");
        return m_loadComplete.load();
    }
    NVR_LOG_DEBUG("Waiting for load thread (timeout: {} ms)", timeoutMs);
    std::unique_lock lock(m_threadStateLock);
    bool ended = m_threadFinishedSignal.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                                                 [this] { return m_threadFinished; });
    if (!ended) {
        NVR_LOG_DEBUG("Wait timed out");
        return false;
    }
    NVR_LOG_DEBUG("Load thread completed");
    return m_loadSuccess.load();
}

bool DocFilePageMgr::CaptureInputFileFromPipe(const std::string& inputPath,
                                              const std::string& tempFilePath) {
    NVR_LOG_ENTRY("Entered");
    NVR_LOG_INFO("Capturing input from: {}", inputPath);
    // Standard input carries bytes unchanged here: there is no text mode to switch off.

    nvrprint::platform::UniqueFd output;
    std::string outputPath = tempFilePath;
    int error = 0;
    if (outputPath.empty()) {
        outputPath = MakeSystemTempName(&output, &error);
        if (outputPath.empty()) {
            NVR_LOG_ERROR("Failed to create temp file name (Error: {})", error);
            errno = error;
            return false;
        }
    } else {
        output = nvrprint::platform::CreateNewPrivateFile(outputPath, &error);
    }
    NVR_LOG_DEBUG("Temporary file: {}", outputPath);
    if (!output.IsOpen()) {
        NVR_LOG_ERROR("Failed to create temporary file: {} (errno: {} - {})", outputPath, error,
                      std::strerror(error));
        errno = error;
        return false;
    }

    // Anything short of every byte on disk is a failed capture, and its file is no document.
    auto fail = [&](const std::string& why, int cause) {
        output.Reset();
        std::error_code ec;
        std::filesystem::remove(outputPath, ec);
        NVR_LOG_ERROR("{}; deleted the partial file: {}", why, outputPath);
        errno = cause;
        return false;
    };

    char buffer[kCaptureChunkBytes];
    uint64_t total = 0;
    for (;;) {
        pollfd waits[2] = {{m_pipeInputFd, POLLIN, 0}, {m_stopSignal.Get(), POLLIN, 0}};
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
        ssize_t got = ::read(m_pipeInputFd, buffer, sizeof buffer);
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
                                    total, error, std::strerror(error)),
                        error);
        }
        total += static_cast<uint64_t>(got);
    }
    if (!output.Close()) {
        error = errno;
        return fail(fmt::format("Failed to close temporary file (errno: {} - {})", error,
                                std::strerror(error)),
                    error);
    }
    NVR_LOG_INFO("Saved stdin to temporary file ({} bytes): {}", total, outputPath);
    if (total == 0) {
        errno = ENODATA;
    }
    return total != 0;
}

void DocFilePageMgr::StopLoad() {
    NVR_LOG_DEBUG("Stopping the load");
    m_stopRequested.store(true);
    if (m_stopSignal.IsOpen()) {
        uint64_t one = 1;
        [[maybe_unused]] ssize_t written = ::write(m_stopSignal.Get(), &one, sizeof one);
    }
}

}  // namespace docmgr
