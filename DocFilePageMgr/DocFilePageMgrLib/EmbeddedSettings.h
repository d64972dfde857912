#pragma once

#include <cstdint>
#include <string>

namespace docmgr {

// What the search for embedded job settings found: the JSON text, or the number of the
// trace event that tells where the chain from the first page broke (0 when it held).
struct EmbeddedSettingsResult {
    std::string json;
    uint16_t failureEvent = 0;
};

// Follows the carrier of a PDF's job settings: first page, key /Norvan holding an indirect
// reference to a dictionary, whose key /NvrPrintJobSettings holds a direct literal string.
EmbeddedSettingsResult ReadEmbeddedSettings(const std::string& utf8Path);

// The same, reporting a broken chain as a numbered trace event; empty when there is none.
std::string ExtractEmbeddedSettings(const std::string& utf8Path);

}  // namespace docmgr
