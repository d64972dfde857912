#include "NvrPrintHelper/preview/SheetPicture.h"

#include <cairo.h>

#include <algorithm>
#include <cmath>

namespace nvrprint::preview {
namespace {

// A rectangle in points from the sheet's top-left corner, y growing down.
struct Box {
    double left;
    double top;
    double width;
    double height;
};

// Where a page of the given size lands in its cell, as the job's PDF places it.
Box PlacedPage(const SideLayout& layout, const docmgr::PageCell& cell, double pageWidth,
               double pageHeight, double sideWidth, double sideHeight) {
    const platform::SheetGeometry& sheet = layout.sheet;
    switch (cell.fit) {
        case docmgr::PageCell::NaturalSize: {
            const platform::PointRect corner =
                platform::DeviceToPoints(sheet, cell.x, cell.y, 0, 0);
            return {corner.x, sheet.heightPoints - corner.y, pageWidth * sheet.scale,
                    pageHeight * sheet.scale};
        }
        case docmgr::PageCell::WholeSheet:
            break;
        case docmgr::PageCell::FitCell: {
            const platform::PointRect r =
                platform::DeviceToPoints(sheet, cell.x, cell.y, cell.width, cell.height);
            const double fit = std::min(r.width / pageWidth, r.height / pageHeight);
            return {r.x, sheet.heightPoints - r.y - r.height, pageWidth * fit, pageHeight * fit};
        }
    }
    const double fit = std::min(sideWidth / pageWidth, sideHeight / pageHeight);
    return {0, 0, pageWidth * fit, pageHeight * fit};
}

// The side's cells in drawing order, one for each of its pages.
std::vector<docmgr::PageCell> CellsOf(const SideLayout& layout, const docmgr::PhysicalPage& side) {
    if (layout.fit == docmgr::PageCell::FitCell) {
        return docmgr::CellsOnSide(layout.pagesPerSheet, layout.sheet.printableWidth,
                                   layout.sheet.printableHeight, side.logicalPages.size());
    }
    docmgr::PageCell one;
    one.fit = layout.fit;
    one.width = layout.sheet.printableWidth;
    one.height = layout.sheet.printableHeight;
    return std::vector<docmgr::PageCell>(std::min<size_t>(side.logicalPages.size(), 1), one);
}

}  // namespace

std::pair<double, double> SideSizePoints(const SideLayout& layout, const docmgr::PhysicalPage& side,
                                         const SheetPageFor& pageFor) {
    if (layout.fit == docmgr::PageCell::WholeSheet && !side.logicalPages.empty()) {
        const SheetPage page = pageFor(side.logicalPages.front());
        return {page.widthPoints, page.heightPoints};
    }
    return {layout.sheet.widthPoints, layout.sheet.heightPoints};
}

void PaintSheetSide(cairo_t* cr, const SideLayout& layout, const docmgr::PhysicalPage& side,
                    double pixelsPerPoint, const SheetPageFor& pageFor) {
    const auto [sideWidth, sideHeight] = SideSizePoints(layout, side, pageFor);
    cairo_save(cr);
    cairo_scale(cr, pixelsPerPoint, pixelsPerPoint);
    cairo_set_source_rgb(cr, 1, 1, 1);
    cairo_rectangle(cr, 0, 0, sideWidth, sideHeight);
    cairo_fill(cr);
    const std::vector<docmgr::PageCell> cells = CellsOf(layout, side);
    for (size_t i = 0; i < cells.size(); ++i) {
        const SheetPage page = pageFor(side.logicalPages[i]);
        if (!page.image || !page.image->bitmap || page.widthPoints <= 0 || page.heightPoints <= 0) {
            continue;
        }
        const Box box = PlacedPage(layout, cells[i], page.widthPoints, page.heightPoints, sideWidth,
                                   sideHeight);
        cairo_save(cr);
        cairo_rectangle(cr, box.left, box.top, box.width, box.height);
        cairo_clip(cr);
        cairo_set_source_rgb(cr, 1, 1, 1);
        cairo_paint(cr);
        cairo_translate(cr, box.left, box.top);
        cairo_scale(cr, box.width / page.image->bitmap->Width(),
                    box.height / page.image->bitmap->Height());
        cairo_set_source_surface(cr, page.image->bitmap->Surface(), 0, 0);
        cairo_pattern_set_filter(cairo_get_source(cr), CAIRO_FILTER_GOOD);
        cairo_paint(cr);
        cairo_restore(cr);
    }
    cairo_restore(cr);
}

docmgr::BitmapPtr DrawSheetSide(const SideLayout& layout, const docmgr::PhysicalPage& side,
                                double pixelsPerPoint, const SheetPageFor& pageFor) {
    const auto [width, height] = SideSizePoints(layout, side, pageFor);
    docmgr::BitmapPtr bitmap =
        docmgr::Bitmap::Create(static_cast<int32_t>(std::ceil(width * pixelsPerPoint)),
                               static_cast<int32_t>(std::ceil(height * pixelsPerPoint)));
    if (!bitmap) {
        return nullptr;
    }
    bitmap->Fill(255, 255, 255);
    cairo_surface_mark_dirty(bitmap->Surface());
    cairo_t* cr = cairo_create(bitmap->Surface());
    PaintSheetSide(cr, layout, side, pixelsPerPoint, pageFor);
    cairo_destroy(cr);
    cairo_surface_flush(bitmap->Surface());
    return bitmap;
}

}  // namespace nvrprint::preview
