// A document format registered by the tests alone, with a backend that draws its pages: the
// program opens it by its content and by -type, prints it with the program's layout, exports
// it to TIFF and shows it in the preview, with nothing of the program changed for it.
#include <gtest/gtest.h>

#include "tests/gui/PreviewSession.h"
#include "tests/print/PrintingTest.h"
#include "tests/support/DrawnPagesFormat.h"
#include "tests/support/PageRender.h"
#include "tests/support/TiffFrames.h"

using namespace testsupport;

namespace {

using Texts = std::vector<std::string>;

constexpr const char* kProgram = "drawn_format_program";

class RegisteredFormatTest : public PrintingTest {
protected:
    // The program with the drawn format, printing silently to the plain queue.
    ProcessResult PrintDrawn(std::vector<std::string> args, ProcessOptions options = {}) {
        const std::string program = ProgramPath();
        args.insert(args.begin(), {program.substr(0, program.rfind('/') + 1) + kProgram, "-silent",
                                   "-usePreviewApp=never", "-logLevel=4"});
        args.push_back(s_stack->queue);
        options.setEnv["CUPS_SERVER"] = s_stack->cupsServer;
        options.setEnv["TMPDIR"] = tmp.Path();
        return RunProcess(args, options);
    }
    std::string Settings(const std::string& json) {
        const std::string path = work.File("settings-" + std::to_string(++m_settings) + ".json");
        WriteFile(path, json);
        return "-settings=" + path;
    }
    const std::string document = DrawnPagesDocument({{612, 792}, {612, 792}, {792, 612}});

private:
    int m_settings = 0;
};

TEST_F(RegisteredFormatTest, KnownByContentPrintedWithTheProgramsLayoutAndExportedToTiff) {
    const std::string doc = work.File("three.drawn");
    WriteFile(doc, document);
    const std::string tiff = work.File("three.tif");
    const ProcessResult r = PrintDrawn({Settings(R"({"PagesPerSheet": 2, "bReversePages": true,
                                 "PrintJobTitle": "drawn-by-content"})"),
                                        "-keepImages", "-imagePath=" + tiff, doc});
    ASSERT_EQ(r.exitCode, 0) << r.out << r.err;
    EXPECT_TRUE(Has(r.out, "File can be handled by the drawn page manager")) << r.out;
    EXPECT_TRUE(Has(r.out, "Document type: DRAWN")) << r.out;
    // Two to a side, last page first: the program's sheet plan, as for any PDF.
    EXPECT_EQ(PageTexts(Received("drawn-by-content").documentPath),
              (Texts{"Drawn page 3 Drawn page 2", "Drawn page 1"}));

    const std::vector<TiffFrame> frames = ReadTiffFrames(tiff);
    ASSERT_EQ(frames.size(), 3u);
    EXPECT_EQ(frames[0].width, 2550u);  // 8.5 inches at 300 dpi
    EXPECT_EQ(frames[2].width, 3300u);
    EXPECT_FLOAT_EQ(frames[0].xDpi, 300.0f);
    // The frame is drawn, not left blank: the page's blue frame runs through its middle row.
    const TiffFrame& first = frames[0];
    const size_t row = first.height / 2 * first.width * 3;
    const size_t frameColumn = 150 * 3;  // half an inch in, at 300 dpi
    EXPECT_LT(first.rgb[row + frameColumn], 100);
    EXPECT_GT(first.rgb[row + frameColumn + 2], 100);
}

TEST_F(RegisteredFormatTest, AskedForByTypeOnStandardInputAndNamedInTheHelp) {
    ProcessOptions options;
    options.stdinData = document;
    const ProcessResult r = PrintDrawn(
        {Settings(R"({"PrintJobTitle": "drawn-by-type"})"), "-type=Drawn", "-"}, options);
    ASSERT_EQ(r.exitCode, 0) << r.out << r.err;
    EXPECT_TRUE(Has(r.out, "Using drawn page manager")) << r.out;
    EXPECT_TRUE(Has(r.out, "_Data.drawn")) << "the capture is named by its format";
    EXPECT_EQ(PageTexts(Received("drawn-by-type").documentPath),
              (Texts{"Drawn page 1", "Drawn page 2", "Drawn page 3"}));

    // Standard input without a class, and the usage, list the format beside the built-in ones.
    const ProcessResult refused = PrintDrawn({"-"}, options);
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_TRUE(Has(refused.err, "  -t drawn   (for drawn test pages)\n")) << refused.err;
    const ProcessResult help = PrintDrawn({"-help"});
    EXPECT_TRUE(Has(help.err, "Document type (Drawn, Pdfium, WinDataPdf, Xps)")) << help.err;
}

TEST_F(RegisteredFormatTest, ShownInThePreviewAndPrintedFromIt) {
    PreviewSession session;
    const std::string doc = session.Work().File("three.drawn");
    WriteFile(doc, document);
    const std::string settings = session.Work().File("settings.json");
    WriteFile(settings, R"({"PrintJobTitle": "drawn-from-preview"})");
    session.UseProgram(kProgram);
    session.SetEnv("CUPS_SERVER", s_stack->cupsServer);
    ASSERT_TRUE(session.Open({"-interactive", "-settings=" + settings, doc, s_stack->queue}))
        << session.Log();
    ASSERT_TRUE(session.WaitForStatus("Page 1 of 3")) << session.LatestStatus();
    session.ClickButton("Next");
    ASSERT_TRUE(session.WaitForStatus("Page 2 of 3")) << session.LatestStatus();
    EXPECT_TRUE(session.X().WaitForStillScreen());
    session.X().Screenshot("preview-drawn-format");
    session.OpenPrintDialog();
    session.PressDialogPrint();
    ASSERT_TRUE(session.WaitForLog("Print callback returned, success=true")) << session.Log();
    EXPECT_EQ(PageTexts(Received("drawn-from-preview").documentPath),
              (Texts{"Drawn page 1", "Drawn page 2", "Drawn page 3"}));
    EXPECT_EQ(session.CloseAndWait(), 0);
}

}  // namespace
