// The private print stack itself: every queue the printing tests rely on exists and delivers
// a job to its printer, with the queue's own defaults and driver options where it has them.
#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>

#include "tests/support/PdfFixtures.h"
#include "tests/support/PrinterStack.h"
#include "tests/support/Process.h"
#include "tests/support/TestSupport.h"

using namespace testsupport;

namespace {

bool Has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

class PrinterStackTest : public ::testing::Test {
protected:
    void SetUp() override {
        stack = PrinterStack::Start();
        ASSERT_TRUE(stack) << "the printer stack did not start";
        document = work.File("two-pages.pdf");
        MakePdf(document, {kLetter, kLetter});
    }

    // Submits the document with lp; returns the scheduler's job id (0 when lp failed).
    int Submit(const std::string& queue, const std::string& title,
               const std::vector<std::string>& options = {}) {
        std::vector<std::string> argv = {"lp", "-d", queue, "-t", title};
        for (const std::string& option : options) {
            argv.insert(argv.end(), {"-o", option});
        }
        argv.push_back(document);
        ProcessOptions env;
        env.setEnv["CUPS_SERVER"] = stack->cupsServer;
        ProcessResult r = RunProcess(argv, env);
        EXPECT_EQ(r.exitCode, 0) << r.err;
        // "request id is Queue-12 (1 file(s))"
        const size_t dash = r.out.rfind('-', r.out.find(" ("));
        return dash == std::string::npos ? 0 : std::atoi(r.out.c_str() + dash + 1);
    }

    std::optional<PrinterStack> stack;
    ScratchDir work;
    std::string document;
};

TEST_F(PrinterStackTest, EveryQueueDeliversToItsPrinter) {
    const std::vector<std::string> queues = {stack->queue, stack->defaultsQueue, stack->ppdQueue,
                                             stack->monoQueue, stack->stapleQueue};
    ProcessOptions env;
    env.setEnv["CUPS_SERVER"] = stack->cupsServer;
    for (const std::string& queue : queues) {
        ASSERT_FALSE(queue.empty());
        EXPECT_EQ(RunProcess({"lpstat", "-p", queue}, env).exitCode, 0) << queue;
    }
    EXPECT_TRUE(Has(RunProcess({"lpstat", "-d"}, env).out, stack->queue));

    Submit(stack->queue, "stack-plain");
    Submit(stack->defaultsQueue, "stack-defaults");
    const int ppdJob =
        Submit(stack->ppdQueue, "stack-ppd",
               {"ColorModel=RGB", "InputSlot=Manual", "StapleLocation=SinglePortrait"});
    Submit(stack->stapleQueue, "stack-staple", {"StapleLocation=SinglePortrait"});

    std::optional<ReceivedJob> plain = WaitForReceivedJob(*stack, "stack-plain");
    ASSERT_TRUE(plain);
    EXPECT_EQ(plain->attributes["IPP_COPIES"], "");
    EXPECT_EQ(plain->attributes["IPP_SIDES"], "one-sided");

    // The scheduler applies the queue's defaults itself.
    std::optional<ReceivedJob> defaults = WaitForReceivedJob(*stack, "stack-defaults");
    ASSERT_TRUE(defaults);
    EXPECT_EQ(defaults->attributes["IPP_COPIES"], "2");
    EXPECT_EQ(defaults->attributes["IPP_SIDES"], "two-sided-long-edge");

    // The PPD queue hands the PDF over unchanged, holds the driver options as the job's
    // attributes, and its backend turns them into IPP for the printer.
    std::optional<ReceivedJob> ppd = WaitForReceivedJob(*stack, "stack-ppd");
    ASSERT_TRUE(ppd);
    EXPECT_EQ(ReadFile(ppd->documentPath), ReadFile(document));
    const std::string held = SchedulerJobAttributes(*stack, ppdJob);
    EXPECT_TRUE(Has(held, "ColorModel (nameWithoutLanguage) = RGB")) << held;
    EXPECT_TRUE(Has(held, "InputSlot (nameWithoutLanguage) = Manual")) << held;
    EXPECT_TRUE(Has(held, "StapleLocation (nameWithoutLanguage) = SinglePortrait")) << held;
    EXPECT_EQ(ppd->attributes["IPP_PRINT_COLOR_MODE"], "color");
    EXPECT_TRUE(Has(ppd->attributes["IPP_MEDIA_COL"], "media-source=manual"));

    std::optional<ReceivedJob> stapled = WaitForStapledJob(*stack, "stack-staple");
    ASSERT_TRUE(stapled);
    EXPECT_EQ(stapled->attributes["IPP_FINISHINGS"], "staple-top-left");
    EXPECT_FALSE(WaitForReceivedJob(*stack, "stack-staple", 0)) << "stapled on the wrong printer";
}

}  // namespace
