// The silent-or-interactive decision: taken at parse time when forced, else from the load
// events, and awaited by DetermineOperationMode.
#include <chrono>
#include <optional>
#include <string>
#include <type_traits>
#include <variant>
#include <vector>

#include "NvrPrintHelper/NvrPrintHelper.h"
#include "NvrPrintHelper/OperationMode.h"
#include "logging/LogMacros.h"

namespace nvrprint {
namespace {

using namespace docmgr;

constexpr auto kModeTimeout = std::chrono::seconds(30);

const char* ModeWord(bool interactive) {
    return interactive ? "Interactive" : "Silent";
}

using Lines = std::vector<std::string>;

// The payload's field lines, one overload per record.
Lines FieldLines(const std::monostate&) {
    return {};
}
Lines FieldLines(const InputCaptureStartData& r) {
    return {fmt::format("  Source pipe: {}", r.sourcePipe)};
}
Lines FieldLines(const InputCaptureCompleteData& r) {
    return {fmt::format("  Temp file: {}", r.tempFile),
            fmt::format("  File size: {} bytes", r.fileSize)};
}
Lines FieldLines(const LoadDocumentStartData& r) {
    return {fmt::format("  File path: {}", r.filePath),
            fmt::format("  Document type: {}", r.documentType)};
}
Lines FieldLines(const DocumentSettingsAvailableData& r) {
    return {fmt::format("  Settings (UTF-8): {} bytes", r.settingsUtf8.size())};
}
Lines FieldLines(const DocumentLoadErrorData& r) {
    return {fmt::format("  Error message: {}", r.errorMessage),
            fmt::format("  Error code: {}", r.errorCode)};
}
Lines FieldLines(const NewPageAvailableData& r) {
    return {fmt::format("  Page number: {}", r.pageNumber),
            fmt::format("  Size: {} x {} pts", r.widthPoints, r.heightPoints)};
}
Lines FieldLines(const PageImageAvailableData& r) {
    return {fmt::format("  Page number: {}", r.pageNumber)};
}
Lines FieldLines(const LoadDocumentCompleteData& r) {
    return {fmt::format("  Total pages: {}", r.totalPages)};
}
Lines FieldLines(const PrintJobStartingData& r) {
    return {fmt::format("  Printer: {}", r.printerName), fmt::format("  Job title: {}", r.jobTitle),
            fmt::format("  Job ID: {}", r.jobId)};
}
Lines FieldLines(const PrintJobPageSentData& r) {
    return {fmt::format("  Job ID: {}", r.jobId), fmt::format("  Page: {}", r.pageNumber)};
}
Lines FieldLines(const PrintJobAllPagesSentData& r) {
    return {fmt::format("  Job ID: {}", r.jobId), fmt::format("  Total pages: {}", r.totalPages)};
}
Lines FieldLines(const PrintJobErrorData& r) {
    return {fmt::format("  Job ID: {}", r.jobId), fmt::format("  Error: {}", r.errorMessage),
            fmt::format("  Code: {}", r.errorCode)};
}
template <typename JobRecord>
requires std::is_same_v<JobRecord, PrintJobPausedData> ||
    std::is_same_v<JobRecord, PrintJobResumedData> ||
    std::is_same_v<JobRecord, PrintJobFinishedData>
        Lines FieldLines(const JobRecord& r) {
    return {fmt::format("  Job ID: {}", r.jobId)};
}

}  // namespace

bool IsForcedMode(const ModeInputs& in) {
    return in.forceSilent || in.forceInteractive || in.overridePreview;
}

std::optional<bool> DecideOperationMode(const ModeInputs& in) {
    if (in.forceSilent) {
        return false;
    }
    if (in.forceInteractive || in.overridePreview) {
        return true;
    }
    if (in.documentPreview) {
        return *in.documentPreview;
    }
    if (!in.loadComplete) {
        return std::nullopt;
    }
    // No word from the document: a piped document for no printer in particular goes to the
    // preview, as does a named file without a printer.
    if (!in.settingsAnnounced && !in.printerNamed && in.inputFromPipe) {
        return true;
    }
    return !in.printerNamed && !in.inputFromPipe;
}

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
    const int32_t level = (kind == DocumentLoadError || kind == PrintJobError) ? Error : Info;
    for (const std::string& line : std::visit([](const auto& r) { return FieldLines(r); }, data)) {
        NVR_LOG_AT(level, "{}", line);
    }
    std::visit([this](const auto& record) { OnDocumentEvent(record); }, data);
}

void NvrPrintHelper::OnDocumentEvent(const InputCaptureCompleteData& record) {
    std::lock_guard lock(m_modeMutex);
    m_actualInputFile = record.tempFile;
    NVR_LOG_DEBUG("  Updated m_actualInputFile to temp file path");
}

void NvrPrintHelper::OnDocumentEvent(const DocumentSettingsAvailableData& record) {
    std::lock_guard lock(m_modeMutex);
    m_settingsReceived = true;
    if (record.settingsUtf8.empty()) {
        return;
    }
    m_documentSettings.LoadFromString(record.settingsUtf8);
    NVR_LOG_DEBUG("Stored document settings (PagesPerSheet={}, Reverse={})",
                  m_documentSettings.PagesPerSheet, m_documentSettings.bReversePages);
    if (!m_modeForced && !m_modeDetermined) {
        ModeInputs in = CurrentModeInputs();
        in.documentPreview = m_documentSettings.bShowPreview;
        m_interactiveMode = DecideOperationMode(in).value_or(false);
        m_modeDetermined = true;
        NVR_LOG_INFO("Operation mode determined (override={}, document={}): {}",
                     m_overrideSettings.bShowPreview, m_documentSettings.bShowPreview,
                     ModeWord(m_interactiveMode));
        m_modeCondition.notify_one();
    }
}

void NvrPrintHelper::OnDocumentEvent(const DocumentLoadErrorData&) {
    std::lock_guard lock(m_modeMutex);
    m_loadError = true;
    m_modeCondition.notify_one();
}

void NvrPrintHelper::OnDocumentEvent(const LoadDocumentCompleteData&) {
    std::lock_guard lock(m_modeMutex);
    if (!m_settingsReceived) {
        NVR_LOG_INFO("Load complete but no document settings received (older HSA)");
    }
    if (m_modeForced || m_modeDetermined) {
        return;
    }
    ModeInputs in = CurrentModeInputs();
    in.loadComplete = true;
    m_interactiveMode = DecideOperationMode(in).value_or(false);
    m_modeDetermined = true;
    if (!m_settingsReceived && m_printerName.empty() && m_inputFromPipe) {
        NVR_LOG_INFO(
            "No explicit settings from HSA, piped input, and no printer specified "
            "--> Generic printer. Defaulting to interactive mode");
    } else {
        NVR_LOG_INFO("Defaulting to {} mode (override={}, pipe={})",
                     m_interactiveMode ? "interactive" : "silent", m_overrideSettings.bShowPreview,
                     m_inputFromPipe);
    }
    m_modeCondition.notify_one();
}

ModeInputs NvrPrintHelper::CurrentModeInputs() const {
    ModeInputs in;
    in.forceSilent = m_forceSilent;
    in.forceInteractive = m_forceInteractive;
    in.overridePreview = m_overrideSettings.bShowPreview;
    in.settingsAnnounced = m_settingsReceived;
    in.printerNamed = !m_printerName.empty();
    in.inputFromPipe = m_inputFromPipe;
    return in;
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
