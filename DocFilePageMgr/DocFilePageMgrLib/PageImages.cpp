// Page images, drawn by the backend and kept in the cache while in use, and page sizes.

#include "DocFilePageMgr/DocFilePageMgrLib/DocFilePageMgr.h"
#include "logging/LogMacros.h"

namespace docmgr {

void DocFilePageMgr::SetTargetParams(RenderTarget target, const TargetParams& params) {
    m_images.SetParams(target, params);
    NVR_LOG_VERBOSE("Set {} params - DPI: {}x{}, Scale: {}", RenderTargetName(target), params.dpiX,
                    params.dpiY, params.scale);
}

std::shared_ptr<PageImage> DocFilePageMgr::GetPageImage(size_t pageNumber, RenderTarget target) {
    NVR_LOG_ENTRY("Entered");
    if (pageNumber == 0 || pageNumber > m_pageCount) {
        NVR_LOG_ERROR("Invalid page number {} (valid range: 1-{})", pageNumber, m_pageCount);
        NVR_LOG_ENTRY("Returning nullptr (invalid page number)");
        return nullptr;
    }
    size_t index = pageNumber - 1;
    NVR_LOG_VERBOSE("Requesting page {}", pageNumber);

    if (std::shared_ptr<PageImage> cached = m_images.Find(index, target)) {
        NVR_LOG_ENTRY("Returning cached PageImage");
        return cached;
    }

    NVR_LOG_DEBUG("Rendering page {}", pageNumber);
    const TargetParams params = m_images.Params(target);
    double width = 0.0;
    double height = 0.0;
    OnGetPageSizePoints(index, &width, &height);
    int32_t pixelWidth = PixelsForPoints(width, params.scale, params.dpiX);
    int32_t pixelHeight = PixelsForPoints(height, params.scale, params.dpiY);

    BitmapPtr bitmap;
    {
        // One render at a time: the document's engine is not safe across threads.
        std::lock_guard rendering(m_renderLock);
        bitmap = OnRenderPageBitmap(index, params);
    }
    if (!bitmap) {
        NVR_LOG_ERROR("Failed to render page {}", pageNumber);
        NVR_LOG_ENTRY("Returning nullptr (render failed)");
        return nullptr;
    }
    NVR_LOG_VERBOSE("Successfully rendered page {} ({}x{})", pageNumber, pixelWidth, pixelHeight);
    if (m_eventCallback) {
        FireEvent(PageImageAvailable, PageImageAvailableData{pageNumber});
    }
    auto image =
        std::make_shared<PageImage>(index, target, std::move(bitmap), pixelWidth, pixelHeight);
    m_images.Add(image);
    NVR_LOG_ENTRY("Returning new PageImage");
    return image;
}

bool DocFilePageMgr::GetPageSizePoints(size_t pageNumber, double* width, double* height) {
    if (pageNumber == 0 || pageNumber > m_pageCount) {
        NVR_LOG_ERROR("Invalid page number {} (valid range: 1-{})", pageNumber, m_pageCount);
        return false;
    }
    return OnGetPageSizePoints(pageNumber - 1, width, height);
}

}  // namespace docmgr
