// Making a print device: the sheet from the DEVMODE and the printer's media, the job's
// options from the DEVMODE's attributes.
#include <cerrno>

#include "CupsCapabilities.h"
#include "CupsPrintDevice.h"
#include "IppDevMode.h"
#include "LogMacros.h"
#include "PrintJobSettingsHelper.h"
#include "PrinterServices.h"

namespace nvrprint::platform {
namespace {

constexpr int kDefaultDpi = 600;

MediaSize FromCups(const cups_size_t& size) {
    return MediaSize{size.media, size.width, size.length, size.left,
                     size.right, size.top,   size.bottom};
}

// The medium the DEVMODE asks for, with the printer's margins for it.
MediaSize SheetMedia(const CupsDestination& destination, const DEVMODEW& devMode) {
    const std::string wanted = MediaForDevMode(devMode);
    cups_size_t size;
    if (!wanted.empty() && destination.MediaByName(wanted, &size)) {
        return FromCups(size);
    }
    if (!wanted.empty()) {
        if (pwg_media_t* pwg = pwgMediaForPWG(wanted.c_str())) {
            NVR_LOG_WARNING("Printer {} does not list {}; printing without margins",
                            destination.Name(), wanted);
            return MediaSize{pwg->pwg, pwg->width, pwg->length};
        }
    }
    if (destination.DefaultMedia(&size)) {
        return FromCups(size);
    }
    return MediaSize{"na_letter_8.5x11in"};
}

}  // namespace

std::unique_ptr<docmgr::PrintDevice> CreatePrintDevice(const std::string& printerName,
                                                       const DEVMODEW* devMode,
                                                       const nlohmann::json& jobSettings,
                                                       int* error) {
    if (devMode == nullptr) {
        *error = EINVAL;
        return nullptr;
    }
    std::string reason;
    std::unique_ptr<CupsDestination> destination =
        CupsDestination::Open(printerName, error, &reason);
    if (!destination) {
        NVR_LOG_ERROR("Cannot open printer {}: {}", printerName, reason);
        return nullptr;
    }
    const MediaSize media = SheetMedia(*destination, *devMode);
    const bool landscape =
        (devMode->dmFields & DM_ORIENTATION) && devMode->dmOrientation == DMORIENT_LANDSCAPE;
    const int dpiX = (devMode->dmFields & DM_PRINTQUALITY) && devMode->dmPrintQuality > 0
                         ? devMode->dmPrintQuality
                         : kDefaultDpi;
    const int dpiY = (devMode->dmFields & DM_YRESOLUTION) && devMode->dmYResolution > 0
                         ? devMode->dmYResolution
                         : dpiX;
    const SheetGeometry sheet = MakeSheetGeometry(media, landscape, dpiX, dpiY);
    NVR_LOG_DEBUG("Sheet {} {}: {}x{} pts, printable {}x{} px at {}x{} DPI", media.name,
                  landscape ? "landscape" : "portrait", sheet.widthPoints, sheet.heightPoints,
                  sheet.printableWidth, sheet.printableHeight, dpiX, dpiY);

    const nlohmann::json attributes = PrintJobSettingsHelper::BuildAttributeDocument(
        devMode, PpdOptionsOf(*destination), jobSettings);
    CupsPrintDevice::JobOptions options =
        JobOptionsFromAttributes(attributes, ReadDriverOptions(devMode));
    return std::make_unique<CupsPrintDevice>(std::move(destination), sheet, std::move(options));
}

}  // namespace nvrprint::platform
