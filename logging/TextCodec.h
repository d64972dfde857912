#pragma once

#include <string>
#include <string_view>

namespace nvrprint::text {

// UTF-16 code units, as DEVMODE text fields carry them. Malformed UTF-8
// becomes U+FFFD, never dropped.
std::u16string Utf8ToUtf16(std::string_view utf8);
std::string Utf16ToUtf8(std::u16string_view utf16);

// What follows the last "\\" or "/" of a path, or the whole path when it has neither.
std::string_view LastPathComponent(std::string_view path);

}  // namespace nvrprint::text
