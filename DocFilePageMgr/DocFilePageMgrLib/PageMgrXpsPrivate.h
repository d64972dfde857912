#pragma once

// The library objects behind PageMgrXps, shared by its loading and its printing; included by
// those sources only.
#include <cairo.h>
#include <libgxps/gxps.h>

#include <memory>
#include <string>
#include <vector>

#include "GObjectPtr.h"
#include "PageMgrXps.h"
#include "ScratchFile.h"

namespace docmgr {

struct CairoDestroy {
    void operator()(cairo_t* cr) const { cairo_destroy(cr); }
};
using CairoPtr = std::unique_ptr<cairo_t, CairoDestroy>;

struct CairoSurfaceDestroy {
    void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
};
using CairoSurfacePtr = std::unique_ptr<cairo_surface_t, CairoSurfaceDestroy>;

struct PageMgrXps::Package {
    std::unique_ptr<ScratchFile> copy;  // the checked, plain package the library reads
    nvrprint::platform::GObjectPtr<GXPSFile> file;
    // One per sub-document, null where one could not be opened.
    std::vector<nvrprint::platform::GObjectPtr<GXPSDocument>> documents;
};

struct PageMgrXps::Page {
    nvrprint::platform::GObjectPtr<GXPSPage> handle;

    // The page's own size in 1/96 inch; false when it names none.
    bool SizeInUnits(double* width, double* height) const;
    // Draws the page in 1/96-inch units onto cr.
    bool Draw(cairo_t* cr, std::string* reason) const;
};

}  // namespace docmgr
