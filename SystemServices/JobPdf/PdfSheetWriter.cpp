#include "SystemServices/JobPdf/PdfSheetWriter.h"

#include <fmt/format.h>
#include <qpdf/Constants.h>
#include <qpdf/Buffer.hh>
#include <qpdf/Pl_Flate.hh>
#include <qpdf/Pl_String.hh>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFAnnotationObjectHelper.hh>
#include <qpdf/QPDFPageObjectHelper.hh>

#include <algorithm>
#include <cerrno>
#include <deque>
#include <map>
#include <vector>

namespace nvrprint::platform {
namespace {

// A source document is reopened after this many placements, which lets go of every object
// the previous opening had read; objects already written are not written again. Pages are
// found through the page tree and annotations flattened page by page, so an opening reads
// only what its pages use.
constexpr size_t kPlacementsPerOpening = 256;

// Objects the writer reserves before anything else.
constexpr int kCatalog = 1;
constexpr int kPageTree = 2;

std::string Number(double value) {
    return fmt::format("{:.4f}", value);
}

// A stream's data as stored, still encoded (and decrypted, where the file is encrypted).
std::string RawData(QPDFObjectHandle stream) {
    std::shared_ptr<Buffer> raw = stream.getRawStreamData();
    return raw->getSize() > 0
               ? std::string(reinterpret_cast<const char*>(raw->getBuffer()), raw->getSize())
               : std::string();
}

std::string Deflate(const std::string& data) {
    std::string compressed;
    Pl_String sink("deflated", nullptr, compressed);
    Pl_Flate flate("deflate", &sink, Pl_Flate::a_deflate);
    flate.write(reinterpret_cast<const unsigned char*>(data.data()), data.size());
    flate.finish();
    return compressed;
}

// The numbered objects of the output and where each begins.
class ObjectStream {
public:
    explicit ObjectStream(PdfSheetWriter::Sink sink) : m_sink(std::move(sink)), m_offsets(3, 0) {}

    int Reserve() {
        m_offsets.push_back(0);
        return static_cast<int>(m_offsets.size() - 1);
    }

    bool Write(const std::string& bytes) {
        if (m_failed) {
            return false;
        }
        if (!bytes.empty() &&
            !m_sink(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size())) {
            m_failed = true;
            return false;
        }
        m_offset += bytes.size();
        return true;
    }

    bool WriteObject(int number, const std::string& body) {
        m_offsets[static_cast<size_t>(number)] = m_offset;
        return Write(fmt::format("{} 0 obj\n{}\nendobj\n", number, body));
    }

    // dictionary holds the entries without /Length.
    bool WriteStream(int number, const std::string& dictionary, const std::string& data) {
        m_offsets[static_cast<size_t>(number)] = m_offset;
        return Write(fmt::format("{} 0 obj\n<<{} /Length {}>>\nstream\n", number, dictionary,
                                 data.size())) &&
               Write(data) && Write("\nendstream\nendobj\n");
    }

    bool WriteCrossReferences() {
        const size_t start = m_offset;
        std::string table = fmt::format("xref\n0 {}\n0000000000 65535 f \n", m_offsets.size());
        for (size_t i = 1; i < m_offsets.size(); ++i) {
            table += fmt::format("{:010} 00000 n \n", m_offsets[i]);
        }
        table += fmt::format("trailer\n<< /Size {} /Root {} 0 R >>\nstartxref\n{}\n%%EOF\n",
                             m_offsets.size(), kCatalog, start);
        return Write(table);
    }

    bool Failed() const { return m_failed; }
    size_t Offset() const { return m_offset; }

private:
    PdfSheetWriter::Sink m_sink;
    std::vector<size_t> m_offsets;  // by object number; 0 is the free head
    size_t m_offset = 0;
    bool m_failed = false;
};

// One source document: opened when needed, its objects copied into the output once.
class Source {
public:
    explicit Source(std::string path) : m_path(std::move(path)) {}

    // The form that draws the page, written on first use.
    int FormFor(size_t pageIndex, ObjectStream& out) {
        if (auto found = m_forms.find(pageIndex); found != m_forms.end()) {
            return found->second;
        }
        Open();
        QPDFObjectHandle page = PageAt(pageIndex);
        if (!page.isDictionary()) {
            throw std::runtime_error(fmt::format("the document has no page {}", pageIndex + 1));
        }
        ++m_placements;
        QPDFPageObjectHelper helper(page);
        const QPDFObjectHandle::Rectangle box = helper.getCropBox().getArrayAsRectangle();
        const QPDFObjectHandle::Matrix m = helper.getMatrixForTransformations();

        std::string dictionary = fmt::format(
            " /Type /XObject /Subtype /Form /BBox [{} {} {} {}] /Matrix [{} {} {} {} {} {}]",
            Number(box.llx), Number(box.lly), Number(box.urx), Number(box.ury), Number(m.a),
            Number(m.b), Number(m.c), Number(m.d), Number(m.e), Number(m.f));
        QPDFObjectHandle resources = helper.getAttribute("/Resources", false);
        const std::string annotations = AnnotationContent(page, resources);
        if (resources.isDictionary()) {
            dictionary += " /Resources " + Serialize(resources, out);
        }
        if (page.hasKey("/Group")) {
            dictionary += " /Group " + Serialize(page.getKey("/Group"), out);
        }
        std::string data;
        QPDFObjectHandle contents = page.getKey("/Contents");
        if (contents.isStream() && annotations.empty()) {
            // One stream: its data goes over as it is, still encoded.
            data = RawData(contents);
            QPDFObjectHandle streamDictionary = contents.getDict();
            for (const char* key : {"/Filter", "/DecodeParms"}) {
                if (streamDictionary.hasKey(key)) {
                    dictionary +=
                        fmt::format(" {} {}", key, Serialize(streamDictionary.getKey(key), out));
                }
            }
        } else {
            // Several streams, or annotations drawn over them: decoded, joined and compressed
            // again.
            std::string joined;
            for (QPDFObjectHandle part :
                 contents.isArray() ? contents.getArrayAsVector() : std::vector{contents}) {
                if (part.isStream()) {
                    Pl_String sink("content", nullptr, joined);
                    part.pipeStreamData(&sink, 0, qpdf_dl_generalized);
                    joined += "\n";
                }
            }
            // The page's content may leave its graphics state changed: annotations start
            // from the page's own.
            data = Deflate(annotations.empty() ? joined : "q\n" + joined + "Q\n" + annotations);
            dictionary += " /Filter /FlateDecode";
        }
        const int form = out.Reserve();
        out.WriteStream(form, dictionary, data);
        WritePending(out);
        m_forms.emplace(pageIndex, form);
        m_bounds.emplace(form, TransformedBounds(box, m));
        return form;
    }

    // The form's extent on the sheet before scaling: its box through its matrix.
    const QPDFObjectHandle::Rectangle& Bounds(int form) const { return m_bounds.at(form); }

private:
    void Open() {
        if (m_pdf && m_placements < kPlacementsPerOpening) {
            return;
        }
        m_pdf.reset();
        m_placements = 0;
        auto pdf = std::make_unique<QPDF>();
        pdf->setSuppressWarnings(true);
        pdf->processFile(m_path.c_str());
        m_pdf = std::move(pdf);
    }

    // The page of this index, found through the page tree by its counts, so that only the
    // nodes on the way are read. A tree whose counts do not add up is read whole instead.
    QPDFObjectHandle PageAt(size_t index) {
        const size_t wanted = index;
        QPDFObjectHandle node = m_pdf->getRoot().getKey("/Pages");
        for (int depth = 0; depth < 64 && node.isDictionary(); ++depth) {
            QPDFObjectHandle kids = node.getKey("/Kids");
            if (!kids.isArray()) {
                break;
            }
            const int count = kids.getArrayNItems();
            QPDFObjectHandle total = node.getKey("/Count");
            if (total.isInteger() && total.getIntValue() == count &&
                index < static_cast<size_t>(count)) {
                // As many pages as kids: the kid at the index is the page, unless it is not.
                QPDFObjectHandle kid = kids.getArrayItem(static_cast<int>(index));
                if (kid.isDictionary() && !kid.getKey("/Kids").isArray()) {
                    return kid;
                }
            }
            QPDFObjectHandle next;
            for (int i = 0; i < count && !next.isInitialized(); ++i) {
                QPDFObjectHandle kid = kids.getArrayItem(i);
                const bool isNode = kid.getKey("/Kids").isArray();
                QPDFObjectHandle kidCount = kid.getKey("/Count");
                const size_t pages =
                    !isNode ? 1
                    : kidCount.isInteger()
                        ? static_cast<size_t>(std::max<long long>(kidCount.getIntValue(), 0))
                        : 0;
                if (index >= pages) {
                    index -= pages;
                } else if (!isNode) {
                    return kid;
                } else {
                    next = kid;
                }
            }
            if (!next.isInitialized()) {
                break;
            }
            node = next;
        }
        const std::vector<QPDFObjectHandle>& pages = m_pdf->getAllPages();
        return wanted < pages.size() ? pages[wanted] : QPDFObjectHandle::newNull();
    }

    // Annotations that print, drawn over the page as their appearance streams: content to
    // append and the resources it names.
    std::string AnnotationContent(QPDFObjectHandle page, QPDFObjectHandle& resources) {
        QPDFObjectHandle annotations = page.getKey("/Annots");
        if (!annotations.isArray()) {
            return {};
        }
        QPDFObjectHandle rotate = QPDFPageObjectHelper(page).getAttribute("/Rotate", false);
        const int rotation = rotate.isInteger() ? static_cast<int>(rotate.getIntValue()) : 0;
        std::string content;
        QPDFObjectHandle xobjects;
        for (int i = 0; i < annotations.getArrayNItems(); ++i) {
            QPDFObjectHandle annotation = annotations.getArrayItem(i);
            if (!annotation.isDictionary())
                continue;
            QPDFAnnotationObjectHelper helper(annotation);
            QPDFObjectHandle appearance = helper.getAppearanceStream("/N");
            if (!appearance.isStream())
                continue;
            const std::string name = fmt::format("/NvrAnnot{}", i);
            const std::string drawn = helper.getPageContentForAppearance(name, rotation, an_print,
                                                                         an_invisible | an_hidden);
            if (drawn.empty())
                continue;
            if (!xobjects.isInitialized()) {
                resources = resources.isDictionary() ? resources.shallowCopy()
                                                     : QPDFObjectHandle::newDictionary();
                xobjects = resources.getKey("/XObject").isDictionary()
                               ? resources.getKey("/XObject").shallowCopy()
                               : QPDFObjectHandle::newDictionary();
                resources.replaceKey("/XObject", xobjects);
            }
            xobjects.replaceKey(name, appearance);
            content += "\n" + drawn;
        }
        return content;
    }

    static QPDFObjectHandle::Rectangle TransformedBounds(const QPDFObjectHandle::Rectangle& box,
                                                         const QPDFObjectHandle::Matrix& m) {
        double xs[4];
        double ys[4];
        const double cx[4] = {box.llx, box.urx, box.llx, box.urx};
        const double cy[4] = {box.lly, box.lly, box.ury, box.ury};
        for (int i = 0; i < 4; ++i) {
            xs[i] = m.a * cx[i] + m.c * cy[i] + m.e;
            ys[i] = m.b * cx[i] + m.d * cy[i] + m.f;
        }
        return {*std::min_element(xs, xs + 4), *std::min_element(ys, ys + 4),
                *std::max_element(xs, xs + 4), *std::max_element(ys, ys + 4)};
    }

    // The output number of an indirect object, queued for writing on first sight. Objects
    // keep their numbers across openings of the file, which are all of the same file.
    int Reference(QPDFObjectHandle object, ObjectStream& out) {
        const QPDFObjGen id = object.getObjGen();
        auto& table = m_written;
        if (auto found = table.find(id); found != table.end()) {
            return found->second;
        }
        const int number = out.Reserve();
        table.emplace(id, number);
        m_pending.emplace_back(object, number);
        return number;
    }

    // A dictionary's entries, but for one key, as " /Key value" pairs.
    std::string SerializeEntries(QPDFObjectHandle dictionary, const std::string& leftOut,
                                 ObjectStream& out) {
        std::string text;
        for (const std::string& key : dictionary.getKeys()) {
            if (key != leftOut) {
                text += " " + QPDFObjectHandle::newName(key).unparse() + " " +
                        Serialize(dictionary.getKey(key), out);
            }
        }
        return text;
    }

    std::string Serialize(QPDFObjectHandle object, ObjectStream& out, bool top = false) {
        if (object.isIndirect() && !top) {
            return fmt::format("{} 0 R", Reference(object, out));
        }
        if (object.isDictionary()) {
            // A page's way up its tree is never needed by what draws it.
            return "<<" + SerializeEntries(object, "/Parent", out) + " >>";
        }
        if (object.isArray()) {
            std::string text = "[";
            for (int i = 0; i < object.getArrayNItems(); ++i) {
                text += " " + Serialize(object.getArrayItem(i), out);
            }
            return text + " ]";
        }
        return object.unparse();
    }

    void WritePending(ObjectStream& out) {
        while (!m_pending.empty() && !out.Failed()) {
            auto [object, number] = m_pending.front();
            m_pending.pop_front();
            if (object.isStream()) {
                // The length is the writer's to give.
                out.WriteStream(number, SerializeEntries(object.getDict(), "/Length", out),
                                RawData(object));
            } else {
                out.WriteObject(number, Serialize(object, out, true));
            }
        }
    }

    std::string m_path;
    std::unique_ptr<QPDF> m_pdf;
    size_t m_placements = 0;
    std::map<QPDFObjGen, int> m_written;
    std::map<size_t, int> m_forms;
    std::map<int, QPDFObjectHandle::Rectangle> m_bounds;
    std::deque<std::pair<QPDFObjectHandle, int>> m_pending;
};

}  // namespace

struct PdfSheetWriter::State {
    explicit State(Sink sink) : out(std::move(sink)) {}

    ObjectStream out;
    std::map<std::string, std::unique_ptr<Source>> sources;
    std::vector<int> sheets;  // page objects, in order

    // The sheet being drawn.
    bool open = false;
    double width = 0;
    double height = 0;
    std::string content;
    std::string xobjects;
    int nextName = 0;

    // Whether the sink has taken everything written so far.
    Status SinkState() const {
        if (out.Failed()) {
            return Failure{EIO, "the job stream refused the data"};
        }
        return {};
    }

    std::string AddXObject(int number) {
        std::string name = fmt::format("/Nvr{}", nextName++);
        xobjects += fmt::format(" {} {} 0 R", name, number);
        return name;
    }
};

PdfSheetWriter::PdfSheetWriter(Sink sink) : m_state(std::make_unique<State>(std::move(sink))) {
    // The binary comment marks the file as binary for transports that look.
    m_state->out.Write("%PDF-1.7\n%\xE2\xE3\xCF\xD3\n");
}

PdfSheetWriter::~PdfSheetWriter() = default;

size_t PdfSheetWriter::SheetCount() const {
    return m_state->sheets.size();
}

size_t PdfSheetWriter::BytesWritten() const {
    return m_state->out.Offset();
}

void PdfSheetWriter::BeginSheet(double widthPoints, double heightPoints) {
    State& s = *m_state;
    s.open = true;
    s.width = widthPoints;
    s.height = heightPoints;
    s.content.clear();
    s.xobjects.clear();
    s.nextName = 0;
}

Status PdfSheetWriter::PlacePage(const std::string& sourcePath, size_t pageIndex, double x,
                                 double y, double width, double height) {
    if (width <= 0 || height <= 0) {
        return Failure{EINVAL, "the rectangle is empty"};
    }
    return Place(sourcePath, pageIndex, x, y + height, width, height, 0.0);
}

Status PdfSheetWriter::PlacePageAtScale(const std::string& sourcePath, size_t pageIndex,
                                        double left, double top, double scale) {
    if (scale <= 0) {
        return Failure{EINVAL, "the scale is not positive"};
    }
    return Place(sourcePath, pageIndex, left, top, 0.0, 0.0, scale);
}

Status PdfSheetWriter::Place(const std::string& sourcePath, size_t pageIndex, double left,
                             double top, double width, double height, double scale) {
    State& s = *m_state;
    if (!s.open) {
        return Failure{EINVAL, "no sheet is open"};
    }
    try {
        auto& source = s.sources[sourcePath];
        if (!source) {
            source = std::make_unique<Source>(sourcePath);
        }
        const int form = source->FormFor(pageIndex, s.out);
        if (Status sunk = s.SinkState(); !sunk) {
            return sunk;
        }
        // The form's own extent, through its matrix, is what is fitted or scaled.
        const QPDFObjectHandle::Rectangle& b = source->Bounds(form);
        const double formWidth = b.urx - b.llx;
        const double formHeight = b.ury - b.lly;
        if (formWidth <= 0 || formHeight <= 0) {
            return Failure{EINVAL, fmt::format("page {} has an empty box", pageIndex + 1)};
        }
        if (scale <= 0) {
            scale = std::min(width / formWidth, height / formHeight);
        }
        const double placedWidth = formWidth * scale;
        const double placedHeight = formHeight * scale;
        const double bottom = top - placedHeight;
        const double dx = left - b.llx * scale;
        const double dy = bottom - b.lly * scale;
        const std::string name = s.AddXObject(form);
        s.content +=
            fmt::format("q 1 g {} {} {} {} re f Q\nq {} 0 0 {} {} {} cm {} Do Q\n", Number(left),
                        Number(bottom), Number(placedWidth), Number(placedHeight), Number(scale),
                        Number(scale), Number(dx), Number(dy), name);
        return {};
    } catch (const std::exception& e) {
        // qpdf tells of a source it cannot read by throwing; it ends here, as a failure.
        return Failure{EIO, e.what()};
    }
}

Status PdfSheetWriter::EndSheet() {
    State& s = *m_state;
    if (!s.open) {
        return Failure{EINVAL, "no sheet is open"};
    }
    s.open = false;
    const int content = s.out.Reserve();
    const int page = s.out.Reserve();
    s.out.WriteStream(content, "", s.content);
    s.out.WriteObject(
        page, fmt::format("<< /Type /Page /Parent {} 0 R /MediaBox [0 0 {} {}] "
                          "/Resources << /XObject <<{} >> >> /Contents {} 0 R >>",
                          kPageTree, Number(s.width), Number(s.height), s.xobjects, content));
    s.sheets.push_back(page);
    return s.SinkState();
}

Status PdfSheetWriter::Finish() {
    State& s = *m_state;
    std::string kids;
    for (int page : s.sheets) {
        kids += fmt::format(" {} 0 R", page);
    }
    s.out.WriteObject(
        kPageTree, fmt::format("<< /Type /Pages /Kids [{} ] /Count {} >>", kids, s.sheets.size()));
    s.out.WriteObject(kCatalog, fmt::format("<< /Type /Catalog /Pages {} 0 R >>", kPageTree));
    s.out.WriteCrossReferences();
    return s.SinkState();
}

Status PlaceInCell(PdfSheetWriter& writer, const SheetGeometry& sheet, double sheetWidth,
                   double sheetHeight, const docmgr::VectorPage& page,
                   const docmgr::PageCell& cell) {
    switch (cell.fit) {
        case docmgr::PageCell::NaturalSize: {
            // The corner alone: the page keeps its size, under the sheet's scale.
            const PointRect corner = DeviceToPoints(sheet, cell.x, cell.y, 0, 0);
            return writer.PlacePageAtScale(page.pdfPath, page.pageIndex, corner.x, corner.y,
                                           sheet.scale);
        }
        case docmgr::PageCell::FitCell: {
            const PointRect r = DeviceToPoints(sheet, cell.x, cell.y, cell.width, cell.height);
            return writer.PlacePage(page.pdfPath, page.pageIndex, r.x, r.y, r.width, r.height);
        }
        case docmgr::PageCell::WholeSheet:
            return writer.PlacePage(page.pdfPath, page.pageIndex, 0.0, 0.0, sheetWidth,
                                    sheetHeight);
    }
    return Failure{EINVAL, "the cell names no way of placing the page"};
}

}  // namespace nvrprint::platform
