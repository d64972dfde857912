#pragma once

#include "platform/CairoPtr.h"

// The preview toolbar's icons, drawn in code on a 48 by 48 field.
namespace nvrprint::preview {

enum class ToolbarIcon { Previous, Next, ZoomIn, ZoomOut, FitWindow, Sheets, Print };

inline constexpr int kToolbarIconSize = 48;

// An image surface with the icon; null only when memory is short.
platform::CairoSurfacePtr DrawToolbarIcon(ToolbarIcon icon);

}  // namespace nvrprint::preview
