#pragma once

#include <gtk/gtk.h>

#include <cstdint>
#include <optional>
#include <vector>

#include "DocFilePageMgr/DocFilePageMgrLib/DocFilePageMgr.h"
#include "NvrPrintHelper/preview/PictureWorker.h"
#include "NvrPrintHelper/preview/PreviewModel.h"
#include "NvrPrintHelper/preview/ThumbnailLayout.h"

// The preview's thumbnail strip: every page small with its number, the pages on show marked;
// a click goes to a page, a drag or the wheel scrolls the strip. The pictures are drawn by
// the worker one after another, and every page has its place from the start.
namespace nvrprint::preview {

class ThumbnailStrip {
public:
    ThumbnailStrip(PreviewModel& model, docmgr::DocFilePageMgr& pages, PictureWorker& worker);
    ~ThumbnailStrip();
    ThumbnailStrip(const ThumbnailStrip&) = delete;
    ThumbnailStrip& operator=(const ThumbnailStrip&) = delete;

    // What the frame packs, and the drawing area inside it.
    GtkWidget* Edge() const { return m_edge; }
    GtkWidget* Panel() const { return m_panel; }
    // Lays out every page and starts drawing their pictures.
    void LoadThumbnails();

private:
    void Connect();
    // Once the toolkit has sized the view: its scroll bars and scroll, after this layout.
    void LayOutAfterResize();
    void OnModelChanged(unsigned changes);
    void RequestThumbnail(size_t index);
    void OnThumbnail(size_t index, Picture picture);
    ThumbnailLayout Column() const;
    void PaintThumbnails(cairo_t* cr);
    void UpdateThumbnailScrollbar();
    void ScrollThumbnailsToPage(uint64_t pageNumber);
    uint64_t GetThumbnailAtPosition(int32_t y) const;
    void SetThumbnailScroll(int32_t position);
    void OnThumbnailScroll(ScrollCommand command, int32_t position);
    void OnThumbnailMouseWheel(int32_t delta);
    void OnThumbnailKeyDown(unsigned key);
    void OnThumbnailButtonDown(int32_t x, int32_t y);
    void OnThumbnailMouseMove(int32_t y, bool buttonDown);
    void OnThumbnailButtonUp(int32_t x, int32_t y);

    PreviewModel& m_model;
    docmgr::DocFilePageMgr& m_pages;
    PictureWorker& m_worker;
    GtkWidget* m_edge = nullptr;
    GtkWidget* m_panel = nullptr;
    GtkWidget* m_scrollbar = nullptr;
    GtkAdjustment* m_adjustment = nullptr;
    bool m_updatingAdjustment = false;
    guint m_layoutSource = 0;
    std::vector<Picture> m_thumbnails;
    // Each page's proportions, known before its picture.
    std::vector<std::optional<Size>> m_shapes;
    int32_t m_scroll = 0;
    int32_t m_contentHeight = 0;
    bool m_pressed = false;
    bool m_dragging = false;
    Scroll m_dragStart;
    int32_t m_dragStartScroll = 0;
};

}  // namespace nvrprint::preview
