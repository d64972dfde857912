#pragma once

#include <memory>
#include <string>

#include "DocFilePageMgr/DocFilePageMgrLib/PrintDevice.h"
#include "SystemServices/JobPdf/PdfSheetWriter.h"
#include "SystemServices/JobPdf/SheetGeometry.h"

namespace nvrprint::platform {

// The drawing side of a device whose job is one PDF made by PdfSheetWriter: the sheet's
// geometry as the device reports it, sheets started and ended, pages placed on them as vector
// content, fitted once from device pixels to points. Where the PDF goes (a print job, a file)
// is the subclass's: its StartDoc makes the writer, its EndDoc finishes it.
class PdfSheetDevice : public docmgr::PrintDevice {
public:
    explicit PdfSheetDevice(const SheetGeometry& sheet) : m_sheet(sheet) {}

    int GetDeviceCaps(int index) const override;
    Status StartPage() override;
    Status StartPageOfSize(double widthPoints, double heightPoints) override;
    Status EndPage() override;
    Status PlacePage(const docmgr::VectorPage& page, const docmgr::PageCell& cell) override;

protected:
    // Logs what failed and hands it back as the failure.
    static Failure Fail(int error, const std::string& what);
    // The writer's bytes could not be delivered; reason says where.
    virtual Failure SinkFailed(const std::string& reason) = 0;

    std::unique_ptr<PdfSheetWriter> m_writer;
    bool m_pageOpen = false;

private:
    SheetGeometry m_sheet;
    // The started sheet's size in points.
    double m_pageWidth = 0;
    double m_pageHeight = 0;
};

}  // namespace nvrprint::platform
