#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "DocFilePageMgr/DocFilePageMgrLib/PrintDevice.h"
#include "SystemServices/JobPdf/PdfSheetWriter.h"
#include "SystemServices/JobPdf/SheetGeometry.h"
#include "SystemServices/linux/CupsDestination.h"

namespace nvrprint::platform {

// A print job on a CUPS destination, drawn like a printer device context. StartDoc creates
// the job and opens its document, a PDF that grows by a sheet at each EndPage and is ended
// by EndDoc; pages are placed on the sheets as vector content, fitted once from device
// pixels to points. A job that does not reach EndDoc is cancelled, so nothing partial is printed.
class CupsPrintDevice final : public docmgr::PrintDevice {
public:
    using JobOptions = std::vector<std::pair<std::string, std::string>>;

    CupsPrintDevice(std::shared_ptr<CupsDestination> destination, const SheetGeometry& sheet,
                    JobOptions options);
    ~CupsPrintDevice() override;

    int GetDeviceCaps(int index) const override;
    int StartDoc(const std::string& documentName) override;
    int StartPage() override;
    int StartPageOfSize(double widthPoints, double heightPoints) override;
    int EndPage() override;
    int EndDoc() override;
    int AbortDoc() override;
    int LastError() const override { return m_lastError; }

    // Pages go into the job's PDF as form objects that carry their own content.
    bool PlacePage(const docmgr::VectorPage& page, const docmgr::PageCell& cell) override;
    bool GetJobStatus(docmgr::PrintJobStatus* status) override;

private:
    int Fail(int error, const std::string& what);
    // The job's document stream broke; reason says where.
    int StreamFailed(const std::string& reason);

    // Shared with the printer it was made by: one connection for the whole job.
    std::shared_ptr<CupsDestination> m_destination;
    SheetGeometry m_sheet;
    JobOptions m_options;
    std::unique_ptr<PdfSheetWriter> m_writer;
    std::string m_title;
    int m_jobId = 0;
    bool m_pageOpen = false;
    // The started sheet's size in points.
    double m_pageWidth = 0;
    double m_pageHeight = 0;
    bool m_finished = false;
    int m_lastError = 0;
};

}  // namespace nvrprint::platform
