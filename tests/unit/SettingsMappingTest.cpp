#include <gtest/gtest.h>

#include "NvrPrintUtils/PrintJobSettingsHelper.h"

using namespace nvrprint;
using namespace nvrprint::PrintJobSettingsHelper;
using Json = nlohmann::json;

namespace {

// Runs every writer, in order, over one settings JSON.
Json Attributes(const Json& settings, const Json& caps = Json()) {
    Json attributes = Json::object();
    for (const std::string& key : kWriterOrder) {
        kSettingAttributeWriters.at(key)(settings, attributes, caps, Json());
    }
    return attributes;
}

Json Extract(DEVMODEW* dm) {
    return SettingsFromDevMode(dm);
}

}  // namespace

TEST(MappingExtractors, AcceptedValuesAndFallbacks) {
    DevModePtr dm = AllocateDevMode();
    dm->dmFields = DM_SCALE | DM_PRINTQUALITY | DM_YRESOLUTION | DM_COPIES | DM_MEDIATYPE |
                   DM_FORMNAME | DM_DEFAULTSOURCE;
    dm->dmScale = 0;
    dm->dmPrintQuality = 0;
    dm->dmYResolution = 0;
    dm->dmCopies = -5;
    dm->dmMediaType = 0;
    dm->dmDefaultSource = 0;
    SetDevModeText(dm->dmFormName, "Letter");
    Json s = Extract(dm.get());
    EXPECT_EQ(s["dmScale"], 100);
    EXPECT_EQ(s["dmPrintQuality"], -4);
    EXPECT_FALSE(s.contains("dmYResolution"));
    EXPECT_EQ(s["dmCopies"], 1);
    EXPECT_EQ(s["dmMediaType"], 256u);
    EXPECT_TRUE(s["dmMediaType"].is_number_unsigned());
    EXPECT_EQ(s["dmDefaultSource"], 15);
    EXPECT_EQ(s["dmFormName"], "Letter");
    EXPECT_FALSE(s.contains("dmColor"));  // bit clear
    dm->dmScale = 1000;
    EXPECT_EQ(Extract(dm.get())["dmScale"], 1000);
    dm->dmScale = 1001;
    EXPECT_EQ(Extract(dm.get())["dmScale"], 100);
}

TEST(MappingWriters, EmptySettingsGiveTheDefaultAttributeSet) {
    Json expected = {{"orientation-requested", "3"},
                     {"print-color-mode", "color"},
                     {"sides", "one-sided"},
                     {"fit-to-pagescaling", "100"},
                     {"quality", "high"},
                     {"copies", "1"},
                     {"collate", "true"},
                     {"media-source", "auto"},
                     {"media-type", "auto"},
                     {"finishings", "none"},
                     {"page-delivery", "same-order"},
                     {"number-up", "1"}};
    EXPECT_EQ(Attributes(Json::object()), expected);
}

TEST(MappingWriters, OnlyIntegersCount) {
    EXPECT_EQ(Attributes({{"dmDuplex", 2.0}})["sides"], "one-sided");
    EXPECT_EQ(Attributes({{"dmDuplex", "2"}})["sides"], "one-sided");
    EXPECT_EQ(Attributes({{"dmDuplex", 2}})["sides"], "two-sided-long-edge");
    EXPECT_EQ(Attributes({{"PagesPerSheet", 6}})["number-up"], "1");
    EXPECT_EQ(Attributes({{"dmScale", 5000}})["fit-to-pagescaling"], 100);
    EXPECT_EQ(Attributes({{"bStapled", true}})["finishings"], "4");
}

TEST(MappingWriters, QualityAndResolution) {
    Json a = Attributes({{"dmPrintQuality", 600}, {"dmYResolution", 300}});
    EXPECT_EQ(a["resolution"], "600x300dpi");
    EXPECT_FALSE(a.contains("quality"));
    EXPECT_EQ(Attributes({{"dmPrintQuality", 600}})["resolution"], "600x600dpi");
    EXPECT_EQ(Attributes({{"dmYResolution", 300}})["resolution"], "300dpi");
    EXPECT_EQ(Attributes({{"dmPrintQuality", -3}})["quality"], "normal");
    EXPECT_EQ(Attributes({{"dmPrintQuality", -1}})["quality"], "draft");
    EXPECT_EQ(Attributes({{"dmPrintQuality", 600}, {"dmYResolution", 0}})["quality"], "high");

    // The alias key follows the resolution: square 600 is normal, 1200 and 600x300 high.
    Json caps = {{"cupsPrintQuality", {"Draft", "Normal", "High"}}};
    EXPECT_EQ(
        Attributes({{"dmPrintQuality", 600}, {"dmYResolution", 600}}, caps)["cupsPrintQuality"],
        "Normal");
    EXPECT_EQ(
        Attributes({{"dmPrintQuality", 1200}, {"dmYResolution", 1200}}, caps)["cupsPrintQuality"],
        "High");
    EXPECT_EQ(
        Attributes({{"dmPrintQuality", 600}, {"dmYResolution", 300}}, caps)["cupsPrintQuality"],
        "High");
    EXPECT_EQ(Attributes({{"dmPrintQuality", 150}}, caps)["cupsPrintQuality"], "Draft");
    EXPECT_EQ(Attributes({{"dmPrintQuality", -3}}, Json{{"Quality", "600dpi"}})["Quality"],
              "600dpi");
}

TEST(MappingWriters, CustomBinsAndMediaTypes) {
    Json noMatch = Attributes({{"dmDefaultSource", 256}, {"BinName", "Tray 5"}});
    EXPECT_EQ(noMatch["media-source"], "Tray 5");
    Json caps = {{"InputSlot", {"tray-5", "Tray 5"}}, {"MediaType", {"Plain", "Heavy Card"}}};
    Json match = Attributes({{"dmDefaultSource", 256},
                             {"BinName", "Tray 5"},
                             {"dmMediaType", 300},
                             {"MediaTypeName", "heavy_card"}},
                            caps);
    EXPECT_EQ(match["InputSlot"], "tray-5");
    EXPECT_EQ(match["media-source"], "Tray 5");
    EXPECT_EQ(match["MediaType"], "Heavy Card");
    EXPECT_EQ(match["media-type"], "heavy_card");
    EXPECT_EQ(Attributes({{"dmMediaType", 300}, {"MediaTypeName", "odd"}})["media-type"], "auto");
    EXPECT_EQ(Attributes({{"dmMediaType", 3}})["media-type"], "glossy");
    EXPECT_EQ(Attributes({{"dmDefaultSource", 4}})["media-source"], "manual");
    // Bin 7 has no aliases and takes the option's first real choice.
    EXPECT_EQ(
        Attributes({{"dmDefaultSource", 7}}, Json{{"InputSlot", {"None", "Tray1"}}})["InputSlot"],
        "Tray1");
}

TEST(PpdMatching, ColourDuplexAndStaple) {
    Json a = Json::object();
    EXPECT_TRUE(ApplyPPDOption({{"ColorModel", {"RGB", "Gray"}}}, a, kColorOptionNames,
                               kColorValueAliases, 1));
    EXPECT_EQ(a["ColorModel"], "Gray");
    // A choice named exactly as an alias wins over an earlier one that only contains one,
    // so a draft "FastGray" listed first is not what grey printing means.
    EXPECT_TRUE(ApplyPPDOption({{"ColorModel", {"FastGray", "Gray", "RGB"}}}, a, kColorOptionNames,
                               kColorValueAliases, 1));
    EXPECT_EQ(a["ColorModel"], "Gray");
    EXPECT_TRUE(ApplyPPDOption({{"ColorModel", {"FastGray", "RGB"}}}, a, kColorOptionNames,
                               kColorValueAliases, 1));
    EXPECT_EQ(a["ColorModel"], "FastGray");

    a = Json::object();
    ApplyPPDOption({{"ColorModel", {"Gray", "RGB"}}, {"SelectColor", {"Gray", "Full Color"}}}, a,
                   kColorOptionNames, kColorValueAliases, 2);
    EXPECT_EQ(a, (Json{{"SelectColor", "Full Color"}}));

    a = Json::object();
    ApplyPPDOption({{"ColorModel", {"Mono", "Color"}}}, a, kColorOptionNames, kColorValueAliases,
                   1);
    EXPECT_EQ(a["ColorModel"], "Mono");  // fallback: the first real choice

    a = Json::object();
    ApplyPPDOption({{"Duplex", {"DuplexTumble", "DuplexNoTumble"}}}, a, kDuplexOptionNames,
                   kDuplexValueAliases, 2);
    EXPECT_EQ(a["Duplex"], "DuplexNoTumble");
    ApplyPPDOption({{"Duplex", {"DuplexTumble", "DuplexNoTumble"}}}, a, kDuplexOptionNames,
                   kDuplexValueAliases, 3);
    EXPECT_EQ(a["Duplex"], "DuplexTumble");

    a = Json::object();
    ApplyPPDOption({{"Staple", {"Off", "On"}}}, a, kStapleOptionNames, kStapleValueAliases, 0);
    EXPECT_EQ(a["Staple"], "Off");
    a = Json::object();
    ApplyPPDOption({{"StapleLocation", {"None", "SinglePortrait", "DualPortrait"}}}, a,
                   kStapleOptionNames, kStapleValueAliases, 1);
    EXPECT_EQ(a["StapleLocation"], "SinglePortrait");
    a = Json::object();
    EXPECT_FALSE(ApplyPPDOption({{"Staple", {"None"}}, {"StapleSet", "none"}}, a,
                                kStapleOptionNames, kStapleValueAliases, 1));
    EXPECT_FALSE(ApplyPPDOption(Json(), a, kStapleOptionNames, kStapleValueAliases, 1));
}

TEST(PpdMatching, BestMatchAndAliasContainment) {
    std::string match;
    EXPECT_TRUE(InternalHelpers::FindBestPPDMatch("Tray 5", {"tray-5", "Tray 5"}, &match));
    EXPECT_EQ(match, "tray-5");
    EXPECT_FALSE(InternalHelpers::FindBestPPDMatch("Tray 5", {1, 2, 5}, &match));
    EXPECT_FALSE(InternalHelpers::FindBestPPDMatch("Tray 5", "Tray 5", &match));
    EXPECT_TRUE(ContainsAnyAlias("GrayScale_Photo", {"Gray"}));
    EXPECT_TRUE(ContainsAnyAlias("600dpi", {"600"}));
    EXPECT_TRUE(ContainsAnyAlias("anything", {""}));
    EXPECT_EQ(NormalizeChoice("Tray_5 - Upper"), "tray5upper");
    EXPECT_TRUE(HasCustomDeviceName({{"BinName", "X"}}, "BinName", 256, 256));
    EXPECT_FALSE(HasCustomDeviceName({{"BinName", ""}}, "BinName", 300, 256));
    EXPECT_FALSE(HasCustomDeviceName({{"BinName", "X"}}, "BinName", 255, 256));
}

TEST(AttributeDocument, FromADevModeWithDriverOptions) {
    DevModePtr base = AllocateDevMode();
    base->dmFields = DM_PAPERSIZE | DM_DUPLEX | DM_COLOR | DM_DEFAULTSOURCE | DM_COPIES;
    base->dmPaperSize = 9;
    base->dmDuplex = 2;
    base->dmColor = 1;
    base->dmDefaultSource = 260;
    base->dmCopies = 3;
    DevModePtr dm = WithDriverOptions(base.get(), {{"media-source", "Tray 5"}});
    Json caps = {{"ColorModel", {"RGB", "Gray"}}, {"InputSlot", {"Tray 5", "Auto"}}};
    Json doc = BuildAttributeDocument(dm.get(), caps, {{"bStapled", true}});
    EXPECT_EQ(doc["media"], "iso_a4_210x297mm");
    EXPECT_EQ(doc["sides"], "two-sided-long-edge");
    EXPECT_EQ(doc["print-color-mode"], "monochrome");
    EXPECT_EQ(doc["ColorModel"], "Gray");
    EXPECT_EQ(doc["InputSlot"], "Tray 5");
    EXPECT_EQ(doc["copies"], "3");
    EXPECT_EQ(doc["finishings"], "4");

    DevModePtr form = AllocateDevMode();
    form->dmFields = DM_FORMNAME;
    SetDevModeText(form->dmFormName, "Custom 5x7");
    EXPECT_EQ(BuildAttributeDocument(form.get(), Json())["media"], "Custom 5x7");
}
