#pragma once

#include <nlohmann/json.hpp>

#include "NvrPrintUtils/IppDevMode.h"
#include "SystemServices/linux/CupsDestination.h"

namespace nvrprint::platform {

// What the destination says of itself, its queue's options (lpoptions, lpadmin -o) first.
PrinterCapabilities CapabilitiesOf(const CupsDestination& destination);

// The options and choices of the queue's PPD as {"Option": ["Choice", ...]}; empty for a
// printer without one (IPP Everywhere printers reached by URI, driverless queues without
// a PPD).
nlohmann::json PpdOptionsOf(const CupsDestination& destination);

}  // namespace nvrprint::platform
