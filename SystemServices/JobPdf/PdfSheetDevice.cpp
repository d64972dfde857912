#include "SystemServices/JobPdf/PdfSheetDevice.h"

#include <cerrno>

#include "logging/LogMacros.h"

namespace nvrprint::platform {

using namespace docmgr;

int PdfSheetDevice::GetDeviceCaps(int index) const {
    return SheetDeviceCaps(m_sheet, index);
}

Failure PdfSheetDevice::Fail(int error, const std::string& what) {
    NVR_LOG_ERROR("{}", what);
    return Failure{error, what};
}

Status PdfSheetDevice::StartPage() {
    return StartPageOfSize(m_sheet.widthPoints, m_sheet.heightPoints);
}

Status PdfSheetDevice::StartPageOfSize(double widthPoints, double heightPoints) {
    if (!m_writer || m_pageOpen) {
        return Fail(EINVAL, "No job is open, or a sheet is already started");
    }
    m_writer->BeginSheet(widthPoints, heightPoints);
    m_pageWidth = widthPoints;
    m_pageHeight = heightPoints;
    m_pageOpen = true;
    return {};
}

Status PdfSheetDevice::EndPage() {
    if (!m_pageOpen || !m_writer) {
        return Fail(EINVAL, "No sheet is started");
    }
    m_pageOpen = false;
    if (const Status ended = m_writer->EndSheet(); !ended) {
        return SinkFailed(ended.error().text);
    }
    return {};
}

Status PdfSheetDevice::PlacePage(const VectorPage& page, const PageCell& cell) {
    if (!m_pageOpen) {
        return Fail(EINVAL, "No sheet is started");
    }
    const Status placed = PlaceInCell(*m_writer, m_sheet, m_pageWidth, m_pageHeight, page, cell);
    if (!placed) {
        return Fail(EIO, fmt::format("Cannot place page {} of {}: {}", page.pageIndex + 1,
                                     page.pdfPath, placed.error().text));
    }
    return {};
}

}  // namespace nvrprint::platform
