#include "NvrPrintHelper/preview/ToolbarIcons.h"

#include <initializer_list>
#include <utility>

namespace nvrprint::preview {
namespace {

using Point = std::pair<double, double>;

void SetPen(cairo_t* cr, double width, int red, int green, int blue) {
    cairo_set_line_width(cr, width);
    cairo_set_source_rgb(cr, red / 255.0, green / 255.0, blue / 255.0);
    cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
    cairo_set_line_join(cr, CAIRO_LINE_JOIN_ROUND);
}

void Path(cairo_t* cr, std::initializer_list<Point> points) {
    bool first = true;
    for (const auto& [x, y] : points) {
        first ? cairo_move_to(cr, x, y) : cairo_line_to(cr, x, y);
        first = false;
    }
}

void Triangle(cairo_t* cr, std::initializer_list<Point> points) {
    SetPen(cr, 3, 0, 0, 0);
    Path(cr, points);
    cairo_close_path(cr);
    cairo_fill_preserve(cr);
    cairo_stroke(cr);
}

void Lines(cairo_t* cr, double width, int red, int green, int blue,
           std::initializer_list<std::initializer_list<Point>> polylines) {
    SetPen(cr, width, red, green, blue);
    for (const auto& polyline : polylines) {
        Path(cr, polyline);
        cairo_stroke(cr);
    }
}

void Draw(cairo_t* cr, ToolbarIcon icon) {
    switch (icon) {
        case ToolbarIcon::Previous:
            Triangle(cr, {{24, 12}, {12, 28}, {36, 28}});
            break;
        case ToolbarIcon::Next:
            Triangle(cr, {{24, 36}, {12, 20}, {36, 20}});
            break;
        case ToolbarIcon::ZoomIn:
            Lines(cr, 4, 0, 120, 0, {{{12, 24}, {36, 24}}, {{24, 12}, {24, 36}}});
            break;
        case ToolbarIcon::ZoomOut:
            Lines(cr, 4, 0, 120, 0, {{{12, 24}, {36, 24}}});
            break;
        case ToolbarIcon::FitWindow:
            Lines(cr, 3, 0, 0, 120,
                  {{{20, 10}, {10, 10}, {10, 20}},
                   {{28, 10}, {38, 10}, {38, 20}},
                   {{10, 28}, {10, 38}, {20, 38}},
                   {{38, 28}, {38, 38}, {28, 38}}});
            break;
        case ToolbarIcon::Sheets:
            // A sheet with two pages on it, a second sheet behind.
            SetPen(cr, 2, 0, 0, 120);
            cairo_rectangle(cr, 14, 8, 26, 20);
            cairo_stroke(cr);
            cairo_set_source_rgb(cr, 1, 1, 1);
            cairo_rectangle(cr, 8, 16, 26, 20);
            cairo_fill_preserve(cr);
            SetPen(cr, 2, 0, 0, 120);
            cairo_stroke(cr);
            cairo_rectangle(cr, 11, 19, 9, 14);
            cairo_rectangle(cr, 22, 19, 9, 14);
            cairo_fill(cr);
            break;
        case ToolbarIcon::Print:
            SetPen(cr, 2, 0, 0, 150);
            cairo_rectangle(cr, 10, 16, 28, 16);
            cairo_rectangle(cr, 14, 12, 20, 4);
            cairo_rectangle(cr, 14, 32, 20, 6);
            cairo_stroke(cr);
            break;
    }
}

}  // namespace

platform::CairoSurfacePtr DrawToolbarIcon(ToolbarIcon icon) {
    platform::CairoSurfacePtr surface(
        cairo_image_surface_create(CAIRO_FORMAT_ARGB32, kToolbarIconSize, kToolbarIconSize));
    if (cairo_surface_status(surface.get()) != CAIRO_STATUS_SUCCESS) {
        return nullptr;
    }
    platform::CairoPtr cr(cairo_create(surface.get()));
    cairo_set_source_rgb(cr.get(), 240 / 255.0, 240 / 255.0, 240 / 255.0);
    cairo_paint(cr.get());
    Draw(cr.get(), icon);
    cairo_surface_flush(surface.get());
    return surface;
}

}  // namespace nvrprint::preview
