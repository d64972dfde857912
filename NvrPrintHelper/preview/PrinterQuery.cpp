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

std::shared_ptr<PrinterQuery> PrinterQuery::Start(platform::PrintSystem& printers,
                                                  const std::string& name, Answer answer) {
    auto query = std::make_shared<PrinterQuery>();
    query->m_answer = std::move(answer);
    query->m_timer = g_timeout_add_full(
        G_PRIORITY_DEFAULT, kPrinterQueryLimitMs,
        [](gpointer data) -> gboolean {
            PrinterQuery& timed = **static_cast<std::shared_ptr<PrinterQuery>*>(data);
            timed.m_timer = 0;
            timed.Deliver(OpenedPrinter(), true);
            return G_SOURCE_REMOVE;
        },
        std::make_unique<std::shared_ptr<PrinterQuery>>(query).release(),
        [](gpointer data) {
            std::unique_ptr<std::shared_ptr<PrinterQuery>>(
                static_cast<std::shared_ptr<PrinterQuery>*>(data));
        });
    // The thread owns its share of the query: left behind when it hangs, it ends on its own
    // later and finds nobody waiting.
    std::thread([&printers, name, query] {
        auto opened = std::make_shared<OpenedPrinter>();
        int error = 0;
        opened->printer = printers.OpenPrinter(name, &error);
        if (opened->printer) {
            opened->defaults = docmgr::DocFilePageMgr::GetPrinterSettings(*opened->printer);
        }
        platform::RunOnMainLoop([query, opened] { query->Deliver(std::move(*opened), false); });
    }).detach();
    return query;
}

PrinterQuery::~PrinterQuery() {
    Abandon();
}

void PrinterQuery::Abandon() {
    m_answer = nullptr;
    if (m_timer != 0) {
        g_source_remove(m_timer);
        m_timer = 0;
    }
}

void PrinterQuery::Deliver(OpenedPrinter opened, bool timedOut) {
    Answer answer = std::move(m_answer);
    Abandon();
    if (answer) {
        answer(std::move(opened), timedOut);
    }
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
