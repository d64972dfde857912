// The command line: options, positional arguments, the override settings file and the
// forcing of the operation mode.
#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <span>
#include <string_view>
#include <vector>

#include "NvrPrintHelper/CommandLine.h"
#include "NvrPrintHelper/NvrPrintHelper.h"
#include "logging/LogMacros.h"
#include "platform/FileSystem.h"

namespace nvrprint {
namespace {

std::string ToLower(std::string_view text) {
    std::string lowered(text);
    for (char& c : lowered) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return lowered;
}

// Optional sign, then digits up to the first non-digit; 0 when no digit comes first.
// Values beyond 32 bits saturate.
int32_t ToInteger(const std::string& text, int base) {
    errno = 0;
    long long value = std::strtoll(text.c_str(), nullptr, base);
    if (value > INT32_MAX) {
        return INT32_MAX;
    }
    if (value < INT32_MIN) {
        return INT32_MIN;
    }
    return static_cast<int32_t>(value);
}

// The option's name: leading dashes gone, cut before "=", lower case.
std::string OptionName(std::string_view raw) {
    size_t start = raw.find_first_not_of('-');
    std::string_view body =
        start == std::string_view::npos ? std::string_view() : raw.substr(start);
    return ToLower(body.substr(0, body.find('=')));
}

// The box for an argument refused; reading stops there.
bool Refuse(ProgramOptions& options, std::string box, bool withUsage) {
    options.error = std::move(box);
    options.errorWithUsage = withUsage;
    return false;
}

// The checks of -tempDir and -previewApp: quotes removed, an absolute path, an existing
// directory or file respectively.
bool CheckQualifiedPath(const std::string& option, std::string* value, ProgramOptions& options,
                        const std::function<PathKind(const std::string&)>& kindOf) {
    const bool wantsDirectory = option == "tempdir";
    std::string& path = *value;
    if (path.size() >= 2 && path.front() == '"' && path.back() == '"') {
        path = path.substr(1, path.size() - 2);
    }
    if (path.empty() || path.front() != '/') {
        if (wantsDirectory) {
            NVR_LOG_ERROR("-TempDir path must be fully qualified: {}", path);
            return Refuse(
                options,
                "Error: -TempDir path must be fully qualified (e.g., /path/to/dir): " + path, true);
        }
        NVR_LOG_ERROR("-PreviewApp path must be fully qualified: {}", path);
        return Refuse(
            options,
            "Error: -PreviewApp path must be fully qualified (e.g., /path/to/app): " + path, true);
    }
    PathKind kind = kindOf(path);
    if (kind == PathKind::Missing) {
        if (wantsDirectory) {
            NVR_LOG_ERROR("-TempDir directory does not exist: {}", path);
            return Refuse(options, "Error: -TempDir directory does not exist: " + path, true);
        }
        NVR_LOG_ERROR("-PreviewApp file does not exist: {}", path);
        return Refuse(options, "Error: -PreviewApp file does not exist: " + path, true);
    }
    if (wantsDirectory && kind != PathKind::Directory) {
        NVR_LOG_ERROR("-TempDir path is not a directory: {}", path);
        return Refuse(options, "Error: -TempDir path must be a directory, not a file: " + path,
                      true);
    }
    if (!wantsDirectory && kind == PathKind::Directory) {
        NVR_LOG_ERROR("-PreviewApp path is a directory, not a file: {}", path);
        return Refuse(options, "Error: -PreviewApp path must be a file, not a directory: " + path,
                      true);
    }
    return true;
}

// One row per option, in the order they are compared: the name and its short form, what kind
// of value it takes and where the value goes, the box for a missing value and whether the
// usage follows it, the level 4 line (a "{}" stands for the value) and the spelling named
// when the value is missing.
struct CommandLineOption {
    enum class Value {
        Help,         // none; shows the usage and ends the process
        None,         // a switch: sets the flag
        Text,         // stored as typed
        Class,        // stored lower-cased
        Printer,      // stored, with a warning over an earlier name
        LogLevel,     // decimal, clamped to 0..6, applied to the logger at once
        LogFlags,     // hex or decimal, applied to the logger at once
        KeepLimit,    // decimal, at least 1
        Directory,    // a fully qualified, existing directory
        File,         // a fully qualified, existing file
        PreviewWhen,  // always, interactive or never
    };

    const char* name;
    const char* shortName;
    Value value;
    bool ProgramOptions::*flag;
    std::string ProgramOptions::*text;
    const char* missingValueError;
    bool usageWithMissingValue;
    const char* logLine;
    const char* spelling;

    bool TakesValue() const { return value != Value::Help && value != Value::None; }
};

std::span<const CommandLineOption> CommandLineOptions() {
    using V = CommandLineOption::Value;
    using P = ProgramOptions;
    static const CommandLineOption kOptions[] = {
        {"help", "?", V::Help, nullptr, nullptr, "", false, "", ""},
        {"type", "", V::Class, nullptr, &P::documentClass,
         "Error: -type option requires a document type value", true,
         "Option -type (document class): {}", "-type"},
        {"print", "", V::None, &P::forceSilent, nullptr, "", false,
         "Option -print: Force silent mode (alias for -silent)", ""},
        {"silent", "s", V::None, &P::forceSilent, nullptr, "", false,
         "Option -silent: Force silent mode", ""},
        {"interactive", "i", V::None, &P::forceInteractive, nullptr, "", false,
         "Option -interactive: Force interactive mode", ""},
        {"printer", "", V::Printer, nullptr, &P::printerName,
         "Error: -printer option requires a printer name value", true,
         "Option -printer (printer name): {}", "-printer"},
        {"settings", "", V::Text, nullptr, &P::settingsFile,
         "Error: -settings option requires a file path", true, "Option -settings: {}", "-settings"},
        // The file opens where the option stands; one that another argument names too, maybe
        // the input, waits until the input is known: it must not be the document itself.
        {"logfile", "", V::Text, nullptr, &P::logFile,
         "Error: -logFile option requires a log file path", true, "Option -logFile (log file): {}",
         "-logfile"},
        {"loglevel", "", V::LogLevel, nullptr, nullptr,
         "Error: -logLevel option requires a log level value", true,
         "Option -logLevel (log level): {}", "-loglevel"},
        {"logflags", "", V::LogFlags, nullptr, nullptr,
         "Error: -logFlags option requires a hex or decimal value", true, "", "-logflags"},
        {"imagepath", "", V::Text, nullptr, &P::imagePath,
         "Error: -imagePath option requires a TIFF output file path", true,
         "Option -imagePath (TIFF output): {}", "-imagepath"},
        {"keepimages", "", V::None, &P::keepImages, nullptr, "", false,
         "Option -keepImages: Generate TIFF image file", ""},
        {"keep", "", V::None, &P::keepTempFiles, nullptr, "", false,
         "Option -keep: Retain temporary files for debugging", ""},
        {"keeplimit", "", V::KeepLimit, nullptr, nullptr,
         "Error: -keepLimit option requires a numeric value", true, "Option -keepLimit: {}",
         "-keeplimit"},
        {"tempdir", "", V::Directory, nullptr, &P::tempDir,
         "Error: -TempDir option requires a directory path", true, "Option -TempDir: {}",
         "-tempdir"},
        {"previewapp", "", V::File, nullptr, &P::previewApp,
         "Error: -PreviewApp option requires a path to the external preview application", true,
         "Option -PreviewApp: {}", "-previewapp"},
        {"usepreviewapp", "", V::PreviewWhen, nullptr, nullptr,
         "Error: -UsePreviewApp option requires a value (Always, Interactive, or Never)", false, "",
         "-usepreviewapp"},
    };
    return kOptions;
}

// One option with its value, already known not to be empty. False when the value is refused.
bool TakeOption(const CommandLineOption& option, std::string value, ProgramOptions& options,
                const std::function<PathKind(const std::string&)>& kindOf, Logger* logger) {
    using V = CommandLineOption::Value;
    switch (option.value) {
        case V::Help:
            options.help = true;
            return true;
        case V::None:
            options.*option.flag = true;
            NVR_LOG_DEBUG("{}", option.logLine);
            return true;
        case V::Text:
            break;
        case V::Class:
            value = ToLower(value);
            break;
        case V::Printer:
            if (!options.printerName.empty()) {
                NVR_LOG_WARNING(
                    "Printer name specified both as positional argument ({}) and -printer option "
                    "({}). Using -printer option value.",
                    options.printerName, value);
            }
            break;
        case V::LogLevel:
            options.logLevel = std::clamp(ToInteger(value, 10), 0, 6);
            if (logger != nullptr) {
                logger->SetLogLevel(options.logLevel);
            }
            NVR_LOG_DEBUG("{}", fmt::format(fmt::runtime(option.logLine), options.logLevel));
            return true;
        case V::LogFlags: {
            bool hex = value.size() > 2 && (value.starts_with("0x") || value.starts_with("0X"));
            uint32_t flags = static_cast<uint32_t>(ToInteger(value, hex ? 16 : 10));
            NVR_LOG_INFO("Changing logger mode flags to 0x{:X}", flags);
            if (logger != nullptr) {
                logger->SetModeFlags(flags);
            }
            NVR_LOG_DEBUG(
                "Option -logFlags (log mode flags): 0x{} (QTF:{}, Stdout:{}, File:{}, "
                "Debugger:{}, SrcLoc:{})",
                flags, (flags & 0x01) != 0, (flags & 0x02) != 0, (flags & 0x04) != 0,
                (flags & 0x08) != 0, (flags & 0x10) != 0);
            return true;
        }
        case V::KeepLimit: {
            int32_t limit = ToInteger(value, 10);
            if (limit < 1) {
                return Refuse(options, "Error: -keepLimit value must be at least 1", true);
            }
            options.keepLimit = limit;
            NVR_LOG_DEBUG("{}", fmt::format(fmt::runtime(option.logLine), limit));
            return true;
        }
        case V::Directory:
        case V::File:
            if (!CheckQualifiedPath(option.name, &value, options, kindOf)) {
                return false;
            }
            break;
        case V::PreviewWhen: {
            const std::string word = ToLower(value);
            if (word == "always") {
                options.usePreviewApp = UsePreviewAppMode::Always;
                NVR_LOG_DEBUG("Option -UsePreviewApp=Always");
            } else if (word == "interactive") {
                options.usePreviewApp = UsePreviewAppMode::Interactive;
                NVR_LOG_DEBUG("Option -UsePreviewApp=Interactive");
            } else if (word == "never") {
                options.usePreviewApp = UsePreviewAppMode::Never;
                NVR_LOG_DEBUG("Option -UsePreviewApp=Never");
            } else {
                NVR_LOG_ERROR("Invalid -UsePreviewApp value: {}", value);
                return Refuse(options, "Error: Invalid -UsePreviewApp option value: " + value,
                              true);
            }
            return true;
        }
    }
    options.*option.text = value;
    NVR_LOG_DEBUG("{}", fmt::format(fmt::runtime(option.logLine), value));
    return true;
}

// Whether another argument than the one at index names the file at path: maybe the input,
// which the log must not overwrite.
bool NamedElsewhere(const std::string& path, std::span<const std::string> arguments, size_t index) {
    for (size_t j = 0; j < arguments.size(); ++j) {
        if (j != index && !arguments[j].starts_with("-") &&
            (arguments[j] == path || platform::IsSameFile(arguments[j], path))) {
            return true;
        }
    }
    return false;
}

}  // namespace

PathKind KindOfPath(const std::string& path) {
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) {
        return PathKind::Missing;
    }
    return S_ISDIR(info.st_mode) ? PathKind::Directory : PathKind::File;
}

ProgramOptions ParseArguments(std::span<const std::string> arguments,
                              const std::function<PathKind(const std::string&)>& kindOf,
                              Logger* logger) {
    ProgramOptions options;
    int optionCount = 0;
    int positionalCount = 0;
    for (size_t i = 0; i < arguments.size(); ++i) {
        const std::string& raw = arguments[i];
        if (raw.size() < 2 || raw.front() != '-') {
            if (positionalCount == 0) {
                options.inputFile = raw;
                NVR_LOG_DEBUG("Positional arg 0 (input file): {}", raw);
            } else if (positionalCount == 1) {
                options.printerName = raw;
                NVR_LOG_DEBUG("Positional arg 1 (printer name): {}", raw);
            } else {
                NVR_LOG_ERROR("Unexpected positional argument {}: {}", positionalCount, raw);
                Refuse(options,
                       fmt::format("Unexpected positional argument {}: {}", positionalCount, raw),
                       true);
                return options;
            }
            ++positionalCount;
            continue;
        }

        ++optionCount;
        const std::string name = OptionName(raw);
        std::span<const CommandLineOption> table = CommandLineOptions();
        auto option = std::find_if(table.begin(), table.end(), [&](const auto& o) {
            return name == o.name || name == o.shortName;
        });
        if (name.empty() || option == table.end()) {
            NVR_LOG_ERROR("Unknown option: {}", raw);
            Refuse(options, "Error: Unknown option:" + raw, true);
            return options;
        }
        // The value: behind "=", else the next argument whatever it looks like.
        std::string value;
        if (option->TakesValue()) {
            if (size_t equals = raw.find('='); equals != std::string::npos) {
                value = raw.substr(equals + 1);
            } else if (i + 1 < arguments.size()) {
                value = arguments[++i];
            } else {
                NVR_LOG_ERROR("Option {} requires a value", option->spelling);
            }
            if (value.empty()) {
                Refuse(options, option->missingValueError, option->usageWithMissingValue);
                return options;
            }
        }
        if (!TakeOption(*option, std::move(value), options, kindOf, logger) || options.help) {
            return options;
        }
        // The log goes to its file from here on, so that a refusal further right is in it; a
        // file named again among the arguments may be the input, and waits for the check.
        if (option->text == &ProgramOptions::logFile && logger != nullptr) {
            options.logFileApplied = !NamedElsewhere(options.logFile, arguments, i) &&
                                     logger->SetLogFile(options.logFile);
        }
    }
    NVR_LOG_INFO("Parsed {} option(s) and {} positional argument(s)", optionCount, positionalCount);
    return options;
}

std::string NvrPrintHelper::UsageText(const docmgr::FormatRegistry& formats) {
    return "Usage: NvrPrintHelper [options] <input_file> [<printer>]\n"
           "\n"
           "Options:\n"
           "  -help (-?)  -- Show this usage message\n"
           "  -type=<doc_type>  --  Document type (" +
           formats.UsageNames() +
           ")\n"
           "  -print  -- Print silently without UI (alias for -silent)\n"
           "  -silent (-s)  -- Run in silent mode (no UI)\n"
           "  -interactive (-i)  -- Run in interactive mode (show preview)\n"
           "  -printer=<name>  -- Target printer name (alternative to positional arg)\n"
           "  -keep  --  Retain input data temp file for triage\n"
           "  -keepLimit=<n>  --  Max timestamped temp file sets to retain (default: 10)\n"
           "  -keepImages  --  Generate TIFF image file of document pages\n"
           "  -imagePath=<outfile>  --  Specify TIFF image output file path\n"
           "  -tempDir=<path>  --  Set custom temporary directory path\n"
           "      Path must be fully qualified and directory must exist\n"
           "  -settings=<settings_file>  --  Override printer settings\n"
           "  -logFile=<log_file_path>  --  Set log file path\n"
           "  -logFlags=<log_flags>  --  Log mode bit flags (logical OR)\n"
           "      0x01  -  Output to QTF/WPP\n"
           "      0x02  -  Output to stdout\n"
           "      0x04  -  Output to file\n"
           "      0x08  -  Output to debugger\n"
           "      0x10  -  Include source location\n"
           "      Default: 0x13 (QTF + Stdout + SourceLocation)\n"
           "  -logLevel=<0-6>  --  Set logging detail level\n"
           "      0  -  Critical errors only\n"
           "      1  -  Errors\n"
           "      2  -  Warnings\n"
           "      3  -  Informational messages\n"
           "      4  -  Debug messages\n"
           "      5  -  Function entry/exit logging\n"
           "      6  -  Verbose debug messages\n"
           "  -previewApp=<path>  --  Explicit path to external preview app\n"
           "      Path must be fully qualified and file must exist\n"
           "  -usePreviewApp=<when>  --  When to launch external handler\n"
           "      always  -- Always use external handler\n"
           "      interactive  --  Only in interactive mode\n"
           "      never  --  Never use external handler\n"
           "\n"
           "Examples:\n"
           "  Print to default printer silently:\n"
           "    NvrPrintHelper --print document.pdf\n"
           "\n"
           "  Print to specific printer silently:\n"
           "    NvrPrintHelper --print --printer=\"HP LaserJet\" document.pdf\n"
           "    or\n"
           "    NvrPrintHelper --print document.pdf \"HP LaserJet\"\n"
           "\n"
           "  Open in preview mode:\n"
           "    NvrPrintHelper --interactive document.pdf\n";
}

bool NvrPrintHelper::ParseCommandLine(int argc, const char* const* argv) {
    NVR_LOG_ENTRY("Entered with {} argument(s)", argc - 1);
    NVR_LOG_INFO("Parsing {} argument(s)", argc - 1);
    const bool parsed = ReadArguments(argc, argv) && KeepOutputsOffTheInput() &&
                        PrepareTempDirectory() && RequireInputFile() && LoadOverrideSettings() &&
                        ApplyModeFlags();
    if (!parsed) {
        NVR_LOG_ENTRY("Returning false");
        return false;
    }
    NVR_LOG_INFO("Command line parsing successful");
    NVR_LOG_ENTRY("Returning true");
    return true;
}

bool NvrPrintHelper::ReadArguments(int argc, const char* const* argv) {
    const std::vector<std::string> arguments(argv + std::min(argc, 1), argv + argc);
    ProgramOptions options = ParseArguments(arguments, KindOfPath, &Logger::Instance());
    if (options.help) {
        ShowHelp();
        // The run ends here, before any destructor: the base it reserved goes first.
        m_tempFileManager.CleanupTempDirectory();
        std::exit(0);
    }
    if (!options.error.empty()) {
        ShowError(options.error, options.errorWithUsage);
        return false;
    }
    m_inputFile = std::move(options.inputFile);
    m_printerName = std::move(options.printerName);
    m_documentClass = std::move(options.documentClass);
    m_settingsFile = std::move(options.settingsFile);
    m_logFile = std::move(options.logFile);
    m_logFileApplied = options.logFileApplied;
    m_imagePath = std::move(options.imagePath);
    m_tempDir = std::move(options.tempDir);
    m_previewApp = std::move(options.previewApp);
    m_logLevel = options.logLevel;
    m_forceSilent = options.forceSilent;
    m_forceInteractive = options.forceInteractive;
    m_keepTempFiles = options.keepTempFiles;
    m_keepImages = options.keepImages;
    m_keepLimit = options.keepLimit;
    m_usePreviewApp = options.usePreviewApp;
    return true;
}

// Output over the document would destroy it before it is read. The log goes to its file
// from here on.
bool NvrPrintHelper::KeepOutputsOffTheInput() {
    const bool namedInput = !m_inputFile.empty() && m_inputFile != "-";
    if (namedInput && !m_logFile.empty() && platform::IsSameFile(m_logFile, m_inputFile)) {
        NVR_LOG_ERROR("The log file is the input document: {}", m_logFile);
        ShowError("Error: The log file is the input document: " + m_logFile, false);
        return false;
    }
    if (namedInput && !m_imagePath.empty() && platform::IsSameFile(m_imagePath, m_inputFile)) {
        NVR_LOG_ERROR("The TIFF output file is the input document: {}", m_imagePath);
        ShowError("Error: The TIFF output file is the input document: " + m_imagePath, false);
        return false;
    }
    if (!m_logFile.empty() && !m_logFileApplied) {
        Logger::Instance().SetLogFile(m_logFile);
    }
    return true;
}

bool NvrPrintHelper::PrepareTempDirectory() {
    if (!m_tempDir.empty() && !m_tempFileManager.SetTempDirectory(m_tempDir)) {
        NVR_LOG_ERROR("Failed to set custom temp directory: {}", m_tempDir);
        ShowError("Error: Could not set temporary directory: " + m_tempDir, false);
        return false;
    }
    if (!m_tempFileManager.EnsureTempDirectoryExists()) {
        NVR_LOG_ERROR("Failed to ensure temp directory exists");
        ShowError("Error: Could not create or access temporary directory: " +
                      m_tempFileManager.GetTempDirectory() +
                      "\nUse -tempDir to choose a directory of your own.",
                  false);
        return false;
    }
    NVR_LOG_INFO("Using temp directory: {}", m_tempFileManager.GetTempDirectory());
    // The job's base name belongs to the directory its files go to.
    m_uniqueBaseName = m_tempFileManager.GenerateUniqueTimestampedBase();
    NVR_LOG_DEBUG("Unique timestamped base name: {}", m_uniqueBaseName);
    return true;
}

bool NvrPrintHelper::RequireInputFile() {
    if (m_inputFile.empty()) {
        NVR_LOG_ERROR("No input file specified");
        ShowError("Error: No input file specified", true);
        return false;
    }
    return true;
}

bool NvrPrintHelper::LoadOverrideSettings() {
    if (m_settingsFile.empty()) {
        return true;
    }
    NVR_LOG_DEBUG("Loading override settings from: {}", m_settingsFile);
    if (!m_overrideSettings.LoadFromFile(m_settingsFile)) {
        NVR_LOG_ERROR("Failed to load override settings (continuing with defaults)");
        ShowError("Error: Could not load override settings from file " + m_settingsFile, false);
        return false;
    }
    NVR_LOG_INFO("Successfully loaded override settings");
    m_finalSettings = m_overrideSettings;
    return true;
}

// -silent and -interactive, or a settings file asking for the preview, decide the mode
// before the document has a say.
bool NvrPrintHelper::ApplyModeFlags() {
    if (m_forceSilent && m_forceInteractive) {
        NVR_LOG_ERROR("Conflicting flags: both -silent/-print and -interactive specified");
        ShowError("Error: Conflicting command line options (-silent/-print and -interactive)",
                  false);
        return false;
    }
    const ModeInputs in = CurrentModeInputs();
    if (!IsForcedMode(in)) {
        return true;
    }
    m_interactiveMode = DecideOperationMode(in).value_or(false);
    m_modeForced = m_modeDetermined = true;
    if (m_forceSilent) {
        NVR_LOG_INFO("Forced silent mode by command line flag");
    } else if (m_forceInteractive) {
        NVR_LOG_INFO("Forced interactive mode by command line flag");
    } else {
        NVR_LOG_INFO("Forced interactive mode by override settings (bShowPreview=true)");
    }
    return true;
}

}  // namespace nvrprint
