#pragma once

#include <string>

#include "CupsDestination.h"

namespace nvrprint::platform {

// Whether a job whose document has been sent is really in the printer's hands, asked over a
// connection of its own with a short time limit. False, with the reason, when the printer
// does not answer, or still marks the job as receiving its document ("job-incoming"), or has
// already cancelled or aborted it.
bool JobHasItsDocument(const CupsDestination& destination, int jobId, std::string* reason);

// A connection of its own to the destination, waiting at most timeoutSeconds for any answer;
// null when the destination cannot be reached.
http_t* ConnectWithTimeLimit(const CupsDestination& destination, double timeoutSeconds);

}  // namespace nvrprint::platform
