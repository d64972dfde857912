#include <gtest/gtest.h>

#include "NvrPrintUtils/PrintJobSettings.h"
#include "tests/support/TestSupport.h"

using namespace nvrprint;
using testsupport::ScratchDir;
using testsupport::WriteFile;

TEST(PrintJobSettingsLoad, EveryKeyWithItsType) {
    PrintJobSettings s;
    ASSERT_TRUE(s.LoadFromString(R"({
        "PrintJobTitle": "Norvan print job", "bShowPreview": false, "PagesPerSheet": 2,
        "bReversePages": true, "bStapled": true, "dmCollate": 1, "dmColor": 2, "dmCopies": 2,
        "dmDefaultSource": 7, "dmDuplex": 2, "dmFormName": "A4", "dmMediaType": 1,
        "dmOrientation": 2, "dmPaperLength": 2970, "dmPaperSize": 9, "dmPaperWidth": 2100,
        "dmPrintQuality": 600, "dmScale": 100, "dmYResolution": 600, "Extra": [1, 2]})"));
    EXPECT_EQ(s.PrintJobTitle, "Norvan print job");
    EXPECT_EQ(s.PagesPerSheet, 2);
    EXPECT_TRUE(s.bReversePages && s.bStapled);
    EXPECT_EQ(s.dmCopies, 2);
    EXPECT_EQ(s.dmFormName, "A4");
    EXPECT_EQ(s.dmPaperLength, 2970);
    EXPECT_EQ(s.dmYResolution, 600);
    EXPECT_TRUE(s.JsonDocument.contains("Extra"));
}

TEST(PrintJobSettingsLoad, NumbersNarrowAndTruncate) {
    PrintJobSettings s;
    ASSERT_TRUE(s.LoadFromString(R"({"dmCopies": 70000, "dmScale": 40000, "dmColor": 2.9})"));
    EXPECT_EQ(s.dmCopies, 4464);
    EXPECT_LT(s.dmScale, 0);  // counts as not set from here on
    EXPECT_EQ(s.dmColor, 2);
}

TEST(PrintJobSettingsLoad, PagesPerSheetValidity) {
    for (auto [text, expected] : std::vector<std::pair<std::string, int>>{
             {"6", 6}, {"16", 16}, {"3", 1}, {"0", 1}, {"-2", 1}, {"17", 1}, {"2.9", 2}}) {
        PrintJobSettings s;
        s.PagesPerSheet = 9;
        ASSERT_TRUE(s.LoadFromString(R"({"PagesPerSheet": )" + text + "}"));
        EXPECT_EQ(s.PagesPerSheet, expected) << text;
    }
    PrintJobSettings s;
    s.PagesPerSheet = 4;
    ASSERT_TRUE(s.LoadFromString(R"({"PagesPerSheet": "4", "bStapled": 1})"));
    EXPECT_EQ(s.PagesPerSheet, 4);  // wrong type: passed over
    EXPECT_FALSE(s.bStapled);
}

TEST(PrintJobSettingsLoad, StringIsStrictFileIsNot) {
    ScratchDir dir;
    WriteFile(dir.File("trailing.json"), R"({"dmCopies": 3} trailing words)");
    PrintJobSettings fromFile;
    EXPECT_TRUE(fromFile.LoadFromFile(dir.File("trailing.json")));
    EXPECT_EQ(fromFile.dmCopies, 3);
    PrintJobSettings fromString;
    EXPECT_FALSE(fromString.LoadFromString(R"({"dmCopies": 3} trailing words)"));
    EXPECT_EQ(fromString.dmCopies, -1);
    EXPECT_FALSE(fromString.LoadFromFile(dir.File("missing.json")));
    PrintJobSettings array;
    EXPECT_TRUE(array.LoadFromString("[1, 2]"));
    EXPECT_TRUE(array.JsonDocument.is_array());
}

TEST(PrintJobSettingsMerge, ByKeyPresenceWithItsQuirks) {
    PrintJobSettings lower;
    ASSERT_TRUE(lower.LoadFromString(R"({"dmCopies": 3, "dmDuplex": 2, "PagesPerSheet": 4})"));
    PrintJobSettings upper;
    ASSERT_TRUE(upper.LoadFromString(R"({"dmCopies": "five", "PagesPerSheet": 5})"));
    lower.MergeWith(upper);
    EXPECT_EQ(lower.dmCopies, -1);      // wrong type merges the other's default
    EXPECT_EQ(lower.PagesPerSheet, 1);  // invalid merges as 1
    EXPECT_EQ(lower.dmDuplex, 2);       // absent: untouched

    // A second load overlays members but replaces the record of keys.
    PrintJobSettings twice;
    twice.LoadFromString(R"({"dmColor": 1})");
    twice.LoadFromString(R"({"dmCopies": 2})");
    PrintJobSettings target;
    target.MergeWith(twice);
    EXPECT_EQ(target.dmColor, -1);
    EXPECT_EQ(target.dmCopies, 2);

    PrintJobSettings empty;
    empty.LoadFromString("{}");
    PrintJobSettings unchanged = lower;
    unchanged.MergeWith(empty);
    EXPECT_EQ(unchanged.dmDuplex, 2);
}

TEST(PrintJobSettingsExtract, OnlyFlaggedFields) {
    DevModePtr dm = AllocateDevMode();
    dm->dmFields = DM_COPIES | DM_FORMNAME | DM_MEDIATYPE;
    dm->dmCopies = 3;
    dm->dmDuplex = 2;  // not flagged
    dm->dmMediaType = 0x10005;
    SetDevModeText(dm->dmFormName, "Letter");
    PrintJobSettings s;
    s.LoadFromString(R"({"dmDuplex": 3})");
    s.ExtractFromDevMode(dm.get());
    EXPECT_EQ(s.dmCopies, 3);
    EXPECT_EQ(s.dmDuplex, 3);
    EXPECT_EQ(s.dmMediaType, 5);  // cut to 16 bits
    EXPECT_EQ(s.dmFormName, "Letter");
    EXPECT_TRUE(s.JsonDocument.is_null());
    s.ExtractFromDevMode(nullptr);
    EXPECT_EQ(s.dmCopies, 3);
}

TEST(PrintJobSettingsDevMode, EveryFieldLandsInItsOwnMemberAndComesBack) {
    // Distinct values, so that a field written to or read from its neighbour shows.
    PrintJobSettings sent;
    ASSERT_TRUE(sent.LoadFromString(R"({
        "dmCollate": 1, "dmColor": 2, "dmCopies": 3, "dmDefaultSource": 4, "dmDuplex": 5,
        "dmFormName": "Six", "dmMediaType": 7, "dmOrientation": 8, "dmPaperLength": 9,
        "dmPaperSize": 10, "dmPaperWidth": 11, "dmPrintQuality": 12, "dmScale": 13,
        "dmYResolution": 14})"));
    DevModePtr dm = AllocateDevMode();
    ASSERT_TRUE(sent.ApplyToDevMode(dm.get(), nullptr));
    EXPECT_EQ(dm->dmFields, DM_COLLATE | DM_COLOR | DM_COPIES | DM_DEFAULTSOURCE | DM_DUPLEX |
                                DM_FORMNAME | DM_MEDIATYPE | DM_ORIENTATION | DM_PAPERLENGTH |
                                DM_PAPERSIZE | DM_PAPERWIDTH | DM_PRINTQUALITY | DM_SCALE |
                                DM_YRESOLUTION);
    EXPECT_EQ(dm->dmCollate, 1);
    EXPECT_EQ(dm->dmColor, 2);
    EXPECT_EQ(dm->dmCopies, 3);
    EXPECT_EQ(dm->dmDefaultSource, 4);
    EXPECT_EQ(dm->dmDuplex, 5);
    EXPECT_EQ(GetDevModeText(dm->dmFormName), "Six");
    EXPECT_EQ(dm->dmMediaType, 7u);
    EXPECT_EQ(dm->dmOrientation, 8);
    EXPECT_EQ(dm->dmPaperLength, 9);
    EXPECT_EQ(dm->dmPaperSize, 10);
    EXPECT_EQ(dm->dmPaperWidth, 11);
    EXPECT_EQ(dm->dmPrintQuality, 12);
    EXPECT_EQ(dm->dmScale, 13);
    EXPECT_EQ(dm->dmYResolution, 14);

    PrintJobSettings back;
    back.ExtractFromDevMode(dm.get());
    EXPECT_EQ(back.dmCollate, 1);
    EXPECT_EQ(back.dmColor, 2);
    EXPECT_EQ(back.dmCopies, 3);
    EXPECT_EQ(back.dmDefaultSource, 4);
    EXPECT_EQ(back.dmDuplex, 5);
    EXPECT_EQ(back.dmFormName, "Six");
    EXPECT_EQ(back.dmMediaType, 7);
    EXPECT_EQ(back.dmOrientation, 8);
    EXPECT_EQ(back.dmPaperLength, 9);
    EXPECT_EQ(back.dmPaperSize, 10);
    EXPECT_EQ(back.dmPaperWidth, 11);
    EXPECT_EQ(back.dmPrintQuality, 12);
    EXPECT_EQ(back.dmScale, 13);
    EXPECT_EQ(back.dmYResolution, 14);

    // Merging carries every named field over an unrelated layer.
    PrintJobSettings merged;
    merged.MergeWith(sent);
    EXPECT_EQ(merged.dmFormName, "Six");
    EXPECT_EQ(merged.dmMediaType, 7);
    EXPECT_EQ(merged.dmYResolution, 14);
    EXPECT_EQ(merged.dmCollate, 1);
}

TEST(DevModeBlock, TextFieldsAndDriverOptions) {
    DevModePtr dm = AllocateDevMode();
    SetDevModeText(dm->dmFormName, std::string(40, 'F'));
    EXPECT_EQ(GetDevModeText(dm->dmFormName), std::string(31, 'F'));
    SetDevModeText(dm->dmDeviceName, "Büro ✓");
    EXPECT_EQ(GetDevModeText(dm->dmDeviceName), "Büro ✓");

    dm->dmCopies = 4;
    DevModePtr withOptions =
        WithDriverOptions(dm.get(), {{"media-source", "tray-5"}, {"sides", "one-sided"}});
    ASSERT_TRUE(withOptions);
    EXPECT_EQ(withOptions->dmCopies, 4);
    EXPECT_EQ(withOptions->dmSize, sizeof(DEVMODEW));
    auto options = ReadDriverOptions(withOptions.get());
    EXPECT_EQ(options.size(), 2u);
    EXPECT_EQ(options["media-source"], "tray-5");
    DevModePtr copy = CopyDevMode(withOptions.get());
    EXPECT_EQ(ReadDriverOptions(copy.get()), options);
    EXPECT_TRUE(ReadDriverOptions(dm.get()).empty());
}
