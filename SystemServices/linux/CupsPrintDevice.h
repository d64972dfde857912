#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "SystemServices/JobPdf/PdfSheetDevice.h"
#include "SystemServices/linux/CupsDestination.h"
#include "SystemServices/linux/JobFollowing.h"

namespace nvrprint::platform {

// A print job on a CUPS destination, drawn like a printer device context. StartDoc creates
// the job and opens its document, a PDF that grows by a sheet at each EndPage and is ended
// by EndDoc. A job that does not reach EndDoc is cancelled, so nothing partial is printed.
class CupsPrintDevice final : public PdfSheetDevice {
public:
    using JobOptions = std::vector<std::pair<std::string, std::string>>;

    CupsPrintDevice(std::shared_ptr<CupsDestination> destination, const SheetGeometry& sheet,
                    JobOptions options, JobWatch watch = {});
    ~CupsPrintDevice() override;

    Result<int> StartDoc(const std::string& documentName) override;
    Status EndDoc() override;
    Status AbortDoc() override;
    Status FollowJob(int jobId) override;

private:
    // The job's state as the printer tells it now.
    Result<docmgr::PrintJobStatus> ReadJobState();
    // The job's document stream broke.
    Failure SinkFailed(const std::string& reason) override;

    // Shared with the printer it was made by: one connection for the whole job.
    std::shared_ptr<CupsDestination> m_destination;
    JobOptions m_options;
    JobWatch m_watch;
    std::string m_title;
    int m_jobId = 0;
    bool m_finished = false;
};

}  // namespace nvrprint::platform
