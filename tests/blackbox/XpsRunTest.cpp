// XPS packages through the real program: detection and loading, named or piped. Broken and
// hostile packages are refused at load (the backend's tests).
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/PdfFixtures.h"
#include "tests/support/Process.h"
#include "tests/support/TestSupport.h"
#include "tests/support/XpsFixtures.h"

using namespace testsupport;

namespace {

bool Has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

class XpsRunTest : public ::testing::Test {
protected:
    ProcessResult Run(std::vector<std::string> args, ProcessOptions options = {}) {
        args.insert(args.begin(), {ProgramPath(), "-usePreviewApp=never", "-logLevel=5"});
        options.setEnv.emplace("TMPDIR", tmp.Path());
        return RunProcess(args, options);
    }
    static std::string LoadBox(const std::string& path) {
        return "[NvrPrintHelper Error] Failed to load document: " + path + "\n";
    }
    ScratchDir tmp;
    ScratchDir work;
};

TEST_F(XpsRunTest, PackagesAreDetectedAfterPdfAndLoadWithoutSettings) {
    const std::string doc = work.File("two.xps");
    MakeXps(doc,
            {{kXpsLetter, kXpsLetterLandscape, kXpsLetter}, {kXpsLetterLandscape, kXpsLetter}});
    ProcessResult r = Run({"-interactive", doc});
    EXPECT_TRUE(Has(r.out, "File is not a PDF: " + doc)) << r.out;
    EXPECT_LT(r.out.find("File is not a PDF: "), r.out.find("File is a valid XPS/OXPS: "));
    EXPECT_TRUE(Has(r.out, "Returning XPS manager"));
    EXPECT_TRUE(Has(r.out, "Document type: XPS"));
    EXPECT_TRUE(Has(r.out, "Successfully loaded document with 5 page(s)"));
    EXPECT_TRUE(Has(r.out, "Load complete but no document settings received (older HSA)"));
    EXPECT_FALSE(Has(r.out, "DocumentSettingsAvailable"));

    // A PDF is never offered to the XPS manager.
    const std::string pdf = work.File("doc.pdf");
    MakePdf(pdf, {kLetter});
    r = Run({"-interactive", pdf});
    EXPECT_TRUE(Has(r.out, "File can be handled by PDFium"));
    EXPECT_FALSE(Has(r.out, "File is not a ZIP archive"));
}

TEST_F(XpsRunTest, DetectionReadsTheDirectoryAndTypeXpsSkipsIt) {
    // A package whose first entry is its font names no XPS marker early: its directory shows
    // the package.
    std::vector<ZipEntry> parts = XpsParts({{kXpsLetter}});
    std::rotate(parts.begin(), parts.end() - 1, parts.end());
    ASSERT_EQ(parts.front().name, "Resources/DejaVuSans.ttf");
    const std::string doc = work.File("late-markers.xps");
    WriteFile(doc, MakeZip(parts));
    ProcessResult r = Run({"-interactive", doc});
    EXPECT_TRUE(Has(r.out, "File is a valid XPS/OXPS: " + doc)) << r.out;
    EXPECT_TRUE(Has(r.out, "Successfully loaded document with 1 page(s)"));

    // A ZIP that is no package is refused by name.
    const std::string zip = work.File("plain.zip");
    WriteFile(zip, MakeZip({{"notes.txt", Noise(2000)}, {"_rels/.rels", "<Relationships/>"}}));
    r = Run({"-interactive", zip});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(Has(r.out, "ZIP file is not XPS/OXPS: " + zip)) << r.out;
    EXPECT_EQ(r.err, LoadBox(zip));

    r = Run({"-interactive", "-type=xps", doc});
    EXPECT_FALSE(Has(r.out, "Auto-detecting document type")) << r.out;
    EXPECT_TRUE(Has(r.out, "Successfully loaded document with 1 page(s)"));

    // A PDF under -type=xps reaches the XPS manager and fails there.
    const std::string pdf = work.File("doc.pdf");
    MakePdf(pdf, {kLetter});
    r = Run({"-interactive", "-type=xps", pdf});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(Has(r.out, "Loading XPS document: " + pdf));
    EXPECT_EQ(r.err, LoadBox(pdf));
}

TEST_F(XpsRunTest, PipedPackageIsCapturedAsXps) {
    const std::string doc = work.File("piped.xps");
    MakeXps(doc, {{kXpsLetter, kXpsLetterLandscape}}, {.openXps = true});
    ProcessOptions options;
    options.stdinData = ReadFile(doc);
    ProcessResult r = Run({"-interactive", "-type=xps", "-"}, options);
    EXPECT_TRUE(Has(r.out, "Successfully loaded document with 2 page(s)")) << r.out;
    EXPECT_TRUE(Has(r.out, "_Data.xps"));
}

}  // namespace
