// Loading a document on a thread of its own: the capture of piped input, the backend's
// load, the events of the load, and the wait for its end.
#include <chrono>
#include <system_error>

#include "DocFilePageMgr/DocFilePageMgrLib/DocFilePageMgr.h"
#include "logging/LogMacros.h"

namespace docmgr {
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
    m_capture.Rearm();
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
            NVR_LOG_INFO("Capturing input from: {}", context->inputPath);
            const nvrprint::Result<InputCapture::Captured> captured =
                self->m_capture.Capture(context->tempFilePath);
            if (!captured) {
                NVR_LOG_ERROR("Failed to capture input from pipe");
                if (callback) {
                    callback(DocumentLoadError,
                             DocumentLoadErrorData{"Failed to capture input from pipe",
                                                   static_cast<uint32_t>(captured.error().code)});
                }
                return;
            }
            const InputCapture::Captured& capture = *captured;
            path = capture.path;
            self->m_tempFilePath = capture.path;
            const uint64_t fileSize = capture.bytes;
            if (callback) {
                callback(InputCaptureComplete, InputCaptureCompleteData{capture.path, fileSize});
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

void DocFilePageMgr::StopLoad() {
    NVR_LOG_DEBUG("Stopping the load");
    m_capture.Stop();
}

}  // namespace docmgr
