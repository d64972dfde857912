// Printing from the preview as a user does it: the Print button, the system print dialog
// answered with real keys, and what the virtual printer received.
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <regex>
#include <sstream>

#include "tests/gui/PreviewSession.h"
#include "tests/print/PrintingTest.h"
#include "tests/support/PageRender.h"
#include "tests/support/PdfFixtures.h"

using namespace testsupport;

namespace {

using Texts = std::vector<std::string>;

// The preview still answers after the dialog: its next page, then closing it ends the run.
void ExpectPreviewAnswersAndCloses(PreviewSession& s) {
    s.ClickButton("Next");
    EXPECT_TRUE(s.WaitForStatus("Page 2 of "));
    EXPECT_EQ(s.CloseAndWait(), 0);
}

class PreviewPrintTest : public PrintingTest {};

TEST_F(PreviewPrintTest, DialogChoicesReachThePrinterWithTheProgramsLayoutAndNoDefaultRepeatsIt) {
    struct Case {
        std::string PrinterStack::*named;   // the job's printer
        std::string PrinterStack::*chosen;  // the queue the person picks in the dialog
        bool twoSided;                      // whether the person asks for two-sided
    };
    // The plain queue, and the one with copies-default=2, number-up-default=2, two-sided.
    for (const Case& c : {Case{&PrinterStack::stapleQueue, &PrinterStack::queue, true},
                          Case{&PrinterStack::queue, &PrinterStack::defaultsQueue, false}}) {
        PreviewSession session;  // five pages, two to a side, two copies
        const std::string title = "from-preview-" + (*s_stack).*c.chosen;
        const std::string doc = session.Work().File("five.pdf");
        MakePdfWithSettings(
            doc, std::vector<FixturePage>(5, kLetter),
            R"({"PagesPerSheet": 2, "dmCopies": 2, "PrintJobTitle": ")" + title + R"("})");
        session.SetEnv("CUPS_SERVER", s_stack->cupsServer);
        ASSERT_TRUE(session.Open({"-interactive", doc, (*s_stack).*c.named})) << session.Log();
        // A dialog cancelled first prints nothing, and the preview goes on.
        session.OpenPrintDialog();
        session.X().Screenshot("print-dialog-over-preview");
        session.X().Key("Escape");
        ASSERT_TRUE(session.WaitForLog("PrintDlgW returned: 0")) << session.Log();
        // The person picks the queue by typing its name in the printer list, closes the list's
        // search field, gives the keys back to the tabs, and on Page Setup may ask two-sided.
        session.OpenPrintDialog();
        session.X().Key("Tab");
        session.X().Type((*s_stack).*c.chosen);
        ASSERT_TRUE(session.WaitForLog("Print dialog shows printer: " + (*s_stack).*c.chosen))
            << session.Log();
        EXPECT_TRUE(session.X().WaitForStillScreen());
        session.X().Screenshot("print-dialog-" + (*s_stack).*c.chosen);
        session.X().Key("Escape");
        EXPECT_TRUE(session.X().WaitForStillScreen());
        session.X().Key("ISO_Left_Tab");
        if (c.twoSided) {
            session.X().Key("Page_Down", true);
            EXPECT_TRUE(session.X().WaitForStillScreen());
            session.X().Key("Tab");
            session.X().Key("Down");
            EXPECT_TRUE(session.X().WaitForStillScreen());
        }
        session.PressDialogPrint();
        // A close while the progress window shows waits for the job, then ends the run.
        const bool closeWhileSending = c.chosen == &PrinterStack::defaultsQueue;
        if (closeWhileSending) {
            ASSERT_TRUE(session.WaitForLog("Starting print operation"));
            session.X().Screenshot("progress-over-preview");
            EXPECT_EQ(session.CloseAndWait(), 0) << session.Log();
        }
        ASSERT_TRUE(session.WaitForLog("Print callback returned, success=true")) << session.Log();
        // Ranges, pages per side, their order, scale and reverse are the program's to do: the
        // dialog does not offer them.
        EXPECT_TRUE(
            Has(session.Log(), "Print dialog without its page layout controls (10 hidden)"));
        EXPECT_FALSE(WaitForJobIn(s_stack->stapleRecordDir, title, 1))
            << "sent to the job's printer, or printed when cancelled";

        // Two copies of three 2-up sides, the copies made by the program; on two-sided paper a
        // blank back closes the first, so that the second starts on a sheet of its own. Not
        // asked, the dialog starts one-sided, as on the job's printer, and takes up the chosen
        // queue's two-sided default once it has read that queue's options: either may print.
        ReceivedJob job = Received(title);
        const bool twoSided = job.attributes["IPP_SIDES"] == "two-sided-long-edge";
        EXPECT_TRUE(twoSided || (!c.twoSided && job.attributes["IPP_SIDES"] == "one-sided"));
        EXPECT_EQ(job.attributes["IPP_COPIES"], "");
        const Texts set = {"Page 1 Page 2", "Page 3 Page 4", "Page 5"};
        Texts expected = set;
        if (twoSided)
            expected.push_back("");
        expected.insert(expected.end(), set.begin(), set.end());
        EXPECT_EQ(PageTexts(job.documentPath), expected);
        if (!closeWhileSending)
            ExpectPreviewAnswersAndCloses(session);
    }
}

// Copies and collation typed into the print dialog, by its mnemonics, are made by the program:
// the printer gets every copy in the order chosen and is never asked for a copy of its own, on
// the plain queue, the one whose scheduler would make two copies itself, and a PPD queue.
TEST_F(PreviewPrintTest, CopiesAndCollationTypedInTheDialogArePrintedByTheProgram) {
    struct Case {
        std::string PrinterStack::*queue;
        std::string copies;
        bool untickCollate;
    };
    for (const Case& c :
         {Case{&PrinterStack::queue, "3", false}, Case{&PrinterStack::defaultsQueue, "2", true},
          Case{&PrinterStack::ppdQueue, "3", false}}) {
        const std::string queue = (*s_stack).*c.queue;
        SCOPED_TRACE(queue);
        PreviewSession s;
        const std::string title = "typed-copies-" + queue;
        const std::string doc = s.Work().File("three.pdf");
        MakePdfWithSettings(doc, std::vector<FixturePage>(3, kLetter),
                            R"({"dmCollate": 1, "PrintJobTitle": ")" + title + R"("})");
        s.SetEnv("CUPS_SERVER", s_stack->cupsServer);
        ASSERT_TRUE(s.Open({"-interactive", doc, queue})) << s.Log();
        s.OpenPrintDialog();
        s.X().Key("s", false, true);  // Copie_s
        s.X().Key("a", true);
        s.X().Type(c.copies);
        s.X().Key("Tab");
        if (c.untickCollate)
            s.X().Key("o", false, true);  // C_ollate
        EXPECT_TRUE(s.X().WaitForStillScreen());
        s.X().Screenshot("print-dialog-copies-" + queue);
        s.PressDialogPrint();
        ASSERT_TRUE(s.WaitForLog("Print callback returned, success=true")) << s.Log();
        // The progress window followed the job to its last sheet.
        EXPECT_TRUE(std::regex_search(s.Log(), std::regex(R"(Progress updated - page (\d+)/\1 )")))
            << s.Log();

        // On two-sided paper (the scheduler-defaults queue) each copy keeps to its own sheets.
        ReceivedJob job = Received(title);
        const bool twoSided = Has(job.attributes["IPP_SIDES"], "two-sided");
        Texts expected;
        if (!c.untickCollate) {
            for (int copy = 0; copy < 3; ++copy)
                expected.insert(expected.end(), {"Page 1", "Page 2", "Page 3"});
        } else if (twoSided) {
            expected = {"Page 1", "Page 2", "Page 1", "Page 2", "Page 3", "", "Page 3"};
        } else {
            expected = {"Page 1", "Page 1", "Page 2", "Page 2", "Page 3", "Page 3"};
        }
        EXPECT_EQ(PageTexts(job.documentPath), expected);
        EXPECT_EQ(job.attributes["IPP_COPIES"], "");
        EXPECT_EQ(s.CloseAndWait(), 0);
        // Kept beside the screenshots, to be looked at.
        std::error_code ignored;
        std::filesystem::copy_file(job.documentPath,
                                   std::string(NVR_ARTIFACT_DIR) + "/received-" + queue + ".pdf",
                                   std::filesystem::copy_options::overwrite_existing, ignored);
    }
}

// The sheets view shows one copy of the job as the printer gets it: fourteen pages two to a
// side in reverse on the two-sided queue, so seven sides on four sheets and the blank back
// that closes the copy. Print to File writes what the printer gets.
TEST_F(PreviewPrintTest, SheetsViewAndPrintToFileShowTheSidesThePrinterReceives) {
    PreviewSession s;
    const std::string title = "sheets-view";
    const std::string doc = s.Work().File("fourteen.pdf");
    MakePdfWithSettings(doc, std::vector<FixturePage>(14, kLetter),
                        R"({"PagesPerSheet": 2, "bReversePages": true, "dmCopies": 2,
                            "PrintJobTitle": ")" +
                            title + R"("})");
    s.SetEnv("CUPS_SERVER", s_stack->cupsServer);
    s.SetEnv("HOME", s.Work().Path());  // where the dialog's Print to File writes by default
    ASSERT_TRUE(s.Open({"-interactive", doc, s_stack->defaultsQueue})) << s.Log();
    // Each side as the status bar names it, as the log lists its pages and as its text reads.
    Texts statuses, listed, shown;
    for (int side = 1; side <= 8; ++side) {
        const int first = 16 - 2 * side;
        statuses.push_back(fmt::format("Sheet {} of 4, {}{}", (side + 1) / 2,
                                       side % 2 == 1 ? "front" : "back",
                                       side == 8 ? " (blank)" : ""));
        listed.push_back(side == 8 ? "Sheet 8: pages blank"
                                   : fmt::format("Sheet {}: pages {}, {}", side, first, first - 1));
        shown.push_back(side == 8 ? "" : fmt::format("Page {} Page {}", first, first - 1));
    }
    // Sheets 1 and 4, front and back, are kept as pictures.
    auto keepPicture = [&s](int side) {
        EXPECT_TRUE(WaitUntil([&] { return Has(s.Log(), fmt::format("Sheet {} drawn", side)); },
                              std::chrono::seconds(10)))
            << side;
        EXPECT_TRUE(s.X().WaitForStillScreen());
        s.X().Screenshot(fmt::format("preview-sheets-side-{}", side));
    };
    s.ClickButton("Sheets");
    ASSERT_TRUE(s.WaitForStatus(statuses[0])) << s.Log();
    keepPicture(1);
    for (int side = 2; side <= 9; ++side) {
        s.ClickButton("Next");  // past the last side, the view stays there
        EXPECT_TRUE(s.WaitForStatus(statuses[std::min(side, 8) - 1])) << s.LatestStatus();
        if (side == 2 || side == 7 || side == 8)
            keepPicture(side);
    }
    for (const std::string& side : listed)
        EXPECT_TRUE(Has(s.Log(), side)) << side;
    s.ClickButton("Sheets");
    EXPECT_TRUE(s.WaitForStatus("Page 2 of 14")) << s.LatestStatus();

    s.OpenPrintDialog();
    s.PressDialogPrint();
    ASSERT_TRUE(s.WaitForLog("Print callback returned, success=true")) << s.Log();
    Texts printed = PageTexts(Received(title).documentPath);
    ASSERT_GE(printed.size(), shown.size());
    EXPECT_EQ(Texts(printed.begin(), printed.begin() + shown.size()), shown);

    // Print to File writes the same sheets to the file.
    s.OpenPrintDialog();
    s.PrintToFileInDialog();
    ASSERT_TRUE(s.WaitForLog("Print callback returned, success=true")) << s.Log();
    static const std::regex kFile(R"(User chose to print to file: (.+))");
    std::smatch file;
    const std::string afterFile = s.Log();
    ASSERT_TRUE(std::regex_search(afterFile, file, kFile)) << afterFile;
    EXPECT_EQ(PageTexts(file[1].str()), printed) << file[1].str();
    EXPECT_EQ(s.CloseAndWait(), 0);
}

// A print stack of the test's own, since the test stops or kills its scheduler, and the
// preview on its queue.

// A scheduler that hangs: the dialog opens without the printer's settings, the person cancels
// it, and the window answers throughout. (One that dies mid-job fails the print as a silent
// one does, and the window goes on as after any failed print.)
TEST(PreviewOnPrivateStackTest, HangingSchedulerNeverHoldsTheWindow) {
    PrivateStack own("NvrPreviewPrivate");
    ASSERT_TRUE(own.Stack()) << "the printer stack of the test did not start";
    PreviewSession s;
    const std::string doc = s.Work().File("long.pdf");
    MakePdf(doc, std::vector<FixturePage>(3, kLetter));
    s.SetEnv("CUPS_SERVER", own.Stack()->cupsServer);
    ASSERT_TRUE(s.Open({"-interactive", doc, own.Stack()->queue})) << s.Log();
    ASSERT_TRUE(SignalScheduler(*own.Stack(), SIGSTOP));
    s.ClickButton("Print");
    EXPECT_TRUE(s.X().WaitForWindow("Print", std::chrono::seconds(80)));
    s.X().Screenshot("print-waiting-for-printer");
    s.PointAtDialog();
    EXPECT_TRUE(s.X().WaitForStillScreen());
    s.X().Key("Escape");
    EXPECT_TRUE(s.WaitForLog("PrintDlgW returned: 0", std::chrono::seconds(60)));
    s.ClickButton("Next");
    EXPECT_TRUE(s.WaitForStatus("Page 2 of "));
    // The query given up is still waiting on the printer when the program ends; woken then,
    // it neither logs nor posts once the program has begun to exit.
    s.X().Close(s.Window());
    ASSERT_TRUE(s.WaitForLog("Preview closed with result"));
    SignalScheduler(*own.Stack(), SIGCONT);
    EXPECT_EQ(s.CloseAndWait(), 0);
    const std::string log = s.Log();
    const size_t exiting = log.find("Application Exiting");
    ASSERT_NE(exiting, std::string::npos) << log;
    std::istringstream after(log.substr(log.find('\n', exiting) + 1));
    for (std::string line; std::getline(after, line);)
        EXPECT_TRUE(Has(line, "Exiting with code") || Has(line, "Logger shutting down")) << line;
}

// The scheduler stops just as the person presses Print for a 2-up job: the chosen printer is
// asked for the print off the main loop, so the preview answers while it waits, and the print
// is given up with its error when the printer's time is up. Nothing prints.
TEST(PreviewOnPrivateStackTest, PrinterSilentAtTheDialogsAnswerLeavesThePreviewAnswering) {
    PrivateStack own("NvrPreviewAnswer");
    ASSERT_TRUE(own.Stack()) << "the printer stack of the test did not start";
    PreviewSession s;
    const std::string doc = s.Work().File("nup.pdf");
    MakePdfWithSettings(doc, std::vector<FixturePage>(4, kLetter), R"({"PagesPerSheet": 2})");
    s.SetEnv("CUPS_SERVER", own.Stack()->cupsServer);
    ASSERT_TRUE(s.Open({"-interactive", doc, own.Stack()->queue})) << s.Log();
    s.OpenPrintDialog();
    ASSERT_TRUE(SignalScheduler(*own.Stack(), SIGSTOP));
    s.PressDialogPrint();
    ASSERT_TRUE(s.WaitForLog("for the print of the dialog's choices")) << s.Log();
    s.ClickButton("Next");
    EXPECT_TRUE(s.WaitForStatus("Page 2 of 4")) << s.LatestStatus();
    EXPECT_TRUE(s.WaitForLog("did not answer in time", std::chrono::seconds(60))) << s.Log();
    EXPECT_TRUE(s.WaitForLog("Print callback returned, success=false")) << s.Log();
    s.ClickButton("Previous");
    EXPECT_TRUE(s.WaitForStatus("Page 1 of 4")) << s.LatestStatus();
    SignalScheduler(*own.Stack(), SIGCONT);
    EXPECT_EQ(s.CloseAndWait(), 0);
    EXPECT_FALSE(WaitForReceivedJob(*own.Stack(), "nup.pdf", 5));
}

// A person who closed the progress window of a print the scheduler holds up gets it back with
// Print, over a preview that takes no input again until the print has ended.
TEST(PreviewOnPrivateStackTest, ClosedProgressWindowComesBackOnPrint) {
    PrivateStack own("NvrPreviewProgress");
    ASSERT_TRUE(own.Stack()) << "the printer stack of the test did not start";
    PreviewSession s;
    const std::string doc = s.Work().File("long.pdf");
    MakePdf(doc, std::vector<FixturePage>(2000, kLetter));
    s.SetEnv("CUPS_SERVER", own.Stack()->cupsServer);
    ASSERT_TRUE(s.Open({"-interactive", doc, own.Stack()->queue})) << s.Log();
    s.OpenPrintDialog();
    s.PressDialogPrint();
    ASSERT_TRUE(SignalSchedulerOnceJobExists(*own.Stack(), SIGSTOP, 1000));
    std::optional<unsigned long> progress =
        s.X().WaitForWindow("Printing", std::chrono::seconds(20));
    ASSERT_TRUE(progress) << s.Log();
    s.X().Close(*progress);
    EXPECT_TRUE(s.WaitForLog("WM_CLOSE received")) << s.Log();
    s.ClickButton("Print");
    EXPECT_TRUE(s.WaitForLog("Showing the progress window again")) << s.Log();
    EXPECT_TRUE(s.X().WaitForWindow("Printing", std::chrono::seconds(20)));
    EXPECT_TRUE(s.X().WaitForStillScreen());
    s.X().Screenshot("progress-shown-again");
    SignalScheduler(*own.Stack(), SIGCONT);
    // Whole or given up by its time limit, the print ends, and so does the run.
    EXPECT_TRUE(s.WaitForLog("Print callback returned", std::chrono::seconds(120))) << s.Log();
    EXPECT_EQ(s.CloseAndWait(), 0);
}

}  // namespace
