// The real program against faults and careless or hostile surroundings: inputs that are not
// files, a full disk, outputs aimed at the input, and runs that share a directory.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <set>
#include <thread>

#include "tests/support/PdfFixtures.h"
#include "tests/support/Process.h"
#include "tests/support/TestSupport.h"

using namespace testsupport;
namespace fs = std::filesystem;

namespace {

class FaultTest : public ::testing::Test {
protected:
    ProcessResult Run(std::vector<std::string> args, ProcessOptions options = {}) {
        args.insert(args.begin(), ProgramPath());
        options.setEnv.emplace("TMPDIR", tmp.Path());
        return RunProcess(args, options);
    }
    static std::string ErrorBox(const std::string& text) {
        return "[NvrPrintHelper Error] " + text + "\n";
    }
    // A script that records nothing and ends at once: the external viewer of a hand-off.
    std::string Viewer() {
        std::string path = work.File("viewer.sh");
        WriteFile(path, "#!/bin/sh\nexit 0\n");
        fs::permissions(path, fs::perms::owner_all);
        return path;
    }

    ScratchDir tmp;
    ScratchDir work;
};

}  // namespace

TEST_F(FaultTest, InputThatIsNotARegularFileIsRefusedAtOnce) {
    const std::string fifo = work.File("doc.pdf");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    for (const std::string& input : {fifo, std::string("/dev/zero")}) {
        ProcessOptions options;
        options.timeoutSeconds = 20;
        ProcessResult r = Run({"-silent", input}, options);
        EXPECT_EQ(r.exitCode, 1) << input;
        EXPECT_EQ(r.err, ErrorBox("Failed to process input file: " + input));
        EXPECT_NE(r.out.find("Input is not a regular file: " + input), std::string::npos);
    }
}

TEST_F(FaultTest, FullDiskDuringCaptureFailsTheLoadAndLeavesNoPartialFile) {
    // A whole document in the first bytes, then more: a capture cut short still opens.
    MakePdf(work.File("doc.pdf"), {kLetter});
    std::string bytes = ReadFile(work.File("doc.pdf"));
    ASSERT_LT(bytes.size(), 65536u);
    bytes += std::string(300000, '\n');
    ProcessOptions options;
    options.stdinData = bytes;
    options.fileSizeLimit = 65536;
    ScratchDir temp;
    ProcessResult r = Run({"-type=pdfium", "-interactive", "-keep", "-previewApp=" + Viewer(),
                           "-logFlags=0x02", "-tempDir=" + temp.Path(), "-"},
                          options);
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_NE(r.out.find("Failed to write temporary file after 65536 bytes (errno: 27"),
              std::string::npos)
        << r.out;
    EXPECT_EQ(r.out.find("Saved stdin to temporary file"), std::string::npos);
    EXPECT_EQ(r.err, ErrorBox("Failed to load document: -"));
    EXPECT_TRUE(fs::is_empty(temp.Path()));
}

TEST_F(FaultTest, OutputThatIsTheInputIsRefusedAndTheDocumentKept) {
    MakePdf(work.File("doc.pdf"), {kLetter});
    const std::string original = ReadFile(work.File("doc.pdf"));
    fs::create_symlink(work.File("doc.pdf"), work.File("alias.pdf"));
    struct Case {
        std::vector<std::string> args;
        std::string box;
    };
    const std::vector<Case> cases = {
        {{"-logFile=" + work.File("doc.pdf"), work.File("doc.pdf")},
         "Error: The log file is the input document: " + work.File("doc.pdf")},
        {{"-logFile=" + work.File("alias.pdf"), work.File("doc.pdf")},
         "Error: The log file is the input document: " + work.File("alias.pdf")},
        {{"-keepImages", "-imagePath=" + work.File("doc.pdf"), work.File("doc.pdf")},
         "Error: The TIFF output file is the input document: " + work.File("doc.pdf")},
    };
    for (const Case& c : cases) {
        ProcessResult r = Run(c.args);
        EXPECT_EQ(r.exitCode, 1);
        EXPECT_EQ(r.err, ErrorBox(c.box));
        EXPECT_EQ(ReadFile(work.File("doc.pdf")), original);
    }
}

TEST_F(FaultTest, ParallelRunsInOneDirectoryKeepTheirOwnFiles) {
    constexpr int kRuns = 5;
    const std::string viewer = Viewer();
    std::vector<std::string> inputs;
    for (int i = 0; i < kRuns; ++i) {
        MakePdf(work.File("doc.pdf"),
                std::vector<FixturePage>(static_cast<size_t>(i + 1), kLetter));
        inputs.push_back(ReadFile(work.File("doc.pdf")));
    }
    ScratchDir shared;
    std::vector<ProcessResult> results(kRuns);
    std::vector<std::thread> runs;
    for (int i = 0; i < kRuns; ++i) {
        runs.emplace_back([&, i] {
            ProcessOptions options;
            options.stdinData = inputs[static_cast<size_t>(i)];
            results[static_cast<size_t>(i)] =
                Run({"-type=pdfium", "-interactive", "-keep", "-logFlags=0x06",
                     "-previewApp=" + viewer, "-tempDir=" + shared.Path(), "-"},
                    options);
        });
    }
    for (std::thread& run : runs)
        run.join();
    for (const ProcessResult& r : results) {
        EXPECT_EQ(r.exitCode, 0) << r.err;
    }
    std::set<std::string> captures;
    std::set<std::string> bases;
    int logs = 0;
    for (const auto& entry : fs::directory_iterator(shared.Path())) {
        const std::string name = entry.path().filename().string();
        if (name.ends_with("_Data.tmp")) {
            captures.insert(ReadFile(entry.path().string()));
            bases.insert(name.substr(0, 15));
        } else if (name.ends_with("_Log.log")) {
            ++logs;
            EXPECT_NE(ReadFile(entry.path().string()).find("Saved stdin to temporary file"),
                      std::string::npos)
                << name;
        } else {
            ADD_FAILURE() << "unexpected file " << name;
        }
    }
    EXPECT_EQ(captures, std::set<std::string>(inputs.begin(), inputs.end()));
    EXPECT_EQ(bases.size(), static_cast<size_t>(kRuns));
    EXPECT_EQ(logs, kRuns);
}
