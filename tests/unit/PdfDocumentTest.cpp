// PDF documents: the job settings a document carries on its first page, the load that reports
// them before the pages, and files that cannot be read.
#include <gtest/gtest.h>

#include "DocFilePageMgr/DocFilePageMgrLib/EmbeddedSettings.h"
#include "DocFilePageMgr/DocFilePageMgrLib/PageMgrPdfium.h"
#include "tests/support/LoadedDocument.h"
#include "tests/support/PdfFixtures.h"
#include "tests/support/TestSupport.h"

using namespace docmgr;
using namespace testsupport;
using LoadedPdf = LoadedDocument<PageMgrPdfium>;

namespace {

const std::string kJson =
    R"({"PrintJobTitle": "Quarterly (final) report \\ draft", "PagesPerSheet": 2, "Note": "Grüße ✓"})";

}  // namespace

TEST(PdfSettings, OnlyALiteralCarrierOnPageOneGivesTheJsonByteForByte) {
    ScratchDir dir;
    const std::string plain = dir.File("plain.pdf");
    MakePdf(plain, {kLetter, kA4});
    auto with = [&](CarrierForm form) {
        AddSettingsCarrier(plain, dir.File("case.pdf"), kJson, form);
        return dir.File("case.pdf");
    };
    EXPECT_EQ(ReadEmbeddedSettings(with(CarrierForm::Literal)).json, kJson);
    PackIntoObjectStreams(with(CarrierForm::Literal), dir.File("packed.pdf"));
    EXPECT_EQ(ReadEmbeddedSettings(dir.File("packed.pdf")).json, kJson);
    EncryptWithUserPassword(with(CarrierForm::Literal), dir.File("locked.pdf"), "secret");
    EXPECT_EQ(ReadEmbeddedSettings(dir.File("locked.pdf")).json, "");
    for (CarrierForm form : {CarrierForm::Hex, CarrierForm::DirectDictionary,
                             CarrierForm::MissingObject, CarrierForm::SecondPageOnly}) {
        EXPECT_EQ(ReadEmbeddedSettings(with(form)).json, "") << static_cast<int>(form);
    }
    EXPECT_EQ(ReadEmbeddedSettings(dir.File("missing.pdf")).json, "");
}

TEST(PdfLoad, SettingsBeforePagesOfTheirTrueSizes) {
    ScratchDir dir;
    MakePdfWithSettings(dir.File("mixed.pdf"), {kLetter, kA4, kLetterLandscape}, kJson);
    MakePdf(dir.File("plain.pdf"), {kLetter});
    LoadedPdf pdf(dir.File("mixed.pdf"));
    ASSERT_TRUE(pdf.ok);
    ASSERT_EQ(pdf.kinds, (std::vector<DocMgrEventType>{LoadDocumentStart, DocumentSettingsAvailable,
                                                       NewPageAvailable, NewPageAvailable,
                                                       NewPageAvailable, LoadDocumentComplete}));
    EXPECT_EQ(std::get<DocumentSettingsAvailableData>(pdf.events[1]).settingsUtf8, kJson);
    const auto sizes = pdf.PageSizes();
    ASSERT_EQ(sizes.size(), 3u);
    EXPECT_NEAR(sizes[1].first, kA4.width, 0.01);
    EXPECT_NEAR(sizes[1].second, kA4.height, 0.01);
    EXPECT_EQ(sizes[2], std::make_pair(792.0, 612.0));
    LoadedPdf plain(dir.File("plain.pdf"));
    EXPECT_EQ(plain.kinds, (std::vector<DocMgrEventType>{LoadDocumentStart, NewPageAvailable,
                                                         LoadDocumentComplete}));
}

TEST(PdfLoad, UnreadableFilesFailTheLoad) {
    ScratchDir dir;
    MakePdf(dir.File("good.pdf"), {kLetter, kLetter});
    EncryptWithUserPassword(dir.File("good.pdf"), dir.File("locked.pdf"), "secret");
    WriteFile(dir.File("five.pdf"), "%PDF-");
    WriteFile(dir.File("truncated.pdf"), ReadFile(dir.File("good.pdf")).substr(0, 40));
    for (const char* file : {"locked.pdf", "five.pdf", "truncated.pdf", "missing.pdf"}) {
        LoadedPdf pdf(dir.File(file));
        EXPECT_FALSE(pdf.ok) << file;
        ASSERT_FALSE(pdf.kinds.empty()) << file;
        EXPECT_EQ(pdf.kinds.back(), DocumentLoadError) << file;
    }
}
