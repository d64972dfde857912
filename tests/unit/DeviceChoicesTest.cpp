// Bins, media types and colour modes travel from the DEVMODE to the job's IPP options and from
// the printer's IPP defaults back to a DEVMODE; both ways read one table and must agree.
#include <gtest/gtest.h>

#include <algorithm>

#include "NvrPrintUtils/DeviceChoices.h"
#include "NvrPrintUtils/IppDevMode.h"
#include "NvrPrintUtils/PrintJobSettingsHelper.h"

using namespace nvrprint;

namespace {

// The job option of this name for a DEVMODE, as a print device would send it; empty if none.
std::string JobOption(const DEVMODEW& dm, const std::string& name) {
    const auto options = JobOptionsFromAttributes(
        PrintJobSettingsHelper::BuildAttributeDocument(&dm, nlohmann::json::object()), {});
    auto found = std::find_if(options.begin(), options.end(),
                              [&](const auto& option) { return option.first == name; });
    return found != options.end() ? found->second : "";
}

}  // namespace

TEST(DeviceChoices, BinsAndMediaTypesRoundTripThroughTheirIppKeywords) {
    struct Kind {
        const std::vector<DeviceChoice>& table;
        uint32_t bit;
        const char* option;
    };
    for (const Kind& kind : {Kind{PaperBins(), DM_DEFAULTSOURCE, "media-source"},
                             Kind{MediaTypes(), DM_MEDIATYPE, "media-type"}}) {
        for (const DeviceChoice& choice : kind.table) {
            if (choice.ippKeyword.empty()) {
                continue;
            }
            DevModePtr dm = AllocateDevMode();
            dm->dmFields = kind.bit;
            PrinterCapabilities caps;
            if (kind.bit == DM_DEFAULTSOURCE) {
                dm->dmDefaultSource = static_cast<int16_t>(choice.number);
                caps.mediaSourceDefault = choice.ippKeyword;
            } else {
                dm->dmMediaType = static_cast<uint32_t>(choice.number);
                caps.mediaTypeDefault = choice.ippKeyword;
            }
            // The printer picks its own bin: nothing is asked for.
            const std::string sent = choice.word == "auto" ? "" : choice.ippKeyword;
            EXPECT_EQ(JobOption(*dm, kind.option), sent) << choice.word;

            DevModePtr defaults = DevModeFromCapabilities(caps, "Office");
            const int32_t back = kind.bit == DM_DEFAULTSOURCE
                                     ? defaults->dmDefaultSource
                                     : static_cast<int32_t>(defaults->dmMediaType);
            // A keyword two bins share comes back as the first of them.
            EXPECT_EQ(back, ChoiceByIppKeyword(kind.table, choice.ippKeyword)->number)
                << choice.ippKeyword;
            EXPECT_TRUE(ReadDriverOptions(defaults.get()).empty()) << choice.ippKeyword;
        }
    }
}

TEST(DeviceChoices, CustomBinAndTypeKeywordsTravelAsDriverOptions) {
    // A custom bin reaches the printer by its own name; a custom media type only by a PPD
    // choice of its name.
    PrinterCapabilities caps;
    caps.mediaSourceDefault = "tray-7";
    caps.mediaTypeDefault = "cardstock";
    DevModePtr dm = DevModeFromCapabilities(caps, "Office");
    EXPECT_EQ(dm->dmDefaultSource, DMBIN_USER);
    EXPECT_EQ(dm->dmMediaType, DMMEDIA_USER);
    const auto options = ReadDriverOptions(dm.get());
    EXPECT_EQ(options.at("media-source"), "tray-7");
    EXPECT_EQ(options.at("media-type"), "cardstock");
    EXPECT_EQ(JobOption(*dm, "media-source"), "tray-7");
}

TEST(DeviceChoices, ColourModesRoundTripAndMonochromePrintersCorrectColour) {
    for (const DeviceChoice& mode : ColorModes()) {
        DevModePtr dm = AllocateDevMode();
        dm->dmFields = DM_COLOR;
        dm->dmColor = static_cast<int16_t>(mode.number);
        EXPECT_EQ(JobOption(*dm, "print-color-mode"), mode.ippKeyword);
        PrinterCapabilities caps;
        caps.colorModeDefault = mode.ippKeyword;
        EXPECT_EQ(DevModeFromCapabilities(caps, "Office")->dmColor, mode.number);
    }
    PrinterCapabilities mono;
    mono.colorModeDefault = "auto-monochrome";
    mono.colorModesSupported = {"auto-monochrome", "monochrome"};
    EXPECT_EQ(DevModeFromCapabilities(mono, "Office")->dmColor, DMCOLOR_MONOCHROME);
    DevModePtr dm = AllocateDevMode();
    dm->dmFields = DM_COLOR;
    dm->dmColor = DMCOLOR_COLOR;
    CorrectDevMode(*dm, mono);
    EXPECT_EQ(dm->dmColor, DMCOLOR_MONOCHROME);
}

TEST(DeviceChoices, JobOptionAttributesSendWhatTheWholeDocumentSends) {
    DevModePtr dm = AllocateDevMode();
    dm->dmFields = DM_ORIENTATION | DM_COLOR | DM_DUPLEX | DM_SCALE | DM_PRINTQUALITY | DM_COPIES |
                   DM_COLLATE | DM_PAPERSIZE | DM_DEFAULTSOURCE | DM_MEDIATYPE;
    dm->dmOrientation = DMORIENT_LANDSCAPE;
    dm->dmColor = DMCOLOR_MONOCHROME;
    dm->dmDuplex = DMDUP_VERTICAL;
    dm->dmScale = 80;
    dm->dmPrintQuality = 600;
    dm->dmCopies = 3;
    dm->dmCollate = 0;
    dm->dmPaperSize = 9;
    dm->dmDefaultSource = DMBIN_MANUAL;
    dm->dmMediaType = DMMEDIA_GLOSSY;
    const nlohmann::json ppd = {{"ColorModel", {"RGB", "Gray"}},
                                {"InputSlot", {"Auto", "Manual"}},
                                {"Duplex", {"None", "DuplexNoTumble"}}};
    nlohmann::json whole = PrintJobSettingsHelper::BuildAttributeDocument(dm.get(), ppd);
    nlohmann::json options = PrintJobSettingsHelper::BuildJobOptionAttributes(dm.get(), ppd);
    EXPECT_FALSE(options.contains("copies"));
    EXPECT_FALSE(options.contains("orientation-requested"));
    EXPECT_FALSE(options.contains("media"));
    whole["media"] = options["media"] = "iso_a4_210x297mm";
    for (SheetLayout layout : {SheetLayout::ByProgram, SheetLayout::ByPrinter}) {
        EXPECT_EQ(JobOptionsFromAttributes(options, {}, layout),
                  JobOptionsFromAttributes(whole, {}, layout));
    }
}
