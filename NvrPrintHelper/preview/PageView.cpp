#include "NvrPrintHelper/preview/PageView.h"

#include <algorithm>

#include "NvrPrintHelper/preview/GtkInput.h"
#include "logging/LogMacros.h"

namespace nvrprint::preview {
namespace {

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
    gtk_adjustment_configure(adjustment, value, 0, std::max(content, page), kLineStep,
                             std::max(page, 1), std::max(page, 1));
}

PageView* View(gpointer data) {
    return static_cast<PageView*>(data);
}

}  // namespace

PageView::PageView(PreviewModel& model, docmgr::DocFilePageMgr& pages, PictureWorker& worker,
                   SheetDrawer drawSheet)
    : m_model(model), m_pages(pages), m_worker(worker), m_drawSheet(std::move(drawSheet)) {
    m_canvas = gtk_drawing_area_new();
    gtk_widget_set_can_focus(m_canvas, TRUE);
    gtk_widget_set_hexpand(m_canvas, TRUE);
    gtk_widget_set_vexpand(m_canvas, TRUE);
    gtk_widget_add_events(m_canvas, GDK_BUTTON_PRESS_MASK | GDK_BUTTON_RELEASE_MASK |
                                        GDK_POINTER_MOTION_MASK | GDK_SCROLL_MASK |
                                        GDK_KEY_PRESS_MASK | GDK_FOCUS_CHANGE_MASK);
    m_hAdjustment = gtk_adjustment_new(0, 0, 1, kLineStep, 1, 1);
    m_vAdjustment = gtk_adjustment_new(0, 0, 1, kLineStep, 1, 1);
    m_hScrollbar = gtk_scrollbar_new(GTK_ORIENTATION_HORIZONTAL, m_hAdjustment);
    m_vScrollbar = gtk_scrollbar_new(GTK_ORIENTATION_VERTICAL, m_vAdjustment);
    gtk_widget_set_no_show_all(m_hScrollbar, TRUE);
    gtk_widget_set_no_show_all(m_vScrollbar, TRUE);

    GtkWidget* grid = gtk_grid_new();
    gtk_grid_attach(GTK_GRID(grid), m_canvas, 0, 0, 1, 1);
    gtk_grid_attach(GTK_GRID(grid), m_vScrollbar, 1, 0, 1, 1);
    gtk_grid_attach(GTK_GRID(grid), m_hScrollbar, 0, 1, 1, 1);
    m_edge = gtk_frame_new(nullptr);
    gtk_frame_set_shadow_type(GTK_FRAME(m_edge), GTK_SHADOW_IN);
    gtk_container_add(GTK_CONTAINER(m_edge), grid);
    Connect();
    m_model.Observe([this](unsigned changes) { OnModelChanged(changes); });
}

PageView::~PageView() {
    for (guint source : {m_pageSource, m_layoutSource}) {
        if (source != 0) {
            g_source_remove(source);
        }
    }
    for (gpointer instance : {static_cast<gpointer>(m_canvas), static_cast<gpointer>(m_hAdjustment),
                              static_cast<gpointer>(m_vAdjustment)}) {
        g_signal_handlers_disconnect_by_data(instance, this);
    }
}

void PageView::Connect() {
    TakeKeysUnderPointer(m_canvas, "page view");
    g_signal_connect(m_canvas, "draw", G_CALLBACK(+[](GtkWidget*, cairo_t* cr, gpointer self) {
                         View(self)->PaintMainView(cr);
                         return TRUE;
                     }),
                     this);
    g_signal_connect(m_canvas, "size-allocate",
                     G_CALLBACK(+[](GtkWidget*, GdkRectangle*, gpointer self) {
                         View(self)->LayOutAfterResize();
                     }),
                     this);
    auto button = +[](GtkWidget*, GdkEventButton* event, gpointer self) {
        PageView* view = View(self);
        return OnPrimaryButton(
            event, [view](int32_t x, int32_t y) { view->OnMainViewMouseDown(x, y); },
            [view](int32_t x, int32_t y) { view->OnMainViewMouseUp(x, y); });
    };
    g_signal_connect(m_canvas, "button-press-event", G_CALLBACK(button), this);
    g_signal_connect(m_canvas, "button-release-event", G_CALLBACK(button), this);
    g_signal_connect(m_canvas, "motion-notify-event",
                     G_CALLBACK(+[](GtkWidget*, GdkEventMotion* event, gpointer self) {
                         View(self)->OnMainViewMouseMove(static_cast<int32_t>(event->x),
                                                         static_cast<int32_t>(event->y));
                         return FALSE;
                     }),
                     this);
    g_signal_connect(m_canvas, "scroll-event",
                     G_CALLBACK(+[](GtkWidget*, GdkEventScroll* event, gpointer self) {
                         View(self)->OnMainViewMouseWheel(WheelDelta(event),
                                                          (event->state & GDK_CONTROL_MASK) != 0);
                         return TRUE;
                     }),
                     this);
    g_signal_connect(m_canvas, "key-press-event",
                     G_CALLBACK(+[](GtkWidget*, GdkEventKey* event, gpointer self) -> gboolean {
                         return View(self)->OnMainViewKeyDown(event->keyval);
                     }),
                     this);
    auto adjusted = +[](GtkAdjustment* adjustment, gpointer self) {
        PageView* view = View(self);
        if (!view->m_updatingAdjustments) {
            view->OnMainViewScroll(adjustment == view->m_vAdjustment, ScrollCommand::Track,
                                   static_cast<int32_t>(gtk_adjustment_get_value(adjustment)));
        }
    };
    g_signal_connect(m_hAdjustment, "value-changed", G_CALLBACK(adjusted), this);
    g_signal_connect(m_vAdjustment, "value-changed", G_CALLBACK(adjusted), this);
}

void PageView::LayOutAfterResize() {
    // Scroll bars shown or hidden resize the view again: that waits for this layout's end.
    if (m_layoutSource != 0) {
        return;
    }
    m_layoutSource = g_idle_add_full(
        G_PRIORITY_HIGH_IDLE,
        [](gpointer self) -> gboolean {
            PageView* view = View(self);
            view->m_layoutSource = 0;
            view->SetMainViewScroll(view->m_model.GetScroll());
            view->UpdateMainViewScrollbars();
            return G_SOURCE_REMOVE;
        },
        this, nullptr);
}

void PageView::LoadCurrentPage() {
    const bool sheets = m_model.ShowsSheets();
    const uint64_t current = m_model.Current();
    NVR_LOG_DEBUG("Loading {} {}", sheets ? "sheet" : "page", current);
    const size_t index = m_model.Page() - 1;
    for (Picture* held : {&m_nextImage, &m_previousImage}) {
        if (!sheets && *held && (*held)->pageIndex == index) {
            m_currentImage = std::move(*held);
            held->reset();
            FinishLoadingCurrentPage();
            return;
        }
    }
    m_loading = true;
    m_currentImage.reset();
    gtk_widget_queue_draw(m_canvas);
    DrawPicture draw = sheets ? m_drawSheet(current) : [pages = &m_pages, page = m_model.Page()] {
        return pages->GetPageImage(page, docmgr::Screen);
    };
    m_worker.Draw(Lane::Page, std::move(draw), [this, current, sheets](Picture picture) {
        OnPicture(current, sheets, std::move(picture));
    });
}

void PageView::OnPicture(uint64_t current, bool sheets, Picture picture) {
    if (!m_loading || sheets != m_model.ShowsSheets() || current != m_model.Current()) {
        return;  // the view has moved on
    }
    m_currentImage = std::move(picture);
    FinishLoadingCurrentPage();
}

void PageView::FinishLoadingCurrentPage() {
    // A fit needs the view's size: the picture waits for the first layout.
    if (!gtk_widget_get_realized(m_canvas)) {
        m_loading = true;
        if (m_pageSource == 0) {
            m_pageSource = g_idle_add_full(
                G_PRIORITY_DEFAULT_IDLE,
                [](gpointer self) -> gboolean {
                    PageView* view = View(self);
                    if (!gtk_widget_get_realized(view->m_canvas)) {
                        return G_SOURCE_CONTINUE;
                    }
                    view->m_pageSource = 0;
                    // Another page was asked for meanwhile: its picture finishes the load.
                    if (view->m_currentImage) {
                        view->FinishLoadingCurrentPage();
                    }
                    return G_SOURCE_REMOVE;
                },
                this, nullptr);
        }
        return;
    }
    m_loading = false;
    if (!m_currentImage) {
        NVR_LOG_ERROR("Failed to load page {}", m_model.Page());
        m_waitingKeys.clear();
        m_model.TakeFitRequest();
        gtk_widget_queue_draw(m_canvas);
        return;
    }
    if (m_model.ShowsSheets()) {
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
    gtk_widget_queue_draw(m_canvas);
    ReplayWaitingKeys();
    if (!m_loading) {
        Prefetch();
    }
}

void PageView::Prefetch() {
    // The page after is drawn ahead, for the usual next step.
    const uint64_t next = m_model.Page() + 1;
    if (m_model.ShowsSheets() || next > m_pages.m_pageCount ||
        (m_nextImage && m_nextImage->pageIndex == next - 1)) {
        return;
    }
    m_worker.Draw(
        Lane::Page, [pages = &m_pages, next] { return pages->GetPageImage(next, docmgr::Screen); },
        [this, next](Picture picture) {
            if (picture && !m_model.ShowsSheets() && m_model.Page() != next) {
                m_nextImage = std::move(picture);
            }
        });
}

Size PageView::ClientSize() const {
    return AllocatedSize(m_canvas);
}

Size PageView::GetScaledImageSize() const {
    if (!m_currentImage) {
        return {};
    }
    return ScaledSize(ImageSize(m_currentImage.get()), m_model.Zoom());
}

void PageView::PaintMainView(cairo_t* cr) {
    if (m_loading) {
        PaintMessage(cr, m_canvas, "Loading page...", 0.0);
        return;
    }
    if (!m_currentImage) {
        PaintMessage(cr, m_canvas, "Failed to load page", 1.0);
        NVR_LOG_ERROR("No image available for page {}", m_model.Page());
        return;
    }
    cairo_set_source_rgb(cr, kWorkspaceGrey, kWorkspaceGrey, kWorkspaceGrey);
    cairo_paint(cr);

    const double zoom = m_model.Zoom();
    Size image = ImageSize(m_currentImage.get());
    Size scaled = ScaledSize(image, zoom);
    auto [x, y] = ImageOrigin(scaled, ClientSize(), m_model.GetScroll());
    if (scaled.width < 1 || scaled.height < 1) {
        return;
    }

    if (zoom < 1.0) {
        // Shrinking filters the whole page: done once for a zoom, then painting is a copy.
        if (!m_scaledPage || m_scaledFrom != m_currentImage.get() || m_scaledZoom != zoom) {
            m_scaledPage.reset(
                cairo_image_surface_create(CAIRO_FORMAT_RGB24, scaled.width, scaled.height));
            platform::CairoPtr scaler(cairo_create(m_scaledPage.get()));
            cairo_scale(scaler.get(), static_cast<double>(scaled.width) / image.width,
                        static_cast<double>(scaled.height) / image.height);
            cairo_set_source_surface(scaler.get(), m_currentImage->bitmap->Surface(), 0, 0);
            cairo_pattern_set_filter(cairo_get_source(scaler.get()), CAIRO_FILTER_GOOD);
            cairo_paint(scaler.get());
            m_scaledFrom = m_currentImage.get();
            m_scaledZoom = zoom;
        }
        cairo_set_source_surface(cr, m_scaledPage.get(), x, y);
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

void PageView::UpdateMainViewScrollbars() {
    Size client = ClientSize();
    Size scaled = GetScaledImageSize();
    bool wantH = scaled.width > client.width;
    bool wantV = scaled.height > client.height;
    // A bar that comes or goes resizes the view, which lays it out again.
    if (gtk_widget_get_visible(m_hScrollbar) != wantH) {
        gtk_widget_set_visible(m_hScrollbar, wantH);
    }
    if (gtk_widget_get_visible(m_vScrollbar) != wantV) {
        gtk_widget_set_visible(m_vScrollbar, wantV);
    }
    Scroll scroll = m_model.GetScroll();
    if (!wantH) {
        scroll.x = 0;
    }
    if (!wantV) {
        scroll.y = 0;
    }
    m_updatingAdjustments = true;
    ConfigureAdjustment(m_hAdjustment, scroll.x, scaled.width, client.width);
    ConfigureAdjustment(m_vAdjustment, scroll.y, scaled.height, client.height);
    m_updatingAdjustments = false;
    NVR_LOG_VERBOSE("Image size={}x{}, Client size={}x{}, Scroll pos={},{}, HScroll={}, VScroll={}",
                    scaled.width, scaled.height, client.width, client.height, scroll.x, scroll.y,
                    wantH, wantV);
    m_model.SetScroll(scroll);
}

void PageView::SetMainViewScroll(Scroll scroll) {
    m_model.SetScroll(ClampScroll(scroll, GetScaledImageSize(), ClientSize()));
}

void PageView::OnMainViewScroll(bool vertical, ScrollCommand command, int32_t position) {
    Size client = ClientSize();
    Size scaled = GetScaledImageSize();
    const Scroll now = m_model.GetScroll();
    int32_t current = vertical ? now.y : now.x;
    int32_t extent = vertical ? client.height : client.width;
    int32_t limit = std::max(0, (vertical ? scaled.height : scaled.width) - extent);
    int32_t next = ScrollTo(command, current, position, extent, limit);
    if (next == current) {
        return;
    }
    SetMainViewScroll(vertical ? Scroll{now.x, next} : Scroll{next, now.y});
    NVR_LOG_VERBOSE("{} scrolled to {} (delta={})", vertical ? "Vertical" : "Horizontal", next,
                    current - next);
}

void PageView::OnMainViewMouseDown(int32_t x, int32_t y) {
    gtk_widget_grab_focus(m_canvas);
    m_dragging = true;
    m_dragStart = {x, y};
    m_dragStartScroll = m_model.GetScroll();
    GdkWindow* window = gtk_widget_get_window(m_canvas);
    GdkCursor* hand = gdk_cursor_new_from_name(gdk_window_get_display(window), "grabbing");
    gdk_window_set_cursor(window, hand);
    if (hand != nullptr) {
        g_object_unref(hand);
    }
    NVR_LOG_DEBUG("Started drag at {},{}", x, y);
}

void PageView::OnMainViewMouseUp(int32_t x, int32_t y) {
    if (!m_dragging) {
        return;
    }
    m_dragging = false;
    gdk_window_set_cursor(gtk_widget_get_window(m_canvas), nullptr);
    NVR_LOG_DEBUG("Ended drag at {},{}", x, y);
}

void PageView::OnMainViewMouseMove(int32_t x, int32_t y) {
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

void PageView::OnMainViewMouseWheel(int32_t delta, bool zoom) {
    if (zoom) {
        // With Ctrl the wheel zooms.
        if (delta > 0) {
            ZoomIn();
        } else if (delta < 0) {
            ZoomOut();
        }
        return;
    }
    Scroll old = m_model.GetScroll();
    SetMainViewScroll({old.x, old.y + WheelScrollChange(delta, kWheelStepPerNotch)});
    int32_t y = m_model.GetScroll().y;
    if (old.y != y) {
        NVR_LOG_VERBOSE("Scrolled by {} pixels, new Y pos={}", y - old.y, y);
    }
}

bool PageView::OnMainViewKeyDown(unsigned key) {
    if (std::optional<PageStep> step = PageStepOfKey(key)) {
        StepPage(m_model, *step);
        return true;
    }
    switch (key) {
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
    Size client = ClientSize();
    Size scaled = GetScaledImageSize();
    bool wider = scaled.width > client.width;
    bool taller = scaled.height > client.height;
    Scroll scroll = m_model.GetScroll();
    switch (key) {
        case GDK_KEY_Left:
            if (wider) {
                SetMainViewScroll({scroll.x - kLineStep, scroll.y});
            }
            break;
        case GDK_KEY_Right:
            if (wider) {
                SetMainViewScroll({scroll.x + kLineStep, scroll.y});
            }
            break;
        case GDK_KEY_Up:
            taller ? SetMainViewScroll({scroll.x, scroll.y - kLineStep})
                   : StepPage(m_model, PageStep::Previous);
            break;
        default:
            taller ? SetMainViewScroll({scroll.x, scroll.y + kLineStep})
                   : StepPage(m_model, PageStep::Next);
            break;
    }
    return true;
}

void PageView::ReplayWaitingKeys() {
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

void PageView::ZoomIn() {
    m_model.SetZoom(preview::ZoomIn({m_model.Zoom(), m_model.GetScroll()}));
    NVR_LOG_DEBUG("Zoom in: {}", m_model.Zoom());
}

void PageView::ZoomOut() {
    m_model.SetZoom(preview::ZoomOut({m_model.Zoom(), m_model.GetScroll()}));
    NVR_LOG_DEBUG("Zoom out: {}", m_model.Zoom());
}

void PageView::FitToWindow() {
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
    Size client = ClientSize();
    std::optional<double> zoom = FitZoom(image, client);
    if (!zoom) {
        m_model.SetZoom({1.0, m_model.GetScroll()});
        NVR_LOG_ENTRY("FitToWindow exit - no available space");
        return;
    }
    NVR_LOG_DEBUG("Set zoom to {} (image={}x{}, client={}x{})", *zoom, image.width, image.height,
                  client.width, client.height);
    m_model.SetZoom({*zoom, {}});
}

void PageView::OnModelChanged(unsigned changes) {
    if (changes & kViewChanged) {
        // Pages and sheets share no pictures; each view starts fitted.
        m_currentImage.reset();
        m_previousImage.reset();
        m_nextImage.reset();
        m_model.AskFit();
    }
    if (changes & kPageChanged) {
        // The page left behind stays at hand for going back.
        if (m_currentImage && !m_model.ShowsSheets()) {
            m_previousImage = std::move(m_currentImage);
        }
        m_currentImage.reset();
        LoadCurrentPage();
    }
    if (changes & kZoomChanged) {
        // A zoom keeps the scroll within the page at its new size.
        SetMainViewScroll(m_model.GetScroll());
    }
    if (changes & (kZoomChanged | kScrollChanged | kPageChanged)) {
        UpdateMainViewScrollbars();
        gtk_widget_queue_draw(m_canvas);
    }
}

}  // namespace nvrprint::preview
