#pragma once

#include <initializer_list>
#include <memory>
#include <string>

#include "SystemServices/linux/CupsDestination.h"

namespace nvrprint::platform {

struct IppDelete {
    void operator()(ipp_t* ipp) const { ippDelete(ipp); }
};
using IppResponse = std::unique_ptr<ipp_t, IppDelete>;

// The wanted attributes of one of the destination's jobs, asked over http; fails when the
// printer's address is unknown or it does not answer.
Result<IppResponse> GetJobAttributes(http_t* http, const CupsDestination& destination, int jobId,
                                     std::initializer_list<const char*> wanted);

// Whether a job whose document has been sent is really in the printer's hands, asked over a
// connection of its own with a short time limit. Fails, with the reason, when the printer
// does not answer, or still marks the job as receiving its document ("job-incoming"), or has
// already cancelled or aborted it.
Status ConfirmJobHasItsDocument(const CupsDestination& destination, int jobId);

// A connection of its own to the destination, waiting at most timeoutSeconds for any answer;
// null when the destination cannot be reached.
http_t* ConnectWithTimeLimit(const CupsDestination& destination, double timeoutSeconds);

}  // namespace nvrprint::platform
