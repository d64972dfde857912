#include "NvrPrintHelper/PrintProgressDialog.h"

#include <fmt/format.h>
#include <gtk/gtk.h>

#include <atomic>
#include <exception>
#include <mutex>
#include <thread>

#include "DocFilePageMgr/DocFilePageMgrLib/DocFilePageMgr.h"
#include "logging/LogMacros.h"
#include "platform/MainLoopTask.h"

namespace nvrprint {

struct PrintProgressDialog::Job {
    // Main thread only.
    GtkWidget* dialog = nullptr;
    GtkWidget* statusText = nullptr;
    GtkWidget* progressBar = nullptr;
    GtkWidget* parent = nullptr;
    std::string documentName;
    uint64_t messages = 0;
    // The last progress shown, for a window shown again.
    uint64_t pagesDone = 0;
    uint64_t pagesTotal = 0;
    bool ended = false;
    PrintFinished finished;

    PrintFunction printFunction;
    std::thread thread;
    std::atomic<bool> success{false};

    // The window goes; the job, if still running, goes on.
    void CloseWindow() {
        if (dialog == nullptr) {
            return;
        }
        if (parent == nullptr) {
            NVR_LOG_WARNING("Parent window is invalid");
        } else {
            NVR_LOG_DEBUG("Re-enabling and focusing parent window");
            gtk_widget_set_sensitive(parent, TRUE);
            gtk_window_present(GTK_WINDOW(parent));
            // A notice the job raised over the parent stays in front of it.
            GList* toplevels = gtk_window_list_toplevels();
            for (GList* item = toplevels; item != nullptr; item = item->next) {
                GtkWindow* window = GTK_WINDOW(item->data);
                if (GTK_WIDGET(window) != dialog && gtk_widget_get_visible(GTK_WIDGET(window)) &&
                    gtk_window_get_transient_for(window) == GTK_WINDOW(parent)) {
                    gtk_window_present(window);
                }
            }
            g_list_free(toplevels);
        }
        NVR_LOG_DEBUG("Calling DestroyWindow");
        gtk_widget_destroy(dialog);
        dialog = nullptr;
        NVR_LOG_VERBOSE("Received message 0x{:x}", 0x0002);
        NVR_LOG_DEBUG("WM_DESTROY received, posting WM_QUIT");
        NVR_LOG_DEBUG("Message loop exited after {} messages", messages);
    }

    void CountMessage(int code) {
        NVR_LOG_VERBOSE("Received message 0x{:x}", code);
        ++messages;
        if (messages <= 10 || messages % 100 == 0) {
            NVR_LOG_VERBOSE("Processing message {}, msg=0x{:X}", messages, code);
        }
    }

    void ShowPageSent(uint64_t done, uint64_t total) {
        if (dialog == nullptr || total == 0) {
            return;  // the window was closed; the job goes on
        }
        CountMessage(1026);
        pagesDone = done;
        pagesTotal = total;
        NVR_LOG_VERBOSE("Progress updated - page {}/{} ({}%)", done, total, ShowProgress());
    }

    // The bar and the status line at the last progress; the percentage.
    uint64_t ShowProgress() {
        if (pagesTotal == 0) {
            return 0;
        }
        uint64_t percent = pagesDone * 100 / pagesTotal;
        gtk_progress_bar_set_fraction(GTK_PROGRESS_BAR(progressBar), percent / 100.0);
        std::string text = fmt::format("Printing page {} of {}...", pagesDone, pagesTotal);
        gtk_label_set_text(GTK_LABEL(statusText), text.c_str());
        return percent;
    }

    // The window over the parent, which takes no input while it shows.
    void ShowWindow() {
        dialog = gtk_window_new(GTK_WINDOW_TOPLEVEL);
        GtkWindow* window = GTK_WINDOW(dialog);
        gtk_window_set_title(window, "Printing");
        gtk_window_set_default_size(window, 400, 150);
        gtk_window_set_resizable(window, FALSE);
        gtk_window_set_keep_above(window, TRUE);
        gtk_window_set_type_hint(window, GDK_WINDOW_TYPE_HINT_DIALOG);
        if (parent != nullptr) {
            gtk_window_set_transient_for(window, GTK_WINDOW(parent));
            gtk_window_set_position(window, GTK_WIN_POS_CENTER_ON_PARENT);
        }
        // Closing the window ends the showing, not the job.
        g_signal_connect(dialog, "delete-event",
                         G_CALLBACK(+[](GtkWidget*, GdkEvent*, gpointer data) -> gboolean {
                             NVR_LOG_VERBOSE("Received message 0x{:x}", 0x0010);
                             NVR_LOG_DEBUG("WM_CLOSE received");
                             static_cast<Job*>(data)->CloseWindow();
                             return TRUE;
                         }),
                         this);

        GtkWidget* column = gtk_box_new(GTK_ORIENTATION_VERTICAL, 5);
        gtk_container_set_border_width(GTK_CONTAINER(column), 20);
        statusText = gtk_label_new("Printing document...");
        GtkWidget* documentLine = gtk_label_new(("Document: " + documentName).c_str());
        gtk_label_set_ellipsize(GTK_LABEL(documentLine), PANGO_ELLIPSIZE_MIDDLE);
        progressBar = gtk_progress_bar_new();
        gtk_box_pack_start(GTK_BOX(column), statusText, FALSE, FALSE, 0);
        gtk_box_pack_start(GTK_BOX(column), documentLine, FALSE, FALSE, 0);
        gtk_box_pack_start(GTK_BOX(column), progressBar, FALSE, FALSE, 5);
        gtk_container_add(GTK_CONTAINER(dialog), column);
        ShowProgress();

        // The parent takes no input meanwhile but still hears a close, which the preview
        // holds until the job has ended.
        if (parent != nullptr) {
            NVR_LOG_DEBUG("Disabling parent window");
            gtk_widget_set_sensitive(parent, FALSE);
        }
        gtk_widget_show_all(dialog);
    }

    // The job has ended: the thread is joined, the window goes and the owner hears the result.
    void End() {
        thread.join();
        ended = true;
        CloseWindow();
        NVR_LOG_INFO("Print operation completed, success={}", success.load());
        PrintFinished done = std::move(finished);
        if (done) {
            done(success);  // may end the dialog object: nothing of it is used after this
        }
    }
};

namespace {

using Job = PrintProgressDialog::Job;

void PrintThreadProc(Job& job, std::shared_ptr<Job> keep) {
    NVR_LOG_DEBUG("Print thread started");
    try {
        // Each page's progress goes to the window on the main loop, while the job is there.
        job.success =
            job.printFunction([shown = std::weak_ptr<Job>(keep)](uint64_t done, uint64_t total) {
                platform::RunOnMainLoop([shown, done, total] {
                    if (std::shared_ptr<Job> job = shown.lock()) {
                        job->ShowPageSent(done, total);
                    }
                });
            });
        NVR_LOG_DEBUG("Print function completed, success={}", job.success.load());
    } catch (const std::exception& e) {
        NVR_LOG_ERROR("Exception: {}", e.what());
        job.success = false;
    } catch (...) {
        NVR_LOG_ERROR("Unknown exception");
        job.success = false;
    }
    NVR_LOG_DEBUG("Posting WM_PRINT_COMPLETE to dialog");
    platform::RunOnMainLoop([keep = std::move(keep)] {
        NVR_LOG_DEBUG("WM_PRINT_COMPLETE received");
        Job& ended = *keep;
        if (ended.dialog != nullptr) {
            ended.CountMessage(1025);
        } else {
            NVR_LOG_ERROR("Dialog window is invalid or destroyed");
        }
        // The full bar stays in view for half a second.
        g_timeout_add_full(
            G_PRIORITY_DEFAULT, 500,
            [](gpointer data) -> gboolean {
                (*static_cast<std::shared_ptr<Job>*>(data))->End();
                return G_SOURCE_REMOVE;
            },
            std::make_unique<std::shared_ptr<Job>>(keep).release(),
            [](gpointer data) {
                std::unique_ptr<std::shared_ptr<Job>>(static_cast<std::shared_ptr<Job>*>(data));
            });
    });
    NVR_LOG_DEBUG("WM_PRINT_COMPLETE posted successfully");
    NVR_LOG_DEBUG("Print thread finished");
}

}  // namespace

PrintProgressDialog::PrintProgressDialog(platform::Display& display) : m_display(display) {}

PrintProgressDialog::~PrintProgressDialog() {
    if (m_job && m_job->thread.joinable()) {
        m_job->thread.join();
    }
}

bool PrintProgressDialog::ShowAndPrint(void* parent, const std::string& documentName,
                                       const std::string& printerName, PrintFunction printFunction,
                                       PrintFinished finished) {
    NVR_LOG_INFO("Starting print operation");
    m_documentName = documentName;
    m_printerName = printerName;
    m_job = std::make_shared<Job>();
    if (!CreateProgressWindow(parent)) {
        NVR_LOG_ERROR("Failed to create dialog");
        m_job.reset();
        return false;
    }
    m_job->printFunction = std::move(printFunction);
    m_job->finished = std::move(finished);
    m_job->thread = std::thread(PrintThreadProc, std::ref(*m_job), m_job);
    NVR_LOG_DEBUG("Print thread started, entering message loop");
    return true;
}

bool PrintProgressDialog::CreateProgressWindow(void* parent) {
    NVR_LOG_DEBUG("Creating progress dialog");
    if (!m_display.Open()) {
        NVR_LOG_ERROR("Failed to create window (Error: {})", "no display");
        return false;
    }
    m_job->parent = static_cast<GtkWidget*>(parent);
    m_job->documentName = m_documentName;
    m_job->ShowWindow();
    return true;
}

void PrintProgressDialog::ShowAgain() {
    if (!m_job || m_job->ended || m_job->dialog != nullptr) {
        return;
    }
    NVR_LOG_INFO("Showing the progress window again");
    m_job->ShowWindow();
}

}  // namespace nvrprint
