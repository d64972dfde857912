#include "tests/support/TiffFrames.h"

#include <tiffio.h>

namespace testsupport {

std::vector<TiffFrame> ReadTiffFrames(const std::string& path) {
    std::vector<TiffFrame> frames;
    TIFF* tiff = TIFFOpen(path.c_str(), "r");
    for (bool more = tiff != nullptr; more; more = TIFFReadDirectory(tiff) != 0) {
        TiffFrame frame;
        TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &frame.width);
        TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &frame.height);
        TIFFGetField(tiff, TIFFTAG_XRESOLUTION, &frame.xDpi);
        TIFFGetField(tiff, TIFFTAG_YRESOLUTION, &frame.yDpi);
        TIFFGetField(tiff, TIFFTAG_RESOLUTIONUNIT, &frame.resolutionUnit);
        std::vector<uint32_t> rgba(static_cast<size_t>(frame.width) * frame.height);
        if (!TIFFReadRGBAImageOriented(tiff, frame.width, frame.height, rgba.data(),
                                       ORIENTATION_TOPLEFT, 0)) {
            break;
        }
        frame.rgb.reserve(rgba.size() * 3);
        for (uint32_t pixel : rgba) {
            frame.rgb.insert(frame.rgb.end(), {static_cast<uint8_t>(TIFFGetR(pixel)),
                                               static_cast<uint8_t>(TIFFGetG(pixel)),
                                               static_cast<uint8_t>(TIFFGetB(pixel))});
        }
        frames.push_back(std::move(frame));
    }
    if (tiff != nullptr) {
        TIFFClose(tiff);
    }
    return frames;
}

}  // namespace testsupport
