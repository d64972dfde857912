// What reaches paper on queues that have a mind of their own: scheduler defaults, a classic
// PPD driver, a printer that staples. Each test reads what the printer received and what the
// scheduler holds of the job, never only the program's log.
#include <gtest/gtest.h>

#include "tests/print/PrintingTest.h"
#include "tests/support/PageRender.h"
#include "tests/support/PdfFixtures.h"

using namespace testsupport;

namespace {

using Texts = std::vector<std::string>;

class QueueSettingsTest : public PrintingTest {
protected:
    // Prints a document of pages with embedded settings on the queue; the job's scheduler
    // attributes and the document the printer received.
    struct Outcome {
        ProcessResult run;
        std::string held;
        ReceivedJob job;
    };
    Outcome PrintOn(const std::string& queue, const std::string& name, size_t pages,
                    const std::string& settings, FixturePage page = kLetter) {
        const std::string doc = work.File(name);
        MakePdfWithSettings(doc, std::vector<FixturePage>(pages, page), settings);
        Outcome o;
        o.run = Print({doc, queue});
        EXPECT_EQ(o.run.exitCode, 0) << o.run.out;
        const int jobId = SchedulerJobId(o.run.out);
        EXPECT_GT(jobId, 0) << o.run.out;
        o.job = Received(name);
        o.held = SchedulerJobAttributes(*s_stack, jobId);
        return o;
    }

    static Texts PagesOf(const Outcome& o) { return PageTexts(o.job.documentPath); }
};

TEST_F(QueueSettingsTest, SchedulerDefaultsNeverRepeatTheProgramsCopiesOrNup) {
    // copies-default=2, number-up-default=2 and two-sided by default on this queue.
    Outcome plain = PrintOn(s_stack->defaultsQueue, "defaults-plain.pdf", 3, "{}");
    EXPECT_EQ(PagesOf(plain), (Texts{"Page 1", "Page 2", "Page 3"}));
    EXPECT_TRUE(Has(plain.held, "copies (integer) = 1")) << plain.held;
    EXPECT_TRUE(Has(plain.held, "number-up (integer) = 1")) << plain.held;
    EXPECT_TRUE(Has(plain.held, "page-delivery (keyword) = same-order")) << plain.held;
    EXPECT_TRUE(Has(plain.held, "print-scaling (keyword) = none")) << plain.held;
    EXPECT_EQ(plain.job.attributes["IPP_COPIES"], "");

    // Two copies are the program's two sets: on the queue's two-sided paper, each on sheets
    // of its own.
    Outcome two = PrintOn(s_stack->defaultsQueue, "defaults-copies.pdf", 3, R"({"dmCopies": 2})");
    EXPECT_EQ(PagesOf(two),
              (Texts{"Page 1", "Page 2", "Page 3", "", "Page 1", "Page 2", "Page 3"}));
    EXPECT_TRUE(Has(two.held, "copies (integer) = 1")) << two.held;
    EXPECT_EQ(two.job.attributes["IPP_SIDES"], "two-sided-long-edge");

    Outcome fourUp =
        PrintOn(s_stack->defaultsQueue, "defaults-4up.pdf", 7, R"({"PagesPerSheet": 4})");
    const Texts sides = PagesOf(fourUp);
    ASSERT_EQ(sides.size(), 2u);
    for (const char* page : {"Page 1", "Page 2", "Page 3", "Page 4"}) {
        EXPECT_TRUE(Has(sides[0], page)) << sides[0];
    }
    for (const char* page : {"Page 5", "Page 6", "Page 7"}) {
        EXPECT_TRUE(Has(sides[1], page)) << sides[1];
        EXPECT_FALSE(Has(sides[0], page)) << sides[0];
    }
    EXPECT_TRUE(Has(fourUp.held, "number-up (integer) = 1")) << fourUp.held;
}

TEST_F(QueueSettingsTest, RequestedBinIsTheOnlyBinEvenOverTheQueueDefault) {
    // media-source-default=main on the defaults queue.
    Outcome manual =
        PrintOn(s_stack->defaultsQueue, "bin-manual.pdf", 1, R"({"dmDefaultSource": 4})");
    EXPECT_TRUE(Has(manual.held, "media-source (keyword) = manual")) << manual.held;
    EXPECT_FALSE(Has(manual.held, "= main")) << manual.held;
    EXPECT_TRUE(Has(manual.job.attributes["IPP_MEDIA_COL"], "media-source=manual"))
        << manual.job.attributes["IPP_MEDIA_COL"];
}

TEST_F(QueueSettingsTest, PpdQueueGetsDriverChoicesOnlyForWhatTheJobAsks) {
    Outcome plain = PrintOn(s_stack->ppdQueue, "ppd-plain.pdf", 1, "{}");
    EXPECT_FALSE(Has(plain.held, "FastGray")) << plain.held;
    EXPECT_FALSE(Has(plain.held, "InputSlot")) << plain.held;
    EXPECT_FALSE(Has(plain.held, "StapleLocation")) << plain.held;

    Outcome colour = PrintOn(s_stack->ppdQueue, "ppd-colour.pdf", 1, R"({"dmColor": 2})");
    EXPECT_TRUE(Has(colour.held, "ColorModel (nameWithoutLanguage) = RGB")) << colour.held;
    EXPECT_EQ(colour.job.attributes["IPP_PRINT_COLOR_MODE"], "color");

    // Grey is the queue's own default: nothing to send, and never the draft grey.
    Outcome grey = PrintOn(s_stack->ppdQueue, "ppd-grey.pdf", 1, R"({"dmColor": 1})");
    EXPECT_FALSE(Has(grey.held, "FastGray")) << grey.held;
    EXPECT_EQ(grey.job.attributes["IPP_PRINT_COLOR_MODE"], "monochrome");

    Outcome bin = PrintOn(s_stack->ppdQueue, "ppd-bin.pdf", 1, R"({"dmDefaultSource": 4})");
    EXPECT_TRUE(Has(bin.held, "InputSlot (nameWithoutLanguage) = Manual")) << bin.held;
    EXPECT_TRUE(Has(bin.held, "media-source (keyword) = manual")) << bin.held;
    EXPECT_FALSE(Has(bin.held, "= main")) << bin.held;
    EXPECT_FALSE(Has(bin.held, "= Auto")) << bin.held;
}

TEST_F(QueueSettingsTest, ScaleFormNameAndCustomPaperChooseWhatPrints) {
    // The band across a Letter page is 158 points at natural size.
    Outcome half = PrintOn(s_stack->queue, "scale-half.pdf", 1, R"({"dmScale": 50})");
    const int band = DarkRowsInColumn(half.job.documentPath, 0, 250);
    EXPECT_GE(band, 77);
    EXPECT_LE(band, 81);

    Outcome a4 = PrintOn(s_stack->queue, "form-a4.pdf", 1, R"({"dmFormName": "A4"})");
    EXPECT_TRUE(Has(a4.held, "media (keyword) = iso_a4_210x297mm")) << a4.held;
    const auto [a4Width, a4Height] = PageSize(a4.job.documentPath, 0);
    EXPECT_NEAR(a4Width, 595.3, 0.5);
    EXPECT_NEAR(a4Height, 841.9, 0.5);
    EXPECT_FALSE(Has(a4.run.out, "dmFormName corrected")) << a4.run.out;

    // A printer with custom sizes prints the paper asked for...
    const std::string card = R"({"dmPaperSize": 256, "dmPaperWidth": 1000, "dmPaperLength": 1500,
                                 "PrintJobTitle": "custom-card"})";
    const std::string doc = work.File("custom-card.pdf");
    MakePdfWithSettings(doc, {kLetter}, card);
    ProcessResult custom = Print({doc, s_stack->stapleQueue});
    ASSERT_EQ(custom.exitCode, 0) << custom.out;
    EXPECT_TRUE(
        Has(SchedulerJobAttributes(*s_stack, SchedulerJobId(custom.out)), "custom_100x150mm"));
    std::optional<ReceivedJob> cardJob = WaitForStapledJob(*s_stack, "custom-card");
    ASSERT_TRUE(cardJob);
    const auto [cardWidth, cardHeight] = PageSize(cardJob->documentPath, 0);
    EXPECT_NEAR(cardWidth, 283.5, 0.5);
    EXPECT_NEAR(cardHeight, 425.2, 0.5);

    // ...one without them the nearest paper it has, and says so.
    Outcome nearest = PrintOn(s_stack->queue, "custom-card", 1, card);
    EXPECT_TRUE(Has(nearest.run.out, "dmPaperSize corrected from 256 to 27")) << nearest.run.out;
    EXPECT_TRUE(Has(nearest.held, "media (keyword) = iso_dl_110x220mm")) << nearest.held;
}

TEST_F(QueueSettingsTest, TwoSidedCopiesNeverShareASheet) {
    Outcome collated = PrintOn(s_stack->queue, "duplex-collated.pdf", 3,
                               R"({"dmDuplex": 2, "dmCopies": 2, "dmCollate": 1})");
    // Four sheets: 1|2, 3|blank, 1|2, 3.
    EXPECT_EQ(PagesOf(collated),
              (Texts{"Page 1", "Page 2", "Page 3", "", "Page 1", "Page 2", "Page 3"}));
    EXPECT_EQ(collated.job.attributes["IPP_SIDES"], "two-sided-long-edge");

    Outcome uncollated = PrintOn(s_stack->queue, "duplex-uncollated.pdf", 3,
                                 R"({"dmDuplex": 2, "dmCopies": 2, "dmCollate": 0})");
    EXPECT_EQ(PagesOf(uncollated),
              (Texts{"Page 1", "Page 2", "Page 1", "Page 2", "Page 3", "", "Page 3"}));
}

TEST_F(QueueSettingsTest, StaplingReachesPrintersThatStapleAndOnlyThose) {
    const std::string doc = work.File("staple.pdf");
    MakePdfWithSettings(doc, {kLetter, kLetter}, R"({"bStapled": true})");
    ProcessResult r = Print({doc, s_stack->stapleQueue});
    ASSERT_EQ(r.exitCode, 0) << r.out;
    EXPECT_TRUE(Has(r.out, "Stapling setting survived DocumentProperties validation")) << r.out;
    EXPECT_TRUE(
        Has(SchedulerJobAttributes(*s_stack, SchedulerJobId(r.out)), "finishings (enum) = staple"));
    std::optional<ReceivedJob> stapled = WaitForStapledJob(*s_stack, "staple.pdf");
    ASSERT_TRUE(stapled);
    EXPECT_TRUE(Has(stapled->attributes["IPP_FINISHINGS"], "staple")) << r.out;

    // A PPD printer staples through its own option, or the finishings its PPD maps to it.
    Outcome ppd = PrintOn(s_stack->ppdQueue, "staple-ppd.pdf", 2, R"({"bStapled": true})");
    EXPECT_TRUE(Has(ppd.held, "finishings (enum) = staple-top-left") ||
                Has(ppd.held, "StapleLocation (nameWithoutLanguage) = SinglePortrait"))
        << ppd.held;
    EXPECT_TRUE(Has(ppd.run.out, "Stapling setting survived DocumentProperties validation"));
}

}  // namespace

TEST_F(QueueSettingsTest, ColourOnAGreyOnlyPrinterIsCorrectedToGreyAndPrints) {
    Outcome colour = PrintOn(s_stack->monoQueue, "mono-colour.pdf", 2, R"({"dmColor": 2})");
    EXPECT_TRUE(Has(colour.run.out, "dmColor corrected from 2 to 1")) << colour.run.out;
    EXPECT_TRUE(Has(colour.run.out, "1 standard DEVMODE setting(s) were corrected"))
        << colour.run.out;
    EXPECT_TRUE(Has(colour.held, "print-color-mode (keyword) = monochrome")) << colour.held;
    EXPECT_FALSE(Has(colour.held, "= color")) << colour.held;
    EXPECT_EQ(colour.job.attributes["IPP_PRINT_COLOR_MODE"], "monochrome");
    EXPECT_EQ(PagesOf(colour), (Texts{"Page 1", "Page 2"}));

    // Grey asked for is what the printer has: nothing to correct.
    Outcome grey = PrintOn(s_stack->monoQueue, "mono-grey.pdf", 1, R"({"dmColor": 1})");
    EXPECT_FALSE(Has(grey.run.out, "dmColor corrected")) << grey.run.out;
    EXPECT_TRUE(Has(grey.run.out, "All standard DEVMODE settings validated without corrections"))
        << grey.run.out;
    EXPECT_EQ(grey.job.attributes["IPP_PRINT_COLOR_MODE"], "monochrome");
}

TEST_F(QueueSettingsTest, PpdQueueTakesTwoSidedA4ThroughItsOwnChoices) {
    Outcome a4 =
        PrintOn(s_stack->ppdQueue, "ppd-a4-duplex.pdf", 3, R"({"dmDuplex": 2, "dmPaperSize": 9})");
    EXPECT_TRUE(Has(a4.held, "Duplex (nameWithoutLanguage) = DuplexNoTumble")) << a4.held;
    EXPECT_TRUE(Has(a4.held, "sides (keyword) = two-sided-long-edge")) << a4.held;
    EXPECT_TRUE(Has(a4.held, "media (keyword) = iso_a4_210x297mm")) << a4.held;
    EXPECT_EQ(a4.job.attributes["IPP_SIDES"], "two-sided-long-edge");
    EXPECT_TRUE(Has(a4.job.attributes["IPP_MEDIA_COL"], "x-dimension=21000 y-dimension=29700"))
        << a4.job.attributes["IPP_MEDIA_COL"];
    // Three pages in order, on A4 as the printer received them.
    EXPECT_EQ(PagesOf(a4), (Texts{"Page 1", "Page 2", "Page 3"}));
    const auto [width, height] = PageSize(a4.job.documentPath, 0);
    EXPECT_NEAR(width, 595.3, 0.5);
    EXPECT_NEAR(height, 841.9, 0.5);
}
