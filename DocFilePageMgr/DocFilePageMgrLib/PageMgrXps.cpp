#include "PageMgrXps.h"

#include "FileSignature.h"
#include "LogMacros.h"

namespace docmgr {

PageMgrXps::PageMgrXps() = default;

PageMgrXps::~PageMgrXps() { JoinLoadThread(); }

bool PageMgrXps::CanHandleFile(const std::string& path) {
    NVR_LOG_DEBUG("Checking file: {}", path);
    std::string head;
    if (!ReadFileHead(path, 512, &head)) {
        NVR_LOG_ERROR("Failed to open file: {}", path);
        return false;
    }
    if (head.size() < 4) {
        NVR_LOG_DEBUG("Insufficient bytes read");
        return false;
    }
    if (!head.starts_with("PK\x03\x04")) {
        NVR_LOG_DEBUG("File is not a ZIP archive");
        return false;
    }
    static constexpr const char* kMarkers[] = {"_rels/.rels", "FixedDocument",
                                               "application/vnd.ms-package.xps",
                                               "application/oxps"};
    for (const char* marker : kMarkers) {
        if (head.find(marker) != std::string::npos) {
            NVR_LOG_INFO("File is a valid XPS/OXPS: {}", path);
            return true;
        }
    }
    NVR_LOG_DEBUG("ZIP file is not XPS/OXPS: {}", path);
    return false;
}

bool PageMgrXps::OnLoadDocument(const std::string& path) {
    NVR_LOG_INFO("Loading XPS document: {}", path);
    NVR_LOG_ERROR("XPS Factory not initialized");
    return false;
}

uint64_t PageMgrXps::OnGetPageCount() { return 0; }

BitmapPtr PageMgrXps::OnRenderPageBitmap(size_t, const TargetParams&) { return nullptr; }

}  // namespace docmgr
