#include <gtk/gtk.h>

#include <cstdlib>

#include "SystemServices/Display.h"

namespace nvrprint::platform {
namespace {

bool DisplayNamed() {
    const char* x11 = std::getenv("DISPLAY");
    const char* wayland = std::getenv("WAYLAND_DISPLAY");
    return (x11 != nullptr && *x11 != '\0') || (wayland != nullptr && *wayland != '\0');
}

}  // namespace

bool DisplayAvailable() {
    static const bool usable = DisplayNamed() && gtk_init_check(nullptr, nullptr);
    return usable;
}

}  // namespace nvrprint::platform
