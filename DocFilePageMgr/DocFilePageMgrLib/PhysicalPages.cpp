// The program's own share of a print: page order, copies, collation and N-up, and the one
// printing loop that uses them for every backend.
#include "DocFilePageMgr/DocFilePageMgrLib/DocFilePageMgr.h"
#include "DocFilePageMgr/DocFilePageMgrLib/PrintDevice.h"
#include "DocFilePageMgr/DocFilePageMgrLib/SheetPlan.h"
#include "logging/LogMacros.h"

namespace docmgr {
std::vector<PhysicalPage> DocFilePageMgr::BuildPhysicalPageList(size_t totalPages) const {
    return PhysicalPageList(m_printJobSettings, totalPages);
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

PageCell::Fit DocFilePageMgr::PlanSides(uint64_t pageCount,
                                        std::vector<PhysicalPage>* sides) const {
    const PrintJobSettingsView view{m_printJobSettings};
    const PageCell::Fit fit = SideFitFor(m_printJobSettings, LaysOutSheets());
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
    nvrprint::Status started;
    if (fit == PageCell::WholeSheet) {
        double width = 0.0;
        double height = 0.0;
        OnGetPageSizePoints(static_cast<size_t>(side.logicalPages.front()), &width, &height);
        started = device->StartPageOfSize(width, height);
    } else {
        started = device->StartPage();
    }
    if (!started) {
        NVR_LOG_ERROR("Failed to start {} {} (Error: {})", what, number, started.error().code);
        (void)device->AbortDoc();
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
        (void)device->EndPage();
        (void)device->AbortDoc();
        return false;
    }
    if (const nvrprint::Status ended = device->EndPage(); !ended) {
        NVR_LOG_ERROR("Failed to end {} {} (Error: {})", what, number, ended.error().code);
        (void)device->AbortDoc();
        return false;
    }
    return true;
}

bool DocFilePageMgr::RenderDocToPrinter(const std::string& printerName, const std::string& jobTitle,
                                        PrintDevice* device, PrintProgress progress) {
    struct Ended {
        DocFilePageMgr* manager;
        ~Ended() {
            manager->OnPrintEnded();
            manager->m_printProgress = nullptr;
        }
    } ended{this};
    m_printProgress = std::move(progress);
    if (!OnPrintStarting(printerName, jobTitle, device)) {
        return false;
    }
    const uint64_t pageCount = OnGetPageCount();
    const nvrprint::Result<int> started = device->StartDoc(jobTitle);
    if (!started) {
        NVR_LOG_ERROR("Failed to start document (Error: {})", started.error().code);
        return false;
    }
    const int jobId = *started;
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

    if (const nvrprint::Status ended = device->EndDoc(); !ended) {
        NVR_LOG_ERROR("Failed to end document (Error: {})", ended.error().code);
        return false;
    }
    if (!OnPrintSent(device, jobId)) {
        return false;
    }
    NVR_LOG_INFO("Successfully completed print job '{}' ({} pages)", jobTitle, pageCount);
    return true;
}

}  // namespace docmgr
