// The multi-page TIFF codec, on libtiff: one directory per frame, RGB, one Deflate strip per
// band. The strips are compressed here with zlib, beside libtiff, so that several threads
// compress while libtiff only writes what they made, in order.
#include <tiffio.h>
#include <zlib.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <mutex>

#include "SystemServices/ImageFrameEncoder.h"
#include "logging/LogMacros.h"

namespace nvrprint::platform {
namespace {

// The fastest of zlib's levels that still finds the long runs of paper: on pages of text as
// small as the default level, at a third of its time.
constexpr int kDeflateLevel = 3;
// Rows converted at a time: the encoder's own memory is a few of them.
constexpr int32_t kRowsPerChunk = 16;

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

// Ends a zlib stream on every way out.
struct DeflateStream {
    z_stream z{};
    bool open = false;
    ~DeflateStream() {
        if (open) {
            deflateEnd(&z);
        }
    }
};

// Converts rows of BGRA into RGB.
void ToRgb(const uint8_t* bgra, size_t pixels, uint8_t* rgb) {
    for (size_t x = 0; x < pixels; ++x, bgra += 4, rgb += 3) {
        rgb[0] = bgra[2];
        rgb[1] = bgra[1];
        rgb[2] = bgra[0];
    }
}

class TiffEncoder final : public ImageFrameEncoder {
public:
    explicit TiffEncoder(int dotsPerInch) : m_dpi(dotsPerInch) { RouteTiffMessages(); }
    ~TiffEncoder() override { Close(); }

    std::optional<EncodedBand> EncodeBand(const uint8_t* firstRow, int32_t frameWidth,
                                          int32_t rows) const override {
        if (firstRow == nullptr || frameWidth <= 0 || rows <= 0) {
            return std::nullopt;
        }
        const size_t width = static_cast<size_t>(frameWidth);
        DeflateStream stream;
        if (deflateInit(&stream.z, kDeflateLevel) != Z_OK) {
            return std::nullopt;
        }
        stream.open = true;
        EncodedBand encoded;
        encoded.rows = rows;
        std::vector<uint8_t> rgb(width * 3 * kRowsPerChunk);
        for (int32_t row = 0; row < rows; row += kRowsPerChunk) {
            const int32_t chunk = std::min(kRowsPerChunk, rows - row);
            ToRgb(firstRow + static_cast<size_t>(row) * width * 4, width * chunk, rgb.data());
            stream.z.next_in = rgb.data();
            stream.z.avail_in = static_cast<uInt>(width * 3 * chunk);
            const bool last = row + chunk >= rows;
            int result = Z_OK;
            do {
                if (encoded.bytes.size() - stream.z.total_out < 16384) {
                    encoded.bytes.resize(stream.z.total_out + 65536);
                }
                stream.z.next_out = encoded.bytes.data() + stream.z.total_out;
                stream.z.avail_out = static_cast<uInt>(encoded.bytes.size() - stream.z.total_out);
                result = deflate(&stream.z, last ? Z_FINISH : Z_NO_FLUSH);
                if (result == Z_STREAM_ERROR) {
                    return std::nullopt;
                }
            } while (stream.z.avail_in > 0 || stream.z.avail_out == 0 ||
                     (last && result != Z_STREAM_END));
        }
        encoded.bytes.resize(stream.z.total_out);
        encoded.bytes.shrink_to_fit();
        return encoded;
    }

    int SaveImageToFile(const std::string& path, const FrameSize& frame) override {
        if (m_tiff != nullptr) {
            return kImageInvalidParameter;
        }
        m_tiff = TIFFOpen(path.c_str(), "w");
        if (m_tiff == nullptr) {
            return kImageWin32Error;
        }
        return StartFrame(frame);
    }

    int SaveAddImage(const FrameSize& frame) override {
        if (m_tiff == nullptr || m_rowsWritten < m_frame.height) {
            return kImageInvalidParameter;
        }
        return StartFrame(frame);
    }

    int AddBand(const EncodedBand& band) override {
        // Every band but the last has the frame's band rows: the strip follows from the rows.
        const bool fits = band.rows == m_frame.bandRows ||
                          (band.rows > 0 && m_rowsWritten + band.rows == m_frame.height);
        if (m_tiff == nullptr || !fits || m_rowsWritten + band.rows > m_frame.height) {
            return kImageInvalidParameter;
        }
        const uint32_t strip = static_cast<uint32_t>(m_rowsWritten / m_frame.bandRows);
        // libtiff takes the bytes as they are; it only reads them.
        if (TIFFWriteRawStrip(m_tiff, strip, const_cast<uint8_t*>(band.bytes.data()),
                              static_cast<tmsize_t>(band.bytes.size())) < 0) {
            return kImageWin32Error;
        }
        m_rowsWritten += band.rows;
        if (m_rowsWritten == m_frame.height && !TIFFWriteDirectory(m_tiff)) {
            return kImageWin32Error;
        }
        return kImageOk;
    }

    int SaveAdd() override {
        if (m_tiff == nullptr || m_rowsWritten < m_frame.height) {
            return kImageInvalidParameter;
        }
        return Close() ? kImageOk : kImageWin32Error;
    }

private:
    int StartFrame(const FrameSize& frame) {
        if (frame.width <= 0 || frame.height <= 0 || frame.bandRows <= 0) {
            return kImageInvalidParameter;
        }
        m_frame = frame;
        m_rowsWritten = 0;
        TIFFSetField(m_tiff, TIFFTAG_SUBFILETYPE, FILETYPE_PAGE);
        TIFFSetField(m_tiff, TIFFTAG_PAGENUMBER, static_cast<uint16_t>(m_frames++), 0);
        TIFFSetField(m_tiff, TIFFTAG_IMAGEWIDTH, static_cast<uint32_t>(frame.width));
        TIFFSetField(m_tiff, TIFFTAG_IMAGELENGTH, static_cast<uint32_t>(frame.height));
        TIFFSetField(m_tiff, TIFFTAG_BITSPERSAMPLE, 8);
        TIFFSetField(m_tiff, TIFFTAG_SAMPLESPERPIXEL, 3);
        TIFFSetField(m_tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
        TIFFSetField(m_tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
        TIFFSetField(m_tiff, TIFFTAG_COMPRESSION, COMPRESSION_ADOBE_DEFLATE);
        TIFFSetField(m_tiff, TIFFTAG_ROWSPERSTRIP, static_cast<uint32_t>(frame.bandRows));
        TIFFSetField(m_tiff, TIFFTAG_XRESOLUTION, static_cast<float>(m_dpi));
        TIFFSetField(m_tiff, TIFFTAG_YRESOLUTION, static_cast<float>(m_dpi));
        TIFFSetField(m_tiff, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
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
    FrameSize m_frame;
    int32_t m_rowsWritten = 0;
};

}  // namespace

std::unique_ptr<ImageFrameEncoder> CreateTiffEncoder(int dotsPerInch) {
    return std::make_unique<TiffEncoder>(dotsPerInch);
}

}  // namespace nvrprint::platform
