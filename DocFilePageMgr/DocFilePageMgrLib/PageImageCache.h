#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "DocFilePageMgr/DocFilePageMgrLib/DocMgrTypes.h"
#include "DocFilePageMgr/DocFilePageMgrLib/PageImage.h"

namespace docmgr {

// The page images in use and the parameters each target is drawn with. The cache holds its
// images weakly: an image lives as long as somebody shows it, and a page asked again while it
// does is not drawn twice. Safe to use from several threads.
class PageImageCache {
public:
    TargetParams Params(RenderTarget target) const;
    void SetParams(RenderTarget target, const TargetParams& params);

    // The live image of the page for the target; null when there is none. Rows whose image
    // is gone are dropped on the way.
    std::shared_ptr<PageImage> Find(size_t pageIndex, RenderTarget target);
    void Add(const std::shared_ptr<PageImage>& image);
    void Clear();
    size_t Size() const;

private:
    struct Row {
        uint64_t pageIndex;
        RenderTarget target;
        std::weak_ptr<PageImage> image;
    };

    mutable std::mutex m_lock;
    std::vector<Row> m_rows;
    TargetParams m_thumbnail{0.75, 200, 200};
    TargetParams m_screen{1.0, 300, 300};
    TargetParams m_printer{1.0, 600, 600};
};

}  // namespace docmgr
