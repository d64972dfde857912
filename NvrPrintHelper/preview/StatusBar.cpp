#include "NvrPrintHelper/preview/StatusBar.h"

#include <algorithm>
#include <cstring>

#include "NvrPrintHelper/preview/PreviewGeometry.h"
#include "logging/LogMacros.h"

namespace nvrprint::preview {
namespace {

constexpr int32_t kStatusFontPixels = 16;

// The status bar's texts in the desktop's UI font at a fixed pixel size.
void StyleStatusBar(GtkWidget* bar) {
    GtkCssProvider* css = gtk_css_provider_new();
    std::string rule = "label, entry { font-size: " + std::to_string(kStatusFontPixels) + "px; }";
    gtk_css_provider_load_from_data(css, rule.c_str(), -1, nullptr);
    gtk_style_context_add_provider_for_screen(gtk_widget_get_screen(bar), GTK_STYLE_PROVIDER(css),
                                              GTK_STYLE_PROVIDER_PRIORITY_APPLICATION);
    g_object_unref(css);
}

GtkWidget* StatusPart(GtkWidget* child, GtkShadowType shadow) {
    GtkWidget* frame = gtk_frame_new(nullptr);
    gtk_frame_set_shadow_type(GTK_FRAME(frame), shadow);
    gtk_container_add(GTK_CONTAINER(frame), child);
    return frame;
}

GtkWidget* StatusLabel() {
    GtkWidget* label = gtk_label_new("");
    gtk_label_set_xalign(GTK_LABEL(label), 0.0f);
    gtk_widget_set_margin_start(label, 4);
    gtk_widget_set_margin_end(label, 4);
    return label;
}

int32_t TextWidth(GtkWidget* widget, const std::string& text) {
    PangoLayout* layout = gtk_widget_create_pango_layout(widget, text.c_str());
    int width = 0;
    pango_layout_get_pixel_size(layout, &width, nullptr);
    g_object_unref(layout);
    return width;
}

StatusBar* Status(gpointer data) {
    return static_cast<StatusBar*>(data);
}

}  // namespace

StatusBar::StatusBar(PreviewModel& model, std::string documentName)
    : m_model(model), m_documentName(std::move(documentName)) {
    m_bar = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 2);
    gtk_widget_set_size_request(m_bar, -1, kStatusBand);
    StyleStatusBar(m_bar);
    m_document = StatusLabel();
    gtk_label_set_ellipsize(GTK_LABEL(m_document), PANGO_ELLIPSIZE_END);
    m_page = StatusLabel();
    m_zoomPart = StatusPart(MakeZoomPart(), GTK_SHADOW_IN);
    gtk_box_pack_start(GTK_BOX(m_bar), StatusPart(m_document, GTK_SHADOW_IN), TRUE, TRUE, 0);
    gtk_box_pack_start(GTK_BOX(m_bar), StatusPart(m_page, GTK_SHADOW_OUT), FALSE, FALSE, 0);
    gtk_box_pack_start(GTK_BOX(m_bar), m_zoomPart, FALSE, FALSE, 0);
    m_model.Observe([this](unsigned changes) {
        if (changes & (kPageChanged | kZoomChanged | kViewChanged)) {
            UpdateStatusBar();
        }
    });
}

StatusBar::~StatusBar() {
    g_signal_handlers_disconnect_by_data(m_zoomEdit, this);
    g_signal_handlers_disconnect_by_data(m_clickable, this);
}

// The zoom part holds its text, or "Zoom: " with a field to type a new zoom into.
GtkWidget* StatusBar::MakeZoomPart() {
    m_zoom = StatusLabel();
    m_zoomEdit = gtk_entry_new();
    gtk_entry_set_alignment(GTK_ENTRY(m_zoomEdit), 1.0f);
    gtk_entry_set_width_chars(GTK_ENTRY(m_zoomEdit), 4);
    gtk_entry_set_input_purpose(GTK_ENTRY(m_zoomEdit), GTK_INPUT_PURPOSE_DIGITS);
    g_signal_connect(m_zoomEdit, "key-press-event",
                     G_CALLBACK(+[](GtkWidget*, GdkEventKey* event, gpointer self) -> gboolean {
                         switch (event->keyval) {
                             case GDK_KEY_Return:
                             case GDK_KEY_KP_Enter:
                                 Status(self)->HideZoomEdit(true);
                                 return TRUE;
                             case GDK_KEY_Escape:
                                 Status(self)->HideZoomEdit(false);
                                 return TRUE;
                             default:
                                 return FALSE;
                         }
                     }),
                     this);
    g_signal_connect(m_zoomEdit, "focus-out-event",
                     G_CALLBACK(+[](GtkWidget*, GdkEventFocus*, gpointer self) {
                         Status(self)->HideZoomEdit(false);
                         return FALSE;
                     }),
                     this);
    // Digits only.
    g_signal_connect(
        m_zoomEdit, "insert-text",
        G_CALLBACK(+[](GtkEditable* editable, const gchar* text, gint length, gint*, gpointer) {
            std::string typed(text, length < 0 ? std::strlen(text) : length);
            if (!std::all_of(typed.begin(), typed.end(),
                             [](char c) { return c >= '0' && c <= '9'; })) {
                g_signal_stop_emission_by_name(editable, "insert-text");
            }
        }),
        this);
    GtkWidget* editRow = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 0);
    GtkWidget* editCaption = StatusLabel();
    gtk_label_set_text(GTK_LABEL(editCaption), "Zoom: ");
    gtk_widget_set_margin_end(editCaption, 0);
    gtk_box_pack_start(GTK_BOX(editRow), editCaption, FALSE, FALSE, 0);
    gtk_box_pack_start(GTK_BOX(editRow), m_zoomEdit, TRUE, TRUE, 0);
    gtk_widget_set_margin_end(editRow, 10);
    m_zoomStack = gtk_stack_new();
    gtk_stack_add_named(GTK_STACK(m_zoomStack), m_zoom, "text");
    gtk_stack_add_named(GTK_STACK(m_zoomStack), editRow, "edit");
    m_clickable = gtk_event_box_new();
    gtk_container_add(GTK_CONTAINER(m_clickable), m_zoomStack);
    g_signal_connect(
        m_clickable, "button-press-event",
        G_CALLBACK(+[](GtkWidget*, GdkEventButton* event, gpointer self) {
            if (event->type == GDK_BUTTON_PRESS && event->button == GDK_BUTTON_PRIMARY) {
                Status(self)->ShowZoomEdit();
            }
            return TRUE;
        }),
        this);
    return m_clickable;
}

void StatusBar::UpdateStatusBar() {
    std::string pageText = m_model.ShowsSheets()
                               ? SheetStatusText(m_model.Sides(), m_model.Current())
                               : PageStatusText(m_model.Current(), m_model.Count());
    std::string zoomText = ZoomStatusText(m_model.Zoom());
    StatusParts parts = StatusPartEdges(gtk_widget_get_allocated_width(m_bar),
                                        TextWidth(m_page, pageText), TextWidth(m_zoom, zoomText));
    gtk_widget_set_size_request(gtk_widget_get_parent(m_page), parts.pageWidth, -1);
    gtk_widget_set_size_request(m_zoomPart, parts.zoomWidth, -1);
    gtk_label_set_text(GTK_LABEL(m_document), m_documentName.c_str());
    gtk_label_set_text(GTK_LABEL(m_page), pageText.c_str());
    gtk_label_set_text(GTK_LABEL(m_zoom), zoomText.c_str());
    NVR_LOG_VERBOSE("Status bar: {} | {} | {}", m_documentName, pageText, zoomText);
}

void StatusBar::ShowZoomEdit() {
    gtk_entry_set_text(GTK_ENTRY(m_zoomEdit), ZoomFieldText(m_model.Zoom()).c_str());
    gtk_stack_set_visible_child_name(GTK_STACK(m_zoomStack), "edit");
    gtk_widget_grab_focus(m_zoomEdit);
    gtk_editable_select_region(GTK_EDITABLE(m_zoomEdit), 0, -1);
    NVR_LOG_DEBUG("Showing zoom edit control");
}

void StatusBar::HideZoomEdit(bool apply) {
    if (g_strcmp0(gtk_stack_get_visible_child_name(GTK_STACK(m_zoomStack)), "edit") != 0) {
        return;
    }
    // Hidden first: giving the focus back below ends the field's focus too.
    gtk_stack_set_visible_child_name(GTK_STACK(m_zoomStack), "text");
    if (apply) {
        std::string text = gtk_entry_get_text(GTK_ENTRY(m_zoomEdit));
        std::optional<int32_t> value = ParseTypedZoom(text.substr(0, 9));
        if (!value) {
            NVR_LOG_DEBUG("Invalid zoom input");
        } else if (*value < kTypedZoomMin || *value > kTypedZoomMax) {
            NVR_LOG_DEBUG("Zoom value out of range: {}", *value);
        } else {
            NVR_LOG_DEBUG("Applied zoom {}%", *value);
            m_model.SetZoom({*value / 100.0, m_model.GetScroll()});
        }
    }
    gtk_window_set_focus(GTK_WINDOW(gtk_widget_get_toplevel(m_bar)), nullptr);
}

}  // namespace nvrprint::preview
