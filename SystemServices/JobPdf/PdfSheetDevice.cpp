#include "SystemServices/JobPdf/PdfSheetDevice.h"

#include <cerrno>

#include "logging/LogMacros.h"

namespace nvrprint::platform {

using namespace docmgr;

int PdfSheetDevice::GetDeviceCaps(int index) const {
    return SheetDeviceCaps(m_sheet, index);
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
    const bool placed =
        PlaceInCell(*m_writer, m_sheet, m_pageWidth, m_pageHeight, page, cell, &reason);
    if (!placed) {
        Fail(EIO, fmt::format("Cannot place page {} of {}: {}", page.pageIndex + 1, page.pdfPath,
                              reason));
        return false;
    }
    return true;
}

}  // namespace nvrprint::platform
