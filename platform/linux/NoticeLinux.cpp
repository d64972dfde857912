#include <gtk/gtk.h>

#include <cstdio>
#include <memory>

#include "platform/Display.h"
#include "platform/MainLoopTask.h"
#include "platform/Notice.h"

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
        if (!OnMainThread()) {
            // Windows belong to the main thread, which is running its loop while another thread
            // works: the notice is shown from there, and this thread goes on.
            RunOnMainLoop([this, title, text, kind] { Show(title, text, kind); });
            return;
        }
        if (!m_display.Open()) {
            std::fprintf(stderr, "[%s] %s\n", title.c_str(), text.c_str());
            std::fflush(stderr);
            return;
        }
        GtkMessageType type = kind == NoticeKind::Error ? GTK_MESSAGE_ERROR : GTK_MESSAGE_INFO;
        if (g_main_depth() > 0) {
            // Inside the main loop (the preview's): the notice is one more window of that loop,
            // and the loop goes on serving the others.
            GtkWidget* dialog =
                gtk_message_dialog_new(ShownWindow(), GTK_DIALOG_DESTROY_WITH_PARENT, type,
                                       GTK_BUTTONS_OK, "%s", text.c_str());
            gtk_window_set_title(GTK_WINDOW(dialog), title.c_str());
            g_signal_connect(dialog, "response", G_CALLBACK(gtk_widget_destroy), nullptr);
            gtk_widget_show(dialog);
            return;
        }
        // No loop runs yet or any more: the notice runs the main loop itself until it is
        // answered, and is gone from the screen when this returns.
        GtkWidget* dialog = gtk_message_dialog_new(ShownWindow(), GTK_DIALOG_MODAL, type,
                                                   GTK_BUTTONS_OK, "%s", text.c_str());
        gtk_window_set_title(GTK_WINDOW(dialog), title.c_str());
        std::unique_ptr<GMainLoop, decltype(&g_main_loop_unref)> loop(
            g_main_loop_new(nullptr, FALSE), g_main_loop_unref);
        // Answered, or gone some other way: either ends the loop.
        g_signal_connect(dialog, "response", G_CALLBACK(+[](GtkDialog*, gint, gpointer answered) {
                             g_main_loop_quit(static_cast<GMainLoop*>(answered));
                         }),
                         loop.get());
        const gulong gone =
            g_signal_connect(dialog, "destroy", G_CALLBACK(+[](GtkWidget*, gpointer answered) {
                                 g_main_loop_quit(static_cast<GMainLoop*>(answered));
                             }),
                             loop.get());
        g_object_ref(dialog);
        gtk_widget_show(dialog);
        g_main_loop_run(loop.get());
        g_signal_handler_disconnect(dialog, gone);
        gtk_widget_destroy(dialog);
        g_object_unref(dialog);
        gdk_display_flush(gdk_display_get_default());
    }

private:
    Display& m_display;
};

}  // namespace

std::unique_ptr<NoticePresenter> CreateSystemNoticePresenter(Display& display) {
    return std::make_unique<SystemNoticePresenter>(display);
}

}  // namespace nvrprint::platform
