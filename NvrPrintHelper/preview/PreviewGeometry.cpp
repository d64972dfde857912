#include "NvrPrintHelper/preview/PreviewGeometry.h"

#include <fmt/format.h>

#include <algorithm>

namespace nvrprint::preview {

FrameSize FrameSizeForPage(std::optional<std::pair<double, double>> pagePoints, Size screen) {
    FrameSize frame;
    if (!pagePoints || pagePoints->first <= 0.0 || pagePoints->second <= 0.0) {
        frame.client = {static_cast<int32_t>(screen.width * 0.8),
                        static_cast<int32_t>(screen.height * 0.8)};
        return frame;
    }
    auto pixelW = static_cast<int32_t>(pagePoints->first / 72.0 * 96.0);
    auto pixelH = static_cast<int32_t>(pagePoints->second / 72.0 * 96.0);
    int32_t thumbH = pixelW > 0 ? static_cast<int32_t>(pixelH * 130.0 / pixelW) : 0;
    int32_t stripHeight = thumbH * 4 + 195;

    int32_t height = std::max(pixelH + 40, stripHeight) + kToolbarAndStatusBand;
    auto maxHeight = static_cast<int32_t>(screen.height * 0.9);
    if (height > maxHeight) {
        height = maxHeight;
        frame.heightLimited = true;
    }
    int32_t width = pixelW + 260;
    auto maxWidth = static_cast<int32_t>(screen.width * 0.9);
    if (width > maxWidth) {
        width = maxWidth;
        frame.widthLimited = true;
    }
    frame.client = {width, height};
    return frame;
}

std::pair<int32_t, int32_t> CentredOrigin(Size frame, Size screen) {
    return {std::max(0, (screen.width - frame.width) / 2),
            std::max(0, (screen.height - frame.height) / 2)};
}

std::string PageStatusText(uint64_t currentPage, uint64_t pageCount) {
    return fmt::format("Page {} of {}", currentPage, pageCount);
}

std::string ZoomFieldText(double zoom) {
    return fmt::format("{}", static_cast<int32_t>(zoom * 100.0));
}

std::string ZoomStatusText(double zoom) {
    return "Zoom: " + ZoomFieldText(zoom) + "%";
}

StatusParts StatusPartEdges(int32_t barWidth, int32_t pageTextWidth, int32_t zoomTextWidth) {
    int32_t zoomWidth = zoomTextWidth + 50;
    int32_t pageWidth = pageTextWidth + 25;
    return {std::max(50, barWidth - pageWidth - zoomWidth), barWidth - zoomWidth, -1, pageWidth,
            zoomWidth};
}

}  // namespace nvrprint::preview
