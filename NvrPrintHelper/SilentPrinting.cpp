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
    int error = 0;
    const std::string name = m_os.printers->DefaultPrinter(&error);
    if (name.empty()) {
        NVR_LOG_ERROR("Failed to get default printer (Error: {})", error);
        NVR_LOG_ENTRY("Returning empty string");
        return {};
    }
    NVR_LOG_ENTRY("Returning {}", name);
    return name;
}

bool NvrPrintHelper::ValidatePrinter(const std::string& printerName) {
    NVR_LOG_ENTRY("Entered");
    NVR_LOG_DEBUG("Validating printer: {}", printerName);
    if (printerName.empty()) {
        NVR_LOG_ERROR("Empty printer name");
        return false;
    }
    int error = 0;
    m_printer = m_os.printers->OpenPrinter(printerName, &error);
    if (!m_printer) {
        NVR_LOG_ERROR("Failed to open printer (Error: {}): {}", error, printerName);
        return false;
    }
    return true;
}

std::string NvrPrintHelper::DetermineJobTitle() {
    if (!m_finalSettings.PrintJobTitle.empty()) {
        NVR_LOG_ENTRY("Returning title from settings");
        return m_finalSettings.PrintJobTitle;
    }
    if (m_inputFile == "-") {
        NVR_LOG_ENTRY("Returning default title");
        return "Norvan print job";
    }
    NVR_LOG_ENTRY("Returning filename");
    return std::string(text::LastPathComponent(ActualInputFile()));
}

bool NvrPrintHelper::PrintDocument() {
    NVR_LOG_ENTRY("Entered");
    NVR_LOG_INFO("Starting print operation to: {}", m_printerName);
    // A file chosen for this print serves it alone, whatever becomes of it.
    const std::string outputFile = std::exchange(m_outputFile, {});
    // The printer validated for this job; one chosen since is opened now.
    if ((!m_printer || m_printer->Name() != m_printerName) && !ValidatePrinter(m_printerName)) {
        return false;
    }

    DevModePtr silentDevMode;
    const DEVMODEW* devMode = nullptr;
    std::string title;
    const bool validated = static_cast<bool>(m_validatedDevMode);
    if (validated) {
        NVR_LOG_INFO(
            "Using validated DEVMODE from print dialog (user-approved settings, no "
            "modification)");
        title = DetermineJobTitle();
        NVR_LOG_INFO("Print job title: {}", title);
        NVR_LOG_DEBUG("Creating printer DC with validated DEVMODE");
        devMode = m_validatedDevMode.get();
    } else {
        NVR_LOG_DEBUG("Getting printer settings (silent mode path)");
        silentDevMode = m_docMgr->GetPrinterSettings(*m_printer);
        if (!silentDevMode) {
            NVR_LOG_ERROR("Failed to get printer settings");
            return false;
        }
        NVR_LOG_DEBUG("Printer settings obtained successfully");
        m_finalSettings =
            LayerSettings(silentDevMode.get(), m_settingsReceived ? &m_documentSettings : nullptr,
                          m_overrideSettings);
        NVR_LOG_INFO("Layer 2: Final merged settings (PagesPerSheet={}, Reverse={}, Copies={})",
                     m_finalSettings.PagesPerSheet, m_finalSettings.bReversePages,
                     m_finalSettings.dmCopies < 1 ? 1 : m_finalSettings.dmCopies);
        NVR_LOG_DEBUG("Applying and validating effective settings");
        if (!m_finalSettings.ApplyToDevMode(silentDevMode.get(), m_printer.get())) {
            NVR_LOG_ERROR("Failed to apply or validate print settings");
            ShowError("Failed to apply print settings to printer: " + m_printerName +
                          "\n\nThe printer may not support the requested settings.",
                      false);
            return false;
        }
        NVR_LOG_DEBUG("Effective settings applied and validated successfully");
        title = DetermineJobTitle();
        NVR_LOG_INFO("Print job title: {}", title);
        NVR_LOG_DEBUG("Creating printer DC");
        devMode = silentDevMode.get();
    }

    int error = 0;
    std::unique_ptr<docmgr::PrintDevice> device;
    if (outputFile.empty()) {
        device = m_printer->CreatePrintDevice(
            devMode, m_docMgr->LaysOutSheets() ? SheetLayout::ByProgram : SheetLayout::ByPrinter,
            &error);
    } else {
        // The sheets the printer would get, on its paper, written to the file instead.
        NVR_LOG_INFO("Printing the job's PDF to file: {}", outputFile);
        device = m_printer->CreateFileDevice(devMode, outputFile, &error);
    }
    if (!device) {
        NVR_LOG_ERROR("Failed to create printer DC (Error: {})", error);
        return false;
    }
    NVR_LOG_DEBUG("Printer DC created successfully");
    NVR_LOG_DEBUG("Setting print job settings for hybrid printing (N-up: {}, Reverse: {})",
                  m_finalSettings.PagesPerSheet, m_finalSettings.bReversePages);
    m_docMgr->m_printJobSettings = m_finalSettings;
    m_docMgr->m_printer = m_printer.get();
    // Copies keep to sheets of their own where the printer prints both sides: the validated
    // DEVMODE says whether it does, as a one-sided printer must not get blank backs.
    m_docMgr->m_printJobSettings.dmDuplex =
        (devMode->dmFields & DM_DUPLEX) ? devMode->dmDuplex : int16_t{-1};
    NVR_LOG_INFO("Rendering document to printer");
    const bool printed =
        m_docMgr->RenderDocToPrinter(m_printerName, title, device.get(), m_progressWindow);
    if (validated) {
        // Every print from the preview comes with its own approved settings.
        m_validatedDevMode.reset();
    } else {
        NVR_LOG_DEBUG("Printer DC will be automatically cleaned up");
    }
    if (printed && !outputFile.empty()) {
        NVR_LOG_INFO("Wrote the job's PDF to {}", outputFile);
    } else if (printed) {
        NVR_LOG_INFO("Document printed successfully");
    } else {
        NVR_LOG_ERROR("Document printing failed");
    }
    NVR_LOG_ENTRY("Returning {}", printed);
    return printed;
}

}  // namespace nvrprint
