#include "DocFilePageMgr/DocFilePageMgrLib/PageMgrPdfium.h"

#include <cairo.h>
#include <poppler.h>

#include <filesystem>

#include "DocFilePageMgr/DocFilePageMgrLib/EmbeddedSettings.h"
#include "DocFilePageMgr/DocFilePageMgrLib/FileSignature.h"
#include "logging/LogMacros.h"
#include "platform/CairoPtr.h"
#include "platform/GObjectPtr.h"

namespace docmgr {
namespace {

// Open-error codes of the log, after the PDF engine's own classification.
enum LoadError : int {
    kSuccess = 0,
    kUnknown = 1,
    kFile = 2,
    kFormat = 3,
    kPassword = 4,
    kSecurity = 5,
    kPage = 6,
};

using nvrprint::platform::CairoPtr;
using nvrprint::platform::GErrorPtr;
using nvrprint::platform::GObjectPtr;

int ClassifyOpenError(const GError* error) {
    if (error == nullptr) {
        return kUnknown;
    }
    if (error->domain == G_FILE_ERROR) {
        return kFile;
    }
    if (error->domain != POPPLER_ERROR) {
        return kUnknown;
    }
    switch (error->code) {
        case POPPLER_ERROR_OPEN_FILE:
            return kFile;
        case POPPLER_ERROR_INVALID:
        case POPPLER_ERROR_BAD_CATALOG:
        case POPPLER_ERROR_DAMAGED:
            return kFormat;
        case POPPLER_ERROR_ENCRYPTED:
            return kPassword;
        default:
            return kUnknown;
    }
}

}  // namespace

struct PageMgrPdfium::Document {
    GObjectPtr<PopplerDocument> handle;

    GObjectPtr<PopplerPage> LoadPage(size_t index) const {
        return GObjectPtr<PopplerPage>(
            poppler_document_get_page(handle.get(), static_cast<int>(index)));
    }
};

PageMgrPdfium::PageMgrPdfium() = default;

PageMgrPdfium::~PageMgrPdfium() {
    JoinLoadThread();
    if (m_document) {
        m_document.reset();
        NVR_LOG_DEBUG("Closed PDF document");
    }
}

std::string PageMgrPdfium::LoadErrorText(int code) {
    switch (code) {
        case kSuccess:
            return "Success";
        case kUnknown:
            return "Unknown error";
        case kFile:
            return "File not found or could not be opened";
        case kFormat:
            return "File not in PDF format or corrupted";
        case kPassword:
            return "Password required";
        case kSecurity:
            return "Unsupported security scheme";
        case kPage:
            return "Page not found or content error";
        default:
            return fmt::format("Error code: {}", code);
    }
}

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
    if (m_document) {
        NVR_LOG_DEBUG("Closing previous document");
        m_document.reset();
    }
    if (path.empty()) {
        NVR_LOG_ERROR("Failed to convert path to UTF-8 (Error: {}): {}", EINVAL, path);
        return false;
    }

    // The engine opens files by URI, which needs an absolute path.
    std::error_code ec;
    const std::string absolute = std::filesystem::absolute(path, ec).string();
    GError* rawError = nullptr;
    gchar* uri = g_filename_to_uri(ec ? path.c_str() : absolute.c_str(), nullptr, &rawError);
    PopplerDocument* handle = nullptr;
    if (uri != nullptr) {
        handle = poppler_document_new_from_file(uri, nullptr, &rawError);
        g_free(uri);
    }
    GErrorPtr error(rawError);
    if (handle == nullptr) {
        NVR_LOG_ERROR("Failed to load PDF ({}): {}", LoadErrorText(ClassifyOpenError(error.get())),
                      path);
        return false;
    }
    m_document = std::make_unique<Document>();
    m_document->handle.reset(handle);
    m_loadedPath = path;

    int count = poppler_document_get_n_pages(handle);
    m_docPageCount = count > 0 ? static_cast<uint64_t>(count) : 0;
    // Every page's size is read here, once: later readers on any thread only look them up.
    m_pageSizes.assign(m_docPageCount, PageSize{});
    for (uint64_t i = 0; i < m_docPageCount; ++i) {
        if (GObjectPtr<PopplerPage> page = m_document->LoadPage(i)) {
            poppler_page_get_size(page.get(), &m_pageSizes[i].width, &m_pageSizes[i].height);
        }
    }

    std::string json = ExtractEmbeddedSettings(path);
    NVR_LOG_INFO("Extracted embedded print job settings from PDF");
    OnDocumentSettingsAvailable(json);

    NVR_LOG_INFO("Successfully loaded PDF with {} page(s): {}", m_docPageCount, path);
    return m_docPageCount > 0;
}

void PageMgrPdfium::OnDocumentSettingsAvailable(const std::string& json) {
    NVR_LOG_DEBUG("Signaling event with {} byte JSON payload", json.size());
    if (json.empty()) {
        NVR_LOG_WARNING("Empty JSON settings string");
        return;
    }
    NVR_LOG_DEBUG(
        "Document settings will be merged by NvrPrintHelper with printer defaults and "
        "overrides");
    if (HasEventCallback()) {
        FireEvent(DocumentSettingsAvailable, DocumentSettingsAvailableData{json});
        NVR_LOG_VERBOSE("Event dispatched successfully");
    }
}

uint64_t PageMgrPdfium::OnGetPageCount() {
    return m_docPageCount;
}

bool PageMgrPdfium::CheckPageIndex(size_t pageIndex) const {
    if (!m_document) {
        NVR_LOG_ERROR("No document loaded");
        return false;
    }
    if (pageIndex >= m_docPageCount) {
        NVR_LOG_ERROR("Page index {} out of range (0-{})", pageIndex,
                      static_cast<int64_t>(m_docPageCount) - 1);
        return false;
    }
    return true;
}

bool PageMgrPdfium::OnGetPageSizePoints(size_t pageIndex, double* width, double* height) {
    if (!CheckPageIndex(pageIndex)) {
        return false;
    }
    const PageSize& cached = m_pageSizes[pageIndex];
    if (cached.width == 0.0 && cached.height == 0.0) {
        NVR_LOG_ERROR("Failed to load page {}", pageIndex + 1);
        return false;
    }
    NVR_LOG_VERBOSE("Page {} size: {}x{} pts", pageIndex + 1, cached.width, cached.height);
    *width = cached.width;
    *height = cached.height;
    return true;
}

BitmapPtr PageMgrPdfium::OnRenderPageBitmap(size_t pageIndex, const TargetParams& params) {
    nvrprint::Logger::Instance().LogPrintf("docmgr::PageMgrPdfium::OnRenderPageBitmap", __FILE__,
                                           __LINE__,
                                           "Rendering page %zu at DPI %dx%d with scale %.2f",
                                           pageIndex + 1, params.dpiX, params.dpiY, params.scale);
    if (!CheckPageIndex(pageIndex)) {
        return nullptr;
    }
    GObjectPtr<PopplerPage> page = m_document->LoadPage(pageIndex);
    if (!page) {
        NVR_LOG_ERROR("Failed to load page {}", pageIndex + 1);
        return nullptr;
    }
    double width = 0.0;
    double height = 0.0;
    poppler_page_get_size(page.get(), &width, &height);
    const int32_t pixelWidth =
        static_cast<int32_t>(width / 72.0 * params.dpiX * params.scale + 0.5);
    const int32_t pixelHeight =
        static_cast<int32_t>(height / 72.0 * params.dpiY * params.scale + 0.5);
    if (pixelWidth <= 0 || pixelHeight <= 0) {
        NVR_LOG_ERROR("Invalid dimensions calculated ({}x{})", pixelWidth, pixelHeight);
        return nullptr;
    }
    NVR_LOG_VERBOSE("Page {} size: {}x{} pts, rendering at {}x{} pixels", pageIndex + 1, width,
                    height, pixelWidth, pixelHeight);

    BitmapPtr bitmap = Bitmap::Create(pixelWidth, pixelHeight);
    if (!bitmap) {
        NVR_LOG_ERROR("Failed to create DIB section (Error: {})", ENOMEM);
        return nullptr;
    }
    CairoPtr cr(cairo_create(bitmap->Surface()));
    if (cairo_status(cr.get()) != CAIRO_STATUS_SUCCESS) {
        NVR_LOG_ERROR("Failed to create PDFium bitmap wrapper");
        return nullptr;
    }
    bitmap->Fill(0xFF, 0xFF, 0xFF);
    // Poppler draws annotations and smooths text by itself: the display flags of the log
    // name what every render does, once per document.
    std::call_once(m_renderFlagsLogged,
                   [] { NVR_LOG_VERBOSE("Using default render flags: 0x{:x}", 0x1003); });
    cairo_scale(cr.get(), pixelWidth / width, pixelHeight / height);
    poppler_page_render(page.get(), cr.get());
    cr.reset();
    cairo_surface_flush(bitmap->Surface());
    NVR_LOG_DEBUG("Successfully rendered page {}", pageIndex + 1);
    return bitmap;
}

}  // namespace docmgr
