#include "platform/Bitmap.h"

#include <cairo.h>

namespace docmgr {

std::unique_ptr<Bitmap> Bitmap::Create(int32_t width, int32_t height) {
    if (width <= 0 || height <= 0) {
        return nullptr;
    }
    cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height);
    if (cairo_surface_status(surface) != CAIRO_STATUS_SUCCESS ||
        cairo_image_surface_get_stride(surface) != width * 4) {
        cairo_surface_destroy(surface);
        return nullptr;
    }
    return std::make_unique<Bitmap>(CreateKey{}, surface, width, height);
}

Bitmap::Bitmap(CreateKey, cairo_surface_t* surface, int32_t width, int32_t height)
    : m_surface(surface), m_width(width), m_height(height) {}

Bitmap::~Bitmap() {
    cairo_surface_destroy(m_surface);
}

uint8_t* Bitmap::Bits() {
    cairo_surface_flush(m_surface);
    return cairo_image_surface_get_data(m_surface);
}

const uint8_t* Bitmap::Bits() const {
    cairo_surface_flush(m_surface);
    return cairo_image_surface_get_data(m_surface);
}

void Bitmap::Fill(uint8_t red, uint8_t green, uint8_t blue) {
    uint32_t pixel = 0xFF000000u | (uint32_t{red} << 16) | (uint32_t{green} << 8) | blue;
    auto* row = reinterpret_cast<uint32_t*>(Bits());
    for (int64_t i = 0, n = int64_t{m_width} * m_height; i < n; ++i) {
        row[i] = pixel;
    }
    cairo_surface_mark_dirty(m_surface);
}

}  // namespace docmgr
