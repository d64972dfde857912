// The program's own share of a print: page order, copies, collation and N-up, and the
// base printing loop that uses them.
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
// front side is closed by a blank back. Uncollated copies repeat whole sheets. A blank back
// at the very end of the job is left out, as the printer ends the sheet anyway.
std::vector<PhysicalPage> TwoSidedCopies(const std::vector<PhysicalPage>& base, int copies,
                                         bool collate) {
    std::vector<PhysicalPage> result;
    const PhysicalPage blank;
    if (collate) {
        for (int copy = 0; copy < copies; ++copy) {
            result.insert(result.end(), base.begin(), base.end());
            if (base.size() % 2 != 0) {
                result.push_back(blank);
            }
        }
    } else {
        for (size_t front = 0; front < base.size(); front += 2) {
            const PhysicalPage& back = front + 1 < base.size() ? base[front + 1] : blank;
            for (int copy = 0; copy < copies; ++copy) {
                result.push_back(base[front]);
                result.push_back(back);
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

std::vector<PhysicalPage> DocFilePageMgr::BuildPhysicalPageList(size_t totalPages) const {
    const int32_t perSheet = m_printJobSettings.PagesPerSheet;
    const bool reverse = m_printJobSettings.bReversePages;
    const PrintJobSettingsView view{m_printJobSettings};
    const int copies = view.Copies();
    const bool collate = view.Collated();
    NVR_LOG_INFO(
        "Building physical page list: totalPages={}, PagesPerSheet={}, Reverse={}, "
        "Copies={}, Collate={}",
        totalPages, perSheet, reverse, copies, collate);

    std::vector<uint64_t> order(totalPages);
    std::iota(order.begin(), order.end(), uint64_t{0});
    if (reverse) {
        std::reverse(order.begin(), order.end());
        NVR_LOG_DEBUG("Reversed page order");
    }

    std::vector<PhysicalPage> base;
    if (perSheet < 2) {
        for (uint64_t index : order) {
            base.push_back(PhysicalPage{{index}});
        }
    } else {
        NVR_LOG_DEBUG("N-up with {} pages per sheet", perSheet);
        for (size_t start = 0; start < order.size(); start += static_cast<size_t>(perSheet)) {
            size_t end = std::min(order.size(), start + static_cast<size_t>(perSheet));
            base.push_back(PhysicalPage{{order.begin() + static_cast<std::ptrdiff_t>(start),
                                         order.begin() + static_cast<std::ptrdiff_t>(end)}});
        }
        NVR_LOG_DEBUG("Created {} base physical pages from {} logical pages", base.size(),
                      totalPages);
    }

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

bool DocFilePageMgr::RenderSide(PrintDevice* device, const PhysicalPage& side,
                                const TargetParams& params) {
    if (side.logicalPages.empty()) {
        NVR_LOG_DEBUG("Blank back side: the copy ends on a front side");
        return true;
    }
    return RenderNUpPage(device, side, params);
}

bool DocFilePageMgr::RenderNUpPage(PrintDevice* device, const PhysicalPage& page,
                                   const TargetParams& params) {
    if (page.logicalPages.empty()) {
        NVR_LOG_WARNING("Physical page has no logical pages");
        return false;
    }
    const int pageWidth = device->GetDeviceCaps(HORZRES);
    const int pageHeight = device->GetDeviceCaps(VERTRES);
    NVR_LOG_DEBUG("Rendering {} logical pages on physical page ({}x{})", page.logicalPages.size(),
                  pageWidth, pageHeight);
    const Grid grid = GridFor(m_printJobSettings.PagesPerSheet);
    const int cellWidth = pageWidth / grid.columns;
    const int cellHeight = pageHeight / grid.rows;

    for (size_t i = 0; i < page.logicalPages.size(); ++i) {
        const uint64_t logical = page.logicalPages[i];
        const int row = static_cast<int>(i) / grid.columns;
        const int column = static_cast<int>(i) % grid.columns;
        const int x = column * cellWidth;
        const int y = row * cellHeight;
        NVR_LOG_VERBOSE("Rendering logical page {} at position ({},{})", logical + 1, row, column);
        double width = 0.0;
        double height = 0.0;
        OnGetPageSizePoints(static_cast<size_t>(logical), &width, &height);
        const double horizontal = cellWidth / (params.dpiX * width / 72.0);
        const double vertical = cellHeight / (params.dpiY * height / 72.0);
        const double fit = vertical < horizontal ? vertical : horizontal;
        TargetParams fitted = params;
        fitted.scale = fit * params.scale;
        if (!OnDrawPage(device, static_cast<size_t>(logical), fitted, x, y)) {
            NVR_LOG_ERROR("Failed to render logical page {}", logical + 1);
            return false;
        }
    }
    return true;
}

bool DocFilePageMgr::RenderDocToPrinter(const std::string& printerName, const std::string& jobTitle,
                                        PrintDevice* device, WindowHandle notifyWindow) {
    NVR_LOG_INFO("Starting print job '{}' to printer: {}", jobTitle, printerName);
    if (device == nullptr) {
        NVR_LOG_ERROR("Invalid printer DC (null)");
        return false;
    }
    if (m_pageCount == 0) {
        NVR_LOG_ERROR("No pages to print");
        return false;
    }
    int started = device->StartDoc(jobTitle);
    // Both backends print by their own loops; this one keeps its inverted start test.
    if (started > 0) {
        NVR_LOG_ENTRY("Returning false");
        return false;
    }
    const uint32_t jobId = static_cast<uint32_t>(started);
    NVR_LOG_ERROR("Failed to start document (Error: {})", device->LastError());
    if (HasEventCallback()) {
        FireEvent(PrintJobError, PrintJobErrorData{0, "Failed to start print job",
                                                   static_cast<uint32_t>(device->LastError())});
    }
    NVR_LOG_DEBUG("Document started successfully (Job ID: {})", jobId);
    if (HasEventCallback()) {
        FireEvent(PrintJobStarting, PrintJobStartingData{printerName, jobTitle, jobId});
    }
    NVR_LOG_DEBUG("Printer DPI: {}x{}", device->GetDeviceCaps(LOGPIXELSX),
                  device->GetDeviceCaps(LOGPIXELSY));

    auto abort = [&](const std::string& message, bool endPage) {
        if (HasEventCallback()) {
            FireEvent(PrintJobError, PrintJobErrorData{jobId, message, 0});
        }
        if (endPage) {
            device->EndPage();
        }
        device->AbortDoc();
        return false;
    };

    const PrintJobSettingsView view{m_printJobSettings};
    if (!view.Transformed()) {
        NVR_LOG_DEBUG("Standard page-by-page rendering");
        for (uint64_t i = 0; i < m_pageCount; ++i) {
            const uint64_t n = i + 1;
            NVR_LOG_DEBUG("Printing page {} of {}", n, m_pageCount);
            if (device->StartPage() < 1) {
                NVR_LOG_ERROR("Failed to start page {} (Error: {})", n, device->LastError());
                return abort(fmt::format("Failed to start page {}", n), false);
            }
            if (OnDrawPage(device, static_cast<size_t>(i), m_printerParams, 0, 0)) {
                NVR_LOG_VERBOSE("Direct draw succeeded for page {}", n);
            } else {
                NVR_LOG_VERBOSE("Direct draw not available, using bitmap for page {}", n);
                std::shared_ptr<PageImage> image = GetPageImage(static_cast<size_t>(n), Printer);
                if (!image || !device->DrawBitmap(*image->bitmap, 0, 0)) {
                    NVR_LOG_ERROR("Failed to render page {}", n);
                    return abort(fmt::format("Failed to render page {}", n), true);
                }
                NVR_LOG_VERBOSE("Bitmap rendered for page {}", n);
            }
            if (device->EndPage() < 1) {
                NVR_LOG_ERROR("Failed to end page {} (Error: {})", n, device->LastError());
                device->AbortDoc();
                return false;
            }
            PostPrintProgress(notifyWindow, n, m_pageCount);
            if (HasEventCallback()) {
                FireEvent(PrintJobPageSent, PrintJobPageSentData{jobId, n});
            }
        }
    } else {
        NVR_LOG_INFO(
            "Applying application-level transformations (N-up: {}, Reverse: {}, Copies: "
            "{}, Collate: {})",
            m_printJobSettings.PagesPerSheet, m_printJobSettings.bReversePages, view.Copies(),
            view.Collated());
        std::vector<PhysicalPage> sides = BuildPhysicalPageList(static_cast<size_t>(m_pageCount));
        for (size_t k = 0; k < sides.size(); ++k) {
            const uint64_t n = k + 1;
            NVR_LOG_DEBUG("Printing physical page {} of {}", n, sides.size());
            if (device->StartPage() < 1) {
                NVR_LOG_ERROR("Failed to start physical page {} (Error: {})", n,
                              device->LastError());
                return abort(fmt::format("Failed to start physical page {}", n), false);
            }
            if (!RenderSide(device, sides[k], m_printerParams)) {
                NVR_LOG_ERROR("Failed to render physical page {}", n);
                return abort(fmt::format("Failed to render physical page {}", n), true);
            }
            if (device->EndPage() < 1) {
                NVR_LOG_ERROR("Failed to end physical page {} (Error: {})", n, device->LastError());
                device->AbortDoc();
                return false;
            }
            PostPrintProgress(notifyWindow, n, sides.size());
            if (HasEventCallback()) {
                for (uint64_t logical : sides[k].logicalPages) {
                    FireEvent(PrintJobPageSent, PrintJobPageSentData{jobId, logical + 1});
                }
            }
        }
    }

    if (device->EndDoc() > 0) {
        if (HasEventCallback()) {
            FireEvent(PrintJobAllPagesSent, PrintJobAllPagesSentData{jobId, m_pageCount});
        }
        NVR_LOG_INFO("Successfully completed print job '{}' ({} pages)", jobTitle, m_pageCount);
        return true;
    }
    NVR_LOG_ERROR("Failed to end document (Error: {})", device->LastError());
    return false;
}

}  // namespace docmgr
