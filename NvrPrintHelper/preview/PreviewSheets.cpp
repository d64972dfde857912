// The preview's sheets view: the job as it comes out of the printer, one side of a sheet at a
// time, drawn from the same sides and cells the print uses.
#include "NvrPrintHelper/preview/PreviewWidgets.h"
#include "NvrPrintHelper/preview/PreviewWindow.h"
#include "NvrPrintHelper/preview/PrinterQuery.h"
#include "NvrPrintHelper/preview/SheetPicture.h"
#include "logging/LogMacros.h"

namespace nvrprint {
namespace {

// Sheets are drawn at the resolution of the page view's pictures.
constexpr double kPixelsPerPoint = 300.0 / 72.0;

std::string PagesOf(const docmgr::PhysicalPage& side) {
    if (side.logicalPages.empty()) {
        return "blank";
    }
    std::string pages;
    for (uint64_t index : side.logicalPages) {
        pages += (pages.empty() ? "" : ", ") + std::to_string(index + 1);
    }
    return pages;
}

}  // namespace

struct PreviewWindow::SheetPlan {
    preview::SideLayout layout;
    std::vector<docmgr::PhysicalPage> sides;
};

void PreviewWindow::SetSheetsButton(bool on) {
    m_widgets->settingSheetsButton = true;
    gtk_toggle_tool_button_set_active(GTK_TOGGLE_TOOL_BUTTON(m_widgets->sheetsButton), on);
    m_widgets->settingSheetsButton = false;
}

void PreviewWindow::ShowSheets(bool on) {
    NVR_LOG_INFO("Sheets view: {}", on ? "on" : "off");
    if (!on) {
        m_sheetQuery.reset();
        m_model.ShowSheets(false);
        return;
    }
    if (m_sheetPlan) {
        m_model.ShowSheets(true);
        return;
    }
    if (Printing() || m_pageManager == nullptr) {
        // The job's settings are the print's while it runs.
        NVR_LOG_INFO("The sheets view waits for the print to end");
        SetSheetsButton(false);
        return;
    }
    if (m_printerName.empty()) {
        PlanSheets(preview::OpenedPrinter());
        return;
    }
    preview::ShowBusy(m_widgets->frame, true);
    m_sheetQuery = preview::PrinterQuery::Start(
        m_printers, m_printerName,
        [makeJob = m_makeJob](platform::Printer& printer, const DEVMODEW& defaults) {
            return makeJob(printer, defaults, nullptr);
        },
        [this](preview::OpenedPrinter opened, bool) {
            preview::ShowBusy(m_widgets->frame, false);
            m_sheetQuery.reset();
            PlanSheets(opened);
        });
}

void PreviewWindow::PlanSheets(const preview::OpenedPrinter& opened) {
    if (Printing()) {
        NVR_LOG_INFO("The sheets view waits for the print to end");
        SetSheetsButton(false);
        return;
    }
    // The sides and cells of the job's print, on the sheet it is placed on; without a print
    // for the printer, the job's settings printed one-sided.
    PrintJobSettings job = m_settings != nullptr ? *m_settings : PrintJobSettings();
    job.dmDuplex = -1;
    if (opened.job) {
        job = opened.job->settings;
    }
    std::optional<platform::SheetGeometry> sheet = opened.sheet;
    if (!sheet) {
        NVR_LOG_WARNING("No sheet from the printer; the sheets view shows Letter paper");
        sheet = platform::MakeSheetGeometry(platform::MediaSize{}, false, 300, 300);
    }
    const bool programLaysOut = m_pageManager->LaysOutSheets();
    auto plan = std::make_shared<SheetPlan>();
    plan->layout = {*sheet, job.PagesPerSheet, docmgr::SideFitFor(job, programLaysOut)};
    plan->sides = docmgr::SidesOfOneCopy(job, m_pageManager->m_pageCount, programLaysOut);
    NVR_LOG_INFO("Sheets view: {} side(s) of one copy on a {}x{} pt sheet", plan->sides.size(),
                 sheet->widthPoints, sheet->heightPoints);
    for (size_t i = 0; i < plan->sides.size(); ++i) {
        NVR_LOG_DEBUG("Sheet {}: pages {}", i + 1, PagesOf(plan->sides[i]));
    }
    preview::SheetSides sides;
    sides.twoSided = docmgr::PrintJobSettingsView{job}.TwoSided();
    for (const docmgr::PhysicalPage& side : plan->sides) {
        std::vector<uint64_t>& pages = sides.pages.emplace_back();
        for (uint64_t index : side.logicalPages) {
            pages.push_back(index + 1);
        }
    }
    m_sheetPlan = std::move(plan);
    m_model.SetSheetSides(std::move(sides));
    if (gtk_toggle_tool_button_get_active(GTK_TOGGLE_TOOL_BUTTON(m_widgets->sheetsButton))) {
        m_model.ShowSheets(true);
    }
}

preview::DrawPicture PreviewWindow::DrawSheet(uint64_t number) const {
    return [plan = m_sheetPlan, pages = m_pageManager, number]() -> preview::Picture {
        if (!plan || number == 0 || number > plan->sides.size()) {
            return nullptr;
        }
        auto pageFor = [pages](uint64_t index) {
            preview::SheetPage page{pages->GetPageImage(index + 1, docmgr::Screen)};
            pages->GetPageSizePoints(index + 1, &page.widthPoints, &page.heightPoints);
            return page;
        };
        docmgr::BitmapPtr bitmap =
            preview::DrawSheetSide(plan->layout, plan->sides[number - 1], kPixelsPerPoint, pageFor);
        if (!bitmap) {
            return nullptr;
        }
        const int32_t width = bitmap->Width();
        const int32_t height = bitmap->Height();
        return std::make_shared<docmgr::PageImage>(number - 1, docmgr::Screen, std::move(bitmap),
                                                   width, height);
    };
}

}  // namespace nvrprint
