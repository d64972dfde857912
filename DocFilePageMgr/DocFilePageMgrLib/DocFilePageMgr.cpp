#include "DocFilePageMgr/DocFilePageMgrLib/DocFilePageMgr.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "logging/LogMacros.h"

namespace docmgr {

DocFilePageMgr::DocFilePageMgr() = default;

DocFilePageMgr::~DocFilePageMgr() {
    NVR_LOG_ENTRY("Entered - clearing cache with {} entries", m_images.Size());
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
        // A capture still waiting for input would never end on its own.
        StopLoad();
        NVR_LOG_DEBUG("Waiting for load thread to complete");
        m_loadThread.join();
    }
}

void DocFilePageMgr::FireEvent(DocMgrEventType kind, const DocMgrEventData& data) {
    if (m_eventCallback) {
        m_eventCallback(kind, data);
    }
}

DevModePtr DocFilePageMgr::GetPrinterSettings(nvrprint::PrinterSession& printer) {
    const std::string& printerName = printer.Name();
    NVR_LOG_DEBUG("Getting settings for printer: {}", printerName);
    int32_t size = printer.DevModeSize();
    if (size < 1 || static_cast<size_t>(size) < sizeof(nvrprint::DEVMODEW)) {
        NVR_LOG_ERROR("Failed to get DEVMODE size for printer: {} (returned size: {})", printerName,
                      size);
        return {};
    }
    NVR_LOG_VERBOSE("DEVMODE size: {} bytes", size);
    DevModePtr block(static_cast<nvrprint::DEVMODEW*>(std::calloc(1, static_cast<size_t>(size))));
    if (!block) {
        NVR_LOG_ERROR("Failed to allocate memory for DEVMODE ({} bytes)", size);
        return {};
    }
    if (!printer.DefaultDevMode(block.get())) {
        NVR_LOG_ERROR("Failed to retrieve default DEVMODE for printer: {}", printerName);
        return {};
    }
    NVR_LOG_DEBUG("Retrieved default DEVMODE");
    // The same block goes in and comes out, so that the driver validates it.
    DevModePtr validated(
        static_cast<nvrprint::DEVMODEW*>(std::calloc(1, static_cast<size_t>(size))));
    if (!validated || !printer.ValidateDevMode(block.get(), validated.get())) {
        NVR_LOG_ERROR("Failed to validate DEVMODE for printer: {}", printerName);
        return {};
    }
    NVR_LOG_INFO("Successfully retrieved and validated printer settings for: {}", printerName);
    return validated;
}

bool DocFilePageMgr::OnPlacePage(PrintDevice*, size_t pageIndex, const PageCell&) {
    NVR_LOG_ERROR("Page {} cannot be placed: this document has no vector pages", pageIndex + 1);
    return false;
}

bool DocFilePageMgr::OnPrintStarting(const std::string& printerName, const std::string& jobTitle,
                                     PrintDevice* device) {
    NVR_LOG_INFO("Starting print job '{}' to printer: {}", jobTitle, printerName);
    if (device == nullptr) {
        NVR_LOG_ERROR("Invalid printer DC (null)");
        return false;
    }
    if (OnGetPageCount() == 0) {
        NVR_LOG_ERROR("No pages to print");
        return false;
    }
    return true;
}

bool DocFilePageMgr::OnPrintSent(PrintDevice*, int) {
    return true;
}

bool DocFilePageMgr::OnGetPageSizePoints(size_t, double* width, double* height) {
    *width = 612.0;
    *height = 792.0;
    return true;
}

}  // namespace docmgr
