#pragma once

#include <optional>
#include <string>
#include <vector>

// The sizes an XPS package's pages give themselves, read straight from the package: the
// library reads a part by walking the archive from its start, so measuring page after page
// through it grows with the square of the page count, while the archive's directory finds
// any part at once.
namespace docmgr {

// Width and height in 1/96 inch, as the page's FixedPage element names them; 0 where it
// names none or names one that is not a number.
struct XpsPageExtent {
    double width = 0.0;
    double height = 0.0;
};

// For each fixed document of the package's sequence, in order, the extents of its pages, in
// order. Nullopt where the package's structure cannot be followed (a relationship, sequence,
// document or page part missing or unreadable): the caller then measures another way.
std::optional<std::vector<std::vector<XpsPageExtent>>> ReadXpsPageExtents(
    const std::string& packagePath);

}  // namespace docmgr
