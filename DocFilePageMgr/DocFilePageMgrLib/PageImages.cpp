// Page images: target parameters, the weak page cache, page sizes and blank bitmaps.
#include <cerrno>

#include "DocFilePageMgr/DocFilePageMgrLib/DocFilePageMgr.h"
#include "logging/LogMacros.h"

namespace docmgr {

const TargetParams& DocFilePageMgr::ParamsFor(RenderTarget target) const {
    switch (target) {
        case Thumbnail:
            return m_thumbnailParams;
        case Printer:
            return m_printerParams;
        default:
            return m_screenParams;
    }
}

void DocFilePageMgr::SetTargetParams(RenderTarget target, const TargetParams& params) {
    std::lock_guard cache(m_cacheLock);
    switch (target) {
        case Thumbnail:
            m_thumbnailParams = params;
            break;
        case Screen:
            m_screenParams = params;
            break;
        case Printer:
            m_printerParams = params;
            break;
        default:
            break;
    }
    NVR_LOG_VERBOSE("Set {} params - DPI: {}x{}, Scale: {}", RenderTargetName(target), params.dpiX,
                    params.dpiY, params.scale);
}

std::shared_ptr<PageImage> DocFilePageMgr::FindCachedImage(size_t index, RenderTarget target) {
    std::lock_guard cache(m_cacheLock);
    std::shared_ptr<PageImage> found;
    for (auto row = m_pageCache.begin(); row != m_pageCache.end();) {
        std::shared_ptr<PageImage> alive = row->image.lock();
        if (!alive) {
            row = m_pageCache.erase(row);
            continue;
        }
        if (!found && row->pageIndex == index && row->target == target) {
            found = std::move(alive);
        }
        ++row;
    }
    return found;
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

    if (std::shared_ptr<PageImage> cached = FindCachedImage(index, target)) {
        NVR_LOG_ENTRY("Returning cached PageImage");
        return cached;
    }

    NVR_LOG_DEBUG("Rendering page {}", pageNumber);
    TargetParams params;
    {
        std::lock_guard cache(m_cacheLock);
        params = ParamsFor(target);
    }
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
    {
        std::lock_guard cache(m_cacheLock);
        m_pageCache.push_back(PageCacheEntry{index, target, image});
    }
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

BitmapPtr DocFilePageMgr::CreateDIBSectionBitmap(int32_t width, int32_t height, uint8_t** bits) {
    BitmapPtr bitmap = Bitmap::Create(width, height);
    if (bits != nullptr) {
        *bits = bitmap ? bitmap->Bits() : nullptr;
    }
    if (!bitmap) {
        NVR_LOG_ERROR("Failed to create DIB section ({}x{}) - Error: {}", width, height, ENOMEM);
        return nullptr;
    }
    NVR_LOG_VERBOSE("Created DIB section {}x{}", width, height);
    return bitmap;
}

}  // namespace docmgr
