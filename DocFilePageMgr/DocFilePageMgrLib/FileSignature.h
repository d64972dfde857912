#pragma once

#include <cstddef>
#include <string>

namespace docmgr {

// Reads up to maxBytes from the start of a file. False when the file cannot be opened.
bool ReadFileHead(const std::string& path, size_t maxBytes, std::string* head);

}  // namespace docmgr
