#include "NvrPrintHelper/PrintProgressDialog.h"

#include <fmt/format.h>
#include <gtk/gtk.h>

#include <chrono>
#include <deque>
#include <exception>
#include <mutex>
#include <optional>

#include "DocFilePageMgr/DocFilePageMgrLib/DocFilePageMgr.h"
#include "logging/LogMacros.h"

namespace nvrprint {

// What the main loop's side of the dialog owns. Messages from the print thread carry a
// shared reference to it; they find the window gone when it is.
struct PrintProgressDialog::Mailbox {
    GtkWidget* dialog = nullptr;
    GtkWidget* statusText = nullptr;
    GtkWidget* progressBar = nullptr;
    GtkWidget* parent = nullptr;
    GMainLoop* loop = nullptr;
    uint64_t messages = 0;

    void Close() {
        if (parent != nullptr) {
            NVR_LOG_DEBUG("Re-enabling and focusing parent window");
            gtk_widget_set_sensitive(parent, TRUE);
            gtk_window_present(GTK_WINDOW(parent));
        }
        if (dialog != nullptr) {
            NVR_LOG_DEBUG("Calling DestroyWindow");
            gtk_widget_destroy(dialog);
            dialog = nullptr;
            NVR_LOG_DEBUG("WM_DESTROY received, posting WM_QUIT");
            g_main_loop_quit(loop);
        }
    }
};

namespace {

using Mailbox = PrintProgressDialog::Mailbox;

enum class Message { PageSent, PrintComplete };

// One message from the print thread, delivered by the main loop.
struct Posted {
    std::shared_ptr<Mailbox> mailbox;
    Message message;
    uint64_t done = 0;
    uint64_t total = 0;
};

void Handle(const Posted& posted) {
    Mailbox& box = *posted.mailbox;
    if (box.dialog == nullptr) {
        return;  // the window was closed; the job goes on
    }
    ++box.messages;
    if (box.messages <= 10 || box.messages % 100 == 0) {
        NVR_LOG_VERBOSE("Processing message {}, msg=0x{:X}", box.messages,
                        posted.message == Message::PageSent ? 1026 : 1025);
    }
    switch (posted.message) {
        case Message::PageSent: {
            if (posted.total == 0) {
                return;
            }
            uint64_t percent = posted.done * 100 / posted.total;
            gtk_progress_bar_set_fraction(GTK_PROGRESS_BAR(box.progressBar), percent / 100.0);
            std::string text = fmt::format("Printing page {} of {}...", posted.done, posted.total);
            gtk_label_set_text(GTK_LABEL(box.statusText), text.c_str());
            NVR_LOG_VERBOSE("Progress updated - page {}/{} ({}%)", posted.done, posted.total,
                            percent);
            return;
        }
        case Message::PrintComplete:
            NVR_LOG_DEBUG("WM_PRINT_COMPLETE received");
            // The full bar stays in view for half a second.
            g_timeout_add_full(
                G_PRIORITY_DEFAULT, 500,
                [](gpointer data) -> gboolean {
                    (*static_cast<std::shared_ptr<Mailbox>*>(data))->Close();
                    return G_SOURCE_REMOVE;
                },
                std::make_unique<std::shared_ptr<Mailbox>>(posted.mailbox).release(),
                [](gpointer data) {
                    std::unique_ptr<std::shared_ptr<Mailbox>>(
                        static_cast<std::shared_ptr<Mailbox>*>(data));
                });
            return;
    }
}

// Messages wait here for the main loop. The queue's lock, not the main loop's own, is what
// orders the print thread's writes before the main thread's reads, visibly to the thread
// sanitizer too.
std::mutex s_postedLock;
std::deque<Posted> s_posted;

void DeliverPosted() {
    for (;;) {
        std::optional<Posted> next;
        {
            std::lock_guard lock(s_postedLock);
            if (s_posted.empty()) {
                return;
            }
            next = std::move(s_posted.front());
            s_posted.pop_front();
        }
        Handle(*next);
    }
}

// Hands a message to the main loop; safe from any thread.
void Post(Posted posted) {
    {
        std::lock_guard lock(s_postedLock);
        s_posted.push_back(std::move(posted));
    }
    g_main_context_invoke_full(
        nullptr, G_PRIORITY_DEFAULT,
        [](gpointer) -> gboolean {
            DeliverPosted();
            return G_SOURCE_REMOVE;
        },
        nullptr, nullptr);
}

// The print job's page progress: the handle it was given is the dialog's mailbox.
std::mutex s_mailboxesLock;
std::weak_ptr<Mailbox> s_activeMailbox;

void PostPageProgress(docmgr::WindowHandle window, uint64_t done, uint64_t total) {
    std::shared_ptr<Mailbox> mailbox;
    {
        std::lock_guard lock(s_mailboxesLock);
        mailbox = s_activeMailbox.lock();
    }
    if (mailbox && mailbox.get() == window) {
        Post({mailbox, Message::PageSent, done, total});
    }
}

}  // namespace

PrintProgressDialog::PrintProgressDialog(platform::Display& display)
    : m_display(display), m_mailbox(std::make_shared<Mailbox>()) {}

PrintProgressDialog::~PrintProgressDialog() {
    if (m_printThread.joinable()) {
        m_printThread.join();
    }
}

bool PrintProgressDialog::ShowAndPrint(void* parent, const std::string& documentName,
                                       const std::string& printerName,
                                       PrintFunction printFunction) {
    NVR_LOG_INFO("Starting print operation");
    m_documentName = documentName;
    m_printerName = printerName;
    m_printFunction = std::move(printFunction);
    if (!CreateProgressWindow(parent)) {
        NVR_LOG_ERROR("Failed to create dialog");
        return false;
    }
    {
        std::lock_guard lock(s_mailboxesLock);
        s_activeMailbox = m_mailbox;
    }
    docmgr::SetPrintProgressPoster(PostPageProgress);
    m_printThread = std::thread([this] { PrintThreadProc(); });
    NVR_LOG_DEBUG("Print thread started, entering message loop");
    g_main_loop_run(m_mailbox->loop);
    NVR_LOG_DEBUG("Message loop exited after {} messages", m_mailbox->messages);
    if (m_printThread.joinable()) {
        m_printThread.join();
    }
    {
        std::lock_guard lock(s_mailboxesLock);
        s_activeMailbox.reset();
    }
    g_main_loop_unref(m_mailbox->loop);
    m_mailbox->loop = nullptr;
    NVR_LOG_INFO("Print operation completed, success={}", m_success.load());
    return m_success;
}

bool PrintProgressDialog::CreateProgressWindow(void* parent) {
    NVR_LOG_DEBUG("Creating progress dialog");
    if (!m_display.Open()) {
        NVR_LOG_ERROR("Failed to create window (Error: {})", "no display");
        return false;
    }
    Mailbox& box = *m_mailbox;
    box.loop = g_main_loop_new(nullptr, FALSE);
    box.dialog = gtk_window_new(GTK_WINDOW_TOPLEVEL);
    GtkWindow* window = GTK_WINDOW(box.dialog);
    gtk_window_set_title(window, "Printing");
    gtk_window_set_default_size(window, 400, 150);
    gtk_window_set_resizable(window, FALSE);
    gtk_window_set_modal(window, TRUE);
    gtk_window_set_keep_above(window, TRUE);
    gtk_window_set_type_hint(window, GDK_WINDOW_TYPE_HINT_DIALOG);
    if (parent != nullptr) {
        box.parent = GTK_WIDGET(parent);
        gtk_window_set_transient_for(window, GTK_WINDOW(parent));
        gtk_window_set_position(window, GTK_WIN_POS_CENTER_ON_PARENT);
    }
    // Closing the window ends the wait, not the job.
    g_signal_connect(box.dialog, "delete-event",
                     G_CALLBACK(+[](GtkWidget*, GdkEvent*, gpointer data) -> gboolean {
                         NVR_LOG_DEBUG("WM_CLOSE received");
                         static_cast<Mailbox*>(data)->Close();
                         return TRUE;
                     }),
                     &box);

    GtkWidget* column = gtk_box_new(GTK_ORIENTATION_VERTICAL, 5);
    gtk_container_set_border_width(GTK_CONTAINER(column), 20);
    box.statusText = gtk_label_new("Printing document...");
    GtkWidget* documentLine = gtk_label_new(("Document: " + m_documentName).c_str());
    gtk_label_set_ellipsize(GTK_LABEL(documentLine), PANGO_ELLIPSIZE_MIDDLE);
    box.progressBar = gtk_progress_bar_new();
    gtk_box_pack_start(GTK_BOX(column), box.statusText, FALSE, FALSE, 0);
    gtk_box_pack_start(GTK_BOX(column), documentLine, FALSE, FALSE, 0);
    gtk_box_pack_start(GTK_BOX(column), box.progressBar, FALSE, FALSE, 5);
    gtk_container_add(GTK_CONTAINER(box.dialog), column);

    if (box.parent != nullptr) {
        NVR_LOG_DEBUG("Disabling parent window");
        gtk_widget_set_sensitive(box.parent, FALSE);
    }
    gtk_widget_show_all(box.dialog);
    return true;
}

void PrintProgressDialog::PrintThreadProc() {
    NVR_LOG_DEBUG("Print thread started");
    try {
        m_success = m_printFunction(m_mailbox.get());
        NVR_LOG_DEBUG("Print function completed, success={}", m_success.load());
    } catch (const std::exception& e) {
        NVR_LOG_ERROR("Exception: {}", e.what());
        m_success = false;
    } catch (...) {
        NVR_LOG_ERROR("Unknown exception");
        m_success = false;
    }
    m_complete = true;
    NVR_LOG_DEBUG("Posting WM_PRINT_COMPLETE to dialog");
    Post({m_mailbox, Message::PrintComplete});
    NVR_LOG_DEBUG("WM_PRINT_COMPLETE posted successfully");
    NVR_LOG_DEBUG("Print thread finished");
}

}  // namespace nvrprint
