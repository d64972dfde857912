#pragma once

#include <memory>
#include <vector>

#include "SystemServices/Platform.h"
#include "tests/support/TestSupport.h"

namespace testsupport {

// The system's own platform, with notices kept instead of shown and, where given, piped input
// read from fd. Tests replace further members as they need.
inline nvrprint::platform::Platform TestPlatform(std::vector<RecordedNotice>* notices,
                                                 int standardInput = 0) {
    nvrprint::platform::Platform os = nvrprint::platform::CreateSystemPlatform();
    os.notices = std::make_unique<RecordingNotices>(notices);
    os.files = nvrprint::platform::CreateSystemFiles(standardInput);
    return os;
}

}  // namespace testsupport
