// The formats the program is built with: PDF first, so that a file both would take is a PDF.
#include "DocFilePageMgr/DocFilePageMgrLib/DocumentFormats.h"
#include "DocFilePageMgr/DocFilePageMgrLib/PageMgrPdfium.h"
#include "DocFilePageMgr/DocFilePageMgrLib/PageMgrXps.h"

namespace docmgr {

FormatRegistry FormatRegistry::Standard() {
    DocumentFormat pdf{
        .type = {1, "PDF"},
        .canHandleFile = &PageMgrPdfium::CanHandleFile,
        .handledLine = "File can be handled by PDFium",
        .returnedLine = "Returning PDFium manager",
        .classes = {{"pdfium", "Pdfium", "pdf", "  -t pdfium  (for PDF documents)",
                     "Using PDFium page manager", "Returning PDFium manager"}},
        .createBackend = [] { return std::make_unique<PageMgrPdfium>(); },
    };
    // The package is XPS or OpenXPS alike; "winpdf" never had a backend of its own and is
    // served by this one, while its capture is named as a PDF.
    DocumentFormat xps{
        .type = {2, "XPS"},
        .canHandleFile = &PageMgrXps::CanHandleFile,
        .handledLine = "File can be handled by XPS manager",
        .returnedLine = "Returning XPS manager",
        .classes = {{"xps", "Xps", "xps", "  -t xps     (for XPS/OXPS documents)",
                     "Using XPS page manager", "Returning XPS manager"},
                    {"winpdf", "WinDataPdf", "pdf", "",
                     "Using Window.Data.Pdf namespace page manager", "Returning WinPdf manager"}},
        .createBackend = [] { return std::make_unique<PageMgrXps>(); },
    };
    return FormatRegistry({std::move(pdf), std::move(xps)});
}

}  // namespace docmgr
