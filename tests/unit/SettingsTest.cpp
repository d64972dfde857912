// The job's settings: read from JSON however it comes, written into a DEVMODE field by field,
// the sheet turned for 2- and 6-up, and what the printer's driver corrects.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include "DocFilePageMgr/DocFilePageMgrLib/DocFilePageMgr.h"
#include "NvrPrintUtils/PrintJobSettings.h"
#include "tests/support/FakePrintSystem.h"
#include "tests/support/TestSupport.h"

using namespace nvrprint;
using namespace testsupport;

namespace {

// Copies, scale, colour, pages per sheet, stapling; what a layer of JSON sets.
std::string Read(const std::string& json) {
    PrintJobSettings s;
    s.PagesPerSheet = 9;
    if (!s.LoadFromString(json))
        return "invalid";
    return fmt::format("{} {} {} {} {:d}", s.dmCopies, s.dmScale, s.dmColor, s.PagesPerSheet,
                       s.bStapled);
}

std::string Nested(size_t depth) {
    return R"({"dmCopies": 2, "x": )" + std::string(depth, '[') + std::string(depth, ']') + "}";
}

}  // namespace

TEST(SettingsJson, ValuesNarrowOrArePassedOverAndHostileDocumentsAreRefused) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {R"({"dmCopies": 2, "bStapled": true, "PagesPerSheet": 6})", "2 -1 -1 6 1"},
        {R"({"dmCopies": 70000, "dmScale": 40000, "dmColor": 2.9})", "4464 -25536 2 9 0"},
        {R"({"PagesPerSheet": 16})", "-1 -1 -1 16 0"},
        {R"({"PagesPerSheet": 2.9})", "-1 -1 -1 2 0"},
        {R"({"PagesPerSheet": 3})", "-1 -1 -1 1 0"},
        {R"({"PagesPerSheet": 17})", "-1 -1 -1 1 0"},
        {R"({"PagesPerSheet": "4", "bStapled": 1, "dmCopies": "two"})", "-1 -1 -1 9 0"},
        {R"({"dmCopies": 3} trailing)", "invalid"},
        {"{ broken", "invalid"},
        {Nested(63), "2 -1 -1 9 0"},
        {Nested(65), "invalid"},
        {Nested(20000), "invalid"},
    };
    for (const auto& [json, expected] : cases) {
        EXPECT_EQ(Read(json), expected) << json.substr(0, 80);
    }
    // A -settings file may carry text after its value, but not nest without end.
    ScratchDir dir;
    WriteFile(dir.File("trailing.json"), R"({"dmCopies": 3} trailing)");
    WriteFile(dir.File("deep.json"), Nested(20000));
    PrintJobSettings file;
    EXPECT_TRUE(file.LoadFromFile(dir.File("trailing.json")));
    EXPECT_EQ(file.dmCopies, 3);
    EXPECT_FALSE(PrintJobSettings().LoadFromFile(dir.File("deep.json")));
    EXPECT_FALSE(PrintJobSettings().LoadFromFile(dir.File("missing.json")));
}

TEST(SettingsDevMode, EveryFieldLandsInItsOwnMemberAndComesBack) {
    // Distinct values, so that a field written to or read from its neighbour shows.
    PrintJobSettings sent;
    ASSERT_TRUE(sent.LoadFromString(R"({
        "dmCollate": 1, "dmColor": 2, "dmCopies": 3, "dmDefaultSource": 4, "dmDuplex": 5,
        "dmFormName": "Six", "dmMediaType": 7, "dmOrientation": 8, "dmPaperLength": 9,
        "dmPaperSize": 10, "dmPaperWidth": 11, "dmPrintQuality": 12, "dmScale": 13,
        "dmYResolution": 14})"));
    DevModePtr dm = AllocateDevMode();
    ASSERT_TRUE(sent.ApplyToDevMode(dm.get(), nullptr));
    auto fields = [](const PrintJobSettings& s) {
        return fmt::format("{} {} {} {} {} {} {} {} {} {} {} {} {} {}", s.dmCollate, s.dmColor,
                           s.dmCopies, s.dmDefaultSource, s.dmDuplex, s.dmFormName, s.dmMediaType,
                           s.dmOrientation, s.dmPaperLength, s.dmPaperSize, s.dmPaperWidth,
                           s.dmPrintQuality, s.dmScale, s.dmYResolution);
    };
    EXPECT_EQ(
        fmt::format("{} {} {} {} {} {} {} {} {} {} {} {} {} {}", dm->dmCollate, dm->dmColor,
                    dm->dmCopies, dm->dmDefaultSource, dm->dmDuplex, GetDevModeText(dm->dmFormName),
                    dm->dmMediaType, dm->dmOrientation, dm->dmPaperLength, dm->dmPaperSize,
                    dm->dmPaperWidth, dm->dmPrintQuality, dm->dmScale, dm->dmYResolution),
        "1 2 3 4 5 Six 7 8 9 10 11 12 13 14");
    PrintJobSettings back;
    back.ExtractFromDevMode(dm.get());
    EXPECT_EQ(fields(back), "1 2 3 4 5 Six 7 8 9 10 11 12 13 14");
    // Only the fields a DEVMODE flags are read from it.
    dm->dmFields &= ~DM_DUPLEX;
    PrintJobSettings flagged;
    flagged.ExtractFromDevMode(dm.get());
    EXPECT_EQ(flagged.dmDuplex, -1);
}

TEST(SettingsDevMode, TwoAndSixUpTurnTheSheet) {
    const std::vector<std::pair<std::string, int16_t>> cases = {
        {R"({"PagesPerSheet": 4, "dmOrientation": 2})", 2},
        {R"({"PagesPerSheet": 2, "dmOrientation": 2})", 1},
        {R"({"PagesPerSheet": 6, "dmOrientation": 2})", 1},
        {R"({"PagesPerSheet": 2, "dmOrientation": 1})", 2},
        {R"({"PagesPerSheet": 6})", 2},
    };
    for (const auto& [json, orientation] : cases) {
        PrintJobSettings s;
        ASSERT_TRUE(s.LoadFromString(json));
        DevModePtr dm = AllocateDevMode();
        ASSERT_TRUE(s.ApplyToDevMode(dm.get(), nullptr));
        EXPECT_EQ(dm->dmOrientation, orientation) << json;
        EXPECT_TRUE(dm->dmFields & DM_ORIENTATION) << json;
    }
}

TEST(SettingsDevMode, TheDriversCorrectionsBecomeTheJobsAndRefusalFails) {
    FakePrintSystem system;
    auto printer = system.Open();
    // A one-sided printer whose copies end at 999.
    system.correct = [](DEVMODEW& dm) {
        dm.dmCopies = std::min<int16_t>(dm.dmCopies, 999);
        dm.dmDuplex = DMDUP_SIMPLEX;
    };
    PrintJobSettings s;
    ASSERT_TRUE(s.LoadFromString(R"({"dmCopies": 32767, "dmDuplex": 2})"));
    DevModePtr dm = AllocateDevMode();
    ASSERT_TRUE(s.ApplyToDevMode(dm.get(), printer.get()));
    EXPECT_EQ(fmt::format("{} {}", dm->dmCopies, dm->dmDuplex), "999 1");
    EXPECT_EQ(s.dmCopies, 999);
    EXPECT_EQ(docmgr::PrintJobSettingsView{s}.Copies(), 999);
    // Nothing asked for needs no driver; a driver that refuses fails the job.
    EXPECT_TRUE(PrintJobSettings().ApplyToDevMode(AllocateDevMode().get(), printer.get()));
    EXPECT_EQ(system.validations, 1);
    system.validateResult = -1;
    EXPECT_FALSE(s.ApplyToDevMode(AllocateDevMode().get(), printer.get()));
}
