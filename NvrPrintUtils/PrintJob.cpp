#include "NvrPrintUtils/PrintJob.h"

#include <algorithm>

#include "NvrPrintUtils/IppDevMode.h"
#include "logging/LogMacros.h"

namespace nvrprint {
namespace {

int16_t DuplexOf(DialogDuplex duplex) {
    switch (duplex) {
        case DialogDuplex::LongEdge:
            return DMDUP_VERTICAL;
        case DialogDuplex::ShortEdge:
            return DMDUP_HORIZONTAL;
        default:
            return DMDUP_SIMPLEX;
    }
}

// The paper the dialog chose, by number and form name where it has them, else by its size.
void SetPaper(const std::string& media, PrintJobSettings& settings) {
    if (media.empty()) {
        return;
    }
    const int16_t paper = PaperSizeForMedia(media);
    int width = 0;
    int length = 0;
    if (paper > 0) {
        settings.dmPaperSize = paper;
        settings.dmPaperWidth = -1;
        settings.dmPaperLength = -1;
        settings.dmFormName = FormNameForMedia(media);
    } else if (MediaDimensions(media, &width, &length)) {
        // Tenths of a millimetre, as a DEVMODE gives a paper without a number.
        settings.dmPaperWidth = static_cast<int16_t>(std::min(width / 10, 32767));
        settings.dmPaperLength = static_cast<int16_t>(std::min(length / 10, 32767));
        settings.dmFormName.clear();
    }
}

}  // namespace

PrintJobSettings WithDialogChoices(PrintJobSettings settings, const DialogSettings& dialog) {
    settings.dmCopies = static_cast<int16_t>(std::clamp<int32_t>(dialog.copies, 1, 9999));
    settings.dmCollate = dialog.collate ? DMCOLLATE_TRUE : DMCOLLATE_FALSE;
    settings.dmDuplex = DuplexOf(dialog.duplex);
    settings.dmColor = dialog.color ? DMCOLOR_COLOR : DMCOLOR_MONOCHROME;
    // The dialog shows the paper; 2- and 6-up turn it across the pages, which is what the
    // settings hold.
    const bool turned = settings.PagesPerSheet == 2 || settings.PagesPerSheet == 6;
    settings.dmOrientation = dialog.landscape != turned ? DMORIENT_LANDSCAPE : DMORIENT_PORTRAIT;
    SetPaper(dialog.media, settings);
    return settings;
}

std::optional<PrintJob> MakePrintJob(const PrintJobSources& sources, PrinterSession& printer) {
    PrintJob job;
    job.printerName = printer.Name();
    job.outputFile = sources.outputFile;
    static const PrintJobSettings kNoOverrides;
    job.settings = LayerSettings(sources.printerDefaults, sources.document,
                                 sources.overrides != nullptr ? *sources.overrides : kNoOverrides);
    if (sources.dialog == nullptr) {
        NVR_LOG_INFO("Layer 2: Final merged settings (PagesPerSheet={}, Reverse={}, Copies={})",
                     job.settings.PagesPerSheet, job.settings.bReversePages,
                     job.settings.dmCopies < 1 ? 1 : job.settings.dmCopies);
    } else {
        job.settings = WithDialogChoices(std::move(job.settings), *sources.dialog);
        NVR_LOG_DEBUG(
            "The print dialog's choices over the settings (Copies={}, Collate={}, Duplex={}, "
            "Color={}, Orientation={})",
            job.settings.dmCopies, job.settings.dmCollate, job.settings.dmDuplex,
            job.settings.dmColor, job.settings.dmOrientation);
    }
    NVR_LOG_DEBUG("Applying and validating effective settings");
    job.devMode = CopyDevMode(sources.printerDefaults);
    if (!job.devMode || !job.settings.ApplyToDevMode(job.devMode.get(), &printer)) {
        return std::nullopt;
    }
    // The program prints the sides the printer prints.
    job.settings.dmDuplex =
        (job.devMode->dmFields & DM_DUPLEX) != 0 ? job.devMode->dmDuplex : int16_t{-1};
    job.title =
        !job.settings.PrintJobTitle.empty() ? job.settings.PrintJobTitle : sources.fallbackTitle;
    return job;
}

}  // namespace nvrprint
