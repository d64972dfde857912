#pragma once

#include <nlohmann/json.hpp>

#include <memory>
#include <string>

#include "DocFilePageMgr/DocFilePageMgrLib/PrintDevice.h"
#include "NvrPrintUtils/DevMode.h"
#include "NvrPrintUtils/IppDevMode.h"
#include "NvrPrintUtils/PrintSystem.h"

// The printing services of the operating system: printers, their settings, and jobs.
namespace nvrprint::platform {

// The print system of this platform: CUPS destinations, their defaults and validation.
std::shared_ptr<PrintSystem> CreateSystemPrintSystem();

// The default destination (honouring $PRINTER and lpoptions); empty when there is none, with
// the cause in error.
std::string GetDefaultPrinter(int* error);

// True when the printer can be reached. A name may also be an ipp:// or ipps:// URI, which
// is used directly, without a queue.
bool CanOpenPrinter(const std::string& name, int* error);

// A print device for one job on the printer, laid out by the DEVMODE: its paper, orientation,
// resolution and scale make the sheet, its other fields and driver-private options (stapling
// among them) the job's options. Null, with an error number, on failure.
std::unique_ptr<docmgr::PrintDevice> CreatePrintDevice(const std::string& printerName,
                                                       const DEVMODEW* devMode, SheetLayout layout,
                                                       int* error);

}  // namespace nvrprint::platform
