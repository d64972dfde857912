#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "NvrPrintUtils/DevMode.h"
#include "NvrPrintUtils/PrintJobSettings.h"
#include "NvrPrintUtils/PrinterSession.h"

namespace nvrprint {

// Print Tickets as text: written from a DEVMODE and the job's extra settings, searched and
// spliced by plain string operations, never parsed. Texts are UTF-8.
class PrintTicket {
public:
    static constexpr const char* kFrameworkNamespace =
        "http://schemas.microsoft.com/windows/2003/08/printing/printschemaframework";
    static constexpr const char* kKeywordsNamespace =
        "http://schemas.microsoft.com/windows/2003/08/printing/printschemakeywords";
    // The printer vendor whose drivers declare their own stapling keywords under ns0000.
    static constexpr const char* kVendorKeywordsNamespace = "http://schemas.hp.com/ptpc/2006/1";

    static std::string DevModeToXml(const DEVMODEW* devMode);
    static std::vector<unsigned char> CreateFromSettings(const DEVMODEW* devMode,
                                                         const PrintJobSettings& settings);
    static void AddStapling(std::ostream& out, const std::string& ticketXml);
    static bool RemoveExistingFeature(std::string& ticketXml, const std::string& featureName);
    static std::vector<unsigned char> XmlToBytes(const std::string& xml);
    static bool HasStapling(const std::string& ticketXml);
    // Lays the job's extended settings over devMode through the printer's Print Tickets; a
    // null printer is no printer.
    static bool MergePTSettingsWithDevmode(DEVMODEW* devMode, PrinterSession* printer,
                                           const PrintJobSettings& settings);
    static std::string FormatXmlForLog(const std::string& xml);
};

}  // namespace nvrprint
