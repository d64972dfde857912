#pragma once

#include <nlohmann/json.hpp>

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "DevMode.h"

// How a printer described in IPP terms becomes a DEVMODE, how our "driver" corrects a
// DEVMODE for that printer, and how a DEVMODE's attributes become job options.
namespace nvrprint {

using Resolution = std::pair<int, int>;

// What a printer says of itself: defaults and supported values, IPP keywords throughout.
struct PrinterCapabilities {
    std::string mediaDefault;  // PWG self-describing name
    std::vector<std::string> mediaSupported;
    std::string sidesDefault = "one-sided";
    std::vector<std::string> sidesSupported = {"one-sided"};
    std::string colorModeDefault = "monochrome";
    std::vector<std::string> colorModesSupported = {"monochrome"};
    int copiesDefault = 1;
    int copiesMax = 9999;
    std::string orientationDefault = "portrait";
    Resolution resolutionDefault{600, 600};
    std::vector<Resolution> resolutionsSupported;
    std::string mediaSourceDefault;
    std::string mediaTypeDefault;
};

// Bytes reserved after the public DEVMODE for the driver-private options.
inline constexpr uint16_t kDriverExtraBytes = 1024;

// The Windows paper number of a PWG media name: the lowest number that names it, or -1.
int16_t PaperSizeForMedia(const std::string& pwgName);
// A short human name for a PWG media name ("A4", "Letter"), else the name itself.
std::string FormNameForMedia(const std::string& pwgName);
// The PWG media a DEVMODE asks for: its paper number's name, else its form name, else empty.
std::string MediaForDevMode(const DEVMODEW& devMode);

// The printer's default DEVMODE, with kDriverExtraBytes of driver-private space holding
// custom media sources and types.
DevModePtr DevModeFromCapabilities(const PrinterCapabilities& caps, const std::string& printerName);

// What a driver does on validation: two-sided on a one-sided printer becomes one-sided,
// colour on a monochrome one monochrome, a paper it lacks its default paper, a resolution it
// lacks its default resolution, and copies stay within its limit.
void CorrectDevMode(DEVMODEW& devMode, const PrinterCapabilities& caps);

// Job options for CUPS from an attribute document: IPP attributes in the printer's keywords
// and PPD choices, leaving out what the program does itself (copies, collation, N-up, page
// order) and what the sheet geometry carries (orientation). Driver-private options win.
std::vector<std::pair<std::string, std::string>> JobOptionsFromAttributes(
    const nlohmann::json& attributes, const std::map<std::string, std::string>& driverOptions);

}  // namespace nvrprint
