// The print system on CUPS: destinations stand for printers, their IPP defaults make the
// default DEVMODE, and our "driver" corrects a DEVMODE against what the printer supports.
#include <cerrno>
#include <cstring>

#include "SystemServices/CupsPrintTicketProvider.h"
#include "SystemServices/PrinterServices.h"
#include "SystemServices/linux/CupsCapabilities.h"
#include "SystemServices/linux/CupsDestination.h"
#include "logging/LogMacros.h"

namespace nvrprint::platform {
namespace {

// HRESULT_FROM_WIN32(ERROR_INVALID_PRINTER_NAME): no such printer to convert tickets for.
constexpr int32_t kNoSuchPrinter = static_cast<int32_t>(0x80070709u);

// The finishings value that staples as the Print Ticket's top-left staple, or plain
// stapling; empty for a printer without either.
std::string FinishingsStaple(const CupsDestination& destination) {
    for (const char* value : {"20", "4"}) {
        if (destination.Supports("finishings", value)) {
            return value;
        }
    }
    return {};
}

class CupsPrinterSession final : public PrinterSession {
public:
    CupsPrinterSession(std::string name, PrinterCapabilities caps)
        : m_name(std::move(name)), m_caps(std::move(caps)) {}

    int32_t DevModeSize() override {
        return static_cast<int32_t>(sizeof(DEVMODEW) + kDriverExtraBytes);
    }

    int32_t DefaultDevMode(DEVMODEW* out) override {
        DevModePtr defaults = DevModeFromCapabilities(m_caps, m_name);
        if (!defaults) {
            return -1;
        }
        std::memcpy(static_cast<void*>(out), defaults.get(), DevModeBytes(*defaults));
        return kIdOk;
    }

    int32_t ValidateDevMode(const DEVMODEW* in, DEVMODEW* out) override {
        // The public part as given, the driver-private part as far as it fits.
        const size_t size = static_cast<size_t>(DevModeSize());
        DevModePtr work = AllocateDevMode(kDriverExtraBytes);
        if (!work) {
            return -1;
        }
        const size_t given = std::min(DevModeBytes(*in), size);
        std::memcpy(static_cast<void*>(work.get()), in, given);
        work->dmSize = sizeof(DEVMODEW);
        work->dmDriverExtra = static_cast<uint16_t>(given - sizeof(DEVMODEW));
        SetDevModeText(work->dmDeviceName, m_name);
        CorrectDevMode(*work, m_caps);
        std::memmove(static_cast<void*>(out), work.get(), DevModeBytes(*work));
        return kIdOk;
    }

private:
    static size_t DevModeBytes(const DEVMODEW& dm) {
        return static_cast<size_t>(dm.dmSize) + dm.dmDriverExtra;
    }

    std::string m_name;
    PrinterCapabilities m_caps;
};

class CupsPrintSystem final : public PrintSystem {
public:
    std::unique_ptr<PrinterSession> OpenPrinter(const std::string& name, int* error) override {
        std::string reason;
        std::unique_ptr<CupsDestination> destination = CupsDestination::Open(name, error, &reason);
        if (!destination) {
            NVR_LOG_DEBUG("Cannot reach printer {}: {}", name, reason);
            return nullptr;
        }
        return std::make_unique<CupsPrinterSession>(name, CapabilitiesOf(*destination));
    }

    std::unique_ptr<PrintTicketProvider> OpenPrintTicketProvider(const std::string& name,
                                                                 int32_t* result) override {
        int error = 0;
        std::string reason;
        std::unique_ptr<CupsDestination> destination = CupsDestination::Open(name, &error, &reason);
        if (!destination) {
            NVR_LOG_DEBUG("Cannot reach printer {}: {}", name, reason);
            *result = kNoSuchPrinter;
            return nullptr;
        }
        *result = 0;
        return CreatePrintTicketProvider(
            StapleOptionFor(PpdOptionsOf(*destination), FinishingsStaple(*destination)));
    }
};

struct DestsFree {
    void operator()(cups_dest_t* dest) const { cupsFreeDests(1, dest); }
};

}  // namespace

std::shared_ptr<PrintSystem> CreateSystemPrintSystem() {
    return std::make_shared<CupsPrintSystem>();
}

std::string GetDefaultPrinter(int* error) {
    std::unique_ptr<cups_dest_t, DestsFree> dest(
        cupsGetNamedDest(CUPS_HTTP_DEFAULT, nullptr, nullptr));
    if (!dest) {
        *error = static_cast<int>(cupsLastError());
        NVR_LOG_DEBUG("No default destination: {}", cupsLastErrorString());
        return {};
    }
    std::string name = dest->name;
    if (dest->instance != nullptr) {
        name += "/";
        name += dest->instance;
    }
    return name;
}

bool CanOpenPrinter(const std::string& name, int* error) {
    if (IsPrinterUri(name)) {
        // A printer without a queue: it exists when it answers.
        std::string reason;
        if (!CupsDestination::Open(name, error, &reason)) {
            NVR_LOG_DEBUG("Printer {} does not answer: {}", name, reason);
            return false;
        }
        return true;
    }
    std::unique_ptr<cups_dest_t, DestsFree> dest(
        cupsGetNamedDest(CUPS_HTTP_DEFAULT, name.c_str(), nullptr));
    if (!dest) {
        *error = static_cast<int>(cupsLastError());
        NVR_LOG_DEBUG("No destination {}: {}", name, cupsLastErrorString());
        return false;
    }
    return true;
}

}  // namespace nvrprint::platform
