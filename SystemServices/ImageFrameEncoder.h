#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/Bitmap.h"

// Writes bitmaps as the frames of one multi-page image file, in three steps as image codecs
// of desktop systems do: the first frame creates the file, each further frame is added, a
// closing call ends it. A frame is written as bands of rows from the top: the bands are
// compressed first, several at once on any threads, then added in order. Every call that
// writes answers with a status: 0 is success.
namespace nvrprint::platform {

// Statuses.
inline constexpr int kImageOk = 0;
inline constexpr int kImageGenericError = 1;
inline constexpr int kImageInvalidParameter = 2;
inline constexpr int kImageOutOfMemory = 3;
inline constexpr int kImageWin32Error = 7;

// A frame's size, and the rows of each of its bands (the last one may have fewer).
struct FrameSize {
    int32_t width = 0;
    int32_t height = 0;
    int32_t bandRows = 0;
};

// A band of a frame, compressed.
struct EncodedBand {
    int32_t rows = 0;
    std::vector<uint8_t> bytes;
};

class ImageFrameEncoder {
public:
    virtual ~ImageFrameEncoder() = default;
    // Compresses a band: rows of top-down BGRA pixels, width * 4 bytes each, read where they
    // are. Touches no file and no state of the encoder, so any thread may call it at any
    // time; nullopt when the codec fails.
    virtual std::optional<EncodedBand> EncodeBand(const uint8_t* firstRow, int32_t width,
                                                  int32_t rows) const = 0;
    // Creates the file and starts its first frame.
    virtual int SaveImageToFile(const std::string& path, const FrameSize& frame) = 0;
    // Starts a further frame; the one before must be whole.
    virtual int SaveAddImage(const FrameSize& frame) = 0;
    // Adds the next band of the frame started last; the frame is written with its last row.
    virtual int AddBand(const EncodedBand& band) = 0;
    // Ends the file. A file not ended this way is ended when the encoder goes.
    virtual int SaveAdd() = 0;
};

using ImageFrameEncoderFactory = std::function<std::unique_ptr<ImageFrameEncoder>()>;

// Multi-page TIFF: 24-bit RGB, Deflate, one strip a band, the given resolution in its tags.
std::unique_ptr<ImageFrameEncoder> CreateTiffEncoder(int dotsPerInch);

}  // namespace nvrprint::platform
