// The diagnostic copy of a job: every page at printer resolution, as frames of one TIFF.
#include <stdexcept>

#include "NvrPrintHelper/NvrPrintHelper.h"
#include "logging/LogMacros.h"

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
        int error = 0;
        platform::UniqueFd file = m_os.files->CreateNewPrivateFile(m_imagePath, &error);
        if (!file.IsOpen() || !file.Close()) {
            NVR_LOG_ERROR("Failed to create image file (Error: {}): {}", error, m_imagePath);
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

    try {
        // Page 1's image stays until the end: the file was created through it.
        std::shared_ptr<docmgr::PageImage> firstImage;
        for (uint64_t n = 1; n <= pageCount; ++n) {
            NVR_LOG_DEBUG("Processing page {} of {}", n, pageCount);
            std::shared_ptr<docmgr::PageImage> image =
                m_docMgr->GetPageImage(static_cast<size_t>(n), docmgr::Printer);
            if (!image) {
                NVR_LOG_ERROR("Failed to render page {}", n);
                throw std::runtime_error("Failed to render page");
            }
            if (!image->bitmap) {
                NVR_LOG_ERROR("Invalid bitmap handle for page {}", n);
                throw std::runtime_error("Invalid bitmap handle");
            }
            const docmgr::Bitmap& bitmap = *image->bitmap;
            NVR_LOG_VERBOSE("Created GDI+ bitmap for page {} ({}x{})", n, bitmap.Width(),
                            bitmap.Height());
            if (n == 1) {
                const int status = encoder->SaveImageToFile(bitmap, m_imagePath);
                if (status != platform::kImageOk) {
                    NVR_LOG_ERROR("Failed to save first page (Status: {})", status);
                    throw std::runtime_error("Failed to save first page");
                }
                NVR_LOG_DEBUG("First page saved successfully");
                firstImage = image;
            } else {
                const int status = encoder->SaveAddImage(bitmap);
                if (status != platform::kImageOk) {
                    NVR_LOG_ERROR("Failed to append page {} (Status: {})", n, status);
                    throw std::runtime_error("Failed to append page");
                }
                NVR_LOG_DEBUG("Page {} appended successfully", n);
            }
        }
        if (pageCount > 1) {
            const int status = encoder->SaveAdd();
            if (status != platform::kImageOk) {
                NVR_LOG_ERROR("Failed to flush TIFF file (Status: {})", status);
                throw std::runtime_error("Failed to flush TIFF file");
            }
            NVR_LOG_DEBUG("Multi-page TIFF file closed successfully");
        } else {
            NVR_LOG_DEBUG("Single-page TIFF saved (no flush needed)");
        }
        NVR_LOG_INFO("Successfully exported {} page(s) to TIFF: {}", pageCount, m_imagePath);
    } catch (const std::exception& e) {
        NVR_LOG_ERROR("Exception during export: {}", e.what());
        return false;
    } catch (...) {
        NVR_LOG_ERROR("Unknown exception during export");
        return false;
    }
    NVR_LOG_DEBUG("GDI+ will be automatically shut down");
    NVR_LOG_ENTRY("Returning {}", true);
    return true;
}

}  // namespace nvrprint
