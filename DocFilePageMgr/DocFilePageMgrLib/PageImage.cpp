#include "DocFilePageMgr/DocFilePageMgrLib/PageImage.h"

#include "logging/LogMacros.h"

namespace docmgr {

PageImage::PageImage(uint64_t pageIndex, RenderTarget target, BitmapPtr bitmap, int32_t width,
                     int32_t height)
    : pageIndex(pageIndex),
      target(target),
      bitmap(std::move(bitmap)),
      width(width),
      height(height) {
    NVR_LOG_VERBOSE("PageImage: Created for page {} ({}x{})", pageIndex + 1, width, height);
}

PageImage::~PageImage() {
    if (bitmap) {
        bitmap.reset();
        NVR_LOG_VERBOSE("PageImage: Destroyed for page {}", pageIndex + 1);
    }
}

}  // namespace docmgr
