#include "tests/support/PageRender.h"

#include <cairo.h>
#include <poppler.h>

#include <algorithm>
#include <functional>
#include <sstream>

namespace testsupport {
namespace {

// Opens the document and hands each wanted page to look (every page for a negative index);
// false when it cannot be read.
bool WithPages(const std::string& pdfPath, int pageIndex,
               const std::function<void(PopplerPage*)>& look) {
    gchar* uri = g_filename_to_uri(pdfPath.c_str(), nullptr, nullptr);
    if (uri == nullptr)  // not an absolute path: nothing to read
        return false;
    PopplerDocument* doc = poppler_document_new_from_file(uri, nullptr, nullptr);
    g_free(uri);
    if (doc == nullptr)
        return false;
    const int count = poppler_document_get_n_pages(doc);
    const int first = std::max(pageIndex, 0);
    const int last = pageIndex < 0 ? count - 1 : std::min(pageIndex, count - 1);
    for (int i = first; i <= last; ++i) {
        PopplerPage* page = poppler_document_get_page(doc, i);
        look(page);
        g_object_unref(page);
    }
    g_object_unref(doc);
    return first <= last;
}

// Renders the page as printed and tells for each pixel asked about whether it is dark; false
// when the page cannot be read.
bool WithRenderedPage(const std::string& pdfPath, int pageIndex,
                      const std::function<void(const std::function<bool(int, int)>&, int)>& look) {
    return WithPages(pdfPath, pageIndex, [&](PopplerPage* page) {
        double width = 0, height = 0;
        poppler_page_get_size(page, &width, &height);
        cairo_surface_t* surface = cairo_image_surface_create(
            CAIRO_FORMAT_RGB24, static_cast<int>(width), static_cast<int>(height));
        cairo_t* cr = cairo_create(surface);
        cairo_set_source_rgb(cr, 1, 1, 1);
        cairo_paint(cr);
        poppler_page_render_for_printing(page, cr);
        cairo_destroy(cr);
        cairo_surface_flush(surface);
        look(
            [surface](int x, int y) {
                const unsigned char* pixel = cairo_image_surface_get_data(surface) +
                                             y * cairo_image_surface_get_stride(surface) + x * 4;
                return pixel[0] < 128 && pixel[1] < 128 && pixel[2] < 128;
            },
            static_cast<int>(height));
        cairo_surface_destroy(surface);
    });
}

}  // namespace

std::vector<std::string> PageTexts(const std::string& pdfPath) {
    std::vector<std::string> texts;
    WithPages(pdfPath, -1, [&](PopplerPage* page) {
        gchar* text = poppler_page_get_text(page);
        std::string words;
        std::istringstream in(text != nullptr ? text : "");
        for (std::string word; in >> word;)
            words += (words.empty() ? "" : " ") + word;
        texts.push_back(words);
        g_free(text);
    });
    return texts;
}

std::pair<double, double> PageSize(const std::string& pdfPath, int pageIndex) {
    std::pair<double, double> size{0, 0};
    WithPages(pdfPath, pageIndex,
              [&](PopplerPage* page) { poppler_page_get_size(page, &size.first, &size.second); });
    return size;
}

bool PageIsLandscape(const std::string& pdfPath, int pageIndex) {
    bool landscape = false;
    WithPages(pdfPath, pageIndex, [&](PopplerPage* page) {
        double width = 0, height = 0;
        poppler_page_get_size(page, &width, &height);
        // The first word's extent tells which way the text runs.
        PopplerRectangle* rects = nullptr;
        guint count = 0;
        bool turned = false;
        if (poppler_page_get_text_layout(page, &rects, &count) && count >= 4) {
            double x1 = rects[0].x1, y1 = rects[0].y1, x2 = rects[0].x2, y2 = rects[0].y2;
            for (guint i = 1; i < 4; ++i) {
                x1 = std::min(x1, rects[i].x1), y1 = std::min(y1, rects[i].y1);
                x2 = std::max(x2, rects[i].x2), y2 = std::max(y2, rects[i].y2);
            }
            turned = (y2 - y1) > (x2 - x1);
        }
        g_free(rects);
        landscape = (width > height) != turned;
    });
    return landscape;
}

bool DarkAt(const std::string& pdfPath, int pageIndex, double x, double y) {
    bool dark = false;
    WithRenderedPage(pdfPath, pageIndex, [&](const auto& isDark, int) {
        dark = isDark(static_cast<int>(x), static_cast<int>(y));
    });
    return dark;
}

int DarkRowsInColumn(const std::string& pdfPath, int pageIndex, double column) {
    int dark = 0;
    const bool read = WithRenderedPage(pdfPath, pageIndex, [&](const auto& isDark, int height) {
        for (int row = 0; row < height; ++row)
            dark += isDark(static_cast<int>(column), row) ? 1 : 0;
    });
    return read ? dark : -1;
}

}  // namespace testsupport
