// The program's own share of a print: page order, copies, collation and N-up, and the one
// printing loop that uses them for every backend.
#include <algorithm>
#include <atomic>
#include <numeric>

#include "DocFilePageMgr/DocFilePageMgrLib/DocFilePageMgr.h"
#include "DocFilePageMgr/DocFilePageMgrLib/PrintDevice.h"
#include "logging/LogMacros.h"

namespace docmgr {
namespace {

std::atomic<PrintProgressPoster> s_progressPoster{nullptr};

struct Grid {
    int columns;
    int rows;
};

Grid GridFor(int32_t pagesPerSheet) {
    switch (pagesPerSheet) {
        case 2:
            return {2, 1};
        case 4:
            return {2, 2};
        case 6:
            return {3, 2};
        case 9:
            return {3, 3};
        case 16:
            return {4, 4};
        default:
            return {1, 1};
    }
}

// On two-sided paper a copy must not share a sheet with the next: a copy that ends on a
// front side is closed by a blank back.
std::vector<PhysicalPage> ClosedCopy(const std::vector<PhysicalPage>& base) {
    std::vector<PhysicalPage> copy = base;
    if (copy.size() % 2 != 0) {
        copy.push_back(PhysicalPage{});
    }
    return copy;
}

// Copies on two-sided paper, each closed; uncollated copies repeat whole sheets. A blank back
// at the very end of the job is left out, as the printer ends the sheet anyway.
std::vector<PhysicalPage> TwoSidedCopies(const std::vector<PhysicalPage>& base, int copies,
                                         bool collate) {
    const std::vector<PhysicalPage> closed = ClosedCopy(base);
    std::vector<PhysicalPage> result;
    if (collate) {
        for (int copy = 0; copy < copies; ++copy) {
            result.insert(result.end(), closed.begin(), closed.end());
        }
    } else {
        for (size_t front = 0; front < closed.size(); front += 2) {
            for (int copy = 0; copy < copies; ++copy) {
                result.push_back(closed[front]);
                result.push_back(closed[front + 1]);
            }
        }
    }
    if (!result.empty() && result.back().logicalPages.empty()) {
        result.pop_back();
    }
    return result;
}

}  // namespace

void SetPrintProgressPoster(PrintProgressPoster poster) {
    s_progressPoster.store(poster);
}

void PostPrintProgress(WindowHandle window, uint64_t done, uint64_t total) {
    PrintProgressPoster poster = s_progressPoster.load();
    if (window != nullptr && poster != nullptr) {
        poster(window, done, total);
    }
}

std::vector<PageCell> CellsOnSide(int32_t pagesPerSheet, int printableWidth, int printableHeight,
                                  size_t pagesOnSide) {
    const Grid grid = GridFor(pagesPerSheet);
    PageCell cell;
    cell.fit = PageCell::FitCell;
    cell.width = printableWidth / grid.columns;
    cell.height = printableHeight / grid.rows;
    std::vector<PageCell> cells;
    for (size_t i = 0; i < pagesOnSide; ++i) {
        cell.x = static_cast<int>(i) % grid.columns * cell.width;
        cell.y = static_cast<int>(i) / grid.columns * cell.height;
        cells.push_back(cell);
    }
    return cells;
}

// The sides of one copy, without what closes it: the pages in the program's order, a
// sheet side's worth at a time.
std::vector<PhysicalPage> DocFilePageMgr::SidesInOrder(size_t totalPages) const {
    const int32_t perSheet = std::max(m_printJobSettings.PagesPerSheet, 1);
    std::vector<uint64_t> order(totalPages);
    std::iota(order.begin(), order.end(), uint64_t{0});
    if (m_printJobSettings.bReversePages) {
        std::reverse(order.begin(), order.end());
        NVR_LOG_DEBUG("Reversed page order");
    }
    std::vector<PhysicalPage> sides;
    for (size_t start = 0; start < order.size(); start += static_cast<size_t>(perSheet)) {
        const size_t end = std::min(order.size(), start + static_cast<size_t>(perSheet));
        sides.push_back(PhysicalPage{{order.begin() + static_cast<std::ptrdiff_t>(start),
                                      order.begin() + static_cast<std::ptrdiff_t>(end)}});
    }
    NVR_LOG_DEBUG("{} sides from {} logical pages, {} per side", sides.size(), totalPages,
                  perSheet);
    return sides;
}

std::vector<PhysicalPage> DocFilePageMgr::SheetSidesOfOneCopy(size_t totalPages) const {
    if (SideFit() != PageCell::FitCell) {
        std::vector<PhysicalPage> sides;
        PlanSides(totalPages, &sides);
        return sides;
    }
    const PrintJobSettingsView view{m_printJobSettings};
    const std::vector<PhysicalPage> base = SidesInOrder(totalPages);
    return view.TwoSided() && view.Copies() > 1 ? ClosedCopy(base) : base;
}

std::vector<PhysicalPage> DocFilePageMgr::BuildPhysicalPageList(size_t totalPages) const {
    const PrintJobSettingsView view{m_printJobSettings};
    const int copies = view.Copies();
    const bool collate = view.Collated();
    NVR_LOG_INFO(
        "Building physical page list: totalPages={}, PagesPerSheet={}, Reverse={}, "
        "Copies={}, Collate={}",
        totalPages, m_printJobSettings.PagesPerSheet, m_printJobSettings.bReversePages, copies,
        collate);
    const std::vector<PhysicalPage> base = SidesInOrder(totalPages);

    if (copies < 2) {
        return base;
    }
    NVR_LOG_DEBUG("Handling {} copies (collate={})", copies, collate);
    std::vector<PhysicalPage> result;
    if (view.TwoSided()) {
        result = TwoSidedCopies(base, copies, collate);
        NVR_LOG_DEBUG("Two-sided {}: {} physical pages total, every copy on sheets of its own",
                      collate ? "collated" : "uncollated", result.size());
        return result;
    }
    result.reserve(base.size() * static_cast<size_t>(copies));
    if (collate) {
        for (int copy = 0; copy < copies; ++copy) {
            result.insert(result.end(), base.begin(), base.end());
        }
        NVR_LOG_DEBUG("Collated: {} physical pages total", result.size());
    } else {
        for (const PhysicalPage& page : base) {
            result.insert(result.end(), static_cast<size_t>(copies), page);
        }
        NVR_LOG_DEBUG("Uncollated: {} physical pages total", result.size());
    }
    return result;
}

bool DocFilePageMgr::RenderSide(PrintDevice* device, const PhysicalPage& side) {
    if (side.logicalPages.empty()) {
        NVR_LOG_DEBUG("Blank back side: the copy ends on a front side");
        return true;
    }
    return RenderNUpPage(device, side);
}

bool DocFilePageMgr::RenderNUpPage(PrintDevice* device, const PhysicalPage& page) {
    if (page.logicalPages.empty()) {
        NVR_LOG_WARNING("Physical page has no logical pages");
        return false;
    }
    const int pageWidth = device->GetDeviceCaps(HORZRES);
    const int pageHeight = device->GetDeviceCaps(VERTRES);
    NVR_LOG_DEBUG("Rendering {} logical pages on physical page ({}x{})", page.logicalPages.size(),
                  pageWidth, pageHeight);
    const std::vector<PageCell> cells = CellsOnSide(m_printJobSettings.PagesPerSheet, pageWidth,
                                                    pageHeight, page.logicalPages.size());
    for (size_t i = 0; i < page.logicalPages.size(); ++i) {
        const uint64_t logical = page.logicalPages[i];
        NVR_LOG_VERBOSE("Rendering logical page {} at ({},{})", logical + 1, cells[i].x,
                        cells[i].y);
        if (!OnPlacePage(device, static_cast<size_t>(logical), cells[i])) {
            NVR_LOG_ERROR("Failed to render logical page {}", logical + 1);
            return false;
        }
    }
    return true;
}

PageCell::Fit DocFilePageMgr::SideFit() const {
    if (!LaysOutSheets()) {
        return PageCell::WholeSheet;
    }
    return PrintJobSettingsView{m_printJobSettings}.Transformed() ? PageCell::FitCell
                                                                  : PageCell::NaturalSize;
}

PageCell::Fit DocFilePageMgr::PlanSides(uint64_t pageCount,
                                        std::vector<PhysicalPage>* sides) const {
    const PrintJobSettingsView view{m_printJobSettings};
    const PageCell::Fit fit = SideFit();
    if (fit == PageCell::FitCell) {
        NVR_LOG_INFO(
            "Applying application-level transformations (N-up: {}, Reverse: {}, Copies: "
            "{}, Collate: {})",
            m_printJobSettings.PagesPerSheet, m_printJobSettings.bReversePages, view.Copies(),
            view.Collated());
        *sides = BuildPhysicalPageList(static_cast<size_t>(pageCount));
        return fit;
    }
    sides->clear();
    for (uint64_t i = 0; i < pageCount; ++i) {
        sides->push_back(PhysicalPage{{i}});
    }
    if (fit == PageCell::NaturalSize) {
        NVR_LOG_DEBUG("Standard page-by-page rendering");
    } else {
        NVR_LOG_DEBUG("Every page on a sheet of its own size: {} page(s)", pageCount);
    }
    return fit;
}

bool DocFilePageMgr::PrintSide(PrintDevice* device, const PhysicalPage& side, PageCell::Fit fit,
                               uint64_t number) {
    const char* what = fit == PageCell::FitCell ? "physical page" : "page";
    int started = 0;
    if (fit == PageCell::WholeSheet) {
        double width = 0.0;
        double height = 0.0;
        OnGetPageSizePoints(static_cast<size_t>(side.logicalPages.front()), &width, &height);
        started = device->StartPageOfSize(width, height);
    } else {
        started = device->StartPage();
    }
    if (started <= 0) {
        NVR_LOG_ERROR("Failed to start {} {} (Error: {})", what, number, device->LastError());
        device->AbortDoc();
        return false;
    }
    bool placed = false;
    if (fit == PageCell::FitCell) {
        placed = RenderSide(device, side);
    } else {
        // One page, from the printable area's corner or filling its own sheet.
        PageCell cell;
        cell.fit = fit;
        cell.width = device->GetDeviceCaps(HORZRES);
        cell.height = device->GetDeviceCaps(VERTRES);
        placed = OnPlacePage(device, static_cast<size_t>(side.logicalPages.front()), cell);
    }
    if (!placed) {
        if (fit == PageCell::FitCell) {
            NVR_LOG_ERROR("Failed to render physical page {}", number);
        } else {
            NVR_LOG_ERROR("Failed to load page {}", number);
        }
        device->EndPage();
        device->AbortDoc();
        return false;
    }
    if (device->EndPage() <= 0) {
        NVR_LOG_ERROR("Failed to end {} {} (Error: {})", what, number, device->LastError());
        device->AbortDoc();
        return false;
    }
    return true;
}

bool DocFilePageMgr::RenderDocToPrinter(const std::string& printerName, const std::string& jobTitle,
                                        PrintDevice* device, WindowHandle notifyWindow) {
    struct Ended {
        DocFilePageMgr* manager;
        ~Ended() {
            manager->OnPrintEnded();
            manager->m_printProgressWindow = nullptr;
        }
    } ended{this};
    m_printProgressWindow = notifyWindow;
    if (!OnPrintStarting(printerName, jobTitle, device)) {
        return false;
    }
    const uint64_t pageCount = OnGetPageCount();
    const int jobId = device->StartDoc(jobTitle);
    if (jobId <= 0) {
        NVR_LOG_ERROR("Failed to start document (Error: {})", device->LastError());
        return false;
    }
    NVR_LOG_DEBUG("Document started successfully");
    NVR_LOG_DEBUG("Printer DPI: {}x{}", device->GetDeviceCaps(LOGPIXELSX),
                  device->GetDeviceCaps(LOGPIXELSY));

    std::vector<PhysicalPage> sides;
    const PageCell::Fit fit = PlanSides(pageCount, &sides);
    for (size_t k = 0; k < sides.size(); ++k) {
        const uint64_t n = k + 1;
        NVR_LOG_DEBUG("Printing {} {} of {}", fit == PageCell::FitCell ? "physical page" : "page",
                      n, sides.size());
        if (!PrintSide(device, sides[k], fit, n)) {
            return false;
        }
        // A backend that sends its pages as they are has drawn them before the job, and
        // reported each as it drew it.
        if (LaysOutSheets()) {
            ReportPrintProgress(n, sides.size());
        }
    }

    if (device->EndDoc() <= 0) {
        NVR_LOG_ERROR("Failed to end document (Error: {})", device->LastError());
        return false;
    }
    if (!OnPrintSent(device, jobId)) {
        return false;
    }
    NVR_LOG_INFO("Successfully completed print job '{}' ({} pages)", jobTitle, pageCount);
    return true;
}

}  // namespace docmgr
