#include "SystemServices/JobPdf/SheetGeometry.h"

#include "DocFilePageMgr/DocFilePageMgrLib/PrintDevice.h"

#include <cmath>
#include <utility>

namespace nvrprint::platform {
namespace {

constexpr double kHundredthsMmPerInch = 2540.0;

int Pixels(int hundredthsMm, int dpi) {
    return static_cast<int>(std::lround(hundredthsMm / kHundredthsMmPerInch * dpi));
}

double Points(int hundredthsMm) {
    return hundredthsMm / kHundredthsMmPerInch * 72.0;
}

}  // namespace

SheetGeometry MakeSheetGeometry(const MediaSize& media, bool landscape, int dpiX, int dpiY) {
    MediaSize m = media;
    if (landscape) {
        m = MediaSize{media.name,   media.length, media.width, media.top,
                      media.bottom, media.right,  media.left};
    }
    SheetGeometry g;
    g.widthPoints = Points(m.width);
    g.heightPoints = Points(m.length);
    g.dpiX = dpiX;
    g.dpiY = dpiY;
    g.physicalWidth = Pixels(m.width, dpiX);
    g.physicalHeight = Pixels(m.length, dpiY);
    g.offsetX = Pixels(m.left, dpiX);
    g.offsetY = Pixels(m.top, dpiY);
    g.printableWidth = g.physicalWidth - g.offsetX - Pixels(m.right, dpiX);
    g.printableHeight = g.physicalHeight - g.offsetY - Pixels(m.bottom, dpiY);
    return g;
}

PointRect DeviceToPoints(const SheetGeometry& sheet, int x, int y, int width, int height) {
    const double sx = 72.0 / sheet.dpiX;
    const double sy = 72.0 / sheet.dpiY;
    PointRect r;
    r.x = (sheet.offsetX + x * sheet.scale) * sx;
    r.width = width * sheet.scale * sx;
    r.height = height * sheet.scale * sy;
    r.y = sheet.heightPoints - (sheet.offsetY + y * sheet.scale) * sy - r.height;
    return r;
}

int SheetDeviceCaps(const SheetGeometry& sheet, int index) {
    switch (index) {
        case docmgr::HORZRES:
            return sheet.printableWidth;
        case docmgr::VERTRES:
            return sheet.printableHeight;
        case docmgr::LOGPIXELSX:
            return sheet.dpiX;
        case docmgr::LOGPIXELSY:
            return sheet.dpiY;
        case docmgr::PHYSICALWIDTH:
            return sheet.physicalWidth;
        case docmgr::PHYSICALHEIGHT:
            return sheet.physicalHeight;
        case docmgr::PHYSICALOFFSETX:
            return sheet.offsetX;
        case docmgr::PHYSICALOFFSETY:
            return sheet.offsetY;
        default:
            return 0;
    }
}

}  // namespace nvrprint::platform
