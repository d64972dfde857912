// Handing documents to the desktop's applications, with a private set of XDG directories
// in which a test application is the registered viewer of PDFs.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "tests/support/PdfFixtures.h"
#include "tests/support/Process.h"
#include "tests/support/TestSupport.h"

using namespace testsupport;

namespace {

std::string ErrorBox(const std::string& text) {
    return "[NvrPrintHelper Error] " + text + "\n";
}

class ExternalHandlerTest : public ::testing::Test {
protected:
    void SetUp() override {
        recorder = dir.File("recorder");
        WriteFile(recorder, "#!/bin/sh\necho \"$1\" > \"" + dir.File("launched.tmp") +
                                "\" && mv \"" + dir.File("launched.tmp") + "\" \"" +
                                dir.File("launched") + "\"\n");
        ::chmod(recorder.c_str(), 0755);
        // The system's MIME database, but none of its applications.
        std::filesystem::create_directories(dir.File("share"));
        std::filesystem::create_symlink("/usr/share/mime", dir.File("share/mime"));
        std::filesystem::create_directories(dir.File("data/applications"));
        std::filesystem::create_directories(dir.File("config"));
        doc = dir.File("doc.pdf");
        MakePdf(doc, {kLetter});
    }

    void RegisterRecorderForPdf() {
        WriteFile(dir.File("data/applications/nvr-recorder.desktop"),
                  "[Desktop Entry]\nType=Application\nName=Recorder\nExec=" + recorder +
                      " %f\nMimeType=application/pdf;\n");
        WriteFile(dir.File("config/mimeapps.list"),
                  "[Default Applications]\napplication/pdf=nvr-recorder.desktop\n");
    }

    ProcessResult Run(std::vector<std::string> args, ProcessOptions options = {}) {
        args.insert(args.begin(), ProgramPath());
        options.setEnv["TMPDIR"] = tmp.Path();
        options.setEnv["XDG_DATA_HOME"] = dir.File("data");
        options.setEnv["XDG_DATA_DIRS"] = dir.File("share");
        options.setEnv["XDG_CONFIG_HOME"] = dir.File("config");
        options.setEnv["XDG_CONFIG_DIRS"] = dir.File("config");
        return RunProcess(args, options);
    }

    std::string Launched() {
        for (int i = 0; i < 200; ++i) {
            if (std::filesystem::exists(dir.File("launched")))
                return ReadFile(dir.File("launched"));
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        return {};
    }

    ScratchDir dir;
    ScratchDir tmp;
    std::string recorder;
    std::string doc;
};

TEST_F(ExternalHandlerTest, InteractiveRunOpensTheRegisteredApplication) {
    RegisterRecorderForPdf();
    ProcessResult r = Run({"-interactive", "-logLevel=4", doc});
    EXPECT_EQ(r.exitCode, 0) << r.out << r.err;
    EXPECT_EQ(Launched(), doc + "\n");
    EXPECT_NE(r.out.find("Successfully launched file: " + doc), std::string::npos);
}

TEST_F(ExternalHandlerTest, ExplicitApplicationIsStartedInstead) {
    ProcessResult r = Run({"-interactive", "-previewApp=" + recorder, doc});
    EXPECT_EQ(r.exitCode, 0) << r.out << r.err;
    EXPECT_EQ(Launched(), doc + "\n");
}

TEST_F(ExternalHandlerTest, AlwaysWithStandardInputHasNoFileToOpen) {
    RegisterRecorderForPdf();
    ProcessOptions options;
    options.stdinData = ReadFile(doc);
    ProcessResult r = Run({"-type=pdfium", "-usePreviewApp=always", "-"}, options);
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.err, ErrorBox("Failed to open file with system's registered application: -"));
}

TEST_F(ExternalHandlerTest, TypeWithoutApplicationIsRefused) {
    ProcessResult r = Run({"-usePreviewApp=always", "-logLevel=4", doc});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.err, ErrorBox("Failed to open file with system's registered application: " + doc));
    EXPECT_NE(r.out.find("Shell operation failed with code: 31"), std::string::npos) << r.out;
    EXPECT_FALSE(std::filesystem::exists(dir.File("launched")));
}

}  // namespace
