#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "Bitmap.h"

namespace nvrprint::platform {

// Builds the PDF of a print job sheet by sheet. Source pages are placed as form XObjects:
// their content streams, fonts and images go into the job untouched, annotations flattened
// as printing shows them. Coordinates are PDF points from the sheet's bottom-left corner.
class PdfSheetWriter {
public:
    PdfSheetWriter();
    ~PdfSheetWriter();
    PdfSheetWriter(const PdfSheetWriter&) = delete;
    PdfSheetWriter& operator=(const PdfSheetWriter&) = delete;

    void BeginSheet(double widthPoints, double heightPoints);
    // Fills the rectangle white and places the page in it, scaled to fit. False, with the
    // reason, when the source cannot be read or has no such page.
    bool PlacePage(const std::string& sourcePath, size_t pageIndex, double x, double y,
                   double width, double height, std::string* reason);
    // Places a bitmap as an RGB image over the rectangle.
    void PlaceImage(const docmgr::Bitmap& bitmap, double x, double y, double width, double height);
    void EndSheet();
    size_t SheetCount() const;

    // Writes the whole document through sink, which returns false to stop. False, with the
    // reason, when writing failed or the sink stopped it.
    bool Write(const std::function<bool(const unsigned char*, size_t)>& sink, std::string* reason);

private:
    struct State;
    std::unique_ptr<State> m_state;
};

}  // namespace nvrprint::platform
