#include <gtk/gtk.h>

#include <cstdlib>
#include <optional>

#include "platform/Display.h"

namespace nvrprint::platform {
namespace {

bool DisplayNamed() {
    const char* x11 = std::getenv("DISPLAY");
    const char* wayland = std::getenv("WAYLAND_DISPLAY");
    return (x11 != nullptr && *x11 != '\0') || (wayland != nullptr && *wayland != '\0');
}

class GtkDisplay final : public Display {
public:
    bool Open() override {
        if (!m_usable) {
            m_usable = DisplayNamed() && gtk_init_check(nullptr, nullptr);
        }
        return *m_usable;
    }

private:
    std::optional<bool> m_usable;
};

}  // namespace

std::unique_ptr<Display> CreateSystemDisplay() {
    return std::make_unique<GtkDisplay>();
}

}  // namespace nvrprint::platform
