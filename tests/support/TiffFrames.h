#pragma once

#include <cstdint>
#include <string>
#include <vector>

// The frames of a multi-page TIFF file as a reader sees them: whole, decoded to RGB.
namespace testsupport {

struct TiffFrame {
    uint32_t width = 0;
    uint32_t height = 0;
    float xDpi = 0;
    float yDpi = 0;
    uint16_t resolutionUnit = 0;
    std::vector<uint8_t> rgb;  // top-down, width * 3 bytes a row
};

// Every frame, in order; empty when the file cannot be read, and the frames before a frame
// that cannot be decoded.
std::vector<TiffFrame> ReadTiffFrames(const std::string& path);

}  // namespace testsupport
