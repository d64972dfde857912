// The preview as a user meets it: the real program on an X server, driven by real pointer,
// wheel and key events, checked through its status bar and log, with a screenshot kept.
#include <gtest/gtest.h>

#include <thread>

#include "tests/gui/PreviewSession.h"
#include "tests/support/PdfFixtures.h"

using namespace testsupport;

namespace {

bool Has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

class PreviewWindowTest : public ::testing::Test {
protected:
    void SetUp() override {
        document = session.Work().File("three.pdf");
        MakePdf(document, {kLetter, kLetter, kLetter});
    }
    // The zoom the preview fitted the first page to, as the status bar shows it.
    std::string FittedZoom() {
        std::string status = session.LatestStatus();
        return status.substr(status.find("Zoom: "));
    }
    PreviewSession session;
    std::string document;
};

TEST_F(PreviewWindowTest, ToolbarThumbnailsKeysAndWheelDriveThePage) {
    session.Start({"-usePreviewApp=never", "-interactive"}, document);
    ASSERT_TRUE(session.WaitForWindow()) << session.Log();
    ASSERT_TRUE(session.WaitForLog("Loaded 3 thumbnails"));
    std::string fitted = FittedZoom();
    EXPECT_TRUE(session.WaitForStatus("Page 1 of 3", fitted)) << session.LatestStatus();
    EXPECT_NE(fitted, "Zoom: 100%");  // a Letter page at 300 DPI does not fit unscaled

    session.ClickButton("Next");
    EXPECT_TRUE(session.WaitForStatus("Page 2 of 3", fitted)) << session.LatestStatus();
    session.ClickButton("Next");
    session.ClickButton("Next");  // the last page stays
    EXPECT_TRUE(session.WaitForStatus("Page 3 of 3", fitted)) << session.LatestStatus();
    session.ClickButton("Previous");
    EXPECT_TRUE(session.WaitForStatus("Page 2 of 3", fitted));

    session.ClickButton("Zoom In");
    ASSERT_TRUE(session.WaitForLog("Zoom in: "));
    EXPECT_NE(session.LatestStatus(), "Page 2 of 3 | " + fitted);
    session.ClickButton("Zoom Out");
    ASSERT_TRUE(session.WaitForLog("Zoom out: "));
    session.ClickButton("Fit Window");
    EXPECT_TRUE(session.WaitForStatus("Page 2 of 3", fitted)) << session.LatestStatus();

    // The third picture of the strip: below two Letter thumbnails with their labels.
    Box strip = session.ThumbnailPanel();
    session.X().Click(session.Window(), strip.CentreX(), strip.y + 15 + 2 * (207 + 45) + 100);
    ASSERT_TRUE(session.WaitForLog("Clicked on page 3"));
    EXPECT_TRUE(session.WaitForStatus("Page 3 of 3", fitted));
    // A click in the gap above the first picture goes nowhere.
    session.X().Click(session.Window(), strip.CentreX(), strip.y + 5);

    // Keys go to the pane under the pointer.
    Box view = session.MainView();
    session.X().MoveTo(session.Window(), view.CentreX(), view.CentreY());
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    session.X().Key("Home");
    EXPECT_TRUE(session.WaitForStatus("Page 1 of 3", fitted));
    session.X().Key("End");
    EXPECT_TRUE(session.WaitForStatus("Page 3 of 3", fitted));
    session.X().Key("Prior");
    EXPECT_TRUE(session.WaitForStatus("Page 2 of 3", fitted));
    session.X().Key("0");
    EXPECT_TRUE(session.WaitForStatus("Page 2 of 3", "Zoom: 100%"));

    // At 100% the page overflows the view: the wheel scrolls it, Ctrl+wheel zooms.
    session.X().Click(session.Window(), view.CentreX(), view.CentreY(), 5);
    EXPECT_TRUE(session.WaitForLog("Scrolled by 60 pixels, new Y pos=60"));
    session.X().Key("Down");  // a page taller than the view scrolls rather than turns
    EXPECT_TRUE(session.WaitForLog("Scroll pos=0,80"));
    session.X().Key("plus");
    EXPECT_TRUE(session.WaitForStatus("Page 2 of 3", "Zoom: 125%"));
    session.X().Key("minus");
    EXPECT_TRUE(session.WaitForStatus("Page 2 of 3", "Zoom: 100%"));
    session.X().Click(session.Window(), view.CentreX(), view.CentreY(), 4);
    session.X().Key("Control_L");
    EXPECT_EQ(session.LatestStatus(), "Page 2 of 3 | Zoom: 100%");

    session.Screenshot("preview-page2-100");
    EXPECT_EQ(session.CloseAndWait(), 0);
    std::string log = session.Log();
    EXPECT_TRUE(Has(log, "User closed preview"));
    EXPECT_TRUE(Has(log, "Preview closed with result: 1"));
    EXPECT_TRUE(Has(log, "User cancelled"));
}

TEST_F(PreviewWindowTest, ZoomTypedIntoTheStatusBar) {
    session.Start({"-usePreviewApp=never", "-interactive"}, document);
    ASSERT_TRUE(session.WaitForWindow()) << session.Log();
    std::string fitted = FittedZoom();
    Box zoom = session.ZoomPart();

    session.X().Click(session.Window(), zoom.CentreX(), zoom.CentreY());
    ASSERT_TRUE(session.WaitForLog("Showing zoom edit control"));
    session.X().Type("150");
    session.X().Key("Return");
    EXPECT_TRUE(session.WaitForStatus("Page 1 of 3", "Zoom: 150%")) << session.LatestStatus();

    session.X().Click(session.Window(), zoom.CentreX(), zoom.CentreY());
    ASSERT_TRUE(session.WaitForLog("Showing zoom edit control"));
    session.X().Type("151");
    session.X().Key("Return");
    EXPECT_TRUE(session.WaitForLog("Zoom value out of range: 151"));

    session.X().Click(session.Window(), zoom.CentreX(), zoom.CentreY());
    ASSERT_TRUE(session.WaitForLog("Showing zoom edit control"));
    session.X().Type("50");
    session.X().Key("Escape");
    session.ClickButton("Next");
    EXPECT_TRUE(session.WaitForStatus("Page 2 of 3", "Zoom: 150%")) << session.LatestStatus();
    session.Screenshot("preview-zoom-150");
    EXPECT_EQ(session.CloseAndWait(), 0);
}

TEST_F(PreviewWindowTest, DragsPanThePageAndScrollTheStripWhoseKeysStepThePages) {
    std::string eight = session.Work().File("eight.pdf");
    MakePdf(eight, std::vector<FixturePage>(8, kLetter));
    session.Start({"-usePreviewApp=never", "-interactive"}, eight);
    ASSERT_TRUE(session.WaitForWindow()) << session.Log();
    ASSERT_TRUE(session.WaitForLog("Loaded 8 thumbnails"));

    // At 100% the page overflows the view; dragging it up and left pans it by as much.
    Box view = session.MainView();
    session.X().MoveTo(session.Window(), view.CentreX(), view.CentreY());
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    session.X().Key("0");
    ASSERT_TRUE(session.WaitForStatus("Page 1 of 8", "Zoom: 100%"));
    session.X().ButtonDown();
    for (int step = 1; step <= 5; ++step) {
        session.X().MoveTo(session.Window(), view.CentreX() - 20 * step,
                           view.CentreY() - 30 * step);
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    session.X().ButtonUp();
    EXPECT_TRUE(session.WaitForLog("Dragging - delta=100,150, scroll=100,150"));
    EXPECT_TRUE(session.WaitForLog("Ended drag at"));

    // The strip follows a drag of 200 pixels up; the page stays. Then the picture of page 3
    // stands where page 2's stood.
    Box strip = session.ThumbnailPanel();
    const int pageTwoY = strip.y + 15 + (207 + 45) + 100;
    session.X().MoveTo(session.Window(), strip.CentreX(), pageTwoY);
    session.X().ButtonDown();
    for (int step = 1; step <= 4; ++step) {
        session.X().MoveTo(session.Window(), strip.CentreX(), pageTwoY - 50 * step);
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    session.X().ButtonUp();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_FALSE(Has(session.Log(), "Clicked on page"));
    EXPECT_EQ(session.LatestStatus(), "Page 1 of 8 | Zoom: 100%");
    session.X().Click(session.Window(), strip.CentreX(), pageTwoY);
    EXPECT_TRUE(session.WaitForLog("Clicked on page 3")) << session.Log();

    // With the pointer over the strip, its keys step through the pages and stop at the ends.
    session.X().Key("Down");
    EXPECT_TRUE(session.WaitForStatus("Page 4 of 8", "Zoom: 100%"));
    session.X().Key("End");
    EXPECT_TRUE(session.WaitForStatus("Page 8 of 8", "Zoom: 100%"));
    session.X().Key("Down");
    session.X().Key("Home");
    EXPECT_TRUE(session.WaitForStatus("Page 1 of 8", "Zoom: 100%"));
    session.X().Key("Up");
    session.X().Key("Down");
    EXPECT_TRUE(session.WaitForStatus("Page 2 of 8", "Zoom: 100%"));
    EXPECT_EQ(session.CloseAndWait(), 0);
}

TEST_F(PreviewWindowTest, EmbeddedPreviewSettingOpensTheWindowWithoutAModeFlag) {
    std::string withSettings = session.Work().File("embedded.pdf");
    MakePdfWithSettings(withSettings, {kLetterLandscape, kLetter}, R"({"bShowPreview": true})");
    session.Start({"-usePreviewApp=never"}, withSettings);
    ASSERT_TRUE(session.WaitForWindow()) << session.Log();
    EXPECT_TRUE(session.WaitForLog("Loaded 2 thumbnails"));
    EXPECT_TRUE(session.WaitForLog("Painted 2 thumbnails"));
    EXPECT_TRUE(Has(session.LatestStatus(), "Page 1 of 2"));
    session.Screenshot("preview-landscape");
    EXPECT_EQ(session.CloseAndWait(), 0);
    EXPECT_TRUE(Has(session.Log(), "User cancelled"));
}

TEST_F(PreviewWindowTest, DocumentOnStandardInput) {
    session.Start({"-type=pdfium", "-usePreviewApp=never", "-interactive"}, "-", document);
    ASSERT_TRUE(session.WaitForWindow()) << session.Log();
    EXPECT_TRUE(session.WaitForLog("Loaded 3 thumbnails"));
    EXPECT_EQ(session.CloseAndWait(), 0);
    EXPECT_TRUE(Has(session.Log(), "User cancelled"));
}

TEST(PreviewWithoutDisplay, FailsWithTheNoticeOnStandardError) {
    ScratchDir work;
    std::string doc = work.File("doc.pdf");
    MakePdf(doc, {kLetter});
    ProcessResult r = RunProcess({ProgramPath(), "-usePreviewApp=never", "-interactive", doc});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(Has(r.out, "Failed to create preview window")) << r.out;
    EXPECT_TRUE(Has(r.out, "Preview error occurred"));
    EXPECT_TRUE(Has(r.err, "[NvrPrintHelper Error]")) << r.err;
}

}  // namespace

namespace {

// A notice with a display is a dialog a person answers; the program waits for it.
TEST(NoticeOnDisplay, ErrorDialogWaitsForThePersonAndTheRunFails) {
    XvfbDisplay display;
    ASSERT_FALSE(display.Name().empty());
    XClient x(display.Name());
    ScratchDir tmp;
    int pid = StartProcess({ProgramPath(), "-bogusOption", "doc.pdf"},
                           WindowProgramOptions(display.Name(), tmp.Path()));
    std::optional<unsigned long> notice =
        x.WaitForWindowTitled("NvrPrintHelper Error", std::chrono::seconds(20));
    ASSERT_TRUE(notice);
    std::this_thread::sleep_for(std::chrono::milliseconds(500));  // its first paint
    PreviewSession::ScreenshotOf(x, "notice-error");
    x.Focus(*notice);
    x.Key("Return");
    EXPECT_EQ(WaitForProcess(pid), 1);
}

}  // namespace
