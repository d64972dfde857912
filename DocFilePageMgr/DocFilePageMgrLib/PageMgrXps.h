#pragma once

#include <string>

#include "DocFilePageMgr.h"

namespace docmgr {

// The XPS and OXPS backend, serving the document classes "xps" and "winpdf".
class PageMgrXps final : public DocFilePageMgr {
public:
    PageMgrXps();
    ~PageMgrXps() override;

    // True for a ZIP archive whose first 512 bytes name an XPS part or content type.
    static bool CanHandleFile(const std::string& path);

    int32_t GetDocumentType() override { return 2; }

protected:
    bool OnLoadDocument(const std::string& path) override;
    uint64_t OnGetPageCount() override;
    BitmapPtr OnRenderPageBitmap(size_t pageIndex, const TargetParams& params) override;
};

}  // namespace docmgr
