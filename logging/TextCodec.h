#pragma once

#include <string>
#include <string_view>

namespace nvrprint::text {

// Decodes UTF-8 into code points. Malformed sequences become U+FFFD, never dropped.
std::u32string Utf8ToUtf32(std::string_view utf8);
std::string Utf32ToUtf8(std::u32string_view text);

// UTF-16 code units, as DEVMODE text fields and Print Tickets carry them.
std::u16string Utf8ToUtf16(std::string_view utf8);
std::string Utf16ToUtf8(std::u16string_view utf16);

// Appends the UTF-8 form of one code point.
void AppendUtf8(std::string& out, char32_t codePoint);

// What follows the last "\\" or "/" of a path, or the whole path when it has neither.
std::string_view LastPathComponent(std::string_view path);

}  // namespace nvrprint::text
