// Printing of the PDF backend. Pages reach the device as the source file's own pages,
// placed where a rendered bitmap would land and at its size, so nothing is rasterised.
#include "DocFilePageMgr/DocFilePageMgrLib/PageMgrPdfium.h"
#include "DocFilePageMgr/DocFilePageMgrLib/PrintDevice.h"
#include "logging/LogMacros.h"

namespace docmgr {

bool PageMgrPdfium::OnDrawPage(PrintDevice* device, size_t pageIndex, const TargetParams& params,
                               int x, int y) {
    NVR_LOG_DEBUG("Direct drawing page {}", pageIndex + 1);
    double width = 0.0;
    double height = 0.0;
    if (!OnGetPageSizePoints(pageIndex, &width, &height)) {
        return false;
    }
    const int32_t pixelWidth =
        static_cast<int32_t>(params.dpiX * width / 72.0 * params.scale + 0.5);
    const int32_t pixelHeight =
        static_cast<int32_t>(params.dpiY * height / 72.0 * params.scale + 0.5);
    NVR_LOG_VERBOSE("Rendering {}x{} at ({}, {})", pixelWidth, pixelHeight, x, y);
    if (!device->PlacePdfPage(m_loadedPath, pageIndex, x, y, pixelWidth, pixelHeight)) {
        NVR_LOG_ERROR("Failed to place page {} on the printer (Error: {})", pageIndex + 1,
                      device->LastError());
        return false;
    }
    NVR_LOG_VERBOSE("Successfully drew page {}", pageIndex + 1);
    return true;
}

bool PageMgrPdfium::RenderDocToPrinter(const std::string& printerName, const std::string& jobTitle,
                                       PrintDevice* device, WindowHandle notifyWindow) {
    NVR_LOG_INFO("Starting print job '{}' to '{}' ({} pages)", jobTitle, printerName,
                 m_docPageCount);
    if (device == nullptr || !m_document || m_docPageCount == 0) {
        NVR_LOG_ERROR("Invalid parameters (hdc={}, doc={}, pages={})",
                      static_cast<const void*>(device), static_cast<const void*>(m_document.get()),
                      m_docPageCount);
        return false;
    }
    if (device->StartDoc(jobTitle) <= 0) {
        NVR_LOG_ERROR("Failed to start document (Error: {})", device->LastError());
        return false;
    }
    NVR_LOG_DEBUG("Document started successfully");
    const int32_t dpiX = device->GetDeviceCaps(LOGPIXELSX);
    const int32_t dpiY = device->GetDeviceCaps(LOGPIXELSY);
    NVR_LOG_DEBUG("Printer DPI: {}x{}", dpiX, dpiY);

    const PrintJobSettingsView settings{m_printJobSettings};
    if (!settings.Transformed()) {
        NVR_LOG_DEBUG("Standard page-by-page rendering");
        for (uint64_t i = 0; i < m_docPageCount; ++i) {
            const uint64_t n = i + 1;
            NVR_LOG_DEBUG("Printing page {} of {}", n, m_docPageCount);
            if (device->StartPage() <= 0) {
                NVR_LOG_ERROR("Failed to start page {} (Error: {})", n, device->LastError());
                device->AbortDoc();
                return false;
            }
            double width = 0.0;
            double height = 0.0;
            if (!OnGetPageSizePoints(static_cast<size_t>(i), &width, &height)) {
                NVR_LOG_ERROR("Failed to load page {}", n);
                device->EndPage();
                device->AbortDoc();
                return false;
            }
            const int32_t pixelWidth = PixelsForPoints(width, 1.0, dpiX);
            const int32_t pixelHeight = PixelsForPoints(height, 1.0, dpiY);
            NVR_LOG_VERBOSE("Page {} size: {}x{} pts, rendering at {}x{} pixels", n, width, height,
                            pixelWidth, pixelHeight);
            NVR_LOG_DEBUG("Rendering page {} using FPDF_RenderPage (direct to DC)", n);
            if (!device->PlacePdfPage(m_loadedPath, static_cast<size_t>(i), 0, 0, pixelWidth,
                                      pixelHeight)) {
                NVR_LOG_ERROR("Failed to load page {}", n);
                device->EndPage();
                device->AbortDoc();
                return false;
            }
            if (device->EndPage() <= 0) {
                NVR_LOG_ERROR("Failed to end page {} (Error: {})", n, device->LastError());
                device->AbortDoc();
                return false;
            }
            PostPrintProgress(notifyWindow, n, m_docPageCount);
        }
        NVR_LOG_DEBUG("Scratch bitmap will be automatically cleaned up");
    } else {
        NVR_LOG_INFO(
            "Applying application-level transformations (N-up: {}, Reverse: {}, Copies: "
            "{}, Collate: {})",
            m_printJobSettings.PagesPerSheet, m_printJobSettings.bReversePages, settings.Copies(),
            settings.Collated());
        const std::vector<PhysicalPage> sides =
            BuildPhysicalPageList(static_cast<size_t>(m_docPageCount));
        for (size_t k = 0; k < sides.size(); ++k) {
            const uint64_t n = k + 1;
            NVR_LOG_DEBUG("Printing physical page {} of {}", n, sides.size());
            if (device->StartPage() <= 0) {
                NVR_LOG_ERROR("Failed to start physical page {} (Error: {})", n,
                              device->LastError());
                device->AbortDoc();
                return false;
            }
            if (!RenderSide(device, sides[k], ParamsFor(Printer))) {
                NVR_LOG_ERROR("Failed to render physical page {}", n);
                device->EndPage();
                device->AbortDoc();
                return false;
            }
            if (device->EndPage() <= 0) {
                NVR_LOG_ERROR("Failed to end physical page {} (Error: {})", n, device->LastError());
                device->AbortDoc();
                return false;
            }
            PostPrintProgress(notifyWindow, n, sides.size());
        }
    }

    if (device->EndDoc() <= 0) {
        NVR_LOG_ERROR("Failed to end document (Error: {})", device->LastError());
        return false;
    }
    NVR_LOG_INFO("Successfully completed print job '{}' ({} pages)", jobTitle, m_docPageCount);
    return true;
}

}  // namespace docmgr
