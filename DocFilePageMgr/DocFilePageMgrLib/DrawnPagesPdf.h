#pragma once

#include <cstddef>
#include <functional>
#include <string>

typedef struct _cairo cairo_t;

namespace docmgr {

// What a backend that draws its pages gives for its print: a vector PDF of its pages, each
// on a page of its own size, whose pages the printing loop then places.
struct DrawnPage {
    double widthPoints = 0.0;
    double heightPoints = 0.0;
};

// Writes pageCount pages to path: sizeOf tells each page's size, draw draws it in points onto
// the context it is given (false ends the writing), and done hears each page as it is
// finished. False, with the reason logged and no file left, when a page cannot be drawn or
// the file written.
bool WriteDrawnPagesPdf(const std::string& path, size_t pageCount,
                        const std::function<DrawnPage(size_t index)>& sizeOf,
                        const std::function<bool(size_t index, cairo_t* cr)>& draw,
                        const std::function<void(size_t pagesDone)>& done = {});

}  // namespace docmgr
