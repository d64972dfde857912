// The preview as a user meets it: the real program on an X server, driven by real pointer,
// wheel and key events, checked through what its status bar shows, with screenshots kept.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include "tests/gui/PreviewSession.h"
#include "tests/support/PdfFixtures.h"

using namespace testsupport;

namespace {

// Clicks each toolbar button, or presses each key, and waits for the page it leads to.
void Steps(PreviewSession& s, bool buttons, const std::vector<std::pair<const char*, int>>& steps,
           const std::string& zoom) {
    for (const auto& [input, page] : steps) {
        buttons ? s.ClickButton(input) : s.X().Key(input);
        EXPECT_TRUE(s.WaitForStatus("Page " + std::to_string(page) + " of 3", zoom))
            << input << " to page " << page << ": " << s.LatestStatus();
    }
}

TEST(PreviewWindowTest, ToolbarStripKeysWheelDragsAndTypedZoomDriveThePage) {
    PreviewSession s;
    const std::string doc = s.Work().File("three.pdf");
    MakePdf(doc, {kLetter, kLetter, kLetter});
    ASSERT_TRUE(s.Open({"-interactive", doc})) << s.Log();
    ASSERT_TRUE(s.WaitForLog("Loaded 3 thumbnails"));
    ASSERT_TRUE(s.WaitForStatus("Page 1 of 3"));
    const std::string fitted = s.LatestStatus().substr(s.LatestStatus().find("Zoom: "));
    EXPECT_NE(fitted, "Zoom: 100%");  // a Letter page at 300 DPI does not fit unscaled

    // Toolbar: the last page stays the last; zoom steps away from the fit and back.
    Steps(s, true, {{"Next", 2}, {"Next", 3}, {"Next", 3}, {"Previous", 2}}, fitted);
    s.ClickButton("Zoom In");
    ASSERT_TRUE(s.WaitForLog("Zoom in: "));
    EXPECT_TRUE(WaitUntil([&] { return s.LatestStatus().find(fitted) == std::string::npos; },
                          std::chrono::seconds(10)))
        << "the zoom stayed at the fit: " << s.LatestStatus();
    s.ClickButton("Zoom Out");
    s.ClickButton("Fit Window");
    EXPECT_TRUE(s.WaitForStatus("Page 2 of 3", fitted)) << s.LatestStatus();

    // The third picture of the strip: below two Letter thumbnails with their labels. A click
    // in the gap above the first picture goes nowhere. With the pointer over the strip, its
    // keys step through the pages and stop at the ends.
    Box strip = s.Part("thumbnails");
    s.Click(strip, -strip.height / 2 + 15 + 2 * (207 + 45) + 100);
    EXPECT_TRUE(s.WaitForStatus("Page 3 of 3", fitted));
    s.Click(strip, -strip.height / 2 + 5);
    Steps(s, false, {{"Home", 1}, {"Up", 1}, {"Down", 2}, {"End", 3}, {"Down", 3}}, fitted);

    // Keys go to the pane under the pointer.
    Box view = s.Part("view");
    s.X().MoveTo(s.Window(), view.CentreX(), view.CentreY());
    ASSERT_TRUE(s.WaitForLog("Keys go to the page view")) << s.Log();
    Steps(s, false, {{"Home", 1}, {"Next", 2}, {"Next", 3}, {"Prior", 2}, {"End", 3}, {"Prior", 2}},
          fitted);
    s.X().Key("0");
    EXPECT_TRUE(s.WaitForStatus("Page 2 of 3", "Zoom: 100%"));
    // At 100% the page overflows the view: a drag up and left pans it by as much, the wheel
    // and arrows scroll it rather than turn it; plus and minus zoom.
    // A press the server hands on while the window is still settling from the zoom can miss
    // the view; a person would press again, and so does the test until the drag has begun.
    bool started = false;
    for (int attempt = 0; attempt < 3 && !started; ++attempt) {
        s.X().Button(true);
        started = s.WaitForLog("Started drag at", std::chrono::seconds(3));
        if (!started) {
            s.X().Button(false);
        }
    }
    ASSERT_TRUE(started) << s.Log();
    for (int step = 1; step <= 5; ++step) {
        const int dx = 20 * step;
        const int dy = 30 * step;
        s.X().MoveTo(s.Window(), view.CentreX() - dx, view.CentreY() - dy);
        ASSERT_TRUE(
            s.WaitForLog(fmt::format("Dragging - delta={},{}, scroll={},{}", dx, dy, dx, dy)))
            << s.Log();
    }
    s.X().Button(false);
    s.Click(view, 0, 5);
    EXPECT_TRUE(s.WaitForLog("Scrolled by 60 pixels, new Y pos=210"));
    s.X().Key("Down");
    EXPECT_TRUE(s.WaitForLog("Scroll pos=100,230"));
    s.X().Key("plus");
    EXPECT_TRUE(s.WaitForStatus("Page 2 of 3", "Zoom: 125%"));
    s.X().Key("minus");
    EXPECT_TRUE(s.WaitForStatus("Page 2 of 3", "Zoom: 100%"));

    // A zoom typed into the status bar: taken, refused out of range, or dropped by Escape.
    Box zoom = s.Part("zoom part");
    for (const auto& [typed, end] : std::vector<std::pair<std::string, const char*>>{
             {"150", "Return"}, {"151", "Return"}, {"50", "Escape"}}) {
        s.Click(zoom);
        ASSERT_TRUE(s.WaitForLog("Showing zoom edit control"));
        s.X().Type(typed);
        s.X().Key(end);
        EXPECT_TRUE(s.WaitForStatus("Page 2 of 3", "Zoom: 150%")) << typed;
        EXPECT_TRUE(typed != "151" || s.WaitForLog("Zoom value out of range"));
    }
    s.ClickButton("Next");
    EXPECT_TRUE(s.WaitForStatus("Page 3 of 3", "Zoom: 150%")) << s.LatestStatus();
    s.X().Screenshot("preview-zoom-150");
    EXPECT_EQ(s.CloseAndWait(), 0);
    EXPECT_TRUE(s.WaitForLog("User cancelled"));
}

// A long document as it opens: the keys work before the pointer comes to the window, wait for
// pages still drawn, the toolbar never takes them, and the strip has its whole length while
// it still fills.
TEST(PreviewWindowTest, KeysWorkAtOnceAndTheStripReachesItsEndWhileFilling) {
    PreviewSession s;
    const std::string doc = s.Work().File("long.pdf");
    MakePdf(doc, std::vector<FixturePage>(350, kLetter));
    ASSERT_TRUE(s.Open({"-interactive", doc})) << s.Log();
    // The pointer is away in the screen's corner, as after starting the program from a menu.
    // End goes to the last page and scrolls the strip to its last picture, which lies below
    // 349 Letter pictures with their labels, whether or not they are drawn yet.
    s.X().MoveTo(s.Window(), -s.Part("view").x + 5 - 400, -400);
    s.X().Key("End");
    EXPECT_TRUE(s.WaitForStatus("Page 350 of 350")) << s.LatestStatus();
    EXPECT_TRUE(s.WaitForLog("Scrolled to page 350 at y=" + std::to_string(15 + 349 * (207 + 45))))
        << s.Log().substr(s.Log().rfind("Scrolled to page"), 80);
    s.X().Screenshot("preview-strip-end");
    // Arrows pressed while a page is still drawn wait for it, then each steps on.
    for (int up = 0; up < 3; ++up)
        s.X().Key("Up");
    EXPECT_TRUE(s.WaitForStatus("Page 347 of 350")) << s.LatestStatus();
    EXPECT_TRUE(s.WaitForLog("Page 347 loaded successfully")) << s.LatestStatus();
    s.X().Key("Home");
    s.X().Key("Next");
    EXPECT_TRUE(s.WaitForStatus("Page 2 of 350")) << s.LatestStatus();
    // A button clicked keeps no keys: Space and Enter do not press it again.
    s.ClickButton("Next");
    ASSERT_TRUE(s.WaitForStatus("Page 3 of 350"));
    for (const char* key : {"space", "Return", "Prior"})
        s.X().Key(key);
    EXPECT_TRUE(s.WaitForStatus("Page 2 of 350")) << s.LatestStatus();
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
        WaitUntil([&] { return s.Log().find("Painted page 1 at") != std::string::npos; },
                  std::chrono::seconds(10));
        s.X().Screenshot("preview-" + c.status.substr(c.status.size() - 1) + "-pages");
        EXPECT_EQ(s.CloseAndWait(), 0);
    }
}

// A print from the preview whose settings the printer refuses ends with the program's error
// notice, shown by the main loop over a preview that goes on answering.
TEST(PreviewWindowTest, RefusedPrintSettingsEndWithANoticeOverAnAnsweringPreview) {
    PreviewSession s;
    s.UseProgram("refusing_printer_program");
    s.SetEnv("HOME", s.Work().Path());
    s.SetEnv("CUPS_SERVER", "127.0.0.1:1");  // no queues: the dialog offers Print to File
    const std::string doc = s.Work().File("three.pdf");
    MakePdfWithSettings(doc, {kLetter, kLetter, kLetter}, R"({"dmCopies": 2})");
    ASSERT_TRUE(s.Open({"-interactive", doc, "Refusing"})) << s.Log();
    s.OpenPrintDialog(false);
    s.PrintToFileInDialog();
    std::optional<unsigned long> notice =
        s.X().WaitForWindow("NvrPrintHelper Error", std::chrono::seconds(60));
    ASSERT_TRUE(notice) << s.Log();
    EXPECT_TRUE(s.WaitForLog("Print callback returned, success=false")) << s.Log();
    s.ClickButton("Next");
    EXPECT_TRUE(s.WaitForStatus("Page 2 of 3")) << s.LatestStatus();
    EXPECT_TRUE(s.X().WaitForStillScreen());
    s.X().Screenshot("notice-over-preview");
    s.X().Focus(*notice);
    s.X().Key("Return");
    EXPECT_EQ(s.CloseAndWait(), 0);
}

// A notice with a display is a dialog a person answers; the program waits for it.
TEST(PreviewWindowTest, ErrorDialogWaitsForThePersonAndTheRunFails) {
    XSession x;
    ASSERT_TRUE(x.Connected());
    ScratchDir tmp;
    const int pid = StartProcess({ProgramPath(), "-bogusOption", "doc.pdf"},
                                 WindowProgramOptions(x.Name(), tmp.Path()));
    std::optional<unsigned long> notice =
        x.WaitForWindow("NvrPrintHelper Error", std::chrono::seconds(20));
    ASSERT_TRUE(notice);
    EXPECT_TRUE(x.WaitForStillScreen());  // its first paint
    x.Screenshot("notice-error");
    x.Focus(*notice);
    x.Key("Return");
    EXPECT_EQ(WaitForProcess(pid), 1);
}

}  // namespace
