#include "DocFilePageMgr/DocFilePageMgrLib/PageImageCache.h"

namespace docmgr {

namespace {

// The parameters of a target among the three; any other target is drawn as the screen's.
template <typename Params>
Params& Of(RenderTarget target, Params& thumbnail, Params& screen, Params& printer) {
    return target == Thumbnail ? thumbnail : target == Printer ? printer : screen;
}

}  // namespace

TargetParams PageImageCache::Params(RenderTarget target) const {
    std::lock_guard lock(m_lock);
    return Of(target, m_thumbnail, m_screen, m_printer);
}

void PageImageCache::SetParams(RenderTarget target, const TargetParams& params) {
    if (target != Thumbnail && target != Screen && target != Printer) {
        return;
    }
    std::lock_guard lock(m_lock);
    Of(target, m_thumbnail, m_screen, m_printer) = params;
}

std::shared_ptr<PageImage> PageImageCache::Find(size_t pageIndex, RenderTarget target) {
    std::lock_guard lock(m_lock);
    std::shared_ptr<PageImage> found;
    for (auto row = m_rows.begin(); row != m_rows.end();) {
        std::shared_ptr<PageImage> alive = row->image.lock();
        if (!alive) {
            row = m_rows.erase(row);
            continue;
        }
        if (!found && row->pageIndex == pageIndex && row->target == target) {
            found = std::move(alive);
        }
        ++row;
    }
    return found;
}

void PageImageCache::Add(const std::shared_ptr<PageImage>& image) {
    std::lock_guard lock(m_lock);
    m_rows.push_back(Row{image->pageIndex, image->target, image});
}

void PageImageCache::Clear() {
    std::lock_guard lock(m_lock);
    m_rows.clear();
}

size_t PageImageCache::Size() const {
    std::lock_guard lock(m_lock);
    return m_rows.size();
}

}  // namespace docmgr
