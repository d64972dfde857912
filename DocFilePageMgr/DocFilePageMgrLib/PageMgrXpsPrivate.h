#pragma once

// The library objects behind PageMgrXps, shared by its loading and its printing; included by
// those sources only.
#include <cairo.h>
#include <libgxps/gxps.h>

#include <memory>
#include <string>
#include <vector>

#include "DocFilePageMgr/DocFilePageMgrLib/PageMgrXps.h"
#include "DocFilePageMgr/DocFilePageMgrLib/ScratchFile.h"
#include "platform/CairoPtr.h"
#include "platform/GObjectPtr.h"

namespace docmgr {

using nvrprint::platform::CairoPtr;
using nvrprint::platform::CairoSurfacePtr;

struct PageMgrXps::Package {
    std::unique_ptr<ScratchFile> copy;  // the checked, plain package the library reads
    nvrprint::platform::GObjectPtr<GXPSFile> file;
    // One per sub-document, null where one could not be opened.
    std::vector<nvrprint::platform::GObjectPtr<GXPSDocument>> documents;
};

struct PageMgrXps::Page {
    nvrprint::platform::GObjectPtr<GXPSPage> handle;

    // Draws the page in 1/96-inch units onto cr.
    nvrprint::Status Draw(cairo_t* cr) const;
};

}  // namespace docmgr
