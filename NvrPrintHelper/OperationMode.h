#pragma once

#include <optional>

namespace nvrprint {

// What the silent-or-interactive decision is taken from. A -silent or -interactive flag, or a
// -settings file asking for the preview, decides at once; otherwise the document's embedded
// settings decide as soon as they are read, and without them the end of the load does.
struct ModeInputs {
    bool forceSilent = false;
    bool forceInteractive = false;
    bool overridePreview = false;         // the -settings file's bShowPreview
    std::optional<bool> documentPreview;  // the embedded settings' bShowPreview, once read
    bool settingsAnnounced = false;       // the load reported settings, even empty ones
    bool loadComplete = false;
    bool printerNamed = false;
    bool inputFromPipe = false;
};

// True for interactive, false for silent; nothing while the load may still have its say.
std::optional<bool> DecideOperationMode(const ModeInputs& in);

// True when the decision needs nothing from the document.
bool IsForcedMode(const ModeInputs& in);

}  // namespace nvrprint
