// Silent printing end to end: the real program prints through a private CUPS scheduler into
// a virtual IPP printer, and the tests read what the printer received.
#include <gtest/gtest.h>

#include <signal.h>

#include <cstdlib>
#include <filesystem>
#include <future>
#include <regex>

#include "tests/print/PrintingTest.h"
#include "tests/support/PageRender.h"
#include "tests/support/PdfFixtures.h"
#include "tests/support/PrinterStack.h"
#include "tests/support/Process.h"
#include "tests/support/TestSupport.h"

using namespace testsupport;

namespace {

std::string ErrorBox(const std::string& text) {
    return "[NvrPrintHelper Error] " + text + "\n";
}

class SilentPrintTest : public PrintingTest {};

TEST_F(SilentPrintTest, ProgramDoesNupReverseAndUncollatedCopiesOnLandscapeSides) {
    const std::string doc = work.File("nup-reverse.pdf");
    MakePdfWithSettings(doc, {kLetter, kLetter, kLetter, kLetter, kLetter},
                        R"({"PagesPerSheet": 2, "bReversePages": true, "dmCopies": 2,
                            "dmCollate": 0})");
    ProcessResult r = Print({doc});
    ASSERT_EQ(r.exitCode, 0) << r.out;
    EXPECT_TRUE(Has(r.out, "Using default printer: " + s_stack->queue));
    // The Print Ticket step of an N-up job runs without a failure.
    EXPECT_FALSE(Has(r.out, "Failed to merge Print Ticket")) << r.out;
    EXPECT_FALSE(Has(r.out, "Cannot verify Print Ticket")) << r.out;

    ReceivedJob job = Received("nup-reverse.pdf");
    const std::vector<std::string> expected = {"Page 5 Page 4", "Page 5 Page 4", "Page 3 Page 2",
                                               "Page 3 Page 2", "Page 1",        "Page 1"};
    EXPECT_EQ(PageTexts(job.documentPath), expected);
    for (int side = 0; side < 6; ++side) {
        EXPECT_TRUE(PageIsLandscape(job.documentPath, side)) << "side " << side + 1;
    }
    // The printer is not asked to repeat what the program already did.
    EXPECT_EQ(job.attributes["IPP_COPIES"], "");
}

TEST_F(SilentPrintTest, DuplexAndPaperReachThePrinter) {
    const std::string doc = work.File("duplex.pdf");
    MakePdfWithSettings(doc, {kA4, kA4},
                        R"({"dmDuplex": 2, "dmPaperSize": 9, "PrintJobTitle": "duplex-a4"})");
    ProcessResult r = Print({doc, s_stack->queue});
    ASSERT_EQ(r.exitCode, 0) << r.out;

    ReceivedJob job = Received("duplex-a4");
    EXPECT_EQ(job.attributes["IPP_SIDES"], "two-sided-long-edge");
    EXPECT_TRUE(Has(job.attributes["IPP_MEDIA_COL"], "x-dimension=21000 y-dimension=29700"))
        << job.attributes["IPP_MEDIA_COL"];
    EXPECT_TRUE(Has(SchedulerJobAttributes(*s_stack, SchedulerJobId(r.out)),
                    "media (keyword) = iso_a4_210x297mm"));
    EXPECT_EQ(PageTexts(job.documentPath).size(), 2u);
}

TEST_F(SilentPrintTest, SinglePageKeepsItsNaturalSize) {
    const std::string doc = work.File("natural.pdf");
    MakePdf(doc, {kLetter});
    ProcessResult r = Print({doc});
    ASSERT_EQ(r.exitCode, 0) << r.out;
    EXPECT_TRUE(Has(r.out, "Standard page-by-page rendering"));

    ReceivedJob job = Received("natural.pdf");
    ASSERT_EQ(PageTexts(job.documentPath), std::vector<std::string>{"Page 1"});
    // The band across the page is a fifth of its height: 158 points at natural size, less
    // had the page been shrunk into the printable area.
    const int band = DarkRowsInColumn(job.documentPath, 0, 450);
    EXPECT_GE(band, 157);
    EXPECT_LE(band, 160);
}

TEST_F(SilentPrintTest, SettingsFileOverridesTheDocumentAndNamesTheJob) {
    const std::string doc = work.File("override.pdf");
    MakePdfWithSettings(doc, {kLetter, kLetter, kLetter},
                        R"({"PagesPerSheet": 2, "PrintJobTitle": "from the document"})");
    const std::string settings = work.File("override.json");
    WriteFile(settings, R"({"PagesPerSheet": 1, "bReversePages": true,
                            "PrintJobTitle": "override-title"})");
    ProcessResult r = Print({"-settings", settings, doc});
    ASSERT_EQ(r.exitCode, 0) << r.out;

    ReceivedJob job = Received("override-title");
    EXPECT_EQ(PageTexts(job.documentPath),
              (std::vector<std::string>{"Page 3", "Page 2", "Page 1"}));
}

TEST_F(SilentPrintTest, StaplingOnAPrinterThatCannotStapleIsReportedRemoved) {
    const std::string doc = work.File("stapled.pdf");
    MakePdfWithSettings(doc, {kLetter, kLetter}, R"({"bStapled": true})");
    ProcessResult r = Print({doc});
    ASSERT_EQ(r.exitCode, 0) << r.out;
    EXPECT_TRUE(Has(r.out, "Successfully merged Print Ticket settings with DEVMODE")) << r.out;
    EXPECT_TRUE(Has(r.out, "Stapling setting was removed by DocumentProperties validation"))
        << r.out;
    const int jobId = SchedulerJobId(r.out);
    ASSERT_GT(jobId, 0) << r.out;
    EXPECT_FALSE(Has(SchedulerJobAttributes(*s_stack, jobId), "finishings (enum) = staple"));
    Received("stapled.pdf");
}

TEST_F(SilentPrintTest, StandardInputGetsTheFixedTitle) {
    const std::string doc = work.File("piped.pdf");
    MakePdf(doc, {kLetter});
    ProcessOptions options;
    options.stdinData = ReadFile(doc);
    ProcessResult r = Print({"-type=pdfium", "-", s_stack->queue}, options);
    ASSERT_EQ(r.exitCode, 0) << r.out;
    ReceivedJob job = Received("Norvan print job");
    EXPECT_EQ(PageTexts(job.documentPath).size(), 1u);
}

TEST_F(SilentPrintTest, PrinterUriPrintsWithoutAQueue) {
    const std::string doc = work.File("direct.pdf");
    MakePdfWithSettings(doc, {kLetter}, R"({"PrintJobTitle": "direct-to-printer"})");
    ProcessResult r = Print({doc, s_stack->printerUri});
    ASSERT_EQ(r.exitCode, 0) << r.out;
    ReceivedJob job = Received("direct-to-printer");
    EXPECT_EQ(PageTexts(job.documentPath), std::vector<std::string>{"Page 1"});
}

TEST_F(SilentPrintTest, OverlongTitleIsCutAtACharacterToWhatIppCarries) {
    // 300 bytes of two-byte characters: the name keeps 127 of them, 254 bytes.
    std::string title;
    for (int i = 0; i < 150; ++i)
        title += "\xC3\xBC";
    const std::string doc = work.File("long-title.pdf");
    MakePdfWithSettings(doc, {kLetter}, R"({"PrintJobTitle": ")" + title + R"("})");
    ProcessResult r = Print({doc});
    ASSERT_EQ(r.exitCode, 0) << r.out;
    std::string cut;
    for (int i = 0; i < 127; ++i)
        cut += "\xC3\xBC";
    EXPECT_TRUE(Has(r.out, "Job title of 300 bytes cut to 254 bytes")) << r.out;
    ReceivedJob job = Received(cut);
    EXPECT_EQ(PageTexts(job.documentPath), std::vector<std::string>{"Page 1"});
}

TEST_F(SilentPrintTest, UnknownQueueIsRefused) {
    const std::string doc = work.File("doc.pdf");
    MakePdf(doc, {kLetter});
    ProcessResult r = Print({doc, "NoSuchQueue"});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.err, ErrorBox("Error: Invalid or inaccessible printer: NoSuchQueue"));
    EXPECT_TRUE(Has(r.out, "Failed to open printer (Error: "));
}

TEST_F(SilentPrintTest, NoSchedulerMeansNoDefaultPrinter) {
    const std::string doc = work.File("doc.pdf");
    MakePdf(doc, {kLetter});
    ProcessOptions options;
    ProcessResult r = RunProcess({ProgramPath(), "-silent", "-usePreviewApp=never", doc}, options);
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.err, ErrorBox("Error: No printer specified and no default printer available"));
    EXPECT_TRUE(Has(r.out, "No default printer available"));
}

}  // namespace

namespace {

// A scheduler of its own, since this test kills it.
TEST(SchedulerStopTest, StoppingMidJobFailsTheRunAndPrintsNothing) {
    ScratchDir work;
    ScratchDir tmp;
    const std::string stackEnv = work.File("stack.env");
    std::optional<PrinterStack> stack = PrinterStack::StartPrivate(stackEnv, "NvrStopPrinter");
    ASSERT_TRUE(stack) << "the second printer stack did not start";
    // Enough pages that the job stays open for a while before its document is sent.
    const std::string doc = work.File("long.pdf");
    MakePdf(doc, std::vector<FixturePage>(2000, kLetter));

    ProcessOptions options;
    options.setEnv["TMPDIR"] = tmp.Path();
    options.setEnv["CUPS_SERVER"] = stack->cupsServer;
    auto run = std::async(std::launch::async, [&] {
        return RunProcess({ProgramPath(), "-silent", "-usePreviewApp=never", "-logLevel=4", doc},
                          options);
    });
    const bool killed = SignalSchedulerOnceJobExists(*stack, SIGKILL, 1000);
    ProcessResult r = run.get();
    // Back again, the scheduler has no job to finish: nothing half sent is printed.
    const bool restarted = PrinterStack::RestartPrivateScheduler(stackEnv);
    const bool jobEnded = SchedulerJobGoneOrCancelled(*stack, 1);
    const bool partialJob = WaitForReceivedJob(*stack, "long.pdf", 5).has_value();
    PrinterStack::StopPrivate(stackEnv);
    ASSERT_TRUE(killed) << "the job never appeared on the scheduler";
    ASSERT_TRUE(restarted) << "the scheduler did not start again";
    EXPECT_TRUE(jobEnded) << "the scheduler still holds the job";

    EXPECT_EQ(r.exitCode, 1);
    // Sheets stream into the job as they are made, so the break shows wherever the
    // stream was when the scheduler went.
    EXPECT_TRUE(Has(r.out, "the document could not be sent: the job stream refused the data"))
        << r.out;
    EXPECT_TRUE(Has(r.out, "Silent mode failed"));
    EXPECT_FALSE(partialJob) << "a partial job was printed";
}

}  // namespace

namespace {

TEST_F(SilentPrintTest, PagesAreKeptAsTiffAfterThePrintAndAFailedCopyKeepsExitCodeZero) {
    const std::string doc = work.File("kept.pdf");
    MakePdf(doc, {kLetter, kLetter});
    ProcessResult r = Print({"-keepImages", "-imagePath=" + work.File("kept.tif"), doc});
    ASSERT_EQ(r.exitCode, 0) << r.out;
    EXPECT_TRUE(Has(r.out, "Successfully exported 2 page(s) to TIFF: " + work.File("kept.tif")));
    Received("kept.pdf");

    const std::string unwritable = work.File("no-such-dir/kept.tif");
    r = Print({"-keepImages", "-imagePath=" + unwritable, doc});
    EXPECT_EQ(r.exitCode, 0) << r.out;
    EXPECT_TRUE(Has(r.out, "Failed to save first page (Status: 7)"));
    EXPECT_TRUE(Has(r.out, "Exception during export: Failed to save first page"));
    EXPECT_TRUE(Has(r.out, "TIFF export failed"));
    EXPECT_EQ(r.err, "");
}

}  // namespace

namespace {

// A scheduler of its own, since this test stops it. The scheduler goes quiet once the job
// exists and stays quiet past the client's time limits.
TEST(SchedulerStallTest, SchedulerThatStallsAfterCreateJobNeverCountsAsSuccess) {
    ScratchDir work;
    const std::string stackEnv = work.File("stack.env");
    std::optional<PrinterStack> stack = PrinterStack::StartPrivate(stackEnv, "NvrStallPrinter");
    ASSERT_TRUE(stack) << "the stall printer stack did not start";
    ScratchDir tmp;
    const std::string doc = work.File("stalled.pdf");
    // Enough pages that the job is still being sent when the test sees it and stops the
    // scheduler: a short one can be sent and confirmed between two looks.
    MakePdf(doc, std::vector<FixturePage>(3000, kLetter));

    ProcessOptions options;
    options.setEnv["TMPDIR"] = tmp.Path();
    options.setEnv["CUPS_SERVER"] = stack->cupsServer;
    options.timeoutSeconds = 240;
    auto run = std::async(std::launch::async, [&] {
        return RunProcess({ProgramPath(), "-silent", "-usePreviewApp=never", "-logLevel=4", doc},
                          options);
    });
    const int cupsd = std::stoi(ReadFile(stack->stackDir + "/cupsd.pid"));
    const bool stopped = SignalSchedulerOnceJobExists(*stack, SIGSTOP, 2000);
    // The scheduler stays quiet until the program has ended, however long it waits.
    std::future_status ended = std::future_status::timeout;
    if (stopped) {
        ended = run.wait_for(std::chrono::seconds(200));
        ::kill(cupsd, SIGCONT);
    }
    ProcessResult r = run.get();
    PrinterStack::StopPrivate(stackEnv);
    ASSERT_TRUE(stopped) << "the job never appeared on the scheduler";
    ASSERT_EQ(ended, std::future_status::ready) << "the program waited for ever";

    // Nothing the scheduler said could have told the program that the job was whole.
    EXPECT_EQ(r.exitCode, 1) << r.out;
    EXPECT_TRUE(Has(r.out, "Job 1 on NvrStallPrinter failed: ")) << r.out;
    EXPECT_FALSE(Has(r.out, "Job 1 sent to")) << r.out;
}

}  // namespace

TEST_F(SilentPrintTest, LandscapeSinglePageTurnsWithTheJobsOrientationAndStaysAtNaturalSize) {
    // Asked for landscape, the page lies across the portrait sheet: its band (a fifth of the
    // page's height, across its whole width) runs down the sheet's long edge.
    const std::string turned = work.File("landscape-asked.pdf");
    MakePdfWithSettings(turned, {kLetterLandscape}, R"({"dmOrientation": 2})");
    ProcessResult r = Print({turned});
    ASSERT_EQ(r.exitCode, 0) << r.out;
    ReceivedJob job = Received("landscape-asked.pdf");
    ASSERT_EQ(PageTexts(job.documentPath), std::vector<std::string>{"Page 1"});
    EXPECT_TRUE(PageIsLandscape(job.documentPath, 0));
    EXPECT_GE(DarkRowsInColumn(job.documentPath, 0, 300), 756);
    EXPECT_FALSE(DarkAt(job.documentPath, 0, 500, 300));

    // Not asked, the sheet keeps the printer's portrait and the page is neither turned nor
    // shrunk: its band is as tall as on the page.
    const std::string plain = work.File("landscape-plain.pdf");
    MakePdf(plain, {kLetterLandscape});
    r = Print({plain});
    ASSERT_EQ(r.exitCode, 0) << r.out;
    job = Received("landscape-plain.pdf");
    ASSERT_EQ(PageTexts(job.documentPath), std::vector<std::string>{"Page 1"});
    EXPECT_FALSE(PageIsLandscape(job.documentPath, 0));
    const int band = DarkRowsInColumn(job.documentPath, 0, 300);
    EXPECT_GE(band, 121);
    EXPECT_LE(band, 124);
}
