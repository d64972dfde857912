// Silent printing: settling the printer, stacking the settings layers, and sending the
// job through a print device.
#include <memory>
#include <utility>

#include "NvrPrintHelper/NvrPrintHelper.h"
#include "logging/LogMacros.h"
#include "logging/TextCodec.h"

namespace nvrprint {

bool NvrPrintHelper::ExecuteSilentMode() {
    NVR_LOG_ENTRY("Entered");
    NVR_LOG_INFO("Executing silent mode");
    if (m_printerName.empty()) {
        NVR_LOG_DEBUG("No printer specified, getting default printer");
        m_printerName = GetDefaultPrinterName();
        if (m_printerName.empty()) {
            NVR_LOG_ERROR("No default printer available");
            ShowError("Error: No printer specified and no default printer available", false);
            return false;
        }
        NVR_LOG_INFO("Using default printer: {}", m_printerName);
    }
    NVR_LOG_DEBUG("Validating printer: {}", m_printerName);
    if (!ValidatePrinter(m_printerName)) {
        NVR_LOG_ERROR("Printer validation failed");
        ShowError("Error: Invalid or inaccessible printer: " + m_printerName, false);
        return false;
    }
    NVR_LOG_DEBUG("Printer validated successfully");
    const bool printed = PrintDocument();
    if (printed) {
        NVR_LOG_INFO("Silent mode completed successfully");
    } else {
        NVR_LOG_ERROR("Silent mode failed");
    }
    NVR_LOG_ENTRY("Returning {}", printed);
    return printed;
}

std::string NvrPrintHelper::GetDefaultPrinterName() {
    NVR_LOG_ENTRY("Entered");
    NVR_LOG_DEBUG("Getting default printer name");
    const Result<std::string> name = m_os.printers->DefaultPrinter();
    if (!name || name->empty()) {
        NVR_LOG_ERROR("Failed to get default printer (Error: {})", name ? 0 : name.error().code);
        NVR_LOG_ENTRY("Returning empty string");
        return {};
    }
    NVR_LOG_ENTRY("Returning {}", *name);
    return *name;
}

bool NvrPrintHelper::ValidatePrinter(const std::string& printerName) {
    NVR_LOG_ENTRY("Entered");
    NVR_LOG_DEBUG("Validating printer: {}", printerName);
    if (printerName.empty()) {
        NVR_LOG_ERROR("Empty printer name");
        return false;
    }
    Result<std::unique_ptr<platform::Printer>> opened = m_os.printers->OpenPrinter(printerName);
    if (!opened) {
        NVR_LOG_ERROR("Failed to open printer (Error: {}): {}", opened.error().code, printerName);
        return false;
    }
    m_printer = std::move(opened).value();
    return true;
}

std::string NvrPrintHelper::DetermineJobTitle() {
    if (!m_finalSettings.PrintJobTitle.empty()) {
        NVR_LOG_ENTRY("Returning title from settings");
        return m_finalSettings.PrintJobTitle;
    }
    NVR_LOG_ENTRY("Returning the document's title");
    return DocumentTitle();
}

std::string NvrPrintHelper::DocumentTitle() {
    if (m_inputFile == "-") {
        return "Norvan print job";
    }
    return std::string(text::LastPathComponent(ActualInputFile()));
}

PrintJobSources NvrPrintHelper::JobSources(const DEVMODEW* printerDefaults,
                                           const DialogSettings* dialog, std::string outputFile) {
    PrintJobSources sources;
    sources.printerDefaults = printerDefaults;
    sources.document = m_settingsReceived ? &m_documentSettings : nullptr;
    sources.overrides = &m_overrideSettings;
    sources.dialog = dialog;
    sources.fallbackTitle = DocumentTitle();
    sources.outputFile = std::move(outputFile);
    return sources;
}

bool NvrPrintHelper::PrintDocument() {
    NVR_LOG_ENTRY("Entered");
    NVR_LOG_INFO("Starting print operation to: {}", m_printerName);
    // The dialog's choices and a file chosen for this print serve it alone, whatever becomes
    // of it: every print from the preview comes with its own.
    std::optional<PrintJob> job = std::exchange(m_chosenJob, std::nullopt);
    const std::optional<DialogSettings> dialog = std::exchange(m_dialogChoices, std::nullopt);
    std::string outputFile = std::exchange(m_outputFile, {});
    // The printer validated for this job; one chosen since is opened now.
    if ((!m_printer || m_printer->Name() != m_printerName) && !ValidatePrinter(m_printerName)) {
        return false;
    }
    if (job || dialog) {
        NVR_LOG_INFO(
            "Using validated DEVMODE from print dialog (user-approved settings, no "
            "modification)");
    }
    if (job) {
        job->outputFile = std::move(outputFile);
    } else {
        if (!dialog) {
            NVR_LOG_DEBUG("Getting printer settings (silent mode path)");
        }
        DevModePtr defaults = docmgr::DocFilePageMgr::GetPrinterSettings(*m_printer);
        if (!defaults) {
            NVR_LOG_ERROR("Failed to get printer settings");
            return false;
        }
        NVR_LOG_DEBUG("Printer settings obtained successfully");
        job = MakePrintJob(
            JobSources(defaults.get(), dialog ? &*dialog : nullptr, std::move(outputFile)),
            *m_printer);
        if (!job) {
            NVR_LOG_ERROR("Failed to apply or validate print settings");
            ShowError("Failed to apply print settings to printer: " + m_printerName +
                          "\n\nThe printer may not support the requested settings.",
                      false);
            return false;
        }
        NVR_LOG_DEBUG("Effective settings applied and validated successfully");
    }
    m_finalSettings = job->settings;
    NVR_LOG_INFO("Print job title: {}", job->title);
    const bool printed = SendJob(*job);
    if (printed && !job->outputFile.empty()) {
        NVR_LOG_INFO("Wrote the job's PDF to {}", job->outputFile);
    } else if (printed) {
        NVR_LOG_INFO("Document printed successfully");
    } else {
        NVR_LOG_ERROR("Document printing failed");
    }
    NVR_LOG_ENTRY("Returning {}", printed);
    return printed;
}

bool NvrPrintHelper::SendJob(const PrintJob& job) {
    Result<std::unique_ptr<docmgr::PrintDevice>> created = SystemFailure(EINVAL);
    if (job.outputFile.empty()) {
        NVR_LOG_DEBUG("Creating printer DC");
        created = m_printer->CreatePrintDevice(job.devMode.get(), m_docMgr->LaysOutSheets()
                                                                      ? SheetLayout::ByProgram
                                                                      : SheetLayout::ByPrinter);
    } else {
        // The sheets the printer would get, on its paper, written to the file instead.
        NVR_LOG_INFO("Printing the job's PDF to file: {}", job.outputFile);
        created = m_printer->CreateFileDevice(job.devMode.get(), job.outputFile);
    }
    if (!created || !*created) {
        NVR_LOG_ERROR("Failed to create printer DC (Error: {})",
                      created ? EIO : created.error().code);
        return false;
    }
    const std::unique_ptr<docmgr::PrintDevice>& device = *created;
    NVR_LOG_DEBUG("Printer DC created successfully");
    NVR_LOG_DEBUG("Setting print job settings for hybrid printing (N-up: {}, Reverse: {})",
                  job.settings.PagesPerSheet, job.settings.bReversePages);
    m_docMgr->m_printJobSettings = job.settings;
    NVR_LOG_INFO("Rendering document to printer");
    const bool printed =
        m_docMgr->RenderDocToPrinter(job.printerName, job.title, device.get(), m_printProgress);
    NVR_LOG_DEBUG("Printer DC will be automatically cleaned up");
    return printed;
}

}  // namespace nvrprint
