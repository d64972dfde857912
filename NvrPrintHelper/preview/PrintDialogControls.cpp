#include "NvrPrintHelper/preview/PrintDialogControls.h"

#include <array>
#include <cstring>
#include <vector>

namespace nvrprint::preview {
namespace {

// The toolkit's own texts of the controls, looked up in its translation so that the match
// holds in every language.
bool HasText(const char* text, const char* untranslated) {
    return text != nullptr && std::strcmp(text, g_dgettext("gtk30", untranslated)) == 0;
}

void Collect(GtkWidget* widget, std::vector<GtkWidget*>* all) {
    all->push_back(widget);
    if (GTK_IS_CONTAINER(widget)) {
        gtk_container_forall(
            GTK_CONTAINER(widget),
            [](GtkWidget* child, gpointer data) {
                Collect(child, static_cast<std::vector<GtkWidget*>*>(data));
            },
            all);
    }
}

int Hide(GtkWidget* widget) {
    if (widget == nullptr) {
        return 0;
    }
    gtk_widget_set_no_show_all(widget, TRUE);
    gtk_widget_hide(widget);
    return 1;
}

// A labelled row of the Page Setup tab's grid: the label and what stands beside it.
int HideRow(GtkWidget* label) {
    GtkWidget* grid = gtk_widget_get_parent(label);
    if (!GTK_IS_GRID(grid)) {
        return Hide(label);
    }
    int row = 0;
    gtk_container_child_get(GTK_CONTAINER(grid), label, "top-attach", &row, nullptr);
    return Hide(gtk_grid_get_child_at(GTK_GRID(grid), 1, row)) + Hide(label);
}

}  // namespace

int HideLayoutControls(GtkWidget* dialog) {
    constexpr std::array kLayoutRows = {
        "Pages per _side:", "Page or_dering:", "_Only print:", "Sc_ale:"};
    std::vector<GtkWidget*> widgets;
    Collect(dialog, &widgets);
    int hidden = 0;
    for (GtkWidget* widget : widgets) {
        if (GTK_IS_LABEL(widget)) {
            const char* text = gtk_label_get_label(GTK_LABEL(widget));
            for (const char* row : kLayoutRows) {
                if (HasText(text, row)) {
                    hidden += HideRow(widget);
                }
            }
        } else if (GTK_IS_BUTTON(widget)) {
            const char* text = gtk_button_get_label(GTK_BUTTON(widget));
            if (HasText(text, "_Reverse")) {
                hidden += Hide(widget);
            } else if (HasText(text, "_All Pages")) {
                // The whole Range section: its heading and its grid of choices.
                GtkWidget* choices = gtk_widget_get_parent(widget);
                hidden += Hide(choices != nullptr ? gtk_widget_get_parent(choices) : nullptr);
            }
        }
    }
    return hidden;
}

}  // namespace nvrprint::preview
