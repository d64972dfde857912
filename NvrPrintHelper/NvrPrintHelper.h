#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <istream>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "DocFilePageMgr/DocFilePageMgrLib/DocFilePageMgr.h"
#include "DocFilePageMgr/DocFilePageMgrLib/DocumentFormats.h"
#include "NvrPrintHelper/CommandLine.h"
#include "NvrPrintHelper/OperationMode.h"
#include "NvrPrintHelper/PrintProgressDialog.h"
#include "NvrPrintUtils/DevMode.h"
#include "NvrPrintUtils/DialogSettings.h"
#include "NvrPrintUtils/PrintJob.h"
#include "NvrPrintUtils/PrintJobSettings.h"
#include "NvrPrintUtils/TempFileManager.h"
#include "SystemServices/Platform.h"
#include "logging/Logger.h"

namespace nvrprint {

// The one object that owns a run: options, the document manager, the layers of settings,
// the choice of mode and the way out to the printer or an external viewer.
class NvrPrintHelper {
public:
    // Everything it asks of the system goes through os, which outlives it; it opens the
    // documents of the given formats.
    explicit NvrPrintHelper(platform::Platform& os,
                            docmgr::FormatRegistry formats = docmgr::FormatRegistry::Standard());
    ~NvrPrintHelper();
    NvrPrintHelper(const NvrPrintHelper&) = delete;
    NvrPrintHelper& operator=(const NvrPrintHelper&) = delete;

    bool ParseCommandLine(int argc, const char* const* argv);
    int32_t Run();

    bool ProcessInputFile();
    std::unique_ptr<docmgr::DocFilePageMgr> CreateDocumentManagerByClass(
        const std::string& documentClass);
    std::unique_ptr<docmgr::DocFilePageMgr> CreateDocumentManager(const std::string& filePath);
    bool LoadDocument();
    bool DetermineOperationMode();
    void OnDocumentEvent(docmgr::DocMgrEventType kind, const docmgr::DocMgrEventData& data);
    bool ExecuteSilentMode();
    std::string GetDefaultPrinterName();
    bool ValidatePrinter(const std::string& printerName);
    bool ExecuteInteractiveMode();
    bool PrintDocument();
    // Starts a print from the preview, the owner being the preview's window, and returns;
    // finished hears the result on the main thread. False, without printing, when the
    // progress window cannot be made.
    bool PrintDocumentWithProgress(void* parentWindow, PrintFinished finished);
    bool ExportToTiff();
    bool ExecuteFtaMode();
    bool LaunchWithExplicitApp(const std::string& appPath, const std::string& filePath);
    bool LaunchWithSystemHandler(const std::string& filePath);
    std::string DetermineJobTitle();
    void ShowHelp();
    void ShowError(const std::string& message, bool showUsage);

    // The usage text shown by -help and appended to option errors, naming the formats' classes.
    static std::string UsageText(
        const docmgr::FormatRegistry& formats = docmgr::FormatRegistry::Standard());

    // The next print writes the job's PDF to this file (a local path) instead of sending it
    // to the printer: the same sheets, on the printer's paper. Applies to one print only;
    // empty prints to the printer.
    void SetOutputFile(std::string path) { m_outputFile = std::move(path); }

    // The next print takes what the person chose in a print dialog over the job's settings.
    // Applies to one print only.
    void SetDialogChoices(DialogSettings choices) { m_dialogChoices = std::move(choices); }

    // How long a load may take; tests shorten it.
    void SetLoadTimeout(std::chrono::milliseconds timeout) { m_loadTimeout = timeout; }

    // Read-only views for callers and tests.
    const std::string& InputFile() const { return m_inputFile; }
    const std::string& PrinterName() const { return m_printerName; }
    const std::string& DocumentClass() const { return m_documentClass; }
    const std::string& ImagePath() const { return m_imagePath; }
    const std::string& PreviewApp() const { return m_previewApp; }
    int32_t KeepLimit() const { return m_keepLimit; }
    int32_t LogLevelOption() const { return m_logLevel; }
    bool KeepTempFiles() const { return m_keepTempFiles; }
    bool KeepImages() const { return m_keepImages; }
    UsePreviewAppMode PreviewAppMode() const { return m_usePreviewApp; }
    bool IsInteractive();
    bool IsModeDetermined();
    bool IsModeForced() const { return m_modeForced; }
    std::string ActualInputFile();
    const PrintJobSettings& DocumentSettings() const { return m_documentSettings; }
    const PrintJobSettings& OverrideSettings() const { return m_overrideSettings; }

    // The object that receives document events; set by LoadDocument.
    static NvrPrintHelper* s_instance;

private:
    // The steps of parsing, in order; each false has shown its box.
    bool ReadArguments(int argc, const char* const* argv);
    bool KeepOutputsOffTheInput();
    bool PrepareTempDirectory();
    bool RequireInputFile();
    bool LoadOverrideSettings();
    bool ApplyModeFlags();
    // The facts the mode is decided from, as they stand.
    ModeInputs CurrentModeInputs() const;
    // What a print is made from: the layers over the printer's defaults, and the dialog's
    // choices when there are any. Reads only what the load settled, so any thread may ask.
    PrintJobSources JobSources(const DEVMODEW* printerDefaults, const DialogSettings* dialog,
                               std::string outputFile);
    // The title of a job whose settings name none: the document's file name.
    std::string DocumentTitle();
    // The job through a print device of the job's printer, or into its file.
    bool SendJob(const PrintJob& job);

    // The load events that change the run's state, one handler per record; the others are
    // only logged.
    void OnDocumentEvent(const docmgr::InputCaptureCompleteData& record);
    void OnDocumentEvent(const docmgr::DocumentSettingsAvailableData& record);
    void OnDocumentEvent(const docmgr::DocumentLoadErrorData& record);
    void OnDocumentEvent(const docmgr::LoadDocumentCompleteData& record);
    template <typename Record>
    void OnDocumentEvent(const Record&) {}

    std::string m_inputFile;
    std::string m_printerName;
    std::string m_documentClass;
    std::string m_settingsFile;
    std::string m_logFile;
    bool m_logFileApplied = false;  // the logger took m_logFile while the options were read
    std::string m_imagePath;
    bool m_imagePathIsDefault = false;  // in the temp directory, which others may share
    std::string m_tempDir;
    int32_t m_logLevel = Info;
    bool m_forceSilent = false;
    bool m_forceInteractive = false;
    bool m_keepTempFiles = false;
    bool m_keepImages = false;
    int32_t m_keepLimit = 10;
    UsePreviewAppMode m_usePreviewApp = UsePreviewAppMode::Interactive;
    std::string m_previewApp;
    std::string m_actualInputFile;
    std::string m_uniqueBaseName;
    bool m_inputFromPipe = false;
    bool m_deleteInputFile = false;
    bool m_ftaModeUsed = false;
    TempFileManager m_tempFileManager;
    std::unique_ptr<docmgr::DocFilePageMgr> m_docMgr;
    PrintJobSettings m_documentSettings;
    PrintJobSettings m_overrideSettings;
    PrintJobSettings m_finalSettings;
    bool m_interactiveMode = false;
    bool m_modeForced = false;
    bool m_modeDetermined = false;
    bool m_documentLoaded = false;
    bool m_settingsReceived = false;
    bool m_loadError = false;
    // What the person chose in the print dialog, for the next print only: the print made of
    // it for the chosen printer, or the choices when the printer could not make it then.
    std::optional<PrintJob> m_chosenJob;
    std::optional<DialogSettings> m_dialogChoices;
    // Where the next print writes the job's PDF; empty: to the printer.
    std::string m_outputFile;
    std::mutex m_modeMutex;
    std::condition_variable m_modeCondition;
    // Hears the page progress of the print under way, when a window shows it.
    docmgr::PrintProgress m_printProgress;
    platform::Platform& m_os;
    const docmgr::FormatRegistry m_formats;
    // The job's printer, opened once by ValidatePrinter and used by every later step.
    std::unique_ptr<platform::Printer> m_printer;
    std::chrono::milliseconds m_loadTimeout{30000};
    // The print from the preview under way, if any; last, so that it goes first and waits
    // for its job while everything the job uses is still there.
    std::unique_ptr<PrintProgressDialog> m_progressDialog;
};

// Hands load events to the application object, if one is listening.
void DocumentEventThunk(docmgr::DocMgrEventType kind, const docmgr::DocMgrEventData& data);

}  // namespace nvrprint
