// Process entry: the program with the formats it is built for, on the system's own services.
#include "NvrPrintHelper/ProgramMain.h"

int main(int argc, char** argv) {
    return nvrprint::RunProgram(argc, argv, docmgr::FormatRegistry::Standard());
}
