// Matching the system's values against the option and choice names of a printer's PPD.
#include <algorithm>
#include <cctype>

#include "NvrPrintUtils/PrintJobSettingsHelper.h"
#include "logging/LogMacros.h"

namespace nvrprint::PrintJobSettingsHelper {
namespace {

// The text of a choice: the string itself, or the JSON text of anything else.
std::string ChoiceText(const Json& element) {
    return element.is_string() ? element.get<std::string>() : element.dump();
}

bool IsAnyAlias(const std::string& text, const std::vector<std::string>& aliases) {
    const std::string lowered = ToLowerCopy(text);
    return std::any_of(aliases.begin(), aliases.end(),
                       [&](const std::string& alias) { return ToLowerCopy(alias) == lowered; });
}

bool HasOption(const Json& deviceCapabilities, const std::string& name) {
    return deviceCapabilities.is_object() && deviceCapabilities.contains(name);
}

}  // namespace

std::string ToLowerCopy(const std::string& text) {
    std::string lowered = text;
    for (char& c : lowered) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return lowered;
}

std::string NormalizeChoice(const std::string& text) {
    std::string normalized;
    for (char c : ToLowerCopy(text)) {
        if (c != ' ' && c != '-' && c != '_') {
            normalized += c;
        }
    }
    return normalized;
}

bool HasCustomDeviceName(const Json& settings, const std::string& key, int64_t value,
                         int64_t threshold) {
    if (value < threshold || !settings.is_object()) {
        return false;
    }
    auto found = settings.find(key);
    return found != settings.end() && found->is_string() && !found->get<std::string>().empty();
}

bool ContainsAnyAlias(const std::string& text, const std::vector<std::string>& aliases) {
    const std::string lowered = ToLowerCopy(text);
    for (const std::string& alias : aliases) {
        if (lowered.find(ToLowerCopy(alias)) != std::string::npos) {
            return true;
        }
    }
    return false;
}

bool FindPPDOptionValue(const Json& deviceCapabilities, const std::vector<std::string>& optionNames,
                        const AliasTable& aliases, int32_t key, std::string* optionName,
                        std::string* choice) {
    if (deviceCapabilities.empty()) {
        return false;
    }
    auto entry = aliases.find(key);
    if (entry == aliases.end()) {
        return false;
    }
    for (const std::string& name : optionNames) {
        if (!HasOption(deviceCapabilities, name)) {
            continue;
        }
        const Json& value = deviceCapabilities.at(name);
        std::vector<std::string> candidates;
        if (value.is_string()) {
            candidates.push_back(value.get<std::string>());
        } else if (value.is_array()) {
            for (const Json& element : value) {
                candidates.push_back(ChoiceText(element));
            }
        }
        // A choice named exactly as an alias wins over one that only contains an alias:
        // "Gray" is Gray, even where "FastGray" comes first.
        auto found = std::find_if(candidates.begin(), candidates.end(), [&](const std::string& c) {
            return IsAnyAlias(c, entry->second);
        });
        if (found == candidates.end()) {
            found = std::find_if(candidates.begin(), candidates.end(), [&](const std::string& c) {
                return ContainsAnyAlias(c, entry->second);
            });
        }
        if (found != candidates.end()) {
            if (optionName != nullptr)
                *optionName = name;
            if (choice != nullptr)
                *choice = *found;
            return true;
        }
    }
    return false;
}

bool ApplyPPDOption(const Json& deviceCapabilities, Json& attributes,
                    const std::vector<std::string>& optionNames, const AliasTable& aliases,
                    int32_t key) {
    if (deviceCapabilities.empty()) {
        return false;
    }
    std::string option;
    std::string choice;
    if (FindPPDOptionValue(deviceCapabilities, optionNames, aliases, key, &option, &choice)) {
        attributes[option] = choice;
        return true;
    }
    // No alias matched: the option's first real choice, whatever it means.
    for (const std::string& name : optionNames) {
        if (!HasOption(deviceCapabilities, name)) {
            continue;
        }
        const Json& value = deviceCapabilities.at(name);
        if (value.is_string()) {
            if (ToLowerCopy(value.get<std::string>()) != "none") {
                attributes[name] = value.get<std::string>();
                return true;
            }
        } else if (value.is_array()) {
            for (const Json& element : value) {
                std::string text = ChoiceText(element);
                if (ToLowerCopy(text) != "none") {
                    attributes[name] = text;
                    return true;
                }
            }
        }
    }
    return false;
}

namespace InternalHelpers {

bool FindBestPPDMatch(const std::string& searchText, const Json& choices, std::string* match) {
    if (!choices.is_array() || choices.empty()) {
        return false;
    }
    const std::string lowered = ToLowerCopy(searchText);
    const std::string normalized = NormalizeChoice(searchText);
    for (const Json& element : choices) {
        if (!element.is_string()) {
            continue;
        }
        const std::string choice = element.get<std::string>();
        if (ToLowerCopy(choice) == lowered || NormalizeChoice(choice) == normalized) {
            *match = choice;
            return true;
        }
    }
    return false;
}

bool ProcessCustomDeviceCapability(const std::string& customName, Json& attributes,
                                   const Json& deviceCapabilities,
                                   const std::vector<std::string>& optionNames,
                                   const std::string& fieldName, int64_t value) {
    if (customName.empty() || deviceCapabilities.empty()) {
        return false;
    }
    for (const std::string& name : optionNames) {
        std::string match;
        if (HasOption(deviceCapabilities, name) &&
            FindBestPPDMatch(customName, deviceCapabilities.at(name), &match)) {
            attributes[name] = match;
            return true;
        }
    }
    NVR_LOG_VERBOSE("No printer option matches {} {} ({})", fieldName, value, customName);
    return false;
}

}  // namespace InternalHelpers
}  // namespace nvrprint::PrintJobSettingsHelper
