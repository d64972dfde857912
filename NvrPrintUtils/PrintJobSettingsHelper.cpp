#include "NvrPrintUtils/PrintJobSettingsHelper.h"

#include <fmt/format.h>

#include <map>
#include <optional>

#include "NvrPrintUtils/DevModeFields.h"
#include "NvrPrintUtils/DeviceChoices.h"
#include "logging/TextCodec.h"

namespace nvrprint::PrintJobSettingsHelper {

const std::unordered_map<int32_t, std::string> kPaperSizeMediaNames = {
    {1, "na_letter_8.5x11in"},
    {3, "na_ledger_11x17in"},
    {5, "na_legal_8.5x14in"},
    {6, "na_invoice_5.5x8.5in"},
    {7, "na_executive_7.25x10.5in"},
    {8, "iso_a3_297x420mm"},
    {9, "iso_a4_210x297mm"},
    {11, "iso_a5_148x210mm"},
    {12, "jis_b4_257x364mm"},
    {13, "jis_b5_182x257mm"},
    {14, "na_foolscap_8.5x13in"},
    {15, "na_quarto_8.5x10.83in"},
    {16, "na_10x14_10x14in"},
    {17, "na_ledger_11x17in"},
    {19, "na_number-9_3.875x8.875in"},
    {20, "na_number-10_4.125x9.5in"},
    {21, "na_number-11_4.5x10.375in"},
    {22, "na_number-12_4.75x11in"},
    {23, "na_number-14_5x11.5in"},
    {27, "iso_dl_110x220mm"},
    {28, "iso_c5_162x229mm"},
    {29, "iso_c3_324x458mm"},
    {30, "iso_c4_229x324mm"},
    {31, "iso_c6_114x162mm"},
    {32, "iso_c6c5_114x229mm"},
    {33, "iso_b4_250x353mm"},
    {34, "iso_b5_176x250mm"},
    {35, "iso_b6_125x176mm"},
    {36, "om_italian_110x230mm"},
    {37, "na_monarch_3.875x7.5in"},
    {38, "na_personal_3.625x6.5in"},
    {39, "na_fanfold-us_11x14.875in"},
    {40, "na_fanfold-eur_8.5x12in"},
    {41, "na_foolscap_8.5x13in"},
    {42, "iso_b4_250x353mm"},
    {43, "jpn_hagaki_100x148mm"},
    {44, "na_9x11_9x11in"},
    {45, "na_10x11_10x11in"},
    {46, "na_11x15_11x15in"},
    {47, "om_invite_220x220mm"},
    {50, "na_letter-extra_9.5x12in"},
    {51, "na_legal-extra_9.5x15in"},
    {52, "na_arch-b_12x18in"},
    {53, "iso_a4-extra_235.5x322.3mm"},
    {57, "na_super-a_8.94x14in"},
    {58, "na_super-b_13x19in"},
    {59, "na_letter-plus_8.5x12.69in"},
    {60, "om_folio_210x330mm"},
    {63, "iso_a3-extra_322x445mm"},
    {64, "iso_a5-extra_174x235mm"},
    {65, "iso_b5-extra_201x276mm"},
    {66, "iso_a2_420x594mm"},
    {70, "iso_a6_105x148mm"},
    {71, "jpn_kaku2_240x332mm"},
    {73, "jpn_chou3_120x235mm"},
    {74, "jpn_chou4_90x205mm"},
    {82, "jpn_oufuku_148x200mm"},
    {88, "jis_b6_128x182mm"},
    {91, "jpn_you4_105x235mm"},
    {93, "prc_16k_146x215mm"},
    {94, "prc_32k_97x151mm"},
    {96, "prc_1_102x165mm"},
    {97, "prc_2_102x176mm"},
    {98, "prc_3_125x176mm"},
    {99, "prc_4_110x208mm"},
    {100, "prc_5_110x220mm"},
    {101, "prc_6_120x320mm"},
    {102, "prc_7_160x230mm"},
    {103, "prc_8_120x309mm"},
    {105, "prc_10_324x458mm"},
};

const std::vector<std::string> kColorOptionNames = {"SelectColor", "ColorModel", "CMAndResolution",
                                                    "HPColorOutput", "FFColorMode"};
const std::vector<std::string> kDuplexOptionNames = {"Duplex", "KMDuplex"};
const std::vector<std::string> kInputSlotOptionNames = {"InputSlot", "KMInputSlot"};
const std::vector<std::string> kMediaTypeOptionNames = {"MediaType", "FFMediaType", "BRMediaType"};
const std::vector<std::string> kQualityOptionNames = {
    "cupsPrintQuality", "HPPrintQuality", "HPOutputQuality", "PrintoutMode",
    "Quality",          "FFOutputMode",   "BRResolution"};
const std::vector<std::string> kStapleOptionNames = {
    "StapleSet",      "HPStaplerOptions", "cupsFinishingTemplate", "StapleOption", "Staple",
    "StapleLocation", "FFStaple"};

const AliasTable kDuplexValueAliases = {
    {1, {"None", "Single", "1Sided"}},
    {2, {"DuplexNoTumble", "Booklet", "2Sided", "double"}},
    {3, {"DuplexTumble", "Double", "2Sided", "double"}},
};
namespace {

// The PPD names of a table's choices, by number.
AliasTable AliasesOf(const std::vector<DeviceChoice>& table) {
    AliasTable aliases;
    for (const DeviceChoice& choice : table) {
        if (!choice.ppdAliases.empty()) {
            aliases[choice.number] = choice.ppdAliases;
        }
    }
    return aliases;
}

}  // namespace

const AliasTable kColorValueAliases = AliasesOf(ColorModes());
const AliasTable kInputSlotValueAliases = AliasesOf(PaperBins());
const AliasTable kMediaTypeValueAliases = AliasesOf(MediaTypes());
const AliasTable kQualityValueAliases = {
    {-1, {"Draft", "Fast", "300", "Speed", "HighSpeed", "PlainFast"}},
    {-3, {"Normal", "600", "Standard", "PlainNormal"}},
    {-4, {"High", "1200", "Best", "2400", "Quality2", "HighQuality"}},
};
const AliasTable kStapleValueAliases = {
    {0, {"None", "False"}},
};

namespace {

// The value of key when it is an integer, else the default; fn is always called once. The
// message documents the default and is not emitted.
template <typename Fn>
void GetIntOrDefault(const Json& settings, const char* key, const char* /*message*/,
                     int64_t fallback, Fn&& fn) {
    if (settings.is_object()) {
        auto found = settings.find(key);
        if (found != settings.end() && found->is_number_integer()) {
            fn(found->is_number_unsigned() ? static_cast<int64_t>(found->get<uint64_t>())
                                           : found->get<int64_t>());
            return;
        }
    }
    fn(fallback);
}

template <typename Fn>
void GetBoolOrDefault(const Json& settings, const char* key, const char* /*message*/, bool fallback,
                      Fn&& fn) {
    if (settings.is_object()) {
        auto found = settings.find(key);
        if (found != settings.end() && found->is_boolean()) {
            fn(found->get<bool>());
            return;
        }
    }
    fn(fallback);
}

// A number the settings hold under key, integer or floating; nothing otherwise.
std::optional<double> NumberOf(const Json& settings, const char* key) {
    if (!settings.is_object()) {
        return std::nullopt;
    }
    auto found = settings.find(key);
    if (found == settings.end() || !found->is_number()) {
        return std::nullopt;
    }
    return found->get<double>();
}

void WriteQuality(const Json& settings, Json& attributes, const Json& caps, int64_t v) {
    int32_t aliasKey = -4;
    if (v == -4) {
        attributes["quality"] = "high";
    } else if (v == -3 || v == -2) {
        attributes["quality"] = "normal";
        aliasKey = -3;
    } else if (v == -1) {
        attributes["quality"] = "draft";
        aliasKey = -1;
    } else if (v > 0) {
        bool squareResolution = true;
        if (std::optional<double> y = NumberOf(settings, "dmYResolution")) {
            int64_t yDpi = static_cast<int64_t>(*y);
            if (yDpi < 1) {
                attributes["quality"] = "high";
                squareResolution = false;
            } else {
                attributes["resolution"] = fmt::format("{}x{}dpi", v, yDpi);
                squareResolution = v == yDpi;
            }
        } else {
            attributes["resolution"] = fmt::format("{}x{}dpi", v, v);
        }
        if (squareResolution) {
            if (v == 150) {
                aliasKey = -1;
            } else if (v == 300 || v == 600) {
                aliasKey = -3;
            }
        }
    }
    ApplyPPDOption(caps, attributes, kQualityOptionNames, kQualityValueAliases, aliasKey);
}

void WriteMediaSource(const Json& settings, Json& attributes, const Json& caps, int64_t v) {
    const DeviceChoice* bin = ChoiceByNumber(PaperBins(), v);
    std::string word = "auto";
    if (bin != nullptr && !bin->word.empty()) {
        word = bin->word;
    } else if (HasCustomDeviceName(settings, "BinName", v, 256)) {
        std::string name = settings.at("BinName").get<std::string>();
        attributes["media-source"] = name;
        if (InternalHelpers::ProcessCustomDeviceCapability(
                name, attributes, caps, kInputSlotOptionNames, "dmDefaultSource", v)) {
            return;
        }
    }
    if (!attributes.contains("media-source")) {
        attributes["media-source"] = word;
    }
    if (v < 256) {
        ApplyPPDOption(caps, attributes, kInputSlotOptionNames, kInputSlotValueAliases,
                       static_cast<int32_t>(v));
    }
}

void WriteMediaType(const Json& settings, Json& attributes, const Json& caps, int64_t v) {
    int32_t aliasKey = 256;
    if (const DeviceChoice* type = ChoiceByNumber(MediaTypes(), v)) {
        attributes["media-type"] = type->word;
        aliasKey = static_cast<int32_t>(v);
    } else {
        bool matched = false;
        if (HasCustomDeviceName(settings, "MediaTypeName", v, 256)) {
            std::string name = settings.at("MediaTypeName").get<std::string>();
            attributes["media-type"] = name;
            matched = InternalHelpers::ProcessCustomDeviceCapability(
                name, attributes, caps, kMediaTypeOptionNames, "dmMediaType", v);
        }
        if (!matched) {
            attributes["media-type"] = "auto";
        } else {
            aliasKey = static_cast<int32_t>(v);
        }
    }
    if (v < 256) {
        ApplyPPDOption(caps, attributes, kMediaTypeOptionNames, kMediaTypeValueAliases, aliasKey);
    }
}

}  // namespace

Json SettingsFromDevMode(const DEVMODEW* devMode) {
    Json settings = Json::object();
    if (devMode == nullptr) {
        return settings;
    }
    for (const DevModeField& field : DevModeFields()) {
        if ((devMode->dmFields & field.bit) == 0) {
            continue;
        }
        switch (field.kind) {
            case DevModeField::Kind::Number: {
                int16_t value = devMode->*field.device;
                if (field.accepted(value)) {
                    settings[field.key] = value;
                } else if (field.fallback) {
                    settings[field.key] = *field.fallback;
                }
                break;
            }
            case DevModeField::Kind::FormName:
                settings[field.key] = GetDevModeText(devMode->dmFormName);
                break;
            case DevModeField::Kind::MediaType:
                settings[field.key] = devMode->dmMediaType != 0 ? devMode->dmMediaType : 256u;
                break;
        }
    }
    return settings;
}

const std::unordered_map<std::string, AttributeWriter> kSettingAttributeWriters = {
    {"dmColor",
     [](const Json& s, Json& a, const Json& caps) {
         GetIntOrDefault(s, "dmColor", "Setting dmColor to color.", 2, [&](int64_t v) {
             // Anything but monochrome prints in colour.
             const DeviceChoice* mode = ChoiceByNumber(ColorModes(), v);
             a["print-color-mode"] =
                 (mode != nullptr ? mode : ChoiceByNumber(ColorModes(), DMCOLOR_COLOR))->ippKeyword;
             ApplyPPDOption(caps, a, kColorOptionNames, kColorValueAliases,
                            static_cast<int32_t>(v));
         });
     }},
    {"dmDuplex",
     [](const Json& s, Json& a, const Json& caps) {
         GetIntOrDefault(s, "dmDuplex", "Setting dmDuplex to one-sided.", 1, [&](int64_t v) {
             a["sides"] = v == 2   ? "two-sided-long-edge"
                          : v == 3 ? "two-sided-short-edge"
                                   : "one-sided";
             ApplyPPDOption(caps, a, kDuplexOptionNames, kDuplexValueAliases,
                            static_cast<int32_t>(v));
         });
     }},
    {"dmPrintQuality",
     [](const Json& s, Json& a, const Json& caps) {
         GetIntOrDefault(s, "dmPrintQuality", "Setting dmPrintQuality to high.", -4,
                         [&](int64_t v) { WriteQuality(s, a, caps, v); });
     }},
    {"dmYResolution",
     [](const Json& s, Json& a, const Json&) {
         GetIntOrDefault(s, "dmYResolution", "", 0, [&](int64_t y) {
             std::optional<double> quality = NumberOf(s, "dmPrintQuality");
             if ((quality && *quality > 0) || y < 1) {
                 return;
             }
             a["resolution"] = fmt::format("{}dpi", y);
         });
     }},
    {"dmDefaultSource",
     [](const Json& s, Json& a, const Json& caps) {
         GetIntOrDefault(s, "dmDefaultSource", "Setting dmDefaultSource to auto.", 256,
                         [&](int64_t v) { WriteMediaSource(s, a, caps, v); });
     }},
    {"dmMediaType",
     [](const Json& s, Json& a, const Json& caps) {
         GetIntOrDefault(s, "dmMediaType", "Setting dmMediaType to auto.", 256,
                         [&](int64_t v) { WriteMediaType(s, a, caps, v); });
     }},
    {"bStapled",
     [](const Json& s, Json& a, const Json& caps) {
         GetBoolOrDefault(s, "bStapled", "Setting bStapled to none.", false, [&](bool on) {
             a["finishings"] = on ? "4" : "none";
             ApplyPPDOption(caps, a, kStapleOptionNames, kStapleValueAliases, on ? 1 : 0);
         });
     }},
};

namespace {

// The order in which the writers run. Orientation, scale, copies, collation, order and N-up
// have none: the job's sheets carry them.
const std::vector<std::string> kWriterOrder = {"dmColor",       "dmDuplex",        "dmPrintQuality",
                                               "dmYResolution", "dmDefaultSource", "dmMediaType",
                                               "bStapled"};

// The settings JSON of a DEVMODE, with BinName and MediaTypeName from its driver-private
// options.
Json SettingsOf(const DEVMODEW* devMode) {
    Json settings = SettingsFromDevMode(devMode);
    std::map<std::string, std::string> driverOptions = ReadDriverOptions(devMode);
    if (auto bin = driverOptions.find("media-source"); bin != driverOptions.end()) {
        settings["BinName"] = bin->second;
    }
    if (auto type = driverOptions.find("media-type"); type != driverOptions.end()) {
        settings["MediaTypeName"] = type->second;
    }
    return settings;
}

}  // namespace

Json BuildJobOptionAttributes(const DEVMODEW* devMode, const Json& deviceCapabilities) {
    const Json settings = SettingsOf(devMode);
    Json attributes = Json::object();
    for (const std::string& key : kWriterOrder) {
        kSettingAttributeWriters.at(key)(settings, attributes, deviceCapabilities);
    }
    return attributes;
}

}  // namespace nvrprint::PrintJobSettingsHelper
