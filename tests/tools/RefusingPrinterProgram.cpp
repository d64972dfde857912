// The program with one printer, "Refusing", whose driver refuses more than one copy; everything
// else is the system's own. Window tests reach with it what no working scheduler does: a print
// whose settings cannot be applied.
#include "NvrPrintHelper/ProgramMain.h"
#include "tests/support/FakePrintSystem.h"

int main(int argc, char** argv) {
    using namespace nvrprint;
    return RunProgram(argc, argv, docmgr::FormatRegistry::Standard(), [](platform::Platform& os) {
        auto printers = std::make_unique<testsupport::FakePrintSystem>();
        printers->printerName = "Refusing";
        printers->refuses = [](const DEVMODEW& devMode) { return devMode.dmCopies > 1; };
        os.printers = std::move(printers);
    });
}
