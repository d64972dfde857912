// XPS packages through the real program: how a named file is recognised. Broken and hostile
// packages are refused at load (the backend's tests).
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/PdfFixtures.h"
#include "tests/support/Process.h"
#include "tests/support/TestSupport.h"
#include "tests/support/XpsFixtures.h"

using namespace testsupport;

namespace {

ProcessResult RunProgram(const ScratchDir& tmp, std::vector<std::string> args) {
    args.insert(args.begin(), {ProgramPath(), "-usePreviewApp=never", "-logLevel=5"});
    ProcessOptions options;
    options.setEnv.emplace("TMPDIR", tmp.Path());
    return RunProcess(args, options);
}

TEST(XpsRunTest, PackagesAreRecognisedByContentAndOtherFilesRefused) {
    ScratchDir tmp;
    ScratchDir work;
    // The first entry is the font: only the directory shows the package.
    std::vector<ZipEntry> parts = XpsParts({{kXpsLetter, kXpsLetterLandscape}});
    std::rotate(parts.begin(), parts.end() - 1, parts.end());
    const std::string doc = work.File("late-markers.xps");
    WriteFile(doc, MakeZip(parts));
    const std::string zip = work.File("plain.zip");
    WriteFile(zip, MakeZip({{"notes.txt", Noise(2000)}, {"_rels/.rels", "<Relationships/>"}}));
    const std::string pdf = work.File("doc.pdf");
    MakePdf(pdf, {kLetter});

    // Without a display the preview cannot open: what counts is whether the document loads.
    struct Case {
        std::vector<std::string> args;
        bool loads;
        std::string logged;
    };
    const std::vector<Case> cases = {
        {{"-interactive", doc}, true, "File is a valid XPS/OXPS: " + doc},
        {{"-interactive", "-type=xps", doc}, true, "Loading XPS document: " + doc},
        {{"-interactive", zip}, false, "ZIP file is not XPS/OXPS: " + zip},
        {{"-interactive", pdf}, true, "File can be handled by PDFium"},
        {{"-interactive", "-type=xps", pdf}, false, "Loading XPS document: " + pdf},
    };
    for (const Case& c : cases) {
        const ProcessResult r = RunProgram(tmp, c.args);
        EXPECT_NE(r.out.find(c.logged), std::string::npos) << r.out;
        EXPECT_EQ(r.out.find("Successfully loaded document") != std::string::npos, c.loads)
            << c.args.back();
        if (!c.loads) {
            EXPECT_EQ(r.exitCode, 1);
            EXPECT_EQ(r.err,
                      "[NvrPrintHelper Error] Failed to load document: " + c.args.back() + "\n");
        }
    }
}

}  // namespace
