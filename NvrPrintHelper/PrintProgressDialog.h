#pragma once

#include <functional>
#include <memory>
#include <string>

#include "DocFilePageMgr/DocFilePageMgrLib/DocFilePageMgr.h"
#include "platform/Display.h"

namespace nvrprint {

// The whole print job, run on the dialog's print thread, which hands it what hears its page
// progress. True when the document was printed.
using PrintFunction = std::function<bool(docmgr::PrintProgress progress)>;

// Called on the main thread once the job has ended and its window is gone.
using PrintFinished = std::function<void(bool printed)>;

// A small window over the preview while a document prints: the page being sent and a
// progress bar. The job runs on a thread of its own; the window lives in the one main loop,
// and the job's progress and end reach it as tasks of that loop: no window call is made from
// the print thread, and no loop of its own is run. There is no cancelling: closing the window
// leaves the job to finish.
class PrintProgressDialog {
public:
    explicit PrintProgressDialog(platform::Display& display);
    // Waits for a job still running.
    ~PrintProgressDialog();
    PrintProgressDialog(const PrintProgressDialog&) = delete;
    PrintProgressDialog& operator=(const PrintProgressDialog&) = delete;

    // Shows the window over the parent (a GtkWindow, or null), starts the job and returns;
    // finished gets the job's result. False, without running the job, when no window can be
    // made.
    bool ShowAndPrint(void* parent, const std::string& documentName, const std::string& printerName,
                      PrintFunction printFunction, PrintFinished finished);

    // Shows the window again over its parent when the person closed it while the job runs.
    void ShowAgain();

    // The window and the job, shared with the tasks the job posts; lives as long as the last
    // of them.
    struct Job;

private:
    bool CreateProgressWindow(void* parent);

    platform::Display& m_display;
    std::shared_ptr<Job> m_job;
    std::string m_documentName;
    std::string m_printerName;
};

}  // namespace nvrprint
