#include "NvrPrintHelper/ProgramMain.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include "NvrPrintHelper/NvrPrintHelper.h"
#include "NvrPrintHelper/preview/PrinterQuery.h"
#include "logging/LogMacros.h"

namespace nvrprint {
namespace {

// How long the end of the program waits for printer queries still under way.
constexpr std::chrono::seconds kQueryEndWait{2};

void ShowFatal(platform::Platform& os, const std::string& title, const std::string& text) {
    os.notices->Show(title, text, platform::NoticeKind::Error);
}

int ParseAndRun(int argc, char** argv, platform::Platform& os,
                const docmgr::FormatRegistry& formats) {
    NVR_LOG_DEBUG("Parsing command line");
    NVR_LOG_DEBUG("Command line contains {} argument(s)", argc);
    NVR_LOG_DEBUG("Creating NvrPrintHelper instance");
    NvrPrintHelper app(os, formats);
    if (!app.ParseCommandLine(argc, argv)) {
        NVR_LOG_ERROR("Command line parsing failed");
        return 1;
    }
    Logger::Instance().ReleaseConsoleOutput();
    NVR_LOG_INFO("Command line parsed successfully, starting application");
    return app.Run();
}

}  // namespace

int RunProgram(int argc, char** argv, const docmgr::FormatRegistry& formats,
               const std::function<void(platform::Platform&)>& adaptSystem) {
    // A file that reaches the size limit must fail its write, not end the process unheard.
    std::signal(SIGXFSZ, SIG_IGN);
    Logger& logger = Logger::Instance();
    logger.Initialize("");
    logger.SetModeFlags(LogToTrace | LogToStdout);
    NVR_LOG_ENTRY("=== NvrPrintHelper Application Starting ===");
    platform::Platform os = platform::CreateSystemPlatform();

    int exitCode = 1;
    try {
        if (adaptSystem) {
            adaptSystem(os);
        }
        exitCode = ParseAndRun(argc, argv, os, formats);
    } catch (const std::exception& e) {
        std::string text = std::string("Unhandled exception: ") + e.what();
        NVR_LOG_CRITICAL("{}", text);
        ShowFatal(os, "NvrPrintHelper Fatal Error", text);
        exitCode = 1;
    } catch (...) {
        NVR_LOG_CRITICAL("Unknown fatal error");
        ShowFatal(os, "NvrPrintHelper Fatal Error", "Unknown fatal error occurred");
        exitCode = 1;
    }

    // A printer query still waiting on its printer ends with the process, before anything
    // it could reach is torn down.
    const bool queriesEnded = preview::PrinterQuery::EndAll(kQueryEndWait);
    NVR_LOG_INFO("=== NvrPrintHelper Application Exiting (Exit Code: {}) ===", exitCode);
    NVR_LOG_ENTRY("Exiting with code: {}", exitCode);
    if (!queriesEnded) {
        logger.Shutdown();
        std::fflush(nullptr);
        std::_Exit(exitCode);
    }
    return exitCode;
}

}  // namespace nvrprint
