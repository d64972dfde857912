#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "DocFilePageMgr/DocFilePageMgrLib/DocFilePageMgr.h"
#include "DocFilePageMgr/DocFilePageMgrLib/PageImage.h"
#include "NvrPrintHelper/preview/PreviewModel.h"
#include "NvrPrintHelper/preview/PrinterQuery.h"
#include "NvrPrintHelper/preview/ThumbnailLayout.h"
#include "NvrPrintHelper/preview/ZoomMath.h"
#include "NvrPrintUtils/DevMode.h"
#include "NvrPrintUtils/DialogSettings.h"
#include "NvrPrintUtils/PrintJob.h"
#include "NvrPrintUtils/PrintJobSettings.h"
#include "SystemServices/Display.h"
#include "SystemServices/PrinterServices.h"

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

// The preview: a window with a toolbar, the thumbnail strip, the page view and a status
// bar. It shows the logical pages as the document manager renders them; the job settings
// fill in the print dialog. Everything runs on the main thread, in one main loop: asking
// the printer, the print dialog and the print itself are steps of that loop, so the window
// keeps answering throughout.
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

    struct Widgets;   // the toolkit's side, private to the preview's sources
    struct Handlers;  // the toolkit's callbacks into this object

private:
    friend struct Handlers;

    // Frame, toolbar, status bar, layout.
    bool CreateMainWindow();
    void CreateToolbar();
    void CreateStatusBar();
    void CreateThumbnailPanel();
    void CreateMainView();
    void UpdateLayout();
    void UpdateStatusBar();
    void OnClose();
    void OnCommand(int32_t id);
    bool OnFrameKeyDown(unsigned key);
    void OnPrint();
    // The steps of a print after the Print command (PreviewPrint.cpp).
    struct PrintFlow;
    void ShowPrintDialog();
    void OnPrintDialogResponse(int response);
    // The chosen printer's answer with the print made for it, or the clock's.
    void OnChosenPrintMade(preview::OpenedPrinter opened, bool timedOut);
    void PrintChosen(std::optional<PrintJob> job);
    void OnPrintFinished(bool printed);
    bool Printing() const { return m_print != nullptr; }
    // A job is being sent: the print has passed the dialog.
    bool SendingPrint() const;

    // Thumbnail strip.
    void LoadThumbnails();
    preview::ThumbnailLayout ThumbnailColumn() const;
    bool LoadNextThumbnail();
    void PaintThumbnails(void* cairo);
    void UpdateThumbnailScrollbar();
    void ScrollThumbnailsToPage(uint64_t pageNumber);
    uint64_t GetThumbnailAtPosition(int32_t y);
    int32_t GetThumbnailYPosition(uint64_t index);
    void OnThumbnailClick(int32_t x, int32_t y);
    void OnThumbnailScroll(preview::ScrollCommand command, int32_t position);
    void OnThumbnailMouseWheel(int32_t delta);
    void OnThumbnailKeyDown(unsigned key);
    void OnThumbnailButtonDown(int32_t x, int32_t y);
    void OnThumbnailMouseMove(int32_t x, int32_t y, bool buttonDown);
    void OnThumbnailButtonUp(int32_t x, int32_t y);
    void SetThumbnailScroll(int32_t position);

    // Page view.
    void LoadCurrentPage();
    void FinishLoadingCurrentPage();
    void PaintMainView(void* cairo);
    void UpdateMainViewScrollbars();
    void OnMainViewScroll(bool vertical, preview::ScrollCommand command, int32_t position);
    void OnMainViewMouseDown(int32_t x, int32_t y);
    void OnMainViewMouseMove(int32_t x, int32_t y);
    void OnMainViewMouseUp(int32_t x, int32_t y);
    void OnMainViewMouseWheel(int32_t delta);
    bool OnMainViewKeyDown(unsigned key);
    void ZoomIn();
    void ZoomOut();
    void FitToWindow();
    void ShowZoomEdit();
    void HideZoomEdit(bool apply);
    void NavigateToPage(size_t page);
    // The previous, next, first or last page; nothing past either end. The toolbar, the
    // page view and the strip all step this way.
    using PageStep = preview::PageStep;
    void StepPage(PageStep step);
    // The sheets view (PreviewSheets.cpp): the job's sides of one copy, planned from the
    // printer's sheet and the job's settings when first shown.
    struct SheetPlan;
    void ShowSheets(bool on);
    void PlanSheets(const preview::OpenedPrinter& opened);
    void SetSheetsButton(bool on);
    std::shared_ptr<docmgr::PageImage> DrawCurrentSheet();
    // What each view does when the model changes.
    void OnModelChanged(unsigned changes);
    // Keys that need the page's picture wait for it.
    void ReplayWaitingKeys();
    preview::Size GetScaledImageSize();
    preview::Size MainViewClientSize() const;
    void ClampMainViewScroll();
    void SetMainViewScroll(preview::Scroll scroll);

    platform::PrintSystem& m_printers;
    platform::Display& m_display;
    preview::JobMaker m_makeJob;
    std::function<void()> m_showProgress;
    std::unique_ptr<Widgets> m_widgets;
    docmgr::DocFilePageMgr* m_pageManager = nullptr;
    PrintJobSettings* m_settings = nullptr;
    std::string m_documentName;
    std::string m_printerName;
    PrintCallback m_printCallback;
    preview::PreviewModel m_model;
    std::vector<unsigned> m_waitingKeys;
    std::shared_ptr<SheetPlan> m_sheetPlan;
    // The printer asked for the sheets view, while it is.
    std::unique_ptr<preview::PrinterQuery> m_sheetQuery;
    // The print under way, from the Print command to the job's end; null when none is.
    std::shared_ptr<PrintFlow> m_print;
    // A close that came while a job was being sent: the window closes when it has ended.
    bool m_closeAfterPrint = false;
    std::vector<std::shared_ptr<docmgr::PageImage>> m_thumbnails;
    size_t m_thumbnailsRequested = 0;
    // Each page's proportions, known before its picture.
    std::vector<std::optional<preview::Size>> m_thumbnailShapes;
    int32_t m_thumbnailScroll = 0;
    int32_t m_thumbnailContentHeight = 0;
    bool m_dragging = false;
    preview::Scroll m_dragStart;
    preview::Scroll m_dragStartScroll;
    bool m_thumbDragging = false;
    bool m_thumbPressed = false;
    preview::Scroll m_thumbDragStart;
    int32_t m_thumbDragStartScroll = 0;
    int32_t m_result = PreviewClosed;
    bool m_running = false;
    bool m_loading = true;
    // The page on show and its neighbours, held so that painting and scrolling never render.
    std::shared_ptr<docmgr::PageImage> m_currentImage;
    std::shared_ptr<docmgr::PageImage> m_previousImage;
    std::shared_ptr<docmgr::PageImage> m_nextImage;
    // The first page shown is fitted to the window, in every preview of the process.
    bool m_fitOnFirstLoad = true;
};

}  // namespace nvrprint
