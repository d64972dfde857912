#pragma once

#include <gtk/gtk.h>

namespace nvrprint::preview {

// Hides the print dialog's controls that lay pages out (page ranges, pages per side and
// their order, odd or even sheets only, scaling, reverse order): the program does all of
// that itself, from the job's settings. Returns how many controls were hidden.
int HideLayoutControls(GtkWidget* dialog);

}  // namespace nvrprint::preview
