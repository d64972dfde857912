#include <gtk/gtk.h>

#include <cstdio>
#include <cstdlib>

#include "SystemServices/Notice.h"

namespace nvrprint::platform {
namespace {

bool DisplayNamed() {
    const char* x11 = std::getenv("DISPLAY");
    const char* wayland = std::getenv("WAYLAND_DISPLAY");
    return (x11 != nullptr && *x11 != '\0') || (wayland != nullptr && *wayland != '\0');
}

// Opens the display once per process; false when there is none to open.
bool GtkUsable() {
    static const bool usable = DisplayNamed() && gtk_init_check(nullptr, nullptr);
    return usable;
}

class SystemNoticePresenter final : public NoticePresenter {
public:
    void Show(const std::string& title, const std::string& text, NoticeKind kind) override {
        if (!GtkUsable()) {
            std::fprintf(stderr, "[%s] %s\n", title.c_str(), text.c_str());
            std::fflush(stderr);
            return;
        }
        GtkMessageType type = kind == NoticeKind::Error ? GTK_MESSAGE_ERROR : GTK_MESSAGE_INFO;
        GtkWidget* dialog = gtk_message_dialog_new(nullptr, GTK_DIALOG_MODAL, type, GTK_BUTTONS_OK,
                                                   "%s", text.c_str());
        gtk_window_set_title(GTK_WINDOW(dialog), title.c_str());
        gtk_dialog_run(GTK_DIALOG(dialog));
        gtk_widget_destroy(dialog);
        while (gtk_events_pending()) {
            gtk_main_iteration();
        }
    }
};

}  // namespace

std::unique_ptr<NoticePresenter> CreateSystemNoticePresenter() {
    return std::make_unique<SystemNoticePresenter>();
}

}  // namespace nvrprint::platform
