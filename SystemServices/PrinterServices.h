#pragma once

#include <memory>
#include <optional>
#include <string>

#include "DocFilePageMgr/DocFilePageMgrLib/PrintDevice.h"
#include "NvrPrintUtils/DevMode.h"
#include "NvrPrintUtils/IppDevMode.h"
#include "NvrPrintUtils/PrinterSession.h"
#include "SystemServices/JobPdf/SheetGeometry.h"
#include "platform/Result.h"

// The printing services of the operating system: printers, their settings, and jobs.
namespace nvrprint::platform {

// A printer open for one job: one connection, made when it is opened, and what the printer
// says of itself (capabilities, driver options) asked for on first need and kept for every
// later step: defaults, stapling, validation and the print device.
class Printer : public PrinterSession {
public:
    // A print device for one job, laid out by the DEVMODE: its paper, orientation, resolution
    // and scale make the sheet, its other fields and driver-private options (stapling among
    // them) the job's options.
    virtual Result<std::unique_ptr<docmgr::PrintDevice>> CreatePrintDevice(const DEVMODEW* devMode,
                                                                           SheetLayout layout) = 0;
    // The sheet CreatePrintDevice would make for the DEVMODE, the same way: what the job's
    // pages are placed on. None when the DEVMODE is null or the printer does not answer.
    virtual std::optional<SheetGeometry> SheetFor(const DEVMODEW* devMode) = 0;
    // A device that writes the PDF this printer would be sent for the DEVMODE (its sheets on
    // the printer's paper, with its margins) to the file at path, in place only once whole.
    virtual Result<std::unique_ptr<docmgr::PrintDevice>> CreateFileDevice(
        const DEVMODEW* devMode, const std::string& path) = 0;
};

class PrintSystem {
public:
    virtual ~PrintSystem() = default;
    // The default destination; fails when there is none.
    virtual Result<std::string> DefaultPrinter() = 0;
    // The printer when it can be reached. A name may also be an ipp:// or ipps:// URI, which
    // is used directly, without a queue.
    virtual Result<std::unique_ptr<Printer>> OpenPrinter(const std::string& name) = 0;
};

// CUPS: destinations (honouring $PRINTER and lpoptions) stand for printers.
std::unique_ptr<PrintSystem> CreateSystemPrintSystem();

}  // namespace nvrprint::platform
