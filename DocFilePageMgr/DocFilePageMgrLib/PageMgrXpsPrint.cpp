// Printing of the XPS backend. The pages are drawn by the library into a vector PDF, one page
// per page at its own size, and the printing loop places that file's pages, each on a sheet
// of its own size. The job's device settings (paper, two-sided, colour, resolution, source,
// media type, stapling) go to the printer as job options; the program's N-up, reverse order
// and copies do not apply, so the printer's defaults rule those.
#include <cerrno>
#include <mutex>
#include <utility>

#include "DocFilePageMgr/DocFilePageMgrLib/DrawnPagesPdf.h"
#include "DocFilePageMgr/DocFilePageMgrLib/PageMgrXpsPrivate.h"
#include "DocFilePageMgr/DocFilePageMgrLib/PrintDevice.h"
#include "logging/LogMacros.h"

namespace docmgr {

bool PageMgrXps::WriteJobPdf(const std::string& path) {
    auto sizeOf = [this](size_t index) {
        const PageSize size = DrawingSize(index);
        return DrawnPage{ToPoints(size.width), ToPoints(size.height)};
    };
    auto draw = [this](size_t index, cairo_t* cr) {
        // A page at a time, so that a window showing the document waits one page at most.
        std::lock_guard rendering(RenderLock());
        // Straight onto the sheet. An attempt that stops half way is cleared away before the
        // next one: a clear of the whole sheet drops what it drew, so the job never holds it.
        cairo_surface_t* sheet = cairo_get_target(cr);
        bool retry = false;
        return DrawWhole(index, [sheet, &retry] {
            CairoPtr attempt(cairo_create(sheet));
            if (std::exchange(retry, true)) {
                cairo_set_operator(attempt.get(), CAIRO_OPERATOR_CLEAR);
                cairo_paint(attempt.get());
                cairo_set_operator(attempt.get(), CAIRO_OPERATOR_OVER);
            }
            // One scale for both axes: the sheet is the page's own size.
            cairo_scale(attempt.get(), ToPoints(1.0), ToPoints(1.0));
            return attempt;
        });
    };
    return WriteDrawnPagesPdf(path, static_cast<size_t>(m_totalPages), sizeOf, draw,
                              [this](size_t done) { ReportPrintProgress(done, m_totalPages); });
}

bool PageMgrXps::OnPrintStarting(const std::string& printerName, const std::string&,
                                 PrintDevice* device) {
    NVR_LOG_INFO("Native XPS printing to: {}", printerName);
    if (!m_package || m_totalPages == 0) {
        NVR_LOG_ERROR("No XPS package loaded");
        return false;
    }
    if (device == nullptr) {
        NVR_LOG_ERROR("No print device for: {}", printerName);
        return false;
    }
    NVR_LOG_INFO(
        "XPS job: the job's paper, two-sided, colour, resolution, paper source, media type and "
        "stapling go to {} as job options; its N-up, order and copies are not applied "
        "(PagesPerSheet={}, Reverse={}, Copies={})",
        printerName, m_printJobSettings.PagesPerSheet, m_printJobSettings.bReversePages,
        PrintJobSettingsView{m_printJobSettings}.Copies());

    auto jobPdf = ScratchFile::Create(ScratchDirectory(), "job", "pdf");
    if (!jobPdf) {
        NVR_LOG_ERROR("Failed to create the job's document (Error: {})", jobPdf.error().code);
        return false;
    }
    m_jobPdf = std::move(jobPdf).value();
    if (!WriteJobPdf(m_jobPdf->Path())) {
        NVR_LOG_ERROR("Failed to write XPS package to the job's document");
        return false;
    }
    NVR_LOG_DEBUG("XPS package written to the job's document successfully");
    m_printerName = printerName;
    return true;
}

bool PageMgrXps::OnPlacePage(PrintDevice* device, size_t pageIndex, const PageCell& cell) {
    const nvrprint::Status placed =
        m_jobPdf ? device->PlacePage(VectorPage{m_jobPdf->Path(), pageIndex}, cell)
                 : nvrprint::SystemFailure(ENOENT);
    if (!placed) {
        NVR_LOG_ERROR("Failed to send page {} (Error: {})", pageIndex + 1, placed.error().code);
        return false;
    }
    return true;
}

bool PageMgrXps::OnPrintSent(PrintDevice* device, int jobId) {
    if (!device->FollowJob(jobId)) {
        return false;
    }
    NVR_LOG_INFO("Successfully completed XPS print job to: {}", m_printerName);
    return true;
}

void PageMgrXps::OnPrintEnded() {
    m_jobPdf.reset();
}

}  // namespace docmgr
