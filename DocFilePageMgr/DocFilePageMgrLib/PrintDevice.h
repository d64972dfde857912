#pragma once

#include <cstddef>
#include <string>

#include "platform/Bitmap.h"

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

// A printer's drawing surface for one job, shaped like a printer device context: a document
// of sheets, each drawn in device pixels from the printable area's top-left corner. Results
// follow the same rules: above 0 is success.
class PrintDevice {
public:
    virtual ~PrintDevice() = default;

    virtual int GetDeviceCaps(int index) const = 0;
    // Starts the job; returns its id, or 0 or below on failure.
    virtual int StartDoc(const std::string& documentName) = 0;
    virtual int StartPage() = 0;
    virtual int EndPage() = 0;
    virtual int EndDoc() = 0;
    virtual int AbortDoc() = 0;
    // The cause of the last failure, as an error number.
    virtual int LastError() const = 0;

    // Places a page of a PDF file in the rectangle, keeping its contents as they are; the
    // rectangle is filled white first, as a copied bitmap would cover what lies beneath.
    virtual bool PlacePdfPage(const std::string& pdfPath, size_t pageIndex, int x, int y, int width,
                              int height) = 0;
    // Copies a bitmap onto the sheet at its own size.
    virtual bool DrawBitmap(const Bitmap& bitmap, int x, int y) = 0;

    // Adds a whole sheet of the given size in points that carries a page of a PDF file as it
    // is, in place of StartPage, placing and EndPage: for documents whose pages go to the
    // printer at their own sizes.
    virtual bool AddPdfPageSheet(const std::string& pdfPath, size_t pageIndex, double widthPoints,
                                 double heightPoints) = 0;
    // The state of the job after EndDoc; false when the print system cannot tell.
    virtual bool GetJobStatus(PrintJobStatus* status) = 0;
};

}  // namespace docmgr
