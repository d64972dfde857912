// The preview's frame: its start and end, the toolbar, the status bar and the layout.
#include "NvrPrintHelper/preview/PreviewWindow.h"

#include <fmt/format.h>

#include <array>

#include "NvrPrintHelper/preview/PreviewGeometry.h"
#include "NvrPrintHelper/preview/PreviewWidgets.h"
#include "NvrPrintHelper/preview/SheetPicture.h"
#include "NvrPrintHelper/preview/ToolbarIcons.h"
#include "logging/LogMacros.h"
#include "platform/GObjectPtr.h"

namespace nvrprint {
namespace {

enum Command : int32_t {
    kPrevious = 1001,
    kNext = 1002,
    kZoomIn = 1003,
    kZoomOut = 1004,
    kFitWindow = 1005,
    kPrint = 1006,
    kSheets = 1007,
};

struct ToolbarButton {
    Command command;
    const char* text;
    const char* tooltip;  // null: none
    preview::ToolbarIcon icon;
    bool toggle = false;  // stays pressed while its view is on
};

constexpr std::array<ToolbarButton, 7> kToolbarButtons = {{
    {kPrevious, "Previous", "Previous Page (PgUp)", preview::ToolbarIcon::Previous},
    {kNext, "Next", "Next Page (PgDn)", preview::ToolbarIcon::Next},
    {kZoomIn, "Zoom In", "Zoom In (+)", preview::ToolbarIcon::ZoomIn},
    {kZoomOut, "Zoom Out", "Zoom Out (-)", preview::ToolbarIcon::ZoomOut},
    {kFitWindow, "Fit Window", nullptr, preview::ToolbarIcon::FitWindow},
    {kSheets, "Sheets", "The sheets as they will print", preview::ToolbarIcon::Sheets, true},
    {kPrint, "Print", "Print Document", preview::ToolbarIcon::Print},
}};

preview::Size ScreenSize() {
    GdkDisplay* display = gdk_display_get_default();
    GdkMonitor* monitor = gdk_display_get_primary_monitor(display);
    if (monitor == nullptr) {
        monitor = gdk_display_get_monitor(display, 0);
    }
    GdkRectangle area{0, 0, 1024, 768};
    if (monitor != nullptr) {
        gdk_monitor_get_geometry(monitor, &area);
    }
    return {area.width, area.height};
}

// Where the views and the toolbar's buttons are in the frame, for whoever reads the log.
void LogWhereThePartsAre(const PreviewWindow::Widgets& w, const GdkRectangle& frame) {
    auto where = [&](GtkWidget* widget) {
        int x = 0;
        int y = 0;
        gtk_widget_translate_coordinates(widget, w.frame, 0, 0, &x, &y);
        return fmt::format("{},{} {}x{}", x, y, gtk_widget_get_allocated_width(widget),
                           gtk_widget_get_allocated_height(widget));
    };
    NVR_LOG_VERBOSE("Frame {}x{}: thumbnails {}, view {}, zoom part {}", frame.width, frame.height,
                    where(w.strip->Panel()), where(w.pageView->Canvas()),
                    where(w.status->ZoomPart()));
    for (GtkWidget* button : w.toolButtons) {
        NVR_LOG_VERBOSE("Toolbar button {} at {}",
                        gtk_tool_button_get_label(GTK_TOOL_BUTTON(button)), where(button));
    }
}

}  // namespace

PreviewWindow::PreviewWindow(platform::PrintSystem& printers, platform::Display& display,
                             preview::JobMaker makeJob, std::function<void()> showProgress)
    : m_printers(printers),
      m_display(display),
      m_makeJob(std::move(makeJob)),
      m_showProgress(std::move(showProgress)) {}

PreviewWindow::~PreviewWindow() = default;

void* PreviewWindow::NativeWindow() const {
    return m_widgets ? m_widgets->frame : nullptr;
}

int32_t PreviewWindow::ShowPreview(docmgr::DocFilePageMgr* pageManager,
                                   const std::string& documentName, const std::string& printerName,
                                   PrintJobSettings* settings, PrintCallback printCallback) {
    NVR_LOG_INFO("Showing preview for document: {}", documentName);
    if (pageManager == nullptr) {
        NVR_LOG_ERROR("Failed to create preview window");
        return PreviewFailed;
    }
    m_pageManager = pageManager;
    m_documentName = documentName;
    m_printerName = printerName;
    m_settings = settings;
    m_printCallback = std::move(printCallback);
    m_model = preview::PreviewModel();
    m_model.SetPageCount(pageManager->m_pageCount);
    m_result = PreviewClosed;
    m_running = true;

    if (!CreateMainWindow()) {
        NVR_LOG_ERROR("Failed to create preview window");
        return PreviewFailed;
    }
    Widgets& w = *m_widgets;
    // The keys go to the page view from the start; the window takes the keyboard when shown.
    gtk_widget_grab_focus(w.pageView->Canvas());
    TakeKeysWhenShown(w.frame);
    gtk_widget_show_all(w.frame);

    w.pageView->LoadCurrentPage();
    w.strip->LoadThumbnails();

    w.loop = g_main_loop_new(nullptr, FALSE);
    if (m_running) {
        g_main_loop_run(w.loop);
    }
    NVR_LOG_DEBUG("Message loop exited, destroying window (result={})", m_result);
    m_print.reset();
    m_sheetQuery.reset();
    m_closeAfterPrint = false;
    // The views stop hearing the model before they go.
    m_model = preview::PreviewModel();
    m_widgets.reset();
    m_sheetPlan.reset();
    return m_result;
}

bool PreviewWindow::CreateMainWindow() {
    if (!m_display.Open()) {
        return false;
    }
    preview::Size screen = ScreenSize();
    std::optional<std::pair<double, double>> pagePoints;
    double width = 0.0;
    double height = 0.0;
    if (m_pageManager == nullptr || m_pageManager->m_pageCount == 0) {
        NVR_LOG_ERROR("No pages available, using default window size");
    } else if (!m_pageManager->GetPageSizePoints(1, &width, &height)) {
        NVR_LOG_ERROR("Could not get page size, using default window size");
    } else {
        pagePoints = std::make_pair(width, height);
    }
    preview::FrameSize frame = preview::FrameSizeForPage(pagePoints, screen);
    if (frame.heightLimited) {
        NVR_LOG_DEBUG("Height limited to 90% of screen: {}", frame.client.height);
    }
    if (frame.widthLimited) {
        NVR_LOG_DEBUG("Width limited to 90% of screen: {}", frame.client.width);
    }
    if (pagePoints) {
        // The window system draws no frame of its own around a client area here.
        NVR_LOG_INFO("Calculated window size: {}x{} (client: {}x{})", frame.client.width,
                     frame.client.height, frame.client.width, frame.client.height);
    }
    auto [x, y] = preview::CentredOrigin(frame.client, screen);

    m_widgets = std::make_unique<Widgets>();
    Widgets& w = *m_widgets;
    GtkWidget* window = gtk_window_new(GTK_WINDOW_TOPLEVEL);
    w.frame = window;
    gtk_window_set_title(GTK_WINDOW(window), ("Print Preview - " + m_documentName).c_str());
    gtk_window_set_default_size(GTK_WINDOW(window), frame.client.width, frame.client.height);
    gtk_window_move(GTK_WINDOW(window), x, y);
    g_signal_connect(window, "delete-event", G_CALLBACK(+[](GtkWidget*, GdkEvent*, gpointer self) {
                         Self(self)->OnClose();
                         return TRUE;  // the window goes when ShowPreview ends
                     }),
                     this);
    // Keys go to the view that has the focus; the frame takes those that reach no view.
    g_signal_connect(window, "key-press-event",
                     G_CALLBACK(+[](GtkWidget* frame, GdkEventKey* event, gpointer self) {
                         if (gtk_window_get_focus(GTK_WINDOW(frame)) != nullptr) {
                             return FALSE;
                         }
                         return static_cast<gboolean>(Self(self)->OnFrameKeyDown(event->keyval));
                     }),
                     this);
    // The views follow the frame by themselves; where each is, is logged.
    g_signal_connect(window, "size-allocate",
                     G_CALLBACK(+[](GtkWidget*, GdkRectangle* area, gpointer self) {
                         LogWhereThePartsAre(*Self(self)->m_widgets, *area);
                     }),
                     this);
    CreateToolbar();
    CreateViews();
    return true;
}

void PreviewWindow::CreateViews() {
    Widgets& w = *m_widgets;
    w.worker = std::make_unique<preview::PictureWorker>();
    w.status = std::make_unique<preview::StatusBar>(m_model, m_documentName);
    w.strip = std::make_unique<preview::ThumbnailStrip>(m_model, *m_pageManager, *w.worker);
    w.pageView = std::make_unique<preview::PageView>(
        m_model, *m_pageManager, *w.worker, [this](uint64_t side) { return DrawSheet(side); });

    GtkWidget* panes = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 0);
    gtk_box_pack_start(GTK_BOX(panes), w.strip->Edge(), FALSE, FALSE, 0);
    gtk_box_pack_start(GTK_BOX(panes), w.pageView->Edge(), TRUE, TRUE, 0);
    GtkWidget* column = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
    gtk_box_pack_start(GTK_BOX(column), w.toolbar, FALSE, FALSE, 0);
    gtk_box_pack_start(GTK_BOX(column), panes, TRUE, TRUE, 0);
    gtk_box_pack_start(GTK_BOX(column), w.status->Bar(), FALSE, FALSE, 0);
    gtk_container_add(GTK_CONTAINER(w.frame), column);
    w.status->UpdateStatusBar();
}

void PreviewWindow::CreateToolbar() {
    GtkWidget* toolbar = gtk_toolbar_new();
    gtk_toolbar_set_style(GTK_TOOLBAR(toolbar), GTK_TOOLBAR_BOTH_HORIZ);
    gtk_widget_set_size_request(toolbar, -1, preview::kToolbarBand);
    for (size_t i = 0; i < kToolbarButtons.size(); ++i) {
        const ToolbarButton& button = kToolbarButtons[i];
        platform::CairoSurfacePtr icon = preview::DrawToolbarIcon(button.icon);
        GtkWidget* image = icon ? gtk_image_new_from_surface(icon.get()) : nullptr;
        GtkToolItem* item = nullptr;
        if (button.toggle) {
            item = gtk_toggle_tool_button_new();
            gtk_tool_button_set_icon_widget(GTK_TOOL_BUTTON(item), image);
            gtk_tool_button_set_label(GTK_TOOL_BUTTON(item), button.text);
        } else {
            item = gtk_tool_button_new(image, button.text);
        }
        gtk_tool_item_set_is_important(item, TRUE);
        // A click does not take the keys from the page: Enter and Space never press a button
        // the person did not choose.
        gtk_widget_set_can_focus(gtk_bin_get_child(GTK_BIN(item)), FALSE);
        if (button.tooltip != nullptr) {
            gtk_tool_item_set_tooltip_text(item, button.tooltip);
        }
        g_object_set_data(G_OBJECT(item), "nvr-command", GINT_TO_POINTER(button.command));
        g_signal_connect(item, "clicked", G_CALLBACK(+[](GtkToolButton* clicked, gpointer self) {
                             Self(self)->OnCommand(GPOINTER_TO_INT(
                                 g_object_get_data(G_OBJECT(clicked), "nvr-command")));
                         }),
                         this);
        gtk_toolbar_insert(GTK_TOOLBAR(toolbar), item, -1);
        m_widgets->toolButtons[i] = GTK_WIDGET(item);
        if (button.toggle) {
            m_widgets->sheetsButton = GTK_WIDGET(item);
        }
    }
    m_widgets->toolbar = toolbar;
}

void PreviewWindow::OnClose() {
    if (SendingPrint()) {
        // A job being sent is never cut off: the window closes once it has ended.
        if (!m_closeAfterPrint) {
            NVR_LOG_INFO("The preview closes once the document has been sent");
            m_closeAfterPrint = true;
            gtk_window_set_title(
                GTK_WINDOW(m_widgets->frame),
                ("Print Preview - " + m_documentName + " (closing once the document has been sent)")
                    .c_str());
        }
        return;
    }
    // A printer still being asked or a print dialog still open ends with the window.
    m_print.reset();
    NVR_LOG_INFO("User closed preview");
    m_result = PreviewClosed;
    m_running = false;
    if (m_widgets->loop != nullptr) {
        g_main_loop_quit(m_widgets->loop);
    }
}

void PreviewWindow::OnCommand(int32_t id) {
    switch (id) {
        case kPrevious:
            StepPage(m_model, preview::PageStep::Previous);
            break;
        case kNext:
            StepPage(m_model, preview::PageStep::Next);
            break;
        case kZoomIn:
            m_widgets->pageView->ZoomIn();
            break;
        case kZoomOut:
            m_widgets->pageView->ZoomOut();
            break;
        case kFitWindow:
            m_widgets->pageView->FitToWindow();
            break;
        case kPrint:
            OnPrint();
            break;
        case kSheets:
            if (!m_widgets->settingSheetsButton) {
                ShowSheets(gtk_toggle_tool_button_get_active(
                    GTK_TOGGLE_TOOL_BUTTON(m_widgets->sheetsButton)));
            }
            break;
        default:
            break;
    }
}

bool PreviewWindow::OnFrameKeyDown(unsigned key) {
    const std::optional<preview::PageStep> step = PageStepOfKey(key);
    if (step) {
        StepPage(m_model, *step);
    }
    return step.has_value();
}

namespace preview {

void ShowBusy(GtkWidget* window, bool busy) {
    gtk_widget_set_sensitive(window, !busy);
    GdkWindow* surface = gtk_widget_get_window(window);
    if (surface == nullptr) {
        return;
    }
    platform::GObjectPtr<GdkCursor> cursor(
        busy ? gdk_cursor_new_from_name(gtk_widget_get_display(window), "wait") : nullptr);
    gdk_window_set_cursor(surface, cursor.get());
}

}  // namespace preview

}  // namespace nvrprint
