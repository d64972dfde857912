// Printing of the PDF backend. Pages reach the device as the source file's own pages, so
// nothing is rasterised: the loop of the base class says where each one goes.
#include "DocFilePageMgr/DocFilePageMgrLib/PageMgrPdfium.h"
#include "DocFilePageMgr/DocFilePageMgrLib/PrintDevice.h"
#include "logging/LogMacros.h"

namespace docmgr {

bool PageMgrPdfium::OnPrintStarting(const std::string& printerName, const std::string& jobTitle,
                                    PrintDevice* device) {
    NVR_LOG_INFO("Starting print job '{}' to '{}' ({} pages)", jobTitle, printerName,
                 m_docPageCount);
    if (device == nullptr || !m_document || m_docPageCount == 0) {
        NVR_LOG_ERROR("Invalid parameters (hdc={}, doc={}, pages={})",
                      static_cast<const void*>(device), static_cast<const void*>(m_document.get()),
                      m_docPageCount);
        return false;
    }
    return true;
}

bool PageMgrPdfium::OnPlacePage(PrintDevice* device, size_t pageIndex, const PageCell& cell) {
    NVR_LOG_DEBUG("Direct drawing page {}", pageIndex + 1);
    if (!CheckPageIndex(pageIndex)) {
        return false;
    }
    NVR_LOG_VERBOSE("Placing page {} in {}x{} at ({}, {})", pageIndex + 1, cell.width, cell.height,
                    cell.x, cell.y);
    if (const nvrprint::Status placed =
            device->PlacePage(VectorPage{m_loadedPath, pageIndex}, cell);
        !placed) {
        NVR_LOG_ERROR("Failed to place page {} on the printer (Error: {})", pageIndex + 1,
                      placed.error().code);
        return false;
    }
    NVR_LOG_VERBOSE("Successfully drew page {}", pageIndex + 1);
    return true;
}

}  // namespace docmgr
