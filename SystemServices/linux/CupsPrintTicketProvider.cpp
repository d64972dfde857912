#include "SystemServices/CupsPrintTicketProvider.h"

#include <sstream>

#include "NvrPrintUtils/PrintTicket.h"

namespace nvrprint::platform {
namespace {

// E_INVALIDARG: a ticket to convert with no DEVMODE under it.
constexpr int32_t kInvalidArgument = static_cast<int32_t>(0x80070057u);

constexpr const char* kRootClose = "</psf:PrintTicket>";

class CupsPrintTicketProvider final : public PrintTicketProvider {
public:
    explicit CupsPrintTicketProvider(StapleOption staple) : m_staple(std::move(staple)) {}

    int32_t ConvertDevModeToPrintTicket(const DEVMODEW* devMode, size_t,
                                        std::string* ticketUtf8) override {
        if (devMode == nullptr) {
            return kInvalidArgument;
        }
        m_base = CopyDevMode(devMode);
        std::string ticket = PrintTicket::DevModeToXml(devMode);
        if (!m_staple.name.empty()) {
            const size_t close = ticket.rfind(kRootClose);
            std::ostringstream out;
            out << ticket.substr(0, close);
            if (AsksForStapling(devMode)) {
                PrintTicket::AddStapling(out, ticket);
            } else {
                out << "  <psf:Feature name=\"psk:JobStapleAllDocuments\">\n"
                    << "    <psf:Option name=\"psk:None\" />\n"
                    << "  </psf:Feature>\n";
            }
            out << ticket.substr(close);
            ticket = out.str();
        }
        *ticketUtf8 = std::move(ticket);
        return 0;
    }

    int32_t ConvertPrintTicketToDevMode(const std::string& ticketUtf8, DevModePtr* devMode,
                                        std::string* errorText) override {
        if (!m_base) {
            *errorText = "No DEVMODE to lay the ticket over";
            return kInvalidArgument;
        }
        std::map<std::string, std::string> options = ReadDriverOptions(m_base.get());
        if (!m_staple.name.empty()) {
            if (PrintTicket::HasStapling(ticketUtf8)) {
                options[m_staple.name] = m_staple.value;
            } else {
                options.erase(m_staple.name);
            }
        }
        *devMode = DevModeWithOptions(m_base.get(), options);
        return *devMode ? 0 : kInvalidArgument;
    }

private:
    bool AsksForStapling(const DEVMODEW* devMode) const {
        const std::map<std::string, std::string> options = ReadDriverOptions(devMode);
        auto found = options.find(m_staple.name);
        return found != options.end() && found->second == m_staple.value;
    }

    StapleOption m_staple;
    DevModePtr m_base;
};

}  // namespace

std::unique_ptr<PrintTicketProvider> CreatePrintTicketProvider(StapleOption staple) {
    return std::make_unique<CupsPrintTicketProvider>(std::move(staple));
}

}  // namespace nvrprint::platform
