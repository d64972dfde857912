#include "SystemServices/linux/CupsPrintDevice.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "SystemServices/linux/CupsJobState.h"
#include "logging/LogMacros.h"

namespace nvrprint::platform {

using namespace docmgr;

namespace {

struct OptionsFree {
    int count;
    void operator()(cups_option_t* options) const { cupsFreeOptions(count, options); }
};

// IPP carries a job's name in at most 255 octets; a longer one stops some printers' queues.
constexpr size_t kMaxJobNameOctets = 255;

// The text cut to at most limit bytes, never inside a UTF-8 sequence.
std::string CutAtCharacter(const std::string& text, size_t limit) {
    if (text.size() <= limit) {
        return text;
    }
    size_t end = limit;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) {
        --end;
    }
    return text.substr(0, end);
}

// Why the scheduler refused a request. A status that still reads as success, or a connection
// that is gone, means that the scheduler stopped answering: the status is not the cause.
std::string RefusalReason(http_t* http) {
    const int broken = httpError(http);
    if (cupsLastError() > IPP_STATUS_OK_CONFLICTING && broken == 0) {
        return cupsLastErrorString();
    }
    return broken != 0 ? fmt::format("the scheduler stopped answering ({})", std::strerror(broken))
                       : std::string("the scheduler stopped answering");
}

}  // namespace

CupsPrintDevice::CupsPrintDevice(std::shared_ptr<CupsDestination> destination,
                                 const SheetGeometry& sheet, JobOptions options, JobWatch watch)
    : PdfSheetDevice(sheet),
      m_destination(std::move(destination)),
      m_options(std::move(options)),
      m_watch(watch) {}

CupsPrintDevice::~CupsPrintDevice() {
    if (m_jobId > 0 && !m_finished) {
        (void)AbortDoc();
    }
}

Result<int> CupsPrintDevice::StartDoc(const std::string& documentName) {
    if (m_jobId > 0) {
        return Fail(EALREADY, "A job is already open on this printer");
    }
    m_title = CutAtCharacter(documentName, kMaxJobNameOctets);
    if (m_title.size() != documentName.size()) {
        NVR_LOG_WARNING("Job title of {} bytes cut to {} bytes, the most a print job may carry",
                        documentName.size(), m_title.size());
    }
    int count = 0;
    cups_option_t* options = nullptr;
    std::string sent;
    for (const auto& [name, value] : m_options) {
        count = cupsAddOption(name.c_str(), value.c_str(), count, &options);
        sent += fmt::format("{}{}={}", sent.empty() ? "" : " ", name, value);
    }
    NVR_LOG_INFO("Job options for {}: {}", m_destination->Name(), sent.empty() ? "none" : sent);
    std::unique_ptr<cups_option_t, OptionsFree> held(options, OptionsFree{count});
    int jobId = 0;
    ipp_status_t status =
        cupsCreateDestJob(m_destination->Http(), m_destination->Dest(), m_destination->Info(),
                          &jobId, m_title.c_str(), count, options);
    if (status > IPP_STATUS_OK_CONFLICTING || jobId <= 0) {
        return Fail(static_cast<int>(status),
                    fmt::format("Printer {} refused the job: {}", m_destination->Name(),
                                cupsLastErrorString()));
    }
    m_jobId = jobId;
    NVR_LOG_DEBUG("Created job {} on {} ({} options)", jobId, m_destination->Name(),
                  m_options.size());

    // The document streams into the job while its sheets are made.
    http_t* http = m_destination->Http();
    if (cupsStartDestDocument(http, m_destination->Dest(), m_destination->Info(), m_jobId,
                              m_title.c_str(), CUPS_FORMAT_PDF, 0, nullptr,
                              1) != HTTP_STATUS_CONTINUE) {
        const int error = static_cast<int>(cupsLastError());
        const std::string reason = RefusalReason(http);
        (void)AbortDoc();
        return Fail(error != 0 ? error : EIO,
                    fmt::format("Printer {} did not accept the document of job {}: {}",
                                m_destination->Name(), jobId, reason));
    }
    m_writer = std::make_unique<PdfSheetWriter>([http](const unsigned char* data, size_t length) {
        return cupsWriteRequestData(http, reinterpret_cast<const char*>(data), length) ==
               HTTP_STATUS_CONTINUE;
    });
    return jobId;
}

Failure CupsPrintDevice::SinkFailed(const std::string& reason) {
    const int cause = httpError(m_destination->Http());
    return Fail(cause != 0 ? cause : EIO,
                fmt::format("Job {} on {} failed: the document could not be sent: {}{}", m_jobId,
                            m_destination->Name(), reason,
                            cause != 0 ? fmt::format(" ({})", std::strerror(cause)) : ""));
}

Status CupsPrintDevice::FollowJob(int jobId) {
    return platform::FollowJob(
        *this, jobId, [this] { return ReadJobState(); }, m_watch);
}

Result<PrintJobStatus> CupsPrintDevice::ReadJobState() {
    if (m_jobId <= 0) {
        return Fail(EINVAL, "No job is open");
    }
    Result<IppResponse> answer = GetJobAttributes(m_destination->Http(), *m_destination, m_jobId,
                                                  {"job-state", "job-impressions-completed"});
    if (!answer) {
        return Fail(answer.error().code, fmt::format("Cannot read the state of job {}: {}", m_jobId,
                                                     answer.error().text));
    }
    const IppResponse& response = *answer;
    ipp_attribute_t* state = ippFindAttribute(response.get(), "job-state", IPP_TAG_ENUM);
    if (state == nullptr) {
        return Fail(EPROTO, fmt::format("The printer did not tell the state of job {}", m_jobId));
    }
    PrintJobStatus status;
    switch (ippGetInteger(state, 0)) {
        case IPP_JSTATE_PENDING:
            status.state = PrintJobStatus::Pending;
            break;
        case IPP_JSTATE_HELD:
            status.state = PrintJobStatus::Held;
            break;
        case IPP_JSTATE_PROCESSING:
            status.state = PrintJobStatus::Processing;
            break;
        case IPP_JSTATE_STOPPED:
            status.state = PrintJobStatus::Stopped;
            break;
        case IPP_JSTATE_CANCELED:
            status.state = PrintJobStatus::Cancelled;
            break;
        case IPP_JSTATE_ABORTED:
            status.state = PrintJobStatus::Aborted;
            break;
        default:
            status.state = PrintJobStatus::Completed;
            break;
    }
    ipp_attribute_t* done =
        ippFindAttribute(response.get(), "job-impressions-completed", IPP_TAG_INTEGER);
    status.pagesDone = done != nullptr ? ippGetInteger(done, 0) : 0;
    return status;
}

Status CupsPrintDevice::EndDoc() {
    if (!m_writer || m_pageOpen) {
        return Fail(EINVAL, "No job is open, or a sheet is still started");
    }
    if (const Status finished = m_writer->Finish(); !finished) {
        return SinkFailed(finished.error().text);
    }
    if (cupsFinishDestDocument(m_destination->Http(), m_destination->Dest(),
                               m_destination->Info()) > IPP_STATUS_OK_CONFLICTING) {
        const int error = static_cast<int>(cupsLastError());
        const std::string reason = RefusalReason(m_destination->Http());
        (void)AbortDoc();
        return Fail(error, fmt::format("Job {} on {} failed: the printer did not take the "
                                       "document: {}",
                                       m_jobId, m_destination->Name(), reason));
    }
    // A scheduler that stalls answers nothing, and the finish above can still read as
    // success: the job counts as sent only when the printer confirms it has the document.
    if (const Status confirmed = ConfirmJobHasItsDocument(*m_destination, m_jobId); !confirmed) {
        (void)AbortDoc();
        return Fail(confirmed.error().code,
                    fmt::format("Job {} on {} failed: {}", m_jobId, m_destination->Name(),
                                confirmed.error().text));
    }
    m_finished = true;
    NVR_LOG_INFO("Job {} sent to {} ({} sheets, {} bytes)", m_jobId, m_destination->Name(),
                 m_writer->SheetCount(), m_writer->BytesWritten());
    return {};
}

Status CupsPrintDevice::AbortDoc() {
    if (m_jobId <= 0) {
        return Fail(EINVAL, "No job is open");
    }
    const bool streaming = !m_finished && m_writer != nullptr;
    m_finished = true;
    http_t* own = m_destination->Http();
    if (streaming) {
        // The half-sent document is cut off, never completed, and the job's connection made
        // anew for the cancel and the printer's next request.
        httpShutdown(own);
        httpReconnect2(own, 15000, nullptr);
    }
    // A fresh connection where one can be made: the job's own may be in the middle of a
    // request.
    http_t* fresh = ConnectWithTimeLimit(*m_destination, 15.0);
    http_t* http = fresh != nullptr ? fresh : own;
    ipp_status_t status = cupsCancelDestJob(http, m_destination->Dest(), m_jobId);
    // A queue whose address is its device's knows the job only by the queue's name on the
    // scheduler.
    if (status > IPP_STATUS_OK_CONFLICTING && !m_destination->Name().starts_with("ipp://") &&
        !m_destination->Name().starts_with("ipps://")) {
        status = cupsCancelJob2(http, m_destination->Name().c_str(), m_jobId, 0);
    }
    if (fresh != nullptr) {
        httpClose(fresh);
    }
    if (status > IPP_STATUS_OK_CONFLICTING) {
        return Fail(static_cast<int>(status),
                    fmt::format("Could not cancel job {}: {}", m_jobId, cupsLastErrorString()));
    }
    NVR_LOG_INFO("Cancelled job {} on {}", m_jobId, m_destination->Name());
    return {};
}

}  // namespace nvrprint::platform
