#pragma once

#include <memory>
#include <string>

#include "DocFilePageMgr.h"

namespace docmgr {

// The PDF backend, serving the document class "pdfium".
class PageMgrPdfium final : public DocFilePageMgr {
public:
    PageMgrPdfium();
    ~PageMgrPdfium() override;

    // True when the file starts with "%PDF-".
    static bool CanHandleFile(const std::string& path);

    int32_t GetDocumentType() override { return 1; }

protected:
    bool OnLoadDocument(const std::string& path) override;
    uint64_t OnGetPageCount() override;
    BitmapPtr OnRenderPageBitmap(size_t pageIndex, const TargetParams& params) override;
};

}  // namespace docmgr
