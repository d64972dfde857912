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

// The PWG name of a paper the dialog offers, whatever made it (the printer's IPP media or
// its PPD): its own name where that is one, else the named paper of its size to within a
// millimetre, else a custom paper of its size. Sizes in millimetres, portrait.
std::string MediaForPaper(const std::string& name, double widthMm, double heightMm);

}  // namespace nvrprint
