// Handing documents to the desktop's applications, with a private set of XDG directories
// in which a test application may be the registered viewer of PDFs.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "tests/support/PdfFixtures.h"
#include "tests/support/Process.h"
#include "tests/support/TestSupport.h"

using namespace testsupport;
namespace fs = std::filesystem;

namespace {

TEST(ExternalHandlerTest, DocumentGoesToTheRegisteredOrNamedApplicationOrTheRunFails) {
    ScratchDir dir;
    // The recorder keeps the path it was started with.
    const std::string recorder = dir.File("recorder"), launched = dir.File("launched");
    WriteFile(recorder, "#!/bin/sh\necho \"$1\" > \"" + launched + ".tmp\" && mv \"" + launched +
                            ".tmp\" \"" + launched + "\"\n");
    fs::permissions(recorder, fs::perms::owner_all);
    // The system's MIME database, but none of its applications; settings kept with the data.
    fs::create_directories(dir.File("share"));
    fs::create_symlink("/usr/share/mime", dir.File("share/mime"));
    fs::create_directories(dir.File("data/applications"));
    const std::string doc = dir.File("doc.pdf");
    MakePdf(doc, {kLetter});
    const std::string failed = "Failed to open file with system's registered application: ";
    // Whether the recorder is the registered viewer, the arguments, and the notice (none: the
    // recorder gets the document).
    struct Case {
        bool registered;
        std::vector<std::string> args;
        std::string err;
    };
    const std::vector<Case> cases = {
        {false, {"-usePreviewApp=always", doc}, ErrorBox(failed + doc)},
        {false, {"-interactive", "-previewApp=" + recorder, doc}, ""},
        {true, {"-interactive", doc}, ""},
        {true, {"-type=pdfium", "-usePreviewApp=always", "-"}, ErrorBox(failed + "-")},
    };
    for (const Case& c : cases) {
        if (c.registered) {
            WriteFile(dir.File("data/applications/nvr-recorder.desktop"),
                      "[Desktop Entry]\nType=Application\nName=Recorder\nExec=" + recorder +
                          " %f\nMimeType=application/pdf;\n");
            WriteFile(dir.File("data/mimeapps.list"),
                      "[Default Applications]\napplication/pdf=nvr-recorder.desktop\n");
        }
        fs::remove(launched);
        ProcessOptions options;
        options.setEnv = {{"XDG_DATA_HOME", dir.File("data")},
                          {"XDG_DATA_DIRS", dir.File("share")},
                          {"XDG_CONFIG_HOME", dir.File("data")},
                          {"XDG_CONFIG_DIRS", dir.File("data")}};
        if (c.args.back() == "-")
            options.stdinData = ReadFile(doc);
        ScratchDir tmp;
        ProcessResult r = RunProgram(c.args, tmp.Path(), options);
        EXPECT_EQ(r.exitCode, c.err.empty() ? 0 : 1) << c.args[0];
        EXPECT_EQ(r.err, c.err) << c.args[0];
        WaitUntil([&] { return !c.err.empty() || fs::exists(launched); }, std::chrono::seconds(10));
        EXPECT_EQ(ReadFile(launched), c.err.empty() ? doc + "\n" : "") << c.args[0];
    }
}

}  // namespace
