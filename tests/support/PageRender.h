#pragma once

#include <string>
#include <utility>
#include <vector>

// Looking at the pages of a PDF as they print: their text, size and direction, and their
// pixels rendered at 72 DPI, one pixel a point.
namespace testsupport {

// The text of each page, words joined by single blanks; empty when the file cannot be read.
std::vector<std::string> PageTexts(const std::string& pdfPath);
// Width and height in points, as shown; zero when the page cannot be read.
std::pair<double, double> PageSize(const std::string& pdfPath, int pageIndex);
// Whether the page is printed across its long edge: wider than tall as shown, or its text
// turned a quarter on a page that is taller than wide.
bool PageIsLandscape(const std::string& pdfPath, int pageIndex);
// Whether the point (points from the top-left corner) renders dark; false on an unread page.
bool DarkAt(const std::string& pdfPath, int pageIndex, double x, double y);
// Rows of the page that are dark in the given column (points from the left); -1 when the
// document or page cannot be read.
int DarkRowsInColumn(const std::string& pdfPath, int pageIndex, double column);

}  // namespace testsupport
