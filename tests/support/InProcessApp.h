#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "NvrPrintHelper/NvrPrintHelper.h"
#include "tests/support/TestPlatform.h"
#include "tests/support/TestSupport.h"

namespace testsupport {

// The application in this process, started from a command line as the program's entry starts
// it: the system's platform with notices kept, the run's own temp directory and log file.
struct InProcessApp {
    // Makes a new application for the arguments after the program's name, on a platform the
    // caller may adjust first; whether the command line was accepted.
    bool Start(std::vector<std::string> args, int standardInput = 0,
               const std::function<void(nvrprint::platform::Platform&)>& adjust = nullptr) {
        args.insert(args.begin(),
                    {"NvrPrintHelper", "-tempDir=" + dir.Path(), "-logFile=" + log.Path()});
        std::vector<const char*> argv;
        for (const std::string& a : args)
            argv.push_back(a.c_str());
        app.reset();
        notices.clear();
        os = TestPlatform(&notices, standardInput);
        if (adjust)
            adjust(os);
        app = std::make_unique<nvrprint::NvrPrintHelper>(os);
        return app->ParseCommandLine(static_cast<int>(argv.size()), argv.data());
    }

    LogCapture log;
    ScratchDir dir;
    std::vector<RecordedNotice> notices;
    nvrprint::platform::Platform os;
    std::unique_ptr<nvrprint::NvrPrintHelper> app;
};

}  // namespace testsupport
