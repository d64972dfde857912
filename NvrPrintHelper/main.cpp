// Process entry: starts the logger, builds the application object, parses, runs, and turns
// whatever escapes into a notice and exit code 1.
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>

#include "NvrPrintHelper/NvrPrintHelper.h"
#include "NvrPrintHelper/preview/PrinterQuery.h"
#include "SystemServices/Platform.h"
#include "logging/LogMacros.h"

namespace {

// The image library's process-wide start. Cairo needs none, so it is always up; the holder
// keeps the place where a library that does need one would start and stop.
struct ImageLibrarySession {
    bool initialized = true;
};
const ImageLibrarySession g_imageLibrarySession;

// How long the end of the program waits for printer queries still under way.
constexpr std::chrono::seconds kQueryEndWait{2};

void ShowFatal(nvrprint::platform::Platform& os, const std::string& title,
               const std::string& text) {
    os.notices->Show(title, text, nvrprint::platform::NoticeKind::Error);
}

}  // namespace

int main(int argc, char** argv) {
    using namespace nvrprint;
    // A file that reaches the size limit must fail its write, not end the process unheard.
    std::signal(SIGXFSZ, SIG_IGN);
    Logger& logger = Logger::Instance();
    logger.Initialize("");
    logger.SetModeFlags(LogToTrace | LogToStdout);
    NVR_LOG_ENTRY("=== NvrPrintHelper Application Starting ===");
    platform::Platform os = platform::CreateSystemPlatform();

    int exitCode = 1;
    try {
        if (!g_imageLibrarySession.initialized) {
            NVR_LOG_CRITICAL("Failed to initialize GDI+ (global session initialization failed)");
            ShowFatal(os, "NvrPrintHelper", "Failed to initialize GDI+");
        } else {
            NVR_LOG_DEBUG("GDI+ initialized successfully (global session)");
            NVR_LOG_DEBUG("Parsing command line");
            NVR_LOG_DEBUG("Command line contains {} argument(s)", argc);
            NVR_LOG_DEBUG("Creating NvrPrintHelper instance");
            NvrPrintHelper app(os);
            if (!app.ParseCommandLine(argc, argv)) {
                NVR_LOG_ERROR("Command line parsing failed");
                exitCode = 1;
            } else {
                logger.ReleaseConsoleOutput();
                NVR_LOG_INFO("Command line parsed successfully, starting application");
                exitCode = app.Run();
            }
        }
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
