// What a printer's description turns into: the default DEVMODE and the driver's corrections,
// the job's options, the sheet's geometry, and the job's PDF itself.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>
#include <qpdf/QPDFPageObjectHelper.hh>
#include <qpdf/QPDFWriter.hh>

#include "NvrPrintUtils/IppDevMode.h"
#include "SystemServices/JobPdf/PdfSheetWriter.h"
#include "SystemServices/JobPdf/SheetGeometry.h"
#include "tests/support/PageRender.h"
#include "tests/support/PdfFixtures.h"
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

TEST(JobOptions, SchedulerNeverRepeatsTheProgramsWorkAndDriverOptionsWin) {
    nlohmann::json attributes = {{"copies", "3"},
                                 {"collate", "true"},
                                 {"number-up", "2"},
                                 {"page-delivery", "reverse-order"},
                                 {"orientation-requested", "4"},
                                 {"sides", "two-sided-long-edge"},
                                 {"quality", "high"},
                                 {"media-source", "upper"},
                                 {"media-type", "auto"},
                                 {"finishings", "4"},
                                 {"media", "iso_a4_210x297mm"},
                                 {"Duplex", "DuplexNoTumble"},
                                 {"print-color-mode", "color"}};
    // A custom bin's name in the driver-private part has served the attribute document; it
    // never stands beside the bin the job asks for.
    auto options = JobOptionsFromAttributes(
        attributes, {{"print-color-mode", "monochrome"}, {"media-source", "main"}});
    const std::vector<std::pair<std::string, std::string>> expected = {
        {"Duplex", "DuplexNoTumble"},
        {"copies", "1"},
        {"finishings", "4"},
        {"fit-to-page", "false"},
        {"media", "iso_a4_210x297mm"},
        {"media-source", "top"},
        {"number-up", "1"},
        {"outputorder", "normal"},
        {"page-delivery", "same-order"},
        {"print-color-mode", "monochrome"},
        {"print-quality", "5"},
        {"print-scaling", "none"},
        {"sides", "two-sided-long-edge"}};
    EXPECT_EQ(options, expected);
    // Even an empty job says so, whatever the queue's defaults.
    auto plain = JobOptionsFromAttributes({{"finishings", "none"}}, {});
    EXPECT_EQ(plain.size(), 6u);
    EXPECT_EQ(std::count(plain.begin(), plain.end(),
                         std::pair<std::string, std::string>{"finishings", "none"}),
              0);
    // Where the printer takes the pages as they are, its own defaults stand.
    EXPECT_TRUE(JobOptionsFromAttributes({{"copies", "2"}}, {}, SheetLayout::ByPrinter).empty());
}

TEST(JobOptions, PpdChoicesThatRestateTheDefaultsStayHome) {
    const nlohmann::json ppd = {{"ColorModel", {"FastGray", "Gray", "RGB"}},
                                {"InputSlot", {"Auto", "Main", "Manual"}}};
    const nlohmann::json defaults = {
        {"ColorModel", "Gray"}, {"InputSlot", "Main"}, {"print-color-mode", "monochrome"}};
    const nlohmann::json job = {
        {"ColorModel", "Gray"}, {"InputSlot", "Manual"}, {"print-color-mode", "monochrome"}};
    EXPECT_EQ(WithoutDefaultPpdChoices(job, defaults, ppd),
              (nlohmann::json{{"InputSlot", "Manual"}, {"print-color-mode", "monochrome"}}));
    EXPECT_EQ(WithoutDefaultPpdChoices(job, defaults, nlohmann::json::object()), job);
}

TEST(PrinterDevMode, FormNamesAndCustomSizesChooseThePaper) {
    int width = 0;
    int length = 0;
    ASSERT_TRUE(MediaDimensions("na_letter_8.5x11in", &width, &length));
    EXPECT_EQ(std::make_pair(width, length), std::make_pair(21590, 27940));
    ASSERT_TRUE(MediaDimensions(CustomMediaName(1000, 1505), &width, &length));
    EXPECT_EQ(std::make_pair(width, length), std::make_pair(10000, 15050));
    EXPECT_EQ(CustomMediaName(1000, 1500), "custom_100x150mm_100x150mm");
    EXPECT_FALSE(MediaDimensions("Letter", &width, &length));

    // The printer's default paper number left standing beside a form name asked for.
    DevModePtr form = DevModeFromCapabilities(ColourDuplexPrinter(), "Office");
    SetDevModeText(form->dmFormName, "Letter");
    CorrectDevMode(*form, ColourDuplexPrinter());
    EXPECT_EQ(form->dmPaperSize, DMPAPER_LETTER);
    EXPECT_EQ(MediaForDevMode(*form), "na_letter_8.5x11in");
    // A paper number asked for beside the default form name; both asked for: the number.
    DevModePtr number = DevModeFromCapabilities(ColourDuplexPrinter(), "Office");
    number->dmPaperSize = DMPAPER_LETTER;
    CorrectDevMode(*number, ColourDuplexPrinter());
    EXPECT_EQ(GetDevModeText(number->dmFormName), "Letter");
    SetDevModeText(number->dmFormName, "A4");
    number->dmPaperSize = DMPAPER_LETTER;
    CorrectDevMode(*number, ColourDuplexPrinter());
    EXPECT_EQ(MediaForDevMode(*number), "na_letter_8.5x11in");
    // A form the printer does not have becomes its default.
    DevModePtr unknown = DevModeFromCapabilities(ColourDuplexPrinter(), "Office");
    SetDevModeText(unknown->dmFormName, "Poster");
    CorrectDevMode(*unknown, ColourDuplexPrinter());
    EXPECT_EQ(GetDevModeText(unknown->dmFormName), "A4");

    // Custom paper overrides the number where the printer takes custom sizes...
    PrinterCapabilities custom = ColourDuplexPrinter();
    custom.customMinWidth = 7620;
    custom.customMinLength = 12700;
    custom.customMaxWidth = 21590;
    custom.customMaxLength = 35560;
    DevModePtr card = DevModeFromCapabilities(custom, "Office");
    card->dmPaperWidth = 1000;
    card->dmPaperLength = 1500;
    card->dmFields |= DM_PAPERWIDTH | DM_PAPERLENGTH;
    CorrectDevMode(*card, custom);
    EXPECT_EQ(MediaForDevMode(*card), "custom_100x150mm_100x150mm");
    // ...and becomes the nearest paper it has elsewhere, or beyond its range.
    CorrectDevMode(*card, ColourDuplexPrinter());
    EXPECT_EQ(MediaForDevMode(*card), "na_letter_8.5x11in");
    EXPECT_EQ(card->dmFields & (DM_PAPERWIDTH | DM_PAPERLENGTH), 0u);
    DevModePtr large = DevModeFromCapabilities(custom, "Office");
    large->dmPaperWidth = 2100;
    large->dmPaperLength = 3000;
    large->dmFields |= DM_PAPERWIDTH | DM_PAPERLENGTH;
    custom.customMaxLength = 29000;
    CorrectDevMode(*large, custom);
    EXPECT_EQ(large->dmPaperSize, DMPAPER_A4);
    // The bounds of the custom range are listed as media, yet are no paper to print on.
    custom.mediaSupported.push_back("custom_min_3x5in");
    DevModePtr small = DevModeFromCapabilities(custom, "Office");
    small->dmPaperWidth = 500;
    small->dmPaperLength = 800;
    small->dmFields |= DM_PAPERWIDTH | DM_PAPERLENGTH;
    CorrectDevMode(*small, custom);
    EXPECT_FALSE(MediaForDevMode(*small).starts_with("custom_")) << MediaForDevMode(*small);
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

    // A scale of one half halves the rectangle and its distance from the printable corner.
    SheetGeometry half = portrait;
    half.scale = 0.5;
    PointRect h = DeviceToPoints(half, 600, 1200, 1200, 600);
    EXPECT_DOUBLE_EQ(h.x, (60 + 300) * 0.12);
    EXPECT_DOUBLE_EQ(h.width, 72);
    EXPECT_DOUBLE_EQ(h.height, 36);
    EXPECT_DOUBLE_EQ(h.y, 792 - (180 + 600) * 0.12 - 36);
}

class SheetWriterTest : public ::testing::Test {
protected:
    PdfSheetWriter::Sink Collect() {
        return [this](const unsigned char* data, size_t size) {
            written.append(reinterpret_cast<const char*>(data), size);
            return true;
        };
    }
    // The written document's pages: size as shown and text.
    struct Sheet {
        double width;
        double height;
        std::string text;
    };
    std::vector<Sheet> ReadBack() {
        const std::string path = dir.File("job.pdf");
        WriteFile(path, written);
        std::vector<Sheet> sheets;
        for (const std::string& text : PageTexts(path)) {
            const auto [width, height] = PageSize(path, static_cast<int>(sheets.size()));
            sheets.push_back({width, height, text});
        }
        return sheets;
    }
    ScratchDir dir;
    std::string written;
    std::string reason;
};

TEST_F(SheetWriterTest, PlacedPagesKeepTheirTextAndSheetsTheirSize) {
    const std::string source = dir.File("source.pdf");
    MakePdf(source, {kLetter, kA4});
    PdfSheetWriter writer(Collect());
    writer.BeginSheet(792, 612);
    ASSERT_TRUE(writer.PlacePage(source, 1, 0, 0, 396, 612, &reason)) << reason;
    ASSERT_TRUE(writer.PlacePage(source, 0, 396, 0, 396, 612, &reason)) << reason;
    ASSERT_TRUE(writer.EndSheet(&reason));
    writer.BeginSheet(612, 792);
    ASSERT_TRUE(writer.PlacePage(source, 0, 0, 300, 306, 396, &reason)) << reason;
    ASSERT_TRUE(writer.EndSheet(&reason));
    EXPECT_FALSE(writer.PlacePage(source, 0, 0, 0, 1, 1, &reason)) << "no sheet is open";
    writer.BeginSheet(612, 792);
    EXPECT_FALSE(writer.PlacePage(source, 5, 0, 0, 1, 1, &reason));
    EXPECT_EQ(reason, "the document has no page 6");
    EXPECT_FALSE(writer.PlacePage(dir.File("missing.pdf"), 0, 0, 0, 1, 1, &reason));
    ASSERT_TRUE(writer.EndSheet(&reason));
    ASSERT_TRUE(writer.Finish(&reason));
    EXPECT_EQ(writer.SheetCount(), 3u);
    EXPECT_EQ(writer.BytesWritten(), written.size());

    const std::vector<Sheet> sheets = ReadBack();
    ASSERT_EQ(sheets.size(), 3u);
    EXPECT_EQ(std::make_pair(sheets[0].width, sheets[0].height), std::make_pair(792.0, 612.0));
    EXPECT_LT(sheets[0].text.find("Page 2"), sheets[0].text.find("Page 1")) << sheets[0].text;
    EXPECT_EQ(sheets[1].text, "Page 1");
    EXPECT_EQ(sheets[2].text, "");
    // The page used twice went in once; the job is about the size of its source.
    EXPECT_LT(written.size(), ReadFile(source).size() * 3 / 2);
}

TEST_F(SheetWriterTest, PagesHangFromTheCornerFittedOnceOrAtTheirOwnSize) {
    const std::string source = dir.File("source.pdf");
    MakePdf(source, {kLetter});
    PdfSheetWriter writer(Collect());
    // Letter into the left half of a landscape sheet: fitted by width to 396 by 512.5 points,
    // at the top of its cell, so its band (two to three fifths down) lies 205 to 307.5 down.
    writer.BeginSheet(792, 612);
    ASSERT_TRUE(writer.PlacePage(source, 0, 0, 0, 396, 612, &reason)) << reason;
    ASSERT_TRUE(writer.EndSheet(&reason));
    // At half its size from (100, 92) down: the band is 79 points high, from 250 down.
    writer.BeginSheet(612, 792);
    ASSERT_TRUE(writer.PlacePageAtScale(source, 0, 100, 700, 0.5, &reason)) << reason;
    EXPECT_FALSE(writer.PlacePageAtScale(source, 0, 0, 0, 0, &reason));
    EXPECT_FALSE(writer.PlacePage(source, 0, 0, 0, 0, 10, &reason));
    ASSERT_TRUE(writer.EndSheet(&reason));
    ASSERT_TRUE(writer.Finish(&reason));
    const std::string job = dir.File("job.pdf");
    WriteFile(job, written);

    EXPECT_TRUE(DarkAt(job, 0, 200, 215));
    EXPECT_FALSE(DarkAt(job, 0, 200, 330)) << "a centred page would be dark here";
    EXPECT_FALSE(DarkAt(job, 0, 600, 250)) << "the right half stays empty";
    const int band = DarkRowsInColumn(job, 1, 300);
    EXPECT_GE(band, 78);
    EXPECT_LE(band, 80);
    EXPECT_TRUE(DarkAt(job, 1, 300, 255));
    EXPECT_FALSE(DarkAt(job, 1, 300, 245));
    EXPECT_EQ(DarkRowsInColumn(job, 1, 50), 0) << "nothing left of the corner";
}

TEST_F(SheetWriterTest, EncryptedRotatedAndMultiStreamSourcesAndManyPlacements) {
    const std::string plain = dir.File("plain.pdf");
    MakePdf(plain, {kLetter, kLetter});
    // Encrypted with an empty user password, page 2 turned, page 1's content split in two.
    const std::string encrypted = dir.File("encrypted.pdf");
    EncryptWithUserPassword(plain, encrypted, "");
    const std::string reshaped = dir.File("reshaped.pdf");
    {
        QPDF pdf;
        pdf.processFile(plain.c_str());
        auto pages = QPDFPageDocumentHelper(pdf).getAllPages();
        pages[1].rotatePage(90, false);
        QPDFObjectHandle extra = QPDFObjectHandle::newStream(&pdf, "q Q\n");
        pages[0].getObjectHandle().replaceKey(
            "/Contents",
            QPDFObjectHandle::newArray({pages[0].getObjectHandle().getKey("/Contents"), extra}));
        QPDFWriter writer(pdf, reshaped.c_str());
        writer.write();
    }
    PdfSheetWriter writer(Collect());
    // More placements than one opening of a source serves.
    for (int i = 0; i < 300; ++i) {
        writer.BeginSheet(612, 792);
        ASSERT_TRUE(writer.PlacePage(i % 2 ? encrypted : reshaped, i % 2, 0, 0, 612, 792, &reason))
            << reason;
        ASSERT_TRUE(writer.EndSheet(&reason));
    }
    ASSERT_TRUE(writer.Finish(&reason));
    const std::vector<Sheet> sheets = ReadBack();
    ASSERT_EQ(sheets.size(), 300u);
    EXPECT_EQ(sheets[0].text, "Page 1");
    EXPECT_EQ(sheets[1].text, "Page 2");
    EXPECT_EQ(sheets[299].text, "Page 2");
    // Each source page was written once, whatever the number of sheets.
    EXPECT_LT(written.size(), 300u * 400);
}

TEST_F(SheetWriterTest, AnnotationsAppearAsPrintingShowsThem) {
    const std::string plain = dir.File("plain.pdf");
    MakePdf(plain, {kLetter});
    const std::string annotated = dir.File("annotated.pdf");
    {
        QPDF pdf;
        pdf.processFile(plain.c_str());
        QPDFObjectHandle page = pdf.getAllPages().at(0);
        auto square = [&](double x, int flags) {
            QPDFObjectHandle appearance = QPDFObjectHandle::newStream(&pdf, "0 g 0 0 50 50 re f");
            appearance.getDict().replaceKey("/Type", QPDFObjectHandle::newName("/XObject"));
            appearance.getDict().replaceKey("/Subtype", QPDFObjectHandle::newName("/Form"));
            appearance.getDict().replaceKey("/BBox",
                                            QPDFObjectHandle::newFromRectangle({0, 0, 50, 50}));
            QPDFObjectHandle annotation = QPDFObjectHandle::parse(
                fmt::format("<< /Type /Annot /Subtype /Square /Rect [{} 650 {} 700] /F {} >>", x,
                            x + 50, flags));
            annotation.replaceKey("/AP", QPDFObjectHandle::parse("<< >>"));
            annotation.getKey("/AP").replaceKey("/N", appearance);
            return pdf.makeIndirectObject(annotation);
        };
        // Printed; hidden; shown on screen only.
        page.replaceKey("/Annots", QPDFObjectHandle::newArray(
                                       {square(400, 4), square(480, 4 | 2), square(300, 0)}));
        QPDFWriter writer(pdf, annotated.c_str());
        writer.write();
    }
    PdfSheetWriter writer(Collect());
    writer.BeginSheet(612, 792);
    ASSERT_TRUE(writer.PlacePage(annotated, 0, 0, 0, 612, 792, &reason)) << reason;
    ASSERT_TRUE(writer.EndSheet(&reason));
    ASSERT_TRUE(writer.Finish(&reason));
    const std::string job = dir.File("job.pdf");
    WriteFile(job, written);
    EXPECT_TRUE(DarkAt(job, 0, 425, 792 - 675));
    EXPECT_FALSE(DarkAt(job, 0, 505, 792 - 675));
    EXPECT_FALSE(DarkAt(job, 0, 325, 792 - 675));
    EXPECT_TRUE(DarkAt(job, 0, 306, 396)) << "the page's own content is there too";
}

TEST_F(SheetWriterTest, ARefusingSinkStopsTheWriter) {
    const std::string source = dir.File("source.pdf");
    MakePdf(source, {kLetter});
    int calls = 0;
    PdfSheetWriter writer([&](const unsigned char*, size_t) { return ++calls < 2; });
    writer.BeginSheet(612, 792);
    EXPECT_FALSE(writer.PlacePage(source, 0, 0, 0, 612, 792, &reason));
    EXPECT_NE(reason.find("refused"), std::string::npos) << reason;
    EXPECT_FALSE(writer.EndSheet(&reason));
    EXPECT_FALSE(writer.Finish(&reason));
}

}  // namespace
