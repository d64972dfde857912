#include "SystemServices/linux/JobFollowing.h"

#include <cerrno>

#include "logging/LogMacros.h"

namespace nvrprint::platform {
namespace {

using docmgr::PrintJobStatus;

const char* JobStateText(PrintJobStatus::State state) {
    switch (state) {
        case PrintJobStatus::Pending:
            return "Pending";
        case PrintJobStatus::Held:
            return "Held";
        case PrintJobStatus::Processing:
            return "In Progress";
        case PrintJobStatus::Stopped:
            return "Stopped";
        case PrintJobStatus::Cancelled:
            return "Cancelled";
        case PrintJobStatus::Aborted:
            return "Failed";
        case PrintJobStatus::Completed:
            return "Completed";
    }
    return "Unknown";
}

}  // namespace

Status FollowJob(docmgr::PrintDevice& device, int jobId, const JobStateReader& readState,
                 const JobWatch& watch, Clock& clock) {
    NVR_LOG_DEBUG("Waiting for job completion...");
    Clock::TimePoint lastChange = clock.Now();
    PrintJobStatus last;
    bool first = true;
    while (true) {
        const Result<PrintJobStatus> read = readState();
        if (!read) {
            NVR_LOG_ERROR("Failed to get job status (Error: {})", read.error().code);
            (void)device.AbortDoc();
            return read.error();
        }
        const PrintJobStatus status = *read;
        // Each change of state or of pages done starts the time limit anew.
        if (first || status.state != last.state || status.pagesDone != last.pagesDone) {
            first = false;
            last = status;
            lastChange = clock.Now();
            NVR_LOG_VERBOSE("Job status - {}, Current page: {}, Current doc: {}, Job ID: {}",
                            JobStateText(status.state), status.pagesDone, 1, jobId);
        }
        if (status.state == PrintJobStatus::Completed) {
            NVR_LOG_INFO("Print job completed successfully");
            return {};
        }
        if (status.state == PrintJobStatus::Cancelled || status.state == PrintJobStatus::Aborted) {
            NVR_LOG_ERROR("Print job did not complete successfully (Status: {})",
                          JobStateText(status.state));
            (void)device.AbortDoc();
            return Failure{ECANCELED, fmt::format("the printer ended the job ({})",
                                                  JobStateText(status.state))};
        }
        if (clock.Now() - lastChange >= watch.quietLimit) {
            NVR_LOG_ERROR("Timeout waiting for job completion");
            (void)device.AbortDoc();
            return Failure{ETIMEDOUT, "the printer left the job unchanged too long"};
        }
        clock.Sleep(watch.poll);
    }
}

}  // namespace nvrprint::platform
