// Applying a job's settings to a DEVMODE and reporting what the driver corrected.
#include <cerrno>
#include <cstring>
#include <optional>

#include "NvrPrintUtils/DevModeFields.h"
#include "NvrPrintUtils/IppDevMode.h"
#include "NvrPrintUtils/PrintJobSettings.h"
#include "NvrPrintUtils/PrinterSession.h"
#include "logging/LogMacros.h"

namespace nvrprint {
namespace {

// The check and cross marks of the survival lines, as their bytes read in code page 1252.
constexpr const char* kCheckMark = "\xC3\xA2\xC5\x93\xE2\x80\x9C";
constexpr const char* kCrossMark = "\xC3\xA2\xC5\x93\xE2\x80\x94";

// Stapling has no public DEVMODE field: it is the printer's own driver option (IPP
// finishings or its PPD's staple choice), written into the driver-private part.
void AddStapling(DEVMODEW* devMode, PrinterSession& printer) {
    const StapleOption staple = printer.Stapling();
    if (staple.name.empty()) {
        NVR_LOG_WARNING("Printer {} cannot staple; the job is printed without stapling",
                        printer.Name());
        return;
    }
    std::map<std::string, std::string> options = ReadDriverOptions(devMode);
    options[staple.name] = staple.value;
    DevModePtr stapled = DevModeWithOptions(devMode, options);
    const size_t room = size_t{devMode->dmSize} + devMode->dmDriverExtra;
    if (!stapled || DevModeBytes(*stapled) > room) {
        NVR_LOG_WARNING("No room for stapling in the DEVMODE of printer {}", printer.Name());
        return;
    }
    std::memcpy(static_cast<void*>(devMode), stapled.get(), DevModeBytes(*stapled));
    NVR_LOG_INFO("Stapling requested as {}={}", staple.name, staple.value);
}

// Whether stapling survived the driver's validation: its option is still in the validated
// DEVMODE.
void CheckStaplingSurvived(const DEVMODEW* validated, PrinterSession& printer) {
    const StapleOption staple = printer.Stapling();
    if (staple.name.empty()) {
        return;
    }
    const std::map<std::string, std::string> options = ReadDriverOptions(validated);
    const auto found = options.find(staple.name);
    if (found != options.end() && found->second == staple.value) {
        NVR_LOG_INFO("{} Stapling setting survived DocumentProperties validation", kCheckMark);
    } else {
        NVR_LOG_WARNING("{} Stapling setting was removed by DocumentProperties validation",
                        kCrossMark);
    }
}

void CompareAndLogValidationResults(const PrintJobSettings& requested, const DEVMODEW* validated,
                                    PrinterSession& printer) {
    NVR_LOG_DEBUG("Comparing validated DEVMODE with requested settings");
    PrintJobSettings actual;
    actual.ExtractFromDevMode(validated);
    int corrections = 0;
    for (const DevModeField& field : DevModeFields()) {
        if (field.reportedWhenCorrected && field.IsSet(requested) &&
            !field.SameValue(requested, actual)) {
            NVR_LOG_INFO("{} corrected from {} to {}", field.key, field.LogText(requested),
                         field.LogText(actual));
            ++corrections;
        }
    }
    if (corrections > 0) {
        NVR_LOG_INFO(
            "{} standard DEVMODE setting(s) were corrected by DocumentProperties "
            "validation",
            corrections);
    } else {
        NVR_LOG_DEBUG("All standard DEVMODE settings validated without corrections");
    }
    if (requested.bStapled) {
        CheckStaplingSurvived(validated, printer);
    }
}

// In 2- and 6-up sheets the logical pages stand crosswise, so the paper turns.
std::optional<int16_t> SheetOrientationForNUp(const PrintJobSettings& s) {
    if (s.PagesPerSheet != 2 && s.PagesPerSheet != 6) {
        return std::nullopt;
    }
    if (s.dmOrientation == DMORIENT_PORTRAIT) {
        NVR_LOG_INFO("Flipping orientation for {}-up: Portrait logical pages", s.PagesPerSheet);
        return DMORIENT_LANDSCAPE;
    }
    if (s.dmOrientation == DMORIENT_LANDSCAPE) {
        NVR_LOG_INFO("Flipping orientation for {}-up: Landscape logical pages", s.PagesPerSheet);
        return DMORIENT_PORTRAIT;
    }
    if (s.dmOrientation < 0) {
        NVR_LOG_INFO(
            "Defaulting to landscape physical page for {}-up layout (no logical "
            "orientation set)",
            s.PagesPerSheet);
        return DMORIENT_LANDSCAPE;
    }
    return std::nullopt;
}

// The driver's pass over the DEVMODE: its corrections are copied back and reported. False
// when the printer refuses the settings.
bool ValidateWithPrinter(const PrintJobSettings& requested, DEVMODEW* devMode,
                         PrinterSession& printer) {
    NVR_LOG_INFO("Validating DEVMODE modifications using DocumentProperties");
    int32_t size = printer.DevModeSize();
    if (size <= 0) {
        NVR_LOG_ERROR("Failed to get DEVMODE size for validation (Error: {})", size);
        return false;
    }
    std::unique_ptr<DEVMODEW, DevModeDeleter> output(
        static_cast<DEVMODEW*>(std::calloc(1, std::max<size_t>(size, sizeof(DEVMODEW)))));
    const Status validated =
        output ? printer.ValidateDevMode(devMode, output.get()) : SystemFailure(ENOMEM);
    if (!validated) {
        NVR_LOG_ERROR("DocumentProperties validation failed (result: {})", validated.error().code);
        NVR_LOG_ERROR("The printer does not support the requested settings");
        return false;
    }
    size_t bytes = std::min<size_t>(static_cast<size_t>(size),
                                    size_t{devMode->dmSize} + devMode->dmDriverExtra);
    std::memcpy(static_cast<void*>(devMode), output.get(), bytes);
    NVR_LOG_INFO("DEVMODE validated and corrected successfully");
    CompareAndLogValidationResults(requested, output.get(), printer);
    return true;
}

}  // namespace

bool PrintJobSettings::ApplyToDevMode(DEVMODEW* devMode, PrinterSession* printer) {
    NVR_LOG_ENTRY("Entered");
    const std::string printerName = printer != nullptr ? printer->Name() : std::string();
    if (devMode == nullptr) {
        NVR_LOG_ERROR("NULL DEVMODE pointer");
        NVR_LOG_ENTRY("Returning false");
        return false;
    }
    NVR_LOG_DEBUG("Applying settings to DEVMODE{}",
                  printerName.empty() ? std::string() : " for printer: " + printerName);

    const std::optional<int16_t> orientationOverride = SheetOrientationForNUp(*this);
    int applied = 0;
    for (const DevModeField& field : DevModeFields()) {
        if (field.bit == DM_ORIENTATION && orientationOverride) {
            devMode->dmOrientation = *orientationOverride;
            devMode->dmFields |= DM_ORIENTATION;
            ++applied;
            NVR_LOG_VERBOSE("Set dmOrientation = {} (overridden for N-up)", *orientationOverride);
        } else if (field.IsSet(*this)) {
            field.WriteTo(*this, devMode);
            ++applied;
            NVR_LOG_VERBOSE("Set {} = {}", field.key, field.LogText(*this));
        }
    }
    NVR_LOG_INFO("Applied {} setting(s) to DEVMODE", applied);

    if (printer != nullptr && bStapled) {
        AddStapling(devMode, *printer);
    }

    if (printer != nullptr && applied >= 1) {
        if (!ValidateWithPrinter(*this, devMode, *printer)) {
            NVR_LOG_ENTRY("Returning false");
            return false;
        }
        // The program makes the copies itself: no more than the printer's bound, to which
        // the driver has just corrected the DEVMODE.
        if ((devMode->dmFields & DM_COPIES) != 0 && devMode->dmCopies >= 1 &&
            dmCopies > devMode->dmCopies) {
            dmCopies = devMode->dmCopies;
        }
    }
    NVR_LOG_ENTRY("Returning true");
    return true;
}

}  // namespace nvrprint
