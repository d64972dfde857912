#include "SystemServices/JobPdf/PdfSheetDevice.h"

#include <cerrno>

#include "logging/LogMacros.h"

namespace nvrprint::platform {

using namespace docmgr;

int PdfSheetDevice::GetDeviceCaps(int index) const {
    switch (index) {
        case HORZRES:
            return m_sheet.printableWidth;
        case VERTRES:
            return m_sheet.printableHeight;
        case LOGPIXELSX:
            return m_sheet.dpiX;
        case LOGPIXELSY:
            return m_sheet.dpiY;
        case PHYSICALWIDTH:
            return m_sheet.physicalWidth;
        case PHYSICALHEIGHT:
            return m_sheet.physicalHeight;
        case PHYSICALOFFSETX:
            return m_sheet.offsetX;
        case PHYSICALOFFSETY:
            return m_sheet.offsetY;
        default:
            return 0;
    }
}

int PdfSheetDevice::Fail(int error, const std::string& what) {
    m_lastError = error;
    NVR_LOG_ERROR("{}", what);
    return 0;
}

int PdfSheetDevice::StartPage() {
    return StartPageOfSize(m_sheet.widthPoints, m_sheet.heightPoints);
}

int PdfSheetDevice::StartPageOfSize(double widthPoints, double heightPoints) {
    if (!m_writer || m_pageOpen) {
        return Fail(EINVAL, "No job is open, or a sheet is already started");
    }
    m_writer->BeginSheet(widthPoints, heightPoints);
    m_pageWidth = widthPoints;
    m_pageHeight = heightPoints;
    m_pageOpen = true;
    return 1;
}

int PdfSheetDevice::EndPage() {
    if (!m_pageOpen || !m_writer) {
        return Fail(EINVAL, "No sheet is started");
    }
    m_pageOpen = false;
    std::string reason;
    if (!m_writer->EndSheet(&reason)) {
        return SinkFailed(reason);
    }
    return 1;
}

bool PdfSheetDevice::PlacePage(const VectorPage& page, const PageCell& cell) {
    if (!m_pageOpen) {
        Fail(EINVAL, "No sheet is started");
        return false;
    }
    std::string reason;
    bool placed = false;
    switch (cell.fit) {
        case PageCell::NaturalSize: {
            // The corner alone: the page keeps its size, under the sheet's scale.
            const PointRect corner = DeviceToPoints(m_sheet, cell.x, cell.y, 0, 0);
            placed = m_writer->PlacePageAtScale(page.pdfPath, page.pageIndex, corner.x, corner.y,
                                                m_sheet.scale, &reason);
            break;
        }
        case PageCell::FitCell: {
            const PointRect r = DeviceToPoints(m_sheet, cell.x, cell.y, cell.width, cell.height);
            placed = m_writer->PlacePage(page.pdfPath, page.pageIndex, r.x, r.y, r.width, r.height,
                                         &reason);
            break;
        }
        case PageCell::WholeSheet:
            placed = m_writer->PlacePage(page.pdfPath, page.pageIndex, 0.0, 0.0, m_pageWidth,
                                         m_pageHeight, &reason);
            break;
    }
    if (!placed) {
        Fail(EIO, fmt::format("Cannot place page {} of {}: {}", page.pageIndex + 1, page.pdfPath,
                              reason));
        return false;
    }
    return true;
}

}  // namespace nvrprint::platform
