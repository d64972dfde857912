// XPS packages printed silently by the real program through the private print stack.
#include <gtest/gtest.h>

#include "tests/print/PrintingTest.h"
#include "tests/support/PageRender.h"
#include "tests/support/TiffFrames.h"
#include "tests/support/XpsFixtures.h"

using namespace testsupport;

namespace {

constexpr XpsPageSize kTall{800, 1120};

// Width and height in points of the dark area around a point of a page.
std::pair<int, int> DarkExtent(const std::string& pdf, int page, int x, int y) {
    auto run = [&](int dx, int dy) {
        int n = 0;
        while (n < 300 && DarkAt(pdf, page, x + dx * (n + 1), y + dy * (n + 1))) {
            ++n;
        }
        return n;
    };
    return {run(1, 0) + run(-1, 0) + 1, run(0, 1) + run(0, -1) + 1};
}

class XpsPrintJobTest : public PrintingTest {
protected:
    void SetUp() override {
        PrintingTest::SetUp();
        // The fixed documents declare Letter for every page; the pages' own sizes rule.
        MakeXps(doc, {{kXpsLetter, kXpsLetterLandscape, kXpsLetter}, {kXpsLetterLandscape, kTall}},
                {.declaredSize = kXpsLetter});
    }

    // Every page arrived, in order, each the way round it was made.
    void ExpectAllPages(const std::string& jobName) {
        std::optional<ReceivedJob> job = WaitForReceivedJob(*s_stack, jobName);
        ASSERT_TRUE(job) << "the printer received no job named " << jobName;
        EXPECT_EQ(PageTexts(job->documentPath),
                  (std::vector<std::string>{"Page 1", "Page 2", "Page 3", "Page 4", "Page 5"}));
        const std::vector<bool> landscape = {false, true, false, true, false};
        for (int i = 0; i < 5; ++i) {
            EXPECT_EQ(PageIsLandscape(job->documentPath, i), landscape[static_cast<size_t>(i)])
                << "page " << i + 1;
        }
    }

    std::string doc = work.File("report.xps");
};

TEST_F(XpsPrintJobTest, NamedPackageReachesThePrinterWithEveryPageAsMade) {
    ProcessResult r = Print(
        {"-print", "-keepImages", "-imagePath=" + work.File("pages.tif"), doc, s_stack->queue});
    ASSERT_EQ(r.exitCode, 0) << r.out;
    EXPECT_TRUE(Has(r.out, "stapling go to " + s_stack->queue + " as job options")) << r.out;
    EXPECT_TRUE(Has(r.out, "Job options for " + s_stack->queue + ": ")) << r.out;
    EXPECT_FALSE(Has(r.out, "number-up=")) << "the program lays out nothing for XPS";
    ExpectAllPages("report.xps");
    std::optional<ReceivedJob> job = WaitForReceivedJob(*s_stack, "report.xps");
    ASSERT_TRUE(job);
    // The scheduler fits the tall page onto the queue's Letter paper; its square stays square.
    const auto [wide, high] = DarkExtent(job->documentPath, 4, 120, 100);
    EXPECT_GT(wide, 50);
    EXPECT_NEAR(wide, high, 2);

    // One 300-DPI frame per page, each of its page's own size.
    const std::vector<std::pair<uint32_t, uint32_t>> sizes = {
        {2550, 3300}, {3300, 2550}, {2550, 3300}, {3300, 2550}, {2500, 3500}};
    std::vector<std::pair<uint32_t, uint32_t>> frames;
    for (const TiffFrame& frame : ReadTiffFrames(work.File("pages.tif")))
        frames.emplace_back(frame.width, frame.height);
    EXPECT_EQ(frames, sizes);
}

TEST_F(XpsPrintJobTest, PackagesWhoseFirstBytesNameNoPartPrintByName) {
    int number = 0;
    for (const auto& [what, options] : PackagesWithLateMarkers()) {
        const std::string name = "late-" + std::to_string(++number) + ".xps";
        MakeXps(work.File(name), {{kXpsLetter}}, options);
        ProcessResult r = Print({"-print", work.File(name), s_stack->queue});
        ASSERT_EQ(r.exitCode, 0) << what << "\n" << r.out;
        std::optional<ReceivedJob> job = WaitForReceivedJob(*s_stack, name);
        ASSERT_TRUE(job) << what;
        EXPECT_EQ(PageTexts(job->documentPath), std::vector<std::string>{"Page 1"}) << what;
    }
}

TEST_F(XpsPrintJobTest, PipedPackageIsPrintedUnderTheFixedTitleAndTheProgramsLayoutIsNotApplied) {
    const std::string settings = work.File("nup.json");
    WriteFile(settings, R"({"PagesPerSheet": 2, "bReversePages": true})");
    ProcessOptions options;
    options.stdinData = ReadFile(doc);
    ProcessResult r = Print({"-type=xps", "-settings=" + settings, "-", s_stack->queue}, options);
    ASSERT_EQ(r.exitCode, 0) << r.out;
    ExpectAllPages("Norvan print job");
}

TEST_F(XpsPrintJobTest, QueueDefaultsApplyToAnXpsJob) {
    // Two copies and 2-up by the scheduler's defaults: the program lays out nothing of its own
    // for XPS.
    ProcessResult r = Print({"-print", doc, s_stack->defaultsQueue});
    ASSERT_EQ(r.exitCode, 0) << r.out;
    std::optional<ReceivedJob> job = WaitForReceivedJob(*s_stack, "report.xps");
    ASSERT_TRUE(job);
    EXPECT_EQ(job->attributes["IPP_COPIES"], "2");
    EXPECT_EQ(PageTexts(job->documentPath).size(), 3u);
}

}  // namespace
