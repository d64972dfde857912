#include "NvrPrintUtils/DeviceChoices.h"

#include <algorithm>

#include "NvrPrintUtils/DevMode.h"

namespace nvrprint {
namespace {

template <typename Match>
const DeviceChoice* Find(const std::vector<DeviceChoice>& table, Match match) {
    auto found = std::find_if(table.begin(), table.end(), match);
    return found != table.end() ? &*found : nullptr;
}

}  // namespace

const std::vector<DeviceChoice>& PaperBins() {
    static const std::vector<DeviceChoice> kBins = {
        {DMBIN_UPPER, "upper", "top", {"Upper", "Tray1", "tray-1"}},
        {DMBIN_LOWER, "lower", "bottom", {"Tray3", "tray-3", "Lower"}},
        {DMBIN_MIDDLE, "middle", "middle", {"Tray2", "tray-2", "Middle"}},
        {DMBIN_MANUAL, "manual", "manual", {"Manual", "Tray1_Man", "ManualFeed", "tray-1-man"}},
        {DMBIN_ENVELOPE, "envelope", "envelope", {"Envelope"}},
        {DMBIN_ENVMANUAL, "envmanual", "envelope", {"EnvelopeFeeder", "envelope-feeder"}},
        // The printer picks: no PPD choice is asked for.
        {DMBIN_AUTO, "auto", "auto", {}},
        {DMBIN_LARGECAPACITY, "largecapacity", "large-capacity", {"TrayLCT", "LCT"}},
        {DMBIN_FORMSOURCE, "", "", {"Auto", "Automatic", "AutoSelect"}},
    };
    return kBins;
}

const std::vector<DeviceChoice>& MediaTypes() {
    static const std::vector<DeviceChoice> kTypes = {
        {DMMEDIA_STANDARD,
         "plain",
         "stationery",
         {"Plain", "Standard", "Stationery", "PLAIN_NORMAL"}},
        {DMMEDIA_TRANSPARENCY,
         "transparency",
         "transparency",
         {"transparency", "MonochromeLaserTransparency", "ColorLaserTransparency"}},
        {DMMEDIA_GLOSSY, "glossy", "photographic-glossy", {"glossy", "gloss"}},
    };
    return kTypes;
}

const std::vector<DeviceChoice>& ColorModes() {
    static const std::vector<DeviceChoice> kModes = {
        {DMCOLOR_MONOCHROME,
         "monochrome",
         "monochrome",
         {"Gray", "Grayscale", "GrayscalePrint", "DeviceGray", "BlackAndWhitPrint", "Black"}},
        {DMCOLOR_COLOR,
         "color",
         "color",
         {"Color", "RGB", "CMYK", "ColorPrint", "AdobeRGB", "DeviceRGB", "Auto"}},
    };
    return kModes;
}

const DeviceChoice* ChoiceByNumber(const std::vector<DeviceChoice>& table, int64_t number) {
    return Find(table, [&](const DeviceChoice& c) { return c.number == number; });
}

const DeviceChoice* ChoiceByWord(const std::vector<DeviceChoice>& table, const std::string& word) {
    return Find(table, [&](const DeviceChoice& c) { return !c.word.empty() && c.word == word; });
}

const DeviceChoice* ChoiceByIppKeyword(const std::vector<DeviceChoice>& table,
                                       const std::string& keyword) {
    return Find(table, [&](const DeviceChoice& c) {
        return !c.ippKeyword.empty() && c.ippKeyword == keyword;
    });
}

}  // namespace nvrprint
