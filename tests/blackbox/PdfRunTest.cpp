// Real PDFs through the real program: loading, embedded settings and the mode decision.
#include <gtest/gtest.h>

#include "tests/support/PdfFixtures.h"
#include "tests/support/Process.h"
#include "tests/support/TestSupport.h"

using namespace testsupport;

namespace {

class PdfRunTest : public ::testing::Test {
protected:
    ProcessResult Run(std::vector<std::string> args, ProcessOptions options = {}) {
        args.insert(args.begin(), ProgramPath());
        options.setEnv.emplace("TMPDIR", tmp.Path());
        return RunProcess(args, options);
    }
    ScratchDir tmp;
    ScratchDir work;
};

bool Has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

}  // namespace

TEST_F(PdfRunTest, InteractiveRunLoadsAndLogsSettingsAndDecision) {
    std::string doc = work.File("doc.pdf");
    MakePdfWithSettings(doc, {kLetter, kLetter, kA4},
                        R"({"PagesPerSheet": 2, "bReversePages": true})");
    ProcessResult r = Run({"-usePreviewApp=never", "-interactive", "-logLevel=4", doc});
    EXPECT_TRUE(Has(r.out, "Successfully loaded document with 3 page(s)")) << r.out;
    EXPECT_TRUE(Has(r.out, "Event received: DocumentSettingsAvailable"));
    EXPECT_TRUE(Has(r.out, "Stored document settings (PagesPerSheet=2, Reverse=true)"));
    EXPECT_TRUE(Has(r.out, "Forced interactive mode by command line flag"));
    EXPECT_TRUE(Has(r.out, "Executing interactive mode"));
}

TEST_F(PdfRunTest, EmbeddedPreviewWithoutPrinterDecidesInteractiveAndSilentFlagWins) {
    std::string doc = work.File("preview.pdf");
    MakePdfWithSettings(doc, {kLetter}, R"({"bShowPreview": true})");

    ProcessResult r = Run({"-usePreviewApp=never", doc});
    EXPECT_TRUE(
        Has(r.out, "Operation mode determined (override=false, document=true): Interactive"))
        << r.out;
    EXPECT_TRUE(Has(r.out, "Executing interactive mode"));

    r = Run({"-usePreviewApp=never", "-silent", doc});
    EXPECT_TRUE(Has(r.out, "Forced silent mode by command line flag"));
    EXPECT_TRUE(Has(r.out, "Executing silent mode"));
}

TEST_F(PdfRunTest, PipedPdfIsCapturedAndLoaded) {
    std::string doc = work.File("doc.pdf");
    MakePdf(doc, {kLetter, kLetter});
    ProcessOptions options;
    options.stdinData = ReadFile(doc);
    ProcessResult r = Run({"-type=pdfium", "-usePreviewApp=never", "-", "PrinterA"}, options);
    EXPECT_TRUE(Has(r.out, "Successfully loaded document with 2 page(s)")) << r.out;
    EXPECT_TRUE(Has(r.out, "Defaulting to silent mode (override=false, pipe=true)"));
}

TEST_F(PdfRunTest, DamagedPdfFailsToLoad) {
    WriteFile(work.File("bad.pdf"), "%PDF-1.7\nthis is not a document\n");
    ProcessResult r = Run({work.File("bad.pdf")});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.err,
              "[NvrPrintHelper Error] Failed to load document: " + work.File("bad.pdf") + "\n");
}

TEST_F(PdfRunTest, RelativePathIsLoaded) {
    MakePdf(work.File("relative.pdf"), {kLetter});
    ProcessOptions options;
    options.workingDirectory = work.Path();
    ProcessResult r = Run({"-usePreviewApp=never", "-interactive", "relative.pdf"}, options);
    EXPECT_TRUE(Has(r.out, "Successfully loaded document with 1 page(s)")) << r.out;
}
