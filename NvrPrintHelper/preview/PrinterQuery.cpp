#include "NvrPrintHelper/preview/PrinterQuery.h"

#include <chrono>
#include <thread>

#include "DocFilePageMgr/DocFilePageMgrLib/DocFilePageMgr.h"
#include "platform/GObjectPtr.h"
#include "platform/MainLoopTask.h"

namespace nvrprint::preview {
namespace {

// How long a printer's answer about its defaults may take before the preview goes on
// without them.
constexpr guint kPrinterQueryLimitMs = 15000;

}  // namespace

struct PrinterQuery::Pending {
    Answer answer;
    guint timer = 0;

    // Nobody waits for the answer any more.
    void Abandon() {
        answer = nullptr;
        if (timer != 0) {
            g_source_remove(timer);
            timer = 0;
        }
    }

    void Deliver(OpenedPrinter opened, bool timedOut) {
        Answer waiting = std::move(answer);
        Abandon();
        if (waiting) {
            waiting(std::move(opened), timedOut);
        }
    }
};

std::unique_ptr<PrinterQuery> PrinterQuery::Start(
    platform::PrintSystem& printers, const std::string& name,
    std::function<std::optional<PrintJob>(platform::Printer&)> makeJob, Answer answer) {
    auto pending = std::make_shared<Pending>();
    pending->answer = std::move(answer);
    pending->timer = g_timeout_add_full(
        G_PRIORITY_DEFAULT, kPrinterQueryLimitMs,
        [](gpointer data) -> gboolean {
            Pending& timed = **static_cast<std::shared_ptr<Pending>*>(data);
            timed.timer = 0;
            timed.Deliver(OpenedPrinter(), true);
            return G_SOURCE_REMOVE;
        },
        std::make_unique<std::shared_ptr<Pending>>(pending).release(),
        [](gpointer data) {
            std::unique_ptr<std::shared_ptr<Pending>>(static_cast<std::shared_ptr<Pending>*>(data));
        });
    // The thread owns its share: left behind when it hangs, it ends on its own later and
    // finds nobody waiting.
    std::thread([&printers, name, pending, makeJob = std::move(makeJob)] {
        auto opened = std::make_shared<OpenedPrinter>();
        int error = 0;
        opened->printer = printers.OpenPrinter(name, &error);
        if (opened->printer) {
            opened->defaults = docmgr::DocFilePageMgr::GetPrinterSettings(*opened->printer);
        }
        if (opened->defaults && makeJob) {
            opened->job = makeJob(*opened->printer);
        }
        if (opened->job) {
            opened->sheet = opened->printer->SheetFor(opened->job->devMode.get());
        }
        platform::RunOnMainLoop([pending, opened] { pending->Deliver(std::move(*opened), false); });
    }).detach();
    auto query = std::make_unique<PrinterQuery>();
    query->m_pending = std::move(pending);
    return query;
}

PrinterQuery::~PrinterQuery() {
    m_pending->Abandon();
}

void ShowBusy(GtkWidget* window, bool busy) {
    gtk_widget_set_sensitive(window, !busy);
    GdkWindow* surface = gtk_widget_get_window(window);
    if (surface == nullptr) {
        return;
    }
    platform::GObjectPtr<GdkCursor> cursor(
        busy ? gdk_cursor_new_from_name(gtk_widget_get_display(window), "wait") : nullptr);
    gdk_window_set_cursor(surface, cursor.get());
}

}  // namespace nvrprint::preview
