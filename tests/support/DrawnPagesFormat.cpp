#include "tests/support/DrawnPagesFormat.h"

#include <cairo.h>
#include <fmt/format.h>

#include <fstream>
#include <sstream>

#include "DocFilePageMgr/DocFilePageMgrLib/DrawnPagesPdf.h"
#include "DocFilePageMgr/DocFilePageMgrLib/ScratchFile.h"
#include "platform/CairoPtr.h"

namespace testsupport {
namespace {

using docmgr::PageCell;
using docmgr::PrintDevice;
using nvrprint::platform::CairoPtr;

constexpr const char* kMagic = "%NVRDRAWN";

struct PageSize {
    double width = 0.0;
    double height = 0.0;
};

// One page in points: white, a frame half an inch in, and its number.
void DrawPage(cairo_t* cr, size_t index, const PageSize& size) {
    cairo_set_source_rgb(cr, 1, 1, 1);
    cairo_paint(cr);
    cairo_set_source_rgb(cr, 0, 0, 0.6);
    cairo_set_line_width(cr, 6);
    cairo_rectangle(cr, 36, 36, size.width - 72, size.height - 72);
    cairo_stroke(cr);
    cairo_select_font_face(cr, "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_BOLD);
    cairo_set_font_size(cr, 48);
    cairo_move_to(cr, 72, size.height / 2);
    cairo_show_text(cr, fmt::format("Drawn page {}", index + 1).c_str());
}

class DrawnPages final : public docmgr::DocFilePageMgr {
public:
    ~DrawnPages() override { JoinLoadThread(); }

    static bool CanHandleFile(const std::string& path) {
        std::ifstream in(path, std::ios::binary);
        std::string head(std::char_traits<char>::length(kMagic), '\0');
        return in.read(head.data(), static_cast<std::streamsize>(head.size())) && head == kMagic;
    }

protected:
    bool OnLoadDocument(const std::string& path) override {
        std::ifstream in(path);
        std::string line;
        if (!std::getline(in, line) || line != kMagic) {
            return false;
        }
        while (std::getline(in, line)) {
            std::istringstream fields(line);
            PageSize size;
            if (!(fields >> size.width >> size.height) || size.width <= 72 || size.height <= 72) {
                return false;
            }
            m_pages.push_back(size);
        }
        return !m_pages.empty();
    }
    uint64_t OnGetPageCount() override { return m_pages.size(); }
    bool OnGetPageSizePoints(size_t index, double* width, double* height) override {
        if (index >= m_pages.size()) {
            return false;
        }
        *width = m_pages[index].width;
        *height = m_pages[index].height;
        return true;
    }
    docmgr::BitmapPtr OnRenderPageBitmap(size_t index,
                                         const docmgr::TargetParams& params) override {
        const PageSize& size = m_pages.at(index);
        docmgr::BitmapPtr bitmap =
            docmgr::Bitmap::Create(docmgr::PixelsForPoints(size.width, params.scale, params.dpiX),
                                   docmgr::PixelsForPoints(size.height, params.scale, params.dpiY));
        if (bitmap) {
            CairoPtr cr(cairo_create(bitmap->Surface()));
            cairo_scale(cr.get(), bitmap->Width() / size.width, bitmap->Height() / size.height);
            DrawPage(cr.get(), index, size);
            cairo_surface_flush(bitmap->Surface());
        }
        return bitmap;
    }
    // The pages are drawn into a PDF of their own, whose pages the print then places.
    bool OnPrintStarting(const std::string&, const std::string&, PrintDevice*) override {
        auto jobPdf = docmgr::ScratchFile::Create(ScratchDirectory(), "drawn", "pdf");
        if (!jobPdf) {
            return false;
        }
        m_jobPdf = std::move(jobPdf).value();
        return docmgr::WriteDrawnPagesPdf(
            m_jobPdf->Path(), m_pages.size(),
            [this](size_t index) {
                return docmgr::DrawnPage{m_pages[index].width, m_pages[index].height};
            },
            [this](size_t index, cairo_t* cr) {
                DrawPage(cr, index, m_pages[index]);
                return true;
            });
    }
    bool OnPlacePage(PrintDevice* device, size_t index, const PageCell& cell) override {
        return m_jobPdf && device->PlacePage(docmgr::VectorPage{m_jobPdf->Path(), index}, cell);
    }
    void OnPrintEnded() override { m_jobPdf.reset(); }

private:
    std::vector<PageSize> m_pages;
    std::unique_ptr<docmgr::ScratchFile> m_jobPdf;
};

}  // namespace

docmgr::DocumentFormat DrawnPagesFormat() {
    docmgr::DocumentFormat format;
    format.type = {7, "DRAWN"};
    format.canHandleFile = &DrawnPages::CanHandleFile;
    format.handledLine = "File can be handled by the drawn page manager";
    format.returnedLine = "Returning drawn manager";
    format.classes = {{"drawn", "Drawn", "drawn", "  -t drawn   (for drawn test pages)",
                       "Using drawn page manager", "Returning drawn manager"}};
    format.createBackend = [] { return std::make_unique<DrawnPages>(); };
    return format;
}

std::string DrawnPagesDocument(const std::vector<std::pair<double, double>>& pageSizes) {
    std::string text = std::string(kMagic) + "\n";
    for (const auto& [width, height] : pageSizes) {
        text += fmt::format("{} {}\n", width, height);
    }
    return text;
}

}  // namespace testsupport
