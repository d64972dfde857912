#pragma once

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "DocFilePageMgr/DocFilePageMgrLib/DocFilePageMgr.h"
#include "DocFilePageMgr/DocFilePageMgrLib/ScratchFile.h"
#include "platform/CairoPtr.h"

namespace docmgr {

// The XPS and OXPS backend, serving the document classes "xps" and "winpdf". The package is
// checked and copied into a plain package in the scratch directory first; that copy is
// opened, measured and drawn with libgxps. A print draws every page into a vector PDF of
// the pages' own sizes, whose pages the printing loop then places, each on a sheet of its
// own size.
class PageMgrXps final : public DocFilePageMgr {
public:
    // More pages than this end the load.
    static constexpr uint64_t kMaxPages = 10000;
    // Pages larger than this on either side (1/96 inch, 200 inches) end the load.
    static constexpr double kMaxPageUnits = 19200.0;

    // In 1/96 inch, as the package counts.
    struct PageSize {
        double width;
        double height;
    };
    static double ToPoints(double units) { return units * 72.0 / 96.0; }

    PageMgrXps();
    ~PageMgrXps() override;

    // True for a ZIP archive whose first 512 bytes name an XPS part or content type, or whose
    // central directory holds an XPS package's relationships and fixed document sequence.
    static bool CanHandleFile(const std::string& path);

    // The package's pages go to the printer as they are, under the printer's own defaults.
    bool LaysOutSheets() const override { return false; }

    // Draws every page into a PDF at path, one page per page at its own size. False, with the
    // file removed, when a page cannot be drawn.
    bool WriteJobPdf(const std::string& path);

protected:
    bool OnLoadDocument(const std::string& path) override;
    uint64_t OnGetPageCount() override;
    BitmapPtr OnRenderPageBitmap(size_t pageIndex, const TargetParams& params) override;
    bool OnGetPageSizePoints(size_t pageIndex, double* width, double* height) override;
    // Places the page as drawn into the job's PDF.
    bool OnPlacePage(PrintDevice* device, size_t pageIndex, const PageCell& cell) override;
    // Draws every page into the job's PDF.
    bool OnPrintStarting(const std::string& printerName, const std::string& jobTitle,
                         PrintDevice* device) override;
    // Follows the job on the printer until it is done.
    bool OnPrintSent(PrintDevice* device, int jobId) override;
    void OnPrintEnded() override;

private:
    struct Package;
    struct Page;

    // At most this many elements of one page, and of the whole document, are skipped before
    // a page counts as lost: each skip writes the package copy anew.
    static constexpr int kMaxSkippedElements = 32;
    static constexpr int kMaxSkippedInDocument = 128;

    // The library's view of the package copy: the file and its sub-documents, opened anew.
    static nvrprint::Status OpenLibraryView(Package& package);
    // Draws the page in 1/96-inch units onto a context that start makes afresh for each
    // attempt. Where the library stops at an element it cannot draw, that element is cut out
    // of the page and the page drawn again. False when the page cannot be drawn.
    bool DrawWhole(size_t pageIndex, const std::function<nvrprint::platform::CairoPtr()>& start);
    // Cuts the element the library's error points at out of the page's markup in the package
    // copy and opens the copy again; false when nothing could be cut.
    bool SkipFaultyElement(size_t pageIndex, const std::string& error);
    // The page at a 0-based index over all sub-documents; null when there is none.
    std::unique_ptr<Page> GetPage(size_t pageIndex);
    // The size a page is drawn at everywhere (page events, preview, images and the job): the
    // one measured at load.
    PageSize DrawingSize(size_t pageIndex) const;

    // Routes the library's warnings to the log while this manager lives.
    unsigned m_warningHandler = 0;
    std::unique_ptr<Package> m_package;
    int m_skipsLeft = kMaxSkippedInDocument;
    // Pages whose fault a cut did not remove: they are not cut again.
    std::set<size_t> m_unrepairablePages;
    uint64_t m_totalPages = 0;
    std::vector<PageSize> m_pageSizes;
    // The pages drawn as vector PDF for the print under way, and its printer.
    std::unique_ptr<ScratchFile> m_jobPdf;
    std::string m_printerName;
};

}  // namespace docmgr
