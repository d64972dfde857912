// The preview's arithmetic where a user would see it go wrong: zoom that leaves its limits, a
// typed zoom misread, a click on the thumbnail strip that opens the wrong page, and sheets
// counted wrong.
#include <gtest/gtest.h>

#include <functional>

#include "DocFilePageMgr/DocFilePageMgrLib/SheetPlan.h"
#include "NvrPrintHelper/preview/PreviewModel.h"
#include "NvrPrintHelper/preview/ThumbnailLayout.h"
#include "NvrPrintHelper/preview/ZoomMath.h"

using namespace nvrprint::preview;

TEST(PreviewZoom, StepsAndFitStayWithinTheLimitsAndTypedZoomReadsLeadingDigits) {
    EXPECT_DOUBLE_EQ(ZoomIn({1.25, {100, 41}}).zoom, 1.5);
    EXPECT_DOUBLE_EQ(ZoomIn({1.5, {100, 41}}).zoom, 1.5);
    EXPECT_DOUBLE_EQ(ZoomOut({0.11, {100, 41}}).zoom, 0.1);
    // 2550x3300 into 874x837: the height decides, less the 20 pixel margin.
    EXPECT_DOUBLE_EQ(*FitZoom({2550, 3300}, {874, 837}), 817.0 / 3300);
    EXPECT_DOUBLE_EQ(*FitZoom({100, 100}, {1000, 1000}), kZoomMax);
    EXPECT_DOUBLE_EQ(*FitZoom({100000, 100}, {500, 500}), kZoomMin);
    EXPECT_FALSE(FitZoom({100, 100}, {20, 500}));
    const std::vector<std::pair<std::string, std::optional<int>>> typed = {
        {"150", 150},       {"  75%", 75},         {"12abc", 12},
        {"", std::nullopt}, {"abc", std::nullopt}, {"99999999999", std::nullopt}};
    for (const auto& [text, zoom] : typed)
        EXPECT_EQ(ParseTypedZoom(text), zoom) << text;
}

// Every view hears each change once, and only a real one: a step past either end, a page out
// of range or the page already on show change nothing.
TEST(PreviewModel, StepsStopAtTheEndsAndEachChangeIsAnnouncedOnce) {
    PreviewModel model;
    model.SetPageCount(3);
    std::vector<unsigned> heard;
    model.Observe([&heard](unsigned changes) { heard.push_back(changes); });
    const struct {
        std::function<bool()> act;
        bool changed;
        uint64_t page;
    } steps[] = {
        {[&] { return model.Step(PageStep::Previous); }, false, 1},
        {[&] { return model.Step(PageStep::Next); }, true, 2},
        {[&] { return model.Step(PageStep::Last); }, true, 3},
        {[&] { return model.Step(PageStep::Next); }, false, 3},
        {[&] { return model.GoTo(4); }, false, 3},
        {[&] { return model.GoTo(0); }, false, 3},
        {[&] { return model.GoTo(3); }, false, 3},
        {[&] { return model.ShowPage(1); }, true, 1},
    };
    for (const auto& step : steps) {
        heard.clear();
        EXPECT_EQ(step.act(), step.changed);
        EXPECT_EQ(model.Current(), step.page);
        EXPECT_EQ(heard, step.changed ? std::vector<unsigned>{kPageChanged | kScrollChanged}
                                      : std::vector<unsigned>{});
    }
    heard.clear();
    model.SetZoom({0.5, {10, 20}});
    model.SetZoom({0.5, {10, 20}});
    model.SetScroll({10, 20});
    EXPECT_EQ(heard, std::vector<unsigned>{kZoomChanged | kScrollChanged});
    // A fit asked for before the picture is taken once, when the picture comes.
    model.AskFit();
    EXPECT_TRUE(model.TakeFitRequest());
    EXPECT_FALSE(model.TakeFitRequest());
    // The scroll stays within the page at its zoom: none where the page fits the view.
    EXPECT_EQ(ClampScroll({500, -5}, {1000, 2000}, {800, 600}), (Scroll{200, 0}));
    EXPECT_EQ(ClampScroll({50, 50}, {400, 300}, {800, 600}), (Scroll{0, 0}));
}

TEST(ThumbnailStrip, ClicksFindTheirPageAndGapsNone) {
    // Letter thumbnails at a fifth of 96 DPI, drawn 160 wide; page 3 has no picture yet.
    constexpr Size kThumb{163, 211};
    constexpr int32_t kEntry = 211 * 160 / 163 + 45;
    ThumbnailLayout layout({kThumb, kThumb, std::nullopt, kThumb}, 218);
    const std::vector<std::tuple<int32_t, int32_t, uint64_t>> hits = {
        {5, 0, 0},                    // above the first picture
        {15, 0, 1},                   // its top row
        {15 + kEntry - 15, 0, 1},     // the label's last row
        {15 + kEntry - 14, 0, 0},     // the gap
        {15 + kEntry, 0, 2},          // the next picture
        {0, 15 + kEntry, 2},          // scrolled by one entry
        {15 + 2 * kEntry + 10, 0, 4}  // a page without a picture takes no room
    };
    for (const auto& [y, scroll, page] : hits)
        EXPECT_EQ(layout.PageAt(y, scroll), page) << y << " " << scroll;
    EXPECT_TRUE(IsClick(10, 10, 14, 6, false));
    EXPECT_FALSE(IsClick(10, 10, 16, 10, false));
    EXPECT_FALSE(IsClick(10, 10, 10, 10, true));
}

// The sheets view counts paper: a 14-page job, 2-up, two-sided, two copies comes out on four
// sheets a copy, the last back blank; the strip marks the pages of the side on show.
TEST(SheetsView, CountsSheetsOfPaperAndMarksThePagesOfTheSideOnShow) {
    nvrprint::PrintJobSettings job;
    job.PagesPerSheet = 2;
    job.dmDuplex = 2;
    job.dmCopies = 2;
    SheetSides sides;
    sides.twoSided = true;
    for (const docmgr::PhysicalPage& side : docmgr::SidesOfOneCopy(job, 14, true)) {
        std::vector<uint64_t>& pages = sides.pages.emplace_back();
        for (uint64_t index : side.logicalPages)
            pages.push_back(index + 1);
    }
    PreviewModel model;
    model.SetPageCount(14);
    model.SetSheetSides(sides);
    model.ShowSheets(true);
    ASSERT_EQ(model.Count(), 8u);
    const struct {
        uint64_t side;
        const char* status;
        std::vector<uint64_t> marked;
    } steps[] = {
        {1, "Sheet 1 of 4, front", {1, 2}},    {2, "Sheet 1 of 4, back", {3, 4}},
        {3, "Sheet 2 of 4, front", {5, 6}},    {7, "Sheet 4 of 4, front", {13, 14}},
        {8, "Sheet 4 of 4, back (blank)", {}},
    };
    for (const auto& step : steps) {
        model.GoTo(step.side);
        EXPECT_EQ(SheetStatusText(model.Sides(), model.Current()), step.status);
        std::vector<uint64_t> marked;
        for (uint64_t page = 1; page <= 14; ++page)
            if (model.IsOnShow(page))
                marked.push_back(page);
        EXPECT_EQ(marked, step.marked) << step.status;
    }
    EXPECT_EQ(model.SideOfPage(14), 7u);
    EXPECT_EQ(model.SideOfPage(15), 0u);
    // Back to the pages: the first page of the last side with pages.
    model.ShowSheets(false);
    EXPECT_EQ(model.Current(), 13u);
    // A page picked in the strip shows the side that carries it.
    model.ShowSheets(true);
    EXPECT_TRUE(model.ShowPage(6));
    EXPECT_EQ(model.Current(), 3u);
    // One-sided paper counts sides as sheets.
    sides.twoSided = false;
    sides.pages.pop_back();
    EXPECT_EQ(SheetStatusText(sides, 2), "Sheet 2 of 7");
}
