#include "DocFilePageMgr/DocFilePageMgrLib/PageMgrXps.h"

#include <cairo.h>
#include <libgxps/gxps.h>

#include <algorithm>
#include <cerrno>
#include <iterator>

#include "DocFilePageMgr/DocFilePageMgrLib/FileSignature.h"
#include "DocFilePageMgr/DocFilePageMgrLib/PageMgrXpsPrivate.h"
#include "DocFilePageMgr/DocFilePageMgrLib/XpsPackage.h"
#include "DocFilePageMgr/DocFilePageMgrLib/XpsPageRepair.h"
#include "DocFilePageMgr/DocFilePageMgrLib/XpsPageSizes.h"
#include "logging/LogMacros.h"
#include "platform/GObjectPtr.h"

namespace docmgr {
namespace {

using nvrprint::platform::GErrorPtr;
using nvrprint::platform::GObjectPtr;

constexpr PageMgrXps::PageSize kLetterUnits{816.0, 1056.0};
constexpr int32_t kMaxBitmapSide = 16384;

// The library's own warnings, to the log instead of standard error.
void LogLibraryWarning(const gchar*, GLogLevelFlags, const gchar* message, gpointer) {
    NVR_LOG_WARNING("libgxps: {}", message != nullptr ? message : "");
}

std::string ErrorText(const GError* error) {
    return error != nullptr && error->message != nullptr ? error->message : "unknown error";
}

nvrprint::Failure LibraryFailure(const GError* error) {
    return nvrprint::Failure{error != nullptr ? error->code : EIO, ErrorText(error)};
}

// A page's size, from the page itself.
PageMgrXps::PageSize MeasurePage(GXPSDocument* document, unsigned localIndex) {
    // The page's own Width and Height rule; the size the fixed document declares for it is
    // only advice, used where the page cannot be read or names none.
    GError* rawError = nullptr;
    GObjectPtr<GXPSPage> page(gxps_document_get_page(document, localIndex, &rawError));
    GErrorPtr pageError(rawError);
    double width = 0.0;
    double height = 0.0;
    if (page) {
        gxps_page_get_size(page.get(), &width, &height);
    } else {
        NVR_LOG_DEBUG("Failed to get page object for page {} ({}), using its declared size",
                      localIndex, ErrorText(pageError.get()));
    }
    if (width > 0.0 && height > 0.0) {
        return {width, height};
    }
    if (gxps_document_get_page_size(document, localIndex, &width, &height) && width > 0.0 &&
        height > 0.0) {
        return {width, height};
    }
    NVR_LOG_DEBUG("Failed to get page dimensions for page {}, using default letter size",
                  localIndex);
    return kLetterUnits;
}

}  // namespace

PageMgrXps::PageMgrXps()
    : m_warningHandler(g_log_set_handler("GXPS", static_cast<GLogLevelFlags>(G_LOG_LEVEL_MASK),
                                         &LogLibraryWarning, nullptr)) {}

PageMgrXps::~PageMgrXps() {
    JoinLoadThread();
    m_package.reset();
    g_log_remove_handler("GXPS", m_warningHandler);
}

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
    static constexpr const char* kMarkers[] = {
        "_rels/.rels", "FixedDocument", "application/vnd.ms-package.xps", "application/oxps"};
    const bool named = std::any_of(std::begin(kMarkers), std::end(kMarkers), [&](const char* m) {
        return head.find(m) != std::string::npos;
    });
    // A package whose first entries are compressed, interleaved or of another kind names
    // none of them in its first bytes; its directory tells.
    if (named || HasXpsPackageDirectory(path)) {
        NVR_LOG_INFO("File is a valid XPS/OXPS: {}", path);
        return true;
    }
    NVR_LOG_DEBUG("ZIP file is not XPS/OXPS: {}", path);
    return false;
}

nvrprint::Status PageMgrXps::OpenLibraryView(Package& package) {
    GObjectPtr<GFile> file(g_file_new_for_path(package.copy->Path().c_str()));
    GError* rawError = nullptr;
    GObjectPtr<GXPSFile> opened(gxps_file_new(file.get(), &rawError));
    GErrorPtr openError(rawError);
    if (!opened) {
        return LibraryFailure(openError.get());
    }
    std::vector<GObjectPtr<GXPSDocument>> documents;
    const guint documentCount = gxps_file_get_n_documents(opened.get());
    for (guint d = 0; d < documentCount; ++d) {
        rawError = nullptr;
        documents.emplace_back(gxps_file_get_document(opened.get(), d, &rawError));
        GErrorPtr documentError(rawError);
        if (!documents.back()) {
            NVR_LOG_ERROR("Failed to get document {} ({})", d, ErrorText(documentError.get()));
        }
    }
    package.file = std::move(opened);
    package.documents = std::move(documents);
    return {};
}

bool PageMgrXps::OnLoadDocument(const std::string& path) {
    NVR_LOG_INFO("Loading XPS document: {}", path);
    m_package.reset();
    m_totalPages = 0;
    m_pageSizes.clear();
    m_skipsLeft = kMaxSkippedInDocument;
    m_unrepairablePages.clear();

    // The library reads only a checked, plain copy of the package.
    auto package = std::make_unique<Package>();
    auto copy = ScratchFile::Create(ScratchDirectory(), "package", "xps");
    if (!copy) {
        NVR_LOG_ERROR(
            "Failed to create package from file (cannot make a working copy, Error: {}): {}",
            copy.error().code, path);
        return false;
    }
    package->copy = std::move(copy).value();
    nvrprint::Status opened = RewriteXpsPackage(path, package->copy->Path());
    if (opened) {
        opened = OpenLibraryView(*package);
    }
    if (!opened) {
        NVR_LOG_ERROR("Failed to create package from file ({}): {}", opened.error().text, path);
        return false;
    }
    NVR_LOG_DEBUG("Package created successfully");
    NVR_LOG_DEBUG("Document sequence obtained");
    NVR_LOG_DEBUG("XPS package contains {} sub-document(s)", package->documents.size());

    // The pages' sizes from the package's own parts where its structure is read as the library
    // reads it; otherwise page by page through the library.
    auto extents = ReadXpsPageExtents(package->copy->Path());
    if (extents && extents->size() != package->documents.size()) {
        extents.reset();
    }
    for (size_t d = 0; d < package->documents.size(); ++d) {
        GXPSDocument* document = package->documents[d].get();
        if (document == nullptr) {
            continue;
        }
        const guint pages = gxps_document_get_n_pages(document);
        m_totalPages += pages;
        NVR_LOG_DEBUG("Document {} has {} page(s)", d, pages);
        if (m_totalPages > kMaxPages) {
            NVR_LOG_ERROR("Document has more than {} pages", kMaxPages);
            return false;
        }
        const std::vector<XpsPageExtent>* named =
            extents && (*extents)[d].size() == pages ? &(*extents)[d] : nullptr;
        for (guint p = 0; p < pages; ++p) {
            const bool sized = named && (*named)[p].width > 0.0 && (*named)[p].height > 0.0;
            PageSize size =
                sized ? PageSize{(*named)[p].width, (*named)[p].height} : MeasurePage(document, p);
            if (size.width > kMaxPageUnits || size.height > kMaxPageUnits) {
                NVR_LOG_ERROR("Page {} of document {} is too large ({}x{} in 1/96 inch)", p, d,
                              size.width, size.height);
                return false;
            }
            m_pageSizes.push_back(size);
            NVR_LOG_VERBOSE("Page {} size: {}x{} pts", m_pageSizes.size(), ToPoints(size.width),
                            ToPoints(size.height));
        }
    }
    m_package = std::move(package);
    if (m_totalPages > 0) {
        NVR_LOG_INFO("Successfully loaded XPS document with {} total page(s)", m_totalPages);
    } else {
        NVR_LOG_ERROR("Document loaded but has 0 pages");
    }
    return m_totalPages > 0;
}

uint64_t PageMgrXps::OnGetPageCount() {
    return m_totalPages;
}

bool PageMgrXps::OnGetPageSizePoints(size_t pageIndex, double* width, double* height) {
    const PageSize size = DrawingSize(pageIndex);
    *width = ToPoints(size.width);
    *height = ToPoints(size.height);
    if (pageIndex >= m_pageSizes.size()) {
        NVR_LOG_DEBUG("Page index {} out of range (0-{}), using default letter size", pageIndex,
                      static_cast<int64_t>(m_pageSizes.size()) - 1);
    } else {
        NVR_LOG_VERBOSE("Page {} size: {}x{} pts", pageIndex + 1, *width, *height);
    }
    return true;
}

std::unique_ptr<PageMgrXps::Page> PageMgrXps::GetPage(size_t pageIndex) {
    NVR_LOG_VERBOSE("Requesting page at index {}", pageIndex);
    if (!m_package) {
        NVR_LOG_ERROR("Documents collection not initialized");
        return nullptr;
    }
    size_t offset = 0;
    for (size_t d = 0; d < m_package->documents.size(); ++d) {
        GXPSDocument* document = m_package->documents[d].get();
        if (document == nullptr) {
            NVR_LOG_ERROR("Failed to get document {}", d);
            continue;
        }
        const size_t count = gxps_document_get_n_pages(document);
        if (pageIndex >= offset + count) {
            offset += count;
            continue;
        }
        const size_t local = pageIndex - offset;
        NVR_LOG_DEBUG("Found page {} in document {} at local index {}", pageIndex, d, local);
        GError* rawError = nullptr;
        GObjectPtr<GXPSPage> page(
            gxps_document_get_page(document, static_cast<guint>(local), &rawError));
        GErrorPtr error(rawError);
        if (!page) {
            NVR_LOG_ERROR("Failed to get page object from page reference ({})",
                          ErrorText(error.get()));
            return nullptr;
        }
        NVR_LOG_VERBOSE("Successfully retrieved page {}", pageIndex);
        auto result = std::make_unique<Page>();
        result->handle = std::move(page);
        return result;
    }
    NVR_LOG_ERROR("Page index {} not found (total pages: {})", pageIndex, m_totalPages);
    return nullptr;
}

bool PageMgrXps::DrawWhole(size_t pageIndex, const std::function<CairoPtr()>& start) {
    std::string previous;
    for (int skipped = 0;; ++skipped) {
        std::unique_ptr<Page> page = GetPage(pageIndex);
        if (!page) {
            NVR_LOG_ERROR("Failed to get page {}", pageIndex + 1);
            return false;
        }
        CairoPtr cr = start();
        const nvrprint::Status drawn = page->Draw(cr.get());
        if (drawn) {
            return true;
        }
        std::string reason = drawn.error().text;
        // The same fault after a cut: the cut missed it, and the page is left as it is.
        const bool cutMissed = reason == previous;
        if (cutMissed) {
            m_unrepairablePages.insert(pageIndex);
        }
        if (cutMissed || skipped == kMaxSkippedElements || !SkipFaultyElement(pageIndex, reason)) {
            NVR_LOG_ERROR("Failed to draw page {}: {}", pageIndex + 1, reason);
            return false;
        }
        previous = std::move(reason);
    }
}

bool PageMgrXps::SkipFaultyElement(size_t pageIndex, const std::string& error) try {
    if (m_skipsLeft == 0 || m_unrepairablePages.contains(pageIndex)) {
        return false;
    }
    const std::optional<XpsDrawingFault> fault = ParseDrawingFault(error);
    const std::optional<std::string> markup =
        fault ? ReadPackagePart(m_package->copy->Path(), fault->part) : std::nullopt;
    const std::optional<ElementCut> cut = markup ? CutFaultyElement(*markup, *fault) : std::nullopt;
    if (!cut || !ReplacePackagePart(m_package->copy->Path(), fault->part, cut->markup) ||
        !OpenLibraryView(*m_package)) {
        return false;
    }
    --m_skipsLeft;
    NVR_LOG_WARNING("Skipped {} on page {}, which cannot be drawn: {}", cut->element, pageIndex + 1,
                    fault->detail);
    return true;
} catch (const std::exception& e) {
    NVR_LOG_ERROR("Cannot skip the faulty element of page {}: {}", pageIndex + 1, e.what());
    return false;
}

nvrprint::Status PageMgrXps::Page::Draw(cairo_t* cr) const {
    GError* rawError = nullptr;
    const bool drawn = gxps_page_render(handle.get(), cr, &rawError);
    GErrorPtr error(rawError);
    if (!drawn) {
        return LibraryFailure(error.get());
    }
    return {};
}

PageMgrXps::PageSize PageMgrXps::DrawingSize(size_t pageIndex) const {
    if (pageIndex < m_pageSizes.size()) {
        return m_pageSizes[pageIndex];
    }
    return kLetterUnits;
}

BitmapPtr PageMgrXps::OnRenderPageBitmap(size_t pageIndex, const TargetParams& params) {
    NVR_LOG_DEBUG("Rendering page {} at DPI {}x{} with scale {}", pageIndex + 1, params.dpiX,
                  params.dpiY, params.scale);
    const PageSize drawing = DrawingSize(pageIndex);
    const double width = drawing.width;
    const double height = drawing.height;
    const double pixelsWide = width / 96.0 * params.dpiX * params.scale + 0.5;
    const double pixelsHigh = height / 96.0 * params.dpiY * params.scale + 0.5;
    const int64_t pixelWidth = pixelsWide < 1e9 ? static_cast<int64_t>(pixelsWide) : -1;
    const int64_t pixelHeight = pixelsHigh < 1e9 ? static_cast<int64_t>(pixelsHigh) : -1;
    NVR_LOG_VERBOSE("Page size: {}x{} (1/96\"), rendering to {}x{} pixels", width, height,
                    pixelWidth, pixelHeight);
    if (pixelWidth < 1 || pixelHeight < 1 || pixelWidth > kMaxBitmapSide ||
        pixelHeight > kMaxBitmapSide) {
        NVR_LOG_ERROR("Invalid bitmap dimensions: {}x{} (must be > 0 and <= 16384)", pixelWidth,
                      pixelHeight);
        return nullptr;
    }
    BitmapPtr bitmap =
        Bitmap::Create(static_cast<int32_t>(pixelWidth), static_cast<int32_t>(pixelHeight));
    if (!bitmap) {
        NVR_LOG_ERROR("Failed to create DIB section");
        return nullptr;
    }
    NVR_LOG_DEBUG("DIB section created successfully");
    bitmap->Fill(0xFF, 0xFF, 0xFF);
    // Each attempt starts from white paper.
    const bool drawn = DrawWhole(pageIndex, [&] {
        bitmap->Fill(0xFF, 0xFF, 0xFF);
        CairoPtr cr(cairo_create(bitmap->Surface()));
        cairo_scale(cr.get(), static_cast<double>(pixelWidth) / width,
                    static_cast<double>(pixelHeight) / height);
        return cr;
    });
    cairo_surface_flush(bitmap->Surface());
    if (!drawn) {
        NVR_LOG_ERROR("Failed to render page {}", pageIndex + 1);
        return nullptr;
    }
    NVR_LOG_VERBOSE("Successfully rendered page {}", pageIndex + 1);
    return bitmap;
}

}  // namespace docmgr
