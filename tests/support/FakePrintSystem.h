#pragma once

#include <cstring>
#include <functional>
#include <memory>
#include <string>

#include "NvrPrintUtils/PrintSystem.h"

namespace testsupport {

// A print system with one printer whose driver corrects DEVMODEs by a function of the
// test's choosing, and an optional Print Ticket provider that keeps a ticket per printer.
class FakePrintSystem : public nvrprint::PrintSystem {
public:
    std::string printerName = "Office";
    std::function<void(nvrprint::DEVMODEW&)> correct = [](nvrprint::DEVMODEW&) {};
    int32_t validateResult = nvrprint::kIdOk;
    bool hasProvider = false;
    std::string driverTicket;  // what the driver answers for any DEVMODE
    std::string lastTicketIn;  // what was handed back for conversion
    int opens = 0;
    int validations = 0;

    std::unique_ptr<nvrprint::PrinterSession> OpenPrinter(const std::string& name,
                                                          int* error) override;
    std::unique_ptr<nvrprint::PrintTicketProvider> OpenPrintTicketProvider(
        const std::string& name, int32_t* result) override;
};

// Installs a fake for the length of a scope.
class ScopedPrintSystem {
public:
    ScopedPrintSystem() : system(std::make_shared<FakePrintSystem>()) {
        nvrprint::InstallPrintSystem(system);
    }
    ~ScopedPrintSystem() { nvrprint::InstallPrintSystem(nullptr); }
    FakePrintSystem* operator->() { return system.get(); }
    std::shared_ptr<FakePrintSystem> system;
};

}  // namespace testsupport
