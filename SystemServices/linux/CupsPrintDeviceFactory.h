#pragma once

#include <nlohmann/json.hpp>

#include <memory>
#include <string>

#include "DocFilePageMgr/DocFilePageMgrLib/PrintDevice.h"
#include "NvrPrintUtils/IppDevMode.h"
#include "SystemServices/JobPdf/SheetGeometry.h"
#include "SystemServices/linux/CupsDestination.h"

namespace nvrprint::platform {

// The sheet a job laid out by the DEVMODE is printed on: its paper with the printer's margins
// for it, orientation, resolution and scale. The medium, with its name, goes to mediaOut.
SheetGeometry SheetForDevMode(const CupsDestination& destination, const DEVMODEW& devMode,
                              MediaSize* mediaOut = nullptr);

// A print device for one job on a connected destination, with what the printer said of
// itself (its capabilities, its PPD's options) already at hand.
std::unique_ptr<docmgr::PrintDevice> CreateCupsPrintDevice(
    std::shared_ptr<CupsDestination> destination, const PrinterCapabilities& caps,
    const nlohmann::json& ppdOptions, const DEVMODEW& devMode, SheetLayout layout);

// A device that writes the job's PDF to the file at path: the sheets the destination would
// be sent for the DEVMODE, on its paper with its margins.
std::unique_ptr<docmgr::PrintDevice> CreateCupsFileDevice(const CupsDestination& destination,
                                                          const DEVMODEW& devMode,
                                                          const std::string& path);

}  // namespace nvrprint::platform
