#include "DocFilePageMgr/DocFilePageMgrLib/DrawnPagesPdf.h"

#include <cairo-pdf.h>

#include <cstdio>

#include "logging/LogMacros.h"
#include "platform/CairoPtr.h"

namespace docmgr {

using nvrprint::platform::CairoPtr;
using nvrprint::platform::CairoSurfacePtr;

bool WriteDrawnPagesPdf(const std::string& path, size_t pageCount,
                        const std::function<DrawnPage(size_t index)>& sizeOf,
                        const std::function<bool(size_t index, cairo_t* cr)>& draw,
                        const std::function<void(size_t pagesDone)>& done) {
    NVR_LOG_DEBUG("Writing {} page(s) to {}", pageCount, path);
    CairoSurfacePtr surface(cairo_pdf_surface_create(path.c_str(), 612.0, 792.0));
    if (cairo_surface_status(surface.get()) != CAIRO_STATUS_SUCCESS) {
        NVR_LOG_ERROR("Cannot create {}: {}", path,
                      cairo_status_to_string(cairo_surface_status(surface.get())));
        return false;
    }
    // Anything short of every page is no document: what was written goes.
    auto fail = [&surface, &path] {
        cairo_surface_finish(surface.get());
        std::remove(path.c_str());
        return false;
    };
    for (size_t index = 0; index < pageCount; ++index) {
        const DrawnPage size = sizeOf(index);
        cairo_pdf_surface_set_size(surface.get(), size.widthPoints, size.heightPoints);
        CairoPtr cr(cairo_create(surface.get()));
        if (!draw(index, cr.get())) {
            return fail();
        }
        cairo_show_page(cr.get());
        if (cairo_status(cr.get()) != CAIRO_STATUS_SUCCESS) {
            NVR_LOG_ERROR("Failed to draw page {}: {}", index + 1,
                          cairo_status_to_string(cairo_status(cr.get())));
            return fail();
        }
        if (done) {
            done(index + 1);
        }
    }
    cairo_surface_finish(surface.get());
    if (cairo_surface_status(surface.get()) != CAIRO_STATUS_SUCCESS) {
        NVR_LOG_ERROR("Cannot write {}: {}", path,
                      cairo_status_to_string(cairo_surface_status(surface.get())));
        std::remove(path.c_str());
        return false;
    }
    return true;
}

}  // namespace docmgr
