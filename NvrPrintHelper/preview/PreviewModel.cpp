#include "NvrPrintHelper/preview/PreviewModel.h"

#include <algorithm>

namespace nvrprint::preview {

void PreviewModel::SetPageCount(uint64_t pages) {
    m_pageCount = pages;
    m_page = std::clamp<uint64_t>(m_page, 1, std::max<uint64_t>(pages, 1));
}

void PreviewModel::SetSideCount(uint64_t sides) {
    m_sideCount = sides;
    const uint64_t side = std::clamp<uint64_t>(m_side, 1, std::max<uint64_t>(sides, 1));
    if (side != m_side) {
        m_side = side;
        if (m_sheets) {
            Announce(kPageChanged);
        }
    }
}

bool PreviewModel::GoTo(uint64_t number) {
    if (number == 0 || number > Count() || number == Current()) {
        return false;
    }
    (m_sheets ? m_side : m_page) = number;
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

void PreviewModel::Announce(unsigned changes) {
    for (const Observer& observer : m_observers) {
        observer(changes);
    }
}

}  // namespace nvrprint::preview
