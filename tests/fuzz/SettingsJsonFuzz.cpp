// The job settings document, as a -settings file or an embedded string brings it.
#include <cstddef>
#include <cstdint>
#include <string>

#include "NvrPrintUtils/PrintJobSettings.h"
#include "tests/fuzz/FuzzSupport.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzzsupport::PrepareProcess();
    const std::string text(reinterpret_cast<const char*>(data), size);
    nvrprint::PrintJobSettings fromString;
    if (fromString.LoadFromString(text)) {
        nvrprint::PrintJobSettings merged;
        merged.MergeWith(fromString);
        nvrprint::DevModePtr devMode = nvrprint::AllocateDevMode();
        merged.ApplyToDevMode(devMode.get(), nullptr);
    }
    fuzzsupport::InputFile file(data, size);
    nvrprint::PrintJobSettings fromFile;
    fromFile.LoadFromFile(file.Path());
    return 0;
}
