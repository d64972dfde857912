// The sheet view against the paper: each side of one copy, drawn by the preview's picture,
// shows its pages where the job's PDF puts them, as the print path writes it.
#include <cairo.h>
#include <gtest/gtest.h>
#include <poppler.h>

#include "DocFilePageMgr/DocFilePageMgrLib/PageMgrPdfium.h"
#include "NvrPrintHelper/preview/SheetPicture.h"
#include "SystemServices/JobPdf/PdfSheetWriter.h"
#include "tests/support/LoadedDocument.h"
#include "tests/support/PdfFixtures.h"

using namespace testsupport;
using namespace nvrprint::platform;

namespace {

// The job's PDF made as the print device makes it, into a string.
class JobPdfDevice final : public docmgr::PrintDevice {
public:
    explicit JobPdfDevice(const SheetGeometry& sheet) : m_sheet(sheet) {}
    int GetDeviceCaps(int index) const override { return SheetDeviceCaps(m_sheet, index); }
    nvrprint::Result<int> StartDoc(const std::string&) override { return 1; }
    nvrprint::Status StartPage() override {
        return StartPageOfSize(m_sheet.widthPoints, m_sheet.heightPoints);
    }
    nvrprint::Status StartPageOfSize(double width, double height) override {
        m_writer.BeginSheet(m_width = width, m_height = height);
        return {};
    }
    nvrprint::Status EndPage() override { return m_writer.EndSheet(); }
    nvrprint::Status EndDoc() override { return m_writer.Finish(); }
    nvrprint::Status AbortDoc() override { return {}; }
    nvrprint::Status PlacePage(const docmgr::VectorPage& page,
                               const docmgr::PageCell& cell) override {
        return PlaceInCell(m_writer, m_sheet, m_width, m_height, page, cell);
    }
    nvrprint::Status FollowJob(int) override { return nvrprint::SystemFailure(ENOSYS); }
    std::string bytes;
    SheetGeometry m_sheet;
    double m_width = 0, m_height = 0;
    PdfSheetWriter m_writer{[this](const unsigned char* data, size_t size) {
        bytes.append(reinterpret_cast<const char*>(data), size);
        return true;
    }};
};

// A sheet of the job's PDF rendered as printed, width by height pixels.
docmgr::BitmapPtr PaperSide(PopplerDocument* job, int index, int width, int height, double scale) {
    docmgr::BitmapPtr paper = docmgr::Bitmap::Create(width, height);
    paper->Fill(255, 255, 255);
    cairo_surface_mark_dirty(paper->Surface());
    cairo_t* cr = cairo_create(paper->Surface());
    cairo_scale(cr, scale, scale);
    PopplerPage* page = poppler_document_get_page(job, index);
    poppler_page_render_for_printing(page, cr);
    g_object_unref(page);
    cairo_destroy(cr);
    cairo_surface_flush(paper->Surface());
    return paper;
}

bool DarkAt(const docmgr::Bitmap& bitmap, int pixel) {
    const uint8_t* bgr = bitmap.Bits() + 4 * pixel;
    return bgr[0] < 128 && bgr[1] < 128 && bgr[2] < 128;
}

}  // namespace

TEST(PrintedSheets, EachSideOfTheSheetViewShowsItsPagesWhereThePaperHasThem) {
    // Pages per side, reverse, copies, landscape, scale in percent.
    const std::tuple<int32_t, bool, int16_t, bool, int> cases[] = {
        {2, true, 2, true, 90},     // one copy: 5,4 | 3,2 | 1 | -
        {4, false, 1, false, 100},  // 1,2,3,4 | 5
        {1, false, 1, false, 80},   // 1 | 2 | 3 | 4 | 5 at natural size, from the corner
    };
    constexpr double kPixelsPerPoint = 1.5;
    ScratchDir dir;
    MakeMarkedPdf(dir.File("marked.pdf"), 5);
    LoadedDocument<docmgr::PageMgrPdfium> doc(dir.File("marked.pdf"));
    ASSERT_TRUE(doc.ok);
    doc.manager.SetTargetParams(docmgr::Screen, {1.0, 150, 150});
    const nvrprint::preview::SheetPageFor pageFor = [&](uint64_t index) {
        nvrprint::preview::SheetPage page{doc.manager.GetPageImage(index + 1, docmgr::Screen)};
        doc.manager.GetPageSizePoints(index + 1, &page.widthPoints, &page.heightPoints);
        return page;
    };
    for (const auto& [perSheet, reverse, copies, landscape, scalePercent] : cases) {
        docmgr::PageMgrPdfium& manager = doc.manager;
        manager.m_printJobSettings.PagesPerSheet = perSheet;
        manager.m_printJobSettings.bReversePages = reverse;
        manager.m_printJobSettings.dmCopies = copies;
        manager.m_printJobSettings.dmCollate = 1;
        manager.m_printJobSettings.dmDuplex = 2;
        // Letter with a quarter inch around and half an inch at the top, at 300 DPI.
        nvrprint::preview::SideLayout layout{
            MakeSheetGeometry({"na_letter_8.5x11in", 21590, 27940, 635, 635, 1270, 635}, landscape,
                              300, 300),
            perSheet, docmgr::SideFitFor(manager.m_printJobSettings, manager.LaysOutSheets())};
        layout.sheet.scale = scalePercent / 100.0;
        JobPdfDevice device(layout.sheet);
        ASSERT_TRUE(manager.RenderDocToPrinter("P", "t", &device));
        GBytes* bytes = g_bytes_new(device.bytes.data(), device.bytes.size());
        PopplerDocument* job = poppler_document_new_from_bytes(bytes, nullptr, nullptr);
        ASSERT_NE(job, nullptr);

        const std::vector<docmgr::PhysicalPage> sides =
            docmgr::SidesOfOneCopy(manager.m_printJobSettings, 5, true);
        for (size_t k = 0; k < sides.size(); ++k) {
            docmgr::BitmapPtr picture =
                nvrprint::preview::DrawSheetSide(layout, sides[k], kPixelsPerPoint, pageFor);
            ASSERT_TRUE(picture);
            docmgr::BitmapPtr paper = PaperSide(job, static_cast<int>(k), picture->Width(),
                                                picture->Height(), kPixelsPerPoint);
            size_t ink = 0, differ = 0;
            for (int i = 0; i < picture->Width() * picture->Height(); ++i) {
                ink += DarkAt(*paper, i);
                differ += DarkAt(*paper, i) != DarkAt(*picture, i);
            }
            // Each placed square is thousands of pixels; only their edges may differ.
            EXPECT_EQ(ink == 0, sides[k].logicalPages.empty()) << perSheet << "-up"
                                                               << " side " << k;
            EXPECT_LT(differ, 100u) << perSheet << "-up"
                                    << " side " << k << ": " << ink << " dark";
        }
        g_object_unref(job);
        g_bytes_unref(bytes);
    }
}
