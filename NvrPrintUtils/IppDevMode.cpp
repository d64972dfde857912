#include "NvrPrintUtils/IppDevMode.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "NvrPrintUtils/DeviceChoices.h"
#include "NvrPrintUtils/PrintJobSettingsHelper.h"

namespace nvrprint {
namespace {

bool Contains(const std::vector<std::string>& list, const std::string& value) {
    return std::find(list.begin(), list.end(), value) != list.end();
}

// The standard number of an IPP keyword; a keyword without one gets the custom number and
// travels in the driver-private options under the option's name.
template <typename Number>
Number StandardNumberOrCustom(const std::vector<DeviceChoice>& standard, const std::string& keyword,
                              Number custom, const char* option,
                              std::map<std::string, std::string>& driverOptions) {
    if (const DeviceChoice* choice = ChoiceByIppKeyword(standard, keyword)) {
        return static_cast<Number>(choice->number);
    }
    driverOptions[option] = keyword;
    return custom;
}

// The colour mode of an IPP keyword: monochrome in any of its kinds ("auto-monochrome",
// "process-monochrome"), else colour.
int16_t ColorForKeyword(const std::string& keyword) {
    for (const DeviceChoice& mode : ColorModes()) {
        if (keyword.find(mode.ippKeyword) != std::string::npos) {
            return static_cast<int16_t>(mode.number);
        }
    }
    return DMCOLOR_COLOR;
}

// The IPP keyword of a bin or media type word of the attribute document; a custom name
// stays as it is.
std::string IppKeywordOf(const std::vector<DeviceChoice>& table, const std::string& word) {
    const DeviceChoice* choice = ChoiceByWord(table, word);
    return choice != nullptr && !choice->ippKeyword.empty() ? choice->ippKeyword : word;
}

// Job options that keep the scheduler from repeating the program's own work.
const std::vector<std::pair<std::string, std::string>> kDoneByTheProgram = {
    {"copies", "1"},           {"number-up", "1"},        {"page-delivery", "same-order"},
    {"outputorder", "normal"}, {"print-scaling", "none"}, {"fit-to-page", "false"},
};

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

bool MediaDimensions(const std::string& pwgName, int* width, int* length) {
    const size_t sizeStart = pwgName.rfind('_');
    if (sizeStart == std::string::npos) {
        return false;
    }
    const std::string size = pwgName.substr(sizeStart + 1);
    double w = 0;
    double l = 0;
    char unit[3] = {};
    if (std::sscanf(size.c_str(), "%lfx%lf%2[a-z]", &w, &l, unit) != 3 || w <= 0 || l <= 0) {
        return false;
    }
    const double perUnit = std::strcmp(unit, "in") == 0   ? 2540.0
                           : std::strcmp(unit, "mm") == 0 ? 100.0
                                                          : 0.0;
    if (perUnit == 0.0) {
        return false;
    }
    *width = static_cast<int>(std::lround(w * perUnit));
    *length = static_cast<int>(std::lround(l * perUnit));
    return true;
}

std::string CustomMediaName(int widthTenthsMm, int lengthTenthsMm) {
    auto mm = [](int tenths) {
        return tenths % 10 == 0 ? std::to_string(tenths / 10)
                                : fmt::format("{}.{}", tenths / 10, tenths % 10);
    };
    const std::string size = mm(widthTenthsMm) + "x" + mm(lengthTenthsMm) + "mm";
    return "custom_" + size + "_" + size;
}

namespace {

bool HasCustomPaper(const DEVMODEW& dm) {
    return (dm.dmFields & DM_PAPERWIDTH) && (dm.dmFields & DM_PAPERLENGTH) && dm.dmPaperWidth > 0 &&
           dm.dmPaperLength > 0;
}

std::string MediaForPaperSize(const DEVMODEW& dm) {
    if (dm.dmFields & DM_PAPERSIZE) {
        auto name = PrintJobSettingsHelper::kPaperSizeMediaNames.find(dm.dmPaperSize);
        if (name != PrintJobSettingsHelper::kPaperSizeMediaNames.end()) {
            return name->second;
        }
    }
    return {};
}

std::string MediaForFormName(const DEVMODEW& dm) {
    if ((dm.dmFields & DM_FORMNAME) == 0) {
        return {};
    }
    std::string form = GetDevModeText(dm.dmFormName);
    for (const auto& [number, name] : PrintJobSettingsHelper::kPaperSizeMediaNames) {
        if (FormNameForMedia(name) == form || name == form) {
            return name;
        }
    }
    return form;
}

// Paper number and form name both name this medium; a custom size gives way to it.
void SetMedia(DEVMODEW& dm, const std::string& media) {
    const int16_t paper = PaperSizeForMedia(media);
    if (paper > 0) {
        dm.dmPaperSize = paper;
        dm.dmFields |= DM_PAPERSIZE;
    } else {
        dm.dmFields &= ~DM_PAPERSIZE;
    }
    SetDevModeText(dm.dmFormName, FormNameForMedia(media));
    dm.dmFields = (dm.dmFields | DM_FORMNAME) & ~(DM_PAPERWIDTH | DM_PAPERLENGTH);
}

bool FitsCustomRange(const PrinterCapabilities& caps, int width, int length) {
    return caps.customMaxWidth > 0 && width >= caps.customMinWidth &&
           width <= caps.customMaxWidth && length >= caps.customMinLength &&
           length <= caps.customMaxLength;
}

// The supported medium closest in size, by the larger of the two differences.
std::string NearestMedia(const PrinterCapabilities& caps, int width, int length) {
    std::string best;
    int bestDistance = 0;
    for (const std::string& media : caps.mediaSupported) {
        int w = 0;
        int l = 0;
        // custom_min_... and custom_max_... bound a range; they are no paper.
        if (media.starts_with("custom_") || !MediaDimensions(media, &w, &l)) {
            continue;
        }
        const int distance = std::max(std::abs(w - width), std::abs(l - length));
        if (best.empty() || distance < bestDistance) {
            best = media;
            bestDistance = distance;
        }
    }
    return best.empty() ? caps.mediaDefault : best;
}

void CorrectMedia(DEVMODEW& dm, const PrinterCapabilities& caps) {
    if (HasCustomPaper(dm)) {
        // Sizes in tenths of a millimetre, as the DEVMODE keeps them.
        const int width = dm.dmPaperWidth * 10;
        const int length = dm.dmPaperLength * 10;
        if (!FitsCustomRange(caps, width, length)) {
            const std::string nearest = NearestMedia(caps, width, length);
            if (!nearest.empty()) {
                SetMedia(dm, nearest);
            }
        }
        return;
    }
    const std::string byNumber = MediaForPaperSize(dm);
    const std::string byForm = MediaForFormName(dm);
    if (!byNumber.empty() && !byForm.empty() && byNumber != byForm) {
        // One of the two is the printer's default left standing; the other was asked for.
        const bool formAskedFor = byNumber == caps.mediaDefault && byForm != caps.mediaDefault;
        SetMedia(dm, formAskedFor ? byForm : byNumber);
    }
    const std::string media = MediaForDevMode(dm);
    if (!media.empty() && !caps.mediaSupported.empty() && !Contains(caps.mediaSupported, media) &&
        !caps.mediaDefault.empty()) {
        SetMedia(dm, caps.mediaDefault);
    }
}

}  // namespace

std::string MediaForDevMode(const DEVMODEW& devMode) {
    if (HasCustomPaper(devMode)) {
        return CustomMediaName(devMode.dmPaperWidth, devMode.dmPaperLength);
    }
    std::string media = MediaForPaperSize(devMode);
    return media.empty() ? MediaForFormName(devMode) : media;
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
    dm->dmColor = ColorForKeyword(caps.colorModeDefault);
    // A queue's copies-default is the scheduler's own default for the jobs it copies itself;
    // this program makes its copies, and a job starts from one, as a driver's default does.
    dm->dmCopies = 1;
    dm->dmCollate = DMCOLLATE_TRUE;
    dm->dmOrientation =
        caps.orientationDefault == "landscape" ? DMORIENT_LANDSCAPE : DMORIENT_PORTRAIT;
    dm->dmPrintQuality = static_cast<int16_t>(caps.resolutionDefault.first);
    dm->dmYResolution = static_cast<int16_t>(caps.resolutionDefault.second);
    dm->dmFields |= DM_DUPLEX | DM_COLOR | DM_COPIES | DM_COLLATE | DM_ORIENTATION |
                    DM_PRINTQUALITY | DM_YRESOLUTION;

    if (!caps.mediaSourceDefault.empty()) {
        dm->dmDefaultSource = StandardNumberOrCustom(PaperBins(), caps.mediaSourceDefault,
                                                     DMBIN_USER, "media-source", driverOptions);
        dm->dmFields |= DM_DEFAULTSOURCE;
    }
    if (!caps.mediaTypeDefault.empty()) {
        dm->dmMediaType = StandardNumberOrCustom(MediaTypes(), caps.mediaTypeDefault, DMMEDIA_USER,
                                                 "media-type", driverOptions);
        dm->dmFields |= DM_MEDIATYPE;
    }
    return driverOptions.empty() ? std::move(dm) : DevModeWithOptions(dm.get(), driverOptions);
}

DevModePtr DevModeWithOptions(const DEVMODEW* devMode,
                              const std::map<std::string, std::string>& options) {
    DevModePtr withOptions = WithDriverOptions(devMode, options);
    if (!withOptions || withOptions->dmDriverExtra >= kDriverExtraBytes) {
        return withOptions;
    }
    DevModePtr sized = AllocateDevMode(kDriverExtraBytes);
    if (sized) {
        std::memcpy(static_cast<void*>(sized.get()), withOptions.get(),
                    sizeof(DEVMODEW) + withOptions->dmDriverExtra);
        sized->dmDriverExtra = kDriverExtraBytes;
    }
    return sized;
}

StapleOption StapleOptionFor(const nlohmann::json& ppdOptions,
                             const std::string& finishingsStaple) {
    if (!finishingsStaple.empty()) {
        return {"finishings", finishingsStaple};
    }
    nlohmann::json chosen = nlohmann::json::object();
    if (PrintJobSettingsHelper::ApplyPPDOption(ppdOptions, chosen,
                                               PrintJobSettingsHelper::kStapleOptionNames,
                                               PrintJobSettingsHelper::kStapleValueAliases, 1)) {
        const auto only = chosen.begin();
        return {only.key(), only.value().get<std::string>()};
    }
    return {};
}

void CorrectDevMode(DEVMODEW& dm, const PrinterCapabilities& caps) {
    if ((dm.dmFields & DM_DUPLEX) && dm.dmDuplex != DMDUP_SIMPLEX) {
        const char* wanted =
            dm.dmDuplex == DMDUP_HORIZONTAL ? "two-sided-short-edge" : "two-sided-long-edge";
        if (!Contains(caps.sidesSupported, wanted)) {
            dm.dmDuplex = DMDUP_SIMPLEX;
        }
    }
    // Any value but monochrome asks for colour.
    if ((dm.dmFields & DM_COLOR) && dm.dmColor != DMCOLOR_MONOCHROME &&
        !Contains(caps.colorModesSupported,
                  ChoiceByNumber(ColorModes(), DMCOLOR_COLOR)->ippKeyword)) {
        dm.dmColor = DMCOLOR_MONOCHROME;
    }
    CorrectMedia(dm, caps);
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

nlohmann::json WithoutDefaultPpdChoices(nlohmann::json job, const nlohmann::json& defaults,
                                        const nlohmann::json& ppdOptions) {
    if (!ppdOptions.is_object()) {
        return job;
    }
    for (const auto& [option, choices] : ppdOptions.items()) {
        auto chosen = job.find(option);
        auto byDefault = defaults.find(option);
        if (chosen != job.end() && byDefault != defaults.end() && *chosen == *byDefault) {
            job.erase(chosen);
        }
    }
    return job;
}

std::vector<std::pair<std::string, std::string>> JobOptionsFromAttributes(
    const nlohmann::json& attributes, const std::map<std::string, std::string>& driverOptions,
    SheetLayout layout) {
    static const std::map<std::string, std::string> kQuality = {
        {"draft", "3"}, {"normal", "4"}, {"high", "5"}};
    // Names of custom bins and media types: the attribute document has already used them.
    static const std::vector<std::string> kConsumedDriverOptions = {"media-source", "media-type"};

    std::map<std::string, std::string> options;
    for (const auto& [name, value] : attributes.items()) {
        if (!value.is_string()) {
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
                options["media-source"] = IppKeywordOf(PaperBins(), text);
            }
        } else if (name == "media-type") {
            if (text != "auto") {
                options["media-type"] = IppKeywordOf(MediaTypes(), text);
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
        if (!Contains(kConsumedDriverOptions, name)) {
            options[name] = value;
        }
    }
    // The program lays out copies, N-up and page order itself and sends sheets of the
    // paper's own size; whatever the queue's defaults say, the scheduler must not do it again.
    if (layout == SheetLayout::ByProgram) {
        for (const auto& [name, value] : kDoneByTheProgram) {
            options[name] = value;
        }
    }
    return {options.begin(), options.end()};
}

}  // namespace nvrprint
