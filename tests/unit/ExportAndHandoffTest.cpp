// The pages' TIFF copy and the hand-off to another application, driven inside the process
// where the image codec and the sleep are replaced, and read back where they are real.
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <tiffio.h>

#include <chrono>
#include <sstream>
#include <thread>

#include "NvrPrintHelper/NvrPrintHelper.h"
#include "tests/support/PdfFixtures.h"
#include "tests/support/TestPlatform.h"
#include "tests/support/TestSupport.h"

using namespace nvrprint;
using namespace testsupport;

namespace {

// Writes down each call and answers with the status it is told.
class RecordingEncoder final : public platform::ImageFrameEncoder {
public:
    explicit RecordingEncoder(std::vector<std::string>* calls, int failCall = 0)
        : m_calls(calls), m_failCall(failCall) {}
    int SaveImageToFile(const docmgr::Bitmap& frame, const std::string&) override {
        return Record(fmt::format("save {}x{}", frame.Width(), frame.Height()));
    }
    int SaveAddImage(const docmgr::Bitmap& frame) override {
        return Record(fmt::format("add {}x{}", frame.Width(), frame.Height()));
    }
    int SaveAdd() override { return Record("close"); }

private:
    int Record(std::string call) {
        m_calls->push_back(std::move(call));
        return static_cast<int>(m_calls->size()) == m_failCall ? platform::kImageWin32Error
                                                               : platform::kImageOk;
    }
    std::vector<std::string>* m_calls;
    int m_failCall;
};

class AppRun : public ::testing::Test {
protected:
    void Start(std::vector<std::string> args, int standardInput = 0) {
        args.insert(args.begin(), {"NvrPrintHelper", "-logFile=" + log.Path(), "-logLevel=6"});
        std::vector<const char*> argv;
        for (const std::string& a : args)
            argv.push_back(a.c_str());
        app.reset();
        os = TestPlatform(&notices, standardInput);
        os.sleep = [this](std::chrono::milliseconds d) { sleeps.push_back(d); };
        app = std::make_unique<NvrPrintHelper>(os);
        ASSERT_TRUE(app->ParseCommandLine(static_cast<int>(argv.size()), argv.data()));
    }
    void Load(std::vector<std::string> args) {
        Start(std::move(args));
        ASSERT_TRUE(app->ProcessInputFile());
        ASSERT_TRUE(app->LoadDocument());
    }
    void EncodeWith(int failCall = 0) {
        os.imageEncoders = [this, failCall] {
            return std::make_unique<RecordingEncoder>(&calls, failCall);
        };
    }

    LogCapture log;
    ScratchDir dir;
    std::vector<RecordedNotice> notices;
    std::vector<std::string> calls;
    std::vector<std::chrono::milliseconds> sleeps;
    platform::Platform os;
    std::unique_ptr<NvrPrintHelper> app;
};

TEST_F(AppRun, TiffFramesAreCreatedAppendedAndClosedInThatOrder) {
    MakePdf(dir.File("one.pdf"), {kLetter});
    Load({"-keepImages", "-imagePath=" + dir.File("one.tif"), dir.File("one.pdf")});
    EncodeWith();
    EXPECT_TRUE(app->ExportToTiff());
    EXPECT_EQ(calls, std::vector<std::string>{"save 2550x3300"});
    EXPECT_TRUE(log.Contains("Single-page TIFF saved (no flush needed)"));

    calls.clear();
    MakePdf(dir.File("three.pdf"), {kLetter, kA4, kLetterLandscape});
    Load({"-keepImages", "-imagePath=" + dir.File("three.tif"), dir.File("three.pdf")});
    EncodeWith();
    EXPECT_TRUE(app->ExportToTiff());
    EXPECT_EQ(calls, (std::vector<std::string>{"save 2550x3300", "add 2480x3508", "add 3300x2550",
                                               "close"}));
}

TEST_F(AppRun, AFailingPageEndsTheExportWithoutClosing) {
    MakePdf(dir.File("three.pdf"), {kLetter, kLetter, kLetter});
    Load({"-keepImages", "-imagePath=" + dir.File("three.tif"), dir.File("three.pdf")});
    EncodeWith(2);
    EXPECT_FALSE(app->ExportToTiff());
    EXPECT_EQ(calls, (std::vector<std::string>{"save 2550x3300", "add 2550x3300"}));
    EXPECT_TRUE(log.Contains("Failed to append page 2 (Status: 7)"));
    EXPECT_TRUE(log.Contains("Exception during export: Failed to append page"));
}

TEST_F(AppRun, TiffFileReadsBackWithItsPagesAndResolution) {
    MakePdf(dir.File("doc.pdf"), {kLetter, kA4, kLetter});
    const std::string tiffPath = dir.File("doc.tif");
    Load({"-keepImages", "-imagePath=" + tiffPath, dir.File("doc.pdf")});
    ASSERT_TRUE(app->ExportToTiff());

    TIFF* tiff = TIFFOpen(tiffPath.c_str(), "r");
    ASSERT_NE(tiff, nullptr);
    EXPECT_EQ(TIFFNumberOfDirectories(tiff), 3);
    const std::vector<std::pair<uint32_t, uint32_t>> sizes = {
        {2550, 3300}, {2480, 3508}, {2550, 3300}};
    for (int page = 0; page < 3; ++page) {
        ASSERT_TRUE(TIFFSetDirectory(tiff, static_cast<uint16_t>(page)));
        uint32_t width = 0, height = 0;
        float xres = 0, yres = 0;
        uint16_t samples = 0;
        TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &width);
        TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &height);
        TIFFGetField(tiff, TIFFTAG_XRESOLUTION, &xres);
        TIFFGetField(tiff, TIFFTAG_YRESOLUTION, &yres);
        TIFFGetField(tiff, TIFFTAG_SAMPLESPERPIXEL, &samples);
        EXPECT_EQ(std::make_pair(width, height), sizes[page]);
        EXPECT_EQ(std::make_pair(xres, yres), std::make_pair(300.0f, 300.0f));
        EXPECT_EQ(samples, 3);
        // The band across the middle of the page is black, the top margin white.
        std::vector<uint8_t> row(TIFFScanlineSize(tiff));
        TIFFReadScanline(tiff, row.data(), height / 2, 0);
        EXPECT_LT(row[width / 2 * 3], 64) << "page " << page + 1;
        TIFFReadScanline(tiff, row.data(), 10, 0);
        EXPECT_GT(row[width / 2 * 3], 192) << "page " << page + 1;
    }
    TIFFClose(tiff);
}

TEST_F(AppRun, UnwritableImagePathIsLoggedAndLeavesNoFile) {
    MakePdf(dir.File("doc.pdf"), {kLetter});
    const std::string tiffPath = dir.File("missing-dir/doc.tif");
    Load({"-keepImages", "-imagePath=" + tiffPath, dir.File("doc.pdf")});
    EXPECT_FALSE(app->ExportToTiff());
    EXPECT_TRUE(log.Contains("Failed to save first page (Status: 7)"));
    EXPECT_TRUE(log.Contains("Exception during export: Failed to save first page"));
    struct stat info;
    EXPECT_NE(::stat(tiffPath.c_str(), &info), 0);
}

// A program that notes the file it was started with.
std::string MakeRecorder(const ScratchDir& dir) {
    const std::string path = dir.File("recorder");
    WriteFile(path, "#!/bin/sh\necho \"$1\" > \"" + dir.File("launched.tmp") + "\" && mv \"" +
                        dir.File("launched.tmp") + "\" \"" + dir.File("launched") + "\"\n");
    ::chmod(path.c_str(), 0755);
    return path;
}

std::string WaitForLaunch(const ScratchDir& dir) {
    for (int i = 0; i < 200; ++i) {
        struct stat info;
        if (::stat(dir.File("launched").c_str(), &info) == 0)
            return ReadFile(dir.File("launched"));
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return {};
}

TEST_F(AppRun, PipedCaptureIsKeptThirtySecondsForTheExternalApplication) {
    MakePdf(dir.File("doc.pdf"), {kLetter});
    testsupport::InputBytes piped(ReadFile(dir.File("doc.pdf")));
    Start({"-type=pdfium", "-interactive", "-previewApp=" + MakeRecorder(dir), "-"}, piped.Fd());
    EXPECT_EQ(app->Run(), 0);
    EXPECT_EQ(sleeps, std::vector<std::chrono::milliseconds>{std::chrono::milliseconds(30000)});
    EXPECT_EQ(WaitForLaunch(dir), app->ActualInputFile() + "\n");
    EXPECT_TRUE(log.Contains("Waiting 30 seconds to allow external app to read temp file"));
}

TEST_F(AppRun, KeptCaptureAndNamedFilesNeedNoWait) {
    MakePdf(dir.File("doc.pdf"), {kLetter});
    testsupport::InputBytes piped(ReadFile(dir.File("doc.pdf")));
    Start({"-type=pdfium", "-interactive", "-keep", "-previewApp=" + MakeRecorder(dir), "-"},
          piped.Fd());
    EXPECT_EQ(app->Run(), 0);
    EXPECT_TRUE(sleeps.empty());

    Start({"-interactive", "-previewApp=" + MakeRecorder(dir), dir.File("doc.pdf")});
    EXPECT_EQ(app->Run(), 0);
    EXPECT_TRUE(sleeps.empty());
}

TEST_F(AppRun, ExplicitApplicationThatCannotStartIsTheSameBoxWithTheCauseLogged) {
    MakePdf(dir.File("doc.pdf"), {kLetter});
    WriteFile(dir.File("not-a-program"), "just text\n");
    Start({"-interactive", "-previewApp=" + dir.File("not-a-program"), dir.File("doc.pdf")});
    EXPECT_EQ(app->Run(), 1);
    EXPECT_TRUE(log.Contains("CreateProcess failed (Error: 13): " + dir.File("not-a-program")));
    ASSERT_EQ(notices.size(), 1u);
    EXPECT_EQ(notices[0].text,
              "Failed to open file with system's registered application: " + dir.File("doc.pdf"));
}

}  // namespace
