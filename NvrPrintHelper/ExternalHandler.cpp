// Handing the document to another application: one named on the command line, or the one
// the desktop has registered for the file's type.
#include "NvrPrintHelper/NvrPrintHelper.h"
#include "logging/LogMacros.h"

namespace nvrprint {
namespace {

// How long a piped capture stays after the application was started: it does not tell when
// it has read the file, which goes with this process.
constexpr std::chrono::milliseconds kExternalAppReadTime{30000};

}  // namespace

bool NvrPrintHelper::ExecuteFtaMode() {
    NVR_LOG_ENTRY("Entered");
    const std::string file = ActualInputFile();
    bool launched;
    if (!m_previewApp.empty()) {
        NVR_LOG_INFO("Launching file with explicit preview app: {}", m_previewApp);
        launched = LaunchWithExplicitApp(m_previewApp, file);
    } else {
        NVR_LOG_INFO("Launching file with system handler");
        launched = LaunchWithSystemHandler(file);
    }
    if (!launched) {
        NVR_LOG_ERROR("Failed to launch file with system handler");
        ShowError("Failed to open file with system's registered application: " + file, false);
        return false;
    }
    NVR_LOG_INFO("Successfully launched external application");
    if (m_inputFromPipe && !m_keepTempFiles && !file.empty()) {
        NVR_LOG_INFO("Waiting 30 seconds to allow external app to read temp file");
        m_os.clock->Sleep(kExternalAppReadTime);
        NVR_LOG_INFO("Wait complete, exiting");
    }
    NVR_LOG_ENTRY("Returning true");
    return true;
}

bool NvrPrintHelper::LaunchWithExplicitApp(const std::string& appPath,
                                           const std::string& filePath) {
    NVR_LOG_ENTRY("Entered");
    NVR_LOG_DEBUG("Launching {} with {}", filePath, appPath);
    if (const Status found = m_os.files->CheckExists(filePath); !found) {
        NVR_LOG_ERROR("File not found (Error: {}): {}", found.error().code, filePath);
        return false;
    }
    NVR_LOG_DEBUG("Command line: \"{}\" \"{}\"", appPath, filePath);
    if (const Status started = m_os.launcher->StartProgram(appPath, filePath); !started) {
        NVR_LOG_ERROR("CreateProcess failed (Error: {}): {}", started.error().code, appPath);
        return false;
    }
    NVR_LOG_INFO("Successfully launched application");
    NVR_LOG_ENTRY("Returning true");
    return true;
}

bool NvrPrintHelper::LaunchWithSystemHandler(const std::string& filePath) {
    NVR_LOG_ENTRY("Entered");
    NVR_LOG_DEBUG("Launching file: {}", filePath);
    if (const Status found = m_os.files->CheckExists(filePath); !found) {
        NVR_LOG_ERROR("File not found (Error: {}): {}", found.error().code, filePath);
        return false;
    }
    if (const Status opened = m_os.launcher->OpenWithDefaultApplication(filePath); !opened) {
        if (opened.error().code == platform::kNoAssociation) {
            NVR_LOG_ERROR("Shell operation failed with code: {}", opened.error().code);
        } else {
            NVR_LOG_ERROR("ShellExecuteEx failed (Error: {}): {}", opened.error().code, filePath);
        }
        NVR_LOG_DEBUG("{}", opened.error().text);
        return false;
    }
    NVR_LOG_INFO("Successfully launched file: {}", filePath);
    NVR_LOG_ENTRY("Returning true");
    return true;
}

}  // namespace nvrprint
