// An XPS package as it arrives: checked on its central directory and rewritten as a plain
// package, the only form the XPS library is ever given, whose page sizes are then read from
// its parts.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>

#include <unistd.h>

#include "DocFilePageMgr/DocFilePageMgrLib/XpsPackage.h"
#include "DocFilePageMgr/DocFilePageMgrLib/XpsPageSizes.h"
#include "tests/fuzz/FuzzSupport.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzzsupport::PrepareProcess();
    static const std::string output = std::string(std::getenv("TMPDIR")) + "/plain.xps";
    if (docmgr::RewriteXpsPackage(std::span<const unsigned char>(data, size), output)) {
        (void)docmgr::ReadXpsPageExtents(output);
        ::unlink(output.c_str());
    }
    return 0;
}
