// The multi-page TIFF codec, on libtiff: one directory per frame, RGB, Deflate with the
// horizontal predictor.
#include <tiffio.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <vector>

#include "SystemServices/ImageFrameEncoder.h"
#include "logging/LogMacros.h"

namespace nvrprint::platform {
namespace {

std::string FormatMessage(const char* module, const char* format, va_list args) {
    char text[1024];
    std::vsnprintf(text, sizeof text, format, args);
    return module != nullptr ? std::string(module) + ": " + text : std::string(text);
}

void LogTiffError(const char* module, const char* format, va_list args) {
    NVR_LOG_ERROR("libtiff: {}", FormatMessage(module, format, args));
}

void LogTiffWarning(const char* module, const char* format, va_list args) {
    NVR_LOG_DEBUG("libtiff: {}", FormatMessage(module, format, args));
}

// The library's messages go to the log, not to standard error.
void RouteTiffMessages() {
    static std::once_flag once;
    std::call_once(once, [] {
        TIFFSetErrorHandler(LogTiffError);
        TIFFSetWarningHandler(LogTiffWarning);
    });
}

class TiffEncoder final : public ImageFrameEncoder {
public:
    explicit TiffEncoder(int dotsPerInch) : m_dpi(dotsPerInch) { RouteTiffMessages(); }
    ~TiffEncoder() override { Close(); }

    int SaveImageToFile(const docmgr::Bitmap& frame, const std::string& path) override {
        if (m_tiff != nullptr) {
            return kImageInvalidParameter;
        }
        errno = 0;
        m_tiff = TIFFOpen(path.c_str(), "w");
        if (m_tiff == nullptr) {
            return kImageWin32Error;
        }
        return WriteFrame(frame);
    }

    int SaveAddImage(const docmgr::Bitmap& frame) override {
        if (m_tiff == nullptr) {
            return kImageInvalidParameter;
        }
        return WriteFrame(frame);
    }

    int SaveAdd() override {
        if (m_tiff == nullptr) {
            return kImageInvalidParameter;
        }
        return Close() ? kImageOk : kImageWin32Error;
    }

private:
    int WriteFrame(const docmgr::Bitmap& frame) {
        const uint32_t width = static_cast<uint32_t>(frame.Width());
        const uint32_t height = static_cast<uint32_t>(frame.Height());
        TIFFSetField(m_tiff, TIFFTAG_SUBFILETYPE, FILETYPE_PAGE);
        TIFFSetField(m_tiff, TIFFTAG_PAGENUMBER, static_cast<uint16_t>(m_frames), 0);
        TIFFSetField(m_tiff, TIFFTAG_IMAGEWIDTH, width);
        TIFFSetField(m_tiff, TIFFTAG_IMAGELENGTH, height);
        TIFFSetField(m_tiff, TIFFTAG_BITSPERSAMPLE, 8);
        TIFFSetField(m_tiff, TIFFTAG_SAMPLESPERPIXEL, 3);
        TIFFSetField(m_tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
        TIFFSetField(m_tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
        TIFFSetField(m_tiff, TIFFTAG_COMPRESSION, COMPRESSION_ADOBE_DEFLATE);
        TIFFSetField(m_tiff, TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
        TIFFSetField(m_tiff, TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(m_tiff, 0));
        TIFFSetField(m_tiff, TIFFTAG_XRESOLUTION, static_cast<float>(m_dpi));
        TIFFSetField(m_tiff, TIFFTAG_YRESOLUTION, static_cast<float>(m_dpi));
        TIFFSetField(m_tiff, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);

        std::vector<uint8_t> row(static_cast<size_t>(width) * 3);
        for (uint32_t y = 0; y < height; ++y) {
            const uint8_t* pixel = frame.Bits() + static_cast<size_t>(y) * frame.Stride();
            for (uint32_t x = 0; x < width; ++x, pixel += 4) {
                row[x * 3] = pixel[2];
                row[x * 3 + 1] = pixel[1];
                row[x * 3 + 2] = pixel[0];
            }
            if (TIFFWriteScanline(m_tiff, row.data(), y, 0) < 0) {
                return kImageWin32Error;
            }
        }
        if (!TIFFWriteDirectory(m_tiff)) {
            return kImageWin32Error;
        }
        ++m_frames;
        return kImageOk;
    }

    bool Close() {
        if (m_tiff == nullptr) {
            return true;
        }
        const bool flushed = TIFFFlush(m_tiff) != 0;
        TIFFClose(m_tiff);
        m_tiff = nullptr;
        return flushed;
    }

    int m_dpi;
    TIFF* m_tiff = nullptr;
    int m_frames = 0;
};

}  // namespace

std::unique_ptr<ImageFrameEncoder> CreateTiffEncoder(int dotsPerInch) {
    return std::make_unique<TiffEncoder>(dotsPerInch);
}

}  // namespace nvrprint::platform
