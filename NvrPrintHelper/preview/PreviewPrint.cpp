// The preview's Print command: the system print dialog, opened on the job's printer with
// the job's settings, and the print through the application's callback.
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <future>
#include <thread>

#include <gtk/gtkunixprint.h>

#include "NvrPrintHelper/preview/PreviewWidgets.h"
#include "NvrPrintHelper/preview/PreviewWindow.h"
#include "NvrPrintHelper/preview/PrintDialogControls.h"
#include "NvrPrintUtils/DialogSettings.h"
#include "SystemServices/PrinterServices.h"
#include "logging/LogMacros.h"
#include "platform/GObjectPtr.h"

namespace nvrprint {
namespace {

// How long the printer's answer about its defaults may take before the dialog opens
// without them.
constexpr auto kPrinterQueryLimit = std::chrono::seconds(15);
// How often the window paints while it waits for that answer.
constexpr auto kPaintInterval = std::chrono::milliseconds(30);
// The code the log gives a query that did not answer in time.
constexpr uint32_t kQueryTimedOut = 0x000005B4;  // a timeout, as the system numbers it

// A printer opened for the dialog, with its defaults.
struct OpenedPrinter {
    std::unique_ptr<platform::Printer> printer;
    DevModePtr defaults;
};

// Opens the printer and asks for its defaults on a thread of its own: a scheduler that
// hangs costs the dialog its settings, never the window, which keeps painting meanwhile but
// takes no input. timedOut says when no answer came.
OpenedPrinter OpenWithDefaults(platform::PrintSystem& printers, const std::string& name,
                               GtkWidget* window, bool* timedOut) {
    auto query = std::make_shared<std::packaged_task<OpenedPrinter()>>([&printers, name] {
        OpenedPrinter opened;
        int error = 0;
        opened.printer = printers.OpenPrinter(name, &error);
        if (opened.printer) {
            opened.defaults = docmgr::DocFilePageMgr::GetPrinterSettings(*opened.printer);
        }
        return opened;
    });
    std::future<OpenedPrinter> answer = query->get_future();
    // The thread owns the task: left behind when it hangs, it ends on its own later.
    std::thread([query] { (*query)(); }).detach();
    gtk_widget_set_sensitive(window, FALSE);
    GdkWindow* surface = gtk_widget_get_window(window);
    platform::GObjectPtr<GdkCursor> busy(
        gdk_cursor_new_from_name(gtk_widget_get_display(window), "wait"));
    if (surface != nullptr) {
        gdk_window_set_cursor(surface, busy.get());
    }
    const auto deadline = std::chrono::steady_clock::now() + kPrinterQueryLimit;
    *timedOut = false;
    while (answer.wait_for(kPaintInterval) != std::future_status::ready) {
        if (std::chrono::steady_clock::now() >= deadline) {
            *timedOut = true;
            break;
        }
        while (gtk_events_pending()) {
            gtk_main_iteration_do(FALSE);
        }
    }
    if (surface != nullptr) {
        gdk_window_set_cursor(surface, nullptr);
    }
    gtk_widget_set_sensitive(window, TRUE);
    return *timedOut ? OpenedPrinter() : answer.get();
}

// The printer's own check of the dialog's settings: what it cannot do is corrected.
DevModePtr ValidatedByPrinter(PrinterSession& printer, const DEVMODEW* devMode) {
    int32_t size = printer.DevModeSize();
    if (size < static_cast<int32_t>(sizeof(DEVMODEW))) {
        return {};
    }
    DevModePtr in(static_cast<DEVMODEW*>(std::calloc(1, static_cast<size_t>(size))));
    DevModePtr out(static_cast<DEVMODEW*>(std::calloc(1, static_cast<size_t>(size))));
    if (!in || !out) {
        return {};
    }
    std::memcpy(in.get(), devMode,
                std::min<size_t>(static_cast<size_t>(size),
                                 static_cast<size_t>(devMode->dmSize) + devMode->dmDriverExtra));
    if (printer.ValidateDevMode(in.get(), out.get()) != kIdOk) {
        return {};
    }
    return out;
}

void ShowInDialog(const DialogSettings& job, const std::string& printer, GtkPrintSettings* gtk,
                  GtkPageSetup* page) {
    if (!printer.empty()) {
        gtk_print_settings_set_printer(gtk, printer.c_str());
    }
    gtk_print_settings_set_n_copies(gtk, job.copies);
    gtk_print_settings_set_collate(gtk, job.collate);
    gtk_print_settings_set_duplex(
        gtk, job.duplex == DialogDuplex::LongEdge    ? GTK_PRINT_DUPLEX_HORIZONTAL
             : job.duplex == DialogDuplex::ShortEdge ? GTK_PRINT_DUPLEX_VERTICAL
                                                     : GTK_PRINT_DUPLEX_SIMPLEX);
    gtk_print_settings_set_use_color(gtk, job.color);
    GtkPageOrientation orientation =
        job.landscape ? GTK_PAGE_ORIENTATION_LANDSCAPE : GTK_PAGE_ORIENTATION_PORTRAIT;
    gtk_print_settings_set_orientation(gtk, orientation);
    gtk_page_setup_set_orientation(page, orientation);
    if (!job.media.empty()) {
        GtkPaperSize* paper = gtk_paper_size_new_from_ipp(job.media.c_str(), 0, 0);
        if (paper != nullptr) {
            gtk_page_setup_set_paper_size(page, paper);
            gtk_paper_size_free(paper);
        }
    }
}

// What the user chose, read back from the dialog.
DialogSettings ChosenInDialog(GtkPrintSettings* gtk, GtkPageSetup* page) {
    DialogSettings chosen;
    chosen.copies = gtk_print_settings_get_n_copies(gtk);
    chosen.collate = gtk_print_settings_get_collate(gtk);
    // The CUPS printers' own two-sided option names the sides; the toolkit's names the edge.
    const char* sides = gtk_print_settings_get(gtk, "cups-sides");
    const char* duplex = gtk_print_settings_get(gtk, "cups-Duplex");
    GtkPrintDuplex edge = gtk_print_settings_get_duplex(gtk);
    if ((sides != nullptr && g_str_equal(sides, "two-sided-long-edge")) ||
        (duplex != nullptr && g_str_equal(duplex, "DuplexNoTumble")) ||
        edge == GTK_PRINT_DUPLEX_HORIZONTAL) {
        chosen.duplex = DialogDuplex::LongEdge;
    } else if ((sides != nullptr && g_str_equal(sides, "two-sided-short-edge")) ||
               (duplex != nullptr && g_str_equal(duplex, "DuplexTumble")) ||
               edge == GTK_PRINT_DUPLEX_VERTICAL) {
        chosen.duplex = DialogDuplex::ShortEdge;
    }
    const char* colorMode = gtk_print_settings_get(gtk, "cups-print-color-mode");
    const char* colorModel = gtk_print_settings_get(gtk, "cups-ColorModel");
    chosen.color = gtk_print_settings_get_use_color(gtk) &&
                   !(colorMode != nullptr && g_str_equal(colorMode, "monochrome")) &&
                   !(colorModel != nullptr && g_str_has_suffix(colorModel, "Gray"));
    chosen.landscape = gtk_page_setup_get_orientation(page) == GTK_PAGE_ORIENTATION_LANDSCAPE;
    GtkPaperSize* paper = gtk_page_setup_get_paper_size(page);
    if (paper != nullptr && gtk_paper_size_get_ppd_name(paper) == nullptr) {
        chosen.media = gtk_paper_size_get_name(paper);
    }
    return chosen;
}

}  // namespace

void PreviewWindow::OnPrint() {
    NVR_LOG_INFO("User initiated print from preview");
    NVR_LOG_DEBUG("Opening printer: {}", m_printerName);
    Widgets& w = *m_widgets;
    OpenedPrinter opened;
    DevModePtr prepared;
    if (m_printerName.empty() || m_pageManager == nullptr) {
        NVR_LOG_WARNING("Failed to open printer or printer name is empty");
    } else {
        NVR_LOG_DEBUG("Printer opened successfully, getting DEVMODE size");
        bool timedOut = false;
        opened = OpenWithDefaults(m_printers, m_printerName, w.frame, &timedOut);
        prepared = std::move(opened.defaults);
        if (timedOut) {
            NVR_LOG_WARNING(
                "Exception caught in DocumentPropertiesW size query (buggy printer driver). "
                "Exception code: 0x{:x}",
                kQueryTimedOut);
        } else if (!prepared) {
            NVR_LOG_ERROR("DocumentPropertiesW failed with result {}", -1);
        } else {
            NVR_LOG_DEBUG("DEVMODE size: {}", prepared->dmSize + prepared->dmDriverExtra);
            NVR_LOG_DEBUG("Got DEVMODE, applying settings");
            if (m_settings != nullptr) {
                NVR_LOG_DEBUG("Applying current settings to print dialog");
                m_settings->ApplyToDevMode(prepared.get(), opened.printer.get());
            }
            NVR_LOG_DEBUG("Initialized print dialog with current settings");
        }
        NVR_LOG_DEBUG("Closed printer handle");
    }

    if (!m_running) {
        return;  // closed while the printer was being asked
    }

    NVR_LOG_DEBUG("About to show print dialog");
    GtkWidget* dialog = gtk_print_unix_dialog_new("Print", GTK_WINDOW(w.frame));
    GtkPrintUnixDialog* printDialog = GTK_PRINT_UNIX_DIALOG(dialog);
    // The program lays out the pages: no selection, and none of the dialog's own ranges,
    // N-up, scaling or order.
    gtk_print_unix_dialog_set_manual_capabilities(
        printDialog, static_cast<GtkPrintCapabilities>(GTK_PRINT_CAPABILITY_COPIES |
                                                       GTK_PRINT_CAPABILITY_COLLATE |
                                                       GTK_PRINT_CAPABILITY_GENERATE_PDF));
    gtk_print_unix_dialog_set_support_selection(printDialog, FALSE);
    gtk_print_unix_dialog_set_has_selection(printDialog, FALSE);
    gtk_print_unix_dialog_set_embed_page_setup(printDialog, TRUE);
    NVR_LOG_DEBUG("Print dialog without its page layout controls ({} hidden)",
                  preview::HideLayoutControls(dialog));
    GtkPrintSettings* gtkSettings = gtk_print_settings_new();
    GtkPageSetup* pageSetup = gtk_page_setup_new();
    if (prepared) {
        ShowInDialog(DialogSettingsFromDevMode(*prepared), m_printerName, gtkSettings, pageSetup);
    } else if (!m_printerName.empty()) {
        gtk_print_settings_set_printer(gtkSettings, m_printerName.c_str());
    }
    gtk_print_unix_dialog_set_settings(printDialog, gtkSettings);
    gtk_print_unix_dialog_set_page_setup(printDialog, pageSetup);
    g_object_unref(gtkSettings);
    g_object_unref(pageSetup);

    NVR_LOG_DEBUG("Calling PrintDlgW...");
    gint response = gtk_dialog_run(GTK_DIALOG(dialog));
    bool accepted = response == GTK_RESPONSE_OK;
    NVR_LOG_DEBUG("PrintDlgW returned: {}", accepted ? 1 : 0);
    if (!accepted) {
        gtk_widget_destroy(dialog);
        return;
    }

    GtkPrinter* printer = gtk_print_unix_dialog_get_selected_printer(printDialog);
    std::string chosenPrinter = printer != nullptr ? gtk_printer_get_name(printer) : "";
    bool samePrinter = chosenPrinter == m_printerName;
    if (!chosenPrinter.empty()) {
        m_printerName = chosenPrinter;
        NVR_LOG_INFO("User selected printer: {}", m_printerName);
    }
    GtkPrintSettings* chosenSettings = gtk_print_unix_dialog_get_settings(printDialog);
    DialogSettings chosen =
        ChosenInDialog(chosenSettings, gtk_print_unix_dialog_get_page_setup(printDialog));
    g_object_unref(chosenSettings);
    gtk_widget_destroy(dialog);

    // The job's settings for the chosen printer, with what the dialog changed over them.
    DevModePtr fromDialog;
    if (samePrinter && prepared) {
        fromDialog = std::move(prepared);
    } else if (!m_printerName.empty() && m_pageManager != nullptr) {
        bool timedOut = false;
        opened = OpenWithDefaults(m_printers, m_printerName, w.frame, &timedOut);
        fromDialog = std::move(opened.defaults);
        if (fromDialog && m_settings != nullptr) {
            m_settings->ApplyToDevMode(fromDialog.get(), opened.printer.get());
        }
    }
    DevModePtr validated;
    if (fromDialog && opened.printer) {
        ApplyDialogSettings(chosen, fromDialog.get());
        validated = ValidatedByPrinter(*opened.printer, fromDialog.get());
        if (validated) {
            NVR_LOG_DEBUG("Locked validated DEVMODE from print dialog");
        }
    }

    if (!m_printCallback) {
        NVR_LOG_DEBUG("No callback, exiting message loop");
        m_result = PreviewPrinted;
        m_running = false;
        g_main_loop_quit(w.loop);
        return;
    }
    NVR_LOG_DEBUG("Calling print callback with printer: {} (using validated DEVMODE from dialog)",
                  m_printerName);
    bool printed = m_printCallback(w.frame, m_printerName, validated.get());
    NVR_LOG_INFO("Print callback returned, success={}", printed);
}

}  // namespace nvrprint
