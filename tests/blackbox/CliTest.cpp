// The real program, run as a user would run it, without a display.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <regex>

#include "NvrPrintHelper/NvrPrintHelper.h"
#include "tests/support/Process.h"
#include "tests/support/TestSupport.h"

using testsupport::ProcessOptions;
using testsupport::ProcessResult;
using testsupport::ReadFile;
using testsupport::RunProcess;
using testsupport::ScratchDir;
using testsupport::WriteFile;
namespace fs = std::filesystem;

namespace {

ProcessOptions WithStdin(std::string data) {
    ProcessOptions options;
    options.stdinData = std::move(data);
    return options;
}

const std::string& Usage() {
    return nvrprint::NvrPrintHelper::UsageText();
}

// Runs the program with TMPDIR pointing at a scratch directory of the test's own.
class CliTest : public ::testing::Test {
protected:
    ProcessResult Run(std::vector<std::string> args, ProcessOptions options = {}) {
        args.insert(args.begin(), testsupport::ProgramPath());
        options.setEnv.emplace("TMPDIR", tmp.Path());
        return RunProcess(args, options);
    }
    std::string ErrorBox(const std::string& text) {
        return "[NvrPrintHelper Error] " + text + "\n";
    }
    std::string UserDir() const { return tmp.File("nvrprint-" + std::to_string(geteuid())); }
    std::string DataDir() const { return UserDir() + "/_NvrPrnData"; }
    std::string TempDirBox() {
        return ErrorBox("Error: Could not create or access temporary directory: " + DataDir() +
                        "\nUse -tempDir to choose a directory of your own.");
    }
    void MakeUserDir() {
        fs::create_directory(UserDir());
        fs::permissions(UserDir(), fs::perms::owner_all);
    }

    ScratchDir tmp;
    ScratchDir work;
};

}  // namespace

TEST_F(CliTest, HelpShowsUsageAndExitsZero) {
    for (const char* help : {"-help", "-?", "--HELP=x"}) {
        ProcessResult r = Run({help, "--bogus"});
        EXPECT_EQ(r.exitCode, 0) << help;
        EXPECT_EQ(r.err, "[NvrPrintHelper Help] " + Usage() + "\n") << help;
        EXPECT_EQ(r.out, "");
    }
}

TEST_F(CliTest, OptionErrorsShowTheirBoxAndPrintNothingOnStdout) {
    struct Case {
        std::vector<std::string> args;
        std::string box;
    };
    const std::string u = "\n\n" + Usage();
    const std::vector<Case> cases = {
        {{"-type="}, "Error: -type option requires a document type value" + u},
        {{"doc.pdf", "-printer"}, "Error: -printer option requires a printer name value" + u},
        {{"-settings="}, "Error: -settings option requires a file path" + u},
        {{"-logFile="}, "Error: -logFile option requires a log file path" + u},
        {{"-logLevel="}, "Error: -logLevel option requires a log level value" + u},
        {{"-logFlags="}, "Error: -logFlags option requires a hex or decimal value" + u},
        {{"-imagePath="}, "Error: -imagePath option requires a TIFF output file path" + u},
        {{"-keepLimit="}, "Error: -keepLimit option requires a numeric value" + u},
        {{"-keepLimit=0"}, "Error: -keepLimit value must be at least 1" + u},
        {{"-tempDir="}, "Error: -TempDir option requires a directory path" + u},
        {{"-previewApp="},
         "Error: -PreviewApp option requires a path to the external preview application" + u},
        {{"-usePreviewApp="},
         "Error: -UsePreviewApp option requires a value (Always, Interactive, or Never)"},
        {{"-usePreviewApp=maybe"}, "Error: Invalid -UsePreviewApp option value: maybe" + u},
        {{"-t", "doc.pdf"}, "Error: Unknown option:-t" + u},
        {{"--", "doc.pdf"}, "Error: Unknown option:--" + u},
        {{"a", "b", "c"}, "Unexpected positional argument 2: c" + u},
        {{"-silent"}, "Error: No input file specified" + u},
        {{"-s", "-i", "doc.pdf"},
         "Error: Conflicting command line options (-silent/-print and -interactive)"},
        {{"-tempDir=relative", "doc.pdf"},
         "Error: -TempDir path must be fully qualified (e.g., /path/to/dir): relative" + u},
        {{"-previewApp=/no/such/app", "doc.pdf"},
         "Error: -PreviewApp file does not exist: /no/such/app" + u},
        {{"-settings=/no/such.json", "doc.pdf"},
         "Error: Could not load override settings from file /no/such.json"},
    };
    for (const Case& c : cases) {
        ProcessResult r = Run(c.args);
        std::string joined;
        for (const std::string& a : c.args)
            joined += a + " ";
        EXPECT_EQ(r.exitCode, 1) << joined;
        EXPECT_EQ(r.err, ErrorBox(c.box)) << joined;
        EXPECT_EQ(r.out, "") << joined;
    }
}

TEST_F(CliTest, LogFileReceivesStartupLinesReplayed) {
    std::string log = work.File("run.log");
    WriteFile(work.File("doc.txt"), "plain text, not a document");
    ProcessResult r =
        Run({"-logFile=" + log, "-logLevel=6", "-logFlags=0x07", work.File("doc.txt")});
    EXPECT_EQ(r.exitCode, 1);
    std::string text = ReadFile(log);
    std::regex header(
        R"(^===== Log file initialized: \d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} =====\n)"
        R"(===== Flushing in-memory buffer \(startup messages\) =====\n)");
    EXPECT_TRUE(std::regex_search(text, header)) << text.substr(0, 300);
    size_t end = text.find("===== End of in-memory buffer =====\n");
    ASSERT_NE(end, std::string::npos);
    // Startup lines logged before the options were read stand inside the replay.
    size_t startup =
        text.find("[INFO] nvrprint::NvrPrintHelper::ParseCommandLine: Parsing 4 argument(s)");
    EXPECT_LT(startup, end);
    EXPECT_LT(text.find("[INFO] Log level changed from INFO to VERBOSE"), end);
    // Later lines follow the replay, live.
    EXPECT_GT(text.find("Failed to load document: " + work.File("doc.txt")), end);
    // Stdout carries the log after the parse succeeded.
    EXPECT_NE(r.out.find("Command line parsed successfully, starting application"),
              std::string::npos);
}

TEST_F(CliTest, KeepLimitDeletesOldestFileSets) {
    MakeUserDir();
    fs::create_directory(DataDir());
    fs::permissions(DataDir(), fs::perms::owner_all);
    for (const char* base : {"20200101_000000", "20200102_000000", "20200103_000000"}) {
        WriteFile(DataDir() + "/" + base + "_Log.log", "");
        WriteFile(DataDir() + "/" + base + "_Data.pdf", "");
    }
    WriteFile(work.File("doc.pdf"), "not really");
    Run({"-keepLimit=2", "-logFlags=0x06", work.File("doc.pdf")});
    EXPECT_FALSE(fs::exists(DataDir() + "/20200101_000000_Log.log"));
    EXPECT_FALSE(fs::exists(DataDir() + "/20200101_000000_Data.pdf"));
    EXPECT_FALSE(fs::exists(DataDir() + "/20200102_000000_Log.log"));
    EXPECT_TRUE(fs::exists(DataDir() + "/20200103_000000_Log.log"));
    EXPECT_TRUE(fs::exists(DataDir() + "/20200103_000000_Data.pdf"));
}

TEST_F(CliTest, DefaultTempDirectoryThatIsNotPrivateIsNotUsed) {
    WriteFile(work.File("doc.pdf"), "x");
    MakeUserDir();
    fs::create_directory_symlink(work.Path(), DataDir());
    ProcessResult r = Run({work.File("doc.pdf")});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.err, TempDirBox());
    EXPECT_EQ(fs::directory_iterator(work.Path())->path().filename(), "doc.pdf");

    if (geteuid() == 0) {
        fs::remove(DataDir());
        fs::create_directory(DataDir());
        fs::permissions(DataDir(), fs::perms::owner_all);
        ASSERT_EQ(chown(DataDir().c_str(), 65534, 65534), 0);
        r = Run({work.File("doc.pdf")});
        EXPECT_EQ(r.exitCode, 1);
        EXPECT_EQ(r.err, TempDirBox());
        EXPECT_TRUE(fs::is_empty(DataDir()));
    }
    // A custom directory still works.
    r = Run({"-tempDir=" + work.Path(), work.File("doc.pdf")});
    EXPECT_EQ(r.err, ErrorBox("Failed to load document: " + work.File("doc.pdf")));
}

TEST_F(CliTest, StandardInputWithoutTypeShowsTwoBoxes) {
    ProcessResult r = Run({"-"}, WithStdin("%PDF-1.4"));
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.err,
              ErrorBox("Error: When reading from pipe (stdin), you must specify the document "
                       "type using -t option.\n\nValid document types:\n  -t pdfium  (for PDF "
                       "documents)\n  -t xps     (for XPS/OXPS documents)\n\nExample: command | "
                       "NvrPrintHelper -t pdfium -") +
                  ErrorBox("Failed to process input file: -"));
}

TEST_F(CliTest, MissingFileOrDirectoryFailsInputProcessing) {
    for (const std::string& path : {work.File("missing.pdf"), work.Path()}) {
        ProcessResult r = Run({path});
        EXPECT_EQ(r.exitCode, 1);
        EXPECT_EQ(r.err, ErrorBox("Failed to process input file: " + path));
    }
}

TEST_F(CliTest, UnrecognisedDocumentFailsToLoad) {
    WriteFile(work.File("notes.txt"), "Just some words, neither PDF nor ZIP.");
    ProcessResult r = Run({work.File("notes.txt")});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.err, ErrorBox("Failed to load document: " + work.File("notes.txt")));
    EXPECT_NE(r.out.find("No suitable document manager found for: " + work.File("notes.txt")),
              std::string::npos);
}

TEST_F(CliTest, UnknownDocumentClassFromTheUsageText) {
    WriteFile(work.File("doc.pdf"), "%PDF-1.4\n");
    ProcessResult r = Run({"-type=WinDataPdf", work.File("doc.pdf")});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_NE(r.out.find("Unknown document class: windatapdf"), std::string::npos);
    EXPECT_LT(r.out.find("Unknown document class: windatapdf"),
              r.out.find("Failed to create document manager"));
    EXPECT_EQ(r.err, ErrorBox("Failed to load document: " + work.File("doc.pdf")));
}

TEST_F(CliTest, EmptyPipeFailsToLoad) {
    ProcessResult r = Run({"-type=pdfium", "-"}, WithStdin(""));
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_NE(r.out.find("Failed to capture input from pipe"), std::string::npos);
    std::regex box(R"(\[NvrPrintHelper Error\] Failed to load document: -\n)");
    EXPECT_TRUE(std::regex_search(r.err, box)) << r.err;
}

TEST_F(CliTest, OverrideSettingsFile) {
    WriteFile(work.File("bad.json"), "{\"dmCopies\": 2,,}");
    ProcessResult r = Run({"-settings=" + work.File("bad.json"), work.File("doc.pdf")});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.err, ErrorBox("Error: Could not load override settings from file " +
                              work.File("bad.json")));
    EXPECT_EQ(r.out, "");

    WriteFile(
        work.File("good.json"),
        R"({"PrintJobTitle": "Report", "dmCopies": 2, "bStapled": true, "PagesPerSheet": 4})");
    WriteFile(work.File("doc.pdf"), "%PDF-1.4 not really");
    r = Run({"-logLevel=6", "-settings=" + work.File("good.json"), work.File("doc.pdf")});
    for (const char* line :
         {"PrintJobTitle = 'Report'", "PagesPerSheet = 4", "bStapled = true", "dmCopies = 2",
          "Loaded 4 setting(s) from JSON", "Successfully loaded override settings"}) {
        EXPECT_NE(r.out.find(line), std::string::npos) << line;
    }
}
