#pragma once

#include <cstdint>
#include <string>
#include <vector>

// Paper bins, media types and colour modes, one table each: the DEVMODE's number, the word
// of the job's attribute document, the IPP keyword the printer understands, and the names
// PPDs give the choice. Every translation between them reads these tables.
namespace nvrprint {

struct DeviceChoice {
    int32_t number;          // dmDefaultSource, dmMediaType or dmColor
    std::string word;        // in the attribute document; empty: none of its own
    std::string ippKeyword;  // media-source, media-type or print-color-mode; empty: none
    std::vector<std::string> ppdAliases;  // empty: matched by no PPD choice
};

// The standard bins. An IPP keyword that two bins share names the first of them.
const std::vector<DeviceChoice>& PaperBins();
// The standard media types.
const std::vector<DeviceChoice>& MediaTypes();
// Monochrome, then colour.
const std::vector<DeviceChoice>& ColorModes();

// The row of this number, word or IPP keyword; null when there is none.
const DeviceChoice* ChoiceByNumber(const std::vector<DeviceChoice>& table, int64_t number);
const DeviceChoice* ChoiceByWord(const std::vector<DeviceChoice>& table, const std::string& word);
const DeviceChoice* ChoiceByIppKeyword(const std::vector<DeviceChoice>& table,
                                       const std::string& keyword);

}  // namespace nvrprint
