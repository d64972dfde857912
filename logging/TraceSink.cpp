#include "logging/TraceSink.h"

#include <atomic>

namespace nvrprint::trace {
namespace {
TraceControlBlock s_controlBlock;
std::atomic<int> s_registered{0};
}  // namespace

TraceControlBlock* g_traceControl = nullptr;

void RegisterProvider() {
    int expected = 0;
    if (s_registered.compare_exchange_strong(expected, 1)) {
        g_traceControl = &s_controlBlock;
        // No trace facility exists here: nobody will ever call ControlCallback with an
        // enable request, so the block keeps its zero handle.
    }
}

uint32_t ControlCallback(uint32_t requestCode, uint64_t sessionHandle, uint32_t flags,
                         uint8_t level) {
    constexpr uint32_t kEnableEvents = 4;
    constexpr uint32_t kDisableEvents = 5;
    constexpr uint32_t kInvalidParameter = 87;
    if (requestCode == kEnableEvents) {
        s_controlBlock = {sessionHandle, flags, level};
        return 0;
    }
    if (requestCode == kDisableEvents) {
        s_controlBlock = {};
        return 0;
    }
    return kInvalidParameter;
}

bool IsEnabled(uint32_t classFlag, uint8_t minimumLevel) {
    const TraceControlBlock* block = g_traceControl;
    return block != nullptr && block->sessionHandle != 0 && (block->enableFlags & classFlag) != 0 &&
           block->enableLevel >= minimumLevel;
}

uint32_t WriteEvent(MessageSet, uint16_t, uint32_t classFlag, uint8_t minimumLevel,
                    std::initializer_list<TraceField> fields) {
    if (!IsEnabled(classFlag, minimumLevel)) {
        return kStatusSuccess;
    }
    size_t bytes = sizeof(uint16_t);
    for (const TraceField& field : fields) {
        if (const auto* text = std::get_if<std::u32string_view>(&field)) {
            bytes += (text->size() + 1) * sizeof(char16_t);
        } else {
            bytes += sizeof(uint32_t);
        }
    }
    if (bytes > kMaxEventBytes) {
        return kStatusUnsuccessful;
    }
    // A session is enabled but this platform has no transport for the event.
    return kStatusSuccess;
}

}  // namespace nvrprint::trace
