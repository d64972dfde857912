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
// A scheduler that hangs costs the answer, never the window.
class PrinterQuery {
public:
    using Answer = std::function<void(OpenedPrinter opened, bool timedOut)>;

    // Asks on the main thread; the answer comes there too.
    static std::shared_ptr<PrinterQuery> Start(platform::PrintSystem& printers,
                                               const std::string& name, Answer answer);
    ~PrinterQuery();

    // Nobody waits for the answer any more.
    void Abandon();

private:
    void Deliver(OpenedPrinter opened, bool timedOut);

    Answer m_answer;
    unsigned m_timer = 0;
};

// The window waits for a printer: it takes no input and shows it is busy, and still paints
// and hears a close.
void ShowBusy(GtkWidget* window, bool busy);

}  // namespace nvrprint::preview
