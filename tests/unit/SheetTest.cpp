// What a printer's description turns into: the default DEVMODE and the driver's corrections,
// the job's options, the sheet's geometry, and the job's PDF itself.
#include <gtest/gtest.h>
#include <poppler.h>

#include "Bitmap.h"
#include "IppDevMode.h"
#include "PdfFixtures.h"
#include "PdfSheetWriter.h"
#include "SheetGeometry.h"
#include "TestSupport.h"

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

TEST(PrinterDevMode, DefaultsComeFromTheIppDescription) {
    EXPECT_EQ(PaperSizeForMedia("iso_a4_210x297mm"), DMPAPER_A4);
    EXPECT_EQ(PaperSizeForMedia("na_letter_8.5x11in"), DMPAPER_LETTER);
    EXPECT_EQ(PaperSizeForMedia("om_unknown_1x1mm"), -1);

    DevModePtr dm = DevModeFromCapabilities(ColourDuplexPrinter(), "Office");
    ASSERT_TRUE(dm);
    EXPECT_EQ(dm->dmPaperSize, DMPAPER_A4);
    EXPECT_EQ(GetDevModeText(dm->dmFormName), "A4");
    EXPECT_EQ(GetDevModeText(dm->dmDeviceName), "Office");
    EXPECT_EQ(dm->dmDuplex, DMDUP_VERTICAL);
    EXPECT_EQ(dm->dmColor, DMCOLOR_COLOR);
    EXPECT_EQ(dm->dmPrintQuality, 600);
    EXPECT_EQ(dm->dmDriverExtra, kDriverExtraBytes);
    // A source with no standard bin number travels in the driver-private part.
    EXPECT_EQ(dm->dmDefaultSource, DMBIN_USER);
    EXPECT_EQ(ReadDriverOptions(dm.get()).at("media-source"), "tray-3");
}

TEST(PrinterDevMode, ValidationCorrectsWhatThePrinterCannotDo) {
    PrinterCapabilities plain;
    plain.mediaDefault = "na_letter_8.5x11in";
    plain.mediaSupported = {"na_letter_8.5x11in"};
    plain.resolutionsSupported = {{600, 600}};
    plain.copiesMax = 99;

    DevModePtr dm = DevModeFromCapabilities(ColourDuplexPrinter(), "Office");
    dm->dmCopies = 500;
    dm->dmPrintQuality = 1200;
    CorrectDevMode(*dm, plain);
    EXPECT_EQ(dm->dmDuplex, DMDUP_SIMPLEX);
    EXPECT_EQ(dm->dmColor, DMCOLOR_MONOCHROME);
    EXPECT_EQ(dm->dmPaperSize, DMPAPER_LETTER);
    EXPECT_EQ(GetDevModeText(dm->dmFormName), "Letter");
    EXPECT_EQ(dm->dmPrintQuality, 600);
    EXPECT_EQ(dm->dmCopies, 99);

    // What the printer can do stays as asked.
    DevModePtr kept = DevModeFromCapabilities(ColourDuplexPrinter(), "Office");
    kept->dmDuplex = DMDUP_HORIZONTAL;
    kept->dmPaperSize = DMPAPER_LETTER;
    CorrectDevMode(*kept, ColourDuplexPrinter());
    EXPECT_EQ(kept->dmDuplex, DMDUP_HORIZONTAL);
    EXPECT_EQ(kept->dmColor, DMCOLOR_COLOR);
    EXPECT_EQ(kept->dmPaperSize, DMPAPER_LETTER);
}

TEST(JobOptions, ProgramsOwnShareIsLeftOutAndDriverOptionsWin) {
    nlohmann::json attributes = {{"copies", "3"},
                                 {"collate", "true"},
                                 {"number-up", "2"},
                                 {"orientation-requested", "4"},
                                 {"sides", "two-sided-long-edge"},
                                 {"quality", "high"},
                                 {"media-source", "upper"},
                                 {"media-type", "auto"},
                                 {"finishings", "4"},
                                 {"media", "iso_a4_210x297mm"},
                                 {"Duplex", "DuplexNoTumble"},
                                 {"print-color-mode", "color"}};
    auto options = JobOptionsFromAttributes(attributes, {{"print-color-mode", "monochrome"}});
    const std::vector<std::pair<std::string, std::string>> expected = {
        {"Duplex", "DuplexNoTumble"},       {"finishings", "4"},
        {"media", "iso_a4_210x297mm"},      {"media-source", "top"},
        {"print-color-mode", "monochrome"}, {"print-quality", "5"},
        {"sides", "two-sided-long-edge"}};
    EXPECT_EQ(options, expected);
    EXPECT_TRUE(JobOptionsFromAttributes({{"finishings", "none"}}, {}).empty());
}

TEST(SheetGeometryTest, PortraitAndLandscapeWithUnevenMargins) {
    // Letter with margins of 1, 2, 3 and 4 tenths of an inch on left, right, top, bottom.
    MediaSize letter{"na_letter_8.5x11in", 21590, 27940, 254, 508, 762, 1016};
    SheetGeometry portrait = MakeSheetGeometry(letter, false, 600, 600);
    EXPECT_EQ(portrait.physicalWidth, 5100);
    EXPECT_EQ(portrait.physicalHeight, 6600);
    EXPECT_EQ(portrait.offsetX, 60);
    EXPECT_EQ(portrait.offsetY, 180);
    EXPECT_EQ(portrait.printableWidth, 5100 - 60 - 120);
    EXPECT_EQ(portrait.printableHeight, 6600 - 180 - 240);

    // A quarter turn: the top margin now lies left, the left one at the bottom.
    SheetGeometry landscape = MakeSheetGeometry(letter, true, 300, 300);
    EXPECT_DOUBLE_EQ(landscape.widthPoints, 792);
    EXPECT_DOUBLE_EQ(landscape.heightPoints, 612);
    EXPECT_EQ(landscape.offsetX, 90);
    EXPECT_EQ(landscape.offsetY, 60);
    EXPECT_EQ(landscape.printableWidth, 3300 - 90 - 120);
    EXPECT_EQ(landscape.printableHeight, 2550 - 60 - 30);

    // Device pixels from the printable corner, downwards; points from the bottom, upwards.
    PointRect r = DeviceToPoints(portrait, 600, 1200, 1200, 600);
    EXPECT_DOUBLE_EQ(r.x, (60 + 600) * 0.12);
    EXPECT_DOUBLE_EQ(r.width, 144);
    EXPECT_DOUBLE_EQ(r.height, 72);
    EXPECT_DOUBLE_EQ(r.y, 792 - (180 + 1200) * 0.12 - 72);
}

class SheetWriterTest : public ::testing::Test {
protected:
    std::string WriteToString(PdfSheetWriter& writer) {
        std::string out;
        std::string reason;
        EXPECT_TRUE(writer.Write(
            [&](const unsigned char* data, size_t size) {
                out.append(reinterpret_cast<const char*>(data), size);
                return true;
            },
            &reason))
            << reason;
        return out;
    }
    ScratchDir dir;
};

TEST_F(SheetWriterTest, PlacedPagesKeepTheirTextAndSheetsTheirSize) {
    const std::string source = dir.File("source.pdf");
    MakePdf(source, {kLetter, kA4});
    PdfSheetWriter writer;
    std::string reason;
    writer.BeginSheet(792, 612);
    ASSERT_TRUE(writer.PlacePage(source, 1, 0, 0, 396, 612, &reason)) << reason;
    ASSERT_TRUE(writer.PlacePage(source, 0, 396, 0, 396, 612, &reason)) << reason;
    writer.EndSheet();
    writer.BeginSheet(612, 792);
    auto bitmap = docmgr::Bitmap::Create(20, 10);
    bitmap->Fill(0, 0, 0);
    writer.PlaceImage(*bitmap, 100, 100, 200, 100);
    writer.EndSheet();
    EXPECT_EQ(writer.SheetCount(), 2u);
    EXPECT_FALSE(writer.PlacePage(source, 0, 0, 0, 1, 1, &reason)) << "no sheet is open";
    writer.BeginSheet(612, 792);
    EXPECT_FALSE(writer.PlacePage(source, 5, 0, 0, 1, 1, &reason));
    EXPECT_EQ(reason, "the document has no page 6");
    EXPECT_FALSE(writer.PlacePage(dir.File("missing.pdf"), 0, 0, 0, 1, 1, &reason));
    writer.EndSheet();

    const std::string job = dir.File("job.pdf");
    WriteFile(job, WriteToString(writer));
    gchar* uri = g_filename_to_uri(job.c_str(), nullptr, nullptr);
    PopplerDocument* doc = poppler_document_new_from_file(uri, nullptr, nullptr);
    g_free(uri);
    ASSERT_NE(doc, nullptr);
    EXPECT_EQ(poppler_document_get_n_pages(doc), 3);
    PopplerPage* first = poppler_document_get_page(doc, 0);
    double width = 0;
    double height = 0;
    poppler_page_get_size(first, &width, &height);
    EXPECT_EQ(std::make_pair(width, height), std::make_pair(792.0, 612.0));
    gchar* text = poppler_page_get_text(first);
    const std::string words = text;
    g_free(text);
    EXPECT_LT(words.find("Page 2"), words.find("Page 1")) << words;
    g_object_unref(first);
    g_object_unref(doc);
}

TEST_F(SheetWriterTest, ARefusingSinkStopsTheWrite) {
    PdfSheetWriter writer;
    writer.BeginSheet(612, 792);
    writer.EndSheet();
    std::string reason;
    EXPECT_FALSE(writer.Write([](const unsigned char*, size_t) { return false; }, &reason));
    EXPECT_NE(reason.find("refused"), std::string::npos) << reason;
}

}  // namespace
