#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "NvrPrintHelper/preview/PreviewGeometry.h"

// The thumbnail strip's layout: a column of pictures with their page numbers under them.
// Pages without a picture take no room. Nothing is stored: every question walks the
// column by the same rule.
namespace nvrprint::preview {

inline constexpr int32_t kThumbTop = 15;
inline constexpr int32_t kThumbSide = 15;
inline constexpr int32_t kThumbMaxWidth = 160;
inline constexpr int32_t kThumbLabelBand = 30;
inline constexpr int32_t kThumbGap = 15;
inline constexpr int32_t kThumbLineStep = 30;
inline constexpr int32_t kThumbWheelStepPerNotch = 90;
inline constexpr int32_t kClickSlop = 5;

struct ThumbnailSlot {
    uint64_t page = 0;  // 1-based
    int32_t x = 0;      // picture, in content coordinates (no scroll)
    int32_t top = 0;
    int32_t width = 0;
    int32_t height = 0;
    int32_t Bottom() const { return top + height; }
};

class ThumbnailLayout {
public:
    // One entry per page, in order: the picture's size, or nothing for a page without one.
    ThumbnailLayout(const std::vector<std::optional<Size>>& pictures, int32_t panelWidth);

    const std::vector<ThumbnailSlot>& Slots() const { return m_slots; }
    // The top margin once, then each picture with its label band and gap.
    int32_t ContentHeight() const { return m_contentHeight; }
    // Top of the entry with this 0-based index (without a picture it would have had); 0 past
    // the end.
    int32_t TopOfEntry(size_t index) const;
    // The 1-based page whose picture or label is at panel y; 0 in a gap or past the end.
    uint64_t PageAt(int32_t y, int32_t scroll) const;
    // The scroll that puts a page's top at the middle of the panel, within the content.
    int32_t ScrollForPage(uint64_t page, int32_t clientHeight) const;
    int32_t MaxScroll(int32_t clientHeight) const;

private:
    std::vector<ThumbnailSlot> m_slots;
    std::vector<int32_t> m_entryTops;
    int32_t m_contentHeight = kThumbTop;
};

// Whether a press and release make a click: the pointer stayed within the slop along both
// axes and no drag began.
bool IsClick(int32_t startX, int32_t startY, int32_t x, int32_t y, bool dragged);

}  // namespace nvrprint::preview
