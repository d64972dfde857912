// The preview as a user meets it: the real program on an X server, driven by real pointer,
// wheel and key events, checked through what its status bar shows, with screenshots kept.
#include <gtest/gtest.h>

#include <thread>

#include "tests/gui/PreviewSession.h"
#include "tests/support/PdfFixtures.h"

using namespace testsupport;

namespace {

void Pause(int ms) {
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

// Step by step from where the pointer is, with the button held down.
void Drag(PreviewSession& s, int x, int y, int dx, int dy, int steps) {
    s.X().MoveTo(s.Window(), x, y);
    s.X().ButtonDown();
    for (int step = 1; step <= steps; ++step) {
        s.X().MoveTo(s.Window(), x + dx * step, y + dy * step);
        Pause(50);
    }
    s.X().ButtonUp();
}

TEST(PreviewWindowTest, ToolbarStripKeysWheelAndTypedZoomDriveThePage) {
    PreviewSession s;
    const std::string doc = s.Work().File("three.pdf");
    MakePdf(doc, {kLetter, kLetter, kLetter});
    ASSERT_TRUE(s.Open({"-interactive", doc})) << s.Log();
    ASSERT_TRUE(s.WaitForLog("Loaded 3 thumbnails"));
    ASSERT_TRUE(s.WaitForStatus("Page 1 of 3"));
    const std::string fitted = s.LatestStatus().substr(s.LatestStatus().find("Zoom: "));
    EXPECT_NE(fitted, "Zoom: 100%");  // a Letter page at 300 DPI does not fit unscaled

    // Toolbar: the last page stays the last.
    for (const auto& [button, page] :
         std::vector<std::pair<const char*, const char*>>{{"Next", "Page 2 of 3"},
                                                          {"Next", "Page 3 of 3"},
                                                          {"Next", "Page 3 of 3"},
                                                          {"Previous", "Page 2 of 3"}}) {
        s.ClickButton(button);
        EXPECT_TRUE(s.WaitForStatus(page, fitted)) << button << ": " << s.LatestStatus();
    }
    s.ClickButton("Zoom In");
    ASSERT_TRUE(s.WaitForLog("Zoom in: "));
    EXPECT_NE(s.LatestStatus(), "Page 2 of 3 | " + fitted);
    s.ClickButton("Zoom Out");
    s.ClickButton("Fit Window");
    EXPECT_TRUE(s.WaitForStatus("Page 2 of 3", fitted)) << s.LatestStatus();

    // The third picture of the strip: below two Letter thumbnails with their labels. A click
    // in the gap above the first picture goes nowhere.
    Box strip = s.Part("thumbnails");
    s.Click(strip, -strip.height / 2 + 15 + 2 * (207 + 45) + 100);
    EXPECT_TRUE(s.WaitForStatus("Page 3 of 3", fitted));
    s.Click(strip, -strip.height / 2 + 5);

    // Keys go to the pane under the pointer.
    Box view = s.Part("view");
    s.X().MoveTo(s.Window(), view.CentreX(), view.CentreY());
    Pause(200);
    for (const auto& [key, page] :
         std::vector<std::pair<const char*, const char*>>{{"Home", "Page 1 of 3"},
                                                          {"Next", "Page 2 of 3"},
                                                          {"Next", "Page 3 of 3"},
                                                          {"Prior", "Page 2 of 3"},
                                                          {"End", "Page 3 of 3"},
                                                          {"Prior", "Page 2 of 3"}}) {
        s.X().Key(key);
        EXPECT_TRUE(s.WaitForStatus(page, fitted)) << key << ": " << s.LatestStatus();
    }
    s.X().Key("0");
    EXPECT_TRUE(s.WaitForStatus("Page 2 of 3", "Zoom: 100%"));
    // At 100% the page overflows the view: the wheel and arrows scroll it, rather than turn
    // it; plus, minus and Ctrl+wheel zoom.
    s.Click(view, 0, 5);
    EXPECT_TRUE(s.WaitForLog("Scrolled by 60 pixels, new Y pos=60"));
    s.X().Key("Down");
    EXPECT_TRUE(s.WaitForLog("Scroll pos=0,80"));
    s.X().Key("plus");
    EXPECT_TRUE(s.WaitForStatus("Page 2 of 3", "Zoom: 125%"));
    s.X().Key("minus");
    EXPECT_TRUE(s.WaitForStatus("Page 2 of 3", "Zoom: 100%"));

    // A zoom typed into the status bar: taken, refused out of range, or dropped by Escape.
    Box zoom = s.Part("zoom part");
    for (const auto& [typed, end] : std::vector<std::pair<const char*, const char*>>{
             {"150", "Return"}, {"151", "Return"}, {"50", "Escape"}}) {
        s.Click(zoom);
        ASSERT_TRUE(s.WaitForLog("Showing zoom edit control"));
        s.X().Type(typed);
        s.X().Key(end);
        EXPECT_TRUE(s.WaitForStatus("Page 2 of 3", "Zoom: 150%")) << typed;
        EXPECT_TRUE(std::string(typed) != "151" || s.WaitForLog("Zoom value out of range"));
    }
    s.ClickButton("Next");
    EXPECT_TRUE(s.WaitForStatus("Page 3 of 3", "Zoom: 150%")) << s.LatestStatus();
    s.X().Screenshot("preview-zoom-150");
    EXPECT_EQ(s.CloseAndWait(), 0);
    EXPECT_TRUE(s.WaitForLog("User cancelled"));
}

TEST(PreviewWindowTest, DragsPanThePageAndScrollTheStripWhoseKeysStepThePages) {
    PreviewSession s;
    const std::string doc = s.Work().File("eight.pdf");
    MakePdf(doc, std::vector<FixturePage>(8, kLetter));
    ASSERT_TRUE(s.Open({"-interactive", doc})) << s.Log();
    ASSERT_TRUE(s.WaitForLog("Loaded 8 thumbnails"));

    // At 100% the page overflows the view; dragging it up and left pans it by as much.
    Box view = s.Part("view");
    s.X().MoveTo(s.Window(), view.CentreX(), view.CentreY());
    Pause(200);
    s.X().Key("0");
    ASSERT_TRUE(s.WaitForStatus("Page 1 of 8", "Zoom: 100%"));
    Drag(s, view.CentreX(), view.CentreY(), -20, -30, 5);
    EXPECT_TRUE(s.WaitForLog("Dragging - delta=100,150, scroll=100,150"));

    // The strip follows a drag of 200 pixels up and the page stays; then the picture of
    // page 3 stands where page 2's stood.
    Box strip = s.Part("thumbnails");
    const int pageTwoY = strip.y + 15 + (207 + 45) + 100;
    Drag(s, strip.CentreX(), pageTwoY, 0, -50, 4);
    Pause(300);
    EXPECT_EQ(s.LatestStatus(), "Page 1 of 8 | Zoom: 100%");
    s.X().Click(s.Window(), strip.CentreX(), pageTwoY);
    EXPECT_TRUE(s.WaitForStatus("Page 3 of 8"));

    // With the pointer over the strip, its keys step through the pages and stop at the ends.
    for (const auto& [key, page] :
         std::vector<std::pair<const char*, const char*>>{{"Down", "Page 4 of 8"},
                                                          {"End", "Page 8 of 8"},
                                                          {"Down", "Page 8 of 8"},
                                                          {"Home", "Page 1 of 8"},
                                                          {"Up", "Page 1 of 8"},
                                                          {"Down", "Page 2 of 8"}}) {
        s.X().Key(key);
        EXPECT_TRUE(s.WaitForStatus(page, "Zoom: 100%")) << key << ": " << s.LatestStatus();
    }
    EXPECT_EQ(s.CloseAndWait(), 0);
}

TEST(PreviewWindowTest, EmbeddedPreviewSettingOrStandardInputOpensTheWindow) {
    ScratchDir work;
    const std::string embedded = work.File("embedded.pdf");
    MakePdfWithSettings(embedded, {kLetterLandscape, kLetter}, R"({"bShowPreview": true})");
    const std::string piped = work.File("piped.pdf");
    MakePdf(piped, {kLetter, kLetter, kLetter});
    struct Case {
        std::vector<std::string> args;
        std::string stdinFile;
        std::string status;
    };
    for (const Case& c :
         std::vector<Case>{{{embedded}, "", "Page 1 of 2"},
                           {{"-type=pdfium", "-interactive", "-"}, piped, "Page 1 of 3"}}) {
        PreviewSession s;
        ASSERT_TRUE(s.Open(c.args, c.stdinFile)) << s.Log();
        EXPECT_TRUE(s.WaitForStatus(c.status)) << s.LatestStatus();
        EXPECT_TRUE(s.WaitForLog("Painted " + c.status.substr(10) + " thumbnails"));
        for (int i = 0; i < 200 && s.Log().find("Painted page 1 at") == std::string::npos; ++i)
            Pause(50);
        s.X().Screenshot("preview-" + c.status.substr(c.status.size() - 1) + "-pages");
        EXPECT_EQ(s.CloseAndWait(), 0);
    }
}

TEST(PreviewWindowTest, WithoutDisplayTheRunFailsWithItsNotice) {
    ScratchDir work;
    MakePdf(work.File("doc.pdf"), {kLetter});
    ProcessResult r =
        RunProcess({ProgramPath(), "-usePreviewApp=never", "-interactive", work.File("doc.pdf")});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(r.err.starts_with("[NvrPrintHelper Error]")) << r.err;
}

// A notice with a display is a dialog a person answers; the program waits for it.
TEST(PreviewWindowTest, ErrorDialogWaitsForThePersonAndTheRunFails) {
    XvfbDisplay display;
    ASSERT_FALSE(display.Name().empty());
    XClient x(display.Name());
    ScratchDir tmp;
    const int pid = StartProcess({ProgramPath(), "-bogusOption", "doc.pdf"},
                                 WindowProgramOptions(display.Name(), tmp.Path()));
    std::optional<unsigned long> notice =
        x.WaitForWindow("NvrPrintHelper Error", std::chrono::seconds(20));
    ASSERT_TRUE(notice);
    Pause(500);  // its first paint
    x.Screenshot("notice-error");
    x.Focus(*notice);
    x.Key("Return");
    EXPECT_EQ(WaitForProcess(pid), 1);
}

}  // namespace
