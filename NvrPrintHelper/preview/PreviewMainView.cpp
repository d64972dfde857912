// The preview's page view: the current page at the current zoom, scroll bars, panning, the
// zoom commands and the zoom field of the status bar.
#include <algorithm>

#include "NvrPrintHelper/preview/PreviewWidgets.h"
#include "NvrPrintHelper/preview/PreviewWindow.h"
#include "logging/LogMacros.h"

namespace nvrprint {
namespace {

using preview::Scroll;
using preview::ScrollCommand;
using preview::Size;

// The view's background behind a page, and behind a message.
constexpr double kWorkspaceGrey = 171 / 255.0;

void PaintMessage(cairo_t* cr, GtkWidget* view, const char* text, double red) {
    cairo_set_source_rgb(cr, 1.0, 1.0, 1.0);
    cairo_paint(cr);
    PangoLayout* layout = gtk_widget_create_pango_layout(view, text);
    int width = 0;
    int height = 0;
    pango_layout_get_pixel_size(layout, &width, &height);
    Size client = AllocatedSize(view);
    cairo_set_source_rgb(cr, red, 0.0, 0.0);
    cairo_move_to(cr, (client.width - width) / 2.0, (client.height - height) / 2.0);
    pango_cairo_show_layout(cr, layout);
    g_object_unref(layout);
}

Size ImageSize(const docmgr::PageImage* image) {
    if (image == nullptr || !image->bitmap) {
        return {};
    }
    return {image->bitmap->Width(), image->bitmap->Height()};
}

void ConfigureAdjustment(GtkAdjustment* adjustment, int32_t value, int32_t content, int32_t page) {
    gtk_adjustment_configure(adjustment, value, 0, std::max(content, page), preview::kLineStep,
                             std::max(page, 1), std::max(page, 1));
}

}  // namespace

void PreviewWindow::CreateMainView() {
    Widgets& w = *m_widgets;
    w.mainView = gtk_drawing_area_new();
    gtk_widget_set_can_focus(w.mainView, TRUE);
    gtk_widget_set_hexpand(w.mainView, TRUE);
    gtk_widget_set_vexpand(w.mainView, TRUE);
    gtk_widget_add_events(w.mainView, GDK_BUTTON_PRESS_MASK | GDK_BUTTON_RELEASE_MASK |
                                          GDK_POINTER_MOTION_MASK | GDK_SCROLL_MASK |
                                          GDK_KEY_PRESS_MASK | GDK_FOCUS_CHANGE_MASK);
    g_signal_connect(w.mainView, "draw", G_CALLBACK(Handlers::OnViewDraw), this);
    g_signal_connect(w.mainView, "size-allocate", G_CALLBACK(Handlers::OnPaneSizeAllocate), this);
    g_signal_connect(w.mainView, "button-press-event", G_CALLBACK(Handlers::OnViewButton), this);
    g_signal_connect(w.mainView, "button-release-event", G_CALLBACK(Handlers::OnViewButton), this);
    g_signal_connect(w.mainView, "motion-notify-event", G_CALLBACK(Handlers::OnViewMotion), this);
    g_signal_connect(w.mainView, "scroll-event", G_CALLBACK(Handlers::OnViewScroll), this);

    w.hAdjustment = gtk_adjustment_new(0, 0, 1, preview::kLineStep, 1, 1);
    w.vAdjustment = gtk_adjustment_new(0, 0, 1, preview::kLineStep, 1, 1);
    g_signal_connect(w.hAdjustment, "value-changed", G_CALLBACK(Handlers::OnViewAdjustment), this);
    g_signal_connect(w.vAdjustment, "value-changed", G_CALLBACK(Handlers::OnViewAdjustment), this);
    w.hScrollbar = gtk_scrollbar_new(GTK_ORIENTATION_HORIZONTAL, w.hAdjustment);
    w.vScrollbar = gtk_scrollbar_new(GTK_ORIENTATION_VERTICAL, w.vAdjustment);
    gtk_widget_set_no_show_all(w.hScrollbar, TRUE);
    gtk_widget_set_no_show_all(w.vScrollbar, TRUE);

    GtkWidget* grid = gtk_grid_new();
    gtk_grid_attach(GTK_GRID(grid), w.mainView, 0, 0, 1, 1);
    gtk_grid_attach(GTK_GRID(grid), w.vScrollbar, 1, 0, 1, 1);
    gtk_grid_attach(GTK_GRID(grid), w.hScrollbar, 0, 1, 1, 1);
    GtkWidget* edge = gtk_frame_new(nullptr);
    gtk_frame_set_shadow_type(GTK_FRAME(edge), GTK_SHADOW_IN);
    gtk_container_add(GTK_CONTAINER(edge), grid);
    // The frame packs the view by its edge; the edge is what the layout places.
    g_object_set_data(G_OBJECT(w.mainView), "nvr-edge", edge);
}

void PreviewWindow::LoadCurrentPage() {
    if (m_pageManager == nullptr) {
        return;
    }
    Widgets& w = *m_widgets;
    const bool sheets = m_model.ShowsSheets();
    NVR_LOG_DEBUG("Loading {} {}", sheets ? "sheet" : "page", m_model.Current());
    size_t index = m_model.Page() - 1;
    for (auto* held : {&m_nextImage, &m_previousImage}) {
        if (sheets) {
            break;
        }
        if (*held && (*held)->pageIndex == index) {
            m_currentImage = std::move(*held);
            held->reset();
            FinishLoadingCurrentPage();
            return;
        }
    }
    m_loading = true;
    m_currentImage.reset();
    gtk_widget_queue_draw(w.mainView);
    // The loading text is painted before the page is rendered.
    if (w.pageSource == 0) {
        w.pageSource =
            g_idle_add_full(G_PRIORITY_DEFAULT_IDLE, Handlers::OnPageLoadIdle, this, nullptr);
    }
}

void PreviewWindow::FinishLoadingCurrentPage() {
    Widgets& w = *m_widgets;
    const bool sheets = m_model.ShowsSheets();
    if (!m_currentImage) {
        m_currentImage = sheets ? DrawCurrentSheet()
                                : m_pageManager->GetPageImage(m_model.Page(), docmgr::Screen);
    }
    m_loading = false;
    if (!m_currentImage) {
        NVR_LOG_ERROR("Failed to load page {}", m_model.Page());
        m_waitingKeys.clear();
        m_model.TakeFitRequest();
        gtk_widget_queue_draw(w.mainView);
        return;
    }
    if (sheets) {
        NVR_LOG_DEBUG("Sheet {} drawn", m_model.Current());
    } else {
        NVR_LOG_DEBUG("Page {} loaded successfully", m_model.Page());
    }
    if (m_fitOnFirstLoad && m_model.Page() == 1) {
        m_model.AskFit();
        m_fitOnFirstLoad = false;
    }
    if (m_model.TakeFitRequest()) {
        FitToWindow();
    }
    UpdateMainViewScrollbars();
    gtk_widget_queue_draw(w.mainView);
    ReplayWaitingKeys();
    // The page after is rendered ahead, once the window has nothing else to do.
    if (w.prefetchSource == 0) {
        w.prefetchSource =
            g_idle_add_full(G_PRIORITY_DEFAULT_IDLE + 20, Handlers::OnPrefetchIdle, this, nullptr);
    }
}

gboolean PreviewWindow::Handlers::OnPageLoadIdle(gpointer self) {
    PreviewWindow* preview = Self(self);
    Widgets& w = *preview->m_widgets;
    // A fit needs the view's size: wait for the first layout.
    if (!gtk_widget_get_realized(w.mainView)) {
        return G_SOURCE_CONTINUE;
    }
    w.pageSource = 0;
    preview->FinishLoadingCurrentPage();
    return G_SOURCE_REMOVE;
}

gboolean PreviewWindow::Handlers::OnPrefetchIdle(gpointer self) {
    PreviewWindow* preview = Self(self);
    preview->m_widgets->prefetchSource = 0;
    uint64_t next = preview->m_model.Page() + 1;
    if (!preview->m_model.ShowsSheets() && preview->m_pageManager != nullptr &&
        next <= preview->m_pageManager->m_pageCount &&
        !(preview->m_nextImage && preview->m_nextImage->pageIndex == next - 1)) {
        preview->m_nextImage = preview->m_pageManager->GetPageImage(next, docmgr::Screen);
    }
    return G_SOURCE_REMOVE;
}

Size PreviewWindow::MainViewClientSize() const {
    return AllocatedSize(m_widgets->mainView);
}

Size PreviewWindow::GetScaledImageSize() {
    if (m_pageManager == nullptr || !m_currentImage) {
        return {};
    }
    return preview::ScaledSize(ImageSize(m_currentImage.get()), m_model.Zoom());
}

void PreviewWindow::ClampMainViewScroll() {
    m_model.SetScroll(
        preview::ClampScroll(m_model.GetScroll(), GetScaledImageSize(), MainViewClientSize()));
}

void PreviewWindow::PaintMainView(void* context) {
    auto* cr = static_cast<cairo_t*>(context);
    Widgets& w = *m_widgets;
    if (m_pageManager == nullptr) {
        return;
    }
    if (m_loading) {
        PaintMessage(cr, w.mainView, "Loading page...", 0.0);
        return;
    }
    if (!m_currentImage) {
        PaintMessage(cr, w.mainView, "Failed to load page", 1.0);
        NVR_LOG_ERROR("No image available for page {}", m_model.Page());
        return;
    }
    cairo_set_source_rgb(cr, kWorkspaceGrey, kWorkspaceGrey, kWorkspaceGrey);
    cairo_paint(cr);

    const double zoom = m_model.Zoom();
    Size image = ImageSize(m_currentImage.get());
    Size scaled = preview::ScaledSize(image, zoom);
    auto [x, y] = preview::ImageOrigin(scaled, MainViewClientSize(), m_model.GetScroll());
    if (scaled.width < 1 || scaled.height < 1) {
        return;
    }

    if (zoom < 1.0) {
        // Shrinking filters the whole page: done once for a zoom, then painting is a copy.
        if (!w.scaledPage || w.scaledFrom != m_currentImage.get() || w.scaledZoom != zoom) {
            w.scaledPage.reset(
                cairo_image_surface_create(CAIRO_FORMAT_RGB24, scaled.width, scaled.height));
            platform::CairoPtr scaler(cairo_create(w.scaledPage.get()));
            cairo_scale(scaler.get(), static_cast<double>(scaled.width) / image.width,
                        static_cast<double>(scaled.height) / image.height);
            cairo_set_source_surface(scaler.get(), m_currentImage->bitmap->Surface(), 0, 0);
            cairo_pattern_set_filter(cairo_get_source(scaler.get()), CAIRO_FILTER_GOOD);
            cairo_paint(scaler.get());
            w.scaledFrom = m_currentImage.get();
            w.scaledZoom = zoom;
        }
        cairo_set_source_surface(cr, w.scaledPage.get(), x, y);
        cairo_paint(cr);
    } else {
        // Enlarging reads only what is exposed.
        cairo_save(cr);
        cairo_rectangle(cr, x, y, scaled.width, scaled.height);
        cairo_clip(cr);
        cairo_translate(cr, x, y);
        cairo_scale(cr, static_cast<double>(scaled.width) / image.width,
                    static_cast<double>(scaled.height) / image.height);
        cairo_set_source_surface(cr, m_currentImage->bitmap->Surface(), 0, 0);
        cairo_pattern_set_filter(cairo_get_source(cr), CAIRO_FILTER_BILINEAR);
        cairo_paint(cr);
        cairo_restore(cr);
    }
    NVR_LOG_VERBOSE("Painted page {} at {}x{} pos={},{}", m_model.Page(), scaled.width,
                    scaled.height, x, y);
}

void PreviewWindow::UpdateMainViewScrollbars() {
    if (!m_widgets) {
        return;
    }
    Widgets& w = *m_widgets;
    Size client = MainViewClientSize();
    Size scaled = GetScaledImageSize();
    bool wantH = scaled.width > client.width;
    bool wantV = scaled.height > client.height;
    // A bar that comes or goes resizes the view, which lays it out again.
    if (gtk_widget_get_visible(w.hScrollbar) != wantH) {
        gtk_widget_set_visible(w.hScrollbar, wantH);
    }
    if (gtk_widget_get_visible(w.vScrollbar) != wantV) {
        gtk_widget_set_visible(w.vScrollbar, wantV);
    }
    Scroll scroll = m_model.GetScroll();
    if (!wantH) {
        scroll.x = 0;
    }
    if (!wantV) {
        scroll.y = 0;
    }
    w.updatingAdjustments = true;
    ConfigureAdjustment(w.hAdjustment, scroll.x, scaled.width, client.width);
    ConfigureAdjustment(w.vAdjustment, scroll.y, scaled.height, client.height);
    w.updatingAdjustments = false;
    NVR_LOG_VERBOSE("Image size={}x{}, Client size={}x{}, Scroll pos={},{}, HScroll={}, VScroll={}",
                    scaled.width, scaled.height, client.width, client.height, scroll.x, scroll.y,
                    wantH, wantV);
    m_model.SetScroll(scroll);
}

void PreviewWindow::SetMainViewScroll(Scroll scroll) {
    m_model.SetScroll(preview::ClampScroll(scroll, GetScaledImageSize(), MainViewClientSize()));
}

void PreviewWindow::OnMainViewScroll(bool vertical, ScrollCommand command, int32_t position) {
    Size client = MainViewClientSize();
    Size scaled = GetScaledImageSize();
    const Scroll now = m_model.GetScroll();
    int32_t current = vertical ? now.y : now.x;
    int32_t extent = vertical ? client.height : client.width;
    int32_t limit = std::max(0, (vertical ? scaled.height : scaled.width) - extent);
    int32_t next = preview::ScrollTo(command, current, position, extent, limit);
    if (next == current) {
        return;
    }
    SetMainViewScroll(vertical ? Scroll{now.x, next} : Scroll{next, now.y});
    NVR_LOG_VERBOSE("{} scrolled to {} (delta={})", vertical ? "Vertical" : "Horizontal", next,
                    current - next);
}

void PreviewWindow::OnMainViewMouseDown(int32_t x, int32_t y) {
    Widgets& w = *m_widgets;
    gtk_widget_grab_focus(w.mainView);
    m_dragging = true;
    m_dragStart = {x, y};
    m_dragStartScroll = m_model.GetScroll();
    GdkWindow* window = gtk_widget_get_window(w.mainView);
    GdkCursor* hand = gdk_cursor_new_from_name(gdk_window_get_display(window), "grabbing");
    gdk_window_set_cursor(window, hand);
    if (hand != nullptr) {
        g_object_unref(hand);
    }
    NVR_LOG_DEBUG("Started drag at {},{}", x, y);
}

void PreviewWindow::OnMainViewMouseUp(int32_t x, int32_t y) {
    if (!m_dragging) {
        return;
    }
    m_dragging = false;
    gdk_window_set_cursor(gtk_widget_get_window(m_widgets->mainView), nullptr);
    NVR_LOG_DEBUG("Ended drag at {},{}", x, y);
}

void PreviewWindow::OnMainViewMouseMove(int32_t x, int32_t y) {
    if (!m_dragging) {
        return;
    }
    Scroll old = m_model.GetScroll();
    SetMainViewScroll(
        {m_dragStartScroll.x + m_dragStart.x - x, m_dragStartScroll.y + m_dragStart.y - y});
    Scroll now = m_model.GetScroll();
    if (old != now) {
        NVR_LOG_VERBOSE("Dragging - delta={},{}, scroll={},{}", m_dragStart.x - x,
                        m_dragStart.y - y, now.x, now.y);
    }
}

void PreviewWindow::OnMainViewMouseWheel(int32_t delta) {
    Scroll old = m_model.GetScroll();
    SetMainViewScroll(
        {old.x, old.y + preview::WheelScrollChange(delta, preview::kWheelStepPerNotch)});
    int32_t y = m_model.GetScroll().y;
    if (old.y != y) {
        NVR_LOG_VERBOSE("Scrolled by {} pixels, new Y pos={}", y - old.y, y);
    }
}

bool PreviewWindow::OnMainViewKeyDown(unsigned key) {
    switch (key) {
        case GDK_KEY_Page_Up:
        case GDK_KEY_KP_Page_Up:
            StepPage(PageStep::Previous);
            return true;
        case GDK_KEY_Page_Down:
        case GDK_KEY_KP_Page_Down:
            StepPage(PageStep::Next);
            return true;
        case GDK_KEY_Home:
        case GDK_KEY_KP_Home:
            StepPage(PageStep::First);
            return true;
        case GDK_KEY_End:
        case GDK_KEY_KP_End:
            StepPage(PageStep::Last);
            return true;
        case GDK_KEY_0:
            NVR_LOG_DEBUG("Reset zoom to 100%");
            m_model.SetZoom({1.0, {}});
            return true;
        case GDK_KEY_KP_Add:
        case GDK_KEY_plus:
        case GDK_KEY_equal:
            ZoomIn();
            return true;
        case GDK_KEY_KP_Subtract:
        case GDK_KEY_minus:
        case GDK_KEY_underscore:
            ZoomOut();
            return true;
        case GDK_KEY_Left:
        case GDK_KEY_Right:
        case GDK_KEY_Up:
        case GDK_KEY_Down:
            break;
        default:
            return false;
    }
    // The arrows scroll a page larger than the view and step pages otherwise: which, the
    // page's picture says, so they wait for it.
    if (m_loading) {
        m_waitingKeys.push_back(key);
        return true;
    }
    Size client = MainViewClientSize();
    Size scaled = GetScaledImageSize();
    bool wider = scaled.width > client.width;
    bool taller = scaled.height > client.height;
    Scroll scroll = m_model.GetScroll();
    switch (key) {
        case GDK_KEY_Left:
            if (wider) {
                SetMainViewScroll({scroll.x - preview::kLineStep, scroll.y});
            }
            break;
        case GDK_KEY_Right:
            if (wider) {
                SetMainViewScroll({scroll.x + preview::kLineStep, scroll.y});
            }
            break;
        case GDK_KEY_Up:
            taller ? SetMainViewScroll({scroll.x, scroll.y - preview::kLineStep})
                   : StepPage(PageStep::Previous);
            break;
        default:
            taller ? SetMainViewScroll({scroll.x, scroll.y + preview::kLineStep})
                   : StepPage(PageStep::Next);
            break;
    }
    return true;
}

void PreviewWindow::ReplayWaitingKeys() {
    std::vector<unsigned> keys = std::move(m_waitingKeys);
    m_waitingKeys.clear();
    for (size_t i = 0; i < keys.size(); ++i) {
        OnMainViewKeyDown(keys[i]);
        if (m_loading) {
            // A key stepped to a page not yet drawn: the rest wait for that one.
            m_waitingKeys.assign(keys.begin() + static_cast<std::ptrdiff_t>(i) + 1, keys.end());
            return;
        }
    }
}

void PreviewWindow::ZoomIn() {
    m_model.SetZoom(preview::ZoomIn({m_model.Zoom(), m_model.GetScroll()}));
    NVR_LOG_DEBUG("Zoom in: {}", m_model.Zoom());
    ClampMainViewScroll();
}

void PreviewWindow::ZoomOut() {
    m_model.SetZoom(preview::ZoomOut({m_model.Zoom(), m_model.GetScroll()}));
    NVR_LOG_DEBUG("Zoom out: {}", m_model.Zoom());
    ClampMainViewScroll();
}

void PreviewWindow::FitToWindow() {
    if (m_pageManager == nullptr || !m_widgets) {
        NVR_LOG_ENTRY("FitToWindow exit - no page manager or main view");
        return;
    }
    if (!m_currentImage) {
        if (m_loading) {
            NVR_LOG_DEBUG("Fit waits for page {}", m_model.Page());
            m_model.AskFit();
        }
        NVR_LOG_ENTRY("FitToWindow exit - no image");
        return;
    }
    if (!m_currentImage->bitmap) {
        NVR_LOG_ENTRY("FitToWindow exit - no bitmap handle");
        return;
    }
    Size image = ImageSize(m_currentImage.get());
    Size client = MainViewClientSize();
    std::optional<double> zoom = preview::FitZoom(image, client);
    if (!zoom) {
        m_model.SetZoom({1.0, m_model.GetScroll()});
        NVR_LOG_ENTRY("FitToWindow exit - no available space");
        return;
    }
    NVR_LOG_DEBUG("Set zoom to {} (image={}x{}, client={}x{})", *zoom, image.width, image.height,
                  client.width, client.height);
    m_model.SetZoom({*zoom, {}});
}

void PreviewWindow::NavigateToPage(size_t page) {
    if (m_pageManager == nullptr) {
        NVR_LOG_ENTRY("NavigateToPage exit - no page manager");
        return;
    }
    if (page == 0 || page > m_pageManager->m_pageCount) {
        NVR_LOG_ENTRY("NavigateToPage exit - invalid page number");
        return;
    }
    NVR_LOG_DEBUG("Navigating to page {}", page);
    m_model.SetPageCount(m_pageManager->m_pageCount);
    // In the sheets view, to the side that carries the page.
    m_model.GoTo(m_model.ShowsSheets() ? m_model.SideOfPage(page) : page);
}

void PreviewWindow::StepPage(PageStep step) {
    if (m_pageManager != nullptr) {
        m_model.SetPageCount(m_pageManager->m_pageCount);
    }
    if (m_model.Step(step)) {
        NVR_LOG_DEBUG("Navigating to page {}", m_model.Current());
    }
}

void PreviewWindow::OnModelChanged(unsigned changes) {
    if (!m_widgets) {
        return;
    }
    Widgets& w = *m_widgets;
    if (changes & (preview::kPageChanged | preview::kZoomChanged | preview::kViewChanged)) {
        UpdateStatusBar();
    }
    if (changes & preview::kViewChanged) {
        // Pages and sheets share no pictures; each view starts fitted.
        m_currentImage.reset();
        m_previousImage.reset();
        m_nextImage.reset();
        m_model.AskFit();
    }
    if (changes & preview::kPageChanged) {
        // The page left behind stays at hand for going back.
        if (m_currentImage && !m_model.ShowsSheets()) {
            m_previousImage = std::move(m_currentImage);
        }
        m_currentImage.reset();
        gtk_widget_queue_draw(w.thumbnailPanel);
        // In the sheets view the page follows the side on show, to its first page.
        if (m_model.IsOnShow(m_model.Page())) {
            ScrollThumbnailsToPage(m_model.Page());
        }
        LoadCurrentPage();
    }
    if (changes & (preview::kZoomChanged | preview::kScrollChanged | preview::kPageChanged)) {
        UpdateMainViewScrollbars();
        gtk_widget_queue_draw(w.mainView);
    }
}

void PreviewWindow::ShowZoomEdit() {
    Widgets& w = *m_widgets;
    gtk_entry_set_text(GTK_ENTRY(w.zoomEdit), preview::ZoomFieldText(m_model.Zoom()).c_str());
    gtk_stack_set_visible_child_name(GTK_STACK(w.statusZoomStack), "edit");
    gtk_widget_grab_focus(w.zoomEdit);
    gtk_editable_select_region(GTK_EDITABLE(w.zoomEdit), 0, -1);
    NVR_LOG_DEBUG("Showing zoom edit control");
}

void PreviewWindow::HideZoomEdit(bool apply) {
    Widgets& w = *m_widgets;
    if (g_strcmp0(gtk_stack_get_visible_child_name(GTK_STACK(w.statusZoomStack)), "edit") != 0) {
        return;
    }
    // Hidden first: giving the focus back below ends the field's focus too.
    gtk_stack_set_visible_child_name(GTK_STACK(w.statusZoomStack), "text");
    if (apply) {
        std::string text = gtk_entry_get_text(GTK_ENTRY(w.zoomEdit));
        std::optional<int32_t> value = preview::ParseTypedZoom(text.substr(0, 9));
        if (!value) {
            NVR_LOG_DEBUG("Invalid zoom input");
        } else if (*value < preview::kTypedZoomMin || *value > preview::kTypedZoomMax) {
            NVR_LOG_DEBUG("Zoom value out of range: {}", *value);
        } else {
            NVR_LOG_DEBUG("Applied zoom {}%", *value);
            m_model.SetZoom({*value / 100.0, m_model.GetScroll()});
            ClampMainViewScroll();
        }
    }
    gtk_window_set_focus(GTK_WINDOW(w.frame), nullptr);
}

gboolean PreviewWindow::Handlers::OnViewDraw(GtkWidget*, cairo_t* cr, gpointer self) {
    Self(self)->PaintMainView(cr);
    return TRUE;
}

void PreviewWindow::Handlers::OnPaneSizeAllocate(GtkWidget*, GdkRectangle*, gpointer self) {
    // Scroll bars shown or hidden resize the view again: that waits for this layout's end.
    Widgets& w = *Self(self)->m_widgets;
    if (w.viewLayoutSource == 0) {
        w.viewLayoutSource =
            g_idle_add_full(G_PRIORITY_HIGH_IDLE, Handlers::OnViewLayoutIdle, self, nullptr);
    }
}

gboolean PreviewWindow::Handlers::OnViewLayoutIdle(gpointer self) {
    PreviewWindow* preview = Self(self);
    preview->m_widgets->viewLayoutSource = 0;
    preview->ClampMainViewScroll();
    preview->UpdateMainViewScrollbars();
    preview->UpdateThumbnailScrollbar();
    return G_SOURCE_REMOVE;
}

gboolean PreviewWindow::Handlers::OnViewButton(GtkWidget*, GdkEventButton* event, gpointer self) {
    PreviewWindow* preview = Self(self);
    return OnPrimaryButton(
        event, [preview](int32_t x, int32_t y) { preview->OnMainViewMouseDown(x, y); },
        [preview](int32_t x, int32_t y) { preview->OnMainViewMouseUp(x, y); });
}

gboolean PreviewWindow::Handlers::OnViewMotion(GtkWidget* view, GdkEventMotion* event,
                                               gpointer self) {
    Self(self)->OnMainViewMouseMove(static_cast<int32_t>(event->x), static_cast<int32_t>(event->y));
    if (!gtk_widget_has_focus(view)) {
        gtk_widget_grab_focus(view);
    }
    return FALSE;
}

gboolean PreviewWindow::Handlers::OnViewScroll(GtkWidget*, GdkEventScroll* event, gpointer self) {
    PreviewWindow* preview = Self(self);
    int32_t delta = WheelDelta(event);
    if ((event->state & GDK_CONTROL_MASK) != 0) {
        if (delta > 0) {
            preview->ZoomIn();
        } else if (delta < 0) {
            preview->ZoomOut();
        }
    } else {
        preview->OnMainViewMouseWheel(delta);
    }
    return TRUE;
}

void PreviewWindow::Handlers::OnViewAdjustment(GtkAdjustment* adjustment, gpointer self) {
    PreviewWindow* preview = Self(self);
    Widgets& w = *preview->m_widgets;
    if (w.updatingAdjustments) {
        return;
    }
    bool vertical = adjustment == w.vAdjustment;
    preview->OnMainViewScroll(vertical, ScrollCommand::Track,
                              static_cast<int32_t>(gtk_adjustment_get_value(adjustment)));
}

gboolean PreviewWindow::Handlers::OnZoomPartClick(GtkWidget*, GdkEventButton* event,
                                                  gpointer self) {
    if (event->type == GDK_BUTTON_PRESS && event->button == GDK_BUTTON_PRIMARY) {
        Self(self)->ShowZoomEdit();
    }
    return TRUE;
}

gboolean PreviewWindow::Handlers::OnZoomEditKey(GtkWidget*, GdkEventKey* event, gpointer self) {
    switch (event->keyval) {
        case GDK_KEY_Return:
        case GDK_KEY_KP_Enter:
            Self(self)->HideZoomEdit(true);
            return TRUE;
        case GDK_KEY_Escape:
            Self(self)->HideZoomEdit(false);
            return TRUE;
        default:
            return FALSE;
    }
}

gboolean PreviewWindow::Handlers::OnZoomEditFocusOut(GtkWidget*, GdkEventFocus*, gpointer self) {
    Self(self)->HideZoomEdit(false);
    return FALSE;
}

void PreviewWindow::Handlers::OnZoomEditInsert(GtkEditable* editable, const gchar* text,
                                               gint length, gint*, gpointer) {
    // Digits only.
    std::string typed(text, length < 0 ? std::char_traits<char>::length(text) : length);
    if (!std::all_of(typed.begin(), typed.end(), [](char c) { return c >= '0' && c <= '9'; })) {
        g_signal_stop_emission_by_name(editable, "insert-text");
    }
}

}  // namespace nvrprint
