#pragma once

#include <functional>
#include <memory>
#include <string>

#include <gtk/gtk.h>

#include "NvrPrintUtils/DevMode.h"
#include "SystemServices/PrinterServices.h"

namespace nvrprint::preview {

// A printer opened for the preview, with its defaults.
struct OpenedPrinter {
    std::unique_ptr<platform::Printer> printer;
    DevModePtr defaults;
};

// A printer asked for its defaults on a thread of its own, its answer awaited by the main
// loop: from the thread, or from the clock when the scheduler hangs, whichever comes first.
// A scheduler that hangs costs the answer, never the window. Whoever holds the query hears
// the answer; once the query is gone, nobody does.
class PrinterQuery {
public:
    using Answer = std::function<void(OpenedPrinter opened, bool timedOut)>;

    // Asks on the main thread; the answer comes there too.
    static std::unique_ptr<PrinterQuery> Start(platform::PrintSystem& printers,
                                               const std::string& name, Answer answer);
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
