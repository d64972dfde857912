#include <gtest/gtest.h>

#include <mutex>

#include "DocFilePageMgr/DocFilePageMgrLib/EmbeddedSettings.h"
#include "DocFilePageMgr/DocFilePageMgrLib/PageMgrPdfium.h"
#include "tests/support/LoadedDocument.h"
#include "tests/support/PdfFixtures.h"
#include "tests/support/TestSupport.h"

using namespace docmgr;
using namespace testsupport;

namespace {

const std::string kJson =
    R"({"PrintJobTitle": "Quarterly (final) report \\ draft", "PagesPerSheet": 2, "dmCopies": 2, "Note": "Grüße ✓"})";

class EmbeddedSettingsTest : public ::testing::Test {
protected:
    void SetUp() override { MakePdf(plain, {kLetter, kA4}); }
    std::string With(CarrierForm form, const std::string& name) {
        std::string path = dir.File(name);
        AddSettingsCarrier(plain, path, kJson, form);
        return path;
    }
    ScratchDir dir;
    std::string plain = dir.File("plain.pdf");
};

using LoadedPdf = LoadedDocument<PageMgrPdfium>;

// Mean brightness (0-255) of a rectangle of a rendered page.
double MeanLevel(const Bitmap& bitmap, int x0, int y0, int x1, int y1) {
    const uint8_t* bits = bitmap.Bits();
    double sum = 0;
    for (int y = y0; y < y1; ++y) {
        for (int x = x0; x < x1; ++x) {
            const uint8_t* p = bits + y * bitmap.Stride() + x * 4;
            sum += (p[0] + p[1] + p[2]) / 3.0;
        }
    }
    return sum / ((x1 - x0) * (y1 - y0));
}

}  // namespace

TEST_F(EmbeddedSettingsTest, LiteralCarrierGivesTheJsonUnescapedByteForByte) {
    EmbeddedSettingsResult result = ReadEmbeddedSettings(With(CarrierForm::Literal, "lit.pdf"));
    EXPECT_EQ(result.failureEvent, 0);
    EXPECT_EQ(result.json, kJson);
}

TEST_F(EmbeddedSettingsTest, LiteralCarrierInsideAnObjectStream) {
    std::string packed = dir.File("packed.pdf");
    PackIntoObjectStreams(With(CarrierForm::Literal, "lit.pdf"), packed);
    ASSERT_EQ(ReadFile(packed).find("NvrPrintJobSettings"), std::string::npos)
        << "the carrier should sit in a compressed object stream";
    EXPECT_EQ(ReadEmbeddedSettings(packed).json, kJson);
}

TEST_F(EmbeddedSettingsTest, BrokenChainsGiveNothingAndTellWhere) {
    struct Case {
        CarrierForm form;
        uint16_t event;
    };
    for (Case c : {Case{CarrierForm::Hex, 40}, Case{CarrierForm::DirectDictionary, 38},
                   Case{CarrierForm::MissingObject, 39}, Case{CarrierForm::SecondPageOnly, 42}}) {
        EmbeddedSettingsResult result = ReadEmbeddedSettings(With(c.form, "case.pdf"));
        EXPECT_EQ(result.json, "");
        EXPECT_EQ(result.failureEvent, c.event);
    }
    EXPECT_EQ(ReadEmbeddedSettings(plain).failureEvent, 42);
    EXPECT_EQ(ReadEmbeddedSettings(dir.File("missing.pdf")).failureEvent, 34);
    WriteFile(dir.File("junk.pdf"), "%PDF-1.4 nothing else");
    EXPECT_EQ(ReadEmbeddedSettings(dir.File("junk.pdf")).failureEvent, 35);
    EXPECT_EQ(ExtractEmbeddedSettings(dir.File("junk.pdf")), "");
}

TEST_F(EmbeddedSettingsTest, EncryptedFileWithUserPasswordYieldsNothing) {
    std::string locked = dir.File("locked.pdf");
    EncryptWithUserPassword(With(CarrierForm::Literal, "lit.pdf"), locked, "secret");
    EXPECT_EQ(ReadEmbeddedSettings(locked).json, "");
}

TEST(PdfSignature, OnlyALeadingHeaderCounts) {
    ScratchDir dir;
    WriteFile(dir.File("four.pdf"), "%PDF");
    WriteFile(dir.File("five.pdf"), "%PDF-");
    WriteFile(dir.File("late.pdf"), " %PDF-1.7");
    EXPECT_FALSE(PageMgrPdfium::CanHandleFile(dir.File("four.pdf")));
    EXPECT_TRUE(PageMgrPdfium::CanHandleFile(dir.File("five.pdf")));
    EXPECT_FALSE(PageMgrPdfium::CanHandleFile(dir.File("late.pdf")));
    EXPECT_FALSE(PageMgrPdfium::CanHandleFile(dir.File("none.pdf")));
}

TEST(PdfLoadErrors, TextsOfTheErrorTable) {
    EXPECT_EQ(PageMgrPdfium::LoadErrorText(4), "Password required");
    EXPECT_EQ(PageMgrPdfium::LoadErrorText(7), "Error code: 7");
}

TEST(PdfBackend, LoadReportsSettingsBeforePagesAndTruePageSizes) {
    ScratchDir dir;
    std::string path = dir.File("mixed.pdf");
    MakePdfWithSettings(path, {kLetter, kA4, kLetterLandscape}, kJson);
    LoadedPdf pdf(path);
    ASSERT_TRUE(pdf.ok);
    EXPECT_EQ(pdf.manager.m_pageCount, 3u);
    std::vector<DocMgrEventType> expected{LoadDocumentStart, DocumentSettingsAvailable,
                                          NewPageAvailable,  NewPageAvailable,
                                          NewPageAvailable,  LoadDocumentComplete};
    ASSERT_EQ(pdf.kinds, expected);
    EXPECT_EQ(std::get<DocumentSettingsAvailableData>(pdf.events[1]).settingsUtf8, kJson);
    const FixturePage sizes[] = {kLetter, kA4, kLetterLandscape};
    for (int i = 0; i < 3; ++i) {
        auto page = std::get<NewPageAvailableData>(pdf.events[2 + i]);
        EXPECT_EQ(page.pageNumber, i + 1u);
        EXPECT_NEAR(page.widthPoints, sizes[i].width, 0.01);
        EXPECT_NEAR(page.heightPoints, sizes[i].height, 0.01);
    }
}

TEST(PdfBackend, PlainPdfFiresNoSettingsEvent) {
    ScratchDir dir;
    MakePdf(dir.File("plain.pdf"), {kLetter});
    LoadedPdf pdf(dir.File("plain.pdf"));
    ASSERT_TRUE(pdf.ok);
    std::vector<DocMgrEventType> expected{LoadDocumentStart, NewPageAvailable,
                                          LoadDocumentComplete};
    EXPECT_EQ(pdf.kinds, expected);
}

TEST(PdfBackend, RendersRealPixelsAtThePixelSizeRule) {
    ScratchDir dir;
    MakePdf(dir.File("letter.pdf"), {kLetter});
    LoadedPdf pdf(dir.File("letter.pdf"));
    ASSERT_TRUE(pdf.ok);
    pdf.manager.SetTargetParams(Screen, {1.0, 96, 96});
    pdf.manager.SetTargetParams(Thumbnail, {0.2, 96, 96});
    auto screen = pdf.manager.GetPageImage(1, Screen);
    auto thumb = pdf.manager.GetPageImage(1, Thumbnail);
    ASSERT_TRUE(screen && thumb);
    EXPECT_EQ(screen->bitmap->Width(), 816);
    EXPECT_EQ(screen->bitmap->Height(), 1056);
    EXPECT_EQ(thumb->bitmap->Width(), 163);
    EXPECT_EQ(thumb->bitmap->Height(), 211);
    const Bitmap& b = *screen->bitmap;
    double margin = MeanLevel(b, 0, 0, 60, 60);
    double band = MeanLevel(b, 100, 480, 700, 560);
    double text = MeanLevel(b, 96, 110, 300, 160);
    EXPECT_GT(margin, 250);        // white paper
    EXPECT_LT(band, 10);           // the black band
    EXPECT_LT(text, margin - 20);  // the "Page 1" text
}

TEST(PdfBackend, TinyScaleThatRoundsToNothingFails) {
    ScratchDir dir;
    MakePdf(dir.File("letter.pdf"), {kLetter});
    LoadedPdf pdf(dir.File("letter.pdf"));
    ASSERT_TRUE(pdf.ok);
    pdf.manager.SetTargetParams(Thumbnail, {0.0001, 1, 1});
    LogCapture log;
    EXPECT_FALSE(pdf.manager.GetPageImage(1, Thumbnail));
    EXPECT_TRUE(log.Contains("Invalid dimensions calculated (0x0)"));
}

TEST(PdfBackend, BadFilesFailWithTheirReasons) {
    ScratchDir dir;
    MakePdf(dir.File("good.pdf"), {kLetter, kLetter});
    EncryptWithUserPassword(dir.File("good.pdf"), dir.File("locked.pdf"), "secret");
    WriteFile(dir.File("five.pdf"), "%PDF-");
    std::string good = ReadFile(dir.File("good.pdf"));
    WriteFile(dir.File("truncated.pdf"), good.substr(0, 40));

    struct Case {
        std::string file;
        std::string reason;
    };
    for (const Case& c : {Case{"locked.pdf", "Password required"},
                          Case{"five.pdf", "File not in PDF format or corrupted"},
                          Case{"truncated.pdf", "File not in PDF format or corrupted"},
                          Case{"missing.pdf", "File not found or could not be opened"}}) {
        LogCapture log;
        LoadedPdf pdf(dir.File(c.file));
        EXPECT_FALSE(pdf.ok) << c.file;
        EXPECT_TRUE(log.Contains("Failed to load PDF (" + c.reason + "): " + dir.File(c.file)))
            << c.file << "\n"
            << log.Text();
        ASSERT_FALSE(pdf.kinds.empty());
        EXPECT_EQ(pdf.kinds.back(), DocumentLoadError);
    }
}
