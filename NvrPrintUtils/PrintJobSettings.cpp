#include "NvrPrintUtils/PrintJobSettings.h"

#include <cmath>
#include <fstream>
#include <stdexcept>
#include <vector>

#include "NvrPrintUtils/DevModeFields.h"
#include "logging/LogMacros.h"

namespace nvrprint {
namespace {

using Json = nlohmann::json;

enum class KeyKind { Text, Flag, Number, PageCount };

// One key of the settings document, with the member it fills.
struct SettingKey {
    const char* name;
    KeyKind kind;
    std::string PrintJobSettings::*text = nullptr;
    bool PrintJobSettings::*flag = nullptr;
    int16_t PrintJobSettings::*number = nullptr;
};

// The job's own keys, then the DEVMODE fields: the order of reading and of merging.
const std::vector<SettingKey>& Keys() {
    static const std::vector<SettingKey> keys = [] {
        std::vector<SettingKey> all = {
            {"PrintJobTitle", KeyKind::Text, &PrintJobSettings::PrintJobTitle},
            {"bShowPreview", KeyKind::Flag, nullptr, &PrintJobSettings::bShowPreview},
            {"PagesPerSheet", KeyKind::PageCount},
            {"bReversePages", KeyKind::Flag, nullptr, &PrintJobSettings::bReversePages},
            {"bStapled", KeyKind::Flag, nullptr, &PrintJobSettings::bStapled},
        };
        for (const DevModeField& field : DevModeFields()) {
            if (field.kind == DevModeField::Kind::FormName) {
                all.push_back({field.key, KeyKind::Text, &PrintJobSettings::dmFormName});
            } else {
                all.push_back({field.key, KeyKind::Number, nullptr, nullptr, field.setting});
            }
        }
        return all;
    }();
    return keys;
}

// A JSON number of any kind, floating values cut towards zero, narrowed like a C cast.
int64_t ToInteger(const Json& value) {
    if (value.is_number_float()) {
        double d = std::trunc(value.get<double>());
        if (!(d > -9.2e18 && d < 9.2e18)) {
            return 0;
        }
        return static_cast<int64_t>(d);
    }
    if (value.is_number_unsigned()) {
        return static_cast<int64_t>(value.get<uint64_t>());
    }
    return value.get<int64_t>();
}

// Settings are flat; anything nested deeper than this is refused while it is read, before a
// deeply recursive copy or comparison of the document can exhaust the stack.
constexpr size_t kMaxJsonDepth = 64;

// Builds the document as the library's own reader does, counting open objects and arrays.
class DepthLimitedReader {
public:
    explicit DepthLimitedReader(Json& result) : m_dom(result) {}

    bool null() { return m_dom.null(); }
    bool boolean(bool value) { return m_dom.boolean(value); }
    bool number_integer(Json::number_integer_t value) { return m_dom.number_integer(value); }
    bool number_unsigned(Json::number_unsigned_t value) { return m_dom.number_unsigned(value); }
    bool number_float(Json::number_float_t value, const Json::string_t& text) {
        return m_dom.number_float(value, text);
    }
    bool string(Json::string_t& value) { return m_dom.string(value); }
    bool binary(Json::binary_t& value) { return m_dom.binary(value); }
    bool start_object(size_t count) { return Enter() && m_dom.start_object(count); }
    bool key(Json::string_t& value) { return m_dom.key(value); }
    bool end_object() { return Leave() && m_dom.end_object(); }
    bool start_array(size_t count) { return Enter() && m_dom.start_array(count); }
    bool end_array() { return Leave() && m_dom.end_array(); }
    bool parse_error(size_t position, const std::string& token,
                     const nlohmann::detail::exception& e) {
        return m_dom.parse_error(position, token, e);
    }

private:
    bool Enter() {
        if (++m_depth > kMaxJsonDepth) {
            throw std::runtime_error(fmt::format("nesting deeper than {} levels", kMaxJsonDepth));
        }
        return true;
    }
    bool Leave() {
        --m_depth;
        return true;
    }

    nlohmann::detail::json_sax_dom_parser<Json> m_dom;
    size_t m_depth = 0;
};

// strict: the whole input must be one value; otherwise reading stops after the first value,
// as stream extraction does.
template <typename Input>
Json ParseLimited(Input&& input, bool strict) {
    Json result;
    DepthLimitedReader reader(result);
    Json::sax_parse(std::forward<Input>(input), &reader, Json::input_format_t::json, strict);
    return result;
}

}  // namespace

bool IsValidPagesPerSheet(int32_t pagesPerSheet) {
    uint32_t n = static_cast<uint32_t>(pagesPerSheet);
    return n <= 16 && ((0x10256u >> n) & 1u) != 0;
}

bool PrintJobSettings::LoadFromFile(const std::string& path) {
    NVR_LOG_INFO("Loading settings from: {}", path);
    std::ifstream file(path, std::ios::binary);
    if (!file.is_open()) {
        NVR_LOG_ERROR("Failed to open file: {}", path);
        return false;
    }
    try {
        LoadFromJson(ParseLimited(file, false));
        NVR_LOG_INFO("Successfully loaded settings from: {}", path);
        return true;
    } catch (const std::exception& e) {
        std::string reason = std::string("Failed to parse print settings JSON: ") + e.what();
        NVR_LOG_ERROR("{} - File: {}", reason, path);
        return false;
    }
}

bool PrintJobSettings::LoadFromString(const std::string& jsonUtf8) {
    NVR_LOG_DEBUG("Parsing JSON string (length: {})", jsonUtf8.size());
    NVR_LOG_VERBOSE("json contents =\"{}\"", jsonUtf8);
    try {
        LoadFromJson(ParseLimited(jsonUtf8, true));
        NVR_LOG_DEBUG("Successfully parsed JSON string");
        return true;
    } catch (const std::exception& e) {
        NVR_LOG_ERROR("Failed to parse print settings JSON string: {}", e.what());
        return false;
    }
}

void PrintJobSettings::LoadFromJson(const Json& document) {
    NVR_LOG_DEBUG("Loading settings from JSON object");
    JsonDocument = document;
    int count = 0;
    if (document.is_object()) {
        for (const SettingKey& key : Keys()) {
            auto found = document.find(key.name);
            if (found == document.end()) {
                continue;
            }
            const Json& value = *found;
            switch (key.kind) {
                case KeyKind::Text:
                    if (!value.is_string()) {
                        continue;
                    }
                    this->*key.text = value.get<std::string>();
                    NVR_LOG_VERBOSE("{} = '{}'", key.name, this->*key.text);
                    break;
                case KeyKind::Flag:
                    if (!value.is_boolean()) {
                        continue;
                    }
                    this->*key.flag = value.get<bool>();
                    NVR_LOG_VERBOSE("{} = {}", key.name, this->*key.flag);
                    break;
                case KeyKind::Number:
                    if (!value.is_number()) {
                        continue;
                    }
                    this->*key.number = static_cast<int16_t>(ToInteger(value));
                    NVR_LOG_VERBOSE("{} = {}", key.name, this->*key.number);
                    break;
                case KeyKind::PageCount: {
                    if (!value.is_number()) {
                        continue;
                    }
                    int32_t requested = static_cast<int32_t>(ToInteger(value));
                    if (IsValidPagesPerSheet(requested)) {
                        PagesPerSheet = requested;
                        NVR_LOG_VERBOSE("PagesPerSheet = {}", PagesPerSheet);
                    } else {
                        NVR_LOG_WARNING("Invalid PagesPerSheet={} in JSON, using default 1",
                                        requested);
                        PagesPerSheet = 1;
                    }
                    break;
                }
            }
            ++count;
        }
    }
    NVR_LOG_INFO("Loaded {} setting(s) from JSON", count);
}

void PrintJobSettings::MergeWith(const PrintJobSettings& other) {
    NVR_LOG_ENTRY("Entered");
    NVR_LOG_DEBUG("Merging settings");
    int count = 0;
    if (other.JsonDocument.is_object()) {
        for (const SettingKey& key : Keys()) {
            if (!other.JsonDocument.contains(key.name)) {
                continue;
            }
            switch (key.kind) {
                case KeyKind::Text:
                    this->*key.text = other.*key.text;
                    break;
                case KeyKind::Flag:
                    this->*key.flag = other.*key.flag;
                    break;
                case KeyKind::Number:
                    this->*key.number = other.*key.number;
                    break;
                case KeyKind::PageCount:
                    PagesPerSheet = other.PagesPerSheet;
                    break;
            }
            ++count;
        }
    }
    NVR_LOG_DEBUG("Merged {} setting(s)", count);
    NVR_LOG_ENTRY("Exiting");
}

void PrintJobSettings::ExtractFromDevMode(const DEVMODEW* devMode) {
    NVR_LOG_ENTRY("Entered");
    if (devMode == nullptr) {
        NVR_LOG_ERROR("NULL DEVMODE pointer");
        NVR_LOG_ENTRY("Exiting early");
        return;
    }
    NVR_LOG_DEBUG("Extracting settings from DEVMODE");
    JsonDocument = nullptr;
    int count = 0;
    for (const DevModeField& field : DevModeFields()) {
        if (field.ReadFrom(devMode, this)) {
            ++count;
        }
    }
    NVR_LOG_INFO("Extracted {} setting(s) from DEVMODE", count);
    NVR_LOG_ENTRY("Exiting");
}

PrintJobSettings LayerSettings(const DEVMODEW* printerDefaults,
                               const PrintJobSettings* documentSettings,
                               const PrintJobSettings& overrideSettings) {
    PrintJobSettings settings;
    if (printerDefaults != nullptr) {
        settings.ExtractFromDevMode(printerDefaults);
        NVR_LOG_DEBUG("Layer 0: Extracted printer defaults (PagesPerSheet={})",
                      settings.PagesPerSheet);
    }
    if (documentSettings != nullptr) {
        settings.MergeWith(*documentSettings);
        NVR_LOG_DEBUG("Layer 1: Merged document settings (PagesPerSheet={})",
                      settings.PagesPerSheet);
    }
    settings.MergeWith(overrideSettings);
    return settings;
}

}  // namespace nvrprint
