#pragma once

#include <fmt/format.h>

#include <string_view>

#include "logging/Logger.h"

namespace nvrprint::logdetail {

// Turns a compiler signature ("bool nvrprint::Foo::Bar(int) const") into the qualified
// function name ("nvrprint::Foo::Bar") that log lines carry.
constexpr std::string_view QualifiedName(std::string_view signature) {
    // The parameter list starts at the first '(' that is not part of "(anonymous namespace)"
    // or "{anonymous}".
    size_t open = std::string_view::npos;
    int angle = 0;
    for (size_t i = 0; i < signature.size(); ++i) {
        char c = signature[i];
        if (c == '<') {
            ++angle;
        } else if (c == '>') {
            --angle;
        } else if (c == '(' && angle == 0) {
            if (signature.substr(i).starts_with("(anonymous namespace)")) {
                i += 20;
                continue;
            }
            open = i;
            break;
        }
    }
    std::string_view head = signature.substr(0, open);
    angle = 0;
    size_t start = 0;
    for (size_t i = head.size(); i > 0; --i) {
        char c = head[i - 1];
        if (c == '>') {
            ++angle;
        } else if (c == '<') {
            --angle;
        } else if (c == ' ' && angle == 0) {
            start = i;
            break;
        }
    }
    return head.substr(start);
}

template <typename... Args>
void Write(int32_t level, const char* signature, const char* file, int line,
           fmt::format_string<Args...> format, Args&&... args) {
    Logger& logger = Logger::Instance();
    if (logger.GetLogLevel() < level) {
        return;
    }
    std::string function(QualifiedName(signature));
    logger.Log(level, fmt::format(format, std::forward<Args>(args)...), function.c_str(), file,
               line);
}

}  // namespace nvrprint::logdetail

#define NVR_LOG_AT(level, ...) \
    ::nvrprint::logdetail::Write(level, __PRETTY_FUNCTION__, __FILE__, __LINE__, __VA_ARGS__)
#define NVR_LOG_CRITICAL(...) NVR_LOG_AT(::nvrprint::Critical, __VA_ARGS__)
#define NVR_LOG_ERROR(...) NVR_LOG_AT(::nvrprint::Error, __VA_ARGS__)
#define NVR_LOG_WARNING(...) NVR_LOG_AT(::nvrprint::Warning, __VA_ARGS__)
#define NVR_LOG_INFO(...) NVR_LOG_AT(::nvrprint::Info, __VA_ARGS__)
#define NVR_LOG_DEBUG(...) NVR_LOG_AT(::nvrprint::Debug, __VA_ARGS__)
#define NVR_LOG_ENTRY(...) NVR_LOG_AT(::nvrprint::EntryExit, __VA_ARGS__)
#define NVR_LOG_VERBOSE(...) NVR_LOG_AT(::nvrprint::Verbose, __VA_ARGS__)
