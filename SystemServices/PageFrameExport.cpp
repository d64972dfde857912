#include "SystemServices/PageFrameExport.h"

#include <algorithm>
#include <optional>

#include "logging/LogMacros.h"
#include "platform/OrderedWork.h"

namespace nvrprint {
namespace {

// An export failure: the specific line is logged where it is met, this one after it.
bool Failed(const char* what) {
    NVR_LOG_ERROR("Exception during export: {}", what);
    return false;
}

// Writes one page's bitmap as the next frame: its bands compressed on the workers, added in
// order. The status of the first call that failed, or kImageOk.
int WriteFrame(platform::ImageFrameEncoder& encoder, const docmgr::Bitmap& bitmap, bool first,
               const std::string& path, unsigned workers) {
    const platform::FrameSize frame{bitmap.Width(), bitmap.Height(), kFrameBandRows};
    int status = first ? encoder.SaveImageToFile(path, frame) : encoder.SaveAddImage(frame);
    if (status != platform::kImageOk) {
        return status;
    }
    const size_t bands =
        static_cast<size_t>((bitmap.Height() + kFrameBandRows - 1) / kFrameBandRows);
    // Read on this thread: the workers only read the rows.
    const uint8_t* pixels = bitmap.Bits();
    platform::RunInOrder<platform::EncodedBand>(
        bands, workers, workers * 2,
        [&](unsigned, size_t band) {
            const int32_t top = static_cast<int32_t>(band) * kFrameBandRows;
            return encoder.EncodeBand(pixels + static_cast<size_t>(top) * bitmap.Stride(),
                                      bitmap.Width(),
                                      std::min(kFrameBandRows, bitmap.Height() - top));
        },
        [&](size_t, std::optional<platform::EncodedBand>&& encoded) {
            status = encoded ? encoder.AddBand(*encoded) : platform::kImageOutOfMemory;
            return status == platform::kImageOk;
        });
    return status;
}

}  // namespace

bool ExportPageFrames(docmgr::DocFilePageMgr& document, uint64_t pageCount,
                      platform::ImageFrameEncoder& encoder, const std::string& path,
                      unsigned workers) {
    for (uint64_t n = 1; n <= pageCount; ++n) {
        NVR_LOG_DEBUG("Processing page {} of {}", n, pageCount);
        // Held for this page only: the manager keeps no page it is not asked to keep.
        std::shared_ptr<docmgr::PageImage> image =
            document.GetPageImage(static_cast<size_t>(n), docmgr::Printer);
        if (!image) {
            NVR_LOG_ERROR("Failed to render page {}", n);
            return Failed("Failed to render page");
        }
        if (!image->bitmap) {
            NVR_LOG_ERROR("Invalid bitmap handle for page {}", n);
            return Failed("Invalid bitmap handle");
        }
        const docmgr::Bitmap& bitmap = *image->bitmap;
        NVR_LOG_VERBOSE("Created GDI+ bitmap for page {} ({}x{})", n, bitmap.Width(),
                        bitmap.Height());
        const int status = WriteFrame(encoder, bitmap, n == 1, path, workers);
        if (n == 1 && status != platform::kImageOk) {
            NVR_LOG_ERROR("Failed to save first page (Status: {})", status);
            return Failed("Failed to save first page");
        }
        if (status != platform::kImageOk) {
            NVR_LOG_ERROR("Failed to append page {} (Status: {})", n, status);
            return Failed("Failed to append page");
        }
        if (n == 1) {
            NVR_LOG_DEBUG("First page saved successfully");
        } else {
            NVR_LOG_DEBUG("Page {} appended successfully", n);
        }
    }
    if (pageCount > 1) {
        const int status = encoder.SaveAdd();
        if (status != platform::kImageOk) {
            NVR_LOG_ERROR("Failed to flush TIFF file (Status: {})", status);
            return Failed("Failed to flush TIFF file");
        }
        NVR_LOG_DEBUG("Multi-page TIFF file closed successfully");
    } else {
        // One frame needs no closing call; the file is whole once the encoder goes.
        NVR_LOG_DEBUG("Single-page TIFF saved (no flush needed)");
    }
    return true;
}

}  // namespace nvrprint
