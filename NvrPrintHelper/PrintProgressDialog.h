#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "SystemServices/Display.h"

namespace nvrprint {

// The whole print job, run on the dialog's print thread; the handle it gets is where page
// progress is posted (see docmgr::PostPrintProgress). True when the document was printed.
using PrintFunction = std::function<bool(void* progressWindow)>;

// A small modal window over the preview while a document prints: the page being sent and a
// progress bar. The job runs on a thread of its own; its progress and its end reach the
// window only through the main loop, and no window call is made from the print thread.
// There is no cancelling: closing the window leaves the job to finish.
class PrintProgressDialog {
public:
    explicit PrintProgressDialog(platform::Display& display);
    ~PrintProgressDialog();
    PrintProgressDialog(const PrintProgressDialog&) = delete;
    PrintProgressDialog& operator=(const PrintProgressDialog&) = delete;

    // Shows the window over the parent (a GtkWindow, or null), runs the job and returns its
    // result once both have ended. False without running the job when no window can be made.
    bool ShowAndPrint(void* parent, const std::string& documentName, const std::string& printerName,
                      PrintFunction printFunction);

    // Shared with the print thread and with messages still queued in the main loop; lives
    // as long as the last of them.
    struct Mailbox;

private:
    bool CreateProgressWindow(void* parent);
    void PrintThreadProc();

    platform::Display& m_display;
    std::shared_ptr<Mailbox> m_mailbox;
    std::string m_documentName;
    std::string m_printerName;
    PrintFunction m_printFunction;
    std::thread m_printThread;
    std::atomic<bool> m_complete{false};
    std::atomic<bool> m_success{false};
};

}  // namespace nvrprint
