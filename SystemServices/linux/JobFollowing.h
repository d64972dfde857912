#pragma once

#include <chrono>
#include <functional>

#include "DocFilePageMgr/DocFilePageMgrLib/PrintDevice.h"
#include "platform/Clock.h"

namespace nvrprint::platform {

// How a sent job is followed: it may go this long without any change of state or of pages
// done on the printer, and is asked this often.
struct JobWatch {
    std::chrono::milliseconds quietLimit{60000};
    std::chrono::milliseconds poll{250};
};

// Reads the job's state once; fails when the print system cannot tell.
using JobStateReader = std::function<Result<docmgr::PrintJobStatus>()>;

// Follows a job whose document is sent until the printer has done it. Fails, with the job
// aborted on the device, when the printer cancels or aborts it, cannot tell its state, or
// leaves it unchanged for longer than the watch allows, as the clock tells.
Status FollowJob(docmgr::PrintDevice& device, int jobId, const JobStateReader& read,
                 const JobWatch& watch, Clock& clock = SystemClock());

}  // namespace nvrprint::platform
