// Whole runs inside the process: the TIFF copy read back, a silent job against a fake print
// system, and the hand-off of a piped document to an external viewer.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <tiffio.h>

#include <chrono>
#include <thread>

#include "NvrPrintHelper/NvrPrintHelper.h"
#include "tests/support/FakePrintSystem.h"
#include "tests/support/PdfFixtures.h"
#include "tests/support/RecordingPrintDevice.h"
#include "tests/support/TestPlatform.h"
#include "tests/support/TestSupport.h"

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

class AppRun : public ::testing::Test {
protected:
    void Start(std::vector<std::string> args, int standardInput = 0) {
        args.insert(args.begin(), {"NvrPrintHelper", "-tempDir=" + dir.Path(),
                                   "-logFile=" + log.Path(), "-logLevel=6"});
        std::vector<const char*> argv;
        for (const std::string& a : args)
            argv.push_back(a.c_str());
        app.reset();
        notices.clear();
        os = TestPlatform(&notices, standardInput);
        os.sleep = [this](std::chrono::milliseconds d) { sleeps.push_back(d); };
        auto fake = std::make_unique<FakePrintSystem>();
        printers = fake.get();
        printers->makeDevice = [this] { return std::make_unique<KeptDevice>(&printed); };
        os.printers = std::move(fake);
        app = std::make_unique<NvrPrintHelper>(os);
        ASSERT_TRUE(app->ParseCommandLine(static_cast<int>(argv.size()), argv.data()));
    }

    LogCapture log;
    ScratchDir dir;
    std::vector<RecordedNotice> notices;
    std::vector<std::chrono::milliseconds> sleeps;
    std::vector<std::string> printed;  // by the last job's device
    FakePrintSystem* printers = nullptr;
    platform::Platform os;
    std::unique_ptr<NvrPrintHelper> app;
};

TEST_F(AppRun, TiffHasOneFramePerPageAtItsOwnSize) {
    for (size_t pages : {1, 3}) {
        const std::vector<FixturePage> all = {kLetter, kA4, kLetterLandscape};
        MakePdf(dir.File("doc.pdf"), std::vector<FixturePage>(all.begin(), all.begin() + pages));
        const std::string tiffPath = dir.File("doc.tif");
        Start({"-keepImages", "-imagePath=" + tiffPath, dir.File("doc.pdf")});
        ASSERT_TRUE(app->ProcessInputFile());
        ASSERT_TRUE(app->LoadDocument());
        ASSERT_TRUE(app->ExportToTiff());

        TIFF* tiff = TIFFOpen(tiffPath.c_str(), "r");
        ASSERT_NE(tiff, nullptr);
        EXPECT_EQ(TIFFNumberOfDirectories(tiff), pages);
        const std::vector<std::pair<uint32_t, uint32_t>> sizes = {
            {2550, 3300}, {2480, 3508}, {3300, 2550}};
        for (size_t page = 0; page < pages; ++page) {
            ASSERT_TRUE(TIFFSetDirectory(tiff, static_cast<uint16_t>(page)));
            uint32_t width = 0, height = 0;
            TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &width);
            TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &height);
            EXPECT_EQ(std::make_pair(width, height), sizes[page]);
            // The band across the middle of the page is black, the top margin white.
            std::vector<uint8_t> row(TIFFScanlineSize(tiff));
            TIFFReadScanline(tiff, row.data(), height / 2, 0);
            EXPECT_LT(row[width / 2 * 3], 64) << "page " << page + 1;
            TIFFReadScanline(tiff, row.data(), 10, 0);
            EXPECT_GT(row[width / 2 * 3], 192) << "page " << page + 1;
        }
        TIFFClose(tiff);
    }
    // A path that cannot be written fails the export and leaves no file.
    const std::string unwritable = dir.File("missing-dir/doc.tif");
    Start({"-keepImages", "-imagePath=" + unwritable, dir.File("doc.pdf")});
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
        sleeps.clear();
        ::unlink(dir.File("seen").c_str());
        InputBytes piped(ReadFile(dir.File("doc.pdf")));
        std::vector<std::string> args = {"-type=pdfium", "-interactive", "-previewApp=" + viewer,
                                         "-"};
        if (keep)
            args.insert(args.begin(), "-keep");
        Start(args, piped.Fd());
        EXPECT_EQ(app->Run(), 0);
        // A kept capture outlives the run anyway.
        EXPECT_EQ(sleeps, keep ? std::vector<std::chrono::milliseconds>{}
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
