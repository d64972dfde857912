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
    int32_t DefaultDevMode(DEVMODEW* out) override {
        std::memset(static_cast<void*>(out), 0, sizeof(DEVMODEW));
        out->dmSize = sizeof(DEVMODEW);
        out->dmSpecVersion = DM_SPECVERSION;
        return kIdOk;
    }
    int32_t ValidateDevMode(const DEVMODEW* in, DEVMODEW* out) override {
        ++m_system->validations;
        std::memcpy(static_cast<void*>(out), in, sizeof(DEVMODEW));
        out->dmDriverExtra = 0;
        m_system->correct(*out);
        return m_system->refuses(*in) ? -1 : m_system->validateResult;
    }
    StapleOption Stapling() override { return {}; }
    std::unique_ptr<docmgr::PrintDevice> CreatePrintDevice(const DEVMODEW*, SheetLayout,
                                                           int* error) override {
        std::unique_ptr<docmgr::PrintDevice> device =
            m_system->makeDevice ? m_system->makeDevice() : nullptr;
        if (!device) {
            *error = EIO;
        }
        return device;
    }
    std::optional<platform::SheetGeometry> SheetFor(const DEVMODEW*) override {
        return m_system->sheet;
    }
    std::unique_ptr<docmgr::PrintDevice> CreateFileDevice(const DEVMODEW* devMode,
                                                          const std::string&, int* error) override {
        return CreatePrintDevice(devMode, SheetLayout::ByProgram, error);
    }

private:
    FakePrintSystem* m_system;
};

}  // namespace

std::string FakePrintSystem::DefaultPrinter(int* error) {
    if (defaultPrinter.empty()) {
        *error = ENOENT;
    }
    return defaultPrinter;
}

std::unique_ptr<platform::Printer> FakePrintSystem::OpenPrinter(const std::string& name,
                                                                int* error) {
    ++opens;
    if (name != printerName) {
        *error = ENOENT;
        return nullptr;
    }
    return std::make_unique<FakePrinter>(this);
}

std::unique_ptr<platform::Printer> FakePrintSystem::Open() {
    int error = 0;
    return OpenPrinter(printerName, &error);
}

}  // namespace testsupport
