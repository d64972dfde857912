#pragma once

#include <nlohmann/json.hpp>

#include <memory>

#include "DocFilePageMgr/DocFilePageMgrLib/PrintDevice.h"
#include "NvrPrintUtils/IppDevMode.h"
#include "SystemServices/linux/CupsDestination.h"

namespace nvrprint::platform {

// A print device for one job on a connected destination, with what the printer said of
// itself (its capabilities, its PPD's options) already at hand.
std::unique_ptr<docmgr::PrintDevice> CreateCupsPrintDevice(
    std::shared_ptr<CupsDestination> destination, const PrinterCapabilities& caps,
    const nlohmann::json& ppdOptions, const DEVMODEW& devMode, SheetLayout layout);

}  // namespace nvrprint::platform
