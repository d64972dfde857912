#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "NvrPrintUtils/DevMode.h"
#include "platform/Result.h"

// What the settings code needs of an open printer: its DEVMODE size, its defaults, the
// driver's validation of a DEVMODE, and how it staples. The print system hands one
// out per job; tests hand in scripted fakes.
namespace nvrprint {

// One printer, open for the length of a job: whatever it is asked, it asks the printer at
// most once. Closes when destroyed.
class PrinterSession {
public:
    virtual ~PrinterSession() = default;
    virtual const std::string& Name() const = 0;
    // Size in bytes of a full DEVMODE of this printer; 0 or less on failure.
    virtual int32_t DevModeSize() = 0;
    // Fills out (DevModeSize() bytes) with the printer's defaults.
    virtual Status DefaultDevMode(DEVMODEW* out) = 0;
    // Merges in with the driver's state, corrects what the printer cannot do, writes out
    // (DevModeSize() bytes); fails when the printer refuses the settings.
    virtual Status ValidateDevMode(const DEVMODEW* in, DEVMODEW* out) = 0;
    // How the printer is asked to staple, as a driver-private option of the DEVMODE; an empty
    // name when it cannot staple.
    virtual StapleOption Stapling() = 0;
};

}  // namespace nvrprint
