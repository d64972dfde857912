#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "DocFilePageMgr/DocFilePageMgrLib/DocFilePageMgr.h"
#include "DocFilePageMgr/DocFilePageMgrLib/PageImage.h"
#include "NvrPrintHelper/preview/PictureWorker.h"
#include "NvrPrintHelper/preview/PreviewModel.h"
#include "NvrPrintHelper/preview/PrinterQuery.h"
#include "NvrPrintUtils/DevMode.h"
#include "NvrPrintUtils/DialogSettings.h"
#include "NvrPrintUtils/PrintJob.h"
#include "NvrPrintUtils/PrintJobSettings.h"
#include "SystemServices/PrinterServices.h"
#include "platform/Display.h"

namespace nvrprint {

// How ShowPreview ended.
enum PreviewResult : int32_t {
    PreviewPrinted = 0,  // the Print command ended it (only without a print callback)
    PreviewClosed = 1,   // the user closed the window, after a print or not
    PreviewFailed = 2,   // the window could not be made
};

// What the person chose in the print dialog.
struct PrintChoice {
    std::string printerName;  // the printer picked; empty keeps the job's
    DialogSettings dialog;    // copies, collation, paper and the rest, as the dialog showed them
    std::string outputFile;   // a file for the job's PDF instead of the printer
    // The print made of them for the printer; none when the printer could not make it.
    std::optional<PrintJob> job;
};

// Hears on the main thread whether the document was printed.
using PrintFinished = std::function<void(bool printed)>;

// Starts printing the document from the preview over the owner window and returns; finished
// hears the result. False, and finished is not called, when the print could not start.
using PrintCallback = std::function<bool(void* owner, PrintChoice choice, PrintFinished finished)>;

// The preview: a frame with a toolbar over the thumbnail strip, the page view and a status
// bar, each a view of one model. It shows the logical pages as the document manager renders
// them, or the job's sheets; the job settings fill in the print dialog. The windows live on
// the main thread, in one main loop: asking the printer, the print dialog and the print
// itself are steps of that loop, and pictures are drawn on a worker, so the window keeps
// answering throughout.
class PreviewWindow {
public:
    // The printers are the ones the print dialog offers; makeJob makes the job's print for
    // one of them, which the dialog starts from and the sheets view shows; showProgress
    // brings back the progress window of the print being sent.
    PreviewWindow(platform::PrintSystem& printers, platform::Display& display,
                  preview::JobMaker makeJob, std::function<void()> showProgress);
    ~PreviewWindow();
    PreviewWindow(const PreviewWindow&) = delete;
    PreviewWindow& operator=(const PreviewWindow&) = delete;

    // Shows the window and returns when the user is done with it.
    int32_t ShowPreview(docmgr::DocFilePageMgr* pageManager, const std::string& documentName,
                        const std::string& printerName, PrintJobSettings* settings,
                        PrintCallback printCallback);

    // The top-level window while the preview is shown (a GtkWindow), for dialogs over it.
    void* NativeWindow() const;

    struct Widgets;  // the frame's side in the toolkit, private to the preview's sources

private:
    // Frame and toolbar.
    bool CreateMainWindow();
    void CreateToolbar();
    // The views in the frame, below the toolbar, and the worker that draws their pictures.
    void CreateViews();
    void OnClose();
    void OnCommand(int32_t id);
    bool OnFrameKeyDown(unsigned key);
    // The steps of a print after the Print command (PreviewPrint.cpp).
    struct PrintFlow;
    void OnPrint();
    void ShowPrintDialog();
    void OnPrintDialogResponse(int response);
    // The chosen printer's answer with the print made for it, or the clock's.
    void OnChosenPrintMade(preview::OpenedPrinter opened, bool timedOut);
    void PrintChosen(std::optional<PrintJob> job);
    void OnPrintFinished(bool printed);
    bool Printing() const { return m_print != nullptr; }
    // A job is being sent: the print has passed the dialog.
    bool SendingPrint() const;

    // The sheets view (PreviewSheets.cpp): the job's sides of one copy, planned from the
    // printer's sheet and the job's settings when first shown.
    struct SheetPlan;
    void ShowSheets(bool on);
    void PlanSheets(const preview::OpenedPrinter& opened);
    void SetSheetsButton(bool on);
    // How the page view draws a side of the plan, on its worker.
    preview::DrawPicture DrawSheet(uint64_t side) const;

    platform::PrintSystem& m_printers;
    platform::Display& m_display;
    preview::JobMaker m_makeJob;
    std::function<void()> m_showProgress;
    docmgr::DocFilePageMgr* m_pageManager = nullptr;
    PrintJobSettings* m_settings = nullptr;
    std::string m_documentName;
    std::string m_printerName;
    PrintCallback m_printCallback;
    preview::PreviewModel m_model;
    std::unique_ptr<Widgets> m_widgets;
    std::shared_ptr<SheetPlan> m_sheetPlan;
    // The printer asked for the sheets view, while it is.
    std::unique_ptr<preview::PrinterQuery> m_sheetQuery;
    // The print under way, from the Print command to the job's end; null when none is.
    std::shared_ptr<PrintFlow> m_print;
    // A close that came while a job was being sent: the window closes when it has ended.
    bool m_closeAfterPrint = false;
    int32_t m_result = PreviewClosed;
    bool m_running = false;
};

}  // namespace nvrprint
