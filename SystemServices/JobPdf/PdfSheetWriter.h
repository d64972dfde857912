#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "DocFilePageMgr/DocFilePageMgrLib/PrintDevice.h"
#include "SystemServices/JobPdf/SheetGeometry.h"
#include "platform/Result.h"

namespace nvrprint::platform {

// Writes the PDF of a print job sheet by sheet, as it goes: each finished sheet, with what
// it uses, is written to the sink at once, so memory does not grow with the job. Source
// pages are placed as form XObjects that carry their original content streams, fonts and
// images untouched; annotations are flattened as printing shows them. Coordinates are PDF
// points from the sheet's bottom-left corner.
class PdfSheetWriter {
public:
    // Receives the document's bytes in order; returns false to stop the writer.
    using Sink = std::function<bool(const unsigned char*, size_t)>;

    explicit PdfSheetWriter(Sink sink);
    ~PdfSheetWriter();
    PdfSheetWriter(const PdfSheetWriter&) = delete;
    PdfSheetWriter& operator=(const PdfSheetWriter&) = delete;

    void BeginSheet(double widthPoints, double heightPoints);
    // Places the page fitted whole into the rectangle, its proportions kept, hanging from the
    // rectangle's top-left corner; the area it covers is filled white first. Fails when the
    // source cannot be read, has no such page, or the sink stopped.
    Status PlacePage(const std::string& sourcePath, size_t pageIndex, double x, double y,
                     double width, double height);
    // The same at the page's own size times scale, hanging from the point (left, top).
    Status PlacePageAtScale(const std::string& sourcePath, size_t pageIndex, double left,
                            double top, double scale);
    // Writes the sheet out.
    Status EndSheet();
    // Ends the document: page tree, catalogue, cross-reference table and trailer.
    Status Finish();

    size_t SheetCount() const;
    size_t BytesWritten() const;

private:
    // scale 0 fits the page into width and height.
    Status Place(const std::string& sourcePath, size_t pageIndex, double left, double top,
                 double width, double height, double scale);

    struct State;
    std::unique_ptr<State> m_state;
};

// Places a page on the writer's open sheet, sheetWidth by sheetHeight points, where a print
// device's cell says: the cell's device pixels become points on the sheet geometry, and the
// page is fitted into them, set at its natural size times the sheet's scale, or fitted to the
// whole sheet. Fails as PlacePage.
Status PlaceInCell(PdfSheetWriter& writer, const SheetGeometry& sheet, double sheetWidth,
                   double sheetHeight, const docmgr::VectorPage& page,
                   const docmgr::PageCell& cell);

}  // namespace nvrprint::platform
