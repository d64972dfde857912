#pragma once

#include <string>

// Looking at pages as they print: rendered at 72 DPI, one pixel a point.
namespace testsupport {

// Whether the point (points from the page's top-left corner) renders dark; false when the
// document or page cannot be read.
bool DarkAt(const std::string& pdfPath, int pageIndex, double x, double y);
// Rows of the page that are dark in the given column (points from the left); -1 when the
// document or page cannot be read.
int DarkRowsInColumn(const std::string& pdfPath, int pageIndex, double column);

}  // namespace testsupport
