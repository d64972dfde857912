#pragma once

#include <string>

// The geometry of a printed sheet as a device context reports it, and the mapping from its
// device pixels to PDF points. Plain arithmetic, free of any print system.
namespace nvrprint::platform {

// A medium as printers describe it: hundredths of a millimetre, portrait.
struct MediaSize {
    std::string name;
    int width = 21590;
    int length = 27940;
    int left = 0;
    int right = 0;
    int top = 0;
    int bottom = 0;
};

struct SheetGeometry {
    double widthPoints = 0;  // the sheet as it lies, orientation applied
    double heightPoints = 0;
    int dpiX = 0;
    int dpiY = 0;
    int physicalWidth = 0;  // device pixels
    int physicalHeight = 0;
    int offsetX = 0;  // left edge of the printable area
    int offsetY = 0;  // top edge of the printable area
    int printableWidth = 0;
    int printableHeight = 0;
    // What is drawn shrinks or grows by this about the printable area's top-left corner, as
    // a driver's scale does.
    double scale = 1.0;
};

// Landscape turns the medium a quarter counter-clockwise: its width runs down the sheet and
// its left margin becomes the bottom one.
SheetGeometry MakeSheetGeometry(const MediaSize& media, bool landscape, int dpiX, int dpiY);

struct PointRect {
    double x;  // from the sheet's left edge
    double y;  // from the sheet's bottom edge, as PDF counts
    double width;
    double height;
};

// A rectangle in device pixels from the printable area's top-left corner, in PDF points,
// with the sheet's scale applied.
PointRect DeviceToPoints(const SheetGeometry& sheet, int x, int y, int width, int height);

// What a device context on this sheet answers to GetDeviceCaps; 0 for an index it lacks.
int SheetDeviceCaps(const SheetGeometry& sheet, int index);

}  // namespace nvrprint::platform
