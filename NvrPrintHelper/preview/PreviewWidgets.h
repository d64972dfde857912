#pragma once

#include <gtk/gtk.h>

#include "NvrPrintHelper/preview/PreviewWindow.h"
#include "platform/CairoPtr.h"

// The toolkit's side of the preview, shared by its sources and nobody else.
namespace nvrprint {

struct PreviewWindow::Widgets {
    ~Widgets() {
        for (guint source : {pageSource, prefetchSource, thumbnailSource, viewLayoutSource}) {
            if (source != 0) {
                g_source_remove(source);
            }
        }
        if (frame != nullptr) {
            gtk_widget_destroy(frame);
        }
        if (loop != nullptr) {
            g_main_loop_unref(loop);
        }
    }

    GMainLoop* loop = nullptr;
    GtkWidget* frame = nullptr;
    GtkWidget* toolbar = nullptr;
    GtkWidget* statusBar = nullptr;
    GtkWidget* statusDocument = nullptr;
    GtkWidget* statusPage = nullptr;
    GtkWidget* statusZoomPart = nullptr;
    GtkWidget* statusZoomStack = nullptr;
    GtkWidget* statusZoom = nullptr;
    GtkWidget* zoomEdit = nullptr;
    GtkWidget* thumbnailPanel = nullptr;
    GtkWidget* thumbnailScrollbar = nullptr;
    GtkAdjustment* thumbnailAdjustment = nullptr;
    GtkWidget* mainView = nullptr;
    GtkWidget* hScrollbar = nullptr;
    GtkWidget* vScrollbar = nullptr;
    GtkAdjustment* hAdjustment = nullptr;
    GtkAdjustment* vAdjustment = nullptr;
    GtkWidget* toolButtons[7] = {};
    GtkWidget* sheetsButton = nullptr;
    bool settingSheetsButton = false;  // the program, not the person, sets it
    // Work done from the main loop after pending redraws: rendering the current page, its
    // neighbours, and the thumbnails past the first few.
    guint pageSource = 0;
    guint prefetchSource = 0;
    guint thumbnailSource = 0;
    guint viewLayoutSource = 0;
    // The current page at the current zoom, scaled once so that painting is a copy.
    platform::CairoSurfacePtr scaledPage;
    double scaledZoom = 0.0;
    const docmgr::PageImage* scaledFrom = nullptr;
    bool updatingAdjustments = false;
    bool thumbnailsStarted = false;
};

// The toolkit's callbacks, each handing its event to the preview.
struct PreviewWindow::Handlers {
    // Frame (PreviewWindow.cpp).
    static gboolean OnDelete(GtkWidget*, GdkEvent*, gpointer self);
    static void OnToolClicked(GtkToolButton* button, gpointer self);
    static gboolean OnKeyPress(GtkWidget*, GdkEventKey* event, gpointer self);
    static void OnFrameSizeAllocate(GtkWidget*, GdkRectangle*, gpointer self);

    // Page view and zoom field (PreviewMainView.cpp).
    static gboolean OnViewDraw(GtkWidget*, cairo_t* cr, gpointer self);
    // Either pane resized: both lay themselves out again once the layout has settled.
    static void OnPaneSizeAllocate(GtkWidget*, GdkRectangle*, gpointer self);
    static gboolean OnViewButton(GtkWidget*, GdkEventButton* event, gpointer self);
    static gboolean OnViewMotion(GtkWidget*, GdkEventMotion* event, gpointer self);
    static gboolean OnViewScroll(GtkWidget*, GdkEventScroll* event, gpointer self);
    static void OnViewAdjustment(GtkAdjustment* adjustment, gpointer self);
    static gboolean OnViewLayoutIdle(gpointer self);
    static gboolean OnPageLoadIdle(gpointer self);
    static gboolean OnPrefetchIdle(gpointer self);
    static gboolean OnZoomPartClick(GtkWidget*, GdkEventButton* event, gpointer self);
    static gboolean OnZoomEditKey(GtkWidget*, GdkEventKey* event, gpointer self);
    static gboolean OnZoomEditFocusOut(GtkWidget*, GdkEventFocus*, gpointer self);
    static void OnZoomEditInsert(GtkEditable* editable, const gchar* text, gint length,
                                 gint* position, gpointer self);

    // Thumbnail strip (PreviewThumbnails.cpp).
    static gboolean OnThumbDraw(GtkWidget*, cairo_t* cr, gpointer self);
    static gboolean OnThumbButton(GtkWidget*, GdkEventButton* event, gpointer self);
    static gboolean OnThumbMotion(GtkWidget*, GdkEventMotion* event, gpointer self);
    static gboolean OnThumbScroll(GtkWidget*, GdkEventScroll* event, gpointer self);
    static void OnThumbAdjustment(GtkAdjustment* adjustment, gpointer self);
    static gboolean OnThumbnailIdle(gpointer self);
};

inline PreviewWindow* Self(gpointer data) {
    return static_cast<PreviewWindow*>(data);
}

// A wheel event as a delta of 120 a notch, positive away from the user; 0 for sideways.
inline int32_t WheelDelta(const GdkEventScroll* event) {
    switch (event->direction) {
        case GDK_SCROLL_UP:
            return 120;
        case GDK_SCROLL_DOWN:
            return -120;
        case GDK_SCROLL_SMOOTH:
            return static_cast<int32_t>(-event->delta_y * 120.0);
        default:
            return 0;
    }
}

// A press or release of the primary button, handed on with its point; other buttons are not
// taken.
template <typename OnDown, typename OnUp>
gboolean OnPrimaryButton(const GdkEventButton* event, OnDown down, OnUp up) {
    if (event->button != GDK_BUTTON_PRIMARY) {
        return FALSE;
    }
    auto x = static_cast<int32_t>(event->x);
    auto y = static_cast<int32_t>(event->y);
    if (event->type == GDK_BUTTON_PRESS) {
        down(x, y);
    } else if (event->type == GDK_BUTTON_RELEASE) {
        up(x, y);
    }
    return TRUE;
}

// Gives the keyboard to a window once it is on the screen, as a window manager gives it to a
// window that opens; asking before it is mapped would be refused.
inline void TakeKeysWhenShown(GtkWidget* window) {
    g_signal_connect(window, "map-event",
                     G_CALLBACK(+[](GtkWidget* shown, GdkEvent*, gpointer) -> gboolean {
                         gtk_window_present(GTK_WINDOW(shown));
                         return FALSE;
                     }),
                     nullptr);
}

// The size of a widget's drawing area.
inline preview::Size AllocatedSize(GtkWidget* widget) {
    return {gtk_widget_get_allocated_width(widget), gtk_widget_get_allocated_height(widget)};
}

namespace preview {

// The window waits for a printer: it takes no input and shows it is busy, and still paints
// and hears a close.
void ShowBusy(GtkWidget* window, bool busy);

}  // namespace preview

}  // namespace nvrprint
