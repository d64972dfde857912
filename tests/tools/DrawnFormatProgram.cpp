// The program with one more document format, the tests' drawn pages, registered beside the
// formats it is built with and nowhere else.
#include "NvrPrintHelper/ProgramMain.h"
#include "tests/support/DrawnPagesFormat.h"

int main(int argc, char** argv) {
    return nvrprint::RunProgram(
        argc, argv, docmgr::FormatRegistry::Standard().With(testsupport::DrawnPagesFormat()));
}
