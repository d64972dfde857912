#include "NvrPrintHelper/preview/PreviewModel.h"

#include <fmt/format.h>

#include <algorithm>

namespace nvrprint::preview {

void PreviewModel::SetPageCount(uint64_t pages) {
    m_pageCount = pages;
    m_page = std::clamp<uint64_t>(m_page, 1, std::max<uint64_t>(pages, 1));
}

std::string SheetStatusText(const SheetSides& sides, uint64_t side) {
    const uint64_t count = sides.pages.size();
    std::string text = sides.twoSided
                           ? fmt::format("Sheet {} of {}, {}", (side + 1) / 2, (count + 1) / 2,
                                         side % 2 == 1 ? "front" : "back")
                           : fmt::format("Sheet {} of {}", side, count);
    if (side >= 1 && side <= count && sides.pages[side - 1].empty()) {
        text += " (blank)";
    }
    return text;
}

void PreviewModel::SetSheetSides(SheetSides sides) {
    m_sides = std::move(sides);
    const uint64_t side =
        std::clamp<uint64_t>(m_side, 1, std::max<uint64_t>(m_sides.pages.size(), 1));
    if (side != m_side) {
        m_side = side;
        if (m_sheets) {
            Announce(kPageChanged);
        }
    }
}

uint64_t PreviewModel::SideOfPage(uint64_t page) const {
    for (size_t i = 0; i < m_sides.pages.size(); ++i) {
        const std::vector<uint64_t>& pages = m_sides.pages[i];
        if (std::find(pages.begin(), pages.end(), page) != pages.end()) {
            return i + 1;
        }
    }
    return 0;
}

bool PreviewModel::IsOnShow(uint64_t page) const {
    if (!m_sheets) {
        return page == m_page;
    }
    if (m_side == 0 || m_side > m_sides.pages.size()) {
        return false;
    }
    const std::vector<uint64_t>& pages = m_sides.pages[m_side - 1];
    return std::find(pages.begin(), pages.end(), page) != pages.end();
}

bool PreviewModel::GoTo(uint64_t number) {
    if (number == 0 || number > Count() || number == Current()) {
        return false;
    }
    (m_sheets ? m_side : m_page) = number;
    FollowSide();
    m_scroll = {};
    Announce(kPageChanged | kScrollChanged);
    return true;
}

bool PreviewModel::Step(PageStep step) {
    const uint64_t current = Current();
    switch (step) {
        case PageStep::Previous:
            return current > 1 && GoTo(current - 1);
        case PageStep::Next:
            return current < Count() && GoTo(current + 1);
        case PageStep::First:
            return GoTo(1);
        case PageStep::Last:
            return GoTo(Count());
    }
    return false;
}

void PreviewModel::ShowSheets(bool sheets) {
    if (sheets == m_sheets) {
        return;
    }
    m_sheets = sheets;
    m_scroll = {};
    FollowSide();
    Announce(kViewChanged | kPageChanged | kScrollChanged);
}

void PreviewModel::SetZoom(ZoomState state) {
    if (state.zoom == m_zoom && state.scroll == m_scroll) {
        return;
    }
    m_zoom = state.zoom;
    m_scroll = state.scroll;
    Announce(kZoomChanged | kScrollChanged);
}

void PreviewModel::SetScroll(Scroll scroll) {
    if (scroll == m_scroll) {
        return;
    }
    m_scroll = scroll;
    Announce(kScrollChanged);
}

bool PreviewModel::TakeFitRequest() {
    const bool waiting = m_fitWaiting;
    m_fitWaiting = false;
    return waiting;
}

void PreviewModel::FollowSide() {
    if (m_sheets && m_side >= 1 && m_side <= m_sides.pages.size() &&
        !m_sides.pages[m_side - 1].empty()) {
        m_page = std::clamp<uint64_t>(m_sides.pages[m_side - 1].front(), 1,
                                      std::max<uint64_t>(m_pageCount, 1));
    }
}

void PreviewModel::Announce(unsigned changes) {
    for (const Observer& observer : m_observers) {
        observer(changes);
    }
}

}  // namespace nvrprint::preview
