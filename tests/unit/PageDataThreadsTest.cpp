// Page sizes and images asked for from two threads at once, as the preview's window and a
// print under it do. The thread-sanitizer build runs this too.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "DocFilePageMgr/DocFilePageMgrLib/PageMgrPdfium.h"
#include "DocFilePageMgr/DocFilePageMgrLib/PageMgrXps.h"
#include "tests/support/LoadedDocument.h"
#include "tests/support/PdfFixtures.h"
#include "tests/support/RecordingPrintDevice.h"
#include "tests/support/XpsFixtures.h"

using namespace testsupport;

namespace {

template <typename Manager>
void MakeDocument(const std::string& path);

template <>
void MakeDocument<docmgr::PageMgrPdfium>(const std::string& path) {
    MakePdf(path, {kLetter, kLetterLandscape, kA4, kLetter});
}

template <>
void MakeDocument<docmgr::PageMgrXps>(const std::string& path) {
    MakeXps(path, {{kXpsLetter, kXpsLetterLandscape}, {kXpsLetter, kXpsLetter}});
}

template <typename Manager>
class PageDataThreadsTest : public ::testing::Test {};

using Backends = ::testing::Types<docmgr::PageMgrPdfium, docmgr::PageMgrXps>;
TYPED_TEST_SUITE(PageDataThreadsTest, Backends);

TYPED_TEST(PageDataThreadsTest, PrintThreadRendersWhileTheWindowReadsSizesAndImages) {
    ScratchDir work;
    std::string path = work.File("doc");
    MakeDocument<TypeParam>(path);
    LoadedDocument<TypeParam> doc(path);
    ASSERT_TRUE(doc.ok);
    docmgr::DocFilePageMgr& manager = doc.manager;
    const uint64_t pages = manager.m_pageCount;
    ASSERT_EQ(pages, 4u);
    manager.SetTargetParams(docmgr::Printer, docmgr::TargetParams{1.0, 72, 72});

    std::atomic<bool> printing{true};
    std::atomic<int> printed{0};
    std::thread printer([&] {
        for (int round = 0; round < 3; ++round) {
            for (uint64_t page = 1; page <= pages; ++page) {
                double width = 0.0;
                double height = 0.0;
                if (manager.GetPageSizePoints(page, &width, &height) &&
                    manager.GetPageImage(page, docmgr::Printer) != nullptr) {
                    ++printed;
                }
            }
        }
        printing = false;
    });

    // The window: thumbnails, the current page and its size, again and again.
    int shown = 0;
    std::vector<std::shared_ptr<docmgr::PageImage>> held;
    do {
        manager.SetTargetParams(docmgr::Thumbnail, docmgr::TargetParams{0.2, 96, 96});
        for (uint64_t page = 1; page <= pages; ++page) {
            double width = 0.0;
            double height = 0.0;
            EXPECT_TRUE(manager.GetPageSizePoints(page, &width, &height));
            EXPECT_GT(width, 0.0);
            if (auto image = manager.GetPageImage(page, docmgr::Thumbnail)) {
                held.push_back(image);
                ++shown;
            }
        }
        held.resize(std::min<size_t>(held.size(), 2));
    } while (printing);
    printer.join();

    EXPECT_EQ(printed, 3 * 4);
    EXPECT_GE(shown, 4);
    // The same page asked for twice while held is one image.
    auto first = manager.GetPageImage(2, docmgr::Thumbnail);
    EXPECT_EQ(manager.GetPageImage(2, docmgr::Thumbnail), first);
}

TEST(PageDataThreads, PrintingUnderTheWindowPlacesEveryPageWhileThePreviewRenders) {
    ScratchDir work;
    std::string path = work.File("doc.pdf");
    MakePdf(path, {kLetter, kLetter, kA4, kLetterLandscape, kLetter});
    LoadedDocument<docmgr::PageMgrPdfium> doc(path);
    ASSERT_TRUE(doc.ok);
    doc.manager.m_printJobSettings.PagesPerSheet = 2;
    doc.manager.m_printJobSettings.dmCopies = 2;

    RecordingPrintDevice device;
    std::atomic<bool> printed{false};
    std::atomic<bool> done{false};
    std::thread printer([&] {
        printed = doc.manager.RenderDocToPrinter("P", "title", &device, nullptr);
        done = true;
    });
    std::shared_ptr<docmgr::PageImage> current;
    for (uint64_t page = 1; !done; page = page % 5 + 1) {
        current = doc.manager.GetPageImage(page, docmgr::Screen);
        double width = 0.0;
        double height = 0.0;
        EXPECT_TRUE(doc.manager.GetPageSizePoints(page, &width, &height));
    }
    printer.join();
    EXPECT_TRUE(printed);
    size_t placed = 0;
    for (const std::string& call : device.calls) {
        placed += call.rfind("Place ", 0) == 0 ? 1 : 0;
    }
    EXPECT_EQ(placed, 10u);  // five pages, two copies
}

}  // namespace
