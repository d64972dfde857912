#include "NvrPrintHelper/preview/ThumbnailLayout.h"

#include <algorithm>
#include <cstdlib>

namespace nvrprint::preview {

ThumbnailLayout::ThumbnailLayout(const std::vector<std::optional<Size>>& pictures,
                                 int32_t panelWidth) {
    int32_t avail = panelWidth - 2 * kThumbSide;
    int32_t drawWidth = std::min(kThumbMaxWidth, avail);
    int32_t x = std::max(kThumbSide, (avail - drawWidth) / 2 + kThumbSide);
    int32_t y = kThumbTop;
    m_entryTops.reserve(pictures.size());
    for (size_t i = 0; i < pictures.size(); ++i) {
        m_entryTops.push_back(y);
        const auto& picture = pictures[i];
        if (!picture || picture->width <= 0) {
            continue;
        }
        auto drawHeight =
            static_cast<int32_t>(static_cast<double>(picture->height) * drawWidth / picture->width);
        m_slots.push_back(ThumbnailSlot{i + 1, x, y, drawWidth, drawHeight});
        y += drawHeight + kThumbLabelBand + kThumbGap;
    }
    m_contentHeight = y;
}

int32_t ThumbnailLayout::TopOfEntry(size_t index) const {
    return index < m_entryTops.size() ? m_entryTops[index] : 0;
}

uint64_t ThumbnailLayout::PageAt(int32_t y, int32_t scroll) const {
    int32_t contentY = y + scroll;
    for (const ThumbnailSlot& slot : m_slots) {
        if (contentY >= slot.top && contentY <= slot.Bottom() + kThumbLabelBand) {
            return slot.page;
        }
    }
    return 0;
}

int32_t ThumbnailLayout::MaxScroll(int32_t clientHeight) const {
    return std::max(0, m_contentHeight - clientHeight);
}

int32_t ThumbnailLayout::ScrollForPage(uint64_t page, int32_t clientHeight) const {
    if (page == 0 || page > m_entryTops.size()) {
        return 0;
    }
    int32_t target = std::max(0, TopOfEntry(page - 1) - clientHeight / 2);
    return std::min(target, MaxScroll(clientHeight));
}

bool IsClick(int32_t startX, int32_t startY, int32_t x, int32_t y, bool dragged) {
    return !dragged && std::abs(x - startX) < kClickSlop && std::abs(y - startY) < kClickSlop;
}

}  // namespace nvrprint::preview
