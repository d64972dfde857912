#include <gtk/gtk.h>

#include <cstdio>

#include "SystemServices/Display.h"
#include "SystemServices/Notice.h"

namespace nvrprint::platform {
namespace {

class SystemNoticePresenter final : public NoticePresenter {
public:
    void Show(const std::string& title, const std::string& text, NoticeKind kind) override {
        if (!DisplayAvailable()) {
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
