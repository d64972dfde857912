#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "DocFilePageMgr/DocFilePageMgrLib/DocFilePageMgr.h"
#include "DocFilePageMgr/DocFilePageMgrLib/PageImage.h"
#include "SystemServices/JobPdf/SheetGeometry.h"
#include "platform/Bitmap.h"

typedef struct _cairo cairo_t;

// One side of a printed sheet as a picture: the pages placed on it as the print places them
// in the job's PDF. Plain cairo, for the sheet view and for anything else that shows sheets.
namespace nvrprint::preview {

// A page as a side needs it: its picture, scaled into place whatever its pixel size, and its
// size in points, which gives its proportions and, at natural size, its extent. A page
// without a picture leaves its place white.
struct SheetPage {
    std::shared_ptr<docmgr::PageImage> image;
    double widthPoints = 0;
    double heightPoints = 0;
};
// Pages count from 0, as in docmgr::PhysicalPage.
using SheetPageFor = std::function<SheetPage(uint64_t pageIndex)>;

// How the job lays its pages on its sheets: the printer's sheet (Printer::SheetFor), the
// pages per side and the manager's DocFilePageMgr::SideFit.
struct SideLayout {
    platform::SheetGeometry sheet;
    int32_t pagesPerSheet = 1;
    docmgr::PageCell::Fit fit = docmgr::PageCell::FitCell;
};

// The side's size in points: the sheet's, or the page's own where each page prints on a
// sheet of its own size.
std::pair<double, double> SideSizePoints(const SideLayout& layout, const docmgr::PhysicalPage& side,
                                         const SheetPageFor& pageFor);

// Paints the side onto cr, the sheet's top-left corner at its origin, pixelsPerPoint pixels
// to a point: a white sheet, and each page fitted into its cell whole, its proportions kept,
// hanging from the cell's top-left corner, white beneath it. A blank side is a white sheet.
void PaintSheetSide(cairo_t* cr, const SideLayout& layout, const docmgr::PhysicalPage& side,
                    double pixelsPerPoint, const SheetPageFor& pageFor);

// The same in a bitmap of the side's size at pixelsPerPoint, rounded up; null when that is
// empty or memory is short.
docmgr::BitmapPtr DrawSheetSide(const SideLayout& layout, const docmgr::PhysicalPage& side,
                                double pixelsPerPoint, const SheetPageFor& pageFor);

}  // namespace nvrprint::preview
