#include "NvrPrintHelper/preview/ZoomMath.h"

#include <algorithm>
#include <cctype>
#include <climits>

namespace nvrprint::preview {

ZoomState ZoomIn(ZoomState state) {
    state.zoom = std::min(state.zoom * kZoomStep, kZoomMax);
    state.scroll = {static_cast<int32_t>(state.scroll.x * kZoomStep),
                    static_cast<int32_t>(state.scroll.y * kZoomStep)};
    return state;
}

ZoomState ZoomOut(ZoomState state) {
    state.zoom = std::max(state.zoom / kZoomStep, kZoomMin);
    state.scroll = {static_cast<int32_t>(state.scroll.x / kZoomStep),
                    static_cast<int32_t>(state.scroll.y / kZoomStep)};
    return state;
}

std::optional<double> FitZoom(Size image, Size client) {
    int32_t availableW = client.width - kFitMargin;
    int32_t availableH = client.height - kFitMargin;
    if (availableW < 1 || availableH < 1 || image.width < 1 || image.height < 1) {
        return std::nullopt;
    }
    double zoom = std::min(static_cast<double>(availableW) / image.width,
                           static_cast<double>(availableH) / image.height);
    return std::clamp(zoom, kZoomMin, kZoomMax);
}

Size ScaledSize(Size image, double zoom) {
    return {static_cast<int32_t>(image.width * zoom), static_cast<int32_t>(image.height * zoom)};
}

Scroll ClampScroll(Scroll scroll, Size scaled, Size client) {
    return {std::clamp(scroll.x, 0, std::max(scaled.width - client.width, 0)),
            std::clamp(scroll.y, 0, std::max(scaled.height - client.height, 0))};
}

std::pair<int32_t, int32_t> ImageOrigin(Size scaled, Size client, Scroll scroll) {
    int32_t x = scaled.width <= client.width ? (client.width - scaled.width) / 2 : -scroll.x;
    int32_t y = scaled.height <= client.height ? (client.height - scaled.height) / 2 : -scroll.y;
    return {x, y};
}

std::optional<int32_t> ParseTypedZoom(const std::string& text) {
    size_t at = 0;
    while (at < text.size() && std::isspace(static_cast<unsigned char>(text[at]))) {
        ++at;
    }
    bool negative = false;
    if (at < text.size() && (text[at] == '+' || text[at] == '-')) {
        negative = text[at] == '-';
        ++at;
    }
    if (at >= text.size() || !std::isdigit(static_cast<unsigned char>(text[at]))) {
        return std::nullopt;
    }
    long long value = 0;
    for (; at < text.size() && std::isdigit(static_cast<unsigned char>(text[at])); ++at) {
        value = value * 10 + (text[at] - '0');
        if (value > static_cast<long long>(INT_MAX) + 1) {
            return std::nullopt;
        }
    }
    value = negative ? -value : value;
    if (value > INT_MAX || value < INT_MIN) {
        return std::nullopt;
    }
    return static_cast<int32_t>(value);
}

int32_t ScrollTo(ScrollCommand command, int32_t current, int32_t position, int32_t clientExtent,
                 int32_t limit, int32_t lineStep) {
    int32_t next = current;
    switch (command) {
        case ScrollCommand::LineUp:
            next = current - lineStep;
            break;
        case ScrollCommand::LineDown:
            next = current + lineStep;
            break;
        case ScrollCommand::PageUp:
            next = current - clientExtent;
            break;
        case ScrollCommand::PageDown:
            next = current + clientExtent;
            break;
        case ScrollCommand::Track:
            next = position;
            break;
        case ScrollCommand::Top:
            next = 0;
            break;
        case ScrollCommand::Bottom:
            next = limit;
            break;
    }
    return std::clamp(next, 0, std::max(limit, 0));
}

int32_t WheelScrollChange(int32_t delta, int32_t stepPerNotch) {
    return -(delta / kWheelDelta) * stepPerNotch;
}

}  // namespace nvrprint::preview
