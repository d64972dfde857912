#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <variant>

namespace nvrprint::trace {

// State written by the trace facility's enable callback and read by every tracer. On this
// platform no facility calls back, so the block exists and stays disabled.
struct TraceControlBlock {
    uint64_t sessionHandle = 0;
    uint32_t enableFlags = 0;
    uint8_t enableLevel = 0;
};

// Null until RegisterProvider has run.
extern TraceControlBlock* g_traceControl;

inline constexpr const char* kProviderModuleName = "ZelClient_Ui_PdfPrintHelper";
inline constexpr const char* kProviderClassNames =
    " QTF_ERROR QTF_INFO QTF_PRIVATE QTF_ENTRYEXIT QTF_PROFILE QTF_UNITTEST QTF_WARNING "
    "QTF_FAILURE QTF_STARTEND QTF_LOADUNLOAD QTF_NOISE QTF_METRICS";

// Message sets: text lines of the logger, and the numbered events of other components.
enum class MessageSet : uint8_t { LogText, EmbeddedSettings, SettingsMapping };

using TraceField = std::variant<std::u32string_view, uint32_t>;

// Status values of the event writer.
inline constexpr uint32_t kStatusSuccess = 0;
inline constexpr uint32_t kStatusUnsuccessful = 0xC0000001;
inline constexpr uint32_t kStatusNoMemory = 0xC0000017;
inline constexpr size_t kMaxEventBytes = 65536;

// Registers with the facility once per process.
void RegisterProvider();

// The enable callback; codes 4 (enable) and 5 (disable), anything else answers 87.
uint32_t ControlCallback(uint32_t requestCode, uint64_t sessionHandle, uint32_t flags,
                         uint8_t level);

// True when an event of this class flag and level would reach an enabled session.
bool IsEnabled(uint32_t classFlag, uint8_t minimumLevel);

// Writes one numbered event behind the control block test. Returns the writer's status;
// callers ignore it, as they do on every platform.
uint32_t WriteEvent(MessageSet set, uint16_t messageNumber, uint32_t classFlag,
                    uint8_t minimumLevel, std::initializer_list<TraceField> fields);

}  // namespace nvrprint::trace
