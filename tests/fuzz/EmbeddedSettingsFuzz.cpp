// A whole PDF, read for the job settings its first page carries, and those settings read.
#include <cstddef>
#include <cstdint>

#include "DocFilePageMgr/DocFilePageMgrLib/EmbeddedSettings.h"
#include "NvrPrintUtils/PrintJobSettings.h"
#include "tests/fuzz/FuzzSupport.h"

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
