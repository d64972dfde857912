#include "NvrPrintHelper/preview/PrinterQuery.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include <glib.h>

#include "DocFilePageMgr/DocFilePageMgrLib/DocFilePageMgr.h"
#include "platform/MainLoopTask.h"

namespace nvrprint::preview {
namespace {

// How long a printer's answer about its defaults may take before the preview goes on
// without them.
constexpr guint kPrinterQueryLimitMs = 15000;

// The query threads still running. A thread left waiting on its printer ends on its own, but
// never after the program has begun to exit: from then on it neither asks further, logs nor
// posts to the main loop.
struct QueryThreads {
    std::mutex lock;
    std::condition_variable ended;
    int running = 0;
    bool closing = false;

    bool Open() {
        std::lock_guard hold(lock);
        return !closing;
    }
};

QueryThreads& Threads() {
    static QueryThreads threads;
    return threads;
}

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
    std::function<std::optional<PrintJob>(platform::Printer&, const DEVMODEW& defaults)> makeJob,
    Answer answer) {
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
    {
        std::lock_guard hold(Threads().lock);
        ++Threads().running;
    }
    std::thread([&printers, name, pending, makeJob = std::move(makeJob)] {
        QueryThreads& threads = Threads();
        auto opened = std::make_shared<OpenedPrinter>();
        if (auto printer = printers.OpenPrinter(name)) {
            opened->printer = std::move(printer).value();
        }
        if (opened->printer && threads.Open()) {
            opened->defaults = docmgr::DocFilePageMgr::GetPrinterSettings(*opened->printer);
        }
        if (opened->defaults && makeJob && threads.Open()) {
            opened->job = makeJob(*opened->printer, *opened->defaults);
        }
        if (opened->job && threads.Open()) {
            opened->sheet = opened->printer->SheetFor(opened->job->devMode.get());
        }
        std::lock_guard hold(threads.lock);
        if (!threads.closing) {
            platform::RunOnMainLoop(
                [pending, opened] { pending->Deliver(std::move(*opened), false); });
        }
        --threads.running;
        threads.ended.notify_all();
    }).detach();
    auto query = std::make_unique<PrinterQuery>();
    query->m_pending = std::move(pending);
    return query;
}

bool PrinterQuery::EndAll(std::chrono::milliseconds wait) {
    QueryThreads& threads = Threads();
    std::unique_lock hold(threads.lock);
    threads.closing = true;
    return threads.ended.wait_for(hold, wait, [&threads] { return threads.running == 0; });
}

PrinterQuery::~PrinterQuery() {
    m_pending->Abandon();
}

}  // namespace nvrprint::preview
