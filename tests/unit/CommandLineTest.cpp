#include <gtest/gtest.h>

#include <filesystem>
#include <initializer_list>

#include "NvrPrintHelper/NvrPrintHelper.h"
#include "tests/support/TestPlatform.h"
#include "tests/support/TestSupport.h"

using namespace nvrprint;
using testsupport::RecordedNotice;
using testsupport::RecordingNotices;
using testsupport::ScratchDir;
using testsupport::WriteFile;

namespace {

class CommandLineTest : public ::testing::Test {
protected:
    bool Parse(std::initializer_list<std::string> args) {
        app.reset();
        os = testsupport::TestPlatform(&notices);
        app = std::make_unique<NvrPrintHelper>(os);
        std::vector<std::string> all{"NvrPrintHelper"};
        all.insert(all.end(), args);
        std::vector<const char*> argv;
        for (const std::string& a : all)
            argv.push_back(a.c_str());
        return app->ParseCommandLine(static_cast<int>(argv.size()), argv.data());
    }
    std::string OnlyNotice() {
        EXPECT_EQ(notices.size(), 1u);
        return notices.empty() ? "" : notices.front().text;
    }

    std::vector<RecordedNotice> notices;
    nvrprint::platform::Platform os;
    std::unique_ptr<NvrPrintHelper> app;
    ScratchDir dir;
};

}  // namespace

TEST_F(CommandLineTest, OptionsAreCaseInsensitiveWithAnyNumberOfDashes) {
    ASSERT_TRUE(Parse({"---TYPE=PDFium", "--KeepLimit", "3", "-LOGLEVEL=99", "doc.pdf"}));
    EXPECT_EQ(app->DocumentClass(), "pdfium");
    EXPECT_EQ(app->KeepLimit(), 3);
    EXPECT_EQ(app->LogLevelOption(), 6);
    EXPECT_EQ(app->InputFile(), "doc.pdf");
}

TEST_F(CommandLineTest, RightmostPrinterWins) {
    ASSERT_TRUE(Parse({"doc.pdf", "PrinterA", "-printer=PrinterB"}));
    EXPECT_EQ(app->PrinterName(), "PrinterB");
    ASSERT_TRUE(Parse({"-printer=PrinterB", "doc.pdf", "PrinterA"}));
    EXPECT_EQ(app->PrinterName(), "PrinterA");
}

TEST_F(CommandLineTest, ValueIsTheNextArgumentWhateverItLooksLike) {
    WriteFile(dir.File("-silent"), "{}");
    // "-settings -silent" takes "-silent" as the file name, so no mode is forced.
    std::filesystem::path previous = std::filesystem::current_path();
    std::filesystem::current_path(dir.Path());
    bool parsed = Parse({"-settings", "-silent", "doc.pdf"});
    std::filesystem::current_path(previous);
    ASSERT_TRUE(parsed);
    EXPECT_FALSE(app->IsModeForced());
}

TEST_F(CommandLineTest, EmptyValueAfterEqualsDoesNotSwallowTheNextArgument) {
    EXPECT_FALSE(Parse({"-printer=", "doc.pdf"}));
    EXPECT_EQ(
        OnlyNotice().rfind("Error: -printer option requires a printer name value\n\nUsage:", 0),
        0u);
}

TEST_F(CommandLineTest, OptionsWithoutValuesIgnoreTheEqualsPart) {
    ASSERT_TRUE(Parse({"-keep=no", "-keepImages=0", "doc.pdf"}));
    EXPECT_TRUE(app->KeepTempFiles());
    EXPECT_TRUE(app->KeepImages());
}

TEST_F(CommandLineTest, NumberConversions) {
    ASSERT_TRUE(Parse({"-logLevel=-1", "doc.pdf"}));
    EXPECT_EQ(app->LogLevelOption(), 0);
    ASSERT_TRUE(Parse({"-logLevel=high", "doc.pdf"}));
    EXPECT_EQ(app->LogLevelOption(), 0);
    ASSERT_TRUE(Parse({"-logLevel=4x", "doc.pdf"}));
    EXPECT_EQ(app->LogLevelOption(), 4);
    for (const char* bad : {"-keepLimit=0", "-keepLimit=-3", "-keepLimit=abc"}) {
        notices.clear();
        EXPECT_FALSE(Parse({bad, "doc.pdf"}));
        EXPECT_EQ(OnlyNotice().rfind("Error: -keepLimit value must be at least 1\n\n", 0), 0u);
    }
    Logger::Instance().SetLogLevel(Info);
}

TEST_F(CommandLineTest, UsePreviewAppWords) {
    ASSERT_TRUE(Parse({"-usePreviewApp=NEVER", "doc.pdf"}));
    EXPECT_EQ(app->PreviewAppMode(), UsePreviewAppMode::Never);
    ASSERT_TRUE(Parse({"-usePreviewApp", "Always", "doc.pdf"}));
    EXPECT_EQ(app->PreviewAppMode(), UsePreviewAppMode::Always);
    EXPECT_FALSE(Parse({"-usePreviewApp=sometimes", "doc.pdf"}));
    EXPECT_EQ(OnlyNotice().rfind("Error: Invalid -UsePreviewApp option value: sometimes\n\n", 0),
              0u);
    notices.clear();
    EXPECT_FALSE(Parse({"doc.pdf", "-usePreviewApp"}));
    EXPECT_EQ(OnlyNotice(),
              "Error: -UsePreviewApp option requires a value (Always, Interactive, or Never)");
}

TEST_F(CommandLineTest, TempDirAndPreviewAppPathChecks) {
    WriteFile(dir.File("app"), "");
    ASSERT_TRUE(
        Parse({"-tempDir=\"" + dir.Path() + "\"", "-previewApp", dir.File("app"), "doc.pdf"}));
    EXPECT_EQ(app->PreviewApp(), dir.File("app"));

    struct Case {
        std::string arg;
        std::string box;
    };
    const std::vector<Case> cases = {
        {"-tempDir=temp",
         "Error: -TempDir path must be fully qualified (e.g., /path/to/dir): temp"},
        {"-tempDir=" + dir.File("none"),
         "Error: -TempDir directory does not exist: " + dir.File("none")},
        {"-tempDir=" + dir.File("app"),
         "Error: -TempDir path must be a directory, not a file: " + dir.File("app")},
        {"-previewApp=app",
         "Error: -PreviewApp path must be fully qualified (e.g., /path/to/app): app"},
        {"-previewApp=" + dir.File("none"),
         "Error: -PreviewApp file does not exist: " + dir.File("none")},
        {"-previewApp=" + dir.Path(),
         "Error: -PreviewApp path must be a file, not a directory: " + dir.Path()},
    };
    for (const Case& c : cases) {
        notices.clear();
        EXPECT_FALSE(Parse({c.arg, "doc.pdf"})) << c.arg;
        EXPECT_EQ(OnlyNotice(), c.box + "\n\n" + NvrPrintHelper::UsageText()) << c.arg;
    }
}

TEST_F(CommandLineTest, OrderOfChecksDecidesWhichErrorShows) {
    // Without a file the missing file is reported, not the conflict.
    EXPECT_FALSE(Parse({"-silent", "-interactive"}));
    EXPECT_EQ(OnlyNotice(), "Error: No input file specified\n\n" + NvrPrintHelper::UsageText());
    notices.clear();
    EXPECT_FALSE(Parse({"-silent", "-interactive", "doc.pdf"}));
    EXPECT_EQ(OnlyNotice(),
              "Error: Conflicting command line options (-silent/-print and -interactive)");
    notices.clear();
    EXPECT_FALSE(Parse({"a", "b", "c"}));
    EXPECT_EQ(OnlyNotice(),
              "Unexpected positional argument 2: c\n\n" + NvrPrintHelper::UsageText());
    notices.clear();
    EXPECT_FALSE(Parse({"--", "doc.pdf"}));
    EXPECT_EQ(OnlyNotice(), "Error: Unknown option:--\n\n" + NvrPrintHelper::UsageText());
}

TEST_F(CommandLineTest, ModeForcing) {
    ASSERT_TRUE(Parse({"-print", "doc.pdf"}));
    EXPECT_TRUE(app->IsModeForced());
    EXPECT_FALSE(app->IsInteractive());
    ASSERT_TRUE(Parse({"-i", "doc.pdf"}));
    EXPECT_TRUE(app->IsInteractive());

    WriteFile(dir.File("preview.json"), R"({"bShowPreview": true})");
    WriteFile(dir.File("nopreview.json"), R"({"bShowPreview": false})");
    ASSERT_TRUE(Parse({"-settings=" + dir.File("preview.json"), "doc.pdf"}));
    EXPECT_TRUE(app->IsModeForced());
    EXPECT_TRUE(app->IsInteractive());
    ASSERT_TRUE(Parse({"-settings=" + dir.File("preview.json"), "-s", "doc.pdf"}));
    EXPECT_FALSE(app->IsInteractive());
    ASSERT_TRUE(Parse({"-settings=" + dir.File("nopreview.json"), "doc.pdf"}));
    EXPECT_FALSE(app->IsModeForced());
}

TEST_F(CommandLineTest, BadOverrideFileEndsTheParse) {
    WriteFile(dir.File("bad.json"), "{ not json");
    EXPECT_FALSE(Parse({"-settings=" + dir.File("bad.json"), "doc.pdf"}));
    EXPECT_EQ(OnlyNotice(),
              "Error: Could not load override settings from file " + dir.File("bad.json"));
}
