// Making a print device: the sheet from the DEVMODE and the printer's media, the job's
// options from the DEVMODE's attributes. A device that writes the job to a file makes the
// same sheet.
#include "SystemServices/linux/CupsPrintDeviceFactory.h"
#include "NvrPrintUtils/IppDevMode.h"
#include "NvrPrintUtils/PrintJobSettingsHelper.h"
#include "SystemServices/linux/CupsPrintDevice.h"
#include "SystemServices/linux/FilePrintDevice.h"
#include "logging/LogMacros.h"

namespace nvrprint::platform {
namespace {

constexpr int kDefaultDpi = 600;
// dmScale, in percent, as drivers take it.
constexpr int kMinScale = 1;
constexpr int kMaxScale = 1000;

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
            NVR_LOG_DEBUG("Printer {} gives no margins for {}; printing without them",
                          destination.Name(), wanted);
            return MediaSize{pwg->pwg, pwg->width, pwg->length};
        }
    }
    if (destination.DefaultMedia(&size)) {
        return FromCups(size);
    }
    return MediaSize{"na_letter_8.5x11in"};
}

// The job's attributes, with a PPD choice only where the job asks for something the
// printer would not do by default.
nlohmann::json JobAttributes(const CupsDestination& destination, const PrinterCapabilities& caps,
                             const nlohmann::json& ppdOptions, const DEVMODEW& devMode,
                             const MediaSize& media) {
    nlohmann::json attributes =
        PrintJobSettingsHelper::BuildJobOptionAttributes(&devMode, ppdOptions);
    if (!ppdOptions.empty()) {
        DevModePtr defaults = DevModeFromCapabilities(caps, destination.Name());
        if (defaults) {
            attributes = WithoutDefaultPpdChoices(
                std::move(attributes),
                PrintJobSettingsHelper::BuildJobOptionAttributes(defaults.get(), ppdOptions),
                ppdOptions);
        }
    }
    // The medium the sheets are made on.
    attributes["media"] = media.name;
    return attributes;
}

}  // namespace

SheetGeometry SheetForDevMode(const CupsDestination& destination, const DEVMODEW& devMode,
                              MediaSize* mediaOut) {
    const MediaSize media = SheetMedia(destination, devMode);
    const bool landscape =
        (devMode.dmFields & DM_ORIENTATION) && devMode.dmOrientation == DMORIENT_LANDSCAPE;
    const int dpiX = (devMode.dmFields & DM_PRINTQUALITY) && devMode.dmPrintQuality > 0
                         ? devMode.dmPrintQuality
                         : kDefaultDpi;
    const int dpiY = (devMode.dmFields & DM_YRESOLUTION) && devMode.dmYResolution > 0
                         ? devMode.dmYResolution
                         : dpiX;
    SheetGeometry sheet = MakeSheetGeometry(media, landscape, dpiX, dpiY);
    if ((devMode.dmFields & DM_SCALE) && devMode.dmScale >= kMinScale &&
        devMode.dmScale <= kMaxScale) {
        sheet.scale = devMode.dmScale / 100.0;
    }
    NVR_LOG_DEBUG("Sheet {} {}: {}x{} pts, printable {}x{} px at {}x{} DPI, scale {}", media.name,
                  landscape ? "landscape" : "portrait", sheet.widthPoints, sheet.heightPoints,
                  sheet.printableWidth, sheet.printableHeight, dpiX, dpiY, sheet.scale);
    if (mediaOut != nullptr) {
        *mediaOut = media;
    }
    return sheet;
}

std::unique_ptr<docmgr::PrintDevice> CreateCupsPrintDevice(
    std::shared_ptr<CupsDestination> destination, const PrinterCapabilities& caps,
    const nlohmann::json& ppdOptions, const DEVMODEW& devMode, SheetLayout layout) {
    MediaSize media;
    const SheetGeometry sheet = SheetForDevMode(*destination, devMode, &media);
    CupsPrintDevice::JobOptions options =
        JobOptionsFromAttributes(JobAttributes(*destination, caps, ppdOptions, devMode, media),
                                 ReadDriverOptions(&devMode), layout);
    return std::make_unique<CupsPrintDevice>(std::move(destination), sheet, std::move(options));
}

std::unique_ptr<docmgr::PrintDevice> CreateCupsFileDevice(const CupsDestination& destination,
                                                          const DEVMODEW& devMode,
                                                          const std::string& path) {
    return std::make_unique<FilePrintDevice>(path, SheetForDevMode(destination, devMode));
}

}  // namespace nvrprint::platform
