// The program's share of printing: sides from page order, copies and collation; the N-up
// grid; and the printing loops as a device sees them.
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
    void Render(FakeDocument& doc, int32_t perSheet, const PhysicalPage& side,
                bool expected = true) {
        doc.DrawDirectly();
        doc.m_printJobSettings.PagesPerSheet = perSheet;
        EXPECT_EQ(doc.RenderNUpPage(&device, side, {1.0, 600, 600}), expected);
    }
    RecordingPrintDevice device;
};

TEST_F(NUpLayout, FourUpCellsTruncateAndPagesFitByTheNarrowerFactor) {
    device.printableWidth = 4801;
    device.printableHeight = 6401;
    FakeDocument doc({{612, 792}, {612, 792}, {792, 612}, {500, 500}});
    Render(doc, 4, PhysicalPage{{0, 1, 2, 3}});
    ASSERT_EQ(doc.draws.size(), 4u);
    // Cells of 2400 by 3200, left to right, then down.
    EXPECT_EQ(std::make_pair(doc.draws[1].x, doc.draws[1].y), std::make_pair(2400, 0));
    EXPECT_EQ(std::make_pair(doc.draws[2].x, doc.draws[2].y), std::make_pair(0, 3200));
    EXPECT_EQ(std::make_pair(doc.draws[3].x, doc.draws[3].y), std::make_pair(2400, 3200));
    // Portrait Letter: 2400/5100 across beats 3200/6600 down.
    EXPECT_DOUBLE_EQ(doc.draws[0].scale, 2400.0 / 5100.0);
    // Landscape in a portrait cell: the width wins and the page sits at the top.
    EXPECT_DOUBLE_EQ(doc.draws[2].scale, 2400.0 / 6600.0);
    // Square page: across is the smaller factor here too.
    EXPECT_DOUBLE_EQ(doc.draws[3].scale, 2400.0 / (600.0 * 500 / 72.0));
}

TEST_F(NUpLayout, UnlistedCountsGetOneCellAndLaterPagesFallOffTheSheet) {
    FakeDocument doc({{612, 792}, {612, 792}, {612, 792}});
    Render(doc, 3, PhysicalPage{{0, 1, 2}});
    ASSERT_EQ(doc.draws.size(), 3u);
    EXPECT_EQ(doc.draws[1].y, 6300);
    EXPECT_EQ(doc.draws[2].y, 12600);
}

TEST_F(NUpLayout, EmptySideAndFailedDrawAreFailures) {
    FakeDocument doc;
    Render(doc, 2, PhysicalPage{}, false);
    FakeDocument noDirectDraw;
    noDirectDraw.m_printJobSettings.PagesPerSheet = 2;
    EXPECT_FALSE(noDirectDraw.RenderNUpPage(&device, PhysicalPage{{0}}, {1.0, 600, 600}));
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
              (std::vector<std::string>{"StartDoc title", "StartPage", "Place 1 at 0,0 5100x6600",
                                        "EndPage", "StartPage", "Place 2 at 0,0 4961x7016",
                                        "EndPage", "EndDoc"}));
}

TEST_F(PrintingLoop, TwoUpPlacesPagesWhereTheirBitmapsWouldLand) {
    MakeDocument({kLetter, kLetter, kLetter});
    device.printableWidth = 6300;  // a landscape sheet
    device.printableHeight = 4800;
    pdf.m_printJobSettings.PagesPerSheet = 2;
    pdf.m_printJobSettings.bReversePages = true;
    ASSERT_TRUE(pdf.RenderDocToPrinter("P", "t", &device, nullptr));
    // Cells of 3150 by 4800; Letter fits by width: 3150/5100 of 5100x6600, at the top.
    EXPECT_EQ(device.calls,
              (std::vector<std::string>{"StartDoc t", "StartPage", "Place 3 at 0,0 3150x4076",
                                        "Place 2 at 3150,0 3150x4076", "EndPage", "StartPage",
                                        "Place 1 at 0,0 3150x4076", "EndPage", "EndDoc"}));
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
              (std::vector<std::string>{"StartDoc t", "StartPage", "Place 1 at 0,0 4800x6212",
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
              (std::vector<std::string>{"StartDoc t", "StartPage", "Place 1 at 0,0 4800x6212",
                                        "EndPage", "StartPage", "EndPage", "StartPage",
                                        "Place 1 at 0,0 4800x6212", "EndPage", "EndDoc"}));
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

TEST(BasePrintingLoop, KeepsItsInvertedStartTestAndFallsBackToBitmaps) {
    FakeDocument doc({{612, 792}});
    doc.m_pageCount = 1;
    RecordingPrintDevice started;
    EXPECT_FALSE(doc.RenderDocToPrinter("P", "t", &started, nullptr));
    EXPECT_EQ(started.calls, std::vector<std::string>{"StartDoc t"});

    RecordingPrintDevice refused;
    refused.startDocResult = 0;
    doc.SetTargetParams(docmgr::Printer, {1.0, 96, 96});
    EXPECT_TRUE(doc.RenderDocToPrinter("P", "t", &refused, nullptr));
    EXPECT_EQ(refused.calls,
              (std::vector<std::string>{"StartDoc t", "StartPage", "Bitmap 816x1056 at 0,0",
                                        "EndPage", "EndDoc"}));
}

}  // namespace
