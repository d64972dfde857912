#pragma once

#include "DocFilePageMgr/DocFilePageMgrLib/DocumentFormats.h"

namespace testsupport {

// A document format of the tests' own, registered as any other: a text file that starts with
// "%NVRDRAWN" and names one page per line by its size in points ("612 792"). Its backend
// draws each page (a frame and "Drawn page N"), as a bitmap for the preview and the TIFF and
// as vector pages for the print. Class "drawn", type 7 "DRAWN".
docmgr::DocumentFormat DrawnPagesFormat();

// The text of such a document with pages of the given sizes in points.
std::string DrawnPagesDocument(const std::vector<std::pair<double, double>>& pageSizes);

}  // namespace testsupport
