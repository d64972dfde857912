#pragma once

#include <cstdint>
#include <string>

namespace docmgr {

// What the search for embedded job settings found: the JSON text, or where the chain from the
// first page broke (empty when it held).
struct EmbeddedSettingsResult {
    std::string json;
    std::string failure;
};

// Follows the carrier of a PDF's job settings: first page, key /Norvan holding an indirect
// reference to a dictionary, whose key /NvrPrintJobSettings holds a direct literal string.
EmbeddedSettingsResult ReadEmbeddedSettings(const std::string& utf8Path);

// The same, a broken chain told in the log at debug level; empty when there is none.
std::string ExtractEmbeddedSettings(const std::string& utf8Path);

}  // namespace docmgr
