// Interactive mode: the job's settings stacked for the preview, the preview shown, and the
// document printed on the preview's command.
#include <memory>
#include <optional>

#include "NvrPrintHelper/NvrPrintHelper.h"
#include "NvrPrintHelper/PrintProgressDialog.h"
#include "NvrPrintHelper/preview/PreviewWindow.h"
#include "logging/LogMacros.h"

namespace nvrprint {
namespace {

// What follows the last "\" or "/", or the whole path.
std::string FileNameOf(const std::string& path) {
    size_t slash = path.find_last_of("\\/");
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

// The settings a print from the preview is made of, besides the printer's and the dialog's.
// The printer is asked on a thread of its own, which a hanging scheduler can keep waiting
// past the run's end: the job maker holds this copy, never the run's own fields.
struct JobLayers {
    std::optional<PrintJobSettings> document;
    PrintJobSettings overrides;
    std::string title;

    PrintJobSources Sources(const DEVMODEW& printerDefaults, const DialogSettings* dialog) const {
        PrintJobSources sources;
        sources.printerDefaults = &printerDefaults;
        sources.document = document ? &*document : nullptr;
        sources.overrides = &overrides;
        sources.dialog = dialog;
        sources.fallbackTitle = title;
        return sources;
    }
};

}  // namespace

bool NvrPrintHelper::ExecuteInteractiveMode() {
    NVR_LOG_ENTRY("Entered");
    NVR_LOG_INFO("Executing interactive mode");
    std::string printerName = m_printerName;
    if (printerName.empty()) {
        NVR_LOG_DEBUG("No printer specified, getting default");
        printerName = GetDefaultPrinterName();
        if (!printerName.empty()) {
            NVR_LOG_DEBUG("Using default printer for preview: {}", printerName);
        } else {
            NVR_LOG_DEBUG("No default printer available for preview");
        }
    }

    // The printer is opened once here and serves the print from the preview as well.
    DevModePtr defaults;
    if (!printerName.empty()) {
        Result<std::unique_ptr<platform::Printer>> opened = m_os.printers->OpenPrinter(printerName);
        if (opened) {
            m_printer = std::move(opened).value();
            defaults = m_docMgr->GetPrinterSettings(*m_printer);
        } else {
            NVR_LOG_ERROR("Failed to open printer '{}' (Error: {})", printerName,
                          opened.error().code);
        }
    }
    if (printerName.empty()) {
        NVR_LOG_DEBUG("No printer for defaults, starting with empty settings");
    } else if (!defaults) {
        NVR_LOG_WARNING("Could not get printer defaults, starting with empty settings");
    }
    m_finalSettings = LayerSettings(
        defaults.get(), m_settingsReceived ? &m_documentSettings : nullptr, m_overrideSettings);
    NVR_LOG_INFO(
        "Layer 2: Final merged settings for preview (PagesPerSheet={}, Reverse={}, "
        "Copies={})",
        m_finalSettings.PagesPerSheet, m_finalSettings.bReversePages,
        m_finalSettings.dmCopies < 1 ? 1 : m_finalSettings.dmCopies);

    NVR_LOG_INFO("Showing preview window");
    // The dialog starts from the job's print for its printer, the sheets view shows it, and
    // the dialog's choices make the print for the printer chosen.
    auto layers = std::make_shared<const JobLayers>(
        JobLayers{m_settingsReceived ? std::optional(m_documentSettings) : std::nullopt,
                  m_overrideSettings, DocumentTitle()});
    auto makeJob = [layers](platform::Printer& printer, const DEVMODEW& defaults,
                            const DialogSettings* dialog) {
        return MakePrintJob(layers->Sources(defaults, dialog), printer);
    };
    // A print under way whose progress window the person closed shows it again on Print.
    auto showProgress = [this] {
        if (m_progressDialog) {
            m_progressDialog->ShowAgain();
        }
    };
    PreviewWindow preview(*m_os.printers, *m_os.display, makeJob, showProgress);
    auto print = [this](void* owner, PrintChoice choice, PrintFinished finished) {
        if (!choice.printerName.empty()) {
            m_printerName = choice.printerName;
            NVR_LOG_INFO("Updated printer to: {}", m_printerName);
        }
        if (choice.job) {
            NVR_LOG_INFO("Stored validated DEVMODE from print dialog (size: {})",
                         choice.job->devMode->dmSize + choice.job->devMode->dmDriverExtra);
            m_chosenJob = std::move(choice.job);
        } else {
            SetDialogChoices(choice.dialog);
        }
        SetOutputFile(choice.outputFile);
        return PrintDocumentWithProgress(owner, std::move(finished));
    };
    int32_t result = preview.ShowPreview(m_docMgr.get(), FileNameOf(ActualInputFile()), printerName,
                                         &m_finalSettings, print);
    NVR_LOG_DEBUG("Preview closed with result: {}", result);
    switch (result) {
        case PreviewClosed:
            NVR_LOG_INFO("User cancelled");
            return true;
        case PreviewFailed:
            NVR_LOG_ERROR("Preview error occurred");
            ShowError("Error: The print preview could not be opened", false);
            return false;
        default:
            return true;
    }
}

bool NvrPrintHelper::PrintDocumentWithProgress(void* parentWindow, PrintFinished finished) {
    NVR_LOG_ENTRY("Entered");
    NVR_LOG_INFO("Starting print operation with progress dialog");
    m_progressDialog = std::make_unique<PrintProgressDialog>(*m_os.display);
    // The job runs on the dialog's thread; the main loop goes on meanwhile, and nothing here
    // is touched by it until the job has ended.
    auto print = [this](docmgr::PrintProgress progress) {
        m_printProgress = std::move(progress);
        bool printed = PrintDocument();
        m_printProgress = nullptr;
        return printed;
    };
    auto ended = [this, finished = std::move(finished)](bool printed) {
        if (printed) {
            NVR_LOG_INFO("Print operation completed successfully");
        } else {
            NVR_LOG_ERROR("Print operation failed");
        }
        m_progressDialog.reset();
        if (finished) {
            finished(printed);
        }
    };
    bool started = m_progressDialog->ShowAndPrint(parentWindow, FileNameOf(ActualInputFile()),
                                                  m_printerName, print, std::move(ended));
    if (!started) {
        NVR_LOG_ERROR("Print operation failed");
        m_progressDialog.reset();
    }
    NVR_LOG_ENTRY("Returning {}", started);
    return started;
}

}  // namespace nvrprint
