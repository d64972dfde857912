#include "tests/support/FakePrintSystem.h"

#include <cerrno>

namespace testsupport {
namespace {

using namespace nvrprint;

class FakePrinter final : public platform::Printer {
public:
    explicit FakePrinter(FakePrintSystem* system) : m_system(system) {}
    const std::string& Name() const override { return m_system->printerName; }
    int32_t DevModeSize() override { return sizeof(DEVMODEW); }
    Status DefaultDevMode(DEVMODEW* out) override {
        std::memset(static_cast<void*>(out), 0, sizeof(DEVMODEW));
        out->dmSize = sizeof(DEVMODEW);
        out->dmSpecVersion = DM_SPECVERSION;
        return {};
    }
    Status ValidateDevMode(const DEVMODEW* in, DEVMODEW* out) override {
        ++m_system->validations;
        std::memcpy(static_cast<void*>(out), in, sizeof(DEVMODEW));
        out->dmDriverExtra = 0;
        m_system->correct(*out);
        if (m_system->refuses(*in)) {
            return Failure{-1, "the driver refuses the settings"};
        }
        return {};
    }
    StapleOption Stapling() override { return {}; }
    Result<std::unique_ptr<docmgr::PrintDevice>> CreatePrintDevice(const DEVMODEW*,
                                                                   SheetLayout) override {
        std::unique_ptr<docmgr::PrintDevice> device =
            m_system->makeDevice ? m_system->makeDevice() : nullptr;
        if (!device) {
            return SystemFailure(EIO);
        }
        return device;
    }
    std::optional<platform::SheetGeometry> SheetFor(const DEVMODEW*) override {
        return std::nullopt;
    }
    Result<std::unique_ptr<docmgr::PrintDevice>> CreateFileDevice(const DEVMODEW* devMode,
                                                                  const std::string&) override {
        return CreatePrintDevice(devMode, SheetLayout::ByProgram);
    }

private:
    FakePrintSystem* m_system;
};

}  // namespace

Result<std::string> FakePrintSystem::DefaultPrinter() {
    if (defaultPrinter.empty()) {
        return SystemFailure(ENOENT);
    }
    return defaultPrinter;
}

Result<std::unique_ptr<platform::Printer>> FakePrintSystem::OpenPrinter(const std::string& name) {
    ++opens;
    if (name != printerName) {
        return SystemFailure(ENOENT);
    }
    return std::unique_ptr<platform::Printer>(std::make_unique<FakePrinter>(this));
}

std::unique_ptr<platform::Printer> FakePrintSystem::Open() {
    Result<std::unique_ptr<platform::Printer>> opened = OpenPrinter(printerName);
    return opened ? std::move(opened).value() : nullptr;
}

}  // namespace testsupport
