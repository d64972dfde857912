#pragma once

#include <cairo.h>

#include <memory>

// Owning pointers for cairo contexts and surfaces.
namespace nvrprint::platform {

struct CairoDestroy {
    void operator()(cairo_t* cr) const { cairo_destroy(cr); }
};
using CairoPtr = std::unique_ptr<cairo_t, CairoDestroy>;

struct CairoSurfaceDestroy {
    void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
};
using CairoSurfacePtr = std::unique_ptr<cairo_surface_t, CairoSurfaceDestroy>;

}  // namespace nvrprint::platform
