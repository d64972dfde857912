#include "NvrPrintHelper/preview/ThumbnailStrip.h"

#include <algorithm>

#include "NvrPrintHelper/preview/GtkInput.h"
#include "logging/LogMacros.h"

namespace nvrprint::preview {
namespace {

constexpr size_t kThumbnailsShownAtOnce = 5;
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
    int32_t left = kThumbSide;
    int32_t right = width - kThumbSide;
    cairo_move_to(cr, left + (right - left - textWidth) / 2.0, top + (20 - textHeight) / 2.0);
    pango_cairo_show_layout(cr, layout);
    g_object_unref(layout);
}

std::optional<Size> PictureSize(const Picture& image) {
    if (!image || !image->bitmap) {
        return std::nullopt;
    }
    return Size{image->bitmap->Width(), image->bitmap->Height()};
}

ThumbnailStrip* Strip(gpointer data) {
    return static_cast<ThumbnailStrip*>(data);
}

}  // namespace

ThumbnailStrip::ThumbnailStrip(PreviewModel& model, docmgr::DocFilePageMgr& pages,
                               PictureWorker& worker)
    : m_model(model), m_pages(pages), m_worker(worker) {
    m_panel = gtk_drawing_area_new();
    gtk_widget_set_can_focus(m_panel, TRUE);
    gtk_widget_add_events(m_panel, GDK_BUTTON_PRESS_MASK | GDK_BUTTON_RELEASE_MASK |
                                       GDK_POINTER_MOTION_MASK | GDK_SCROLL_MASK |
                                       GDK_KEY_PRESS_MASK | GDK_FOCUS_CHANGE_MASK);
    m_adjustment = gtk_adjustment_new(0, 0, 1, kThumbLineStep, 1, 1);
    m_scrollbar = gtk_scrollbar_new(GTK_ORIENTATION_VERTICAL, m_adjustment);
    gtk_widget_set_no_show_all(m_scrollbar, TRUE);

    GtkWidget* row = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 0);
    gtk_box_pack_start(GTK_BOX(row), m_panel, TRUE, TRUE, 0);
    gtk_box_pack_start(GTK_BOX(row), m_scrollbar, FALSE, FALSE, 0);
    m_edge = gtk_frame_new(nullptr);
    gtk_frame_set_shadow_type(GTK_FRAME(m_edge), GTK_SHADOW_IN);
    gtk_widget_set_size_request(m_edge, kThumbnailPanelWidth, -1);
    gtk_container_add(GTK_CONTAINER(m_edge), row);
    Connect();
    m_model.Observe([this](unsigned changes) { OnModelChanged(changes); });
}

ThumbnailStrip::~ThumbnailStrip() {
    if (m_layoutSource != 0) {
        g_source_remove(m_layoutSource);
    }
    g_signal_handlers_disconnect_by_data(m_panel, this);
    g_signal_handlers_disconnect_by_data(m_adjustment, this);
}

void ThumbnailStrip::Connect() {
    TakeKeysUnderPointer(m_panel, "thumbnail strip");
    g_signal_connect(m_panel, "draw", G_CALLBACK(+[](GtkWidget*, cairo_t* cr, gpointer self) {
                         Strip(self)->PaintThumbnails(cr);
                         return TRUE;
                     }),
                     this);
    g_signal_connect(m_panel, "size-allocate",
                     G_CALLBACK(+[](GtkWidget*, GdkRectangle*, gpointer self) {
                         Strip(self)->LayOutAfterResize();
                     }),
                     this);
    auto button = +[](GtkWidget*, GdkEventButton* event, gpointer self) {
        ThumbnailStrip* strip = Strip(self);
        return OnPrimaryButton(
            event, [strip](int32_t x, int32_t y) { strip->OnThumbnailButtonDown(x, y); },
            [strip](int32_t x, int32_t y) { strip->OnThumbnailButtonUp(x, y); });
    };
    g_signal_connect(m_panel, "button-press-event", G_CALLBACK(button), this);
    g_signal_connect(m_panel, "button-release-event", G_CALLBACK(button), this);
    g_signal_connect(m_panel, "motion-notify-event",
                     G_CALLBACK(+[](GtkWidget*, GdkEventMotion* event, gpointer self) {
                         Strip(self)->OnThumbnailMouseMove(static_cast<int32_t>(event->y),
                                                           (event->state & GDK_BUTTON1_MASK) != 0);
                         return TRUE;
                     }),
                     this);
    g_signal_connect(m_panel, "scroll-event",
                     G_CALLBACK(+[](GtkWidget*, GdkEventScroll* event, gpointer self) {
                         Strip(self)->OnThumbnailMouseWheel(WheelDelta(event));
                         return TRUE;
                     }),
                     this);
    g_signal_connect(m_panel, "key-press-event",
                     G_CALLBACK(+[](GtkWidget*, GdkEventKey* event, gpointer self) {
                         Strip(self)->OnThumbnailKeyDown(event->keyval);
                         return TRUE;
                     }),
                     this);
    g_signal_connect(m_adjustment, "value-changed",
                     G_CALLBACK(+[](GtkAdjustment* adjustment, gpointer self) {
                         ThumbnailStrip* strip = Strip(self);
                         if (!strip->m_updatingAdjustment) {
                             strip->OnThumbnailScroll(
                                 ScrollCommand::Track,
                                 static_cast<int32_t>(gtk_adjustment_get_value(adjustment)));
                         }
                     }),
                     this);
}

void ThumbnailStrip::LayOutAfterResize() {
    // The scroll bar shown or hidden resizes the strip: that waits for this layout's end.
    if (m_layoutSource != 0) {
        return;
    }
    m_layoutSource = g_idle_add_full(
        G_PRIORITY_HIGH_IDLE,
        [](gpointer self) -> gboolean {
            Strip(self)->m_layoutSource = 0;
            Strip(self)->UpdateThumbnailScrollbar();
            return G_SOURCE_REMOVE;
        },
        this, nullptr);
}

ThumbnailLayout ThumbnailStrip::Column() const {
    // A page's place has the shape of its page before its picture is there, so that the strip
    // has its full length and can be scrolled while it fills.
    std::vector<std::optional<Size>> pictures;
    pictures.reserve(m_thumbnails.size());
    for (size_t i = 0; i < m_thumbnails.size(); ++i) {
        std::optional<Size> picture = PictureSize(m_thumbnails[i]);
        pictures.push_back(picture ? picture : m_shapes[i]);
    }
    return ThumbnailLayout(pictures, AllocatedSize(m_panel).width);
}

void ThumbnailStrip::LoadThumbnails() {
    const uint64_t count = m_pages.m_pageCount;
    NVR_LOG_DEBUG("Loading {} thumbnails", count);
    m_thumbnails.assign(count, nullptr);
    m_shapes.assign(count, std::nullopt);
    for (uint64_t page = 1; page <= count; ++page) {
        double width = 0.0;
        double height = 0.0;
        if (m_pages.GetPageSizePoints(page, &width, &height) && width > 0 && height > 0) {
            // Hundredths of a point keep the page's proportions.
            m_shapes[page - 1] =
                Size{static_cast<int32_t>(width * 100), static_cast<int32_t>(height * 100)};
        }
    }
    UpdateThumbnailScrollbar();
    m_pages.SetTargetParams(docmgr::Thumbnail, docmgr::TargetParams{0.2, 96, 96});
    if (count > 0) {
        RequestThumbnail(0);
    }
}

void ThumbnailStrip::RequestThumbnail(size_t index) {
    m_worker.Draw(
        Lane::Thumbnail,
        [pages = &m_pages, index] { return pages->GetPageImage(index + 1, docmgr::Thumbnail); },
        [this, index](Picture picture) { OnThumbnail(index, std::move(picture)); });
}

void ThumbnailStrip::OnThumbnail(size_t index, Picture picture) {
    m_thumbnails[index] = std::move(picture);
    const bool done = index + 1 >= m_thumbnails.size();
    if (!done) {
        RequestThumbnail(index + 1);
    }
    // A picture whose shape differs from its page's moves the entries below it.
    const std::optional<Size> drawn = PictureSize(m_thumbnails[index]);
    const std::optional<Size>& shape = m_shapes[index];
    const bool reshaped =
        drawn && (!shape || static_cast<int64_t>(drawn->width) * shape->height !=
                                static_cast<int64_t>(drawn->height) * shape->width);
    if (index < kThumbnailsShownAtOnce || done || reshaped) {
        UpdateThumbnailScrollbar();
    }
    gtk_widget_queue_draw(m_panel);
    if (done) {
        NVR_LOG_DEBUG("Loaded {} thumbnails", m_thumbnails.size());
    }
}

void ThumbnailStrip::PaintThumbnails(cairo_t* cr) {
    Size client = AllocatedSize(m_panel);
    cairo_set_source_rgb(cr, 1.0, 1.0, 1.0);
    cairo_paint(cr);

    ThumbnailLayout layout = Column();
    int painted = 0;
    for (const ThumbnailSlot& slot : layout.Slots()) {
        int32_t top = slot.top - m_scroll;
        if (top + slot.height + kThumbLabelBand < 0 || top >= client.height) {
            continue;
        }
        bool current = m_model.IsOnShow(slot.page);
        const Picture& image = m_thumbnails[slot.page - 1];
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
        DrawLabel(cr, m_panel, slot.page, top + slot.height + 4, client.width);
        ++painted;
    }
    NVR_LOG_VERBOSE("Painted {} thumbnails", painted);
}

void ThumbnailStrip::UpdateThumbnailScrollbar() {
    if (m_thumbnails.empty()) {
        return;
    }
    Size client = AllocatedSize(m_panel);
    ThumbnailLayout layout = Column();
    m_contentHeight = layout.ContentHeight();
    bool visible = gtk_widget_get_visible(m_scrollbar);
    bool wanted = m_contentHeight > client.height;
    if (!wanted && visible) {
        gtk_widget_hide(m_scrollbar);
        m_scroll = 0;
        gtk_widget_queue_draw(m_panel);
        NVR_LOG_DEBUG("Scrollbar hidden");
    } else if (wanted && !visible) {
        gtk_widget_show(m_scrollbar);
        NVR_LOG_DEBUG("Scrollbar shown");
    }
    m_scroll = std::clamp(m_scroll, 0, layout.MaxScroll(client.height));
    if (wanted) {
        m_updatingAdjustment = true;
        gtk_adjustment_configure(m_adjustment, m_scroll, 0, m_contentHeight, kThumbLineStep,
                                 client.height, client.height);
        m_updatingAdjustment = false;
    }
    NVR_LOG_VERBOSE("Content height={}, Client height={}, Scrollbar visible={}", m_contentHeight,
                    client.height, wanted);
}

void ThumbnailStrip::SetThumbnailScroll(int32_t position) {
    Size client = AllocatedSize(m_panel);
    int32_t max = std::max(0, m_contentHeight - client.height);
    position = std::clamp(position, 0, max);
    if (position == m_scroll) {
        return;
    }
    m_scroll = position;
    m_updatingAdjustment = true;
    gtk_adjustment_set_value(m_adjustment, position);
    m_updatingAdjustment = false;
    gtk_widget_queue_draw(m_panel);
}

void ThumbnailStrip::ScrollThumbnailsToPage(uint64_t pageNumber) {
    if (pageNumber == 0 || pageNumber > m_thumbnails.size()) {
        return;
    }
    Size client = AllocatedSize(m_panel);
    ThumbnailLayout layout = Column();
    SetThumbnailScroll(layout.ScrollForPage(pageNumber, client.height));
    gtk_widget_queue_draw(m_panel);
    NVR_LOG_VERBOSE("Scrolled to page {} at y={}", pageNumber, layout.TopOfEntry(pageNumber - 1));
}

uint64_t ThumbnailStrip::GetThumbnailAtPosition(int32_t y) const {
    if (m_thumbnails.empty()) {
        return 0;
    }
    return Column().PageAt(y, m_scroll);
}

void ThumbnailStrip::OnThumbnailScroll(ScrollCommand command, int32_t position) {
    int32_t height = AllocatedSize(m_panel).height;
    int32_t max = std::max(0, m_contentHeight - height);
    int32_t old = m_scroll;
    SetThumbnailScroll(ScrollTo(command, m_scroll, position, height, max, kThumbLineStep));
    if (old != m_scroll) {
        NVR_LOG_VERBOSE("Scrolled to {}", m_scroll);
    }
}

void ThumbnailStrip::OnThumbnailMouseWheel(int32_t delta) {
    int32_t step = WheelScrollChange(delta, kThumbWheelStepPerNotch);
    int32_t old = m_scroll;
    SetThumbnailScroll(m_scroll + step);
    if (old != m_scroll) {
        NVR_LOG_VERBOSE("Scrolled by {}", step);
    }
}

void ThumbnailStrip::OnThumbnailKeyDown(unsigned key) {
    int32_t height = AllocatedSize(m_panel).height;
    switch (key) {
        case GDK_KEY_Page_Up:
        case GDK_KEY_KP_Page_Up:
            SetThumbnailScroll(m_scroll - height);
            NVR_LOG_VERBOSE("Page Up - Scrolled to {}", m_scroll);
            break;
        case GDK_KEY_Page_Down:
        case GDK_KEY_KP_Page_Down:
            SetThumbnailScroll(m_scroll + height);
            NVR_LOG_VERBOSE("Page Down - Scrolled to {}", m_scroll);
            break;
        case GDK_KEY_Up:
            StepPage(m_model, PageStep::Previous);
            break;
        case GDK_KEY_Down:
            StepPage(m_model, PageStep::Next);
            break;
        case GDK_KEY_Home:
        case GDK_KEY_KP_Home:
            StepPage(m_model, PageStep::First);
            break;
        case GDK_KEY_End:
        case GDK_KEY_KP_End:
            StepPage(m_model, PageStep::Last);
            break;
        default:
            break;
    }
}

void ThumbnailStrip::OnThumbnailButtonDown(int32_t x, int32_t y) {
    gtk_widget_grab_focus(m_panel);
    m_pressed = true;
    m_dragStart = {x, y};
    m_dragStartScroll = m_scroll;
    m_dragging = false;
}

void ThumbnailStrip::OnThumbnailMouseMove(int32_t y, bool buttonDown) {
    if (!buttonDown || !m_pressed) {
        return;
    }
    if (!m_dragging && std::abs(y - m_dragStart.y) > kClickSlop) {
        m_dragging = true;
    }
    if (m_dragging) {
        SetThumbnailScroll(m_dragStartScroll + m_dragStart.y - y);
    }
}

void ThumbnailStrip::OnThumbnailButtonUp(int32_t x, int32_t y) {
    if (!m_pressed) {
        return;
    }
    m_pressed = false;
    if (IsClick(m_dragStart.x, m_dragStart.y, x, y, m_dragging)) {
        const uint64_t page = GetThumbnailAtPosition(y);
        if (page != 0) {
            NVR_LOG_DEBUG("Clicked on page {}", page);
            NVR_LOG_DEBUG("Navigating to page {}", page);
            m_model.ShowPage(page);
        }
    }
    m_dragging = false;
}

void ThumbnailStrip::OnModelChanged(unsigned changes) {
    if (changes & kPageChanged) {
        gtk_widget_queue_draw(m_panel);
        // In the sheets view the page follows the side on show, to its first page.
        if (m_model.IsOnShow(m_model.Page())) {
            ScrollThumbnailsToPage(m_model.Page());
        }
    }
}

}  // namespace nvrprint::preview
