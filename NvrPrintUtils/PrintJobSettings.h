#pragma once

#include <nlohmann/json.hpp>

#include <cstdint>
#include <string>

#include "NvrPrintUtils/DevMode.h"
#include "NvrPrintUtils/PrinterSession.h"

namespace nvrprint {

// One layer of printer-independent job settings: the job title, four job options that the
// program carries out itself, and the fourteen DEVMODE fields a job may set. A negative
// number or an empty form name means "not set". JsonDocument records which keys the layer
// really named, and is what MergeWith folds by.
class PrintJobSettings {
public:
    std::string PrintJobTitle;
    bool bShowPreview = false;
    int32_t PagesPerSheet = 1;
    bool bReversePages = false;
    bool bStapled = false;
    int16_t dmCollate = -1;
    int16_t dmColor = -1;
    int16_t dmCopies = -1;
    int16_t dmDefaultSource = -1;
    int16_t dmDuplex = -1;
    std::string dmFormName;
    int16_t dmMediaType = -1;
    int16_t dmOrientation = -1;
    int16_t dmPaperLength = -1;
    int16_t dmPaperSize = -1;
    int16_t dmPaperWidth = -1;
    int16_t dmPrintQuality = -1;
    int16_t dmScale = -1;
    int16_t dmYResolution = -1;
    nlohmann::json JsonDocument;

    bool LoadFromFile(const std::string& path);
    bool LoadFromString(const std::string& jsonUtf8);
    void LoadFromJson(const nlohmann::json& document);
    void MergeWith(const PrintJobSettings& other);
    void ExtractFromDevMode(const DEVMODEW* devMode);
    // Writes the set fields into devMode, turns the sheet for 2- and 6-up, and with a printer
    // (null: none) adds the printer's staple option and has the driver validate the result.
    bool ApplyToDevMode(DEVMODEW* devMode, PrinterSession* printer);
};

// The job's effective settings, three layers deep: the printer's defaults (none: nothing set),
// the document's embedded settings over them (none: the load announced none) and the -settings
// file over both.
PrintJobSettings LayerSettings(const DEVMODEW* printerDefaults,
                               const PrintJobSettings* documentSettings,
                               const PrintJobSettings& overrideSettings);

// True for the sheet layouts a job may ask for: 1, 2, 4, 6, 9 and 16.
bool IsValidPagesPerSheet(int32_t pagesPerSheet);

}  // namespace nvrprint
