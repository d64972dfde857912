// The program's share of printing: sides from page order, copies and collation; the N-up
// grid; and the printing loop as a device sees it.
#include <gtest/gtest.h>

#include "DocFilePageMgr/DocFilePageMgrLib/PageMgrPdfium.h"
#include "tests/support/FakeDocument.h"
#include "tests/support/PdfFixtures.h"
#include "tests/support/RecordingPrintDevice.h"
#include "tests/support/TestSupport.h"

using namespace testsupport;
using docmgr::PhysicalPage;

namespace {

using Sides = std::vector<std::vector<uint64_t>>;

Sides SidesOf(const std::vector<PhysicalPage>& pages) {
    Sides sides;
    for (const PhysicalPage& page : pages)
        sides.push_back(page.logicalPages);
    return sides;
}

struct Layout {
    int32_t perSheet;
    bool reverse;
    int16_t copies;
    int16_t collate;
    int16_t duplex = -1;
};

Sides Build(size_t pages, Layout layout) {
    FakeDocument doc;
    doc.m_printJobSettings.PagesPerSheet = layout.perSheet;
    doc.m_printJobSettings.bReversePages = layout.reverse;
    doc.m_printJobSettings.dmCopies = layout.copies;
    doc.m_printJobSettings.dmCollate = layout.collate;
    doc.m_printJobSettings.dmDuplex = layout.duplex;
    return SidesOf(doc.BuildPhysicalPageList(pages));
}

TEST(PhysicalPageList, OrderGroupingCopiesAndCollation) {
    EXPECT_EQ(Build(5, {2, true, 2, 0}), (Sides{{4, 3}, {4, 3}, {2, 1}, {2, 1}, {0}, {0}}));
    EXPECT_EQ(Build(5, {2, true, 2, 1}), (Sides{{4, 3}, {2, 1}, {0}, {4, 3}, {2, 1}, {0}}));
    EXPECT_EQ(Build(3, {1, false, 2, -1}), (Sides{{0}, {0}, {1}, {1}, {2}, {2}}));
    EXPECT_EQ(Build(7, {4, false, 1, 0}), (Sides{{0, 1, 2, 3}, {4, 5, 6}}));
    EXPECT_EQ(Build(4, {3, false, -1, 0}), (Sides{{0, 1, 2}, {3}}));
    EXPECT_EQ(Build(0, {2, true, 3, 1}), Sides{});
    for (int32_t perSheet : {0, 1}) {
        for (int16_t copies : {0, -1}) {
            EXPECT_EQ(Build(3, {perSheet, false, copies, 1}), (Sides{{0}, {1}, {2}}));
        }
    }
}

TEST(PhysicalPageList, TwoSidedCopiesNeverShareASheet) {
    // An odd copy is closed by a blank back; the last blank back of the job is left out.
    EXPECT_EQ(Build(3, {1, false, 2, 1, 2}), (Sides{{0}, {1}, {2}, {}, {0}, {1}, {2}}));
    // Uncollated copies repeat whole sheets, front and back.
    EXPECT_EQ(Build(3, {1, false, 2, 0, 3}), (Sides{{0}, {1}, {0}, {1}, {2}, {}, {2}}));
    // N-up sides count as pages: five pages 2-up make three sides.
    EXPECT_EQ(Build(5, {2, false, 2, 1, 2}), (Sides{{0, 1}, {2, 3}, {4}, {}, {0, 1}, {2, 3}, {4}}));
    // An even copy needs nothing; one-sided copies follow each other as before.
    EXPECT_EQ(Build(2, {1, false, 2, 1, 2}), (Sides{{0}, {1}, {0}, {1}}));
    EXPECT_EQ(Build(3, {1, false, 2, 1, 1}), (Sides{{0}, {1}, {2}, {0}, {1}, {2}}));
    EXPECT_EQ(Build(3, {1, false, 1, 1, 2}), (Sides{{0}, {1}, {2}}));
}

class NUpLayout : public ::testing::Test {
protected:
    bool Render(FakeDocument& doc, int32_t perSheet, const PhysicalPage& side) {
        doc.m_printJobSettings.PagesPerSheet = perSheet;
        return doc.RenderNUpPage(&device, side);
    }
    RecordingPrintDevice device;
};

TEST_F(NUpLayout, FourUpCellsTruncateAndRunAcrossThenDown) {
    device.printableWidth = 4801;
    device.printableHeight = 6401;
    FakeDocument doc({{612, 792}, {612, 792}, {792, 612}, {500, 500}});
    ASSERT_TRUE(Render(doc, 4, PhysicalPage{{0, 1, 2, 3}}));
    // Cells of 2400 by 3200; each page is fitted into its own cell by the device, once.
    EXPECT_EQ(device.calls,
              (std::vector<std::string>{
                  "Place 1 in 2400x3200 at 0,0", "Place 2 in 2400x3200 at 2400,0",
                  "Place 3 in 2400x3200 at 0,3200", "Place 4 in 2400x3200 at 2400,3200"}));
}

TEST_F(NUpLayout, UnlistedCountsGetOneCellAndLaterPagesFallOffTheSheet) {
    FakeDocument doc({{612, 792}, {612, 792}, {612, 792}});
    ASSERT_TRUE(Render(doc, 3, PhysicalPage{{0, 1, 2}}));
    EXPECT_EQ(device.calls, (std::vector<std::string>{"Place 1 in 4800x6300 at 0,0",
                                                      "Place 2 in 4800x6300 at 0,6300",
                                                      "Place 3 in 4800x6300 at 0,12600"}));
}

TEST_F(NUpLayout, EmptySideAndRefusedPlacementAreFailures) {
    FakeDocument doc;
    EXPECT_FALSE(Render(doc, 2, PhysicalPage{}));
    FakeDocument refusing;
    refusing.FailPlacements();
    EXPECT_FALSE(Render(refusing, 2, PhysicalPage{{0}}));
    EXPECT_TRUE(device.calls.empty());
}

class PrintingLoop : public ::testing::Test {
protected:
    std::string MakeDocument(const std::vector<FixturePage>& pages) {
        std::string path = dir.File("doc.pdf");
        MakePdf(path, pages);
        EXPECT_TRUE(pdf.LoadDocument(path, false, nullptr, ""));
        EXPECT_TRUE(pdf.WaitForDocumentLoad(30000));
        return path;
    }
    ScratchDir dir;
    docmgr::PageMgrPdfium pdf;
    RecordingPrintDevice device;
};

TEST_F(PrintingLoop, OnePerSheetPlacesPagesAtNaturalSizeFromThePrintableCorner) {
    MakeDocument({kLetter, kA4});
    ASSERT_TRUE(pdf.RenderDocToPrinter("P", "title", &device, nullptr));
    EXPECT_EQ(device.calls,
              (std::vector<std::string>{"StartDoc title", "StartPage", "Place 1 at 0,0", "EndPage",
                                        "StartPage", "Place 2 at 0,0", "EndPage", "EndDoc"}));
}

TEST_F(PrintingLoop, TwoUpPlacesReversedPagesIntoTheCellsOfLandscapeSides) {
    MakeDocument({kLetter, kLetter, kLetter});
    device.printableWidth = 6300;  // a landscape sheet
    device.printableHeight = 4800;
    pdf.m_printJobSettings.PagesPerSheet = 2;
    pdf.m_printJobSettings.bReversePages = true;
    ASSERT_TRUE(pdf.RenderDocToPrinter("P", "t", &device, nullptr));
    EXPECT_EQ(device.calls,
              (std::vector<std::string>{"StartDoc t", "StartPage", "Place 3 in 3150x4800 at 0,0",
                                        "Place 2 in 3150x4800 at 3150,0", "EndPage", "StartPage",
                                        "Place 1 in 3150x4800 at 0,0", "EndPage", "EndDoc"}));
}

TEST_F(PrintingLoop, FailuresAbortTheJobExceptAtItsEnd) {
    MakeDocument({kLetter, kLetter});
    device.failStartPage = 2;
    EXPECT_FALSE(pdf.RenderDocToPrinter("P", "t", &device, nullptr));
    EXPECT_EQ(device.calls.back(), "AbortDoc");

    RecordingPrintDevice placing;
    placing.failPlacement = true;
    pdf.m_printJobSettings.dmCopies = 2;
    EXPECT_FALSE(pdf.RenderDocToPrinter("P", "t", &placing, nullptr));
    EXPECT_EQ(placing.calls,
              (std::vector<std::string>{"StartDoc t", "StartPage", "Place 1 in 4800x6300 at 0,0",
                                        "EndPage", "AbortDoc"}));

    RecordingPrintDevice ending;
    ending.failEndDoc = true;
    EXPECT_FALSE(pdf.RenderDocToPrinter("P", "t", &ending, nullptr));
    EXPECT_EQ(ending.calls.back(), "EndDoc");

    RecordingPrintDevice refusing;
    refusing.startDocResult = 0;
    EXPECT_FALSE(pdf.RenderDocToPrinter("P", "t", &refusing, nullptr));
    EXPECT_EQ(refusing.calls, std::vector<std::string>{"StartDoc t"});
}

TEST_F(PrintingLoop, TwoSidedCopiesGetABlankBackSheet) {
    MakeDocument({kLetter});
    pdf.m_printJobSettings.dmCopies = 2;
    pdf.m_printJobSettings.dmCollate = 1;
    pdf.m_printJobSettings.dmDuplex = 2;
    ASSERT_TRUE(pdf.RenderDocToPrinter("P", "t", &device, nullptr));
    EXPECT_EQ(device.calls,
              (std::vector<std::string>{"StartDoc t", "StartPage", "Place 1 in 4800x6300 at 0,0",
                                        "EndPage", "StartPage", "EndPage", "StartPage",
                                        "Place 1 in 4800x6300 at 0,0", "EndPage", "EndDoc"}));
}

std::vector<std::pair<uint64_t, uint64_t>> g_progress;

TEST_F(PrintingLoop, ProgressCountsSidesToTheWindow) {
    MakeDocument({kLetter, kLetter, kLetter});
    g_progress.clear();
    docmgr::SetPrintProgressPoster([](docmgr::WindowHandle, uint64_t done, uint64_t total) {
        g_progress.emplace_back(done, total);
    });
    pdf.m_printJobSettings.PagesPerSheet = 2;
    int window = 0;
    EXPECT_TRUE(pdf.RenderDocToPrinter("P", "t", &device, &window));
    EXPECT_TRUE(pdf.RenderDocToPrinter("P", "t", &device, nullptr));
    docmgr::SetPrintProgressPoster(nullptr);
    EXPECT_EQ(g_progress, (std::vector<std::pair<uint64_t, uint64_t>>{{1, 2}, {2, 2}}));
}

TEST(BasePrintingLoop, AnyBackendGoesThroughTheSameLoop) {
    FakeDocument doc({{612, 792}, {612, 792}, {612, 792}});
    doc.m_pageCount = 3;
    doc.m_printJobSettings.PagesPerSheet = 2;
    doc.m_printJobSettings.dmCopies = 2;
    doc.m_printJobSettings.dmCollate = 1;
    RecordingPrintDevice device;
    EXPECT_TRUE(doc.RenderDocToPrinter("P", "t", &device, nullptr));
    EXPECT_EQ(
        device.calls,
        (std::vector<std::string>{
            "StartDoc t", "StartPage", "Place 1 in 2400x6300 at 0,0",
            "Place 2 in 2400x6300 at 2400,0", "EndPage", "StartPage", "Place 3 in 2400x6300 at 0,0",
            "EndPage", "StartPage", "Place 1 in 2400x6300 at 0,0", "Place 2 in 2400x6300 at 2400,0",
            "EndPage", "StartPage", "Place 3 in 2400x6300 at 0,0", "EndPage", "EndDoc"}));

    RecordingPrintDevice refused;
    refused.startDocResult = 0;
    EXPECT_FALSE(doc.RenderDocToPrinter("P", "t", &refused, nullptr));
    EXPECT_EQ(refused.calls, std::vector<std::string>{"StartDoc t"});

    RecordingPrintDevice aborted;
    doc.FailPlacements();
    EXPECT_FALSE(doc.RenderDocToPrinter("P", "t", &aborted, nullptr));
    EXPECT_EQ(aborted.calls,
              (std::vector<std::string>{"StartDoc t", "StartPage", "EndPage", "AbortDoc"}));
}

}  // namespace
