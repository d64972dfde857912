// The command line: arguments are the input split at zero bytes. Paths are answered from their
// text, so that the parse touches no file.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "NvrPrintHelper/CommandLine.h"
#include "tests/fuzz/FuzzSupport.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzzsupport::PrepareProcess();
    std::vector<std::string> arguments(1);
    for (size_t i = 0; i < size; ++i) {
        if (data[i] == 0) {
            arguments.emplace_back();
        } else {
            arguments.back().push_back(static_cast<char>(data[i]));
        }
    }
    if (arguments.size() > 64) {
        return 0;
    }
    nvrprint::ParseArguments(arguments, [](const std::string& path) {
        return path.ends_with("/")    ? nvrprint::PathKind::Directory
               : path.size() % 2 == 0 ? nvrprint::PathKind::File
                                      : nvrprint::PathKind::Missing;
    });
    return 0;
}
