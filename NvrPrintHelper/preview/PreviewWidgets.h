#pragma once

#include <gtk/gtk.h>

#include "NvrPrintHelper/preview/GtkInput.h"
#include "NvrPrintHelper/preview/PageView.h"
#include "NvrPrintHelper/preview/PreviewWindow.h"
#include "NvrPrintHelper/preview/StatusBar.h"
#include "NvrPrintHelper/preview/ThumbnailStrip.h"

// The toolkit's side of the preview, shared by its sources and nobody else.
namespace nvrprint {

// The frame and the views in it. The views go first: the frame's widgets hold theirs.
struct PreviewWindow::Widgets {
    ~Widgets() {
        worker.reset();
        strip.reset();
        pageView.reset();
        status.reset();
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
    GtkWidget* toolButtons[7] = {};
    GtkWidget* sheetsButton = nullptr;
    bool settingSheetsButton = false;  // the program, not the person, sets it
    // Draws the views' pictures; it stops before the views that hear them go.
    std::unique_ptr<preview::PictureWorker> worker;
    std::unique_ptr<preview::StatusBar> status;
    std::unique_ptr<preview::PageView> pageView;
    std::unique_ptr<preview::ThumbnailStrip> strip;
};

inline PreviewWindow* Self(gpointer data) {
    return static_cast<PreviewWindow*>(data);
}

namespace preview {

// The window waits for a printer: it takes no input and shows it is busy, and still paints
// and hears a close.
void ShowBusy(GtkWidget* window, bool busy);

}  // namespace preview

}  // namespace nvrprint
