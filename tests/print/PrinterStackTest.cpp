// The private print stack itself: every queue the printing tests rely on delivers a job to
// its printer, with the queue's own defaults and driver options where it has them.
#include <gtest/gtest.h>

#include "tests/print/PrintingTest.h"
#include "tests/support/PdfFixtures.h"

using namespace testsupport;

namespace {

class PrinterStackTest : public PrintingTest {
protected:
    // Submits the document with lp; returns the scheduler's job id (0 when lp failed).
    int Submit(const std::string& queue, const std::string& title,
               const std::vector<std::string>& options = {}) {
        std::vector<std::string> argv = {"lp", "-d", queue, "-t", title};
        for (const std::string& option : options)
            argv.insert(argv.end(), {"-o", option});
        argv.push_back(document);
        ProcessOptions env;
        env.setEnv["CUPS_SERVER"] = s_stack->cupsServer;
        ProcessResult r = RunProcess(argv, env);
        EXPECT_EQ(r.exitCode, 0) << r.err;
        // "request id is Queue-12 (1 file(s))"
        const size_t dash = r.out.rfind('-', r.out.find(" ("));
        return dash == std::string::npos ? 0 : std::atoi(r.out.c_str() + dash + 1);
    }
    std::string document = work.File("two-pages.pdf");
};

TEST_F(PrinterStackTest, EveryQueueDeliversToItsPrinter) {
    MakePdf(document, {kLetter, kLetter});
    Submit(s_stack->queue, "stack-plain");
    Submit(s_stack->defaultsQueue, "stack-defaults");
    Submit(s_stack->monoQueue, "stack-mono");
    const int ppdJob =
        Submit(s_stack->ppdQueue, "stack-ppd",
               {"ColorModel=RGB", "InputSlot=Manual", "StapleLocation=SinglePortrait"});
    Submit(s_stack->stapleQueue, "stack-staple", {"StapleLocation=SinglePortrait"});

    ReceivedJob plain = Received("stack-plain");
    EXPECT_EQ(plain.attributes["IPP_COPIES"], "");
    EXPECT_EQ(plain.attributes["IPP_SIDES"], "one-sided");
    // The scheduler applies the queue's defaults itself.
    ReceivedJob defaults = Received("stack-defaults");
    EXPECT_EQ(defaults.attributes["IPP_COPIES"], "2");
    EXPECT_EQ(defaults.attributes["IPP_SIDES"], "two-sided-long-edge");
    Received("stack-mono");
    // The PPD queue hands the PDF over unchanged, holds the driver options as the job's
    // attributes, and its backend turns them into IPP for the printer.
    ReceivedJob ppd = Received("stack-ppd");
    EXPECT_EQ(ReadFile(ppd.documentPath), ReadFile(document));
    const std::string held = SchedulerJobAttributes(*s_stack, ppdJob);
    EXPECT_TRUE(Has(held, "StapleLocation (nameWithoutLanguage) = SinglePortrait")) << held;
    EXPECT_EQ(ppd.attributes["IPP_PRINT_COLOR_MODE"], "color");
    EXPECT_TRUE(Has(ppd.attributes["IPP_MEDIA_COL"], "media-source=manual"));

    EXPECT_EQ(Received("stack-staple", true).attributes["IPP_FINISHINGS"], "staple-top-left");
    EXPECT_FALSE(WaitForReceivedJob(*s_stack, "stack-staple", 0)) << "stapled on the wrong printer";
}

}  // namespace
