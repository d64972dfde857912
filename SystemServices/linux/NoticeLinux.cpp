#include <gtk/gtk.h>

#include <cstdio>

#include "SystemServices/Display.h"
#include "SystemServices/Notice.h"

namespace nvrprint::platform {
namespace {

// The program's window on show, if any (the preview): a notice stands over it.
GtkWindow* ShownWindow() {
    GList* toplevels = gtk_window_list_toplevels();
    GtkWindow* shown = nullptr;
    for (GList* item = toplevels; item != nullptr && shown == nullptr; item = item->next) {
        auto* window = GTK_WINDOW(item->data);
        if (gtk_widget_get_visible(GTK_WIDGET(window)) &&
            gtk_window_get_window_type(window) == GTK_WINDOW_TOPLEVEL &&
            gtk_window_get_transient_for(window) == nullptr) {
            shown = window;
        }
    }
    g_list_free(toplevels);
    return shown;
}

class SystemNoticePresenter final : public NoticePresenter {
public:
    explicit SystemNoticePresenter(Display& display) : m_display(display) {}

    void Show(const std::string& title, const std::string& text, NoticeKind kind) override {
        if (!m_display.Open()) {
            std::fprintf(stderr, "[%s] %s\n", title.c_str(), text.c_str());
            std::fflush(stderr);
            return;
        }
        GtkMessageType type = kind == NoticeKind::Error ? GTK_MESSAGE_ERROR : GTK_MESSAGE_INFO;
        GtkWidget* dialog = gtk_message_dialog_new(ShownWindow(), GTK_DIALOG_MODAL, type,
                                                   GTK_BUTTONS_OK, "%s", text.c_str());
        gtk_window_set_title(GTK_WINDOW(dialog), title.c_str());
        gtk_dialog_run(GTK_DIALOG(dialog));
        gtk_widget_destroy(dialog);
        while (gtk_events_pending()) {
            gtk_main_iteration();
        }
    }

private:
    Display& m_display;
};

}  // namespace

std::unique_ptr<NoticePresenter> CreateSystemNoticePresenter(Display& display) {
    return std::make_unique<SystemNoticePresenter>(display);
}

}  // namespace nvrprint::platform
