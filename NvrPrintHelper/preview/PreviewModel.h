#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "NvrPrintHelper/preview/ZoomMath.h"

// What the preview shows: the page or sheet side on show, its zoom and scroll, and a fit
// that waits for the picture. The page view, the thumbnail strip and the status bar observe
// it and never call each other; every change goes through it and is announced once.
namespace nvrprint::preview {

enum Change : unsigned {
    kPageChanged = 1u << 0,    // another page or sheet side is on show
    kZoomChanged = 1u << 1,    // zoom, and with it the scroll
    kScrollChanged = 1u << 2,  // the scroll alone
    kViewChanged = 1u << 3,    // pages or sheets
};

enum class PageStep { Previous, Next, First, Last };

// The sides one copy of the job comes out as: each side's pages, from 1 (none on a blank
// back), in the order they print, and whether the paper is printed on both sides, front
// first.
struct SheetSides {
    std::vector<std::vector<uint64_t>> pages;
    bool twoSided = false;
};

// What the status bar says of a side (1-based): "Sheet 2 of 4, back" on two-sided paper,
// "Sheet 2 of 4" on one-sided paper, "(blank)" added on a side without pages.
std::string SheetStatusText(const SheetSides& sides, uint64_t side);

class PreviewModel {
public:
    using Observer = std::function<void(unsigned changes)>;

    void Observe(Observer observer) { m_observers.push_back(std::move(observer)); }

    // The document's pages; the page on show stays within them.
    void SetPageCount(uint64_t pages);
    // The job's sheet sides, for the sheets view.
    void SetSheetSides(SheetSides sides);
    const SheetSides& Sides() const { return m_sides; }
    // The side that carries the page (both from 1); 0 when none does.
    uint64_t SideOfPage(uint64_t page) const;
    // Whether the page (from 1) is on show: the page itself, or in the sheets view one of the
    // pages of the side on show.
    bool IsOnShow(uint64_t page) const;

    bool ShowsSheets() const { return m_sheets; }
    // The page or, in the sheets view, the sheet side on show, 1-based; 0 when there is none.
    uint64_t Current() const { return m_sheets ? m_side : m_page; }
    uint64_t Count() const { return m_sheets ? m_sides.pages.size() : m_pageCount; }
    uint64_t Page() const { return m_page; }
    double Zoom() const { return m_zoom; }
    Scroll GetScroll() const { return m_scroll; }

    // Goes to a page or side of the view on show, from its top; false when it is out of range
    // or already on show. A side with pages takes the page of the pages view to its first.
    bool GoTo(uint64_t number);
    // Goes to the page (from 1), or in the sheets view to the side that carries it.
    bool ShowPage(uint64_t page) { return GoTo(m_sheets ? SideOfPage(page) : page); }
    // The previous, next, first or last; nothing past either end.
    bool Step(PageStep step);
    // Between the pages and the sheets; the side on show is kept for coming back, and the page
    // follows the side to its first page.
    void ShowSheets(bool sheets);

    void SetZoom(ZoomState state);
    void SetScroll(Scroll scroll);

    // A fit asked for while the picture is not there yet waits for it.
    void AskFit() { m_fitWaiting = true; }
    bool TakeFitRequest();

private:
    void Announce(unsigned changes);
    // In the sheets view, the page of the pages view is the first of the side on show.
    void FollowSide();

    std::vector<Observer> m_observers;
    uint64_t m_pageCount = 0;
    SheetSides m_sides;
    uint64_t m_page = 1;
    uint64_t m_side = 1;
    bool m_sheets = false;
    double m_zoom = 1.0;
    Scroll m_scroll;
    bool m_fitWaiting = false;
};

}  // namespace nvrprint::preview
