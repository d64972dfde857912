#pragma once

#include <gtk/gtk.h>

#include <cstdint>
#include <optional>

#include "NvrPrintHelper/preview/PreviewModel.h"
#include "logging/LogMacros.h"

// Small helpers for the preview's views: the toolkit's input and sizes, and page steps.
namespace nvrprint {

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

// The page step of Page Up, Page Down, Home and End, keypad or not, wherever the keys step
// pages; none for another key.
inline std::optional<preview::PageStep> PageStepOfKey(unsigned key) {
    switch (key) {
        case GDK_KEY_Page_Up:
        case GDK_KEY_KP_Page_Up:
            return preview::PageStep::Previous;
        case GDK_KEY_Page_Down:
        case GDK_KEY_KP_Page_Down:
            return preview::PageStep::Next;
        case GDK_KEY_Home:
        case GDK_KEY_KP_Home:
            return preview::PageStep::First;
        case GDK_KEY_End:
        case GDK_KEY_KP_End:
            return preview::PageStep::Last;
        default:
            return std::nullopt;
    }
}

// A view takes the keys when the pointer moves over it, and the log says which has them.
inline void TakeKeysUnderPointer(GtkWidget* view, const char* name) {
    g_signal_connect(view, "motion-notify-event",
                     G_CALLBACK(+[](GtkWidget* under, GdkEventMotion*, gpointer) {
                         if (!gtk_widget_has_focus(under)) {
                             gtk_widget_grab_focus(under);
                         }
                         return FALSE;
                     }),
                     nullptr);
    g_signal_connect(view, "focus-in-event",
                     G_CALLBACK(+[](GtkWidget*, GdkEventFocus*, gpointer viewName) {
                         NVR_LOG_DEBUG("Keys go to the {}", static_cast<const char*>(viewName));
                         return FALSE;
                     }),
                     const_cast<char*>(name));
}

// The previous, next, first or last page or side, from the toolbar, a view's keys or the
// frame's; logged where it moves.
inline void StepPage(preview::PreviewModel& model, preview::PageStep step) {
    if (model.Step(step)) {
        NVR_LOG_DEBUG("Navigating to page {}", model.Current());
    }
}

}  // namespace nvrprint
