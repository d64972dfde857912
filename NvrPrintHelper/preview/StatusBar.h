#pragma once

#include <gtk/gtk.h>

#include <string>

#include "NvrPrintHelper/preview/PreviewModel.h"

// The preview's status bar: the document's name, the page or sheet side on show and the zoom.
// A click on the zoom opens a field to type a zoom into.
namespace nvrprint::preview {

class StatusBar {
public:
    StatusBar(PreviewModel& model, std::string documentName);
    ~StatusBar();
    StatusBar(const StatusBar&) = delete;
    StatusBar& operator=(const StatusBar&) = delete;

    GtkWidget* Bar() const { return m_bar; }
    GtkWidget* ZoomPart() const { return m_zoomPart; }
    void UpdateStatusBar();

private:
    GtkWidget* MakeZoomPart();
    void ShowZoomEdit();
    void HideZoomEdit(bool apply);

    PreviewModel& m_model;
    std::string m_documentName;
    GtkWidget* m_bar = nullptr;
    GtkWidget* m_document = nullptr;
    GtkWidget* m_page = nullptr;
    GtkWidget* m_zoomPart = nullptr;
    GtkWidget* m_zoomStack = nullptr;
    GtkWidget* m_zoom = nullptr;
    GtkWidget* m_zoomEdit = nullptr;
    GtkWidget* m_clickable = nullptr;
};

}  // namespace nvrprint::preview
