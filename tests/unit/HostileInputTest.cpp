// Input and faults an attacker or a careless caller can bring: deep settings documents, piped
// input that never ends, a second load on one manager, and what the job may ask of a printer.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <string>

#include "NvrPrintHelper/NvrPrintHelper.h"
#include "NvrPrintUtils/PrintJobSettings.h"
#include "tests/support/FakeDocument.h"
#include "tests/support/FakePrintSystem.h"
#include "tests/support/PdfFixtures.h"
#include "tests/support/TestPlatform.h"
#include "tests/support/TestSupport.h"

using namespace nvrprint;
using namespace testsupport;
namespace fs = std::filesystem;

namespace {

std::string Nested(size_t depth) {
    return std::string(depth, '[') + std::string(depth, ']');
}

std::string NestedInObject(size_t depth) {
    return R"({"dmCopies": 2, "x": )" + Nested(depth) + "}";
}

}  // namespace

TEST(HostileSettings, DeepNestingIsInvalidJsonFromStringAndFile) {
    ScratchDir dir;
    for (size_t depth : {size_t{65}, size_t{20000}}) {
        LogCapture log;
        PrintJobSettings fromString;
        EXPECT_FALSE(fromString.LoadFromString(NestedInObject(depth))) << depth;
        EXPECT_TRUE(
            log.Contains("Failed to parse print settings JSON string: nesting deeper "
                         "than 64 levels"));
        EXPECT_EQ(fromString.dmCopies, -1);

        WriteFile(dir.File("deep.json"), NestedInObject(depth));
        PrintJobSettings fromFile;
        EXPECT_FALSE(fromFile.LoadFromFile(dir.File("deep.json"))) << depth;
        EXPECT_TRUE(
            log.Contains("Failed to parse print settings JSON: nesting deeper than 64 "
                         "levels - File: " +
                         dir.File("deep.json")));
    }
    // Up to the limit the document is read as before, and a file may still carry trailing
    // text after its value.
    PrintJobSettings within;
    EXPECT_TRUE(within.LoadFromString(NestedInObject(63)));
    EXPECT_EQ(within.dmCopies, 2);
    WriteFile(dir.File("trailing.json"), R"({"dmCopies": 3} trailing)");
    PrintJobSettings trailing;
    EXPECT_TRUE(trailing.LoadFromFile(dir.File("trailing.json")));
    EXPECT_EQ(trailing.dmCopies, 3);
    EXPECT_FALSE(trailing.LoadFromString(R"({"dmCopies": 3} trailing)"));
}

TEST(HostilePipe, StoppedCaptureEndsAtOnceAndDeletesItsPartialFile) {
    ScratchDir dir;
    EndlessInput input;
    input.Write(std::string(10000, 'x'));
    const std::string capture = dir.File("job_Data.pdf");
    LogCapture log;
    auto start = std::chrono::steady_clock::now();
    {
        FakeDocument doc;
        doc.SetPipeInput(input.Fd());
        doc.LoadDocument("-", true, nullptr, capture);
        EXPECT_FALSE(doc.WaitForDocumentLoad(200));
        doc.StopLoad();
        EXPECT_FALSE(doc.WaitForDocumentLoad(5000));
        EXPECT_FALSE(fs::exists(capture));
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
    EXPECT_TRUE(
        log.Contains("Capture of standard input stopped; deleted the partial file: " + capture));
    EXPECT_TRUE(log.Contains("Failed to capture input from pipe"));

    // The manager's end stops a capture that nobody stopped.
    {
        FakeDocument doc;
        doc.SetPipeInput(input.Fd());
        doc.LoadDocument("-", true, nullptr, capture);
    }
    EXPECT_FALSE(fs::exists(capture));
}

TEST(HostilePipe, CaptureNeverWritesThroughAPlantedFile) {
    ScratchDir dir;
    WriteFile(dir.File("target"), "precious");
    fs::create_symlink(dir.File("target"), dir.File("job_Data.pdf"));
    InputBytes input("%PDF-1.4 attacker");
    FakeDocument doc;
    doc.SetPipeInput(input.Fd());
    doc.LoadDocument("-", true, nullptr, dir.File("job_Data.pdf"));
    EXPECT_FALSE(doc.WaitForDocumentLoad(30000));
    EXPECT_EQ(ReadFile(dir.File("target")), "precious");
}

TEST(HostilePipe, ApplicationThatGivesUpOnEndlessInputFailsWithinASecond) {
    ScratchDir dir;
    LogCapture log;
    EndlessInput input;
    input.Write("%PDF-1.4\n");
    std::vector<RecordedNotice> notices;
    auto start = std::chrono::steady_clock::now();
    {
        platform::Platform os = TestPlatform(&notices, input.Fd());
        NvrPrintHelper app(os);
        const char* argv[] = {"NvrPrintHelper", "-type=pdfium", "-silent", "-logLevel=6", "-"};
        std::string tempDir = "-tempDir=" + dir.Path();
        std::vector<const char*> args(std::begin(argv), std::end(argv));
        args.insert(args.begin() + 1, tempDir.c_str());
        ASSERT_TRUE(app.ParseCommandLine(static_cast<int>(args.size()), args.data()));
        app.SetLoadTimeout(std::chrono::milliseconds(300));
        EXPECT_EQ(app.Run(), 1);
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
    ASSERT_FALSE(notices.empty());
    EXPECT_EQ(notices.back().text, "Failed to load document: -");
    for (const auto& entry : fs::directory_iterator(dir.Path())) {
        EXPECT_FALSE(entry.path().string().ends_with("_Data.pdf")) << entry.path();
    }
}

TEST(HostileLoad, SecondLoadIsRefusedWhileTheFirstRunsAndAllowedAfter) {
    FakeDocument doc;
    doc.HoldLoad();
    ASSERT_NE(doc.LoadDocument("/first.pdf", false, nullptr, ""), nullptr);
    LogCapture log;
    EXPECT_EQ(doc.LoadDocument("/second.pdf", false, nullptr, ""), nullptr);
    EXPECT_TRUE(log.Contains("A document is still loading; a second load is refused"));
    doc.Release();
    EXPECT_TRUE(doc.WaitForDocumentLoad(30000));
    EXPECT_EQ(doc.loadedPath, "/first.pdf");

    ASSERT_NE(doc.LoadDocument("/third.pdf", false, nullptr, ""), nullptr);
    EXPECT_TRUE(doc.WaitForDocumentLoad(30000));
    EXPECT_EQ(doc.loadedPath, "/third.pdf");
}

TEST(HostileSettings, CopiesFollowThePrintersBoundWithTheCorrectionLine) {
    FakePrintSystem system;
    auto printer = system.Open();
    // The printer's copies-supported ends at 999.
    system.correct = [](DEVMODEW& dm) { dm.dmCopies = std::min<int16_t>(dm.dmCopies, 999); };
    LogCapture log;
    DevModePtr dm = AllocateDevMode();
    PrintJobSettings s;
    ASSERT_TRUE(s.LoadFromString(R"({"dmCopies": 32767})"));
    ASSERT_TRUE(s.ApplyToDevMode(dm.get(), printer.get()));
    EXPECT_EQ(dm->dmCopies, 999);
    EXPECT_EQ(s.dmCopies, 999);
    EXPECT_EQ(docmgr::PrintJobSettingsView{s}.Copies(), 999);
    EXPECT_TRUE(log.Contains("dmCopies corrected from 32767 to 999"));

    PrintJobSettings within;
    ASSERT_TRUE(within.LoadFromString(R"({"dmCopies": 3})"));
    ASSERT_TRUE(within.ApplyToDevMode(AllocateDevMode().get(), printer.get()));
    EXPECT_EQ(within.dmCopies, 3);
}
