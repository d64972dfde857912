// The preview's thumbnail strip: every page small with its number, the current one marked;
// a click goes to a page, a drag or the wheel scrolls the strip.
#include <algorithm>

#include "NvrPrintHelper/preview/PreviewWidgets.h"
#include "NvrPrintHelper/preview/PreviewWindow.h"
#include "NvrPrintHelper/preview/ThumbnailLayout.h"
#include "logging/LogMacros.h"

namespace nvrprint {
namespace {

using preview::ScrollCommand;
using preview::Size;
using preview::ThumbnailLayout;

constexpr int32_t kThumbnailsShownAtOnce = 5;
constexpr int32_t kLabelFontPixels = 14;

void SetRgb(cairo_t* cr, int red, int green, int blue) {
    cairo_set_source_rgb(cr, red / 255.0, green / 255.0, blue / 255.0);
}

void DrawLabel(cairo_t* cr, GtkWidget* panel, uint64_t page, int32_t top, int32_t width) {
    std::string text = std::to_string(page);
    PangoLayout* layout = gtk_widget_create_pango_layout(panel, text.c_str());
    PangoFontDescription* font = pango_font_description_copy(
        pango_context_get_font_description(pango_layout_get_context(layout)));
    pango_font_description_set_absolute_size(font, kLabelFontPixels * PANGO_SCALE);
    pango_layout_set_font_description(layout, font);
    pango_font_description_free(font);
    int textWidth = 0;
    int textHeight = 0;
    pango_layout_get_pixel_size(layout, &textWidth, &textHeight);
    // Centred in the band from 15 to width - 15, 20 high, under the picture.
    int32_t left = preview::kThumbSide;
    int32_t right = width - preview::kThumbSide;
    cairo_move_to(cr, left + (right - left - textWidth) / 2.0, top + (20 - textHeight) / 2.0);
    pango_cairo_show_layout(cr, layout);
    g_object_unref(layout);
}

}  // namespace

void PreviewWindow::CreateThumbnailPanel() {
    Widgets& w = *m_widgets;
    w.thumbnailPanel = gtk_drawing_area_new();
    gtk_widget_set_can_focus(w.thumbnailPanel, TRUE);
    gtk_widget_add_events(w.thumbnailPanel, GDK_BUTTON_PRESS_MASK | GDK_BUTTON_RELEASE_MASK |
                                                GDK_POINTER_MOTION_MASK | GDK_SCROLL_MASK |
                                                GDK_KEY_PRESS_MASK | GDK_FOCUS_CHANGE_MASK);
    g_signal_connect(w.thumbnailPanel, "draw", G_CALLBACK(Handlers::OnThumbDraw), this);
    g_signal_connect(w.thumbnailPanel, "size-allocate", G_CALLBACK(Handlers::OnPaneSizeAllocate),
                     this);
    g_signal_connect(w.thumbnailPanel, "button-press-event", G_CALLBACK(Handlers::OnThumbButton),
                     this);
    g_signal_connect(w.thumbnailPanel, "button-release-event", G_CALLBACK(Handlers::OnThumbButton),
                     this);
    g_signal_connect(w.thumbnailPanel, "motion-notify-event", G_CALLBACK(Handlers::OnThumbMotion),
                     this);
    g_signal_connect(w.thumbnailPanel, "scroll-event", G_CALLBACK(Handlers::OnThumbScroll), this);

    w.thumbnailAdjustment = gtk_adjustment_new(0, 0, 1, preview::kThumbLineStep, 1, 1);
    g_signal_connect(w.thumbnailAdjustment, "value-changed",
                     G_CALLBACK(Handlers::OnThumbAdjustment), this);
    w.thumbnailScrollbar = gtk_scrollbar_new(GTK_ORIENTATION_VERTICAL, w.thumbnailAdjustment);
    gtk_widget_set_no_show_all(w.thumbnailScrollbar, TRUE);

    GtkWidget* row = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 0);
    gtk_box_pack_start(GTK_BOX(row), w.thumbnailPanel, TRUE, TRUE, 0);
    gtk_box_pack_start(GTK_BOX(row), w.thumbnailScrollbar, FALSE, FALSE, 0);
    GtkWidget* edge = gtk_frame_new(nullptr);
    gtk_frame_set_shadow_type(GTK_FRAME(edge), GTK_SHADOW_IN);
    gtk_widget_set_size_request(edge, preview::kThumbnailPanelWidth, -1);
    gtk_container_add(GTK_CONTAINER(edge), row);
    g_object_set_data(G_OBJECT(w.thumbnailPanel), "nvr-edge", edge);
}

namespace {

// A page's place in the strip has the shape of its page before its picture is there, so that
// the strip has its full length and can be scrolled while it fills.
ThumbnailLayout LayoutOf(const std::vector<std::shared_ptr<docmgr::PageImage>>& thumbnails,
                         const std::vector<std::optional<Size>>& pageShapes, int32_t panelWidth) {
    std::vector<std::optional<Size>> pictures;
    pictures.reserve(thumbnails.size());
    for (size_t i = 0; i < thumbnails.size(); ++i) {
        const auto& image = thumbnails[i];
        if (image && image->bitmap) {
            pictures.push_back(Size{image->bitmap->Width(), image->bitmap->Height()});
        } else {
            pictures.push_back(i < pageShapes.size() ? pageShapes[i] : std::nullopt);
        }
    }
    return ThumbnailLayout(pictures, panelWidth);
}

}  // namespace

preview::ThumbnailLayout PreviewWindow::ThumbnailColumn() const {
    return LayoutOf(m_thumbnails, m_thumbnailShapes,
                    AllocatedSize(m_widgets->thumbnailPanel).width);
}

void PreviewWindow::LoadThumbnails() {
    if (m_pageManager == nullptr) {
        return;
    }
    uint64_t count = m_pageManager->m_pageCount;
    NVR_LOG_DEBUG("Loading {} thumbnails", count);
    m_thumbnails.clear();
    m_thumbnails.resize(count);
    m_thumbnailsRequested = 0;
    m_thumbnailShapes.assign(count, std::nullopt);
    for (uint64_t page = 1; page <= count; ++page) {
        double width = 0.0;
        double height = 0.0;
        if (m_pageManager->GetPageSizePoints(page, &width, &height) && width > 0 && height > 0) {
            // Hundredths of a point keep the page's proportions.
            m_thumbnailShapes[page - 1] =
                Size{static_cast<int32_t>(width * 100), static_cast<int32_t>(height * 100)};
        }
    }
    UpdateThumbnailScrollbar();
    m_pageManager->SetTargetParams(docmgr::Thumbnail, docmgr::TargetParams{0.2, 96, 96});
    // One page a step of the main loop, so that the window answers while the strip fills;
    // the first pages show as soon as each is there.
    Widgets& w = *m_widgets;
    if (count > 0 && w.thumbnailSource == 0) {
        w.thumbnailSource =
            g_idle_add_full(G_PRIORITY_DEFAULT_IDLE + 10, Handlers::OnThumbnailIdle, this, nullptr);
    }
}

bool PreviewWindow::LoadNextThumbnail() {
    size_t index = m_thumbnailsRequested++;
    m_thumbnails[index] = m_pageManager->GetPageImage(index + 1, docmgr::Thumbnail);
    bool done = m_thumbnailsRequested >= m_thumbnails.size();
    // A picture whose shape differs from its page's moves the entries below it.
    const auto& image = m_thumbnails[index];
    const std::optional<Size>& shape = m_thumbnailShapes[index];
    bool reshaped = image && image->bitmap &&
                    (!shape || static_cast<int64_t>(image->bitmap->Width()) * shape->height !=
                                   static_cast<int64_t>(image->bitmap->Height()) * shape->width);
    if (index < kThumbnailsShownAtOnce || done || reshaped) {
        UpdateThumbnailScrollbar();
    }
    gtk_widget_queue_draw(m_widgets->thumbnailPanel);
    if (done) {
        NVR_LOG_DEBUG("Loaded {} thumbnails", m_thumbnails.size());
    }
    return !done;
}

gboolean PreviewWindow::Handlers::OnThumbnailIdle(gpointer self) {
    PreviewWindow* preview = Self(self);
    if (preview->LoadNextThumbnail()) {
        return G_SOURCE_CONTINUE;
    }
    preview->m_widgets->thumbnailSource = 0;
    return G_SOURCE_REMOVE;
}

void PreviewWindow::PaintThumbnails(void* context) {
    auto* cr = static_cast<cairo_t*>(context);
    if (m_pageManager == nullptr) {
        return;
    }
    GtkWidget* panel = m_widgets->thumbnailPanel;
    Size client = AllocatedSize(panel);
    cairo_set_source_rgb(cr, 1.0, 1.0, 1.0);
    cairo_paint(cr);

    ThumbnailLayout layout = ThumbnailColumn();
    int painted = 0;
    for (const preview::ThumbnailSlot& slot : layout.Slots()) {
        int32_t top = slot.top - m_thumbnailScroll;
        if (top + slot.height + preview::kThumbLabelBand < 0 || top >= client.height) {
            continue;
        }
        bool current = m_model.IsOnShow(slot.page);
        const auto& image = m_thumbnails[slot.page - 1];
        if (image && image->bitmap) {
            cairo_save(cr);
            cairo_translate(cr, slot.x, top);
            cairo_scale(cr, static_cast<double>(slot.width) / image->bitmap->Width(),
                        static_cast<double>(slot.height) / image->bitmap->Height());
            cairo_set_source_surface(cr, image->bitmap->Surface(), 0, 0);
            cairo_pattern_set_filter(cairo_get_source(cr), CAIRO_FILTER_GOOD);
            cairo_paint(cr);
            cairo_restore(cr);
        } else {
            // Still to come: the page's place, in grey.
            SetRgb(cr, 235, 235, 235);
            cairo_rectangle(cr, slot.x, top, slot.width, slot.height);
            cairo_fill(cr);
        }

        current ? SetRgb(cr, 0, 120, 215) : SetRgb(cr, 200, 200, 200);
        double pen = current ? 3.0 : 1.0;
        cairo_set_line_width(cr, pen);
        cairo_rectangle(cr, slot.x - 2 + pen / 2, top - 2 + pen / 2, slot.width + 4 - pen,
                        slot.height + 4 - pen);
        cairo_stroke(cr);

        current ? SetRgb(cr, 0, 120, 215) : SetRgb(cr, 64, 64, 64);
        DrawLabel(cr, panel, slot.page, top + slot.height + 4, client.width);
        ++painted;
    }
    NVR_LOG_VERBOSE("Painted {} thumbnails", painted);
}

void PreviewWindow::UpdateThumbnailScrollbar() {
    if (!m_widgets || m_thumbnails.empty()) {
        return;
    }
    Widgets& w = *m_widgets;
    Size client = AllocatedSize(w.thumbnailPanel);
    ThumbnailLayout layout = ThumbnailColumn();
    m_thumbnailContentHeight = layout.ContentHeight();
    bool visible = gtk_widget_get_visible(w.thumbnailScrollbar);
    bool wanted = m_thumbnailContentHeight > client.height;
    if (!wanted && visible) {
        gtk_widget_hide(w.thumbnailScrollbar);
        m_thumbnailScroll = 0;
        gtk_widget_queue_draw(w.thumbnailPanel);
        NVR_LOG_DEBUG("Scrollbar hidden");
    } else if (wanted && !visible) {
        gtk_widget_show(w.thumbnailScrollbar);
        NVR_LOG_DEBUG("Scrollbar shown");
    }
    m_thumbnailScroll = std::clamp(m_thumbnailScroll, 0, layout.MaxScroll(client.height));
    if (wanted) {
        w.updatingAdjustments = true;
        gtk_adjustment_configure(w.thumbnailAdjustment, m_thumbnailScroll, 0,
                                 m_thumbnailContentHeight, preview::kThumbLineStep, client.height,
                                 client.height);
        w.updatingAdjustments = false;
    }
    NVR_LOG_VERBOSE("Content height={}, Client height={}, Scrollbar visible={}",
                    m_thumbnailContentHeight, client.height, wanted);
}

void PreviewWindow::SetThumbnailScroll(int32_t position) {
    Widgets& w = *m_widgets;
    Size client = AllocatedSize(w.thumbnailPanel);
    int32_t max = std::max(0, m_thumbnailContentHeight - client.height);
    position = std::clamp(position, 0, max);
    if (position == m_thumbnailScroll) {
        return;
    }
    m_thumbnailScroll = position;
    w.updatingAdjustments = true;
    gtk_adjustment_set_value(w.thumbnailAdjustment, position);
    w.updatingAdjustments = false;
    gtk_widget_queue_draw(w.thumbnailPanel);
}

void PreviewWindow::ScrollThumbnailsToPage(uint64_t pageNumber) {
    if (!m_widgets || pageNumber == 0 || pageNumber > m_thumbnails.size()) {
        return;
    }
    Size client = AllocatedSize(m_widgets->thumbnailPanel);
    ThumbnailLayout layout = ThumbnailColumn();
    int32_t target = layout.ScrollForPage(pageNumber, client.height);
    SetThumbnailScroll(target);
    gtk_widget_queue_draw(m_widgets->thumbnailPanel);
    NVR_LOG_VERBOSE("Scrolled to page {} at y={}", pageNumber, layout.TopOfEntry(pageNumber - 1));
}

int32_t PreviewWindow::GetThumbnailYPosition(uint64_t index) {
    return ThumbnailColumn().TopOfEntry(index);
}

uint64_t PreviewWindow::GetThumbnailAtPosition(int32_t y) {
    if (m_thumbnails.empty()) {
        return 0;
    }
    return ThumbnailColumn().PageAt(y, m_thumbnailScroll);
}

void PreviewWindow::OnThumbnailClick(int32_t, int32_t y) {
    uint64_t page = GetThumbnailAtPosition(y);
    if (page != 0) {
        NVR_LOG_DEBUG("Clicked on page {}", page);
        NavigateToPage(page);
    }
}

void PreviewWindow::OnThumbnailScroll(ScrollCommand command, int32_t position) {
    int32_t height = AllocatedSize(m_widgets->thumbnailPanel).height;
    int32_t max = std::max(0, m_thumbnailContentHeight - height);
    int32_t old = m_thumbnailScroll;
    SetThumbnailScroll(preview::ScrollTo(command, m_thumbnailScroll, position, height, max,
                                         preview::kThumbLineStep));
    if (old != m_thumbnailScroll) {
        NVR_LOG_VERBOSE("Scrolled to {}", m_thumbnailScroll);
    }
}

void PreviewWindow::OnThumbnailMouseWheel(int32_t delta) {
    int32_t step = preview::WheelScrollChange(delta, preview::kThumbWheelStepPerNotch);
    int32_t old = m_thumbnailScroll;
    SetThumbnailScroll(m_thumbnailScroll + step);
    if (old != m_thumbnailScroll) {
        NVR_LOG_VERBOSE("Scrolled by {}", step);
    }
}

void PreviewWindow::OnThumbnailKeyDown(unsigned key) {
    int32_t height = AllocatedSize(m_widgets->thumbnailPanel).height;
    switch (key) {
        case GDK_KEY_Page_Up:
        case GDK_KEY_KP_Page_Up:
            SetThumbnailScroll(m_thumbnailScroll - height);
            NVR_LOG_VERBOSE("Page Up - Scrolled to {}", m_thumbnailScroll);
            break;
        case GDK_KEY_Page_Down:
        case GDK_KEY_KP_Page_Down:
            SetThumbnailScroll(m_thumbnailScroll + height);
            NVR_LOG_VERBOSE("Page Down - Scrolled to {}", m_thumbnailScroll);
            break;
        case GDK_KEY_Up:
            StepPage(PageStep::Previous);
            break;
        case GDK_KEY_Down:
            StepPage(PageStep::Next);
            break;
        case GDK_KEY_Home:
        case GDK_KEY_KP_Home:
            StepPage(PageStep::First);
            break;
        case GDK_KEY_End:
        case GDK_KEY_KP_End:
            StepPage(PageStep::Last);
            break;
        default:
            break;
    }
}

void PreviewWindow::OnThumbnailButtonDown(int32_t x, int32_t y) {
    gtk_widget_grab_focus(m_widgets->thumbnailPanel);
    m_thumbPressed = true;
    m_thumbDragStart = {x, y};
    m_thumbDragStartScroll = m_thumbnailScroll;
    m_thumbDragging = false;
}

void PreviewWindow::OnThumbnailMouseMove(int32_t, int32_t y, bool buttonDown) {
    if (!buttonDown || !m_thumbPressed) {
        return;
    }
    if (!m_thumbDragging && std::abs(y - m_thumbDragStart.y) > preview::kClickSlop) {
        m_thumbDragging = true;
    }
    if (m_thumbDragging) {
        SetThumbnailScroll(m_thumbDragStartScroll + m_thumbDragStart.y - y);
    }
}

void PreviewWindow::OnThumbnailButtonUp(int32_t x, int32_t y) {
    if (!m_thumbPressed) {
        return;
    }
    m_thumbPressed = false;
    if (preview::IsClick(m_thumbDragStart.x, m_thumbDragStart.y, x, y, m_thumbDragging)) {
        OnThumbnailClick(0, y);
    }
    m_thumbDragging = false;
}

gboolean PreviewWindow::Handlers::OnThumbDraw(GtkWidget*, cairo_t* cr, gpointer self) {
    Self(self)->PaintThumbnails(cr);
    return TRUE;
}

gboolean PreviewWindow::Handlers::OnThumbButton(GtkWidget*, GdkEventButton* event, gpointer self) {
    if (event->button != GDK_BUTTON_PRIMARY) {
        return FALSE;
    }
    auto x = static_cast<int32_t>(event->x);
    auto y = static_cast<int32_t>(event->y);
    if (event->type == GDK_BUTTON_PRESS) {
        Self(self)->OnThumbnailButtonDown(x, y);
    } else if (event->type == GDK_BUTTON_RELEASE) {
        Self(self)->OnThumbnailButtonUp(x, y);
    }
    return TRUE;
}

gboolean PreviewWindow::Handlers::OnThumbMotion(GtkWidget* panel, GdkEventMotion* event,
                                                gpointer self) {
    if (!gtk_widget_has_focus(panel)) {
        gtk_widget_grab_focus(panel);
    }
    Self(self)->OnThumbnailMouseMove(static_cast<int32_t>(event->x), static_cast<int32_t>(event->y),
                                     (event->state & GDK_BUTTON1_MASK) != 0);
    return TRUE;
}

gboolean PreviewWindow::Handlers::OnThumbScroll(GtkWidget*, GdkEventScroll* event, gpointer self) {
    Self(self)->OnThumbnailMouseWheel(WheelDelta(event));
    return TRUE;
}

void PreviewWindow::Handlers::OnThumbAdjustment(GtkAdjustment* adjustment, gpointer self) {
    PreviewWindow* preview = Self(self);
    if (preview->m_widgets->updatingAdjustments) {
        return;
    }
    preview->OnThumbnailScroll(ScrollCommand::Track,
                               static_cast<int32_t>(gtk_adjustment_get_value(adjustment)));
}

}  // namespace nvrprint
