// The XPS backend: recognising packages, opening them in every stored form, the mapping of
// page numbers over sub-documents, page sizes, rendered pixels, refusal of hostile packages,
// and the print path as a device sees it.
#include <gtest/gtest.h>

#include <mutex>
#include <regex>

#include "DocFilePageMgr/DocFilePageMgrLib/PageMgrXps.h"
#include "DocFilePageMgr/DocFilePageMgrLib/XpsPageSizes.h"
#include "tests/support/LoadedDocument.h"
#include "tests/support/PageRender.h"
#include "tests/support/RecordingPrintDevice.h"
#include "tests/support/TestSupport.h"
#include "tests/support/XpsFixtures.h"

using namespace docmgr;
using namespace testsupport;

namespace {

using LoadedXps = LoadedDocument<PageMgrXps>;

struct Rgb {
    int r, g, b;
};

Rgb PixelAt(const Bitmap& bitmap, int x, int y) {
    const uint8_t* p = bitmap.Bits() + y * bitmap.Stride() + x * 4;
    return Rgb{p[2], p[1], p[0]};
}

using Sizes = std::vector<std::pair<double, double>>;

class XpsBackendTest : public ::testing::Test {
protected:
    std::string Package(const std::string& name,
                        const std::vector<std::vector<XpsPageSize>>& documents,
                        const XpsOptions& options = {}) {
        const std::string path = dir.File(name);
        MakeXps(path, documents, options);
        return path;
    }
    std::string Bytes(const std::string& name, const std::string& bytes) {
        const std::string path = dir.File(name);
        WriteFile(path, bytes);
        return path;
    }
    ScratchDir dir;
};

TEST_F(XpsBackendTest, RecognisesPackagesByTheirFirstBytesOrTheirDirectory) {
    for (const auto& [what, options] : PackagesWithLateMarkers()) {
        const std::string path = Package("late.xps", {{kXpsLetter}}, options);
        const std::string head = ReadFile(path).substr(0, 512);
        for (const char* marker : {"_rels/.rels", "FixedDocument", "application/"}) {
            ASSERT_EQ(head.find(marker), std::string::npos) << what << " names " << marker;
        }
        EXPECT_TRUE(PageMgrXps::CanHandleFile(path)) << what;
    }
    EXPECT_TRUE(PageMgrXps::CanHandleFile(Package("doc.xps", {{kXpsLetter}})));
    EXPECT_TRUE(PageMgrXps::CanHandleFile(Package("doc.oxps", {{kXpsLetter}}, {.openXps = true})));
    // Any ZIP that names a marker early passes; the load decides.
    EXPECT_TRUE(PageMgrXps::CanHandleFile(Bytes("early.zip", MakeZip({{"_rels/.rels", "x"}}))));

    const std::string office = MakeZip({{"docProps/app.xml", Noise(4096)},
                                        {"[Content_Types].xml", "<Types/>"},
                                        {"_rels/.rels", "<Relationships/>"},
                                        {"word/document.xml", "<document/>"}});
    EXPECT_FALSE(PageMgrXps::CanHandleFile(Bytes("office.docx", office)));
    EXPECT_FALSE(PageMgrXps::CanHandleFile(Bytes("plain.zip", MakeZip({{"a.txt", Noise(600)}}))));
    EXPECT_FALSE(PageMgrXps::CanHandleFile(Bytes("short", "PK\x03")));
    EXPECT_FALSE(PageMgrXps::CanHandleFile(Bytes("doc.pdf", "%PDF-1.7 _rels/.rels")));
    EXPECT_FALSE(PageMgrXps::CanHandleFile(dir.File("missing.xps")));
}

TEST_F(XpsBackendTest, SubDocumentsFormOneRunOfPagesInOrder) {
    const Sizes expected = {{612, 792}, {792, 612}, {612, 792}, {792, 612}, {450, 300}};
    LoadedXps doc(Package("two.xps", {{kXpsLetter, kXpsLetterLandscape, kXpsLetter},
                                      {kXpsLetterLandscape, {600, 400}}}));
    ASSERT_TRUE(doc.ok);
    EXPECT_EQ(doc.manager.m_pageCount, 5u);
    EXPECT_EQ(doc.PageSizes(), expected);
    const std::vector<DocMgrEventType> kinds = {
        LoadDocumentStart, NewPageAvailable, NewPageAvailable,    NewPageAvailable,
        NewPageAvailable,  NewPageAvailable, LoadDocumentComplete};
    EXPECT_EQ(doc.kinds, kinds);

    // Each global page comes from its own sub-document's page, as the job's document shows.
    const std::string pdf = dir.File("two.pdf");
    ASSERT_TRUE(doc.manager.WriteJobPdf(pdf));
    EXPECT_EQ(PageTexts(pdf),
              (std::vector<std::string>{"Page 1", "Page 2", "Page 3", "Page 4", "Page 5"}));
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(PageSize(pdf, i), expected[static_cast<size_t>(i)]) << "page " << i + 1;
    }

    // Out of range sizes fall back to Letter.
    double width = 0;
    double height = 0;
    EXPECT_FALSE(doc.manager.GetPageSizePoints(6, &width, &height));
    EXPECT_TRUE(doc.manager.GetPageSizePoints(5, &width, &height));
    EXPECT_EQ(std::make_pair(width, height), expected[4]);
}

TEST_F(XpsBackendTest, APageIsMeasuredFromItselfAndDrawnAtThatSizeEverywhere) {
    // The fixed document declares Letter for pages of another size: the pages' own size rules
    // the page events, the images and the job, at one scale on both axes.
    constexpr XpsPageSize kTall{800, 1120};
    LoadedXps doc(Package("tall.xps", {{kTall, kTall}}, {.declaredSize = kXpsLetter}));
    ASSERT_TRUE(doc.ok);
    EXPECT_EQ(doc.PageSizes(), (Sizes{{600, 840}, {600, 840}}));
    doc.manager.SetTargetParams(Screen, {1.0, 96, 96});
    std::shared_ptr<PageImage> image = doc.manager.GetPageImage(1, Screen);
    ASSERT_TRUE(image);
    EXPECT_EQ(std::make_pair(image->bitmap->Width(), image->bitmap->Height()),
              std::make_pair(800, 1120));
    const std::string pdf = dir.File("tall.pdf");
    ASSERT_TRUE(doc.manager.WriteJobPdf(pdf));
    EXPECT_EQ(PageSize(pdf, 1), (std::pair<double, double>{600, 840}));
    EXPECT_TRUE(DarkAt(pdf, 1, 108, 108));

    // Pages that name no size use the declared one, and Letter where neither does.
    std::vector<ZipEntry> parts = XpsParts({{kXpsLetterLandscape, kXpsLetterLandscape}});
    for (ZipEntry& entry : parts) {
        if (entry.name.ends_with(".fdoc")) {
            entry.data =
                std::regex_replace(entry.data, std::regex(R"( Width="\d+" Height="\d+")"), "");
        }
        if (entry.name.ends_with("2.fpage")) {
            entry.data = std::regex_replace(entry.data, std::regex(R"( Width="\d+")"), "");
        }
    }
    LoadedXps unmeasured(Bytes("unmeasured.xps", MakeZip(parts)));
    ASSERT_TRUE(unmeasured.ok);
    EXPECT_EQ(unmeasured.PageSizes(), (Sizes{{792, 612}, {612, 792}}));
}

TEST_F(XpsBackendTest, PageSizesAreReadFromThePartsThatReferencesNameAbsoluteOrRelative) {
    std::vector<ZipEntry> parts = XpsParts({{kXpsLetter, {600, 400}}, {kXpsLetterLandscape}});
    for (ZipEntry& entry : parts) {
        const bool document = entry.name.ends_with(".fdoc");
        entry.data = std::regex_replace(
            entry.data, std::regex(document ? R"(Source="/Documents/\d+/)" : R"(Source="/)"),
            document ? R"(Source="./)" : R"(Source="x/../)");
    }
    const std::string path = Bytes("relative.xps", MakeZip(parts));
    const auto extents = ReadXpsPageExtents(path);
    ASSERT_TRUE(extents);
    std::vector<Sizes> read;
    for (const std::vector<XpsPageExtent>& document : *extents) {
        Sizes& sizes = read.emplace_back();
        for (const XpsPageExtent& page : document) {
            sizes.emplace_back(page.width, page.height);
        }
    }
    EXPECT_EQ(read, (std::vector<Sizes>{{{816, 1056}, {600, 400}}, {{1056, 816}}}));
    LoadedXps doc(path);
    ASSERT_TRUE(doc.ok);
    EXPECT_EQ(doc.PageSizes(), (Sizes{{612, 792}, {450, 300}, {792, 612}}));
}

TEST_F(XpsBackendTest, RenderedPagesShowPathsAndGlyphsOnWhitePaper) {
    LoadedXps doc(Package("pixels.xps", {{kXpsLetter, kXpsLetterLandscape}}));
    ASSERT_TRUE(doc.ok);
    doc.manager.SetTargetParams(Screen, {1.0, 96, 96});
    std::shared_ptr<PageImage> page = doc.manager.GetPageImage(1, Screen);
    ASSERT_TRUE(page);
    const Bitmap& bitmap = *page->bitmap;
    ASSERT_EQ(std::make_pair(bitmap.Width(), bitmap.Height()), std::make_pair(816, 1056));
    const Rgb paper = PixelAt(bitmap, 600, 150);
    EXPECT_EQ(paper.r + paper.g + paper.b, 3 * 255) << "the page is white";
    const Rgb square = PixelAt(bitmap, 144, 144);
    EXPECT_EQ(square.r + square.g + square.b, 0) << "filled path";
    const Rgb frame = PixelAt(bitmap, 80, 144);
    EXPECT_GT(frame.r, 200);
    EXPECT_LT(frame.g + frame.b, 60) << "stroked path";
    int inked = 0;
    for (int y = 980; y < 1018; ++y) {
        for (int x = 96; x < 300; ++x) {
            const Rgb ink = PixelAt(bitmap, x, y);
            inked += ink.r + ink.g + ink.b < 100 ? 1 : 0;
        }
    }
    EXPECT_GT(inked, 500) << "glyphs drawn from the embedded font";

    // DPI and scale act alike; a landscape page keeps its shape.
    doc.manager.SetTargetParams(Printer, {0.5, 600, 600});
    std::shared_ptr<PageImage> scaled = doc.manager.GetPageImage(2, Printer);
    ASSERT_TRUE(scaled);
    EXPECT_EQ(std::make_pair(scaled->bitmap->Width(), scaled->bitmap->Height()),
              std::make_pair(3300, 2550));
    const Rgb scaledSquare = PixelAt(*scaled->bitmap, 450, 450);
    EXPECT_EQ(scaledSquare.r + scaledSquare.g + scaledSquare.b, 0);
}

TEST_F(XpsBackendTest, StoredFormsAndOpenXpsOpenAlike) {
    const std::vector<std::vector<XpsPageSize>> pages = {{kXpsLetter, kXpsLetterLandscape}};
    const std::vector<std::pair<std::string, XpsOptions>> forms = {
        {"open.oxps", {.openXps = true}},
        {"pieces.xps", {.interleaved = true}},
        {"descriptors.xps", {.dataDescriptors = true}},
        {"both.oxps", {.openXps = true, .interleaved = true, .dataDescriptors = true}},
    };
    for (const auto& [name, options] : forms) {
        LoadedXps doc(Package(name, pages, options));
        ASSERT_TRUE(doc.ok) << name;
        EXPECT_EQ(doc.PageSizes(), (Sizes{{612, 792}, {792, 612}})) << name;
        const std::string pdf = dir.File(name + ".pdf");
        ASSERT_TRUE(doc.manager.WriteJobPdf(pdf)) << name;
        EXPECT_EQ(PageTexts(pdf), (std::vector<std::string>{"Page 1", "Page 2"})) << name;
        EXPECT_TRUE(DarkAt(pdf, 0, 108, 108)) << name;
    }
}

TEST_F(XpsBackendTest, HostileOrBrokenPackagesFailTheLoad) {
    std::vector<ZipEntry> parts = XpsParts({{kXpsLetter}});
    const std::string whole = MakeZip(parts);

    std::vector<ZipEntry> bomb = parts;
    bomb.push_back({"Resources/zeros.bin", std::string(size_t{64} << 20, '\0')});
    std::vector<ZipEntry> liar = parts;
    liar.push_back({"Resources/liar.bin", std::string(size_t{8} << 20, '\0'), true, false, 1000});
    std::vector<ZipEntry> crowd = parts;
    for (int i = 0; i < 10001; ++i) {
        crowd.push_back({"Resources/" + std::to_string(i), "", false});
    }
    std::vector<ZipEntry> noSequence = parts;
    std::erase_if(noSequence, [](const ZipEntry& e) { return e.name.ends_with(".fdseq"); });
    // One page part named 10001 times: too many pages, refused before any is read.
    std::vector<ZipEntry> manyPages = parts;
    for (ZipEntry& entry : manyPages) {
        if (entry.name.ends_with(".fdoc")) {
            entry.data = R"(<FixedDocument xmlns="http://schemas.microsoft.com/xps/2005/06">)";
            for (int i = 0; i < 10001; ++i) {
                entry.data += R"(<PageContent Source="/Documents/1/Pages/1.fpage"/>)";
            }
            entry.data += "</FixedDocument>";
        }
    }
    std::vector<ZipEntry> missingPiece = XpsParts({{kXpsLetter}}, {.interleaved = true});
    std::erase_if(missingPiece, [](const ZipEntry& e) { return e.name.ends_with("[1].piece"); });

    const std::vector<std::pair<std::string, std::string>> cases = {
        {"not a zip", "%PDF-1.4 not a package at all"},
        {"a zip that is not xps", MakeZip({{"_rels/.rels", "<Relationships/>"}, {"a.txt", "x"}})},
        {"truncated", whole.substr(0, whole.size() / 2)},
        {"zip bomb", MakeZip(bomb)},
        {"entry larger than declared", MakeZip(liar)},
        {"too many entries", MakeZip(crowd)},
        {"no document sequence", MakeZip(noSequence)},
        {"missing piece", MakeZip(missingPiece)},
        {"too many pages", MakeZip(manyPages)},
        {"oversized page", MakeZip(XpsParts({{{30000, 1056}}}))},
        {"empty", ""},
    };
    for (const auto& [what, bytes] : cases) {
        LoadedXps doc(Bytes("hostile.xps", bytes));
        EXPECT_FALSE(doc.ok) << what;
        ASSERT_FALSE(doc.events.empty()) << what;
        const auto* error = std::get_if<DocumentLoadErrorData>(&doc.events.back());
        ASSERT_NE(error, nullptr) << what;
        EXPECT_EQ(error->errorMessage, "Failed to load document") << what;
        EXPECT_TRUE(std::filesystem::is_empty(doc.scratch.Path())) << what << ": copy left behind";
    }
}

TEST_F(XpsBackendTest, PagesBeyondTheBitmapLimitAreRefusedBeforeDrawing) {
    LoadedXps doc(Package("wide.xps", {{{15000, 96}}}));
    ASSERT_TRUE(doc.ok);
    doc.manager.SetTargetParams(Screen, {1.0, 96, 96});
    EXPECT_TRUE(doc.manager.GetPageImage(1, Screen));
    doc.manager.SetTargetParams(Thumbnail, {1.0, 300, 300});
    EXPECT_FALSE(doc.manager.GetPageImage(1, Thumbnail)) << "46875 pixels wide";
}

TEST_F(XpsBackendTest, DeeplyNestedMarkupIsDrawnWithoutExhaustingTheStack) {
    std::vector<ZipEntry> parts = XpsParts({{kXpsLetter}});
    // Deep enough to overflow the stack of any parser that recursed per element, and small
    // enough (under 1 MiB) that the compression-ratio rule leaves the part alone.
    constexpr int kDepth = 50000;
    for (ZipEntry& entry : parts) {
        if (entry.name.ends_with("1.fpage")) {
            std::string nested;
            for (int i = 0; i < kDepth; ++i) {
                nested += "<Canvas>";
            }
            nested += R"(<Path Data="M 0,0 L 48,0 L 48,48 Z" Fill="#FF000000"/>)";
            for (int i = 0; i < kDepth; ++i) {
                nested += "</Canvas>";
            }
            entry.data.insert(entry.data.rfind("</FixedPage>"), nested);
        }
    }
    LoadedXps doc(Bytes("deep.xps", MakeZip(parts)));
    ASSERT_TRUE(doc.ok);
    doc.manager.SetTargetParams(Screen, {1.0, 96, 96});
    std::shared_ptr<PageImage> page = doc.manager.GetPageImage(1, Screen);
    ASSERT_TRUE(page);
    const Rgb corner = PixelAt(*page->bitmap, 40, 4);
    EXPECT_EQ(corner.r + corner.g + corner.b, 0) << "the innermost path is drawn";
}

// Elements the library cannot draw (a colour it cannot read, a transform, a missing font)
// are skipped, each on its own, and what comes after them on the page is drawn and printed;
// a page that cannot be drawn at all fails the print, which names it.
TEST_F(XpsBackendTest, ABadElementCostsOnlyItselfAndAPageWithNothingToDrawFailsThePrint) {
    // Page 1 carries three faults among good elements; page 2 is left unclosed.
    auto packageWith = [](bool unclosedSecondPage) {
        std::vector<ZipEntry> parts = XpsParts({{kXpsLetter, kXpsLetter}});
        for (ZipEntry& entry : parts) {
            if (entry.name.ends_with("1.fpage")) {
                entry.data.insert(entry.data.find("<Glyphs"), R"(
  <Path Data="M 300,300 L 400,300 L 400,400 Z" Fill="no colour"/>
  <Canvas RenderTransform="1,0,0,x,0,0"><Path Data="M 0,0 L 9,9" Stroke="#FF000000"/></Canvas>
  <Glyphs OriginX="96" OriginY="600" FontRenderingEmSize="48" FontUri="/Resources/gone.ttf"
          UnicodeString="Lost" Fill="#FF000000"/>
  )");
            } else if (unclosedSecondPage && entry.name.ends_with("2.fpage")) {
                entry.data.erase(entry.data.rfind("</FixedPage>"));
            }
        }
        return MakeZip(parts);
    };
    LoadedXps doc(Bytes("faults.xps", packageWith(false)));
    ASSERT_TRUE(doc.ok);
    doc.manager.SetTargetParams(Screen, {1.0, 96, 96});
    LogCapture log;
    std::shared_ptr<PageImage> page = doc.manager.GetPageImage(1, Screen);
    ASSERT_TRUE(page) << log.Text();
    for (const char* skipped :
         {"Skipped Path on page 1", "Skipped Canvas on page 1", "Skipped Glyphs on page 1"}) {
        EXPECT_TRUE(log.Contains(skipped)) << log.Text();
    }
    const Rgb square = PixelAt(*page->bitmap, 144, 144);
    EXPECT_EQ(square.r + square.g + square.b, 0) << "what comes before the faults";
    int inked = 0;
    for (int y = 980; y < 1018; ++y) {
        for (int x = 96; x < 300; ++x) {
            const Rgb ink = PixelAt(*page->bitmap, x, y);
            inked += ink.r + ink.g + ink.b < 100 ? 1 : 0;
        }
    }
    EXPECT_GT(inked, 500) << "what comes after them";
    // The print has every page whole and once.
    const std::string pdf = dir.File("faults.pdf");
    ASSERT_TRUE(doc.manager.WriteJobPdf(pdf));
    EXPECT_EQ(PageTexts(pdf), (std::vector<std::string>{"Page 1", "Page 2"}));

    LoadedXps unclosed(Bytes("unclosed.xps", packageWith(true)));
    ASSERT_TRUE(unclosed.ok);
    EXPECT_FALSE(unclosed.manager.GetPageImage(2, Screen));
    RecordingPrintDevice device;
    EXPECT_FALSE(unclosed.manager.RenderDocToPrinter("Office", "job", &device));
    EXPECT_TRUE(log.Contains("Failed to get page 2")) << log.Text();
}

TEST_F(XpsBackendTest, EveryPageIsPrintedOnASheetOfItsOwnSizeWhateverTheProgramsLayout) {
    auto doc = std::make_unique<LoadedXps>(
        Package("print.xps", {{kXpsLetter, kXpsLetterLandscape}, {kXpsLetter}}));
    ASSERT_TRUE(doc->ok);
    RecordingPrintDevice device;
    doc->manager.m_printJobSettings.PagesPerSheet = 2;
    doc->manager.m_printJobSettings.bReversePages = true;
    doc->manager.m_printJobSettings.dmCopies = 3;
    device.statuses = {{PrintJobStatus::Pending, 0},
                       {PrintJobStatus::Processing, 1},
                       {PrintJobStatus::Completed, 3}};
    // The progress window counts the pages as they are drawn, once each.
    std::vector<std::pair<uint64_t, uint64_t>> progress;
    LogCapture log;
    const bool printed = doc->manager.RenderDocToPrinter(
        "Office", "job", &device,
        [&progress](uint64_t done, uint64_t total) { progress.emplace_back(done, total); });
    ASSERT_TRUE(printed);
    EXPECT_EQ(progress, (std::vector<std::pair<uint64_t, uint64_t>>{{1, 3}, {2, 3}, {3, 3}}));
    EXPECT_EQ(device.calls,
              (std::vector<std::string>{
                  "StartDoc job", "StartPage 612x792", "Place 1 on the whole sheet", "EndPage",
                  "StartPage 792x612", "Place 2 on the whole sheet", "EndPage", "StartPage 612x792",
                  "Place 3 on the whole sheet", "EndPage", "EndDoc"}));
    EXPECT_TRUE(
        log.Contains("the job's paper, two-sided, colour, resolution, paper source, "
                     "media type and stapling go to Office as job options"));
    EXPECT_TRUE(log.Contains("Successfully completed XPS print job to: Office"));
}

}  // namespace
