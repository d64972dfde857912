#pragma once

#include <cstdint>
#include <string>

#include "NvrPrintUtils/DevMode.h"

// What the system print dialog shows and changes of a job's DEVMODE. Page ranges, N-up and
// scaling are not among them: the program lays out the pages itself.
namespace nvrprint {

enum class DialogDuplex { OneSided, LongEdge, ShortEdge };

struct DialogSettings {
    int32_t copies = 1;
    bool collate = false;
    DialogDuplex duplex = DialogDuplex::OneSided;
    bool color = true;
    bool landscape = false;
    std::string media;  // PWG name; empty: the printer's default
};

DialogSettings DialogSettingsFromDevMode(const DEVMODEW& devMode);

// Writes what the dialog settled into the DEVMODE, with the fields' bits; everything else,
// the driver-private options among it, stays.
void ApplyDialogSettings(const DialogSettings& settings, DEVMODEW* devMode);

}  // namespace nvrprint
