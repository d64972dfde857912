#include "NvrPrintHelper/NvrPrintHelper.h"

#include <filesystem>
#include <new>
#include <system_error>

#include "logging/LogMacros.h"

namespace nvrprint {

NvrPrintHelper* NvrPrintHelper::s_instance = nullptr;

namespace {

// The kept capture's new name: same directory and stem, extension "tmp".
std::filesystem::path ObfuscatedCaptureName(const std::filesystem::path& capture) {
    return capture.parent_path() / (capture.stem().string() + ".tmp");
}

}  // namespace

NvrPrintHelper::NvrPrintHelper(platform::Platform& os, docmgr::FormatRegistry formats)
    : m_os(os), m_formats(std::move(formats)) {
    NVR_LOG_ENTRY("Entered");
    if (!m_tempFileManager.EnsureTempDirectoryExists()) {
        NVR_LOG_ERROR("Failed to initialize temporary directory");
    }
    m_uniqueBaseName = m_tempFileManager.GenerateUniqueTimestampedBase();
    NVR_LOG_DEBUG("Unique timestamped base name: {}", m_uniqueBaseName);
    NVR_LOG_ENTRY("Exiting");
}

NvrPrintHelper::~NvrPrintHelper() {
    NVR_LOG_ENTRY("Entered");
    // The manager's load thread reports to this object until the manager has joined it.
    if (m_docMgr) {
        NVR_LOG_DEBUG("Releasing document manager");
        m_docMgr.reset();
    }
    if (s_instance == this) {
        s_instance = nullptr;
    }
    if (m_keepTempFiles && m_inputFromPipe && !m_actualInputFile.empty()) {
        try {
            std::filesystem::path from(m_actualInputFile);
            std::filesystem::path to = ObfuscatedCaptureName(from);
            std::error_code ec;
            std::filesystem::rename(from, to, ec);
            if (!ec) {
                m_actualInputFile = to.string();
                NVR_LOG_INFO("Renamed temp file for obfuscation: {}", m_actualInputFile);
            } else {
                NVR_LOG_WARNING("Failed to rename temp file (Error: {}), keeping original name",
                                ec.value());
            }
        } catch (const std::bad_alloc&) {
            NVR_LOG_ERROR("Memory allocation failed during temp file rename, skipping obfuscation");
        } catch (const std::exception& e) {
            NVR_LOG_ERROR("Exception during temp file rename: {}", e.what());
        }
    }
    if (m_deleteInputFile && !m_actualInputFile.empty()) {
        std::error_code ec;
        if (std::filesystem::remove(m_actualInputFile, ec)) {
            NVR_LOG_INFO("Deleted temporary input file: {}", m_actualInputFile);
        } else {
            NVR_LOG_ERROR("Failed to delete temporary file (Error: {}): {}", ec.value(),
                          m_actualInputFile);
        }
    }
    NVR_LOG_ENTRY("Exiting");
}

int32_t NvrPrintHelper::Run() {
    NVR_LOG_ENTRY("Application starting");
    NVR_LOG_DEBUG("Input file: {}", m_inputFile);
    if (!m_printerName.empty()) {
        NVR_LOG_DEBUG("Printer name: {}", m_printerName);
    }

    if (!ProcessInputFile()) {
        NVR_LOG_ERROR("Failed to process input file");
        ShowError("Failed to process input file: " + m_inputFile, false);
        NVR_LOG_ENTRY("Exiting with code 1");
        return 1;
    }

    if (m_usePreviewApp == UsePreviewAppMode::Always) {
        NVR_LOG_INFO("Using FTA mode (Always)");
        NVR_LOG_INFO("Executing FTA mode");
        m_ftaModeUsed = true;
        return ExecuteFtaMode() ? 0 : 1;
    }

    if (!LoadDocument()) {
        NVR_LOG_ERROR("Failed to load document");
        ShowError("Failed to load document: " + ActualInputFile(), false);
        NVR_LOG_ENTRY("Exiting with code 1");
        return 1;
    }

    if (!DetermineOperationMode()) {
        NVR_LOG_ERROR("Failed to determine operation mode");
        NVR_LOG_ENTRY("Exiting with code 1");
        return 1;
    }

    bool interactive = IsInteractive();
    if (m_usePreviewApp == UsePreviewAppMode::Interactive && interactive) {
        NVR_LOG_INFO("Using FTA mode (Interactive)");
        NVR_LOG_INFO("Executing FTA mode");
        m_ftaModeUsed = true;
        return ExecuteFtaMode() ? 0 : 1;
    }

    bool success;
    if (interactive) {
        NVR_LOG_INFO("Executing interactive mode");
        success = ExecuteInteractiveMode();
    } else {
        NVR_LOG_INFO("Executing silent mode");
        success = ExecuteSilentMode();
    }

    if (success && m_keepImages && !m_imagePath.empty()) {
        NVR_LOG_INFO("Starting TIFF export");
        if (!ExportToTiff()) {
            NVR_LOG_ERROR("TIFF export failed");
        }
    }

    if (success) {
        NVR_LOG_INFO("Application completed successfully");
    } else {
        NVR_LOG_ERROR("Application failed");
    }
    NVR_LOG_ENTRY("Exiting with code {}", success ? 0 : 1);
    return success ? 0 : 1;
}

void NvrPrintHelper::ShowHelp() {
    NVR_LOG_ENTRY("Entered");
    NVR_LOG_INFO("Displaying help message");
    m_os.notices->Show("NvrPrintHelper Help", UsageText(m_formats),
                       platform::NoticeKind::Information);
    NVR_LOG_ENTRY("Exiting");
}

void NvrPrintHelper::ShowError(const std::string& message, bool showUsage) {
    NVR_LOG_ENTRY("Entered");
    std::string text = message;
    if (showUsage) {
        const std::string usage = UsageText(m_formats);
        NVR_LOG_ERROR("{}", usage);
        text += "\n\n" + usage;
    }
    m_os.notices->Show("NvrPrintHelper Error", text, platform::NoticeKind::Error);
    NVR_LOG_ENTRY("Exiting");
}

bool NvrPrintHelper::IsInteractive() {
    std::lock_guard lock(m_modeMutex);
    return m_interactiveMode;
}

bool NvrPrintHelper::IsModeDetermined() {
    std::lock_guard lock(m_modeMutex);
    return m_modeDetermined;
}

std::string NvrPrintHelper::ActualInputFile() {
    std::lock_guard lock(m_modeMutex);
    return m_actualInputFile;
}

}  // namespace nvrprint
