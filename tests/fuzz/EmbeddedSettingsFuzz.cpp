// A whole PDF, read for the job settings its first page carries, and those settings read.
#include <cstddef>
#include <cstdint>

#include "EmbeddedSettings.h"
#include "FuzzSupport.h"
#include "PrintJobSettings.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzzsupport::PrepareProcess();
    fuzzsupport::InputFile file(data, size);
    docmgr::EmbeddedSettingsResult found = docmgr::ReadEmbeddedSettings(file.Path());
    if (!found.json.empty()) {
        nvrprint::PrintJobSettings settings;
        settings.LoadFromString(found.json);
    }
    return 0;
}
