// The preview's arithmetic with the numbers a user sees: window size, status texts, zoom,
// scrolling and the thumbnail strip's layout and hit testing.
#include <gtest/gtest.h>

#include "NvrPrintHelper/preview/PreviewGeometry.h"
#include "NvrPrintHelper/preview/ThumbnailLayout.h"
#include "NvrPrintHelper/preview/ZoomMath.h"

using namespace nvrprint::preview;

namespace {

constexpr Size kScreen{1920, 1200};

TEST(PreviewFrameSize, PageThumbnailsAndScreenDecideTheSize) {
    // A Letter page needs 816x1056 at 96 DPI: its height plus margins is cut to 90 percent.
    FrameSize letter = FrameSizeForPage(std::make_pair(612.0, 792.0), kScreen);
    EXPECT_EQ(letter.client, (Size{1076, 1080}));
    EXPECT_TRUE(letter.heightLimited);
    EXPECT_FALSE(letter.widthLimited);

    // Landscape: short thumbnails, so the page's own height decides.
    FrameSize landscape = FrameSizeForPage(std::make_pair(792.0, 612.0), kScreen);
    EXPECT_EQ(landscape.client, (Size{1316, 816 + 40 + 90}));

    // A tall narrow strip: four of its thumbnails with labels need more than the page.
    FrameSize strip = FrameSizeForPage(std::make_pair(100.0, 400.0), Size{4000, 4000});
    int32_t thumbH = 533 * 130 / 133;
    EXPECT_EQ(strip.client, (Size{133 + 260, thumbH * 4 + 195 + 90}));

    // Wider than the screen allows.
    FrameSize banner = FrameSizeForPage(std::make_pair(2000.0, 300.0), kScreen);
    EXPECT_EQ(banner.client.width, 1728);
    EXPECT_TRUE(banner.widthLimited);
}

TEST(PreviewFrameSize, NoPageSizeTakesEightyPercentCentred) {
    FrameSize frame = FrameSizeForPage(std::nullopt, Size{1001, 801});
    EXPECT_EQ(frame.client, (Size{800, 640}));
    EXPECT_EQ(CentredOrigin(frame.client, Size{1001, 801}), std::make_pair(100, 80));
    EXPECT_EQ(CentredOrigin(Size{2000, 900}, Size{1000, 800}), std::make_pair(0, 0));
}

TEST(PreviewStatus, TextsTruncateTheZoomAndPartsKeepRoomForThem) {
    EXPECT_EQ(PageStatusText(2, 352), "Page 2 of 352");
    EXPECT_EQ(ZoomStatusText(0.2415), "Zoom: 24%");
    EXPECT_EQ(ZoomStatusText(1.5), "Zoom: 150%");
    EXPECT_EQ(ZoomFieldText(0.999), "99");

    StatusParts parts = StatusPartEdges(800, 90, 80);
    EXPECT_EQ(parts.documentRight, 800 - 115 - 130);
    EXPECT_EQ(parts.pageRight, 800 - 130);
    EXPECT_EQ(parts.zoomRight, -1);
    // A narrow bar still leaves the document's name its 50 pixels.
    EXPECT_EQ(StatusPartEdges(200, 90, 80).documentRight, 50);
}

TEST(PreviewZoom, StepsStopAtTheLimitsAndCarryTheScroll) {
    ZoomState in = ZoomIn({1.25, {100, 41}});
    EXPECT_DOUBLE_EQ(in.zoom, 1.5);  // not 1.5625
    EXPECT_EQ(in.scroll, (Scroll{125, 51}));
    EXPECT_DOUBLE_EQ(ZoomIn(in).zoom, 1.5);

    ZoomState out = ZoomOut({0.11, {100, 41}});
    EXPECT_DOUBLE_EQ(out.zoom, 0.1);
    EXPECT_EQ(out.scroll, (Scroll{80, 32}));
}

TEST(PreviewZoom, FitLeavesTheMarginWithinTheLimits) {
    // 2550x3300 into 874x837: the height decides, less the 20 pixel margin.
    EXPECT_DOUBLE_EQ(*FitZoom({2550, 3300}, {874, 837}), 817.0 / 3300);
    EXPECT_DOUBLE_EQ(*FitZoom({100, 100}, {1000, 1000}), kZoomMax);
    EXPECT_DOUBLE_EQ(*FitZoom({100000, 100}, {500, 500}), kZoomMin);
    EXPECT_FALSE(FitZoom({100, 100}, {20, 500}));
    EXPECT_FALSE(FitZoom({100, 100}, {500, 15}));
}

TEST(PreviewZoom, TypedZoomReadsLeadingDigitsOnly) {
    EXPECT_EQ(ParseTypedZoom("150"), 150);
    EXPECT_EQ(ParseTypedZoom("151"), 151);  // the caller refuses it
    EXPECT_EQ(ParseTypedZoom("  75%"), 75);
    EXPECT_EQ(ParseTypedZoom("12abc"), 12);
    EXPECT_FALSE(ParseTypedZoom(""));
    EXPECT_FALSE(ParseTypedZoom("abc"));
    EXPECT_FALSE(ParseTypedZoom("99999999999"));
}

TEST(PreviewScroll, PagesThatFitAreCentredAndOthersFollowTheScroll) {
    Size client{800, 600};
    EXPECT_EQ(ImageOrigin({600, 1000}, client, {0, 50}), std::make_pair(100, -50));
    EXPECT_EQ(ImageOrigin({1000, 400}, client, {30, 999}), std::make_pair(-30, 100));
    EXPECT_EQ(ClampScroll({-5, 900}, {1000, 1000}, client), (Scroll{0, 400}));
    // A bar that went away leaves nothing to scroll.
    EXPECT_EQ(ClampScroll({40, 40}, {700, 500}, client), (Scroll{0, 0}));
}

TEST(PreviewScroll, CommandsAndWheelMoveWithinTheLimit) {
    EXPECT_EQ(ScrollTo(ScrollCommand::LineDown, 0, 0, 600, 400), 20);
    EXPECT_EQ(ScrollTo(ScrollCommand::LineUp, 10, 0, 600, 400), 0);
    EXPECT_EQ(ScrollTo(ScrollCommand::PageDown, 0, 0, 600, 400), 400);
    EXPECT_EQ(ScrollTo(ScrollCommand::PageUp, 400, 0, 300, 400), 100);
    EXPECT_EQ(ScrollTo(ScrollCommand::Track, 0, 250, 600, 400), 250);
    EXPECT_EQ(ScrollTo(ScrollCommand::Bottom, 0, 0, 600, 400), 400);
    EXPECT_EQ(ScrollTo(ScrollCommand::Top, 300, 0, 600, 400), 0);
    EXPECT_EQ(ScrollTo(ScrollCommand::LineDown, 0, 0, 600, -50), 0);

    EXPECT_EQ(WheelScrollChange(-120, kWheelStepPerNotch), 60);  // towards the user: down
    EXPECT_EQ(WheelScrollChange(240, kThumbWheelStepPerNotch), -180);
    EXPECT_EQ(WheelScrollChange(100, kWheelStepPerNotch), 0);  // part of a notch
}

// Letter thumbnails as the strip gets them: 163x211 at 96 DPI and a fifth of the size.
constexpr Size kLetterThumb{163, 211};
constexpr int32_t kLetterDrawHeight = 211 * 160 / 163;

TEST(ThumbnailStrip, ColumnOfPicturesWithLabelBands) {
    ThumbnailLayout layout({kLetterThumb, kLetterThumb, kLetterThumb}, 218);
    ASSERT_EQ(layout.Slots().size(), 3u);
    EXPECT_EQ(layout.Slots()[0].top, 15);
    EXPECT_EQ(layout.Slots()[0].width, 160);
    EXPECT_EQ(layout.Slots()[0].height, kLetterDrawHeight);
    EXPECT_EQ(layout.Slots()[0].x, (188 - 160) / 2 + 15);
    EXPECT_EQ(layout.TopOfEntry(2), 15 + 2 * (kLetterDrawHeight + 45));
    EXPECT_EQ(layout.ContentHeight(), 15 + 3 * (kLetterDrawHeight + 45));
    EXPECT_EQ(layout.TopOfEntry(7), 0);
}

TEST(ThumbnailStrip, HitsCoverPictureAndLabelNotTheGaps) {
    ThumbnailLayout layout({kLetterThumb, kLetterThumb, kLetterThumb}, 218);
    EXPECT_EQ(layout.PageAt(5, 0), 0u);  // above the first picture
    EXPECT_EQ(layout.PageAt(15, 0), 1u);
    EXPECT_EQ(layout.PageAt(15 + kLetterDrawHeight + 30, 0), 1u);  // the label's last row
    EXPECT_EQ(layout.PageAt(15 + kLetterDrawHeight + 31, 0), 0u);  // the gap
    EXPECT_EQ(layout.PageAt(15 + kLetterDrawHeight + 45, 0), 2u);
    // Scrolled by one entry, the top of the panel shows page 2.
    EXPECT_EQ(layout.PageAt(0, 15 + kLetterDrawHeight + 45), 2u);
}

TEST(ThumbnailStrip, PageWithoutPictureTakesNoRoom) {
    ThumbnailLayout layout({kLetterThumb, kLetterThumb, std::nullopt, kLetterThumb}, 218);
    ASSERT_EQ(layout.Slots().size(), 3u);
    EXPECT_EQ(layout.Slots()[2].page, 4u);
    EXPECT_EQ(layout.PageAt(15 + 2 * (kLetterDrawHeight + 45) + 10, 0), 4u);
}

TEST(ThumbnailStrip, WidePanelKeepsTheWidthAndCentres) {
    ThumbnailLayout layout({kLetterThumb}, 400);
    EXPECT_EQ(layout.Slots()[0].width, 160);
    EXPECT_EQ(layout.Slots()[0].x, (370 - 160) / 2 + 15);
    ThumbnailLayout narrow({kLetterThumb}, 100);
    EXPECT_EQ(narrow.Slots()[0].width, 70);
    EXPECT_EQ(narrow.Slots()[0].x, 15);
}

TEST(ThumbnailStrip, ScrollingToAPagePutsItsTopMidPanel) {
    std::vector<std::optional<Size>> pages(10, kLetterThumb);
    ThumbnailLayout layout(pages, 218);
    int32_t entry = kLetterDrawHeight + 45;
    EXPECT_EQ(layout.ScrollForPage(1, 800), 0);
    EXPECT_EQ(layout.ScrollForPage(5, 800), 15 + 4 * entry - 400);
    EXPECT_EQ(layout.ScrollForPage(10, 800), layout.ContentHeight() - 800);
    // A short strip never scrolls.
    ThumbnailLayout one({kLetterThumb}, 218);
    EXPECT_EQ(one.ScrollForPage(1, 800), 0);
    EXPECT_EQ(one.MaxScroll(800), 0);
}

TEST(ThumbnailStrip, ClickNeedsTheSamePlaceAndNoDrag) {
    EXPECT_TRUE(IsClick(10, 10, 14, 6, false));
    EXPECT_FALSE(IsClick(10, 10, 16, 10, false));  // six pixels sideways
    EXPECT_FALSE(IsClick(10, 10, 10, 10, true));
}

}  // namespace
