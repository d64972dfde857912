#include "NvrPrintUtils/DevMode.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "logging/TextCodec.h"

namespace nvrprint {

DevModePtr AllocateDevMode(uint16_t driverExtraBytes) {
    size_t total = sizeof(DEVMODEW) + driverExtraBytes;
    DevModePtr block(static_cast<DEVMODEW*>(std::calloc(1, total)));
    if (block) {
        block->dmSpecVersion = DM_SPECVERSION;
        block->dmSize = sizeof(DEVMODEW);
        block->dmDriverExtra = driverExtraBytes;
    }
    return block;
}

DevModePtr CopyDevMode(const DEVMODEW* devMode) {
    if (devMode == nullptr) {
        return {};
    }
    size_t total = static_cast<size_t>(devMode->dmSize) + devMode->dmDriverExtra;
    DevModePtr copy(static_cast<DEVMODEW*>(std::malloc(std::max(total, sizeof(DEVMODEW)))));
    if (copy) {
        std::memset(static_cast<void*>(copy.get()), 0, sizeof(DEVMODEW));
        std::memcpy(static_cast<void*>(copy.get()), devMode, total);
    }
    return copy;
}

std::string GetDevModeText(const char16_t (&field)[32]) {
    size_t length = 0;
    while (length < 32 && field[length] != 0) {
        ++length;
    }
    return text::Utf16ToUtf8(std::u16string_view(field, length));
}

void SetDevModeText(char16_t (&field)[32], const std::string& utf8) {
    std::u16string units = text::Utf8ToUtf16(utf8);
    size_t length = std::min<size_t>(units.size(), 31);
    std::memset(field, 0, sizeof field);
    std::memcpy(field, units.data(), length * sizeof(char16_t));
}

std::map<std::string, std::string> ReadDriverOptions(const DEVMODEW* devMode) {
    std::map<std::string, std::string> options;
    if (devMode == nullptr || devMode->dmDriverExtra == 0) {
        return options;
    }
    const char* tail = reinterpret_cast<const char*>(devMode) + devMode->dmSize;
    std::string_view rest(tail, devMode->dmDriverExtra);
    while (!rest.empty()) {
        size_t end = rest.find('\0');
        std::string_view pair = rest.substr(0, end);
        if (pair.empty()) {
            break;
        }
        size_t equals = pair.find('=');
        if (equals != std::string_view::npos && equals > 0) {
            options[std::string(pair.substr(0, equals))] = std::string(pair.substr(equals + 1));
        }
        if (end == std::string_view::npos) {
            break;
        }
        rest.remove_prefix(end + 1);
    }
    return options;
}

DevModePtr WithDriverOptions(const DEVMODEW* devMode,
                             const std::map<std::string, std::string>& options) {
    std::string tail;
    for (const auto& [name, value] : options) {
        tail += name;
        tail += '=';
        tail += value;
        tail += '\0';
    }
    tail += '\0';
    if (tail.size() > 0xFFFF) {
        return {};
    }
    DevModePtr block = AllocateDevMode(static_cast<uint16_t>(tail.size()));
    if (!block) {
        return {};
    }
    if (devMode != nullptr) {
        std::memcpy(static_cast<void*>(block.get()), devMode,
                    std::min<size_t>(devMode->dmSize, sizeof(DEVMODEW)));
        block->dmSize = sizeof(DEVMODEW);
        block->dmDriverExtra = static_cast<uint16_t>(tail.size());
    }
    std::memcpy(reinterpret_cast<char*>(block.get()) + sizeof(DEVMODEW), tail.data(), tail.size());
    return block;
}

}  // namespace nvrprint
