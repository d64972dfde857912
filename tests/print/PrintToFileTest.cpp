// Print to File: the application, run in this process on a printer of the private stack,
// writes the job's PDF to a file instead of sending it. The file must hold exactly the sheets
// the printer receives for the same job, and a job that fails leaves nothing behind.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <optional>

#include "NvrPrintHelper/NvrPrintHelper.h"
#include "NvrPrintUtils/IppDevMode.h"
#include "tests/print/PrintingTest.h"
#include "tests/support/InProcessApp.h"
#include "tests/support/PageRender.h"
#include "tests/support/PdfFixtures.h"
#include "tests/support/XpsFixtures.h"

using namespace testsupport;
namespace fs = std::filesystem;

namespace {

using Texts = std::vector<std::string>;

// What lies in a directory, names and contents, links not followed.
std::map<std::string, std::string> Listing(const std::string& dir) {
    std::map<std::string, std::string> files;
    for (const auto& entry : fs::recursive_directory_iterator(dir))
        files[entry.path().string()] = entry.is_regular_file() ? ReadFile(entry.path()) : "/";
    return files;
}

class PrintToFileTest : public PrintingTest, protected InProcessApp {
protected:
    // Prints the document silently on the printer, with the application in this process, the
    // job's PDF going to outputFile; whether the run succeeded. The application stays for more.
    bool PrintToFile(const std::string& doc, const std::string& printer,
                     const std::string& outputFile,
                     std::optional<nvrprint::DialogSettings> dialog = std::nullopt) {
        ::setenv("CUPS_SERVER", s_stack->cupsServer.c_str(), 1);
        EXPECT_TRUE(Start({"-silent", "-usePreviewApp=never", "-logLevel=6", doc, printer}));
        app->SetOutputFile(outputFile);
        if (dialog)
            app->SetDialogChoices(*dialog);
        return app->Run() == 0;
    }

    ScratchDir out;
};

struct FileCase {
    std::string name;  // the document's file name
    std::string settings;
    size_t pages;
    Texts sides;
    friend void PrintTo(const FileCase& c, std::ostream* os) { *os << c.name; }
};

// clang-format off
const std::vector<FileCase> kFileCases = {
    {"nup-reverse.pdf", R"({"PagesPerSheet": 2, "bReversePages": true, "dmCopies": 2,
                            "dmCollate": 0})", 5,
     {"Page 5 Page 4", "Page 5 Page 4", "Page 3 Page 2", "Page 3 Page 2", "Page 1", "Page 1"}},
    {"plain-a4.pdf", R"({"dmPaperSize": 9})", 2, {"Page 1", "Page 2"}},
    // XPS pages are drawn first and go each on a sheet of its own size.
    {"pages.xps", "", 2, {"Page 1", "Page 2"}},
};
// clang-format on

class PrintToFileJobs : public PrintToFileTest, public ::testing::WithParamInterface<FileCase> {};

TEST_P(PrintToFileJobs, FileHoldsTheSheetsThePrinterReceives) {
    const FileCase& c = GetParam();
    const std::string doc = work.File(c.name);
    if (c.settings.empty())
        MakeXps(doc, {{kXpsLetter, kXpsLetterLandscape}});
    else
        MakePdfWithSettings(doc, std::vector<FixturePage>(c.pages, kLetter), c.settings);
    // A file already there is replaced whole.
    const std::string target = out.File("job.pdf");
    WriteFile(target, "an older job");
    ASSERT_TRUE(PrintToFile(doc, s_stack->printerUri, target)) << log.Text();
    EXPECT_TRUE(log.Contains("Printing the job's PDF to file: " + target)) << log.Text();
    EXPECT_TRUE(log.Contains("Wrote the job's PDF to " + target));
    EXPECT_FALSE(log.Contains("Created job")) << "the printer got the job too";
    EXPECT_EQ(Listing(out.Path()).size(), 1u) << "a temporary file was left";
    EXPECT_EQ(PageTexts(target), c.sides);

    // The next print of the run goes to the printer itself, with no scheduler between to
    // change what it gets.
    ASSERT_TRUE(app->PrintDocument()) << log.Text();
    ASSERT_TRUE(log.Contains("Created job")) << "the file was chosen again";
    const std::string received = Received(c.name).documentPath;
    EXPECT_EQ(PageTexts(received), PageTexts(target));
    for (int sheet = 0; sheet < static_cast<int>(c.sides.size()); ++sheet)
        EXPECT_EQ(PageSize(received, sheet), PageSize(target, sheet)) << "sheet " << sheet + 1;
}

INSTANTIATE_TEST_SUITE_P(Jobs, PrintToFileJobs, ::testing::ValuesIn(kFileCases),
                         [](const auto& info) {
                             std::string name = info.param.name;
                             std::erase(name, '-');
                             return name.substr(0, name.size() - 4);
                         });

// What the person chose in the print dialog, on a plain queue, one with scheduler defaults
// (two copies, 2-up, two-sided) and a classic PPD queue: the printer gets the program's copies
// in the order chosen and never a copy of its own, and the paper, sides, colour and
// orientation chosen. Print to File with the same choices holds the same sheets.
TEST_F(PrintToFileTest, DialogChoicesReachThePrinterAndTheFileAlike) {
    struct Choice {
        std::string name;
        std::function<void(nvrprint::DialogSettings&)> choose;
        Texts sides;
        std::map<std::string, std::string> received;  // IPP_* attribute -> text it contains
        std::function<void(const std::string& pdf)> look = nullptr;
    };
    const Texts three = {"Page 1", "Page 2", "Page 3"};
    Texts threeTimes;
    for (int copy = 0; copy < 3; ++copy)
        threeTimes.insert(threeTimes.end(), three.begin(), three.end());
    const std::vector<Choice> choices = {
        {"copies-collated", [](auto& d) { d.copies = 3, d.collate = true; }, threeTimes, {}},
        {"copies-uncollated",
         [](auto& d) { d.copies = 2, d.collate = false; },
         {"Page 1", "Page 1", "Page 2", "Page 2", "Page 3", "Page 3"},
         {}},
        {"a4",
         [](auto& d) { d.media = "iso_a4_210x297mm"; },
         three,
         {{"IPP_MEDIA_COL", "x-dimension=21000 y-dimension=29700"}},
         [](const std::string& pdf) {
             EXPECT_NEAR(PageSize(pdf, 0).first, 595.3, 0.5);
             EXPECT_NEAR(PageSize(pdf, 0).second, 841.9, 0.5);
         }},
        {"landscape",
         [](auto& d) { d.landscape = true; },
         three,
         {},
         [](const std::string& pdf) { EXPECT_TRUE(PageIsLandscape(pdf, 0)); }},
        {"short-edge",
         [](auto& d) { d.duplex = nvrprint::DialogDuplex::ShortEdge; },
         three,
         {{"IPP_SIDES", "two-sided-short-edge"}},
         nullptr},
        {"monochrome",
         [](auto& d) { d.color = false; },
         three,
         {{"IPP_PRINT_COLOR_MODE", "monochrome"}},
         nullptr},
    };
    for (const std::string& queue : {s_stack->queue, s_stack->defaultsQueue, s_stack->ppdQueue}) {
        for (const Choice& c : choices) {
            SCOPED_TRACE(queue + " " + c.name);
            nvrprint::DialogSettings dialog;
            c.choose(dialog);
            const std::string name = c.name + "-" + queue;
            const std::string doc = work.File(name + ".pdf");
            MakePdf(doc, std::vector<FixturePage>(3, kLetter));
            const std::string target = out.File(name + ".pdf");
            ASSERT_TRUE(PrintToFile(doc, queue, target, dialog)) << log.Text();
            app->SetDialogChoices(dialog);
            ASSERT_TRUE(app->PrintDocument()) << log.Text();
            ReceivedJob job = Received(name + ".pdf");
            EXPECT_EQ(PageTexts(job.documentPath), c.sides);
            EXPECT_EQ(PageTexts(target), c.sides);
            // The scheduler's filter lays a landscape sheet on the paper as it feeds: the
            // same paper, either way round.
            auto [width, height] = PageSize(job.documentPath, 0);
            auto [fileWidth, fileHeight] = PageSize(target, 0);
            EXPECT_NEAR(std::min(width, height), std::min(fileWidth, fileHeight), 0.5);
            EXPECT_NEAR(std::max(width, height), std::max(fileWidth, fileHeight), 0.5);
            EXPECT_EQ(job.attributes["IPP_COPIES"], "");
            for (const auto& [attribute, value] : c.received)
                EXPECT_TRUE(Has(job.attributes[attribute], value))
                    << attribute << "=" << job.attributes[attribute];
            if (c.look) {
                c.look(job.documentPath);
                c.look(target);
            }
        }
    }
}

TEST_F(PrintToFileTest, FailedJobLeavesNothingBehindTheTargetAsItWasAndNoJobAtTheScheduler) {
    const std::string doc = work.File("doc.pdf");
    MakePdf(doc, {kLetter, kLetter});
    WriteFile(out.File("plain-file"), "a file");
    fs::create_directory(out.File("a-directory"));
    WriteFile(out.File("a-directory/inside"), "kept");
    // A directory that does not exist, a parent that is a file, a target that is a directory
    // (written whole, then refused the name), a directory nobody may write in.
    for (const std::string& target : {out.File("missing/job.pdf"), out.File("plain-file/job.pdf"),
                                      out.File("a-directory"), std::string("/proc/nvr-job.pdf")}) {
        const auto before = Listing(out.Path());
        EXPECT_FALSE(PrintToFile(doc, s_stack->queue, target)) << target;
        EXPECT_TRUE(log.Contains("Cannot write the job's PDF to " + target)) << log.Text();
        EXPECT_FALSE(log.Contains("Wrote the job's PDF")) << target;
        EXPECT_EQ(Listing(out.Path()), before) << target;
        EXPECT_FALSE(fs::exists("/proc/nvr-job.pdf"));
    }

    // A job given up, or dropped, half way: the file there before stays as it was.
    auto opened = nvrprint::platform::CreateSystemPrintSystem()->OpenPrinter(s_stack->queue);
    ASSERT_TRUE(opened) << opened.error().text;
    std::unique_ptr<nvrprint::platform::Printer> printer = std::move(opened).value();
    nvrprint::DevModePtr devMode = nvrprint::AllocateDevMode(nvrprint::kDriverExtraBytes);
    ASSERT_TRUE(printer->DefaultDevMode(devMode.get()));
    // On the printer, such a job is cancelled at the scheduler, and nothing of it printed.
    const std::string target = out.File("plain-file");
    for (bool onPrinter : {false, true}) {
        for (bool abort : {true, false}) {
            const std::string title =
                std::string(onPrinter ? "printer-" : "file-") + (abort ? "given-up" : "dropped");
            auto created = onPrinter ? printer->CreatePrintDevice(devMode.get(),
                                                                  nvrprint::SheetLayout::ByProgram)
                                     : printer->CreateFileDevice(devMode.get(), target);
            ASSERT_TRUE(created) << created.error().text;
            std::unique_ptr<docmgr::PrintDevice> device = std::move(created).value();
            const nvrprint::Result<int> started = device->StartDoc(title);
            ASSERT_TRUE(started);
            const int jobId = *started;
            ASSERT_TRUE(device->StartPage());
            ASSERT_TRUE(device->PlacePage({doc, 0}, {docmgr::PageCell::NaturalSize}));
            ASSERT_TRUE(device->EndPage());
            if (!onPrinter) {
                EXPECT_EQ(Listing(out.Path()).size(), 4u) << "the job grows beside the target";
            }
            if (abort) {
                const nvrprint::Status aborted = device->AbortDoc();
                EXPECT_TRUE(aborted) << title << " " << aborted.error().text;
            }
            device.reset();
            if (onPrinter) {
                EXPECT_TRUE(WaitUntil([&] { return SchedulerJobGoneOrCancelled(*s_stack, jobId); },
                                      std::chrono::seconds(10)))
                    << title << ": the scheduler holds the job\n"
                    << SchedulerJobAttributes(*s_stack, jobId);
                EXPECT_FALSE(WaitForReceivedJob(*s_stack, title, 3)) << title << " printed";
            } else {
                EXPECT_EQ(Listing(out.Path()).size(), 3u) << title;
                EXPECT_EQ(ReadFile(target), "a file");
            }
        }
    }
}

}  // namespace
