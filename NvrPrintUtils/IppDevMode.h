#pragma once

#include <nlohmann/json.hpp>

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "NvrPrintUtils/DevMode.h"

// How a printer described in IPP terms becomes a DEVMODE, how our "driver" corrects a
// DEVMODE for that printer, and how a DEVMODE's attributes become job options.
namespace nvrprint {

using Resolution = std::pair<int, int>;

// What a printer says of itself: defaults and supported values, IPP keywords throughout.
struct PrinterCapabilities {
    std::string mediaDefault;  // PWG self-describing name
    std::vector<std::string> mediaSupported;
    // The range of custom paper sizes, hundredths of a millimetre; all 0 without custom sizes.
    int customMinWidth = 0;
    int customMinLength = 0;
    int customMaxWidth = 0;
    int customMaxLength = 0;
    std::string sidesDefault = "one-sided";
    std::vector<std::string> sidesSupported = {"one-sided"};
    std::string colorModeDefault = "monochrome";
    std::vector<std::string> colorModesSupported = {"monochrome"};
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
// The size in a PWG media name ("iso_a4_210x297mm", "na_letter_8.5x11in"), in hundredths of
// a millimetre; false when the name carries none.
bool MediaDimensions(const std::string& pwgName, int* width, int* length);
// The self-describing PWG name of a custom paper given in tenths of a millimetre, as
// dmPaperWidth and dmPaperLength are: "custom_100x150mm_100x150mm".
std::string CustomMediaName(int widthTenthsMm, int lengthTenthsMm);
// The PWG media a DEVMODE asks for: its custom paper (dmPaperWidth and dmPaperLength override
// the paper number), else its paper number's name, else its form name, else empty.
std::string MediaForDevMode(const DEVMODEW& devMode);

// The printer's default DEVMODE, with kDriverExtraBytes of driver-private space holding
// custom media sources and types.
DevModePtr DevModeFromCapabilities(const PrinterCapabilities& caps, const std::string& printerName);

// What a driver does on validation: two-sided on a one-sided printer becomes one-sided,
// colour on a monochrome one monochrome; a form name and a paper number that disagree settle
// on the one that differs from the printer's default; a custom paper outside its custom range
// becomes the nearest paper it has, a named paper it lacks its default paper; a resolution it
// lacks its default resolution; and copies stay within its limit.
void CorrectDevMode(DEVMODEW& devMode, const PrinterCapabilities& caps);

// A DEVMODE block of the full driver-private size carrying these driver-private options.
DevModePtr DevModeWithOptions(const DEVMODEW* devMode,
                              const std::map<std::string, std::string>& options);

// How a printer is asked to staple: IPP finishings with the staple value it supports, else
// its PPD's staple option with the first real choice; an empty name when it cannot staple.
StapleOption StapleOptionFor(const nlohmann::json& ppdOptions, const std::string& finishingsStaple);

// The job's attribute document without the PPD choices that only restate the printer's
// defaults (the attribute document of its default DEVMODE): a driver option goes out only
// for what the job asked for.
nlohmann::json WithoutDefaultPpdChoices(nlohmann::json job, const nlohmann::json& defaults,
                                        const nlohmann::json& ppdOptions);

// Job options for CUPS from an attribute document: IPP attributes in the printer's keywords
// and PPD choices, leaving out what the sheet geometry carries (orientation). Driver-private
// options win. Where the program lays out the sheets, the job asks the scheduler for one copy,
// one page per side, normal order and no scaling, whatever its defaults.
// Who makes a job's sheets: the program (N-up, order, copies laid out on them), or the
// printer, which takes the document's pages as they are and its own defaults for the rest.
enum class SheetLayout { ByProgram, ByPrinter };

std::vector<std::pair<std::string, std::string>> JobOptionsFromAttributes(
    const nlohmann::json& attributes, const std::map<std::string, std::string>& driverOptions,
    SheetLayout layout = SheetLayout::ByProgram);

}  // namespace nvrprint
