#pragma once

#include <functional>

#include "DocFilePageMgr/DocFilePageMgrLib/DocumentFormats.h"
#include "SystemServices/Platform.h"

namespace nvrprint {

// A whole run of the program: the logger started, the system's services made (and handed to
// adaptSystem, if given, before use), the application made over them with the given formats,
// the command line parsed and run, and whatever escapes turned into a notice. Returns the
// exit code.
int RunProgram(int argc, char** argv, const docmgr::FormatRegistry& formats,
               const std::function<void(platform::Platform&)>& adaptSystem = {});

}  // namespace nvrprint
