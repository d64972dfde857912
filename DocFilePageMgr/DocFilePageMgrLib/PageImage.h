#pragma once

#include <cstdint>
#include <memory>

#include "DocFilePageMgr/DocFilePageMgrLib/DocMgrTypes.h"
#include "platform/Bitmap.h"

namespace docmgr {

// One rendered page, shared by everybody who shows it; owns its bitmap.
class PageImage {
public:
    PageImage(uint64_t pageIndex, RenderTarget target, BitmapPtr bitmap, int32_t width,
              int32_t height);
    ~PageImage();
    PageImage(const PageImage&) = delete;
    PageImage& operator=(const PageImage&) = delete;

    uint64_t pageIndex;
    RenderTarget target;
    BitmapPtr bitmap;
    int32_t width;
    int32_t height;
};

}  // namespace docmgr
