// Printing from the preview as a user does it: the Print button, the system print dialog
// answered with real keys, the progress dialog, and what the virtual printer received.
#include <gtest/gtest.h>

#include <signal.h>

#include <thread>

#include "tests/gui/PreviewSession.h"
#include "tests/print/PrintingTest.h"
#include "tests/support/PageRender.h"
#include "tests/support/PdfFixtures.h"

using namespace testsupport;

namespace {

// The print dialog stands centred over the preview: with the pointer there, keys go to it.
void PointAtDialog(PreviewSession& session) {
    Box view = session.MainView();
    session.X().MoveTo(session.Window(), view.CentreX() - 110, view.CentreY());
}

// Print in the preview's toolbar; the dialog asks the scheduler for its printers before it
// settles.
void OpenPrintDialog(PreviewSession& session) {
    session.ClickButton("Print");
    ASSERT_TRUE(session.WaitForLog("Calling PrintDlgW..."));
    std::this_thread::sleep_for(std::chrono::seconds(3));
    PointAtDialog(session);
}

// The dialog's Print button, at its bottom right.
void PressDialogPrint(PreviewSession& session) {
    std::optional<unsigned long> dialog =
        session.X().WaitForWindowTitled("Print", std::chrono::seconds(10));
    ASSERT_TRUE(dialog);
    auto [width, height] = session.X().SizeOf(*dialog);
    session.X().Click(*dialog, width - 100, height - 30);
}

class PreviewPrintTest : public PrintingTest {
protected:
    void Open(const std::string& printer) {
        document = session.Work().File("five.pdf");
        MakePdfWithSettings(
            document, {kLetter, kLetter, kLetter, kLetter, kLetter},
            R"({"PagesPerSheet": 2, "dmCopies": 2, "PrintJobTitle": "from-preview"})");
        session.SetEnv("CUPS_SERVER", s_stack->cupsServer);
        std::vector<std::string> args = {"-usePreviewApp=never", "-interactive"};
        session.Start(args, document, std::nullopt, printer);
        ASSERT_TRUE(session.WaitForWindow()) << session.Log();
    }
    // Picks a queue in the dialog's printer list by typing its name, closes the list's
    // search field and gives the keys back to the tabs.
    void ChoosePrinter(const std::string& queue, const std::string& screenshot) {
        session.X().Key("Tab");
        session.X().Type(queue);
        std::this_thread::sleep_for(std::chrono::milliseconds(700));
        session.Screenshot(screenshot);
        session.X().Key("Escape");
        std::this_thread::sleep_for(std::chrono::milliseconds(1500));
        session.X().Key("ISO_Left_Tab");
    }
    PreviewSession session;
    std::string document;
};

TEST_F(PreviewPrintTest, DialogChoicesReachThePrinterWithTheProgramsLayout) {
    // The job names the stapling printer; the person picks the plain queue in the dialog's
    // list by typing its name, then closes the list's search field.
    Open(s_stack->stapleQueue);
    OpenPrintDialog(session);
    ChoosePrinter(s_stack->queue, "print-dialog-chosen");
    // On the Page Setup tab, two-sided on the long edge.
    session.X().Key("Page_Down", true);
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    session.X().Key("Tab");
    session.X().Key("Down");
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    session.Screenshot("print-dialog-two-sided");
    PressDialogPrint(session);

    ASSERT_TRUE(session.WaitForLog("PrintDlgW returned: 1"));
    ASSERT_TRUE(session.WaitForLog("Creating progress dialog"));
    session.Screenshot("print-progress");
    ASSERT_TRUE(session.WaitForLog("Print callback returned, success=true")) << session.Log();
    EXPECT_TRUE(Has(session.Log(), "User selected printer: " + s_stack->queue));
    // Ranges, pages per side, their order, odd or even sheets, scale and reverse: the
    // program's to do, so the dialog does not offer them.
    EXPECT_TRUE(Has(session.Log(), "Print dialog without its page layout controls (10 hidden)"));

    EXPECT_FALSE(WaitForStapledJob(*s_stack, "from-preview", 1)) << "sent to the job's printer";
    ReceivedJob job = Received("from-preview");
    EXPECT_EQ(job.attributes["IPP_SIDES"], "two-sided-long-edge");
    EXPECT_EQ(job.attributes["IPP_COPIES"], "");  // the program made the copies
    // Two copies of three 2-up sides; a blank back closes the first, so that the second
    // starts on a sheet of its own.
    std::vector<std::string> sides = PageTexts(job.documentPath);
    EXPECT_EQ(sides, (std::vector<std::string>{"Page 1 Page 2", "Page 3 Page 4", "Page 5", "",
                                               "Page 1 Page 2", "Page 3 Page 4", "Page 5"}));

    // The preview is still there and answers.
    session.ClickButton("Next");
    EXPECT_TRUE(session.WaitForLog("Navigating to page 2"));
    EXPECT_EQ(session.CloseAndWait(), 0);
    EXPECT_TRUE(Has(session.Log(), "User cancelled"));
}

TEST_F(PreviewPrintTest, SchedulerDefaultsOfTheChosenQueueRepeatNothing) {
    // copies-default=2, number-up-default=2 and two-sided by default on this queue: the
    // program's two 2-up sets arrive as they are, not four copies of 4-up sheets.
    Open(s_stack->queue);
    OpenPrintDialog(session);
    ChoosePrinter(s_stack->defaultsQueue, "print-dialog-defaults-queue");
    PressDialogPrint(session);
    ASSERT_TRUE(session.WaitForLog("Print callback returned, success=true")) << session.Log();
    EXPECT_TRUE(Has(session.Log(), "User selected printer: " + s_stack->defaultsQueue));

    ReceivedJob job = Received("from-preview");
    EXPECT_EQ(job.attributes["IPP_COPIES"], "");
    std::vector<std::string> set = {"Page 1 Page 2", "Page 3 Page 4", "Page 5"};
    std::vector<std::string> expected = set;
    if (job.attributes["IPP_SIDES"] != "one-sided") {
        expected.push_back("");
    }
    expected.insert(expected.end(), set.begin(), set.end());
    EXPECT_EQ(PageTexts(job.documentPath), expected) << job.attributes["IPP_SIDES"];
    EXPECT_EQ(session.CloseAndWait(), 0);
}

TEST_F(PreviewPrintTest, CancelledDialogPrintsNothingAndLeavesThePreviewOpen) {
    Open(s_stack->queue);
    OpenPrintDialog(session);
    session.X().Key("Escape");
    ASSERT_TRUE(session.WaitForLog("PrintDlgW returned: 0"));
    session.ClickButton("Next");
    EXPECT_TRUE(session.WaitForLog("Navigating to page 2"));
    EXPECT_EQ(session.CloseAndWait(), 0);
    EXPECT_FALSE(Has(session.Log(), "Starting print operation"));
    EXPECT_FALSE(WaitForReceivedJob(*s_stack, "from-preview", 2));
}

}  // namespace

namespace {

// A print stack of the test's own, since the test stops or kills its scheduler, and the
// preview on its queue. The stack goes with the test, whatever became of its scheduler.
class PreviewOnPrivateStackTest : public ::testing::Test {
protected:
    void SetUp() override {
        stackEnv = work.File("stack.env");
        stack = PrinterStack::StartPrivate(stackEnv, "NvrPreviewPrivate");
        ASSERT_TRUE(stack) << "the second printer stack did not start";
        session.SetEnv("CUPS_SERVER", stack->cupsServer);
    }
    void TearDown() override { PrinterStack::StopPrivate(stackEnv); }
    void OpenPreview(const std::string& document) {
        session.Start({"-usePreviewApp=never", "-interactive"}, document, std::nullopt,
                      stack->queue);
        ASSERT_TRUE(session.WaitForWindow()) << session.Log();
    }
    ScratchDir work;
    std::string stackEnv;
    std::optional<PrinterStack> stack;
    PreviewSession session;
};

TEST_F(PreviewOnPrivateStackTest, SchedulerGoneMidJobFailsThePrintAndThePreviewStillAnswers) {
    const std::string doc = session.Work().File("long.pdf");
    MakePdf(doc, std::vector<FixturePage>(2000, kLetter));
    OpenPreview(doc);

    OpenPrintDialog(session);
    PressDialogPrint(session);

    ASSERT_TRUE(SignalSchedulerOnceJobExists(*stack, SIGKILL, 1000))
        << "the job never appeared on the scheduler";
    EXPECT_TRUE(
        session.WaitForLog("Print callback returned, success=false", std::chrono::seconds(120)))
        << session.Log();
    EXPECT_TRUE(Has(session.Log(), "Print operation failed"));
    EXPECT_TRUE(Has(session.Log(), "the document could not be sent")) << session.Log();

    session.ClickButton("Next");
    EXPECT_TRUE(session.WaitForLog("Navigating to page 2"));
    EXPECT_EQ(session.CloseAndWait(), 0);
    // Back again, the scheduler has no job to finish: nothing half sent is printed.
    ASSERT_TRUE(PrinterStack::RestartPrivateScheduler(stackEnv));
    EXPECT_TRUE(SchedulerJobGoneOrCancelled(*stack, 1)) << "the scheduler still holds the job";
    EXPECT_FALSE(WaitForReceivedJob(*stack, "long.pdf", 5)) << "a partial job was printed";
}

TEST_F(PreviewOnPrivateStackTest, HangingSchedulerCostsTheDialogItsSettingsAndNeverTheWindow) {
    const std::string doc = session.Work().File("three.pdf");
    MakePdf(doc, {kLetter, kLetter, kLetter});
    OpenPreview(doc);

    ASSERT_TRUE(SignalScheduler(*stack, SIGSTOP));
    session.ClickButton("Print");
    ASSERT_TRUE(session.WaitForLog("Opening printer: " + stack->queue));
    std::this_thread::sleep_for(std::chrono::seconds(2));
    session.Screenshot("print-waiting-for-printer");
    EXPECT_TRUE(session.WaitForLog("Exception caught in DocumentPropertiesW size query",
                                   std::chrono::seconds(60)))
        << session.Log();
    // The dialog opens without the printer's settings; the person cancels it.
    std::optional<unsigned long> dialog =
        session.X().WaitForWindowTitled("Print", std::chrono::seconds(20));
    EXPECT_TRUE(dialog);
    PointAtDialog(session);
    std::this_thread::sleep_for(std::chrono::seconds(1));
    session.X().Key("Escape");
    EXPECT_TRUE(session.WaitForLog("PrintDlgW returned: 0"));

    session.ClickButton("Next");
    EXPECT_TRUE(session.WaitForLog("Navigating to page 2"));
    EXPECT_EQ(session.CloseAndWait(), 0);
}

}  // namespace
