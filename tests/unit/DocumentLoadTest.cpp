// Loading a document on its own thread: the events the program decides on, piped input kept
// byte for byte, loads held, stopped or refused, hostile pipes, and page data asked for from
// two threads at once.
#include <fcntl.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <thread>

#include "DocFilePageMgr/DocFilePageMgrLib/PageMgrPdfium.h"
#include "DocFilePageMgr/DocFilePageMgrLib/PageMgrXps.h"
#include "tests/support/FakeDocument.h"
#include "tests/support/LoadedDocument.h"
#include "tests/support/PdfFixtures.h"
#include "tests/support/RecordingPrintDevice.h"
#include "tests/support/XpsFixtures.h"

using namespace docmgr;
using namespace testsupport;
namespace fs = std::filesystem;
using Kinds = std::vector<DocMgrEventType>;

namespace {

struct Events {
    std::mutex lock;
    Kinds kinds;
    std::vector<DocMgrEventData> data;
    DocMgrEventCallback Callback() {
        return [this](DocMgrEventType kind, const DocMgrEventData& payload) {
            std::lock_guard guard(lock);
            kinds.push_back(kind);
            data.push_back(payload);
        };
    }
};

// The process's file system, with piped input read from fd.
struct PipedFiles {
    explicit PipedFiles(int fd) : files(nvrprint::platform::CreateSystemFiles(fd)) {}
    nvrprint::platform::Files& operator*() { return *files; }
    std::unique_ptr<nvrprint::platform::Files> files;
};

// A file system whose disk is full: a new file is made, but nothing written to it lands.
class FullDiskFiles final : public nvrprint::platform::Files {
public:
    explicit FullDiskFiles(int standardInput) : m_standardInput(standardInput) {}
    int StandardInput() override { return m_standardInput; }
    nvrprint::Status CheckExists(const std::string& path) override {
        return m_system->CheckExists(path);
    }
    nvrprint::Result<nvrprint::platform::UniqueFd> CreateNewPrivateFile(
        const std::string& path) override {
        auto made = m_system->CreateNewPrivateFile(path);
        if (!made) {
            return made;
        }
        created = true;
        return nvrprint::platform::UniqueFd(::open("/dev/full", O_WRONLY | O_CLOEXEC));
    }
    bool created = false;

private:
    int m_standardInput;
    std::unique_ptr<nvrprint::platform::Files> m_system = nvrprint::platform::CreateSystemFiles();
};

}  // namespace

TEST(DocumentLoad, PipedInputIsKeptByteForByteAndDeletedAfter) {
    for (size_t size : {size_t{1}, size_t{4097}, size_t{70000}}) {
        ScratchDir dir;
        std::string bytes;
        for (size_t i = 0; i < size; ++i)
            bytes.push_back(static_cast<char>((i * 7 + 13) % 256));
        bytes[0] = '\r';  // line ends must not be translated
        InputBytes input(bytes);
        const std::string capture = dir.File("job_Data.pdf");
        {
            PipedFiles files(input.Fd());
            FakeDocument doc;
            doc.SetInputFiles(*files);
            Events events;
            doc.LoadDocument("-", true, events.Callback(), capture);
            ASSERT_TRUE(doc.WaitForDocumentLoad(30000));
            EXPECT_EQ(ReadFile(capture), bytes) << size;
            EXPECT_EQ(doc.loadedPath, capture);
            EXPECT_EQ(events.kinds,
                      (Kinds{InputCaptureStart, InputCaptureComplete, LoadDocumentStart,
                             NewPageAvailable, LoadDocumentComplete}));
            EXPECT_EQ(std::get<InputCaptureCompleteData>(events.data[1]).fileSize, size);
        }
        EXPECT_FALSE(fs::exists(capture));
    }
    // An empty pipe is a failed load, and leaves no capture behind.
    {
        ScratchDir dir;
        InputBytes input("");
        PipedFiles files(input.Fd());
        FakeDocument doc;
        doc.SetInputFiles(*files);
        Events events;
        doc.LoadDocument("-", true, events.Callback(), dir.File("e.pdf"));
        EXPECT_FALSE(doc.WaitForDocumentLoad(30000));
        EXPECT_EQ(events.kinds.back(), DocumentLoadError);
        EXPECT_FALSE(fs::exists(dir.File("e.pdf")));
    }
    // A disk that fills while the capture is written: the load fails with the disk's error,
    // and the part that was written is gone.
    {
        ScratchDir dir;
        InputBytes input(std::string(20000, 'x'));
        FullDiskFiles files(input.Fd());
        FakeDocument doc;
        doc.SetInputFiles(files);
        Events events;
        LogCapture log;
        doc.LoadDocument("-", true, events.Callback(), dir.File("full.pdf"));
        EXPECT_FALSE(doc.WaitForDocumentLoad(30000));
        ASSERT_EQ(events.kinds.back(), DocumentLoadError);
        EXPECT_EQ(std::get<DocumentLoadErrorData>(events.data.back()).errorCode, uint32_t{ENOSPC});
        EXPECT_TRUE(files.created) << "the capture was never made";
        EXPECT_FALSE(fs::exists(dir.File("full.pdf")));
        EXPECT_TRUE(log.Contains("Failed to write temporary file after 0 bytes (errno: 28"))
            << log.Text();
    }
}

TEST(DocumentLoad, HeldLoadTimesOutRefusesASecondAndRunsOn) {
    FakeDocument doc;
    EXPECT_FALSE(doc.WaitForDocumentLoad(0));
    doc.HoldLoad();
    ASSERT_NE(doc.LoadDocument("/first.pdf", false, nullptr, ""), nullptr);
    EXPECT_FALSE(doc.WaitForDocumentLoad(0));
    EXPECT_EQ(doc.LoadDocument("/second.pdf", false, nullptr, ""), nullptr);
    doc.Release();
    EXPECT_TRUE(doc.WaitForDocumentLoad(30000));
    EXPECT_EQ(doc.loadedPath, "/first.pdf");
    ASSERT_NE(doc.LoadDocument("/third.pdf", false, nullptr, ""), nullptr);
    EXPECT_TRUE(doc.WaitForDocumentLoad(30000));
    EXPECT_EQ(doc.loadedPath, "/third.pdf");
}

TEST(DocumentLoad, EndlessPipeIsStoppedAtOnceAndLeavesNoPartialFile) {
    ScratchDir dir;
    EndlessInput input;
    input.Write(std::string(10000, 'x'));
    const std::string capture = dir.File("job_Data.pdf");
    PipedFiles files(input.Fd());
    for (bool stop : {true, false}) {
        FakeDocument doc;
        doc.SetInputFiles(*files);
        doc.LoadDocument("-", true, nullptr, capture);
        if (stop) {
            EXPECT_FALSE(doc.WaitForDocumentLoad(200));
            doc.StopLoad();
            EXPECT_FALSE(doc.WaitForDocumentLoad(5000));
            EXPECT_FALSE(fs::exists(capture));
        }
        // Otherwise the manager's end stops the capture nobody stopped.
    }
    EXPECT_FALSE(fs::exists(capture));
}

TEST(DocumentLoad, CaptureNeverWritesThroughAPlantedLink) {
    ScratchDir dir;
    WriteFile(dir.File("target"), "precious");
    fs::create_symlink(dir.File("target"), dir.File("job_Data.pdf"));
    InputBytes input("%PDF-1.4 attacker");
    PipedFiles files(input.Fd());
    FakeDocument doc;
    doc.SetInputFiles(*files);
    doc.LoadDocument("-", true, nullptr, dir.File("job_Data.pdf"));
    EXPECT_FALSE(doc.WaitForDocumentLoad(30000));
    EXPECT_EQ(ReadFile(dir.File("target")), "precious");
}

template <typename Manager>
class PageDataThreads : public ::testing::Test {
protected:
    void Load() {
        if constexpr (std::is_same_v<Manager, PageMgrPdfium>)
            MakePdf(path, {kLetter, kLetterLandscape, kA4, kLetter});
        else
            MakeXps(path, {{kXpsLetter, kXpsLetterLandscape}, {kXpsLetter, kXpsLetter}});
        doc = std::make_unique<LoadedDocument<Manager>>(path);
        ASSERT_TRUE(doc->ok);
    }
    ScratchDir work;
    std::string path = work.File("doc");
    std::unique_ptr<LoadedDocument<Manager>> doc;
};

using Backends = ::testing::Types<PageMgrPdfium, PageMgrXps>;
TYPED_TEST_SUITE(PageDataThreads, Backends);

// A print thread works through the document while the preview's window reads sizes and
// thumbnails: PDF pages go to the job as they are, XPS pages are drawn.
TYPED_TEST(PageDataThreads, PrintUnderTheWindowGetsEveryPage) {
    this->Load();
    DocFilePageMgr& manager = this->doc->manager;
    ASSERT_EQ(manager.m_pageCount, 4u);
    manager.SetTargetParams(Printer, TargetParams{1.0, 72, 72});
    manager.m_printJobSettings.PagesPerSheet = 2;
    manager.m_printJobSettings.dmCopies = 2;
    RecordingPrintDevice device;
    std::atomic<int> printed{0};
    std::atomic<bool> done{false};
    std::thread printer([&] {
        if constexpr (std::is_same_v<TypeParam, PageMgrPdfium>) {
            EXPECT_TRUE(manager.RenderDocToPrinter("P", "title", &device));
            printed = std::count_if(device.calls.begin(), device.calls.end(),
                                    [](const std::string& c) { return c.starts_with("Place "); });
        } else {
            for (uint64_t page = 1; page <= 8; ++page) {
                printed += manager.GetPageImage((page - 1) % 4 + 1, Printer) != nullptr;
            }
        }
        done = true;
    });
    std::vector<std::shared_ptr<PageImage>> held;
    int shown = 0;
    do {
        manager.SetTargetParams(Thumbnail, TargetParams{0.2, 96, 96});
        for (uint64_t page = 1; page <= 4; ++page) {
            double width = 0.0;
            double height = 0.0;
            EXPECT_TRUE(manager.GetPageSizePoints(page, &width, &height));
            if (auto image = manager.GetPageImage(page, Thumbnail)) {
                held.push_back(image);
                ++shown;
            }
        }
        held.resize(std::min<size_t>(held.size(), 2));
    } while (!done);
    printer.join();
    EXPECT_EQ(printed, 8);  // four pages, two copies
    EXPECT_GE(shown, 4);
}
