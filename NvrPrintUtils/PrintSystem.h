#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "NvrPrintUtils/DevMode.h"

// What the settings code needs of the print system: a printer's DEVMODE size, its defaults,
// the driver's validation of a DEVMODE, and a Print Ticket provider. The CUPS implementation
// plugs in with printing; tests install scripted fakes.
namespace nvrprint {

inline constexpr int32_t kIdOk = 1;

// One open printer; closes when destroyed.
class PrinterSession {
public:
    virtual ~PrinterSession() = default;
    // Size in bytes of a full DEVMODE of this printer; 0 or less on failure.
    virtual int32_t DevModeSize() = 0;
    // Fills out (DevModeSize() bytes) with the printer's defaults; kIdOk on success.
    virtual int32_t DefaultDevMode(DEVMODEW* out) = 0;
    // Merges in with the driver's state, corrects what the printer cannot do, writes out
    // (DevModeSize() bytes); kIdOk on success.
    virtual int32_t ValidateDevMode(const DEVMODEW* in, DEVMODEW* out) = 0;
};

// Converts between DEVMODEs and Print Tickets for one printer. Results are HRESULT-style
// numbers: 0 is success, negative is failure.
class PrintTicketProvider {
public:
    virtual ~PrintTicketProvider() = default;
    virtual int32_t ConvertDevModeToPrintTicket(const DEVMODEW* devMode, size_t size,
                                                std::string* ticketUtf8) = 0;
    virtual int32_t ConvertPrintTicketToDevMode(const std::string& ticketUtf8, DevModePtr* devMode,
                                                std::string* errorText) = 0;
};

class PrintSystem {
public:
    virtual ~PrintSystem() = default;
    // Null, with an error number, when the printer cannot be opened.
    virtual std::unique_ptr<PrinterSession> OpenPrinter(const std::string& name, int* error) = 0;
    // Null, with a failing result, when the printer has no Print Ticket provider.
    virtual std::unique_ptr<PrintTicketProvider> OpenPrintTicketProvider(const std::string& name,
                                                                         int32_t* result) = 0;
};

// The print system in use. Until one is installed, no printer can be opened.
PrintSystem& CurrentPrintSystem();
void InstallPrintSystem(std::shared_ptr<PrintSystem> system);

}  // namespace nvrprint
