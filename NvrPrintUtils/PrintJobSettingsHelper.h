#pragma once

#include <nlohmann/json.hpp>

#include <cstdint>
#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

#include "NvrPrintUtils/DevMode.h"

// The bridge between three vocabularies: the DEVMODE, the settings JSON and printer-neutral
// attributes named as in IPP, with the choices of a printer's PPD matched alongside.
namespace nvrprint::PrintJobSettingsHelper {

using Json = nlohmann::json;
// settings, attribute document, device capabilities (PPD options).
using AttributeWriter = std::function<void(const Json&, Json&, const Json&)>;
using AliasTable = std::unordered_map<int32_t, std::vector<std::string>>;

extern const std::unordered_map<int32_t, std::string> kPaperSizeMediaNames;
extern const std::unordered_map<std::string, AttributeWriter> kSettingAttributeWriters;

extern const std::vector<std::string> kColorOptionNames;
extern const std::vector<std::string> kDuplexOptionNames;
extern const std::vector<std::string> kInputSlotOptionNames;
extern const std::vector<std::string> kMediaTypeOptionNames;
extern const std::vector<std::string> kQualityOptionNames;
extern const std::vector<std::string> kStapleOptionNames;

extern const AliasTable kColorValueAliases;
extern const AliasTable kDuplexValueAliases;
extern const AliasTable kInputSlotValueAliases;
extern const AliasTable kMediaTypeValueAliases;
extern const AliasTable kQualityValueAliases;
extern const AliasTable kStapleValueAliases;

std::string ToLowerCopy(const std::string& text);
// Lower case without blanks, hyphens and underscores.
std::string NormalizeChoice(const std::string& text);
bool HasCustomDeviceName(const Json& settings, const std::string& key, int64_t value,
                         int64_t threshold);
bool ContainsAnyAlias(const std::string& text, const std::vector<std::string>& aliases);
bool FindPPDOptionValue(const Json& deviceCapabilities, const std::vector<std::string>& optionNames,
                        const AliasTable& aliases, int32_t key, std::string* optionName,
                        std::string* choice);
bool ApplyPPDOption(const Json& deviceCapabilities, Json& attributes,
                    const std::vector<std::string>& optionNames, const AliasTable& aliases,
                    int32_t key);

namespace InternalHelpers {
bool FindBestPPDMatch(const std::string& searchText, const Json& choices, std::string* match);
bool ProcessCustomDeviceCapability(const std::string& customName, Json& attributes,
                                   const Json& deviceCapabilities,
                                   const std::vector<std::string>& optionNames,
                                   const std::string& fieldName, int64_t value);
}  // namespace InternalHelpers

// The settings JSON a DEVMODE stands for: each field whose bit is set, a value the mapping
// does not accept replaced by the field's fallback or left out.
Json SettingsFromDevMode(const DEVMODEW* devMode);

// The attributes a print job sends as options for a DEVMODE (with BinName and MediaTypeName
// from the driver-private options media-source and media-type): no orientation, scale,
// copies, collation, order, N-up or medium, which the job's sheets carry.
Json BuildJobOptionAttributes(const DEVMODEW* devMode, const Json& deviceCapabilities);

}  // namespace nvrprint::PrintJobSettingsHelper
