#pragma once

#include <cstring>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "SystemServices/PrinterServices.h"

namespace testsupport {

// A print system with one printer whose driver corrects DEVMODEs by a function of the
// test's choosing and cannot staple, and print devices of the test's making.
// It counts how often the printer is reached.
class FakePrintSystem : public nvrprint::platform::PrintSystem {
public:
    std::string printerName = "Office";
    std::string defaultPrinter;  // empty: none
    std::function<void(nvrprint::DEVMODEW&)> correct = [](nvrprint::DEVMODEW&) {};
    // Settings the driver refuses.
    std::function<bool(const nvrprint::DEVMODEW&)> refuses = [](const nvrprint::DEVMODEW&) {
        return false;
    };
    // Makes the print device of a job, for a printer or a file; none by default.
    std::function<std::unique_ptr<docmgr::PrintDevice>()> makeDevice;
    int opens = 0;        // OpenPrinter, found or not
    int validations = 0;  // ValidateDevMode

    nvrprint::Result<std::string> DefaultPrinter() override;
    nvrprint::Result<std::unique_ptr<nvrprint::platform::Printer>> OpenPrinter(
        const std::string& name) override;
    // The printer, opened as a job would.
    std::unique_ptr<nvrprint::platform::Printer> Open();
};

}  // namespace testsupport
