#pragma once

#include <cstddef>
#include <string>

#include "platform/Result.h"

namespace docmgr {

// Indexes of GetDeviceCaps, with the values of the device-context API they mirror.
enum DeviceCap : int {
    HORZRES = 8,            // printable width, device pixels
    VERTRES = 10,           // printable height, device pixels
    LOGPIXELSX = 88,        // pixels per inch across
    LOGPIXELSY = 90,        // pixels per inch down
    PHYSICALWIDTH = 110,    // whole sheet width, device pixels
    PHYSICALHEIGHT = 111,   // whole sheet height, device pixels
    PHYSICALOFFSETX = 112,  // left edge of the printable area, device pixels
    PHYSICALOFFSETY = 113,  // top edge of the printable area, device pixels
};

// Where a job stands once its document is sent, as the print system tells it.
struct PrintJobStatus {
    enum State { Pending, Held, Processing, Stopped, Cancelled, Aborted, Completed };
    State state = Pending;
    int pagesDone = 0;  // impressions the printer reports as done
};

// A page as vector content: a page of a PDF file, which reaches the sheet with its contents
// as they are, never as pixels. Backends that draw rather than hold a PDF draw their pages
// into one first.
struct VectorPage {
    std::string pdfPath;
    size_t pageIndex = 0;
};

// Where a placed page goes on the started sheet. The rectangle is in device pixels from the
// printable area's top-left corner; a page always hangs from its top-left corner.
struct PageCell {
    enum Fit {
        NaturalSize,  // the page's own size; the rectangle gives only the corner
        FitCell,      // fitted whole into the rectangle once, its proportions kept
        WholeSheet,   // fills a sheet started at the page's own size; the rectangle is unused
    };
    Fit fit = FitCell;
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
};

// A printer's drawing surface for one job, shaped like a printer device context: a document
// of sheets, on which pages are placed as vector content.
class PrintDevice {
public:
    virtual ~PrintDevice() = default;

    virtual int GetDeviceCaps(int index) const = 0;
    // Starts the job; its id.
    virtual nvrprint::Result<int> StartDoc(const std::string& documentName) = 0;
    // Starts a sheet of the job's paper.
    virtual nvrprint::Status StartPage() = 0;
    // Starts a sheet of the given size in points instead, for a page that goes to the
    // printer at its own size (PageCell::WholeSheet).
    virtual nvrprint::Status StartPageOfSize(double widthPoints, double heightPoints) = 0;
    virtual nvrprint::Status EndPage() = 0;
    virtual nvrprint::Status EndDoc() = 0;
    virtual nvrprint::Status AbortDoc() = 0;

    // Places a page on the started sheet as the cell says; the area it covers is filled
    // white first, as a printed page covers what lies beneath.
    virtual nvrprint::Status PlacePage(const VectorPage& page, const PageCell& cell) = 0;
    // Follows the job after EndDoc until the printer has done it; jobId is StartDoc's. Fails,
    // with the job aborted, when the printer fails it or stops telling where it stands.
    virtual nvrprint::Status FollowJob(int jobId) = 0;
};

}  // namespace docmgr
