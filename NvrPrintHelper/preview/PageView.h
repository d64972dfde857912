#pragma once

#include <gtk/gtk.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "DocFilePageMgr/DocFilePageMgrLib/DocFilePageMgr.h"
#include "NvrPrintHelper/preview/PictureWorker.h"
#include "NvrPrintHelper/preview/PreviewModel.h"
#include "platform/CairoPtr.h"

// The preview's page view: the page or sheet side on show at the model's zoom, its scroll
// bars, panning with the mouse, the keys and the zoom commands. Pictures are drawn by the
// worker; "Loading page..." shows until the one on show is there.
namespace nvrprint::preview {

// How the sheets view's side with this number (from 1) is drawn, on the worker.
using SheetDrawer = std::function<DrawPicture(uint64_t side)>;

class PageView {
public:
    PageView(PreviewModel& model, docmgr::DocFilePageMgr& pages, PictureWorker& worker,
             SheetDrawer drawSheet);
    ~PageView();
    PageView(const PageView&) = delete;
    PageView& operator=(const PageView&) = delete;

    // What the frame packs, and the drawing area inside it, which takes the keys.
    GtkWidget* Edge() const { return m_edge; }
    GtkWidget* Canvas() const { return m_canvas; }
    // Asks for the page on show; the first page is fitted to the view when it comes.
    void LoadCurrentPage();

    void ZoomIn();
    void ZoomOut();
    void FitToWindow();

private:
    void Connect();
    // Once the toolkit has sized the view: its scroll bars and scroll, after this layout.
    void LayOutAfterResize();
    void OnModelChanged(unsigned changes);
    void OnPicture(uint64_t current, bool sheets, Picture picture);
    void FinishLoadingCurrentPage();
    void Prefetch();
    void PaintMainView(cairo_t* cr);
    void UpdateMainViewScrollbars();
    void OnMainViewScroll(bool vertical, ScrollCommand command, int32_t position);
    void OnMainViewMouseDown(int32_t x, int32_t y);
    void OnMainViewMouseMove(int32_t x, int32_t y);
    void OnMainViewMouseUp(int32_t x, int32_t y);
    void OnMainViewMouseWheel(int32_t delta, bool zoom);
    bool OnMainViewKeyDown(unsigned key);
    // Keys that need the page's picture wait for it.
    void ReplayWaitingKeys();
    Size GetScaledImageSize() const;
    Size ClientSize() const;
    void SetMainViewScroll(Scroll scroll);

    PreviewModel& m_model;
    docmgr::DocFilePageMgr& m_pages;
    PictureWorker& m_worker;
    SheetDrawer m_drawSheet;
    GtkWidget* m_edge = nullptr;
    GtkWidget* m_canvas = nullptr;
    GtkWidget* m_hScrollbar = nullptr;
    GtkWidget* m_vScrollbar = nullptr;
    GtkAdjustment* m_hAdjustment = nullptr;
    GtkAdjustment* m_vAdjustment = nullptr;
    bool m_updatingAdjustments = false;
    // The picture that came before the view could be laid out waits for its first layout.
    guint m_pageSource = 0;
    guint m_layoutSource = 0;
    bool m_loading = true;
    // The page on show and its neighbours, held so that painting and scrolling never draw.
    Picture m_currentImage;
    Picture m_previousImage;
    Picture m_nextImage;
    // The current picture at the current zoom, scaled once so that painting is a copy.
    platform::CairoSurfacePtr m_scaledPage;
    double m_scaledZoom = 0.0;
    const docmgr::PageImage* m_scaledFrom = nullptr;
    std::vector<unsigned> m_waitingKeys;
    bool m_dragging = false;
    Scroll m_dragStart;
    Scroll m_dragStartScroll;
    // The first page shown is fitted to the window.
    bool m_fitOnFirstLoad = true;
};

}  // namespace nvrprint::preview
