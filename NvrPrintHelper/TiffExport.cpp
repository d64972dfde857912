// The diagnostic copy of a job: every page at printer resolution, as frames of one TIFF.
#include <exception>

#include "NvrPrintHelper/NvrPrintHelper.h"
#include "SystemServices/PageFrameExport.h"
#include "logging/LogMacros.h"
#include "platform/OrderedWork.h"

namespace nvrprint {
namespace {

constexpr int32_t kExportDpi = 300;

}  // namespace

bool NvrPrintHelper::ExportToTiff() {
    NVR_LOG_ENTRY("Entered");
    NVR_LOG_INFO("Starting TIFF export to: {}", m_imagePath);
    if (!m_docMgr) {
        NVR_LOG_ERROR("No document manager available");
        return false;
    }
    const uint64_t pageCount = m_docMgr->m_pageCount;
    if (pageCount == 0) {
        NVR_LOG_ERROR("Document has no pages");
        return false;
    }
    if (m_imagePathIsDefault) {
        // A name in a shared directory is taken only as a new file of our own.
        Result<platform::UniqueFd> file = m_os.files->CreateNewPrivateFile(m_imagePath);
        const Status created = file ? file->Close() : Status(file.error());
        if (!created) {
            NVR_LOG_ERROR("Failed to create image file (Error: {}): {}", created.error().code,
                          m_imagePath);
            return false;
        }
    }
    // The codec needs no process-wide start; creating it is its session.
    std::unique_ptr<platform::ImageFrameEncoder> encoder = m_os.imageEncoders();
    if (!encoder) {
        NVR_LOG_ERROR("Failed to initialize GDI+");
        return false;
    }
    NVR_LOG_DEBUG("GDI+ initialized successfully");
    m_docMgr->SetTargetParams(docmgr::Printer, docmgr::TargetParams{1.0, kExportDpi, kExportDpi});
    NVR_LOG_INFO("Rendering {} page(s) at 300 DPI", pageCount);
    NVR_LOG_DEBUG("TIFF encoder CLSID obtained");

    // Each page is rendered once; its bands are compressed on every core.
    // No failure of the copy may reach the run: the print it copies has already succeeded.
    try {
        if (!ExportPageFrames(*m_docMgr, pageCount, *encoder, m_imagePath,
                              platform::WorkersForCores())) {
            return false;
        }
    } catch (const std::exception& e) {
        NVR_LOG_ERROR("Exception during export: {}", e.what());
        return false;
    } catch (...) {
        NVR_LOG_ERROR("Unknown exception during export");
        return false;
    }
    NVR_LOG_INFO("Successfully exported {} page(s) to TIFF: {}", pageCount, m_imagePath);
    NVR_LOG_DEBUG("GDI+ will be automatically shut down");
    NVR_LOG_ENTRY("Returning {}", true);
    return true;
}

}  // namespace nvrprint
