#include "tests/support/PdfFixtures.h"

#include <cairo-pdf.h>
#include <cairo.h>
#include <fmt/format.h>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFObjectHandle.hh>
#include <qpdf/QPDFWriter.hh>

#include <filesystem>
#include <stdexcept>

#include "tests/support/TestSupport.h"

namespace testsupport {
namespace {

std::string LiteralString(const std::string& bytes) {
    std::string out = "(";
    for (char c : bytes) {
        if (c == '(' || c == ')' || c == '\\')
            out += '\\';
        out += c;
    }
    return out + ")";
}

std::string HexString(const std::string& bytes) {
    std::string out = "<";
    for (unsigned char c : bytes)
        out += fmt::format("{:02X}", c);
    return out + ">";
}

}  // namespace

void MakePdf(const std::string& path, const std::vector<FixturePage>& pages) {
    cairo_surface_t* surface =
        cairo_pdf_surface_create(path.c_str(), pages.at(0).width, pages.at(0).height);
    cairo_t* cr = cairo_create(surface);
    for (size_t i = 0; i < pages.size(); ++i) {
        cairo_pdf_surface_set_size(surface, pages[i].width, pages[i].height);
        cairo_set_source_rgb(cr, 0, 0, 0);
        cairo_rectangle(cr, 0, pages[i].height * 0.4, pages[i].width, pages[i].height * 0.2);
        cairo_fill(cr);
        cairo_select_font_face(cr, "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_BOLD);
        cairo_set_font_size(cr, 48);
        cairo_move_to(cr, 72, 120);
        cairo_show_text(cr, fmt::format("Page {}", i + 1).c_str());
        cairo_show_page(cr);
    }
    cairo_destroy(cr);
    cairo_surface_finish(surface);
    if (cairo_surface_status(surface) != CAIRO_STATUS_SUCCESS) {
        throw std::runtime_error("cairo could not write " + path);
    }
    cairo_surface_destroy(surface);
}

void MakeMarkedPdf(const std::string& path, int pageCount) {
    cairo_surface_t* surface = cairo_pdf_surface_create(path.c_str(), 612, 792);
    cairo_t* cr = cairo_create(surface);
    for (int i = 0; i < pageCount; ++i) {
        cairo_rectangle(cr, 40 + 100 * i, 60 + 130 * i, 100, 100);
        cairo_fill(cr);
        cairo_show_page(cr);
    }
    cairo_destroy(cr);
    cairo_surface_destroy(surface);
}

void AddSettingsCarrier(const std::string& in, const std::string& out, const std::string& json,
                        CarrierForm form) {
    QPDF pdf;
    pdf.processFile(in.c_str());
    QPDFObjectHandle trailer = pdf.getTrailer();
    QPDFObjectHandle page = pdf.getAllPages().at(form == CarrierForm::SecondPageOnly ? 1 : 0);
    const int size = trailer.getKey("/Size").getIntValueAsInt();
    std::string update = ReadFile(in);
    const long long previous = std::stoll(update.substr(update.rfind("startxref") + 9));
    const std::string settings = form == CarrierForm::Hex ? HexString(json) : LiteralString(json);
    // The carrier is a new object, the settings inside the page, or an object that is missing.
    std::string carrier = fmt::format("{} 0 R", size), carrierObject;
    if (form == CarrierForm::DirectDictionary) {
        carrier = "<< /NvrPrintJobSettings " + settings + " >>";
    } else if (form == CarrierForm::MissingObject) {
        carrier = fmt::format("{} 0 R", size + 50);
    } else {
        carrierObject = fmt::format(
            "{} 0 obj\n<< /Type /NvrSettings /NvrPrintJobSettings {} >>\nendobj\n", size, settings);
    }
    std::string pageText = "<<";
    for (const std::string& key : page.getKeys()) {
        pageText += " " + key + " " + page.getKey(key).unparse();
    }
    if (update.back() != '\n')
        update += '\n';
    const size_t pageOffset = update.size();
    update += fmt::format("{} {} obj\n{} /Norvan {} >>\nendobj\n", page.getObjectID(),
                          page.getGeneration(), pageText, carrier);
    const size_t carrierOffset = update.size();
    update += carrierObject;
    const size_t xrefOffset = update.size();
    update += fmt::format("xref\n{} 1\n{:010} {:05} n\r\n", page.getObjectID(), pageOffset,
                          page.getGeneration());
    if (!carrierObject.empty()) {
        update += fmt::format("{} 1\n{:010} 00000 n\r\n", size, carrierOffset);
    }
    update += fmt::format("trailer\n<< /Size {} /Root {} /Prev {} >>\nstartxref\n{}\n%%EOF\n",
                          size + 1, trailer.getKey("/Root").unparse(), previous, xrefOffset);
    WriteFile(out, update);
}

void PackIntoObjectStreams(const std::string& in, const std::string& out) {
    QPDF pdf;
    pdf.processFile(in.c_str());
    QPDFWriter writer(pdf, out.c_str());
    writer.setObjectStreamMode(qpdf_o_generate);
    writer.write();
}

void EncryptWithUserPassword(const std::string& in, const std::string& out,
                             const std::string& userPassword) {
    QPDF pdf;
    pdf.processFile(in.c_str());
    QPDFWriter writer(pdf, out.c_str());
    writer.setR6EncryptionParameters(userPassword.c_str(), "owner-secret", true, true, true, true,
                                     true, true, qpdf_r3p_full, true);
    writer.write();
}

void MakePdfWithSettings(const std::string& path, const std::vector<FixturePage>& pages,
                         const std::string& json) {
    std::string plain = path + ".plain.pdf";
    MakePdf(plain, pages);
    AddSettingsCarrier(plain, path, json, CarrierForm::Literal);
    std::filesystem::remove(plain);
}

}  // namespace testsupport
