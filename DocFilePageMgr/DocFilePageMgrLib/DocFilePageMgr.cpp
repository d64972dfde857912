#include "DocFilePageMgr.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iostream>

#include "LogMacros.h"

namespace docmgr {

const char* DocumentTypeName(int32_t documentType) {
    switch (documentType) {
        case 1: return "PDF";
        case 2: return "XPS";
        case 3: return "OXPS";
        default: return "Unknown";
    }
}

DocFilePageMgr::DocFilePageMgr() : m_pipeInput(&std::cin) {}

DocFilePageMgr::~DocFilePageMgr() {
    NVR_LOG_ENTRY("Entered - clearing cache with {} entries", m_pageCache.size());
    JoinLoadThread();
    if (m_deleteTempFile && !m_tempFilePath.empty()) {
        std::error_code ec;
        if (std::filesystem::remove(m_tempFilePath, ec)) {
            NVR_LOG_INFO("Deleted temporary file: {}", m_tempFilePath);
        } else {
            NVR_LOG_ERROR("Failed to delete temporary file (Error: {}): {}",
                          ec ? ec.value() : ENOENT, m_tempFilePath);
        }
    }
}

void DocFilePageMgr::JoinLoadThread() {
    if (m_loadThread.joinable()) {
        NVR_LOG_DEBUG("Waiting for load thread to complete");
        m_loadThread.join();
    }
}

void DocFilePageMgr::FireEvent(DocMgrEventType kind, const DocMgrEventData& data) {
    if (m_eventCallback) {
        m_eventCallback(kind, data);
    }
}

DevModePtr DocFilePageMgr::GetPrinterSettings(const std::string& printerName) {
    NVR_LOG_DEBUG("Getting settings for printer: {}", printerName);
    NVR_LOG_ERROR("Printer settings are not available in this build: {}", printerName);
    return {};
}

bool DocFilePageMgr::RenderDocToPrinter(const std::string& printerName, const std::string&,
                                        PrintDevice*, WindowHandle) {
    NVR_LOG_ERROR("Printing is not available in this build: {}", printerName);
    return false;
}

bool DocFilePageMgr::OnDrawPage(PrintDevice*, size_t, const TargetParams&, int, int) {
    return false;
}

bool DocFilePageMgr::OnGetPageSizePoints(size_t, double* width, double* height) {
    *width = 612.0;
    *height = 792.0;
    return true;
}

}  // namespace docmgr
