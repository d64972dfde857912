#include "PageRender.h"

#include <cairo.h>
#include <poppler.h>

#include <functional>

namespace testsupport {
namespace {

bool IsDark(const unsigned char* pixel) {
    return pixel[0] < 128 && pixel[1] < 128 && pixel[2] < 128;
}

// Renders the page as printed and hands its pixels to look; false when it cannot be read.
bool WithRenderedPage(const std::string& pdfPath, int pageIndex,
                      const std::function<void(cairo_surface_t*)>& look) {
    gchar* uri = g_filename_to_uri(pdfPath.c_str(), nullptr, nullptr);
    PopplerDocument* doc = poppler_document_new_from_file(uri, nullptr, nullptr);
    g_free(uri);
    if (doc == nullptr)
        return false;
    PopplerPage* page = poppler_document_get_page(doc, pageIndex);
    if (page != nullptr) {
        double width = 0;
        double height = 0;
        poppler_page_get_size(page, &width, &height);
        cairo_surface_t* surface = cairo_image_surface_create(
            CAIRO_FORMAT_RGB24, static_cast<int>(width), static_cast<int>(height));
        cairo_t* cr = cairo_create(surface);
        cairo_set_source_rgb(cr, 1, 1, 1);
        cairo_paint(cr);
        poppler_page_render_for_printing(page, cr);
        cairo_destroy(cr);
        cairo_surface_flush(surface);
        look(surface);
        cairo_surface_destroy(surface);
        g_object_unref(page);
    }
    g_object_unref(doc);
    return page != nullptr;
}

const unsigned char* PixelAt(cairo_surface_t* surface, int x, int y) {
    return cairo_image_surface_get_data(surface) + y * cairo_image_surface_get_stride(surface) +
           x * 4;
}

}  // namespace

bool DarkAt(const std::string& pdfPath, int pageIndex, double x, double y) {
    bool dark = false;
    WithRenderedPage(pdfPath, pageIndex, [&](cairo_surface_t* surface) {
        dark = IsDark(PixelAt(surface, static_cast<int>(x), static_cast<int>(y)));
    });
    return dark;
}

int DarkRowsInColumn(const std::string& pdfPath, int pageIndex, double column) {
    int dark = 0;
    const bool read = WithRenderedPage(pdfPath, pageIndex, [&](cairo_surface_t* surface) {
        for (int row = 0; row < cairo_image_surface_get_height(surface); ++row) {
            dark += IsDark(PixelAt(surface, static_cast<int>(column), row)) ? 1 : 0;
        }
    });
    return read ? dark : -1;
}

}  // namespace testsupport
