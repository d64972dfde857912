// The preview's Print command: the system print dialog, opened on the job's printer with
// the job's settings, and the print through the application's callback.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include <gtk/gtkunixprint.h>

#include "NvrPrintHelper/preview/PreviewWidgets.h"
#include "NvrPrintHelper/preview/PreviewWindow.h"
#include "NvrPrintHelper/preview/PrintDialogControls.h"
#include "NvrPrintHelper/preview/PrinterQuery.h"
#include "NvrPrintUtils/DialogSettings.h"
#include "SystemServices/PrinterServices.h"
#include "logging/LogMacros.h"
#include "platform/GObjectPtr.h"

namespace nvrprint {
namespace {

using preview::OpenedPrinter;
using preview::PrinterQuery;
using preview::ShowBusy;

// The code the log gives a query that did not answer in time.
constexpr uint32_t kQueryTimedOut = 0x000005B4;  // a timeout, as the system numbers it

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
    // Papers made from a PPD have the PPD's names: the paper goes by its size then.
    GtkPaperSize* paper = gtk_page_setup_get_paper_size(page);
    if (paper != nullptr) {
        chosen.media = MediaForPaper(gtk_paper_size_get_name(paper),
                                     gtk_paper_size_get_width(paper, GTK_UNIT_MM),
                                     gtk_paper_size_get_height(paper, GTK_UNIT_MM));
    }
    return chosen;
}

}  // namespace

// A print from the Print command to the job's end. One at a time.
struct PreviewWindow::PrintFlow {
    // The printer being asked, while it is.
    std::unique_ptr<PrinterQuery> query;
    // The settings the dialog starts from.
    DevModePtr prepared;
    GtkWidget* dialog = nullptr;
    // What the person chose in the dialog.
    DialogSettings chosen;
    std::string outputFile;
    // The job is being sent.
    bool sending = false;

    // The dialog opens with the job's print for the printer, or, where the printer refused
    // it, with the job's settings written over the printer's defaults as they stand.
    void Prepare(OpenedPrinter opened, PrintJobSettings* settings) {
        if (!opened.defaults) {
            NVR_LOG_ERROR("DocumentPropertiesW failed with result {}", -1);
            return;
        }
        NVR_LOG_DEBUG("DEVMODE size: {}", opened.defaults->dmSize + opened.defaults->dmDriverExtra);
        NVR_LOG_DEBUG("Getting default DEVMODE from printer");
        NVR_LOG_DEBUG("Got DEVMODE, applying settings");
        if (opened.job) {
            NVR_LOG_DEBUG("Applying current settings to print dialog");
            prepared = std::move(opened.job->devMode);
        } else {
            prepared = std::move(opened.defaults);
            if (settings != nullptr) {
                NVR_LOG_DEBUG("Applying current settings to print dialog");
                settings->ApplyToDevMode(prepared.get(), nullptr);
            }
        }
        NVR_LOG_DEBUG("Initialized print dialog with current settings");
    }

    ~PrintFlow() {
        if (dialog != nullptr) {
            gtk_widget_destroy(dialog);
        }
    }
};

bool PreviewWindow::SendingPrint() const {
    return m_print != nullptr && m_print->sending;
}

void PreviewWindow::OnPrint() {
    if (SendingPrint()) {
        NVR_LOG_INFO("A print is being sent; its progress is shown again");
        if (m_showProgress) {
            m_showProgress();
        }
        return;
    }
    if (Printing()) {
        NVR_LOG_INFO("A print is under way; the Print command waits for its end");
        return;
    }
    NVR_LOG_INFO("User initiated print from preview");
    NVR_LOG_DEBUG("Opening printer: {}", m_printerName);
    m_print = std::make_shared<PrintFlow>();
    if (m_printerName.empty() || m_pageManager == nullptr) {
        NVR_LOG_WARNING("Failed to open printer or printer name is empty");
        ShowPrintDialog();
        return;
    }
    ShowBusy(m_widgets->frame, true);
    m_print->query = PrinterQuery::Start(
        m_printers, m_printerName,
        [makeJob = m_makeJob](platform::Printer& printer, const DEVMODEW& defaults) {
            return makeJob(printer, defaults, nullptr);
        },
        [this](OpenedPrinter opened, bool timedOut) {
            ShowBusy(m_widgets->frame, false);
            PrintFlow& flow = *m_print;
            flow.query.reset();
            if (timedOut) {
                NVR_LOG_WARNING(
                    "Exception caught in DocumentPropertiesW size query (buggy printer driver). "
                    "Exception code: 0x{:x}",
                    kQueryTimedOut);
            } else if (!opened.printer) {
                NVR_LOG_WARNING("Failed to open printer or printer name is empty");
            } else {
                NVR_LOG_DEBUG("Printer opened successfully, getting DEVMODE size");
                flow.Prepare(std::move(opened), m_settings);
                NVR_LOG_DEBUG("Closed printer handle");
            }
            ShowPrintDialog();
        });
}

void PreviewWindow::ShowPrintDialog() {
    NVR_LOG_DEBUG("About to show print dialog");
    PrintFlow& flow = *m_print;
    GtkWidget* dialog = gtk_print_unix_dialog_new("Print", GTK_WINDOW(m_widgets->frame));
    flow.dialog = dialog;
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
    platform::GObjectPtr<GtkPrintSettings> gtkSettings(gtk_print_settings_new());
    platform::GObjectPtr<GtkPageSetup> pageSetup(gtk_page_setup_new());
    if (flow.prepared) {
        ShowInDialog(DialogSettingsFromDevMode(*flow.prepared), m_printerName, gtkSettings.get(),
                     pageSetup.get());
    } else if (!m_printerName.empty()) {
        gtk_print_settings_set_printer(gtkSettings.get(), m_printerName.c_str());
    }
    // Print to File offers the document's name, in the person's documents folder.
    const char* folder = g_get_user_special_dir(G_USER_DIRECTORY_DOCUMENTS);
    const std::string stem = m_documentName.substr(0, m_documentName.rfind('.'));
    platform::GCharPtr target(g_build_filename(folder != nullptr ? folder : g_get_home_dir(),
                                               (stem + " (print).pdf").c_str(), nullptr));
    platform::GCharPtr uri(g_filename_to_uri(target.get(), nullptr, nullptr));
    if (uri) {
        gtk_print_settings_set(gtkSettings.get(), GTK_PRINT_SETTINGS_OUTPUT_URI, uri.get());
    }
    gtk_print_unix_dialog_set_settings(printDialog, gtkSettings.get());
    gtk_print_unix_dialog_set_page_setup(printDialog, pageSetup.get());

    // Over the frame, which takes no input meanwhile but still hears a close.
    gtk_window_set_modal(GTK_WINDOW(dialog), FALSE);
    gtk_widget_set_sensitive(m_widgets->frame, FALSE);
    g_signal_connect(dialog, "response", G_CALLBACK(+[](GtkDialog*, gint response, gpointer self) {
                         Self(self)->OnPrintDialogResponse(response);
                     }),
                     this);
    // The printer the dialog shows, once it knows the printer's options.
    g_signal_connect(
        dialog, "notify::selected-printer", G_CALLBACK(+[](GObject* shown, GParamSpec*, gpointer) {
            GtkPrinter* printer =
                gtk_print_unix_dialog_get_selected_printer(GTK_PRINT_UNIX_DIALOG(shown));
            if (printer == nullptr) {
                return;
            }
            auto logDetails = +[](GtkPrinter* printer, gboolean acquired) {
                if (acquired) {
                    NVR_LOG_DEBUG("Print dialog shows printer: {}", gtk_printer_get_name(printer));
                }
            };
            if (gtk_printer_has_details(printer)) {
                logDetails(printer, TRUE);
            } else {
                g_signal_connect_object(printer, "details-acquired", G_CALLBACK(logDetails), shown,
                                        static_cast<GConnectFlags>(0));
            }
        }),
        nullptr);
    NVR_LOG_DEBUG("Calling PrintDlgW...");
    TakeKeysWhenShown(dialog);
    gtk_widget_show(dialog);
}

void PreviewWindow::OnPrintDialogResponse(int response) {
    PrintFlow& flow = *m_print;
    GtkPrintUnixDialog* printDialog = GTK_PRINT_UNIX_DIALOG(flow.dialog);
    bool accepted = response == GTK_RESPONSE_OK;
    NVR_LOG_DEBUG("PrintDlgW returned: {}", accepted ? 1 : 0);
    gtk_widget_set_sensitive(m_widgets->frame, TRUE);
    if (!accepted) {
        m_print.reset();
        return;
    }

    GtkPrinter* printer = gtk_print_unix_dialog_get_selected_printer(printDialog);
    platform::GObjectPtr<GtkPrintSettings> chosenSettings(
        gtk_print_unix_dialog_get_settings(printDialog));
    flow.chosen =
        ChosenInDialog(chosenSettings.get(), gtk_print_unix_dialog_get_page_setup(printDialog));
    if (printer != nullptr && gtk_printer_is_virtual(printer)) {
        // Print to File: the job's own PDF, made for the job's printer, goes to the file.
        const char* uri =
            gtk_print_settings_get(chosenSettings.get(), GTK_PRINT_SETTINGS_OUTPUT_URI);
        platform::GCharPtr path(uri != nullptr ? g_filename_from_uri(uri, nullptr, nullptr)
                                               : nullptr);
        flow.outputFile = path ? path.get() : "";
        NVR_LOG_INFO("User chose to print to file: {}", flow.outputFile);
        // The file has no sides or colours of its own to offer: those stay the printer's.
        if (flow.prepared) {
            const DialogSettings printer = DialogSettingsFromDevMode(*flow.prepared);
            flow.chosen.duplex = printer.duplex;
            flow.chosen.color = printer.color;
        }
    } else if (printer != nullptr) {
        m_printerName = gtk_printer_get_name(printer);
    }
    gtk_widget_destroy(flow.dialog);
    flow.dialog = nullptr;
    if (m_printerName.empty() || m_pageManager == nullptr) {
        PrintChosen(std::nullopt);
        return;
    }
    NVR_LOG_INFO("User selected printer: {}", m_printerName);
    // The chosen printer makes the print of the choices on a thread; the window goes on
    // answering meanwhile, and the clock gives the print up if the printer never answers.
    NVR_LOG_DEBUG("Asking {} for the print of the dialog's choices", m_printerName);
    flow.query = PrinterQuery::Start(
        m_printers, m_printerName,
        [makeJob = m_makeJob, chosen = flow.chosen](platform::Printer& printer,
                                                    const DEVMODEW& defaults) {
            return makeJob(printer, defaults, &chosen);
        },
        [this](OpenedPrinter opened, bool timedOut) {
            OnChosenPrintMade(std::move(opened), timedOut);
        });
}

void PreviewWindow::OnChosenPrintMade(OpenedPrinter opened, bool timedOut) {
    m_print->query.reset();
    if (timedOut) {
        NVR_LOG_ERROR("Failed to get printer settings: {} did not answer in time", m_printerName);
        OnPrintFinished(false);
        return;
    }
    PrintChosen(std::move(opened.job));
}

void PreviewWindow::PrintChosen(std::optional<PrintJob> job) {
    PrintFlow& flow = *m_print;
    if (!m_printCallback) {
        NVR_LOG_DEBUG("No callback, exiting message loop");
        m_print.reset();
        m_result = PreviewPrinted;
        m_running = false;
        g_main_loop_quit(m_widgets->loop);
        return;
    }
    NVR_LOG_DEBUG("Calling print callback with printer: {} (using validated DEVMODE from dialog)",
                  m_printerName);
    PrintChoice choice{m_printerName, flow.chosen, flow.outputFile, std::move(job)};
    flow.sending = true;
    std::weak_ptr<PrintFlow> started = m_print;
    bool running =
        m_printCallback(m_widgets->frame, std::move(choice), [this, started](bool printed) {
            if (!started.expired()) {
                OnPrintFinished(printed);
            }
        });
    if (!running) {
        OnPrintFinished(false);
    }
}

void PreviewWindow::OnPrintFinished(bool printed) {
    NVR_LOG_INFO("Print callback returned, success={}", printed);
    m_print.reset();
    gtk_widget_set_sensitive(m_widgets->frame, TRUE);
    if (m_closeAfterPrint) {
        NVR_LOG_INFO("The document has been sent; closing the preview as asked");
        OnClose();
    }
}

}  // namespace nvrprint
