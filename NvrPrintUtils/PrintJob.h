#pragma once

#include <optional>
#include <string>

#include "NvrPrintUtils/DevMode.h"
#include "NvrPrintUtils/DialogSettings.h"
#include "NvrPrintUtils/PrintJobSettings.h"
#include "NvrPrintUtils/PrinterSession.h"

namespace nvrprint {

// One print, settled before anything reaches the printer, and handed whole to whatever
// prints or shows it: the printer's part as the printer accepted it (paper, orientation,
// two-sided, colour, resolution, source, media type, stapling) and the program's part
// (N-up, order, copies, collation, scale), its title and where it goes.
struct PrintJob {
    std::string printerName;
    // The printer's part; never null in a job MakePrintJob made.
    DevModePtr devMode;
    // The program's part, with the sides the printer prints (dmDuplex), so that copies on
    // two-sided paper keep to sheets of their own.
    PrintJobSettings settings;
    std::string title;
    // The job's PDF goes to this file instead of the printer; empty: to the printer.
    std::string outputFile;
};

// What a print is made from, lowest first.
struct PrintJobSources {
    // The printer's validated defaults; the print starts from them.
    const DEVMODEW* printerDefaults = nullptr;
    // The document's embedded settings; null when the load announced none.
    const PrintJobSettings* document = nullptr;
    // The -settings file.
    const PrintJobSettings* overrides = nullptr;
    // What the person chose in the print dialog; null when there was no dialog.
    const DialogSettings* dialog = nullptr;
    // The title when the settings name none.
    std::string fallbackTitle;
    std::string outputFile;
};

// The settings with the dialog's choices laid over them: copies, collation, two-sided,
// colour, paper and the orientation of the paper, which in 2- and 6-up is across the pages'.
PrintJobSettings WithDialogChoices(PrintJobSettings settings, const DialogSettings& dialog);

// Makes the print for the printer: the layers, the dialog's choices over them, written into
// the printer's defaults and checked by the printer, each correction logged. None when the
// printer refuses the settings.
std::optional<PrintJob> MakePrintJob(const PrintJobSources& sources, PrinterSession& printer);

}  // namespace nvrprint
