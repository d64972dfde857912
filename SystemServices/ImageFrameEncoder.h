#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/Bitmap.h"

// Writes bitmaps as the frames of one multi-page image file, in three steps as image codecs
// of desktop systems do: the first frame creates the file, each further frame is added, a
// closing call ends it. Every call answers with a status: 0 is success.
namespace nvrprint::platform {

// Statuses.
inline constexpr int kImageOk = 0;
inline constexpr int kImageGenericError = 1;
inline constexpr int kImageInvalidParameter = 2;
inline constexpr int kImageOutOfMemory = 3;
inline constexpr int kImageWin32Error = 7;

class ImageFrameEncoder {
public:
    virtual ~ImageFrameEncoder() = default;
    // Creates the file with its first frame.
    virtual int SaveImageToFile(const docmgr::Bitmap& frame, const std::string& path) = 0;
    // Appends a frame to the file made by SaveImageToFile.
    virtual int SaveAddImage(const docmgr::Bitmap& frame) = 0;
    // Ends the file. A file not ended this way is ended when the encoder goes.
    virtual int SaveAdd() = 0;
};

using ImageFrameEncoderFactory = std::function<std::unique_ptr<ImageFrameEncoder>()>;

// Multi-page TIFF: 24-bit RGB, lossless compression, the given resolution in its tags.
std::unique_ptr<ImageFrameEncoder> CreateTiffEncoder(int dotsPerInch);

}  // namespace nvrprint::platform
