#include "tests/support/FakePrintSystem.h"

#include <cerrno>

namespace testsupport {
namespace {

using namespace nvrprint;

class FakeSession final : public PrinterSession {
public:
    explicit FakeSession(FakePrintSystem* system) : m_system(system) {}
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
        return m_system->validateResult;
    }

private:
    FakePrintSystem* m_system;
};

class FakeProvider final : public PrintTicketProvider {
public:
    explicit FakeProvider(FakePrintSystem* system) : m_system(system) {}
    int32_t ConvertDevModeToPrintTicket(const DEVMODEW*, size_t, std::string* ticket) override {
        *ticket = m_system->driverTicket;
        return 0;
    }
    int32_t ConvertPrintTicketToDevMode(const std::string& ticket, DevModePtr* devMode,
                                        std::string*) override {
        m_system->lastTicketIn = ticket;
        m_system->driverTicket = ticket;
        *devMode = AllocateDevMode();
        (*devMode)->dmFields = DM_COPIES;
        (*devMode)->dmCopies = 77;  // marks that the converted DEVMODE came back
        return 0;
    }

private:
    FakePrintSystem* m_system;
};

}  // namespace

std::unique_ptr<PrinterSession> FakePrintSystem::OpenPrinter(const std::string& name, int* error) {
    ++opens;
    if (name != printerName) {
        *error = ENOENT;
        return nullptr;
    }
    return std::make_unique<FakeSession>(this);
}

std::unique_ptr<PrintTicketProvider> FakePrintSystem::OpenPrintTicketProvider(
    const std::string& name, int32_t* result) {
    if (!hasProvider || name != printerName) {
        *result = static_cast<int32_t>(0x80004001);
        return nullptr;
    }
    *result = 0;
    return std::make_unique<FakeProvider>(this);
}

}  // namespace testsupport
