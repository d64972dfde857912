// What the printer is told and sent: its defaults as a DEVMODE and what it cannot do
// corrected, the job's options (the program's work never done twice), and the job's PDF.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <optional>

#include "NvrPrintUtils/IppDevMode.h"
#include "NvrPrintUtils/PrintJobSettingsHelper.h"
#include "SystemServices/JobPdf/PdfSheetWriter.h"
#include "tests/support/PageRender.h"
#include "tests/support/PdfFixtures.h"
#include "tests/support/RecordingPrintDevice.h"
#include "tests/support/TestSupport.h"

using namespace nvrprint;
using namespace nvrprint::platform;
using namespace testsupport;

namespace {

PrinterCapabilities ColourDuplexPrinter() {
    PrinterCapabilities caps;
    caps.mediaDefault = "iso_a4_210x297mm";
    caps.mediaSupported = {"iso_a4_210x297mm", "na_letter_8.5x11in"};
    caps.sidesDefault = "two-sided-long-edge";
    caps.sidesSupported = {"one-sided", "two-sided-long-edge", "two-sided-short-edge"};
    caps.colorModeDefault = "color";
    caps.colorModesSupported = {"monochrome", "color"};
    caps.resolutionDefault = {600, 600};
    caps.resolutionsSupported = {{300, 300}, {600, 600}};
    caps.mediaSourceDefault = "tray-3";
    return caps;
}

// Paper, form, duplex, colour, quality and copies of a DEVMODE.
std::string Describe(const DEVMODEW& dm) {
    return fmt::format("{} {} {} {} {} {}", dm.dmPaperSize, GetDevModeText(dm.dmFormName),
                       dm.dmDuplex, dm.dmColor, dm.dmPrintQuality, dm.dmCopies);
}

}  // namespace

TEST(PrinterDevMode, DefaultsFromTheIppDescriptionAndCorrectionsToWhatItCanDo) {
    DevModePtr dm = DevModeFromCapabilities(ColourDuplexPrinter(), "Office");
    ASSERT_TRUE(dm);
    EXPECT_EQ(Describe(*dm), "9 A4 2 2 600 1");
    // A source with no standard bin number travels in the driver-private part.
    EXPECT_EQ(dm->dmDefaultSource, DMBIN_USER);
    EXPECT_EQ(ReadDriverOptions(dm.get()).at("media-source"), "tray-3");

    PrinterCapabilities plain;
    plain.mediaDefault = "na_letter_8.5x11in";
    plain.mediaSupported = {"na_letter_8.5x11in"};
    plain.resolutionsSupported = {{600, 600}};
    plain.copiesMax = 99;
    struct Case {
        std::function<void(DEVMODEW&)> ask;
        PrinterCapabilities printer;
        const char* expected;
    };
    const Case cases[] = {
        {[](DEVMODEW& d) {
             d.dmCopies = 500;
             d.dmPrintQuality = 1200;
         },
         plain, "1 Letter 1 1 600 99"},
        {[](DEVMODEW& d) {
             d.dmDuplex = DMDUP_HORIZONTAL;
             d.dmPaperSize = DMPAPER_LETTER;
         },
         ColourDuplexPrinter(), "1 Letter 3 2 600 1"},
        {[](DEVMODEW& d) { SetDevModeText(d.dmFormName, "Letter"); }, ColourDuplexPrinter(),
         "1 Letter 2 2 600 1"},
        {[](DEVMODEW& d) { SetDevModeText(d.dmFormName, "Poster"); }, ColourDuplexPrinter(),
         "9 A4 2 2 600 1"},
    };
    for (const Case& c : cases) {
        DevModePtr asked = DevModeFromCapabilities(ColourDuplexPrinter(), "Office");
        c.ask(*asked);
        CorrectDevMode(*asked, c.printer);
        EXPECT_EQ(Describe(*asked), c.expected);
    }
}

TEST(JobOptions, WhatADevModeAsksOfThePrinterAndNeverTheProgramsWork) {
    DevModePtr base = AllocateDevMode();
    base->dmFields = DM_PAPERSIZE | DM_DUPLEX | DM_COLOR | DM_DEFAULTSOURCE | DM_COPIES |
                     DM_COLLATE | DM_ORIENTATION | DM_SCALE;
    base->dmPaperSize = DMPAPER_A4;
    base->dmDuplex = DMDUP_VERTICAL;
    base->dmColor = DMCOLOR_MONOCHROME;
    base->dmDefaultSource = 260;
    base->dmCopies = 3;
    base->dmCollate = DMCOLLATE_TRUE;
    base->dmOrientation = DMORIENT_LANDSCAPE;
    base->dmScale = 50;
    const nlohmann::json ppd = {{"ColorModel", {"RGB", "Gray"}},
                                {"InputSlot", {"Tray 5", "Auto"}},
                                {"StapleLocation", {"None", "SinglePortrait"}}};
    // Stapling and the bin's name are driver-private options, which win over the attributes.
    DevModePtr dm = WithDriverOptions(base.get(), {{"media-source", "Tray 5"},
                                                   {"StapleLocation", "SinglePortrait"},
                                                   {"print-color-mode", "monochrome"}});
    const nlohmann::json attributes =
        PrintJobSettingsHelper::BuildJobOptionAttributes(dm.get(), ppd);
    EXPECT_EQ(attributes["ColorModel"], "Gray");
    EXPECT_EQ(attributes["InputSlot"], "Tray 5");
    for (const char* carriedBySheets :
         {"media", "copies", "collate", "orientation-requested", "fit-to-pagescaling"}) {
        EXPECT_FALSE(attributes.contains(carriedBySheets)) << carriedBySheets;
    }

    std::string sent = " ";
    for (const auto& [name, value] :
         JobOptionsFromAttributes(attributes, ReadDriverOptions(dm.get())))
        sent += name + "=" + value + " ";
    for (const std::string option :
         {"copies=1", "number-up=1", "page-delivery=same-order", "outputorder=normal",
          "print-scaling=none", "sides=two-sided-long-edge", "StapleLocation=SinglePortrait",
          "print-color-mode=monochrome", "media-source=Tray 5"}) {
        EXPECT_NE(sent.find(" " + option + " "), std::string::npos) << sent;
    }
    EXPECT_EQ(sent.find("copies=3"), std::string::npos) << sent;
    // Where the printer takes the pages as they are, its own defaults for copies stand.
    for (const auto& [name, value] :
         JobOptionsFromAttributes(attributes, {}, SheetLayout::ByPrinter)) {
        EXPECT_NE(name, "copies");
    }
}

TEST(JobPdf, PlacedPagesKeepTheirTextAndSheetsTheirSize) {
    ScratchDir dir;
    const std::string source = dir.File("source.pdf");
    MakePdf(source, {kLetter, kA4});
    std::string written;
    PdfSheetWriter writer([&](const unsigned char* data, size_t size) {
        written.append(reinterpret_cast<const char*>(data), size);
        return true;
    });
    writer.BeginSheet(792, 612);
    ASSERT_TRUE(writer.PlacePage(source, 1, 0, 0, 396, 612));
    ASSERT_TRUE(writer.PlacePage(source, 0, 396, 0, 396, 612));
    ASSERT_TRUE(writer.EndSheet());
    writer.BeginSheet(612, 792);
    ASSERT_TRUE(writer.PlacePage(source, 0, 0, 300, 306, 396));
    EXPECT_FALSE(writer.PlacePage(source, 5, 0, 0, 1, 1));
    ASSERT_TRUE(writer.EndSheet());
    ASSERT_TRUE(writer.Finish());

    const std::string job = dir.File("job.pdf");
    WriteFile(job, written);
    const std::vector<std::string> texts = PageTexts(job);
    ASSERT_EQ(texts.size(), 2u);
    EXPECT_EQ(PageSize(job, 0), std::make_pair(792.0, 612.0));
    EXPECT_LT(texts[0].find("Page 2"), texts[0].find("Page 1")) << texts[0];
    EXPECT_EQ(texts[1], "Page 1");
    // The page used twice went in once; the job is about the size of its source.
    EXPECT_LT(written.size(), ReadFile(source).size() * 3 / 2);
}

// A sent job is followed on the printer: every change there starts the wait anew, and a job
// the printer fails, holds or keeps still too long, or whose state it cannot tell, is aborted.
TEST(JobFollowing, WaitRestartsOnProgressAndAbortsOnFailure) {
    // A page done every 59.75 s: an hour and a half in all, and never quiet for a minute.
    RecordingPrintDevice device;
    const size_t pollsPerPage = 239;
    for (int page = 0; page < 90; ++page) {
        device.statuses.insert(device.statuses.end(), pollsPerPage,
                               {docmgr::PrintJobStatus::Processing, page});
    }
    device.statuses.push_back({docmgr::PrintJobStatus::Completed, 90});
    EXPECT_TRUE(device.FollowJob(7));
    EXPECT_TRUE(device.calls.empty());
    EXPECT_EQ(device.clock.Elapsed(), 90 * pollsPerPage * std::chrono::milliseconds(250));

    using docmgr::PrintJobStatus;
    const std::vector<std::pair<std::optional<PrintJobStatus>, std::string>> endings = {
        {PrintJobStatus{PrintJobStatus::Processing, 1}, "Timeout waiting for job completion"},
        {PrintJobStatus{PrintJobStatus::Held, 0}, "Timeout waiting for job completion"},
        {PrintJobStatus{PrintJobStatus::Cancelled, 0},
         "Print job did not complete successfully (Status: Cancelled)"},
        {PrintJobStatus{PrintJobStatus::Aborted, 0},
         "Print job did not complete successfully (Status: Failed)"},
        {std::nullopt, "Failed to get job status"},
    };
    for (const auto& [status, words] : endings) {
        RecordingPrintDevice ending;
        if (status) {
            ending.statuses = {*status};
        }
        LogCapture log;
        EXPECT_FALSE(ending.FollowJob(7)) << words;
        EXPECT_EQ(ending.calls, std::vector<std::string>{"AbortDoc"}) << words;
        EXPECT_TRUE(log.Contains(words)) << log.Text();
        // A job kept still is given its full minute and not a poll more.
        if (words.starts_with("Timeout")) {
            EXPECT_EQ(ending.clock.Elapsed(), std::chrono::seconds(60)) << words;
        }
    }
}
