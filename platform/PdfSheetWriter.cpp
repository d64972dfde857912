#include "PdfSheetWriter.h"

#include <fmt/format.h>
#include <qpdf/Constants.h>
#include <qpdf/Pipeline.hh>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>
#include <qpdf/QPDFPageObjectHelper.hh>
#include <qpdf/QPDFWriter.hh>

#include <map>
#include <stdexcept>
#include <vector>

namespace nvrprint::platform {
namespace {

// Hands each chunk of the written document to the sink; stops the writer when it refuses.
class SinkPipeline final : public Pipeline {
public:
    explicit SinkPipeline(const std::function<bool(const unsigned char*, size_t)>& sink)
        : Pipeline("job sink", nullptr), m_sink(sink) {}
    void write(unsigned char const* data, size_t length) override {
        if (length > 0 && !m_sink(data, length)) {
            throw std::runtime_error("the job stream refused the data");
        }
    }
    void finish() override {}

private:
    const std::function<bool(const unsigned char*, size_t)>& m_sink;
};

}  // namespace

struct PdfSheetWriter::State {
    QPDF output;
    // Each source opened once, its annotations flattened as printed.
    std::map<std::string, std::unique_ptr<QPDF>> sources;
    // The form of each source page, already copied into the output.
    std::map<std::pair<std::string, size_t>, QPDFObjectHandle> forms;
    std::vector<QPDFObjectHandle> sourcePages;

    // The sheet being drawn.
    bool open = false;
    double width = 0;
    double height = 0;
    std::string content;
    QPDFObjectHandle xobjects;
    int nextName = 0;
    size_t sheets = 0;

    QPDF* Source(const std::string& path, std::string* reason) {
        auto found = sources.find(path);
        if (found != sources.end()) {
            return found->second.get();
        }
        auto pdf = std::make_unique<QPDF>();
        try {
            pdf->setSuppressWarnings(true);
            pdf->processFile(path.c_str());
            QPDFPageDocumentHelper(*pdf).flattenAnnotations(an_print, an_invisible | an_hidden);
        } catch (const std::exception& e) {
            *reason = e.what();
            return nullptr;
        }
        return sources.emplace(path, std::move(pdf)).first->second.get();
    }

    std::string AddXObject(QPDFObjectHandle object) {
        std::string name = fmt::format("/Nvr{}", nextName++);
        xobjects.replaceKey(name, object);
        return name;
    }
};

PdfSheetWriter::PdfSheetWriter() : m_state(std::make_unique<State>()) {
    m_state->output.emptyPDF();
}

PdfSheetWriter::~PdfSheetWriter() = default;

size_t PdfSheetWriter::SheetCount() const {
    return m_state->sheets;
}

void PdfSheetWriter::BeginSheet(double widthPoints, double heightPoints) {
    State& s = *m_state;
    s.open = true;
    s.width = widthPoints;
    s.height = heightPoints;
    s.content.clear();
    s.xobjects = QPDFObjectHandle::newDictionary();
}

bool PdfSheetWriter::PlacePage(const std::string& sourcePath, size_t pageIndex, double x, double y,
                               double width, double height, std::string* reason) {
    State& s = *m_state;
    if (!s.open) {
        *reason = "no sheet is open";
        return false;
    }
    try {
        auto key = std::make_pair(sourcePath, pageIndex);
        auto form = s.forms.find(key);
        if (form == s.forms.end()) {
            QPDF* source = s.Source(sourcePath, reason);
            if (source == nullptr) {
                return false;
            }
            // The document's own list of pages, built once.
            const std::vector<QPDFObjectHandle>& pages = source->getAllPages();
            if (pageIndex >= pages.size()) {
                *reason = fmt::format("the document has no page {}", pageIndex + 1);
                return false;
            }
            QPDFObjectHandle foreign =
                QPDFPageObjectHelper(pages[pageIndex]).getFormXObjectForPage();
            form = s.forms.emplace(key, s.output.copyForeignObject(foreign)).first;
        }
        std::string name = s.AddXObject(form->second);
        // A placeholder page object of the output answers how the form fits the rectangle.
        QPDFObjectHandle probe = QPDFObjectHandle::newDictionary();
        probe.replaceKey("/Type", QPDFObjectHandle::newName("/Page"));
        QPDFPageObjectHelper helper(probe);
        std::string placement = helper.placeFormXObject(
            form->second, name, QPDFObjectHandle::Rectangle(x, y, x + width, y + height), true,
            true, true);
        s.content += fmt::format("q 1 g {:.4f} {:.4f} {:.4f} {:.4f} re f Q\n", x, y, width, height);
        s.content += placement;
        s.content += "\n";
        return true;
    } catch (const std::exception& e) {
        *reason = e.what();
        return false;
    }
}

void PdfSheetWriter::PlaceImage(const docmgr::Bitmap& bitmap, double x, double y, double width,
                                double height) {
    State& s = *m_state;
    std::string rgb;
    rgb.reserve(static_cast<size_t>(bitmap.Width()) * bitmap.Height() * 3);
    const uint8_t* bits = bitmap.Bits();
    for (int row = 0; row < bitmap.Height(); ++row) {
        const uint8_t* pixel = bits + static_cast<size_t>(row) * bitmap.Stride();
        for (int column = 0; column < bitmap.Width(); ++column, pixel += 4) {
            rgb.push_back(static_cast<char>(pixel[2]));
            rgb.push_back(static_cast<char>(pixel[1]));
            rgb.push_back(static_cast<char>(pixel[0]));
        }
    }
    QPDFObjectHandle image = QPDFObjectHandle::newStream(&s.output, rgb);
    QPDFObjectHandle dict = image.getDict();
    dict.replaceKey("/Type", QPDFObjectHandle::newName("/XObject"));
    dict.replaceKey("/Subtype", QPDFObjectHandle::newName("/Image"));
    dict.replaceKey("/Width", QPDFObjectHandle::newInteger(bitmap.Width()));
    dict.replaceKey("/Height", QPDFObjectHandle::newInteger(bitmap.Height()));
    dict.replaceKey("/ColorSpace", QPDFObjectHandle::newName("/DeviceRGB"));
    dict.replaceKey("/BitsPerComponent", QPDFObjectHandle::newInteger(8));
    std::string name = s.AddXObject(image);
    s.content +=
        fmt::format("q {:.4f} 0 0 {:.4f} {:.4f} {:.4f} cm {} Do Q\n", width, height, x, y, name);
}

void PdfSheetWriter::EndSheet() {
    State& s = *m_state;
    if (!s.open) {
        return;
    }
    QPDFObjectHandle page = QPDFObjectHandle::newDictionary();
    page.replaceKey("/Type", QPDFObjectHandle::newName("/Page"));
    page.replaceKey("/MediaBox", QPDFObjectHandle::newFromRectangle(
                                     QPDFObjectHandle::Rectangle(0, 0, s.width, s.height)));
    QPDFObjectHandle resources = QPDFObjectHandle::newDictionary();
    resources.replaceKey("/XObject", s.xobjects);
    page.replaceKey("/Resources", resources);
    page.replaceKey("/Contents", QPDFObjectHandle::newStream(&s.output, s.content));
    QPDFPageDocumentHelper(s.output).addPage(
        QPDFPageObjectHelper(s.output.makeIndirectObject(page)), false);
    s.open = false;
    ++s.sheets;
}

bool PdfSheetWriter::Write(const std::function<bool(const unsigned char*, size_t)>& sink,
                           std::string* reason) {
    try {
        SinkPipeline pipeline(sink);
        QPDFWriter writer(m_state->output);
        writer.setOutputPipeline(&pipeline);
        writer.setStaticID(false);
        writer.write();
        return true;
    } catch (const std::exception& e) {
        *reason = e.what();
        return false;
    }
}

}  // namespace nvrprint::platform
