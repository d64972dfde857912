#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "DocFilePageMgr/DocFilePageMgrLib/DocMgrTypes.h"
#include "DocFilePageMgr/DocFilePageMgrLib/InputCapture.h"
#include "DocFilePageMgr/DocFilePageMgrLib/PageImage.h"
#include "DocFilePageMgr/DocFilePageMgrLib/PageImageCache.h"
#include "DocFilePageMgr/DocFilePageMgrLib/PrintDevice.h"
#include "DocFilePageMgr/DocFilePageMgrLib/SheetPlan.h"
#include "NvrPrintUtils/DevMode.h"
#include "NvrPrintUtils/PrintJobSettings.h"
#include "NvrPrintUtils/PrinterSession.h"
#include "platform/Bitmap.h"
#include "platform/FileSystem.h"

namespace docmgr {

using nvrprint::DevModePtr;

// Hears a print's progress on the printing thread: the number of sheets or pages just
// finished (from 1) and the count it is out of.
using PrintProgress = std::function<void(uint64_t done, uint64_t total)>;

// What kind of document a manager holds, as the format registry names it: 1 PDF, 2 XPS,
// 3 OXPS, 0 not told.
struct DocumentType {
    int32_t id = 0;
    std::string name = "Unknown";
};

// The token LoadDocument hands back; its only use is the null test.
using LoadHandle = const void*;

// A document manager: loads one document on a thread of its own, reports the load through
// events, and answers page sizes and page images. Backends fill the On... operations; public
// operations and events count pages from 1, the On... operations from 0.
class DocFilePageMgr {
public:
    DocFilePageMgr();
    virtual ~DocFilePageMgr();
    DocFilePageMgr(const DocFilePageMgr&) = delete;
    DocFilePageMgr& operator=(const DocFilePageMgr&) = delete;

    int32_t GetDocumentType() const { return m_documentType.id; }
    // Set once by the format registry that made the manager, before its load.
    void SetDocumentType(DocumentType type) { m_documentType = std::move(type); }
    // The printer's default DEVMODE, as its driver validates it. Needs no document: a
    // thread may ask it while the manager is busy or gone.
    static DevModePtr GetPrinterSettings(nvrprint::PrinterSession& printer);
    // Whether printing lays out the job's sheets here (N-up, order, copies); a backend that
    // sends the document's pages as they are leaves those to the printer's defaults.
    virtual bool LaysOutSheets() const { return true; }
    // Prints the document on the device: one loop over the physical page list, in which the
    // backend places each logical page into its cell of the sheet. A document whose sheets
    // the program lays out goes page by page at natural size, or, with N-up, reverse order
    // or copies, fitted into the cells of the grid; any other gets a sheet of each page's
    // own size.
    bool RenderDocToPrinter(const std::string& printerName, const std::string& jobTitle,
                            PrintDevice* device, PrintProgress progress = {});

    LoadHandle LoadDocument(const std::string& path, bool isPipe,
                            const DocMgrEventCallback& callback, const std::string& tempFilePath);
    bool WaitForDocumentLoad(uint32_t timeoutMs);
    void SetTargetParams(RenderTarget target, const TargetParams& params);
    std::shared_ptr<PageImage> GetPageImage(size_t pageNumber, RenderTarget target);
    bool GetPageSizePoints(size_t pageNumber, double* width, double* height);

    std::vector<PhysicalPage> BuildPhysicalPageList(size_t totalPages) const;
    // Places the logical pages of one side into the cells of the N-up grid.
    bool RenderNUpPage(PrintDevice* device, const PhysicalPage& page);
    // One side of the physical page list: its logical pages, or nothing on a blank back.
    bool RenderSide(PrintDevice* device, const PhysicalPage& side);

    // Where piped input is read from and captured to: the process's standard input and file
    // system, unless a caller substitutes its own, which stays the caller's.
    void SetInputFiles(nvrprint::platform::Files& files) { m_capture.SetFiles(files); }
    // Ends a capture of piped input that is still waiting for bytes: its partial file is
    // deleted and the load fails. The backend's own opening of a document is not interrupted.
    void StopLoad();
    // Where a backend keeps its working files: the program's temp directory. The system's
    // temp directory when not set.
    void SetScratchDirectory(const std::string& directory) { m_scratchDirectory = directory; }

    uint64_t m_pageCount = 0;
    bool m_deleteTempFile = true;
    nvrprint::PrintJobSettings m_printJobSettings;

protected:
    virtual bool OnLoadDocument(const std::string& path) = 0;
    virtual uint64_t OnGetPageCount() = 0;
    virtual BitmapPtr OnRenderPageBitmap(size_t pageIndex, const TargetParams& params) = 0;
    // Places a logical page into a cell of the started sheet, as vector content.
    virtual bool OnPlacePage(PrintDevice* device, size_t pageIndex, const PageCell& cell);
    // A backend's own steps around a print: checks and preparation before the job starts
    // (false ends the print), the follow-up once the printer has the whole document, and
    // the cleanup on every way out.
    virtual bool OnPrintStarting(const std::string& printerName, const std::string& jobTitle,
                                 PrintDevice* device);
    virtual bool OnPrintSent(PrintDevice* device, int jobId);
    virtual void OnPrintEnded() {}
    virtual bool OnGetPageSizePoints(size_t pageIndex, double* width, double* height);

    // Fires an event through the callback given to LoadDocument, if any.
    void FireEvent(DocMgrEventType kind, const DocMgrEventData& data);
    bool HasEventCallback() const { return static_cast<bool>(m_eventCallback); }

    // Backends call this first in their destructors: the load thread may still be inside
    // one of their operations.
    void JoinLoadThread();

    // Tells whoever follows the print under way that done of total pages are ready.
    void ReportPrintProgress(uint64_t done, uint64_t total) const {
        if (m_printProgress) {
            m_printProgress(done, total);
        }
    }
    // Held while a backend's engine draws a page: the preview and a print may both ask.
    std::mutex& RenderLock() { return m_renderLock; }
    const std::string& ScratchDirectory() const { return m_scratchDirectory; }

private:
    // What the load thread is given, and what it finds.
    struct LoadThreadContext {
        DocFilePageMgr* manager = nullptr;
        std::string inputPath;
        bool isPipe = false;
        DocMgrEventCallback callback;
        std::string tempFilePath;
    };

    // The sides of a print, and how each takes its pages: every page on a side of its own,
    // at natural size on the job's paper or on a sheet of its own size, or the program's
    // layout fitted into the grid's cells.
    PageCell::Fit PlanSides(uint64_t pageCount, std::vector<PhysicalPage>* sides) const;
    // One side from StartPage to EndPage; a failure aborts the job. number counts from 1.
    bool PrintSide(PrintDevice* device, const PhysicalPage& side, PageCell::Fit fit,
                   uint64_t number);
    static void LoadDocumentThreadProc(std::shared_ptr<LoadThreadContext> context);
    void MarkThreadFinished();

    PageImageCache m_images;
    std::mutex m_renderLock;
    std::thread m_loadThread;
    std::atomic<bool> m_loadComplete{false};
    std::atomic<bool> m_loadSuccess{false};
    DocMgrEventCallback m_eventCallback;
    std::string m_tempFilePath;
    PrintProgress m_printProgress;

    // Lets WaitForDocumentLoad wait for the thread's end with a time limit.
    std::mutex m_threadStateLock;
    std::condition_variable m_threadFinishedSignal;
    bool m_threadFinished = false;
    InputCapture m_capture;
    std::string m_scratchDirectory;
    DocumentType m_documentType;
};

}  // namespace docmgr
