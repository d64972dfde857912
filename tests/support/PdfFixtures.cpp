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

void MakeArticlePdf(const std::string& path, int pageCount) {
    constexpr double kWidth = 612, kHeight = 792;
    // A smooth, noisy picture: what a photograph costs an encoder.
    cairo_surface_t* photo = cairo_image_surface_create(CAIRO_FORMAT_RGB24, 320, 220);
    uint32_t seed = 12345;
    for (int y = 0; y < 220; ++y) {
        auto* row = reinterpret_cast<uint32_t*>(cairo_image_surface_get_data(photo) +
                                                y * cairo_image_surface_get_stride(photo));
        for (int x = 0; x < 320; ++x) {
            seed = seed * 1103515245 + 12345;
            const uint32_t noise = (seed >> 16) & 0x1F;
            row[x] = ((x * 255 / 320 + noise) & 0xFF) << 16 | ((y * 255 / 220) & 0xFF) << 8 |
                     ((128 + noise * 2) & 0xFF);
        }
    }
    cairo_surface_mark_dirty(photo);
    const std::string words =
        "the printer receives each sheet as the program lays it out and the scheduler does not "
        "repeat what was done copies order and layout stay with the program while paper colour "
        "and sides go to the printer ";
    cairo_surface_t* surface = cairo_pdf_surface_create(path.c_str(), kWidth, kHeight);
    cairo_t* cr = cairo_create(surface);
    for (int page = 0; page < pageCount; ++page) {
        cairo_set_source_rgb(cr, 0, 0, 0);
        cairo_select_font_face(cr, "serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_BOLD);
        cairo_set_font_size(cr, 16);
        cairo_move_to(cr, 54, 60);
        cairo_show_text(cr, fmt::format("Section {}: sheets as they print", page + 1).c_str());
        cairo_select_font_face(cr, "serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
        cairo_set_font_size(cr, 9);
        // Two columns of text, interrupted by the figures in the lower half.
        for (int column = 0; column < 2; ++column) {
            for (int line = 0; line < 38; ++line) {
                const size_t start =
                    static_cast<size_t>((line * 7 + page * 13 + column * 29) % (words.size() - 60));
                cairo_move_to(cr, 54 + column * 258, 84 + line * 11);
                cairo_show_text(cr, words.substr(start, 56).c_str());
            }
        }
        // A chart: axes, bars and a curve.
        cairo_set_line_width(cr, 1);
        cairo_move_to(cr, 60, 700);
        cairo_line_to(cr, 60, 520);
        cairo_move_to(cr, 60, 700);
        cairo_line_to(cr, 290, 700);
        cairo_stroke(cr);
        for (int bar = 0; bar < 8; ++bar) {
            const double h = 20 + ((bar * 37 + page * 11) % 150);
            cairo_set_source_rgb(cr, 0.2 + bar * 0.08, 0.3, 0.7 - bar * 0.05);
            cairo_rectangle(cr, 70 + bar * 27, 700 - h, 18, h);
            cairo_fill(cr);
        }
        cairo_set_source_rgb(cr, 0.8, 0.1, 0.1);
        cairo_set_line_width(cr, 2);
        cairo_move_to(cr, 60, 690);
        cairo_curve_to(cr, 120, 520 + page % 5 * 10, 200, 700, 290, 540);
        cairo_stroke(cr);
        // A shaded box and the picture.
        cairo_pattern_t* shade = cairo_pattern_create_linear(320, 520, 560, 560);
        cairo_pattern_add_color_stop_rgb(shade, 0, 0.95, 0.9, 0.7);
        cairo_pattern_add_color_stop_rgb(shade, 1, 0.6, 0.8, 0.95);
        cairo_set_source(cr, shade);
        cairo_rectangle(cr, 320, 510, 240, 40);
        cairo_fill(cr);
        cairo_pattern_destroy(shade);
        cairo_save(cr);
        cairo_translate(cr, 320, 560);
        cairo_scale(cr, 0.75, 0.75);
        cairo_set_source_surface(cr, photo, 0, 0);
        cairo_paint(cr);
        cairo_restore(cr);
        cairo_show_page(cr);
    }
    cairo_destroy(cr);
    cairo_surface_finish(surface);
    cairo_surface_destroy(surface);
    cairo_surface_destroy(photo);
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
