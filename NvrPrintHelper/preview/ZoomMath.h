#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "NvrPrintHelper/preview/PreviewGeometry.h"

// The page view's zoom and scroll arithmetic. Zoom 1.0 shows one pixel of the 300 DPI
// screen image per screen pixel.
namespace nvrprint::preview {

inline constexpr double kZoomStep = 1.25;
inline constexpr double kZoomMax = 1.5;
inline constexpr double kZoomMin = 0.1;
inline constexpr int32_t kTypedZoomMin = 10;
inline constexpr int32_t kTypedZoomMax = 150;
inline constexpr int32_t kFitMargin = 20;
inline constexpr int32_t kLineStep = 20;
inline constexpr int32_t kWheelStepPerNotch = 60;
inline constexpr int32_t kWheelDelta = 120;

struct Scroll {
    int32_t x = 0;
    int32_t y = 0;
    bool operator==(const Scroll&) const = default;
};

// Zooming in or out keeps the same region in view: the scroll values scale with the zoom.
struct ZoomState {
    double zoom = 1.0;
    Scroll scroll;
};
ZoomState ZoomIn(ZoomState state);
ZoomState ZoomOut(ZoomState state);

// The zoom that fits an image into the client with the margin, within the zoom limits;
// nothing when the client leaves no room.
std::optional<double> FitZoom(Size image, Size client);

// The image's size at a zoom, truncated.
Size ScaledSize(Size image, double zoom);

// Scroll values within what the scaled image leaves outside the client.
Scroll ClampScroll(Scroll scroll, Size scaled, Size client);

// Where a scaled image is drawn: centred along an axis where it fits, else at the scroll.
std::pair<int32_t, int32_t> ImageOrigin(Size scaled, Size client, Scroll scroll);

// A typed zoom: leading digits as std::stoi reads them. Nothing for text without digits
// or out of the integer range; the caller checks the 10..150 range.
std::optional<int32_t> ParseTypedZoom(const std::string& text);

// Scroll bar commands, by their effect along one axis: a line is lineStep, a page the client's
// extent; the result stays within 0 and the limit.
enum class ScrollCommand { LineUp, LineDown, PageUp, PageDown, Track, Top, Bottom };
int32_t ScrollTo(ScrollCommand command, int32_t current, int32_t position, int32_t clientExtent,
                 int32_t limit, int32_t lineStep = kLineStep);

// One wheel delta (120 a notch, positive away from the user) as a change of scroll
// position: whole notches only.
int32_t WheelScrollChange(int32_t delta, int32_t stepPerNotch);

}  // namespace nvrprint::preview
