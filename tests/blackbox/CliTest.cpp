// The real program run as a user or a host agent runs it, without a display: what it shows
// on standard error, the files it writes or refuses to write, and its exit code.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <set>
#include <thread>

#include "NvrPrintHelper/NvrPrintHelper.h"
#include "tests/support/PdfFixtures.h"
#include "tests/support/Process.h"
#include "tests/support/TestSupport.h"

using namespace testsupport;
namespace fs = std::filesystem;

namespace {

class CliTest : public ::testing::Test {
protected:
    ProcessResult Run(std::vector<std::string> args, ProcessOptions options = {}) {
        return RunProgram(std::move(args), tmp.Path(), std::move(options));
    }
    // A script that ends at once: the external viewer of a hand-off.
    std::string Viewer() {
        WriteFile(work.File("viewer.sh"), "#!/bin/sh\nexit 0\n");
        fs::permissions(work.File("viewer.sh"), fs::perms::owner_all);
        return work.File("viewer.sh");
    }
    ScratchDir tmp;
    ScratchDir work;
};

// Every file the program left under dir, by name.
std::set<std::string> FilesUnder(const std::string& dir) {
    std::set<std::string> names;
    for (const auto& entry : fs::recursive_directory_iterator(dir))
        if (!entry.is_directory())
            names.insert(entry.path().filename().string());
    return names;
}

TEST_F(CliTest, HelpShowsUsageExitsZeroAndLeavesNothingBehind) {
    for (const char* help : {"-help", "-?", "--HELP=x"}) {
        const ProcessResult r = Run({help, "--bogus"});
        EXPECT_EQ(r.exitCode, 0) << help;
        EXPECT_EQ(r.err, "[NvrPrintHelper Help] " + nvrprint::NvrPrintHelper::UsageText() + "\n");
        EXPECT_EQ(r.out, "");
    }
    EXPECT_EQ(FilesUnder(tmp.Path()), std::set<std::string>{});
}

// A kept capture is one file set; what -help and a killed run leave is none, and the next
// run's keep limit counts only sets and deletes the oldest.
TEST_F(CliTest, KeptCaptureOutlivesHelpRunsAndAKilledRunUnderTheKeepLimit) {
    ScratchDir data;
    WriteFile(data.File("20190101_000000_Data.pdf"), "older");
    WriteFile(data.File("20190101_000000_Log.log"), "");
    WriteFile(data.File("20200101_000000_Data.tmp"), "kept on purpose");
    WriteFile(data.File("20200101_000000_Log.log"), "");
    for (int run = 0; run < 10; ++run) {
        EXPECT_EQ(Run({"-tempDir=" + data.Path(), "-keepLimit=2", "-help"}).exitCode, 0);
    }
    // A run killed while it waits for its document on standard input.
    const std::string fifo = work.File("stdin");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    const int writer = ::open(fifo.c_str(), O_RDWR);  // keeps the pipe open, never writes
    ProcessOptions options;
    options.stdinFile = fifo;
    options.setEnv.emplace("TMPDIR", tmp.Path());
    const int pid = StartProcess(
        {ProgramPath(), "-tempDir=" + data.Path(), "-logFlags=0x04", "-type=pdfium", "-"}, options);
    const bool reserved = WaitUntil(
        [&] {
            for (const std::string& name : FilesUnder(data.Path()))
                if (name.ends_with("_Run.lock"))
                    return true;
            return false;
        },
        std::chrono::seconds(20));
    ::kill(pid, SIGKILL);
    WaitForProcess(pid);
    ::close(writer);
    ASSERT_TRUE(reserved);

    // Next, at once and a minute on: the killed run's files are no set, then they are gone.
    WriteFile(work.File("doc.pdf"), "not really");
    auto isLock = [](const std::string& n) { return n.ends_with("_Run.lock"); };
    for (bool aMinuteOn : {false, true}) {
        for (const auto& entry : fs::directory_iterator(data.Path()))
            if (aMinuteOn && isLock(entry.path().filename().string()))
                fs::last_write_time(entry.path(),
                                    fs::file_time_type::clock::now() - std::chrono::minutes(2));
        EXPECT_EQ(
            // The first of these runs leaves its log, a set of its own; the second none.
            Run({"-keepLimit=2", aMinuteOn ? "-logFlags=0x02" : "-logFlags=0x06",
                 "-tempDir=" + data.Path(), work.File("doc.pdf")})
                .exitCode,
            1);
        const std::set<std::string> left = FilesUnder(data.Path());
        EXPECT_TRUE(left.contains("20200101_000000_Data.tmp")) << aMinuteOn;
        EXPECT_EQ(std::any_of(left.begin(), left.end(), isLock), !aMinuteOn) << aMinuteOn;
    }
    EXPECT_FALSE(FilesUnder(data.Path()).contains("20190101_000000_Data.pdf"));
    EXPECT_EQ(FilesUnder(tmp.Path()), std::set<std::string>{});
}

TEST_F(CliTest, RefusedRunsShowTheirNoticeExitOneAndLeaveTheInputAlone) {
    const std::string u = "\n\n" + nvrprint::NvrPrintHelper::UsageText();
    const std::string doc = work.File("doc.pdf"), alias = work.File("alias.pdf");
    MakePdf(doc, {kLetter});
    const std::string original = ReadFile(doc);
    fs::create_symlink(doc, alias);
    WriteFile(work.File("notes.txt"), "Just some words, neither PDF nor ZIP.");
    WriteFile(work.File("bad.pdf"), "%PDF-1.7\nthis is not a document\n");
    WriteFile(work.File("bad.json"), "{\"dmCopies\": 2,,}");
    ASSERT_EQ(::mkfifo(work.File("fifo.pdf").c_str(), 0600), 0);
    const std::string typeBox =
        "Error: When reading from pipe (stdin), you must specify the document type using -t "
        "option.\n\nValid document types:\n  -t pdfium  (for PDF documents)\n  -t xps     (for "
        "XPS/OXPS documents)\n\nExample: command | NvrPrintHelper -t pdfium -";
    struct Case {
        std::vector<std::string> args;
        std::string err;  // the notices, each as ErrorBox shows it
        std::optional<std::string> stdinData = std::nullopt;
    };
    const std::vector<Case> cases = {
        {{"-type="}, "Error: -type option requires a document type value" + u},
        {{"doc.pdf", "-printer"}, "Error: -printer option requires a printer name value" + u},
        {{"-settings="}, "Error: -settings option requires a file path" + u},
        {{"-logFile="}, "Error: -logFile option requires a log file path" + u},
        {{"-logLevel="}, "Error: -logLevel option requires a log level value" + u},
        {{"-logFlags="}, "Error: -logFlags option requires a hex or decimal value" + u},
        {{"-imagePath="}, "Error: -imagePath option requires a TIFF output file path" + u},
        {{"-keepLimit="}, "Error: -keepLimit option requires a numeric value" + u},
        {{"-tempDir="}, "Error: -TempDir option requires a directory path" + u},
        {{"-previewApp="},
         "Error: -PreviewApp option requires a path to the external preview application" + u},
        {{"-usePreviewApp="},
         "Error: -UsePreviewApp option requires a value (Always, Interactive, or Never)"},
        {{"-t", "doc.pdf"}, "Error: Unknown option:-t" + u},
        {{"-s", "-i", "doc.pdf"},
         "Error: Conflicting command line options (-silent/-print and -interactive)"},
        {{"-settings=" + work.File("bad.json"), doc},
         "Error: Could not load override settings from file " + work.File("bad.json")},
        // Inputs that are not documents, or not files at all.
        {{work.File("missing.pdf")}, "Failed to process input file: " + work.File("missing.pdf")},
        {{work.Path()}, "Failed to process input file: " + work.Path()},
        {{"-silent", work.File("fifo.pdf")},
         "Failed to process input file: " + work.File("fifo.pdf")},
        {{"-silent", "/dev/zero"}, "Failed to process input file: /dev/zero"},
        {{work.File("notes.txt")}, "Failed to load document: " + work.File("notes.txt")},
        {{work.File("bad.pdf")}, "Failed to load document: " + work.File("bad.pdf")},
        {{"-type=WinDataPdf", doc}, "Failed to load document: " + doc},
        {{"-type=pdfium", "-"}, "Failed to load document: -", ""},
        {{"-"}, typeBox + "\n[NvrPrintHelper Error] Failed to process input file: -", original},
        // No print system to print with, no display to show a preview on.
        {{"-silent", "-usePreviewApp=never", doc},
         "Error: No printer specified and no default printer available"},
        {{"-usePreviewApp=never", "-interactive", doc},
         "Error: The print preview could not be opened"},
        // Outputs aimed at the input.
        {{"-logFile=" + doc, doc}, "Error: The log file is the input document: " + doc},
        {{"-logFile=" + alias, doc}, "Error: The log file is the input document: " + alias},
        {{"-keepImages", "-imagePath=" + doc, doc},
         "Error: The TIFF output file is the input document: " + doc},
    };
    for (const Case& c : cases) {
        ProcessOptions options;
        options.stdinData = c.stdinData;
        options.timeoutSeconds = 20;
        ProcessResult r = Run(c.args, options);
        std::string joined;
        for (const std::string& a : c.args)
            joined += a + " ";
        EXPECT_EQ(r.exitCode, 1) << joined;
        EXPECT_EQ(r.err, ErrorBox(c.err)) << joined;
        EXPECT_EQ(ReadFile(doc), original) << joined;
    }
    // Piped without a type: two notices.
}

// -logFile takes effect where it stands: a command line refused further right leaves its log.
TEST_F(CliTest, RefusedCommandLineLeavesItsLogWithTheReason) {
    const std::string log = work.File("refused.log");
    const ProcessResult r =
        Run({"-logFile=" + log, "-logFlags=0x07", work.File("doc.pdf"), "-printer"});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_NE(ReadFile(log).find("Option -printer requires a value"), std::string::npos);
    EXPECT_EQ(FilesUnder(tmp.Path()), std::set<std::string>{});
}

TEST_F(CliTest, LogFileReceivesStartupLinesReplayed) {
    const std::string log = work.File("run.log");
    WriteFile(work.File("doc.txt"), "plain text, not a document");
    ProcessResult r =
        Run({"-logFile=" + log, "-logLevel=6", "-logFlags=0x07", work.File("doc.txt")});
    EXPECT_EQ(r.exitCode, 1);
    // Lines logged before the options were read stand in the replay of the start, later ones
    // after it.
    const std::string text = ReadFile(log);
    const size_t end = text.find("===== End of in-memory buffer =====\n");
    EXPECT_TRUE(text.starts_with("===== Log file initialized: ")) << text.substr(0, 300);
    EXPECT_LT(text.find("ParseCommandLine: Parsing 4 argument(s)"), end);
    EXPECT_GT(text.find("Failed to load document: " + work.File("doc.txt")), end);
    EXPECT_NE(end, std::string::npos);
}

TEST_F(CliTest, FullDiskDuringCaptureFailsTheLoadAndLeavesNoPartialFile) {
    // A whole document in the first bytes, then more: a capture cut short still opens.
    MakePdf(work.File("doc.pdf"), {kLetter});
    ProcessOptions options;
    options.stdinData = ReadFile(work.File("doc.pdf")) + std::string(300000, '\n');
    options.fileSizeLimit = 65536;
    ScratchDir temp;
    ProcessResult r = Run({"-type=pdfium", "-interactive", "-keep", "-previewApp=" + Viewer(),
                           "-logFlags=0x02", "-tempDir=" + temp.Path(), "-"},
                          options);
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.err, ErrorBox("Failed to load document: -"));
    EXPECT_TRUE(fs::is_empty(temp.Path()));
}

TEST_F(CliTest, ParallelRunsInOneDirectoryKeepTheirOwnFiles) {
    const std::string viewer = Viewer();
    std::set<std::string> inputs, captures, bases, logs;
    for (size_t pages = 1; pages <= 5; ++pages) {
        MakePdf(work.File("doc.pdf"), std::vector<FixturePage>(pages, kLetter));
        inputs.insert(ReadFile(work.File("doc.pdf")));
    }
    ScratchDir shared;
    std::vector<std::thread> runs;
    for (const std::string& input : inputs) {
        runs.emplace_back([&, input] {
            ProcessOptions options;
            options.stdinData = input;
            EXPECT_EQ(Run({"-type=pdfium", "-interactive", "-keep", "-logFlags=0x06",
                           "-previewApp=" + viewer, "-tempDir=" + shared.Path(), "-"},
                          options)
                          .exitCode,
                      0);
        });
    }
    for (std::thread& run : runs)
        run.join();
    for (const auto& entry : fs::directory_iterator(shared.Path())) {
        const std::string name = entry.path().filename().string();
        (name.ends_with("_Data.tmp") ? bases : logs).insert(name.substr(0, 15));
        if (name.ends_with("_Data.tmp"))
            captures.insert(ReadFile(entry.path().string()));
    }
    EXPECT_EQ(captures, inputs);
    EXPECT_EQ(bases.size(), 5u);
    EXPECT_EQ(logs, bases);
}

}  // namespace
