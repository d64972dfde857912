// What comes out of the printer: the pages on each side in order, N-up, copies, collation and
// the blank back that keeps two-sided copies apart; where each page lands on its sheet; and
// the job ended or aborted as the device answers.
#include <gtest/gtest.h>

#include "DocFilePageMgr/DocFilePageMgrLib/PageMgrPdfium.h"
#include "tests/support/FakeDocument.h"
#include "tests/support/PdfFixtures.h"
#include "tests/support/RecordingPrintDevice.h"
#include "tests/support/TestSupport.h"

using namespace testsupport;
using Calls = std::vector<std::string>;

namespace {

// The sides of a job: the pages of each, "-" for a blank side, e.g. "2,1 | 3".
std::string Sides(const Calls& calls) {
    std::string out;
    std::string side;
    for (const std::string& call : calls) {
        if (call.starts_with("Place ")) {
            side += (side.empty() ? "" : ",") + call.substr(6, call.find(' ', 6) - 6);
        } else if (call == "EndPage") {
            out += (out.empty() ? "" : " | ") + (side.empty() ? "-" : side);
            side.clear();
        }
    }
    return out;
}

// The same for a list of sides.
std::string Sides(const std::vector<docmgr::PhysicalPage>& sides) {
    Calls calls;
    for (const docmgr::PhysicalPage& side : sides) {
        for (uint64_t page : side.logicalPages)
            calls.push_back(fmt::format("Place {} ", page + 1));
        calls.push_back("EndPage");
    }
    return Sides(calls);
}

struct Job {
    size_t pages;
    int32_t perSheet;
    bool reverse;
    int16_t copies;
    int16_t collate;
    int16_t duplex;
    const char* sides;
    const char* oneCopy;  // the sides of one copy, as the sheet view shows them
};

}  // namespace

TEST(PrintedSheets, OrderNUpCopiesCollationAndBlankBacksOfTheJobAndOfOneCopy) {
    const Job jobs[] = {
        {3, 1, false, 1, -1, -1, "1 | 2 | 3", "1 | 2 | 3"},
        {3, 1, true, 1, -1, -1, "3 | 2 | 1", "3 | 2 | 1"},
        {7, 4, false, 1, 0, -1, "1,2,3,4 | 5,6,7", "1,2,3,4 | 5,6,7"},
        {4, 3, false, -1, 0, -1, "1,2,3 | 4", "1,2,3 | 4"},
        {5, 2, true, 2, 0, -1, "5,4 | 5,4 | 3,2 | 3,2 | 1 | 1", "5,4 | 3,2 | 1"},
        {5, 2, true, 2, 1, -1, "5,4 | 3,2 | 1 | 5,4 | 3,2 | 1", "5,4 | 3,2 | 1"},
        {3, 1, false, 2, -1, -1, "1 | 1 | 2 | 2 | 3 | 3", "1 | 2 | 3"},
        {3, 0, false, 0, 1, -1, "1 | 2 | 3", "1 | 2 | 3"},
        // Two-sided: an odd copy ends on a blank back, except the last of the job.
        {3, 1, false, 2, 1, 2, "1 | 2 | 3 | - | 1 | 2 | 3", "1 | 2 | 3 | -"},
        {3, 1, false, 2, 0, 3, "1 | 2 | 1 | 2 | 3 | - | 3", "1 | 2 | 3 | -"},
        {5, 2, true, 2, 0, 2, "5,4 | 3,2 | 5,4 | 3,2 | 1 | - | 1", "5,4 | 3,2 | 1 | -"},
        {2, 1, false, 2, 1, 2, "1 | 2 | 1 | 2", "1 | 2"},
        {3, 1, false, 1, 1, 2, "1 | 2 | 3", "1 | 2 | 3"},
    };
    for (const Job& job : jobs) {
        FakeDocument doc(std::vector<FakeDocument::PageSize>(job.pages, {612, 792}));
        doc.m_pageCount = job.pages;
        doc.m_printJobSettings.PagesPerSheet = job.perSheet;
        doc.m_printJobSettings.bReversePages = job.reverse;
        doc.m_printJobSettings.dmCopies = job.copies;
        doc.m_printJobSettings.dmCollate = job.collate;
        doc.m_printJobSettings.dmDuplex = job.duplex;
        RecordingPrintDevice device;
        ASSERT_TRUE(doc.RenderDocToPrinter("P", "t", &device)) << job.sides;
        EXPECT_EQ(Sides(device.calls), job.sides);
        EXPECT_EQ(Sides(docmgr::SidesOfOneCopy(doc.m_printJobSettings, job.pages, true)),
                  job.oneCopy)
            << job.sides;
        EXPECT_EQ(device.calls.front(), "StartDoc t");
        EXPECT_EQ(device.calls.back(), "EndDoc");
    }
}

TEST(PrintedSheets, CellsRunAcrossThenDownAndFitEachPageOnce) {
    struct Case {
        int32_t perSheet;
        int width;
        int height;
        Calls expected;
    };
    const Case cases[] = {
        {4,
         4801,
         6401,
         {"Place 1 in 2400x3200 at 0,0", "Place 2 in 2400x3200 at 2400,0",
          "Place 3 in 2400x3200 at 0,3200", "Place 4 in 2400x3200 at 2400,3200"}},
        {2, 6300, 4800, {"Place 1 in 3150x4800 at 0,0", "Place 2 in 3150x4800 at 3150,0"}},
        {9,
         900,
         900,
         {"Place 1 in 300x300 at 0,0", "Place 2 in 300x300 at 300,0", "Place 3 in 300x300 at 600,0",
          "Place 4 in 300x300 at 0,300"}},
    };
    for (const Case& c : cases) {
        FakeDocument doc({{612, 792}, {612, 792}, {792, 612}, {500, 500}});
        doc.m_printJobSettings.PagesPerSheet = c.perSheet;
        RecordingPrintDevice device;
        device.printableWidth = c.width;
        device.printableHeight = c.height;
        docmgr::PhysicalPage side;
        for (uint64_t page = 0; page < c.expected.size(); ++page)
            side.logicalPages.push_back(page);
        ASSERT_TRUE(doc.RenderNUpPage(&device, side));
        EXPECT_EQ(device.calls, c.expected) << c.perSheet;
    }
}

TEST(PrintedSheets, AFailingDeviceAbortsTheJobExceptAtItsEnd) {
    struct Case {
        std::function<void(RecordingPrintDevice&, FakeDocument&)> fault;
        Calls expected;
    };
    const Case cases[] = {
        {[](RecordingPrintDevice& d, FakeDocument&) { d.startDocResult = 0; }, {"StartDoc t"}},
        {[](RecordingPrintDevice& d, FakeDocument&) { d.failStartPage = 2; },
         {"StartDoc t", "StartPage", "Place 1 in 2400x6300 at 0,0",
          "Place 2 in 2400x6300 at 2400,0", "EndPage", "StartPage", "AbortDoc"}},
        {[](RecordingPrintDevice& d, FakeDocument&) { d.failPlacement = true; },
         {"StartDoc t", "StartPage", "Place 1 in 2400x6300 at 0,0", "EndPage", "AbortDoc"}},
        {[](RecordingPrintDevice&, FakeDocument& doc) { doc.FailPlacements(); },
         {"StartDoc t", "StartPage", "EndPage", "AbortDoc"}},
        {[](RecordingPrintDevice& d, FakeDocument&) { d.failEndDoc = true; },
         {"StartDoc t", "StartPage", "Place 1 in 2400x6300 at 0,0",
          "Place 2 in 2400x6300 at 2400,0", "EndPage", "StartPage", "Place 3 in 2400x6300 at 0,0",
          "EndPage", "EndDoc"}},
    };
    for (const Case& c : cases) {
        FakeDocument doc({{612, 792}, {612, 792}, {612, 792}});
        doc.m_pageCount = 3;
        doc.m_printJobSettings.PagesPerSheet = 2;
        RecordingPrintDevice device;
        c.fault(device, doc);
        EXPECT_FALSE(doc.RenderDocToPrinter("P", "t", &device));
        EXPECT_EQ(device.calls, c.expected);
    }
}
