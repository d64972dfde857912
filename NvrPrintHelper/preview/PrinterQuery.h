#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "NvrPrintUtils/DevMode.h"
#include "NvrPrintUtils/DialogSettings.h"
#include "NvrPrintUtils/PrintJob.h"
#include "SystemServices/PrinterServices.h"

namespace nvrprint::preview {

// Makes the job's print for a printer: the application's layers over its defaults, and the
// print dialog's choices over them when there are any.
using JobMaker = std::function<std::optional<PrintJob>(
    platform::Printer& printer, const DEVMODEW& defaults, const DialogSettings* dialog)>;

// A printer opened for the preview, with its defaults, and the job's print for it with the
// sheet that print is placed on, when a job maker was given and the printer accepted it.
struct OpenedPrinter {
    std::unique_ptr<platform::Printer> printer;
    DevModePtr defaults;
    std::optional<PrintJob> job;
    std::optional<platform::SheetGeometry> sheet;
};

// A printer asked for its defaults on a thread of its own, its answer awaited by the main
// loop: from the thread, or from the clock when the scheduler hangs, whichever comes first.
// A scheduler that hangs costs the answer, never the window. Whoever holds the query hears
// the answer; once the query is gone, nobody does.
class PrinterQuery {
public:
    using Answer = std::function<void(OpenedPrinter opened, bool timedOut)>;

    // Asks on the main thread; the answer comes there too. The job is made on the query's
    // thread, as making it asks the printer what it can do.
    static std::unique_ptr<PrinterQuery> Start(
        platform::PrintSystem& printers, const std::string& name,
        std::function<std::optional<PrintJob>(platform::Printer&, const DEVMODEW& defaults)>
            makeJob,
        Answer answer);
    ~PrinterQuery();

    // The program's end: no query thread asks, logs or posts from now on. Waits up to wait
    // for those still running; false when one is still waiting on its printer, which must
    // then end with the process before the program's statics go.
    static bool EndAll(std::chrono::milliseconds wait);

    // What the thread and the clock share with the query.
    struct Pending;

private:
    std::shared_ptr<Pending> m_pending;
};

}  // namespace nvrprint::preview
