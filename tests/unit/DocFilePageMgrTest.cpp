#include <gtest/gtest.h>

#include <filesystem>
#include <mutex>
#include <sstream>

#include "tests/support/FakeDocument.h"
#include "tests/support/TestSupport.h"

using namespace docmgr;
using testsupport::FakeDocument;
using testsupport::LogCapture;
using testsupport::ReadFile;
using testsupport::ScratchDir;

namespace {

// Records every event in order, with the variant index each carried.
struct EventLog {
    std::mutex lock;
    std::vector<DocMgrEventType> kinds;
    std::vector<DocMgrEventData> data;
    DocMgrEventCallback Callback() {
        return [this](DocMgrEventType kind, const DocMgrEventData& payload) {
            std::lock_guard guard(lock);
            kinds.push_back(kind);
            data.push_back(payload);
        };
    }
};

}  // namespace

TEST(DocMgrVocabulary, EventAndTargetNames) {
    EXPECT_STREQ(DocMgrEventTypeName(InputCaptureStart), "InputCaptureStart");
    EXPECT_STREQ(DocMgrEventTypeName(PrintJobFinished), "PrintJobFinished");
    EXPECT_STREQ(DocMgrEventTypeName(static_cast<DocMgrEventType>(15)), "Unknown");
    EXPECT_STREQ(RenderTargetName(static_cast<RenderTarget>(7)), "Unknown");
    // The variant index of a kind's record is the kind plus one.
    EXPECT_EQ(DocMgrEventData(NewPageAvailableData{}).index(), NewPageAvailable + 1u);
    EXPECT_EQ(DocMgrEventData(PrintJobFinishedData{}).index(), PrintJobFinished + 1u);
}

TEST(DocMgrVocabulary, PixelSizeRule) {
    EXPECT_EQ(PixelsForPoints(612, 1.0, 96), 816);
    EXPECT_EQ(PixelsForPoints(792, 1.0, 96), 1056);
    EXPECT_EQ(PixelsForPoints(612, 0.2, 96), 163);
    EXPECT_EQ(PixelsForPoints(792, 0.2, 96), 211);
    EXPECT_EQ(PixelsForPoints(612, 1.0, 300), 2550);
}

TEST(DocFilePageMgrLoad, FileLoadFiresEventsInOrder) {
    FakeDocument doc({{612, 792}, {842, 595}});
    EventLog events;
    ASSERT_NE(doc.LoadDocument("/some/file.pdf", false, events.Callback(), ""), nullptr);
    ASSERT_TRUE(doc.WaitForDocumentLoad(30000));
    EXPECT_EQ(doc.m_pageCount, 2u);
    std::vector<DocMgrEventType> expected{LoadDocumentStart, NewPageAvailable, NewPageAvailable,
                                          LoadDocumentComplete};
    EXPECT_EQ(events.kinds, expected);
    auto start = std::get<LoadDocumentStartData>(events.data[0]);
    EXPECT_EQ(start.filePath, "/some/file.pdf");
    EXPECT_EQ(start.documentType, "PDF");
    auto second = std::get<NewPageAvailableData>(events.data[2]);
    EXPECT_EQ(second.pageNumber, 2u);
    EXPECT_DOUBLE_EQ(second.widthPoints, 842);
    EXPECT_DOUBLE_EQ(second.heightPoints, 595);
    EXPECT_EQ(std::get<LoadDocumentCompleteData>(events.data[3]).totalPages, 2u);
}

TEST(DocFilePageMgrLoad, SettingsEventPrecedesPages) {
    FakeDocument doc;
    doc.AnnounceSettings(R"({"PagesPerSheet": 2})");
    EventLog events;
    doc.LoadDocument("/f.pdf", false, events.Callback(), "");
    ASSERT_TRUE(doc.WaitForDocumentLoad(30000));
    std::vector<DocMgrEventType> expected{LoadDocumentStart, DocumentSettingsAvailable,
                                          NewPageAvailable, LoadDocumentComplete};
    EXPECT_EQ(events.kinds, expected);
}

TEST(DocFilePageMgrLoad, PipeCaptureKeepsEveryByte) {
    for (size_t size : {size_t{1}, size_t{4096}, size_t{4097}, size_t{70000}}) {
        ScratchDir dir;
        std::string bytes;
        for (size_t i = 0; i < size; ++i)
            bytes.push_back(static_cast<char>((i * 7 + 13) % 256));
        bytes[0] = '\r';  // line ends must not be translated
        testsupport::InputBytes input(bytes);
        std::string capture = dir.File("job_Data.pdf");
        {
            FakeDocument doc;
            doc.SetPipeInput(input.Fd());
            EventLog events;
            doc.LoadDocument("-", true, events.Callback(), capture);
            ASSERT_TRUE(doc.WaitForDocumentLoad(30000));
            EXPECT_EQ(ReadFile(capture), bytes) << size;
            EXPECT_EQ(doc.loadedPath, capture);
            std::vector<DocMgrEventType> expected{InputCaptureStart, InputCaptureComplete,
                                                  LoadDocumentStart, NewPageAvailable,
                                                  LoadDocumentComplete};
            EXPECT_EQ(events.kinds, expected);
            auto complete = std::get<InputCaptureCompleteData>(events.data[1]);
            EXPECT_EQ(complete.tempFile, capture);
            EXPECT_EQ(complete.fileSize, size);
        }
        // The manager deletes its capture when it ends.
        EXPECT_FALSE(std::filesystem::exists(capture));
    }
}

TEST(DocFilePageMgrLoad, CaptureIsKeptWhenDeletionIsCleared) {
    ScratchDir dir;
    testsupport::InputBytes input("%PDF-1.4");
    std::string capture = dir.File("kept.pdf");
    {
        FakeDocument doc;
        doc.SetPipeInput(input.Fd());
        doc.m_deleteTempFile = false;
        doc.LoadDocument("-", true, nullptr, capture);
        ASSERT_TRUE(doc.WaitForDocumentLoad(30000));
    }
    EXPECT_TRUE(std::filesystem::exists(capture));
}

TEST(DocFilePageMgrLoad, EmptyPipeFailsAndLeavesTheEmptyFile) {
    ScratchDir dir;
    testsupport::InputBytes input("");
    std::string capture = dir.File("empty.pdf");
    {
        FakeDocument doc;
        doc.SetPipeInput(input.Fd());
        EventLog events;
        doc.LoadDocument("-", true, events.Callback(), capture);
        EXPECT_FALSE(doc.WaitForDocumentLoad(30000));
        std::vector<DocMgrEventType> expected{InputCaptureStart, DocumentLoadError};
        EXPECT_EQ(events.kinds, expected);
        EXPECT_EQ(std::get<DocumentLoadErrorData>(events.data[1]).errorMessage,
                  "Failed to capture input from pipe");
    }
    ASSERT_TRUE(std::filesystem::exists(capture));
    EXPECT_EQ(std::filesystem::file_size(capture), 0u);
}

TEST(DocFilePageMgrLoad, UnwritableCaptureFails) {
    testsupport::InputBytes input("data");
    FakeDocument doc;
    doc.SetPipeInput(input.Fd());
    EventLog events;
    doc.LoadDocument("-", true, events.Callback(), "/nonexistent-dir/x.pdf");
    EXPECT_FALSE(doc.WaitForDocumentLoad(30000));
    EXPECT_EQ(events.kinds.back(), DocumentLoadError);
}

TEST(DocFilePageMgrLoad, FailingBackendReportsLoadError) {
    LogCapture log;
    FakeDocument doc;
    doc.FailLoad();
    EventLog events;
    doc.LoadDocument("/f.pdf", false, events.Callback(), "");
    EXPECT_FALSE(doc.WaitForDocumentLoad(30000));
    std::vector<DocMgrEventType> expected{LoadDocumentStart, DocumentLoadError};
    EXPECT_EQ(events.kinds, expected);
    auto error = std::get<DocumentLoadErrorData>(events.data[1]);
    EXPECT_EQ(error.errorMessage, "Failed to load document");
    EXPECT_EQ(error.errorCode, 0u);
    EXPECT_TRUE(log.Contains("OnLoadDocument failed"));
}

TEST(DocFilePageMgrLoad, ZeroWaitOnARunningLoadTimesOutAndTheLoadRunsOn) {
    LogCapture log;
    FakeDocument doc;
    doc.HoldLoad();
    doc.LoadDocument("/f.pdf", false, nullptr, "");
    EXPECT_FALSE(doc.WaitForDocumentLoad(0));
    EXPECT_TRUE(log.Contains("Wait timed out"));
    doc.Release();
    EXPECT_TRUE(doc.WaitForDocumentLoad(30000));
    EXPECT_EQ(doc.m_pageCount, 1u);
}

TEST(DocFilePageMgrLoad, DestructorJoinsARunningLoad) {
    auto doc = std::make_unique<FakeDocument>();
    doc->HoldLoad();
    doc->LoadDocument("/f.pdf", false, nullptr, "");
    doc->Release();
    doc.reset();  // must neither crash nor leave the thread running
    SUCCEED();
}

TEST(DocFilePageMgrLoad, WaitWithoutLoadIsFalse) {
    FakeDocument doc;
    EXPECT_FALSE(doc.WaitForDocumentLoad(0));
}

class PageImageTest : public ::testing::Test {
protected:
    void SetUp() override {
        doc.LoadDocument("/f.pdf", false, events.Callback(), "");
        ASSERT_TRUE(doc.WaitForDocumentLoad(30000));
        events.kinds.clear();
    }
    FakeDocument doc{{{612, 792}, {792, 612}}};
    EventLog events;
};

TEST_F(PageImageTest, SharedWhileHeldRenderedAgainAfterRelease) {
    auto first = doc.GetPageImage(1, Screen);
    auto second = doc.GetPageImage(1, Screen);
    ASSERT_TRUE(first);
    EXPECT_EQ(first, second);
    EXPECT_EQ(doc.renders, 1);
    EXPECT_EQ(events.kinds, std::vector<DocMgrEventType>{PageImageAvailable});
    first.reset();
    second.reset();
    auto third = doc.GetPageImage(1, Screen);
    EXPECT_EQ(doc.renders, 2);
    EXPECT_EQ(events.kinds.size(), 2u);
}

TEST_F(PageImageTest, TargetsHaveTheirOwnImagesAndSizes) {
    doc.SetTargetParams(Thumbnail, {0.2, 96, 96});
    auto thumb = doc.GetPageImage(1, Thumbnail);
    auto screen = doc.GetPageImage(1, Screen);
    ASSERT_TRUE(thumb && screen);
    EXPECT_NE(thumb, screen);
    EXPECT_EQ(thumb->width, 163);
    EXPECT_EQ(thumb->height, 211);
    EXPECT_EQ(screen->width, 2550);  // 300 DPI by default
    EXPECT_EQ(thumb->bitmap->Stride(), thumb->bitmap->Width() * 4);
    auto landscape = doc.GetPageImage(2, Printer);
    EXPECT_EQ(landscape->width, 6600);
    EXPECT_EQ(landscape->height, 5100);
}

TEST_F(PageImageTest, ChangedParamsDoNotInvalidateAHeldImage) {
    auto held = doc.GetPageImage(1, Thumbnail);
    doc.SetTargetParams(Thumbnail, {0.1, 96, 96});
    EXPECT_EQ(doc.GetPageImage(1, Thumbnail), held);
}

TEST_F(PageImageTest, UnknownTargetRendersWithScreenParams) {
    auto image = doc.GetPageImage(1, static_cast<RenderTarget>(9));
    ASSERT_TRUE(image);
    EXPECT_EQ(image->target, static_cast<RenderTarget>(9));
    EXPECT_EQ(doc.lastParams.dpiX, 300);
}

TEST_F(PageImageTest, InvalidPageNumbersAndFailedRenders) {
    LogCapture log;
    EXPECT_FALSE(doc.GetPageImage(0, Screen));
    EXPECT_FALSE(doc.GetPageImage(3, Screen));
    EXPECT_EQ(doc.renders, 0);
    EXPECT_TRUE(log.Contains("Invalid page number 3 (valid range: 1-2)"));
    double w = -1, h = -1;
    EXPECT_FALSE(doc.GetPageSizePoints(0, &w, &h));
    EXPECT_EQ(w, -1);
    EXPECT_TRUE(doc.GetPageSizePoints(2, &w, &h));
    EXPECT_EQ(w, 792);
    doc.FailRenders();
    EXPECT_FALSE(doc.GetPageImage(1, Screen));
    EXPECT_TRUE(events.kinds.empty());
}

TEST(PageImageBitmap, BlankBitmapIsTopDownBgra) {
    auto bitmap = Bitmap::Create(3, 2);
    ASSERT_TRUE(bitmap);
    EXPECT_NE(bitmap->Bits(), nullptr);
    EXPECT_EQ(bitmap->Stride(), 12);
    bitmap->Fill(0x10, 0x20, 0x30);
    const uint8_t* p = bitmap->Bits();
    EXPECT_EQ(p[0], 0x30);  // blue first
    EXPECT_EQ(p[1], 0x20);
    EXPECT_EQ(p[2], 0x10);
    EXPECT_EQ(p[3], 0xFF);
    EXPECT_FALSE(Bitmap::Create(0, 5));
}
