#pragma once

#include <cstdint>
#include <optional>
#include <string>

// Window arithmetic of the preview that needs no window: the frame's size from the first
// page, and the status bar's texts and parts.
namespace nvrprint::preview {

// Fixed layout of the frame, in pixels.
inline constexpr int32_t kThumbnailPanelWidth = 220;
inline constexpr int32_t kToolbarBand = 60;
inline constexpr int32_t kToolbarAndStatusBand = 90;
inline constexpr int32_t kStatusBand = kToolbarAndStatusBand - kToolbarBand;

struct Size {
    int32_t width = 0;
    int32_t height = 0;
    bool operator==(const Size&) const = default;
};

struct FrameSize {
    Size client;
    bool heightLimited = false;  // cut to 90 percent of the screen
    bool widthLimited = false;
};

// The frame for a first page of the given size in points: room for the page at 96 DPI and
// for four thumbnails with their labels, within 90 percent of the screen. Without a page
// size, 80 percent of the screen.
FrameSize FrameSizeForPage(std::optional<std::pair<double, double>> pagePoints, Size screen);

// Top-left corner that centres a frame on the screen, never off its top or left edge.
std::pair<int32_t, int32_t> CentredOrigin(Size frame, Size screen);

std::string PageStatusText(uint64_t currentPage, uint64_t pageCount);
std::string ZoomStatusText(double zoom);
// The zoom as typed into the zoom field: the truncated percentage, no sign.
std::string ZoomFieldText(double zoom);

// Right edges of the status bar's three parts for a bar width and the measured widths of
// the two texts; the last part runs to the end (-1).
struct StatusParts {
    int32_t documentRight;
    int32_t pageRight;
    int32_t zoomRight;
    int32_t pageWidth;  // what the page and zoom parts need, whatever the bar's width
    int32_t zoomWidth;
};
StatusParts StatusPartEdges(int32_t barWidth, int32_t pageTextWidth, int32_t zoomTextWidth);

}  // namespace nvrprint::preview
