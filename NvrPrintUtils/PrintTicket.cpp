#include "NvrPrintUtils/PrintTicket.h"

#include <cstring>
#include <sstream>

#include "logging/LogMacros.h"

namespace nvrprint {
namespace {

constexpr const char* kRootClose = "</psf:PrintTicket>";
constexpr const char* kFeatureClose = "</psf:Feature>";
constexpr const char* kStapleFeature = "psk:JobStapleAllDocuments";

void Option(std::ostream& out, const char* name) {
    out << "    <psf:Option name=\"" << name << "\" />\n";
}

void ScoredProperty(std::ostream& out, const char* name, long value) {
    out << "    <psf:ScoredProperty name=\"" << name << "\">\n"
        << "      <psf:Value xsi:type=\"xsd:integer\">" << value << "</psf:Value>\n"
        << "    </psf:ScoredProperty>\n";
}

void OptionFeature(std::ostream& out, const char* feature, const char* option) {
    out << "  <psf:Feature name=\"" << feature << "\">\n";
    Option(out, option);
    out << "  </psf:Feature>\n";
}

const char* MediaSizeOption(int16_t paperSize) {
    switch (paperSize) {
        case 3:
        case 4:
            return "psk:NorthAmericaTabloid";
        case 5:
            return "psk:NorthAmericaLegal";
        case 6:
            return "psk:NorthAmericaStatement";
        case 7:
            return "psk:NorthAmericaExecutive";
        case 8:
            return "psk:ISOA3";
        case 9:
            return "psk:ISOA4";
        case 11:
            return "psk:ISOA5";
        case 13:
            return "psk:JISB5";
        case 20:
            return "psk:NorthAmericaNumber10Envelope";
        case 27:
            return "psk:ISODLEnvelope";
        case 28:
            return "psk:ISOC5Envelope";
        default:
            return "psk:NorthAmericaLetter";
    }
}

}  // namespace

std::string PrintTicket::DevModeToXml(const DEVMODEW* devMode) {
    NVR_LOG_ENTRY("Entered");
    if (devMode == nullptr) {
        NVR_LOG_WARNING("NULL DEVMODE, returning empty Print Ticket");
        NVR_LOG_ENTRY("Returning empty string");
        return {};
    }
    const uint32_t fields = devMode->dmFields;
    std::ostringstream out;
    out << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        << "<psf:PrintTicket xmlns:psf=\"" << kFrameworkNamespace << "\" xmlns:psk=\""
        << kKeywordsNamespace
        << "\" xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
           "xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\" version=\"1\">\n";
    if (fields & DM_ORIENTATION) {
        OptionFeature(
            out, "psk:PageOrientation",
            devMode->dmOrientation == DMORIENT_LANDSCAPE ? "psk:Landscape" : "psk:Portrait");
    }
    if (fields & DM_DUPLEX) {
        const char* option = devMode->dmDuplex == DMDUP_VERTICAL     ? "psk:TwoSidedLongEdge"
                             : devMode->dmDuplex == DMDUP_HORIZONTAL ? "psk:TwoSidedShortEdge"
                                                                     : "psk:OneSided";
        OptionFeature(out, "psk:JobDuplexAllDocumentsContiguously", option);
    }
    if (fields & DM_COPIES) {
        out << "  <psf:Feature name=\"psk:JobCopiesAllDocuments\">\n";
        ScoredProperty(out, "psk:JobCopiesAllDocuments", devMode->dmCopies);
        out << "  </psf:Feature>\n";
    }
    if (fields & DM_COLLATE) {
        OptionFeature(out, "psk:DocumentCollate",
                      devMode->dmCollate == DMCOLLATE_TRUE ? "psk:Collated" : "psk:Uncollated");
    }
    if (fields & DM_COLOR) {
        OptionFeature(out, "psk:PageOutputColor",
                      devMode->dmColor == DMCOLOR_COLOR ? "psk:Color" : "psk:Monochrome");
    }
    if (fields & DM_PAPERSIZE) {
        OptionFeature(out, "psk:PageMediaSize", MediaSizeOption(devMode->dmPaperSize));
    }
    if ((fields & DM_PRINTQUALITY) && (fields & DM_YRESOLUTION)) {
        out << "  <psf:Feature name=\"psk:PageResolution\">\n";
        ScoredProperty(out, "psk:ResolutionX", std::abs(devMode->dmPrintQuality));
        ScoredProperty(out, "psk:ResolutionY", devMode->dmYResolution);
        out << "  </psf:Feature>\n";
    }
    if (fields & DM_DEFAULTSOURCE) {
        OptionFeature(out, "psk:JobInputBin",
                      devMode->dmDefaultSource == DMBIN_MANUAL ? "psk:Manual" : "psk:AutoSelect");
    }
    out << kRootClose << "\n";
    std::string xml = out.str();
    NVR_LOG_ENTRY("Returning string ({} chars)", xml.size());
    return xml;
}

std::vector<unsigned char> PrintTicket::CreateFromSettings(const DEVMODEW* devMode,
                                                           const PrintJobSettings& settings) {
    NVR_LOG_ENTRY("Entered: PagesPerSheet={}, ReversePages={}, Stapled={}", settings.PagesPerSheet,
                  settings.bReversePages, settings.bStapled);
    std::string base = DevModeToXml(devMode);
    if (base.empty()) {
        NVR_LOG_WARNING("Empty base Print Ticket");
        NVR_LOG_ENTRY("Returning empty vector");
        return {};
    }
    size_t close = base.rfind(kRootClose);
    if (close == std::string::npos) {
        NVR_LOG_ERROR("Invalid Print Ticket XML structure");
        std::vector<unsigned char> bytes = XmlToBytes(base);
        NVR_LOG_ENTRY("Returning vector ({} bytes)", bytes.size());
        return bytes;
    }
    std::ostringstream out;
    out << base.substr(0, close);
    if (settings.PagesPerSheet >= 2 && settings.PagesPerSheet <= 16) {
        out << "  <psf:Feature name=\"psk:JobNUpAllDocumentsContiguously\">\n";
        ScoredProperty(out, "psk:PagesPerSheet", settings.PagesPerSheet);
        out << "  </psf:Feature>\n";
    }
    if (settings.bReversePages) {
        OptionFeature(out, "psk:PageOrder", "psk:Reverse");
    }
    if (settings.bStapled) {
        AddStapling(out, base);
    }
    out << base.substr(close);
    std::string xml = out.str();
    NVR_LOG_DEBUG("Generated enhanced Print Ticket ({} chars)", xml.size());
    std::vector<unsigned char> bytes = XmlToBytes(xml);
    NVR_LOG_ENTRY("Returning vector ({} bytes)", bytes.size());
    return bytes;
}

void PrintTicket::AddStapling(std::ostream& out, const std::string& ticketXml) {
    const std::string vendorDeclaration =
        std::string("xmlns:ns0000=\"") + kVendorKeywordsNamespace + "\"";
    if (ticketXml.find(vendorDeclaration) != std::string::npos) {
        OptionFeature(out, kStapleFeature, "ns0000:_1diagonal");
        NVR_LOG_DEBUG("Adding stapling with HP namespace (ns0000:_1diagonal)");
    } else {
        OptionFeature(out, kStapleFeature, "psk:StapleTopLeft");
    }
}

bool PrintTicket::HasStapling(const std::string& ticketXml) {
    size_t start = ticketXml.find(std::string("<psf:Feature name=\"") + kStapleFeature + "\"");
    if (start == std::string::npos) {
        return false;
    }
    size_t end = ticketXml.find(kFeatureClose, start);
    if (end == std::string::npos) {
        return true;
    }
    std::string_view feature(ticketXml.data() + start, end - start);
    return feature.find("psk:None") == std::string_view::npos &&
           feature.find("ns0000:None") == std::string_view::npos;
}

bool PrintTicket::RemoveExistingFeature(std::string& ticketXml, const std::string& featureName) {
    size_t start = ticketXml.find("<psf:Feature name=\"" + featureName + "\"");
    if (start == std::string::npos) {
        return false;
    }
    size_t close = ticketXml.find(kFeatureClose, start);
    if (close == std::string::npos) {
        return false;
    }
    size_t end = close + std::strlen(kFeatureClose);
    while (end < ticketXml.size() && std::strchr("\r\n \t", ticketXml[end]) != nullptr) {
        ++end;
    }
    ticketXml.erase(start, end - start);
    NVR_LOG_DEBUG("Removed existing {} definition", featureName);
    return true;
}

std::vector<unsigned char> PrintTicket::XmlToBytes(const std::string& xml) {
    if (xml.empty()) {
        return {};
    }
    std::vector<unsigned char> bytes(xml.begin(), xml.end());
    NVR_LOG_VERBOSE("Converted to UTF-8 ({} bytes)", bytes.size());
    return bytes;
}

bool PrintTicket::MergePTSettingsWithDevmode(DEVMODEW* devMode, PrinterSession* printer,
                                             const PrintJobSettings& settings) {
    const std::string printerName = printer != nullptr ? printer->Name() : std::string();
    NVR_LOG_ENTRY("Entered: printerName={}", printerName);
    auto fail = [] {
        NVR_LOG_ENTRY("Returning false");
        return false;
    };
    if (devMode == nullptr) {
        NVR_LOG_ERROR("NULL DEVMODE");
        return fail();
    }
    if (printerName.empty()) {
        NVR_LOG_ERROR("Empty printer name");
        return fail();
    }
    NVR_LOG_INFO("Processing printer: {}, PagesPerSheet={}, ReversePages={}, Stapled={}",
                 printerName, settings.PagesPerSheet, settings.bReversePages, settings.bStapled);

    int32_t result = 0;
    std::unique_ptr<PrintTicketProvider> provider = printer->OpenPrintTicketProvider(&result);
    if (!provider || result < 0) {
        NVR_LOG_WARNING(
            "PTOpenProvider failed (HRESULT: 0x{:X}). Printer may not support Print Tickets.",
            static_cast<uint32_t>(result));
        return fail();
    }
    std::string ticket;
    result = provider->ConvertDevModeToPrintTicket(
        devMode, static_cast<size_t>(devMode->dmSize) + devMode->dmDriverExtra, &ticket);
    if (result != 0) {
        NVR_LOG_ERROR("PTConvertDevModeToPrintTicket failed (HRESULT: 0x{:X})",
                      static_cast<uint32_t>(result));
        return fail();
    }
    NVR_LOG_DEBUG("Read Print Ticket ({} chars)", ticket.size());
    NVR_LOG_VERBOSE("Initial Print Ticket XML from driver:\n{}", FormatXmlForLog(ticket));

    if (!(settings.bStapled && !HasStapling(ticket))) {
        NVR_LOG_INFO("Print Ticket already has expected settings, no conversion needed");
        NVR_LOG_ENTRY("Returning true");
        return true;
    }
    NVR_LOG_DEBUG("Print Ticket missing stapling");
    NVR_LOG_DEBUG("Print Ticket needs modification, proceeding with conversion");
    if (ticket.rfind(kRootClose) == std::string::npos) {
        NVR_LOG_ERROR("Invalid Print Ticket XML structure");
        return fail();
    }
    std::string copy = ticket;
    RemoveExistingFeature(copy, kStapleFeature);
    size_t close = copy.rfind(kRootClose);
    std::ostringstream out;
    out << copy.substr(0, close);
    NVR_LOG_DEBUG("Adding Stapling");
    AddStapling(out, copy);
    out << copy.substr(close);
    std::string enhanced = out.str();
    NVR_LOG_DEBUG("Enhanced Print Ticket ({} chars)", enhanced.size());
    NVR_LOG_VERBOSE("Enhanced Print Ticket XML:\n{}", enhanced);
    if (XmlToBytes(enhanced).empty()) {
        NVR_LOG_ERROR("Failed to convert enhanced XML to bytes");
        return fail();
    }

    DevModePtr converted;
    std::string errorText;
    result = provider->ConvertPrintTicketToDevMode(enhanced, &converted, &errorText);
    if (result != 0 || !converted) {
        if (!errorText.empty()) {
            NVR_LOG_ERROR("PTConvertPrintTicketToDevMode failed (HRESULT: 0x{:X}): {}",
                          static_cast<uint32_t>(result), errorText);
        } else {
            NVR_LOG_ERROR("PTConvertPrintTicketToDevMode failed (HRESULT: 0x{:X})",
                          static_cast<uint32_t>(result));
        }
        return fail();
    }
    size_t bytes = std::min<size_t>(size_t{converted->dmSize} + converted->dmDriverExtra,
                                    size_t{devMode->dmSize} + devMode->dmDriverExtra);
    std::memcpy(static_cast<void*>(devMode), converted.get(), bytes);
    NVR_LOG_INFO("Successfully merged Print Ticket settings with DEVMODE");
    NVR_LOG_ENTRY("Returning true");
    return true;
}

std::string PrintTicket::FormatXmlForLog(const std::string& xml) {
    std::string out;
    out.reserve(xml.size() + xml.size() / 4);
    int depth = 0;
    bool lastWasClosing = false;
    for (size_t i = 0; i < xml.size(); ++i) {
        char c = xml[i];
        if (c == '<') {
            bool closing = i + 1 < xml.size() && xml[i + 1] == '/';
            bool declaration = i + 1 < xml.size() && (xml[i + 1] == '?' || xml[i + 1] == '!');
            if (closing) {
                --depth;
            }
            // A tag directly behind another starts a new, indented line.
            if (lastWasClosing && !declaration) {
                out += '\n';
                out.append(static_cast<size_t>(std::max(depth, 0)) * 2, ' ');
            }
            // Find where this tag ends to know how it changes the depth.
            size_t end = xml.find('>', i);
            if (end == std::string::npos) {
                out.append(xml, i, std::string::npos);
                break;
            }
            out.append(xml, i, end - i + 1);
            bool selfClosing = end > i && xml[end - 1] == '/';
            if (!closing && !selfClosing && !declaration) {
                ++depth;
            }
            lastWasClosing = true;
            i = end;
            continue;
        }
        out += c;
        lastWasClosing = false;
    }
    return out;
}

}  // namespace nvrprint
