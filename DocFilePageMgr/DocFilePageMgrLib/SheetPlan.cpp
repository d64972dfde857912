#include "DocFilePageMgr/DocFilePageMgrLib/SheetPlan.h"

#include <algorithm>
#include <numeric>

#include "logging/LogMacros.h"

namespace docmgr {
namespace {

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

// The sides of one copy, without what closes it: the pages in the program's order, a
// sheet side's worth at a time.
std::vector<PhysicalPage> SidesInOrder(const nvrprint::PrintJobSettings& job, size_t totalPages) {
    const int32_t perSheet = std::max(job.PagesPerSheet, 1);
    std::vector<uint64_t> order(totalPages);
    std::iota(order.begin(), order.end(), uint64_t{0});
    if (job.bReversePages) {
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

}  // namespace

PageCell::Fit SideFitFor(const nvrprint::PrintJobSettings& job, bool programLaysOutSheets) {
    if (!programLaysOutSheets) {
        return PageCell::WholeSheet;
    }
    return PrintJobSettingsView{job}.Transformed() ? PageCell::FitCell : PageCell::NaturalSize;
}

std::vector<PhysicalPage> PhysicalPageList(const nvrprint::PrintJobSettings& job,
                                           size_t totalPages) {
    const PrintJobSettingsView view{job};
    const int copies = view.Copies();
    const bool collate = view.Collated();
    NVR_LOG_INFO(
        "Building physical page list: totalPages={}, PagesPerSheet={}, Reverse={}, "
        "Copies={}, Collate={}",
        totalPages, job.PagesPerSheet, job.bReversePages, copies, collate);
    const std::vector<PhysicalPage> base = SidesInOrder(job, totalPages);

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

std::vector<PhysicalPage> SidesOfOneCopy(const nvrprint::PrintJobSettings& job, size_t totalPages,
                                         bool programLaysOutSheets) {
    if (SideFitFor(job, programLaysOutSheets) != PageCell::FitCell) {
        std::vector<PhysicalPage> sides;
        for (uint64_t i = 0; i < totalPages; ++i) {
            sides.push_back(PhysicalPage{{i}});
        }
        return sides;
    }
    const PrintJobSettingsView view{job};
    const std::vector<PhysicalPage> base = SidesInOrder(job, totalPages);
    return view.TwoSided() && view.Copies() > 1 ? ClosedCopy(base) : base;
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

}  // namespace docmgr
