// The job's settings: read from JSON however it comes, written into a DEVMODE field by field,
// the sheet turned for 2- and 6-up, and what the printer's driver corrects.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <tuple>

#include "DocFilePageMgr/DocFilePageMgrLib/DocFilePageMgr.h"
#include "NvrPrintUtils/DialogSettings.h"
#include "NvrPrintUtils/PrintJob.h"
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
    system.refuses = [](const DEVMODEW&) { return true; };
    EXPECT_FALSE(s.ApplyToDevMode(AllocateDevMode().get(), printer.get()));
}

// The print dialog's choices lie over the job's settings: the program's copies and collation,
// the printer's sides, colour and paper; the paper the dialog shows turned back across the
// pages in 2- and 6-up, so that the sheet comes out as shown. Papers go by their PWG names,
// whether the dialog made them from IPP or from a PPD.
TEST(DialogChoices, LieOverTheSettingsAsTheDialogShowedThem) {
    struct Case {
        int32_t perSheet;
        DialogSettings dialog;
        std::string expected;  // copies collate duplex color orientation paper width length form
    };
    auto choose = [](auto change) {
        DialogSettings d;
        change(d);
        return d;
    };
    const std::vector<Case> cases = {
        {1, choose([](auto& d) { d.copies = 3, d.collate = true; }), "3 1 1 2 1 -1 -1 -1 "},
        {1, choose([](auto& d) { d.copies = 0, d.color = false; }), "1 0 1 1 1 -1 -1 -1 "},
        {1, choose([](auto& d) { d.duplex = DialogDuplex::ShortEdge; }), "1 0 3 2 1 -1 -1 -1 "},
        {1, choose([](auto& d) { d.landscape = true; }), "1 0 1 2 2 -1 -1 -1 "},
        // 2- and 6-up turn the paper: landscape paper holds portrait pages, and back.
        {2, choose([](auto& d) { d.landscape = true; }), "1 0 1 2 1 -1 -1 -1 "},
        {6, choose([](auto& d) { d.landscape = false; }), "1 0 1 2 2 -1 -1 -1 "},
        {4, choose([](auto& d) { d.landscape = true; }), "1 0 1 2 2 -1 -1 -1 "},
        {1, choose([](auto& d) { d.media = "iso_a4_210x297mm"; }), "1 0 1 2 1 9 -1 -1 A4"},
        {1, choose([](auto& d) { d.media = "custom_100x150mm_100x150mm"; }),
         "1 0 1 2 1 -1 1000 1500 "},
    };
    for (const Case& c : cases) {
        PrintJobSettings base;
        base.PagesPerSheet = c.perSheet;
        base.dmPaperWidth = 900;  // a custom paper of the document's gives way to the dialog's
        base.dmPaperLength = 900;
        const PrintJobSettings s = WithDialogChoices(base, c.dialog);
        const bool customKept = c.dialog.media.empty();
        EXPECT_EQ(
            fmt::format("{} {} {} {} {} {} {} {} {}", s.dmCopies, s.dmCollate, s.dmDuplex,
                        s.dmColor, s.dmOrientation, s.dmPaperSize, customKept ? -1 : s.dmPaperWidth,
                        customKept ? -1 : s.dmPaperLength, s.dmFormName),
            c.expected)
            << c.dialog.media;
    }

    const std::vector<std::tuple<std::string, double, double, std::string>> papers = {
        {"iso_a4_210x297mm", 210, 297, "iso_a4_210x297mm"},
        {"iso_a4", 210, 297, "iso_a4_210x297mm"},  // a toolkit name from a PPD's A4
        {"ppd_Card", 100, 150, "custom_100x150mm_100x150mm"},
        {"ppd_Near", 210.4, 296.6, "iso_a4_210x297mm"},
    };
    for (const auto& [name, width, height, media] : papers)
        EXPECT_EQ(MediaForPaper(name, width, height), media) << name;
}

// The print made for a printer: the layers and the dialog over its defaults, as the printer
// accepts them; its sides are the program's to keep copies apart; nothing when it refuses.
TEST(PrintJobs, MadeOnceFromTheLayersTheDialogAndThePrinter) {
    FakePrintSystem printers;
    printers.refuses = [](const DEVMODEW& dm) { return dm.dmCopies > 5; };
    // This printer prints one side only.
    printers.correct = [](DEVMODEW& dm) { dm.dmDuplex = DMDUP_SIMPLEX; };
    auto printer = printers.Open();
    DevModePtr defaults = AllocateDevMode(0);
    ASSERT_TRUE(printer->DefaultDevMode(defaults.get()));
    PrintJobSettings document;
    ASSERT_TRUE(document.LoadFromString(
        R"({"PagesPerSheet": 2, "dmCopies": 2, "dmDuplex": 2, "PrintJobTitle": "doc"})"));
    PrintJobSettings overrides;
    DialogSettings dialog;
    dialog.copies = 4;
    dialog.collate = false;
    dialog.duplex = DialogDuplex::LongEdge;
    dialog.landscape = true;

    PrintJobSources sources{defaults.get(), &document, &overrides, nullptr, "fallback", ""};
    std::optional<PrintJob> silent = MakePrintJob(sources, *printer);
    ASSERT_TRUE(silent);
    EXPECT_EQ(silent->title, "doc");
    EXPECT_EQ(silent->settings.dmCopies, 2);
    EXPECT_EQ(silent->settings.dmDuplex, DMDUP_SIMPLEX) << "sides as the printer prints them";
    EXPECT_EQ(silent->devMode->dmOrientation, DMORIENT_LANDSCAPE) << "2-up turns the paper";

    sources.dialog = &dialog;
    std::optional<PrintJob> chosen = MakePrintJob(sources, *printer);
    ASSERT_TRUE(chosen);
    EXPECT_EQ(chosen->settings.dmCopies, 4);
    EXPECT_EQ(chosen->settings.dmCollate, 0);
    EXPECT_EQ(chosen->settings.PagesPerSheet, 2);
    EXPECT_EQ(chosen->devMode->dmOrientation, DMORIENT_LANDSCAPE) << "the paper as shown";
    EXPECT_EQ(chosen->devMode->dmCopies, 4);

    dialog.copies = 6;
    EXPECT_FALSE(MakePrintJob(sources, *printer)) << "refused by the printer";
}
