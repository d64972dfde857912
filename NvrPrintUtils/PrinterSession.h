#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "NvrPrintUtils/DevMode.h"

// What the settings code needs of an open printer: its DEVMODE size, its defaults, the
// driver's validation of a DEVMODE, and a Print Ticket provider. The print system hands one
// out per job; tests hand in scripted fakes.
namespace nvrprint {

inline constexpr int32_t kIdOk = 1;

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

// One printer, open for the length of a job: whatever it is asked, it asks the printer at
// most once. Closes when destroyed.
class PrinterSession {
public:
    virtual ~PrinterSession() = default;
    virtual const std::string& Name() const = 0;
    // Size in bytes of a full DEVMODE of this printer; 0 or less on failure.
    virtual int32_t DevModeSize() = 0;
    // Fills out (DevModeSize() bytes) with the printer's defaults; kIdOk on success.
    virtual int32_t DefaultDevMode(DEVMODEW* out) = 0;
    // Merges in with the driver's state, corrects what the printer cannot do, writes out
    // (DevModeSize() bytes); kIdOk on success.
    virtual int32_t ValidateDevMode(const DEVMODEW* in, DEVMODEW* out) = 0;
    // A fresh provider; null, with a failing result, when the printer has none.
    virtual std::unique_ptr<PrintTicketProvider> OpenPrintTicketProvider(int32_t* result) = 0;
};

}  // namespace nvrprint
