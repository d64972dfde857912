#pragma once

#include <string>

#include "SystemServices/JobPdf/PdfSheetDevice.h"
#include "platform/FileSystem.h"

namespace nvrprint::platform {

// A print job written to a file instead of a printer: the same PDF, sheet for sheet. The
// document grows in a temporary file beside the target, in the same directory, which takes
// the target's name only when EndDoc has written it whole; a job aborted, failed or dropped
// before then removes it and leaves the target as it was. The job counts as completed once
// the file is in place.
class FilePrintDevice final : public PdfSheetDevice {
public:
    FilePrintDevice(std::string path, const SheetGeometry& sheet);
    ~FilePrintDevice() override;

    Result<int> StartDoc(const std::string& documentName) override;
    Status EndDoc() override;
    Status AbortDoc() override;
    Status FollowJob(int jobId) override;

private:
    Failure SinkFailed(const std::string& reason) override;
    // Ends the job's writer and removes its file, if any.
    void RemoveTemporary();
    // Fails the job with the cause, after removing the temporary file.
    Failure Discard(int error, const std::string& why);

    std::string m_path;
    std::string m_temporary;  // while the job is open
    UniqueFd m_file;
    int m_writeError = 0;
    bool m_written = false;
};

}  // namespace nvrprint::platform
