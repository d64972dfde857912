#include "IppDevMode.h"

#include <algorithm>
#include <cstring>

#include "PrintJobSettingsHelper.h"

namespace nvrprint {
namespace {

bool Contains(const std::vector<std::string>& list, const std::string& value) {
    return std::find(list.begin(), list.end(), value) != list.end();
}

// IPP media-source keywords of the standard bins.
const std::vector<std::pair<int16_t, std::string>> kSourceKeywords = {
    {DMBIN_AUTO, "auto"},
    {DMBIN_MANUAL, "manual"},
    {DMBIN_UPPER, "top"},
    {DMBIN_LOWER, "bottom"},
    {DMBIN_MIDDLE, "middle"},
    {DMBIN_ENVELOPE, "envelope"},
    {DMBIN_LARGECAPACITY, "large-capacity"},
};

// IPP media-type keywords of the standard media types.
const std::vector<std::pair<uint32_t, std::string>> kTypeKeywords = {
    {DMMEDIA_STANDARD, "stationery"},
    {DMMEDIA_TRANSPARENCY, "transparency"},
    {DMMEDIA_GLOSSY, "photographic-glossy"},
};

// The standard number of an IPP keyword; a keyword without one gets the custom number and
// travels in the driver-private options under the option's name.
template <typename Number>
Number StandardNumberOrCustom(const std::vector<std::pair<Number, std::string>>& standard,
                              const std::string& keyword, Number custom, const char* option,
                              std::map<std::string, std::string>& driverOptions) {
    for (const auto& [number, name] : standard) {
        if (name == keyword) {
            return number;
        }
    }
    driverOptions[option] = keyword;
    return custom;
}

}  // namespace

int16_t PaperSizeForMedia(const std::string& pwgName) {
    int32_t best = -1;
    for (const auto& [number, name] : PrintJobSettingsHelper::kPaperSizeMediaNames) {
        if (name == pwgName && (best < 0 || number < best)) {
            best = number;
        }
    }
    return static_cast<int16_t>(best);
}

std::string FormNameForMedia(const std::string& pwgName) {
    static const std::map<std::string, std::string> kNames = {
        {"na_letter_8.5x11in", "Letter"},    {"na_legal_8.5x14in", "Legal"},
        {"na_ledger_11x17in", "Tabloid"},    {"na_executive_7.25x10.5in", "Executive"},
        {"iso_a3_297x420mm", "A3"},          {"iso_a4_210x297mm", "A4"},
        {"iso_a5_148x210mm", "A5"},          {"iso_a6_105x148mm", "A6"},
        {"jis_b5_182x257mm", "B5 (JIS)"},    {"na_number-10_4.125x9.5in", "Envelope #10"},
        {"iso_dl_110x220mm", "Envelope DL"}, {"iso_c5_162x229mm", "Envelope C5"},
    };
    auto found = kNames.find(pwgName);
    return found != kNames.end() ? found->second : pwgName;
}

std::string MediaForDevMode(const DEVMODEW& devMode) {
    if (devMode.dmFields & DM_PAPERSIZE) {
        auto name = PrintJobSettingsHelper::kPaperSizeMediaNames.find(devMode.dmPaperSize);
        if (name != PrintJobSettingsHelper::kPaperSizeMediaNames.end()) {
            return name->second;
        }
    }
    if (devMode.dmFields & DM_FORMNAME) {
        std::string form = GetDevModeText(devMode.dmFormName);
        for (const auto& [number, name] : PrintJobSettingsHelper::kPaperSizeMediaNames) {
            if (FormNameForMedia(name) == form || name == form) {
                return name;
            }
        }
        return form;
    }
    return {};
}

DevModePtr DevModeFromCapabilities(const PrinterCapabilities& caps,
                                   const std::string& printerName) {
    DevModePtr dm = AllocateDevMode(kDriverExtraBytes);
    if (!dm) {
        return dm;
    }
    SetDevModeText(dm->dmDeviceName, printerName);
    std::map<std::string, std::string> driverOptions;

    if (!caps.mediaDefault.empty()) {
        int16_t paper = PaperSizeForMedia(caps.mediaDefault);
        if (paper > 0) {
            dm->dmPaperSize = paper;
            dm->dmFields |= DM_PAPERSIZE;
        }
        SetDevModeText(dm->dmFormName, FormNameForMedia(caps.mediaDefault));
        dm->dmFields |= DM_FORMNAME;
    }
    dm->dmDuplex = caps.sidesDefault == "two-sided-long-edge"    ? DMDUP_VERTICAL
                   : caps.sidesDefault == "two-sided-short-edge" ? DMDUP_HORIZONTAL
                                                                 : DMDUP_SIMPLEX;
    dm->dmColor = caps.colorModeDefault.find("monochrome") != std::string::npos ? DMCOLOR_MONOCHROME
                                                                                : DMCOLOR_COLOR;
    dm->dmCopies = static_cast<int16_t>(std::clamp(caps.copiesDefault, 1, 9999));
    dm->dmCollate = DMCOLLATE_TRUE;
    dm->dmOrientation =
        caps.orientationDefault == "landscape" ? DMORIENT_LANDSCAPE : DMORIENT_PORTRAIT;
    dm->dmPrintQuality = static_cast<int16_t>(caps.resolutionDefault.first);
    dm->dmYResolution = static_cast<int16_t>(caps.resolutionDefault.second);
    dm->dmFields |= DM_DUPLEX | DM_COLOR | DM_COPIES | DM_COLLATE | DM_ORIENTATION |
                    DM_PRINTQUALITY | DM_YRESOLUTION;

    if (!caps.mediaSourceDefault.empty()) {
        dm->dmDefaultSource = StandardNumberOrCustom(kSourceKeywords, caps.mediaSourceDefault,
                                                     DMBIN_USER, "media-source", driverOptions);
        dm->dmFields |= DM_DEFAULTSOURCE;
    }
    if (!caps.mediaTypeDefault.empty()) {
        dm->dmMediaType = StandardNumberOrCustom(kTypeKeywords, caps.mediaTypeDefault, DMMEDIA_USER,
                                                 "media-type", driverOptions);
        dm->dmFields |= DM_MEDIATYPE;
    }
    if (!driverOptions.empty()) {
        DevModePtr withOptions = WithDriverOptions(dm.get(), driverOptions);
        if (withOptions && withOptions->dmDriverExtra < kDriverExtraBytes) {
            DevModePtr sized = AllocateDevMode(kDriverExtraBytes);
            std::memcpy(static_cast<void*>(sized.get()), withOptions.get(),
                        sizeof(DEVMODEW) + withOptions->dmDriverExtra);
            sized->dmDriverExtra = kDriverExtraBytes;
            return sized;
        }
    }
    return dm;
}

void CorrectDevMode(DEVMODEW& dm, const PrinterCapabilities& caps) {
    if ((dm.dmFields & DM_DUPLEX) && dm.dmDuplex != DMDUP_SIMPLEX) {
        const char* wanted =
            dm.dmDuplex == DMDUP_HORIZONTAL ? "two-sided-short-edge" : "two-sided-long-edge";
        if (!Contains(caps.sidesSupported, wanted)) {
            dm.dmDuplex = DMDUP_SIMPLEX;
        }
    }
    if ((dm.dmFields & DM_COLOR) && dm.dmColor == DMCOLOR_COLOR &&
        !Contains(caps.colorModesSupported, "color")) {
        dm.dmColor = DMCOLOR_MONOCHROME;
    }
    std::string media = MediaForDevMode(dm);
    if (!media.empty() && !caps.mediaSupported.empty() && !Contains(caps.mediaSupported, media) &&
        !caps.mediaDefault.empty()) {
        int16_t paper = PaperSizeForMedia(caps.mediaDefault);
        if (paper > 0) {
            dm.dmPaperSize = paper;
            dm.dmFields |= DM_PAPERSIZE;
        } else {
            dm.dmFields &= ~DM_PAPERSIZE;
        }
        SetDevModeText(dm.dmFormName, FormNameForMedia(caps.mediaDefault));
        dm.dmFields |= DM_FORMNAME;
    }
    if ((dm.dmFields & DM_PRINTQUALITY) && dm.dmPrintQuality > 0 &&
        !caps.resolutionsSupported.empty()) {
        int y = (dm.dmFields & DM_YRESOLUTION) && dm.dmYResolution > 0 ? dm.dmYResolution
                                                                       : dm.dmPrintQuality;
        Resolution wanted{dm.dmPrintQuality, y};
        if (std::find(caps.resolutionsSupported.begin(), caps.resolutionsSupported.end(), wanted) ==
            caps.resolutionsSupported.end()) {
            dm.dmPrintQuality = static_cast<int16_t>(caps.resolutionDefault.first);
            dm.dmYResolution = static_cast<int16_t>(caps.resolutionDefault.second);
            dm.dmFields |= DM_YRESOLUTION;
        }
    }
    if ((dm.dmFields & DM_COPIES) && dm.dmCopies > caps.copiesMax) {
        dm.dmCopies = static_cast<int16_t>(caps.copiesMax);
    }
}

std::vector<std::pair<std::string, std::string>> JobOptionsFromAttributes(
    const nlohmann::json& attributes, const std::map<std::string, std::string>& driverOptions) {
    static const std::map<std::string, std::string> kQuality = {
        {"draft", "3"}, {"normal", "4"}, {"high", "5"}};
    static const std::map<std::string, std::string> kSources = {
        {"upper", "top"},
        {"lower", "bottom"},
        {"middle", "middle"},
        {"manual", "manual"},
        {"envelope", "envelope"},
        {"envmanual", "envelope"},
        {"largecapacity", "large-capacity"}};
    static const std::map<std::string, std::string> kTypes = {{"plain", "stationery"},
                                                              {"transparency", "transparency"},
                                                              {"glossy", "photographic-glossy"}};
    // Done by the program, or carried by the sheets themselves.
    static const std::vector<std::string> kLeftOut = {"copies",
                                                      "collate",
                                                      "number-up",
                                                      "page-delivery",
                                                      "orientation-requested",
                                                      "fit-to-pagescaling"};

    std::map<std::string, std::string> options;
    for (const auto& [name, value] : attributes.items()) {
        if (!value.is_string() || Contains(kLeftOut, name)) {
            continue;
        }
        const std::string text = value.get<std::string>();
        if (name == "quality") {
            if (auto q = kQuality.find(text); q != kQuality.end()) {
                options["print-quality"] = q->second;
            }
        } else if (name == "resolution") {
            options["printer-resolution"] =
                text.find('x') == std::string::npos && text.ends_with("dpi")
                    ? text.substr(0, text.size() - 3) + "x" + text
                    : text;
        } else if (name == "media-source") {
            if (text != "auto") {
                auto s = kSources.find(text);
                options["media-source"] = s != kSources.end() ? s->second : text;
            }
        } else if (name == "media-type") {
            if (text != "auto") {
                auto t = kTypes.find(text);
                options["media-type"] = t != kTypes.end() ? t->second : text;
            }
        } else if (name == "finishings") {
            if (text != "none") {
                options["finishings"] = text;
            }
        } else {
            options[name] = text;
        }
    }
    for (const auto& [name, value] : driverOptions) {
        options[name] = value;
    }
    return {options.begin(), options.end()};
}

}  // namespace nvrprint
