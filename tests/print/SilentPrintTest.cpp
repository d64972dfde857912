// Silent printing end to end: the real program prints through a private CUPS scheduler into
// virtual IPP printers, on queues with minds of their own (scheduler defaults, a classic PPD,
// grey only, a stapler). Each case reads what the printer received and what the scheduler
// holds of the job.
#include <gtest/gtest.h>
#include <signal.h>

#include <fmt/format.h>

#include <functional>
#include <future>

#include "tests/print/PrintingTest.h"
#include "tests/support/PageRender.h"
#include "tests/support/PdfFixtures.h"

using namespace testsupport;
// The cases below leave out what they do not check.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

namespace {

using Texts = std::vector<std::string>;

struct PrintCase {
    std::string name;                  // the document's file name, and so the job's
    std::string PrinterStack::*queue;  // the stack's queue; nothing: the scheduler's default
    std::vector<FixturePage> pages;
    std::string settings;
    Texts sides;                                  // the sides' texts, when checked
    std::map<std::string, std::string> received;  // IPP_* attribute -> text it contains ("" empty)
    std::vector<std::string> held;                // in the scheduler's job attributes
    std::vector<std::string> notHeld;
    std::function<void(const std::string& pdf)> look = nullptr;  // the received document
    friend void PrintTo(const PrintCase& c, std::ostream* os) { *os << c.name; }
};

std::vector<FixturePage> Letters(size_t n) {
    return std::vector<FixturePage>(n, kLetter);
}

// Dark rows down the column of the first side, within [low, high].
std::function<void(const std::string&)> Band(double column, int low, int high) {
    return [=](const std::string& pdf) {
        const int rows = DarkRowsInColumn(pdf, 0, column);
        EXPECT_GE(rows, low);
        EXPECT_LE(rows, high);
    };
}

std::function<void(const std::string&)> Size(double width, double height) {
    return [=](const std::string& pdf) {
        EXPECT_NEAR(PageSize(pdf, 0).first, width, 0.5);
        EXPECT_NEAR(PageSize(pdf, 0).second, height, 0.5);
    };
}

constexpr auto kDefaults = &PrinterStack::defaultsQueue, kPpd = &PrinterStack::ppdQueue,
               kMono = &PrinterStack::monoQueue, kStaple = &PrinterStack::stapleQueue,
               kUri = &PrinterStack::printerUri;
const std::string kA4Media = "x-dimension=21000 y-dimension=29700";
const std::string kCard = R"({"dmPaperSize": 256, "dmPaperWidth": 1000, "dmPaperLength": 1500})";
const std::string kDuplexCopies = R"("dmDuplex": 2, "dmCopies": 2, "dmCollate": )";
// Two copies of three pages on two-sided paper: each copy on sheets of its own.
const Texts kTwoSidedCopies = {"Page 1", "Page 2", "Page 3", "", "Page 1", "Page 2", "Page 3"};

// clang-format off
const std::vector<PrintCase> kCases = {
    // N-up, reverse order, copies and collation are the program's; the printer repeats none.
    {"nup-reverse.pdf", nullptr, Letters(5),
     R"({"PagesPerSheet": 2, "bReversePages": true, "dmCopies": 2, "dmCollate": 0})",
     {"Page 5 Page 4", "Page 5 Page 4", "Page 3 Page 2", "Page 3 Page 2", "Page 1", "Page 1"},
     {{"IPP_COPIES", ""}}, {}, {}, [](const std::string& pdf) {
         for (int side = 0; side < 6; ++side)
             EXPECT_TRUE(PageIsLandscape(pdf, side)) << "side " << side + 1;
     }},
    {"duplex-a4.pdf", nullptr, {kA4, kA4}, R"({"dmDuplex": 2, "dmPaperSize": 9})",
     {"Page 1", "Page 2"}, {{"IPP_SIDES", "two-sided-long-edge"}, {"IPP_MEDIA_COL", kA4Media}},
     {"media (keyword) = iso_a4_210x297mm"}},
    // A single page keeps its natural size: the band across it is a fifth of its height.
    {"natural.pdf", nullptr, Letters(1), "{}", {"Page 1"}, {}, {}, {}, Band(450, 157, 160)},
    {"scale-half.pdf", nullptr, Letters(1), R"({"dmScale": 50})", {}, {}, {}, {},
     Band(250, 77, 81)},
    {"form-a4.pdf", nullptr, Letters(1), R"({"dmFormName": "A4"})", {}, {},
     {"media (keyword) = iso_a4_210x297mm"}, {}, Size(595.3, 841.9)},
    // Asked for landscape, the page lies across the portrait sheet, its band down the long edge.
    {"landscape-asked.pdf", nullptr, {kLetterLandscape}, R"({"dmOrientation": 2})", {"Page 1"},
     {}, {}, {}, [](const std::string& pdf) {
         EXPECT_TRUE(PageIsLandscape(pdf, 0));
         EXPECT_GE(DarkRowsInColumn(pdf, 0, 300), 756);
         EXPECT_FALSE(DarkAt(pdf, 0, 500, 300));
     }},
    // Not asked, it is neither turned nor shrunk.
    {"landscape-plain.pdf", nullptr, {kLetterLandscape}, "{}", {"Page 1"}, {}, {}, {},
     [](const std::string& pdf) {
         EXPECT_FALSE(PageIsLandscape(pdf, 0));
         Band(300, 121, 124)(pdf);
     }},
    {"duplex-collated.pdf", nullptr, Letters(3), "{" + kDuplexCopies + "1}", kTwoSidedCopies,
     {{"IPP_SIDES", "two-sided-long-edge"}}},
    {"duplex-uncollated.pdf", nullptr, Letters(3), "{" + kDuplexCopies + "0}",
     {"Page 1", "Page 2", "Page 1", "Page 2", "Page 3", "", "Page 3"}},
    {"direct.pdf", kUri, Letters(1), "{}", {"Page 1"}},
    // The queue's copies-default=2, number-up-default=2, two-sided and main bin: every job asks
    // for one copy, one page a side, normal order, no scaling.
    {"defaults-plain.pdf", kDefaults, Letters(3), "{}", {"Page 1", "Page 2", "Page 3"},
     {{"IPP_COPIES", ""}}, {"copies (integer) = 1", "number-up (integer) = 1",
      "page-delivery (keyword) = same-order", "print-scaling (keyword) = none"}},
    {"defaults-copies.pdf", kDefaults, Letters(3), R"({"dmCopies": 2})", kTwoSidedCopies,
     {{"IPP_COPIES", ""}, {"IPP_SIDES", "two-sided-long-edge"}}, {"copies (integer) = 1"}},
    {"defaults-4up.pdf", kDefaults, Letters(7), R"({"PagesPerSheet": 4})", {}, {},
     {"number-up (integer) = 1"}, {}, [](const std::string& pdf) {
         const Texts sides = PageTexts(pdf);
         ASSERT_EQ(sides.size(), 2u);
         for (int page = 1; page <= 7; ++page)
             EXPECT_TRUE(Has(sides[page <= 4 ? 0 : 1], fmt::format("Page {}", page))) << page;
     }},
    {"defaults-bin.pdf", kDefaults, Letters(1), R"({"dmDefaultSource": 4})", {},
     {{"IPP_MEDIA_COL", "media-source=manual"}}, {"media-source (keyword) = manual"}, {"= main"}},
    // A PPD queue gets driver choices only for what the job asks: grey is its own default.
    {"ppd-colour.pdf", kPpd, Letters(1), R"({"dmColor": 2})", {},
     {{"IPP_PRINT_COLOR_MODE", "color"}}, {"ColorModel (nameWithoutLanguage) = RGB"}},
    {"ppd-grey.pdf", kPpd, Letters(1), R"({"dmColor": 1})", {},
     {{"IPP_PRINT_COLOR_MODE", "monochrome"}}, {}, {"FastGray", "InputSlot", "Staple"}},
    {"ppd-bin.pdf", kPpd, Letters(1), R"({"dmDefaultSource": 4})", {}, {},
     {"InputSlot (nameWithoutLanguage) = Manual", "media-source (keyword) = manual"},
     {"= main", "= Auto"}},
    {"ppd-a4-duplex.pdf", kPpd, Letters(3), R"({"dmDuplex": 2, "dmPaperSize": 9})",
     {"Page 1", "Page 2", "Page 3"},
     {{"IPP_SIDES", "two-sided-long-edge"}, {"IPP_MEDIA_COL", kA4Media}},
     {"Duplex (nameWithoutLanguage) = DuplexNoTumble", "media (keyword) = iso_a4_210x297mm"}, {},
     Size(595.3, 841.9)},
    // Colour on a grey-only printer is corrected to grey and prints.
    {"mono-colour.pdf", kMono, Letters(2), R"({"dmColor": 2})", {"Page 1", "Page 2"},
     {{"IPP_PRINT_COLOR_MODE", "monochrome"}}, {"print-color-mode (keyword) = monochrome"},
     {"= color"}},
    // Stapling reaches printers that staple, and only those.
    {"staple.pdf", kStaple, Letters(2), R"({"bStapled": true})", {"Page 1", "Page 2"},
     {{"IPP_FINISHINGS", "staple"}}, {"finishings (enum) = staple"}},
    {"staple-ppd.pdf", kPpd, Letters(2), R"({"bStapled": true})", {}, {},
     {"finishings (enum) = staple-top-left"}},
    {"staple-none.pdf", nullptr, Letters(2), R"({"bStapled": true})", {}, {}, {},
     {"finishings (enum) = staple"}},
    // Quality levels are negative and so never set in the settings: the printer keeps its own.
    // A resolution is asked for by either key, and one the printer lacks falls back to its
    // default; short-edge sides and media types reach plain and PPD queues alike, and values
    // out of range fall back (sides one-sided, any colour but 1 colour where the printer has
    // it, a media type without a name automatic).
    {"quality-level.pdf", nullptr, Letters(1), R"({"dmPrintQuality": -4})", {},
     {{"IPP_PRINT_QUALITY", "normal"}}, {}, {"print-quality"}},
    {"quality-level-ppd.pdf", kPpd, Letters(1), R"({"dmPrintQuality": -1})", {}, {}, {},
     {"print-quality"}},
    {"resolution.pdf", nullptr, Letters(1), R"({"dmPrintQuality": 600, "dmYResolution": 600})",
     {}, {}, {"printer-resolution (resolution) = 600dpi"}},
    {"resolution-y-ppd.pdf", kPpd, Letters(1), R"({"dmYResolution": 300})", {}, {},
     {"printer-resolution (resolution) = 300dpi"}},
    {"resolution-lacking.pdf", nullptr, Letters(1), R"({"dmPrintQuality": 300})", {}, {},
     {"printer-resolution (resolution) = 600dpi"}, {"300dpi"}},
    {"short-edge.pdf", nullptr, Letters(2), R"({"dmDuplex": 3})", {"Page 1", "Page 2"},
     {{"IPP_SIDES", "two-sided-short-edge"}}, {"sides (keyword) = two-sided-short-edge"}},
    {"short-edge-ppd.pdf", kPpd, Letters(2), R"({"dmDuplex": 3})", {"Page 1", "Page 2"},
     {{"IPP_SIDES", "two-sided-short-edge"}}, {"Duplex (nameWithoutLanguage) = DuplexTumble"}},
    {"media-type.pdf", nullptr, Letters(1), R"({"dmMediaType": 1})", {},
     {{"IPP_MEDIA_COL", "media-type=stationery"}}, {"media-type (keyword) = stationery"}},
    {"media-type-ppd.pdf", kPpd, Letters(1), R"({"dmMediaType": 1})", {}, {},
     {"media-type (keyword) = stationery"}},
    {"out-of-range.pdf", nullptr, Letters(2),
     R"({"dmDuplex": 9, "dmColor": 7, "dmPrintQuality": -9, "dmMediaType": 200})",
     {"Page 1", "Page 2"}, {{"IPP_SIDES", "one-sided"}},
     {"print-color-mode (keyword) = monochrome"}, {"print-quality", "media-type (keyword)"}},
    {"out-of-range-ppd.pdf", kPpd, Letters(2),
     R"({"dmDuplex": 9, "dmColor": 7, "dmPrintQuality": -9, "dmMediaType": 200})",
     {"Page 1", "Page 2"}, {{"IPP_SIDES", "one-sided"}},
     {"ColorModel (nameWithoutLanguage) = RGB"}, {"print-quality", "media-type (keyword)"}},
    // A printer with custom sizes prints the paper asked for, one without the nearest it has.
    {"card-custom.pdf", kStaple, Letters(1), kCard, {}, {}, {"custom_100x150mm"}, {},
     Size(283.5, 425.2)},
    {"card-nearest.pdf", nullptr, Letters(1), kCard, {}, {},
     {"media (keyword) = iso_dl_110x220mm"}},
};
// clang-format on

class SilentPrintTest : public PrintingTest, public ::testing::WithParamInterface<PrintCase> {};

TEST_P(SilentPrintTest, PrinterReceivesWhatTheJobAsks) {
    const PrintCase& c = GetParam();
    const std::string doc = work.File(c.name);
    MakePdfWithSettings(doc, c.pages, c.settings);
    std::vector<std::string> args = {doc};
    if (c.queue != nullptr)
        args.push_back((*s_stack).*c.queue);
    ProcessResult r = Print(args);
    ASSERT_EQ(r.exitCode, 0) << r.out << r.err;
    ReceivedJob job = Received(c.name, c.queue == kStaple);
    EXPECT_TRUE(c.sides.empty() || PageTexts(job.documentPath) == c.sides)
        << ::testing::PrintToString(PageTexts(job.documentPath));
    for (const auto& [name, value] : c.received) {
        const std::string got = job.attributes[name];
        EXPECT_TRUE(value.empty() ? got.empty() : Has(got, value)) << name << "=" << got;
    }
    const std::string held = SchedulerJobAttributes(*s_stack, SchedulerJobId(r.out));
    for (const std::string& text : c.held)
        EXPECT_TRUE(Has(held, text)) << text << "\n" << held;
    for (const std::string& text : c.notHeld)
        EXPECT_FALSE(Has(held, text)) << text << "\n" << held;
    if (c.look)
        c.look(job.documentPath);
}

INSTANTIATE_TEST_SUITE_P(Jobs, SilentPrintTest, ::testing::ValuesIn(kCases), [](const auto& info) {
    std::string name = info.param.name.substr(0, info.param.name.size() - 4);
    std::erase(name, '-');
    return name;
});

class SilentRunTest : public PrintingTest {};

TEST_F(SilentRunTest, InputFromSettingsFileStandardInputAndLongTitlesPrintWhole) {
    // A settings file overrides the document and names the job.
    const std::string doc = work.File("doc.pdf");
    MakePdfWithSettings(doc, Letters(3), R"({"PagesPerSheet": 2, "PrintJobTitle": "inner"})");
    WriteFile(work.File("over.json"), R"({"PagesPerSheet": 1, "bReversePages": true,
                                          "PrintJobTitle": "override-title"})");
    EXPECT_EQ(Print({"-settings", work.File("over.json"), doc}).exitCode, 0);
    EXPECT_EQ(PageTexts(Received("override-title").documentPath),
              (Texts{"Page 3", "Page 2", "Page 1"}));

    // Piped, a document many reads long arrives whole, under the fixed title.
    MakePdf(doc, Letters(12));
    ProcessOptions piped;
    piped.stdinData = ReadFile(doc);
    ASSERT_GT(piped.stdinData->size(), 8192u);
    EXPECT_EQ(Print({"-type=pdfium", "-", s_stack->queue}, piped).exitCode, 0);
    EXPECT_EQ(PageTexts(Received("Norvan print job").documentPath).size(), 12u);

    // A relative path, and a title too long for IPP cut at a character: 300 bytes of
    // two-byte characters keep 127 of them.
    std::string title, cut;
    for (int i = 0; i < 150; ++i)
        (i < 127 ? cut : title) += "\xC3\xBC";
    MakePdfWithSettings(doc, Letters(1), R"({"PrintJobTitle": ")" + cut + title + R"("})");
    ProcessOptions relative;
    relative.workingDirectory = work.Path();
    EXPECT_EQ(Print({"doc.pdf"}, relative).exitCode, 0);
    EXPECT_EQ(PageTexts(Received(cut).documentPath), Texts{"Page 1"});
}

TEST_F(SilentRunTest, UnknownQueueFailsWithItsMessage) {
    MakePdf(work.File("doc.pdf"), Letters(1));
    ProcessResult r = Print({work.File("doc.pdf"), "NoSuchQueue"});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.err, ErrorBox("Error: Invalid or inaccessible printer: NoSuchQueue"));
}

// A scheduler that dies or stalls while the job is open: whenever it happens, the run fails
// with a clear error and nothing half sent is printed.
TEST(SchedulerFaultTest, SchedulerKilledOrStalledMidJobFailsTheRunAndPrintsNothing) {
    for (const int signal : {SIGKILL, SIGSTOP}) {
        PrivateStack own("NvrStopPrinter");
        ASSERT_TRUE(own.Stack()) << "the printer stack of the test did not start";
        const PrinterStack& stack = *own.Stack();
        ScratchDir work;
        const std::string doc = work.File("long.pdf");
        // Enough pages that the job is still open when the test sees it.
        MakePdf(doc, Letters(3000));
        ProcessOptions options;
        options.setEnv = {{"CUPS_SERVER", stack.cupsServer}};
        options.timeoutSeconds = 240;
        auto run = std::async(std::launch::async, [&] {
            return RunProgram({"-silent", "-usePreviewApp=never", "-logLevel=4", doc}, work.Path(),
                              options);
        });
        const bool signalled = SignalSchedulerOnceJobExists(stack, signal, 2000);
        // A stalled scheduler stays quiet until the program has ended, however long it waits.
        const bool ended = run.wait_for(std::chrono::seconds(200)) == std::future_status::ready;
        signal == SIGKILL ? own.RestartScheduler() : SignalScheduler(stack, SIGCONT);
        ProcessResult r = run.get();
        ASSERT_TRUE(signalled) << "the job never appeared on the scheduler";
        ASSERT_TRUE(ended) << "the program waited for ever";
        EXPECT_EQ(r.exitCode, 1) << r.out;
        // The error names the job, and never a stale status as its cause.
        static const std::regex kError(R"(\[ERROR\][^\n]*job 1\b)", std::regex::icase);
        EXPECT_TRUE(std::regex_search(r.out, kError)) << r.out;
        EXPECT_FALSE(Has(r.out, "successful-ok")) << r.out;
        if (signal == SIGKILL) {
            EXPECT_TRUE(SchedulerJobGoneOrCancelled(stack, 1)) << "the scheduler holds the job";
            EXPECT_FALSE(WaitForReceivedJob(stack, "long.pdf", 5)) << "a partial job printed";
        }
    }
}

}  // namespace
