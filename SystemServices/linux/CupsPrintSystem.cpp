// The print system on CUPS: destinations stand for printers, their IPP defaults make the
// default DEVMODE, and our "driver" corrects a DEVMODE against what the printer supports.
#include <cerrno>
#include <cstring>
#include <optional>

#include "SystemServices/PrinterServices.h"
#include "SystemServices/linux/CupsCapabilities.h"
#include "SystemServices/linux/CupsDestination.h"
#include "SystemServices/linux/CupsPrintDeviceFactory.h"
#include "logging/LogMacros.h"

namespace nvrprint::platform {
namespace {

// The finishings value that staples in the top left corner, or plain
// stapling; empty for a printer without either.
std::string FinishingsStaple(const CupsDestination& destination) {
    for (const char* value : {"20", "4"}) {
        if (destination.Supports("finishings", value)) {
            return value;
        }
    }
    return {};
}

// A CUPS destination for one job: one connection, opened with the printer; the
// capabilities and the PPD follow over it on first need and serve every later step.
class CupsPrinter final : public Printer {
public:
    CupsPrinter(std::string name, std::unique_ptr<CupsDestination> destination)
        : m_name(std::move(name)), m_destination(std::move(destination)) {}

    const std::string& Name() const override { return m_name; }

    int32_t DevModeSize() override {
        return static_cast<int32_t>(sizeof(DEVMODEW) + kDriverExtraBytes);
    }

    Status DefaultDevMode(DEVMODEW* out) override {
        const PrinterCapabilities* caps = Capabilities();
        if (caps == nullptr) {
            return m_unreachable;
        }
        DevModePtr defaults = DevModeFromCapabilities(*caps, m_name);
        if (!defaults) {
            return SystemFailure(ENOMEM);
        }
        std::memcpy(static_cast<void*>(out), defaults.get(), DevModeBytes(*defaults));
        return {};
    }

    Status ValidateDevMode(const DEVMODEW* in, DEVMODEW* out) override {
        const PrinterCapabilities* caps = Capabilities();
        if (caps == nullptr) {
            return m_unreachable;
        }
        // The public part as given, the driver-private part as far as it fits.
        const size_t size = static_cast<size_t>(DevModeSize());
        DevModePtr work = AllocateDevMode(kDriverExtraBytes);
        if (!work) {
            return SystemFailure(ENOMEM);
        }
        const size_t given = std::min(DevModeBytes(*in), size);
        std::memcpy(static_cast<void*>(work.get()), in, given);
        work->dmSize = sizeof(DEVMODEW);
        work->dmDriverExtra = static_cast<uint16_t>(given - sizeof(DEVMODEW));
        SetDevModeText(work->dmDeviceName, m_name);
        CorrectDevMode(*work, *caps);
        std::memmove(static_cast<void*>(out), work.get(), DevModeBytes(*work));
        return {};
    }

    StapleOption Stapling() override {
        if (Destination() == nullptr) {
            return {};
        }
        if (!m_staple) {
            m_staple = StapleOptionFor(PpdOptions(), FinishingsStaple(*m_destination));
        }
        return *m_staple;
    }

    Result<std::unique_ptr<docmgr::PrintDevice>> CreatePrintDevice(const DEVMODEW* devMode,
                                                                   SheetLayout layout) override {
        if (devMode == nullptr) {
            return SystemFailure(EINVAL);
        }
        const PrinterCapabilities* caps = Capabilities();
        if (caps == nullptr) {
            NVR_LOG_ERROR("Cannot open printer {}: {}", m_name, m_unreachable.text);
            return m_unreachable;
        }
        return CreateCupsPrintDevice(m_destination, *caps, PpdOptions(), *devMode, layout);
    }

    std::optional<SheetGeometry> SheetFor(const DEVMODEW* devMode) override {
        if (devMode == nullptr || Destination() == nullptr) {
            return std::nullopt;
        }
        return SheetForDevMode(*m_destination, *devMode);
    }

    Result<std::unique_ptr<docmgr::PrintDevice>> CreateFileDevice(
        const DEVMODEW* devMode, const std::string& path) override {
        if (devMode == nullptr || path.empty()) {
            return SystemFailure(EINVAL);
        }
        // The printer's media and their margins make the sheet.
        if (Destination() == nullptr) {
            NVR_LOG_ERROR("Cannot open printer {}: {}", m_name, m_unreachable.text);
            return m_unreachable;
        }
        return CreateCupsFileDevice(*m_destination, *devMode, path);
    }

private:
    // The destination with its capabilities read; null, with the cause kept, when it does
    // not answer.
    CupsDestination* Destination() {
        if (!m_infoTried) {
            m_infoTried = true;
            const Status loaded = m_destination->LoadInfo();
            m_infoLoaded = loaded.ok();
            if (!m_infoLoaded) {
                m_unreachable = loaded.error();
                NVR_LOG_DEBUG("Cannot reach printer {}: {}", m_name, m_unreachable.text);
            }
        }
        return m_infoLoaded ? m_destination.get() : nullptr;
    }

    const PrinterCapabilities* Capabilities() {
        if (!m_caps && Destination() != nullptr) {
            m_caps = CapabilitiesOf(*m_destination);
        }
        return m_caps ? &*m_caps : nullptr;
    }

    const nlohmann::json& PpdOptions() {
        if (!m_ppdOptions) {
            m_ppdOptions =
                Destination() != nullptr ? PpdOptionsOf(*m_destination) : nlohmann::json::object();
        }
        return *m_ppdOptions;
    }

    std::string m_name;
    bool m_infoTried = false;
    bool m_infoLoaded = false;
    Failure m_unreachable;
    std::shared_ptr<CupsDestination> m_destination;
    std::optional<PrinterCapabilities> m_caps;
    std::optional<nlohmann::json> m_ppdOptions;
    std::optional<StapleOption> m_staple;
};

class CupsPrintSystem final : public PrintSystem {
public:
    Result<std::string> DefaultPrinter() override {
        CupsDestPtr dest(cupsGetNamedDest(CUPS_HTTP_DEFAULT, nullptr, nullptr));
        if (!dest) {
            NVR_LOG_DEBUG("No default destination: {}", cupsLastErrorString());
            return Failure{static_cast<int>(cupsLastError()), cupsLastErrorString()};
        }
        std::string name = dest->name;
        if (dest->instance != nullptr) {
            name += "/";
            name += dest->instance;
        }
        return name;
    }

    Result<std::unique_ptr<Printer>> OpenPrinter(const std::string& name) override {
        Result<std::unique_ptr<CupsDestination>> destination = CupsDestination::Open(name);
        if (!destination) {
            NVR_LOG_DEBUG("No destination {}: {}", name, destination.error().text);
            return destination.error();
        }
        return std::unique_ptr<Printer>(
            std::make_unique<CupsPrinter>(name, std::move(destination).value()));
    }
};

}  // namespace

std::unique_ptr<PrintSystem> CreateSystemPrintSystem() {
    return std::make_unique<CupsPrintSystem>();
}

}  // namespace nvrprint::platform
