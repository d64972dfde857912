#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "DocFilePageMgr/DocFilePageMgrLib/DocFilePageMgr.h"

namespace docmgr {

// The PDF backend, serving the document class "pdfium". Pages are measured and rendered
// with poppler; the embedded job settings are read with qpdf.
class PageMgrPdfium final : public DocFilePageMgr {
public:
    PageMgrPdfium();
    ~PageMgrPdfium() override;

    // True when the file starts with "%PDF-".
    static bool CanHandleFile(const std::string& path);

    // The loaded file, for the print path that places its pages; empty before a load.
    const std::string& LoadedPath() const { return m_loadedPath; }

    // Text of an open-error code, as the log tells it.
    static std::string LoadErrorText(int code);

protected:
    bool OnLoadDocument(const std::string& path) override;
    uint64_t OnGetPageCount() override;
    BitmapPtr OnRenderPageBitmap(size_t pageIndex, const TargetParams& params) override;
    bool OnGetPageSizePoints(size_t pageIndex, double* width, double* height) override;
    // Places the source file's own page on the device.
    bool OnPlacePage(PrintDevice* device, size_t pageIndex, const PageCell& cell) override;
    bool OnPrintStarting(const std::string& printerName, const std::string& jobTitle,
                         PrintDevice* device) override;

private:
    struct PageSize {
        double width = 0.0;
        double height = 0.0;
    };
    struct Document;

    void OnDocumentSettingsAvailable(const std::string& json);
    bool CheckPageIndex(size_t pageIndex) const;

    std::unique_ptr<Document> m_document;
    uint64_t m_docPageCount = 0;
    std::vector<PageSize> m_pageSizes;
    std::once_flag m_renderFlagsLogged;
    std::string m_loadedPath;
};

}  // namespace docmgr
