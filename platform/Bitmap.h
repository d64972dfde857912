#pragma once

#include <cstdint>
#include <memory>

typedef struct _cairo_surface cairo_surface_t;

namespace docmgr {

// A top-down 32-bit BGRA bitmap with a stride of exactly width * 4, held in a cairo image
// surface so that cairo can draw into it directly.
class Bitmap {
public:
    // Null when the size is not positive or memory is short.
    static std::unique_ptr<Bitmap> Create(int32_t width, int32_t height);
    ~Bitmap();
    Bitmap(const Bitmap&) = delete;
    Bitmap& operator=(const Bitmap&) = delete;

    int32_t Width() const { return m_width; }
    int32_t Height() const { return m_height; }
    int32_t Stride() const { return m_width * 4; }
    uint8_t* Bits();
    const uint8_t* Bits() const;
    cairo_surface_t* Surface() const { return m_surface; }

    // Fills every pixel with one opaque colour.
    void Fill(uint8_t red, uint8_t green, uint8_t blue);

    // Only Create makes bitmaps; the key keeps the constructor usable by make_unique.
    struct CreateKey {
        explicit CreateKey() = default;
    };
    Bitmap(CreateKey, cairo_surface_t* surface, int32_t width, int32_t height);

private:
    cairo_surface_t* m_surface;
    int32_t m_width;
    int32_t m_height;
};

using BitmapPtr = std::unique_ptr<Bitmap>;

}  // namespace docmgr
