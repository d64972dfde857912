#include <gtest/gtest.h>

#include <thread>

#include "NvrPrintHelper/NvrPrintHelper.h"
#include "tests/support/TestPlatform.h"
#include "tests/support/TestSupport.h"

using namespace nvrprint;
using namespace docmgr;
using testsupport::LogCapture;
using testsupport::RecordedNotice;
using testsupport::RecordingNotices;
using testsupport::ScratchDir;
using testsupport::WriteFile;

namespace {

struct Inputs {
    bool forceSilent = false;
    bool forceInteractive = false;
    bool printer = false;
    bool pipe = false;
    bool overridePreview = false;
};

// An application object that has parsed a command line and processed its input, so that
// load events can be played into it as the load thread would.
class ModeTest : public ::testing::Test {
protected:
    void Start(const Inputs& in) {
        WriteFile(dir.File("doc.pdf"), "%PDF-1.4");
        WriteFile(dir.File("override.json"),
                  in.overridePreview ? R"({"bShowPreview": true})" : R"({"dmCopies": 2})");
        // The default log file would take the logger away from the capture.
        std::vector<std::string> args{"NvrPrintHelper", "-tempDir=" + dir.Path(),
                                      "-logFile=" + log.Path()};
        if (in.pipe) {
            args.push_back("-type=pdfium");
            args.push_back("-");
        } else {
            args.push_back(dir.File("doc.pdf"));
        }
        if (in.printer)
            args.push_back("PrinterA");
        if (in.forceSilent)
            args.push_back("-silent");
        if (in.forceInteractive)
            args.push_back("-interactive");
        args.push_back("-settings=" + dir.File("override.json"));
        std::vector<const char*> argv;
        for (const std::string& a : args)
            argv.push_back(a.c_str());
        app.reset();
        os = testsupport::TestPlatform(&notices);
        app = std::make_unique<NvrPrintHelper>(os);
        ASSERT_TRUE(app->ParseCommandLine(static_cast<int>(argv.size()), argv.data()));
        ASSERT_TRUE(app->ProcessInputFile());
    }
    void Settings(const std::string& json) {
        app->OnDocumentEvent(DocumentSettingsAvailable, DocumentSettingsAvailableData{json});
    }
    void Complete() { app->OnDocumentEvent(LoadDocumentComplete, LoadDocumentCompleteData{1}); }
    // "interactive", "silent" or "open".
    std::string Mode() {
        if (!app->IsModeDetermined())
            return "open";
        EXPECT_TRUE(app->DetermineOperationMode());
        return app->IsInteractive() ? "interactive" : "silent";
    }

    LogCapture log;
    ScratchDir dir;
    std::vector<RecordedNotice> notices;
    nvrprint::platform::Platform os;
    std::unique_ptr<NvrPrintHelper> app;
};

}  // namespace

TEST_F(ModeTest, ForcedModeIsNeverOverturnedButSettingsAreStillStored) {
    Start({.forceSilent = true});
    Settings(R"({"bShowPreview": true, "PagesPerSheet": 4})");
    Complete();
    EXPECT_EQ(Mode(), "silent");
    EXPECT_EQ(app->DocumentSettings().PagesPerSheet, 4);
}

TEST_F(ModeTest, EmbeddedPreviewDecidesInteractive) {
    Start({.printer = true});
    Settings(R"({"bShowPreview": true})");
    Complete();
    EXPECT_EQ(Mode(), "interactive");
}

TEST_F(ModeTest, EmbeddedNoPreviewDecidesSilentEvenWithoutPrinter) {
    Start({});
    Settings(R"({"bShowPreview": false})");
    Complete();
    EXPECT_EQ(Mode(), "silent");
}

TEST_F(ModeTest, InvalidEmbeddedJsonCountsAsContent) {
    Start({});
    Settings("{ broken");
    Complete();
    EXPECT_EQ(Mode(), "silent");
}

TEST_F(ModeTest, NoSettingsPipeNoPrinterIsGenericPrinterInteractive) {
    Start({.pipe = true});
    Complete();
    EXPECT_EQ(Mode(), "interactive");
    EXPECT_TRUE(log.Contains("--> Generic printer. Defaulting to interactive mode"));
}

TEST_F(ModeTest, NoSettingsFileNoPrinterIsInteractive) {
    Start({});
    Complete();
    EXPECT_EQ(Mode(), "interactive");
    EXPECT_TRUE(log.Contains("Defaulting to interactive mode (override=false, pipe=false)"));
}

TEST_F(ModeTest, EmptySettingsFromPipeWithoutPrinterIsSilent) {
    Start({.pipe = true});
    Settings("");
    EXPECT_EQ(Mode(), "open");
    Complete();
    EXPECT_EQ(Mode(), "silent");
}

TEST_F(ModeTest, EmptySettingsFromFileWithoutPrinterIsInteractive) {
    Start({});
    Settings("");
    Complete();
    EXPECT_EQ(Mode(), "interactive");
}

TEST_F(ModeTest, PrinterGivenWithoutSettingsIsSilent) {
    Start({.printer = true});
    Complete();
    EXPECT_EQ(Mode(), "silent");
    Start({.printer = true, .pipe = true});
    Complete();
    EXPECT_EQ(Mode(), "silent");
}

TEST_F(ModeTest, OverridePreviewForcesAtParseTime) {
    Start({.printer = true, .overridePreview = true});
    EXPECT_TRUE(app->IsModeForced());
    Settings(R"({"bShowPreview": false})");
    Complete();
    EXPECT_EQ(Mode(), "interactive");
}

TEST_F(ModeTest, FirstDecisionStands) {
    Start({.printer = true});
    Settings(R"({"bShowPreview": true})");
    Settings(R"({"bShowPreview": false})");
    Complete();
    EXPECT_EQ(Mode(), "interactive");
}

TEST_F(ModeTest, LoadErrorEndsTheWaitWithFailure) {
    Start({.printer = true});
    std::thread loader([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        app->OnDocumentEvent(DocumentLoadError,
                             DocumentLoadErrorData{"Failed to load document", 0});
    });
    EXPECT_FALSE(app->DetermineOperationMode());
    loader.join();
    EXPECT_TRUE(log.Contains("Load error occurred"));
}

TEST_F(ModeTest, DecisionFromAnotherThreadWakesTheWait) {
    Start({.printer = true});
    std::thread loader([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        Complete();
    });
    EXPECT_TRUE(app->DetermineOperationMode());
    loader.join();
    EXPECT_FALSE(app->IsInteractive());
}

TEST_F(ModeTest, EventsOfUnknownKindOrMismatchedRecordAreIgnored) {
    Start({});
    app->OnDocumentEvent(static_cast<DocMgrEventType>(15), DocMgrEventData{});
    EXPECT_TRUE(log.Contains("Event received: Unknown"));
    // A settings kind carrying another record does nothing.
    app->OnDocumentEvent(DocumentSettingsAvailable, LoadDocumentCompleteData{1});
    EXPECT_EQ(Mode(), "open");
}

TEST_F(ModeTest, CaptureCompleteReplacesTheInputPath) {
    Start({.pipe = true});
    app->OnDocumentEvent(InputCaptureComplete, InputCaptureCompleteData{"/tmp/x_Data.pdf", 9});
    EXPECT_EQ(app->ActualInputFile(), "/tmp/x_Data.pdf");
}
