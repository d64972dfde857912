// The formats the program is built with: PDF first, so that a file both would take is a PDF.
#include "DocFilePageMgr/DocFilePageMgrLib/DocumentFormats.h"
#include "DocFilePageMgr/DocFilePageMgrLib/PageMgrPdfium.h"
#include "DocFilePageMgr/DocFilePageMgrLib/PageMgrXps.h"

namespace docmgr {
namespace {

DocumentFormat Pdf() {
    DocumentFormat pdf;
    pdf.type = {1, "PDF"};
    pdf.canHandleFile = &PageMgrPdfium::CanHandleFile;
    pdf.handledLine = "File can be handled by PDFium";
    pdf.returnedLine = "Returning PDFium manager";
    pdf.classes = {{"pdfium", "Pdfium", "pdf", "  -t pdfium  (for PDF documents)",
                    "Using PDFium page manager", "Returning PDFium manager"}};
    pdf.createBackend = [] { return std::make_unique<PageMgrPdfium>(); };
    return pdf;
}

// The package is XPS or OpenXPS alike; "winpdf" never had a backend of its own and is served
// by this one, while its capture is named as a PDF.
DocumentFormat Xps() {
    DocumentFormat xps;
    xps.type = {2, "XPS"};
    xps.canHandleFile = &PageMgrXps::CanHandleFile;
    xps.handledLine = "File can be handled by XPS manager";
    xps.returnedLine = "Returning XPS manager";
    xps.classes = {{"xps", "Xps", "xps", "  -t xps     (for XPS/OXPS documents)",
                    "Using XPS page manager", "Returning XPS manager"},
                   {"winpdf", "WinDataPdf", "pdf", "",
                    "Using Window.Data.Pdf namespace page manager", "Returning WinPdf manager"}};
    xps.createBackend = [] { return std::make_unique<PageMgrXps>(); };
    return xps;
}

}  // namespace

FormatRegistry FormatRegistry::Standard() {
    return FormatRegistry({Pdf(), Xps()});
}

}  // namespace docmgr
