// Whole runs inside the process: the TIFF copy read back, a silent job against a fake print
// system, and the hand-off of a piped document to an external viewer.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <tiffio.h>

#include <functional>

#include <chrono>
#include <thread>

#include "DocFilePageMgr/DocFilePageMgrLib/PageMgrPdfium.h"
#include "DocFilePageMgr/DocFilePageMgrLib/PageMgrXps.h"
#include "NvrPrintHelper/NvrPrintHelper.h"
#include "tests/support/FakePrintSystem.h"
#include "tests/support/InProcessApp.h"
#include "tests/support/PdfFixtures.h"
#include "tests/support/RecordingPrintDevice.h"
#include "tests/support/TestSupport.h"
#include "tests/support/TiffFrames.h"
#include "tests/support/XpsFixtures.h"

using namespace nvrprint;
using namespace testsupport;

namespace {

// Keeps what was done to it past the job that owns it.
class KeptDevice final : public RecordingPrintDevice {
public:
    explicit KeptDevice(std::vector<std::string>* out) : m_out(out) {}
    ~KeptDevice() override { *m_out = calls; }

private:
    std::vector<std::string>* m_out;
};

class AppRun : public ::testing::Test, protected InProcessApp {
protected:
    void Start(std::vector<std::string> args, int standardInput = 0) {
        args.insert(args.begin(), "-logLevel=6");
        clock.sleeps.clear();
        ASSERT_TRUE(InProcessApp::Start(args, standardInput, [this](platform::Platform& os) {
            os.clock = &clock;
            auto fake = std::make_unique<FakePrintSystem>();
            printers = fake.get();
            printers->makeDevice = [this] { return std::make_unique<KeptDevice>(&printed); };
            os.printers = std::move(fake);
        }));
    }
    // The application goes before the clock and the printer's record it was handed.
    void TearDown() override {
        app.reset();
        os.clock = &platform::SystemClock();
    }

    SteppingClock clock;
    std::vector<std::string> printed;  // by the last job's device
    FakePrintSystem* printers = nullptr;
};

// Each frame is its page at 300 DPI, pixel for pixel as the manager draws the page whole on
// one thread, whatever bands and workers the export used; the file says 300 DPI.
TEST_F(AppRun, TiffFramesAreThePagesAt300DpiAsOneThreadDrawsThem) {
    struct Case {
        std::string file;
        std::function<void(const std::string&)> make;
        std::function<std::unique_ptr<docmgr::DocFilePageMgr>()> reference;
    };
    const Case cases[] = {
        {"paper.pdf", [](const std::string& p) { MakeArticlePdf(p, 3); },
         [] { return std::make_unique<docmgr::PageMgrPdfium>(); }},
        {"sizes.pdf",
         [](const std::string& p) {
             MakePdf(p, {kLetter, kA4, kLetterLandscape});
         },
         [] { return std::make_unique<docmgr::PageMgrPdfium>(); }},
        {"doc.xps",
         [](const std::string& p) {
             MakeXps(p, {{kXpsLetter, kXpsLetterLandscape}});
         },
         [] { return std::make_unique<docmgr::PageMgrXps>(); }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.file);
        const std::string doc = dir.File(c.file);
        c.make(doc);
        const std::string tiffPath = dir.File(c.file + ".tif");
        Start({"-keepImages", "-imagePath=" + tiffPath, doc});
        ASSERT_TRUE(app->ProcessInputFile());
        ASSERT_TRUE(app->LoadDocument());
        ASSERT_TRUE(app->ExportToTiff()) << log.Text();
        const std::vector<TiffFrame> frames = ReadTiffFrames(tiffPath);

        std::unique_ptr<docmgr::DocFilePageMgr> reference = c.reference();
        reference->SetScratchDirectory(dir.Path());
        reference->LoadDocument(doc, false, nullptr, "");
        ASSERT_TRUE(reference->WaitForDocumentLoad(30000));
        reference->SetTargetParams(docmgr::Printer, {1.0, 300, 300});
        ASSERT_EQ(frames.size(), reference->m_pageCount);
        for (size_t page = 0; page < frames.size(); ++page) {
            const TiffFrame& frame = frames[page];
            EXPECT_EQ(frame.xDpi, 300.0f);
            EXPECT_EQ(frame.yDpi, 300.0f);
            EXPECT_EQ(frame.resolutionUnit, RESUNIT_INCH);
            auto image = reference->GetPageImage(page + 1, docmgr::Printer);
            ASSERT_TRUE(image && image->bitmap);
            const docmgr::Bitmap& whole = *image->bitmap;
            ASSERT_EQ(frame.width, static_cast<uint32_t>(whole.Width())) << "page " << page + 1;
            ASSERT_EQ(frame.height, static_cast<uint32_t>(whole.Height())) << "page " << page + 1;
            size_t differing = 0;
            size_t dark = 0;
            for (size_t i = 0; i < static_cast<size_t>(frame.width) * frame.height; ++i) {
                const uint8_t* bgra = whole.Bits() + i * 4;
                const uint8_t* rgb = frame.rgb.data() + i * 3;
                differing += rgb[0] != bgra[2] || rgb[1] != bgra[1] || rgb[2] != bgra[0];
                dark += rgb[0] < 64 && rgb[1] < 64 && rgb[2] < 64;
            }
            EXPECT_EQ(differing, 0u) << "page " << page + 1;
            EXPECT_GT(dark, 1000u) << "page " << page + 1 << " is blank";
        }
    }
    // A path that cannot be written fails the export and leaves no file.
    const std::string unwritable = dir.File("missing-dir/doc.tif");
    Start({"-keepImages", "-imagePath=" + unwritable, dir.File("paper.pdf")});
    ASSERT_TRUE(app->ProcessInputFile() && app->LoadDocument());
    EXPECT_FALSE(app->ExportToTiff());
    struct stat info;
    EXPECT_NE(::stat(unwritable.c_str(), &info), 0);
}

TEST_F(AppRun, SilentJobPrintsTheDocumentsLayoutOnItsPrinterOpenedOnce) {
    const std::string doc = dir.File("doc.pdf");
    MakePdfWithSettings(doc, {kLetter, kLetter, kLetter}, R"({"PagesPerSheet": 2, "dmCopies": 2})");
    Start({"-silent", "-usePreviewApp=never", doc, "Office"});
    ASSERT_EQ(app->Run(), 0) << log.Text();
    EXPECT_EQ(printers->opens, 1);
    EXPECT_EQ(std::count(printed.begin(), printed.end(), "StartPage"), 4);  // 2-up, two copies
    EXPECT_TRUE(notices.empty());
    // The default printer, then one that does not exist.
    Start({"-silent", "-usePreviewApp=never", doc});
    printers->defaultPrinter = "Office";
    EXPECT_EQ(app->Run(), 0);
    EXPECT_EQ(printers->opens, 1);
    Start({"-silent", "-usePreviewApp=never", doc, "Nowhere"});
    EXPECT_EQ(app->Run(), 1);
    ASSERT_EQ(notices.size(), 1u);
    EXPECT_EQ(notices[0].text, "Error: Invalid or inaccessible printer: Nowhere");
}

TEST_F(AppRun, PipedDocumentIsKeptThirtySecondsForTheExternalViewer) {
    MakePdf(dir.File("doc.pdf"), {kLetter});
    const std::string viewer = dir.File("viewer");
    WriteFile(viewer, "#!/bin/sh\necho \"$1\" > \"" + dir.File("seen.tmp") + "\" && mv \"" +
                          dir.File("seen.tmp") + "\" \"" + dir.File("seen") + "\"\n");
    ::chmod(viewer.c_str(), 0755);
    for (bool keep : {false, true}) {
        ::unlink(dir.File("seen").c_str());
        InputBytes piped(ReadFile(dir.File("doc.pdf")));
        std::vector<std::string> args = {"-type=pdfium", "-interactive", "-previewApp=" + viewer,
                                         "-"};
        if (keep)
            args.insert(args.begin(), "-keep");
        Start(args, piped.Fd());
        EXPECT_EQ(app->Run(), 0);
        // A kept capture outlives the run anyway.
        EXPECT_EQ(clock.sleeps, keep ? std::vector<std::chrono::milliseconds>{}
                                     : std::vector{std::chrono::milliseconds(30000)});
        std::string seen;
        for (int i = 0; i < 200 && seen.empty(); ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            struct stat info;
            if (::stat(dir.File("seen").c_str(), &info) == 0)
                seen = ReadFile(dir.File("seen"));
        }
        EXPECT_EQ(seen, app->ActualInputFile() + "\n");
    }
}

}  // namespace
