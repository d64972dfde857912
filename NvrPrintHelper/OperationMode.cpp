// The silent-or-interactive decision: taken at parse time when forced, else from the load
// events, and awaited by DetermineOperationMode.
#include <chrono>

#include "NvrPrintHelper/NvrPrintHelper.h"
#include "logging/LogMacros.h"

namespace nvrprint {
namespace {

using namespace docmgr;

constexpr auto kModeTimeout = std::chrono::seconds(30);

const char* ModeWord(bool interactive) {
    return interactive ? "Interactive" : "Silent";
}

}  // namespace

void DocumentEventThunk(DocMgrEventType kind, const DocMgrEventData& data) {
    if (NvrPrintHelper::s_instance != nullptr) {
        NvrPrintHelper::s_instance->OnDocumentEvent(kind, data);
    }
}

void NvrPrintHelper::OnDocumentEvent(DocMgrEventType kind, const DocMgrEventData& data) {
    NVR_LOG_INFO("Event received: {}", DocMgrEventTypeName(kind));
    if (kind < 0 || kind >= kDocMgrEventTypeCount) {
        return;
    }
    if (data.index() != static_cast<size_t>(kind) + 1) {
        return;
    }
    // The payload's field lines, at the level the kind calls for.
    const int32_t level = (kind == DocumentLoadError || kind == PrintJobError) ? Error : Info;
#define line(...) NVR_LOG_AT(level, __VA_ARGS__)
    std::visit(
        [&](const auto& record) {
            using Record = std::decay_t<decltype(record)>;
            if constexpr (std::is_same_v<Record, InputCaptureStartData>) {
                line("  Source pipe: {}", record.sourcePipe);
            } else if constexpr (std::is_same_v<Record, InputCaptureCompleteData>) {
                line("  Temp file: {}", record.tempFile);
                line("  File size: {} bytes", record.fileSize);
            } else if constexpr (std::is_same_v<Record, LoadDocumentStartData>) {
                line("  File path: {}", record.filePath);
                line("  Document type: {}", record.documentType);
            } else if constexpr (std::is_same_v<Record, DocumentSettingsAvailableData>) {
                line("  Settings (UTF-8): {} bytes", record.settingsUtf8.size());
            } else if constexpr (std::is_same_v<Record, DocumentLoadErrorData>) {
                line("  Error message: {}", record.errorMessage);
                line("  Error code: {}", record.errorCode);
            } else if constexpr (std::is_same_v<Record, NewPageAvailableData>) {
                line("  Page number: {}", record.pageNumber);
                line("  Size: {} x {} pts", record.widthPoints, record.heightPoints);
            } else if constexpr (std::is_same_v<Record, PageImageAvailableData>) {
                line("  Page number: {}", record.pageNumber);
            } else if constexpr (std::is_same_v<Record, LoadDocumentCompleteData>) {
                line("  Total pages: {}", record.totalPages);
            } else if constexpr (std::is_same_v<Record, PrintJobStartingData>) {
                line("  Printer: {}", record.printerName);
                line("  Job title: {}", record.jobTitle);
                line("  Job ID: {}", record.jobId);
            } else if constexpr (std::is_same_v<Record, PrintJobPageSentData>) {
                line("  Job ID: {}", record.jobId);
                line("  Page: {}", record.pageNumber);
            } else if constexpr (std::is_same_v<Record, PrintJobAllPagesSentData>) {
                line("  Job ID: {}", record.jobId);
                line("  Total pages: {}", record.totalPages);
            } else if constexpr (std::is_same_v<Record, PrintJobErrorData>) {
                line("  Job ID: {}", record.jobId);
                line("  Error: {}", record.errorMessage);
                line("  Code: {}", record.errorCode);
            } else if constexpr (std::is_same_v<Record, PrintJobPausedData> ||
                                 std::is_same_v<Record, PrintJobResumedData> ||
                                 std::is_same_v<Record, PrintJobFinishedData>) {
                line("  Job ID: {}", record.jobId);
            }
        },
        data);
#undef line

    switch (kind) {
        case InputCaptureComplete: {
            std::lock_guard lock(m_modeMutex);
            m_actualInputFile = std::get<InputCaptureCompleteData>(data).tempFile;
            NVR_LOG_DEBUG("  Updated m_actualInputFile to temp file path");
            break;
        }
        case DocumentSettingsAvailable: {
            std::lock_guard lock(m_modeMutex);
            m_settingsReceived = true;
            const std::string& json = std::get<DocumentSettingsAvailableData>(data).settingsUtf8;
            if (json.empty()) {
                break;
            }
            m_documentSettings.LoadFromString(json);
            NVR_LOG_DEBUG("Stored document settings (PagesPerSheet={}, Reverse={})",
                          m_documentSettings.PagesPerSheet, m_documentSettings.bReversePages);
            if (!m_modeForced && !m_modeDetermined) {
                m_interactiveMode =
                    m_overrideSettings.bShowPreview || m_documentSettings.bShowPreview;
                m_modeDetermined = true;
                NVR_LOG_INFO("Operation mode determined (override={}, document={}): {}",
                             m_overrideSettings.bShowPreview, m_documentSettings.bShowPreview,
                             ModeWord(m_interactiveMode));
                m_modeCondition.notify_one();
            }
            break;
        }
        case DocumentLoadError: {
            std::lock_guard lock(m_modeMutex);
            m_loadError = true;
            m_modeCondition.notify_one();
            break;
        }
        case LoadDocumentComplete: {
            std::lock_guard lock(m_modeMutex);
            if (!m_settingsReceived) {
                NVR_LOG_INFO("Load complete but no document settings received (older HSA)");
                if (m_modeForced) {
                    break;
                }
                if (!m_modeDetermined && m_printerName.empty() && m_inputFromPipe) {
                    NVR_LOG_INFO(
                        "No explicit settings from HSA, piped input, and no printer specified "
                        "--> Generic printer. Defaulting to interactive mode");
                    m_interactiveMode = true;
                    m_modeDetermined = true;
                    m_modeCondition.notify_one();
                }
            }
            if (!m_modeForced && !m_modeDetermined) {
                m_interactiveMode =
                    m_overrideSettings.bShowPreview || (m_printerName.empty() && !m_inputFromPipe);
                m_modeDetermined = true;
                NVR_LOG_INFO("Defaulting to {} mode (override={}, pipe={})",
                             m_interactiveMode ? "interactive" : "silent",
                             m_overrideSettings.bShowPreview, m_inputFromPipe);
                m_modeCondition.notify_one();
            }
            break;
        }
        default:
            break;
    }
}

bool NvrPrintHelper::DetermineOperationMode() {
    NVR_LOG_DEBUG("Determining operation mode");
    std::unique_lock lock(m_modeMutex);
    if (m_modeDetermined || m_modeForced) {
        NVR_LOG_DEBUG("Operation mode already determined");
        return true;
    }
    NVR_LOG_INFO("Mode not forced, waiting for document settings or load completion");
    const auto deadline = std::chrono::steady_clock::now() + kModeTimeout;
    bool settled = m_modeCondition.wait_until(lock, deadline,
                                              [this] { return m_modeDetermined || m_loadError; });
    bool loadError = m_loadError;
    bool interactive = m_interactiveMode;
    lock.unlock();
    if (!settled) {
        NVR_LOG_ERROR("Timeout waiting for operation mode determination");
        return false;
    }
    if (loadError) {
        NVR_LOG_ERROR("Load error occurred");
        return false;
    }
    NVR_LOG_INFO("Operation mode determined: {}", ModeWord(interactive));
    return true;
}

}  // namespace nvrprint
