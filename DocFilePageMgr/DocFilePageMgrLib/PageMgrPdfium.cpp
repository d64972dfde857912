#include "PageMgrPdfium.h"

#include "FileSignature.h"
#include "LogMacros.h"

namespace docmgr {

PageMgrPdfium::PageMgrPdfium() = default;

PageMgrPdfium::~PageMgrPdfium() { JoinLoadThread(); }

bool PageMgrPdfium::CanHandleFile(const std::string& path) {
    NVR_LOG_DEBUG("Checking file: {}", path);
    std::string head;
    if (!ReadFileHead(path, 8, &head)) {
        NVR_LOG_ERROR("Failed to open file: {}", path);
        return false;
    }
    if (head.size() < 5) {
        NVR_LOG_DEBUG("Insufficient bytes read");
        return false;
    }
    if (head.starts_with("%PDF-")) {
        NVR_LOG_INFO("File is a valid PDF: {}", path);
        return true;
    }
    NVR_LOG_DEBUG("File is not a PDF: {}", path);
    return false;
}

bool PageMgrPdfium::OnLoadDocument(const std::string& path) {
    NVR_LOG_INFO("Loading PDF: {}", path);
    NVR_LOG_ERROR("Failed to load PDF ({}): {}", "PDF rendering engine not available", path);
    return false;
}

uint64_t PageMgrPdfium::OnGetPageCount() { return 0; }

BitmapPtr PageMgrPdfium::OnRenderPageBitmap(size_t, const TargetParams&) { return nullptr; }

}  // namespace docmgr
