#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <gtk/gtk.h>

#include "NvrPrintUtils/DevMode.h"
#include "NvrPrintUtils/DialogSettings.h"
#include "NvrPrintUtils/PrintJob.h"
#include "SystemServices/PrinterServices.h"

namespace nvrprint::preview {

// Makes the job's print for a printer: the application's layers over its defaults, and the
// print dialog's choices over them when there are any.
using JobMaker = std::function<std::optional<PrintJob>(platform::Printer& printer,
                                                       const DialogSettings* dialog)>;

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
        std::function<std::optional<PrintJob>(platform::Printer&)> makeJob, Answer answer);
    ~PrinterQuery();

    // What the thread and the clock share with the query.
    struct Pending;

private:
    std::shared_ptr<Pending> m_pending;
};

// The window waits for a printer: it takes no input and shows it is busy, and still paints
// and hears a close.
void ShowBusy(GtkWidget* window, bool busy);

}  // namespace nvrprint::preview
