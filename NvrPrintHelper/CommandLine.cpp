// The command line: options, positional arguments, the override settings file and the
// forcing of the operation mode.
#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <string_view>

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

enum class PathKind { Missing, Directory, File };

PathKind KindOf(const std::string& path) {
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) {
        return PathKind::Missing;
    }
    return S_ISDIR(info.st_mode) ? PathKind::Directory : PathKind::File;
}

}  // namespace

const std::string& NvrPrintHelper::UsageText() {
    static const std::string text =
        "Usage: NvrPrintHelper [options] <input_file> [<printer>]\n"
        "\n"
        "Options:\n"
        "  -help (-?)  -- Show this usage message\n"
        "  -type=<doc_type>  --  Document type (Pdfium, WinDataPdf, Xps)\n"
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
    return text;
}

// The checks of -tempDir and -previewApp: quotes removed, an absolute path, an existing
// directory or file respectively. Shows the box and returns false on the first failure.
bool NvrPrintHelper::CheckQualifiedPath(const std::string& option, std::string* value) {
    const bool wantsDirectory = option == "tempdir";
    std::string& path = *value;
    if (path.size() >= 2 && path.front() == '"' && path.back() == '"') {
        path = path.substr(1, path.size() - 2);
    }
    if (path.empty() || path.front() != '/') {
        if (wantsDirectory) {
            NVR_LOG_ERROR("-TempDir path must be fully qualified: {}", path);
            ShowError("Error: -TempDir path must be fully qualified (e.g., /path/to/dir): " + path,
                      true);
        } else {
            NVR_LOG_ERROR("-PreviewApp path must be fully qualified: {}", path);
            ShowError(
                "Error: -PreviewApp path must be fully qualified (e.g., /path/to/app): " + path,
                true);
        }
        return false;
    }
    PathKind kind = KindOf(path);
    if (kind == PathKind::Missing) {
        if (wantsDirectory) {
            NVR_LOG_ERROR("-TempDir directory does not exist: {}", path);
            ShowError("Error: -TempDir directory does not exist: " + path, true);
        } else {
            NVR_LOG_ERROR("-PreviewApp file does not exist: {}", path);
            ShowError("Error: -PreviewApp file does not exist: " + path, true);
        }
        return false;
    }
    if (wantsDirectory && kind != PathKind::Directory) {
        NVR_LOG_ERROR("-TempDir path is not a directory: {}", path);
        ShowError("Error: -TempDir path must be a directory, not a file: " + path, true);
        return false;
    }
    if (!wantsDirectory && kind == PathKind::Directory) {
        NVR_LOG_ERROR("-PreviewApp path is a directory, not a file: {}", path);
        ShowError("Error: -PreviewApp path must be a file, not a directory: " + path, true);
        return false;
    }
    return true;
}

bool NvrPrintHelper::ParseCommandLine(int argc, const char* const* argv) {
    NVR_LOG_ENTRY("Entered with {} argument(s)", argc - 1);
    NVR_LOG_INFO("Parsing {} argument(s)", argc - 1);
    Logger& logger = Logger::Instance();
    int optionCount = 0;
    int positionalCount = 0;

    auto fail = [&](const std::string& message, bool showUsage) {
        ShowError(message, showUsage);
        NVR_LOG_ENTRY("Returning false");
        return false;
    };

    for (int i = 1; i < argc; ++i) {
        const std::string raw = argv[i];
        if (raw.size() < 2 || raw.front() != '-') {
            if (positionalCount == 0) {
                m_inputFile = raw;
                NVR_LOG_DEBUG("Positional arg 0 (input file): {}", raw);
            } else if (positionalCount == 1) {
                m_printerName = raw;
                NVR_LOG_DEBUG("Positional arg 1 (printer name): {}", raw);
            } else {
                NVR_LOG_ERROR("Unexpected positional argument {}: {}", positionalCount, raw);
                return fail(
                    fmt::format("Unexpected positional argument {}: {}", positionalCount, raw),
                    true);
            }
            ++positionalCount;
            continue;
        }

        ++optionCount;
        std::string_view body(raw);
        body.remove_prefix(body.find_first_not_of('-') == std::string_view::npos
                               ? body.size()
                               : body.find_first_not_of('-'));
        const size_t equals = body.find('=');
        const std::string name = ToLower(body.substr(0, equals));

        // The value of an option that takes one: behind "=", else the next argument.
        auto readValue = [&](const char* spelling) {
            size_t rawEquals = raw.find('=');
            if (rawEquals != std::string::npos) {
                return raw.substr(rawEquals + 1);
            }
            if (i + 1 < argc) {
                return std::string(argv[++i]);
            }
            NVR_LOG_ERROR("Option {} requires a value", spelling);
            return std::string();
        };

        if (name == "help" || name == "?") {
            ShowHelp();
            std::exit(0);
        } else if (name == "type") {
            std::string value = readValue("-type");
            if (value.empty()) {
                return fail("Error: -type option requires a document type value", true);
            }
            m_documentClass = ToLower(value);
            NVR_LOG_DEBUG("Option -type (document class): {}", m_documentClass);
        } else if (name == "print") {
            m_forceSilent = true;
            NVR_LOG_DEBUG("Option -print: Force silent mode (alias for -silent)");
        } else if (name == "silent" || name == "s") {
            m_forceSilent = true;
            NVR_LOG_DEBUG("Option -silent: Force silent mode");
        } else if (name == "interactive" || name == "i") {
            m_forceInteractive = true;
            NVR_LOG_DEBUG("Option -interactive: Force interactive mode");
        } else if (name == "printer") {
            std::string value = readValue("-printer");
            if (value.empty()) {
                return fail("Error: -printer option requires a printer name value", true);
            }
            if (!m_printerName.empty()) {
                NVR_LOG_WARNING(
                    "Printer name specified both as positional argument ({}) and -printer option "
                    "({}). Using -printer option value.",
                    m_printerName, value);
            }
            m_printerName = value;
            NVR_LOG_DEBUG("Option -printer (printer name): {}", value);
        } else if (name == "settings") {
            std::string value = readValue("-settings");
            if (value.empty()) {
                return fail("Error: -settings option requires a file path", true);
            }
            m_settingsFile = value;
            NVR_LOG_DEBUG("Option -settings: {}", value);
        } else if (name == "logfile") {
            std::string value = readValue("-logfile");
            if (value.empty()) {
                return fail("Error: -logFile option requires a log file path", true);
            }
            // The file opens once the input is known: it must not be the document itself.
            m_logFile = value;
            NVR_LOG_DEBUG("Option -logFile (log file): {}", value);
        } else if (name == "loglevel") {
            std::string value = readValue("-loglevel");
            if (value.empty()) {
                return fail("Error: -logLevel option requires a log level value", true);
            }
            m_logLevel = std::clamp(ToInteger(value, 10), 0, 6);
            logger.SetLogLevel(m_logLevel);
            NVR_LOG_DEBUG("Option -logLevel (log level): {}", m_logLevel);
        } else if (name == "logflags") {
            std::string value = readValue("-logflags");
            if (value.empty()) {
                return fail("Error: -logFlags option requires a hex or decimal value", true);
            }
            bool hex = value.size() > 2 && (value.starts_with("0x") || value.starts_with("0X"));
            uint32_t flags = static_cast<uint32_t>(ToInteger(value, hex ? 16 : 10));
            NVR_LOG_INFO("Changing logger mode flags to 0x{:X}", flags);
            logger.SetModeFlags(flags);
            NVR_LOG_DEBUG(
                "Option -logFlags (log mode flags): 0x{} (QTF:{}, Stdout:{}, File:{}, "
                "Debugger:{}, SrcLoc:{})",
                flags, (flags & 0x01) != 0, (flags & 0x02) != 0, (flags & 0x04) != 0,
                (flags & 0x08) != 0, (flags & 0x10) != 0);
        } else if (name == "imagepath") {
            std::string value = readValue("-imagepath");
            if (value.empty()) {
                return fail("Error: -imagePath option requires a TIFF output file path", true);
            }
            m_imagePath = value;
            NVR_LOG_DEBUG("Option -imagePath (TIFF output): {}", value);
        } else if (name == "keepimages") {
            m_keepImages = true;
            NVR_LOG_DEBUG("Option -keepImages: Generate TIFF image file");
        } else if (name == "keep") {
            m_keepTempFiles = true;
            NVR_LOG_DEBUG("Option -keep: Retain temporary files for debugging");
        } else if (name == "keeplimit") {
            std::string value = readValue("-keeplimit");
            if (value.empty()) {
                return fail("Error: -keepLimit option requires a numeric value", true);
            }
            int32_t limit = ToInteger(value, 10);
            if (limit < 1) {
                return fail("Error: -keepLimit value must be at least 1", true);
            }
            m_keepLimit = limit;
            NVR_LOG_DEBUG("Option -keepLimit: {}", limit);
        } else if (name == "tempdir") {
            std::string value = readValue("-tempdir");
            if (value.empty()) {
                return fail("Error: -TempDir option requires a directory path", true);
            }
            if (!CheckQualifiedPath(name, &value)) {
                NVR_LOG_ENTRY("Returning false");
                return false;
            }
            m_tempDir = value;
            NVR_LOG_DEBUG("Option -TempDir: {}", value);
        } else if (name == "previewapp") {
            std::string value = readValue("-previewapp");
            if (value.empty()) {
                return fail(
                    "Error: -PreviewApp option requires a path to the external preview "
                    "application",
                    true);
            }
            if (!CheckQualifiedPath(name, &value)) {
                NVR_LOG_ENTRY("Returning false");
                return false;
            }
            m_previewApp = value;
            NVR_LOG_DEBUG("Option -PreviewApp: {}", value);
        } else if (name == "usepreviewapp") {
            std::string value = readValue("-usepreviewapp");
            if (value.empty()) {
                return fail(
                    "Error: -UsePreviewApp option requires a value (Always, Interactive, or "
                    "Never)",
                    false);
            }
            std::string word = ToLower(value);
            if (word == "always") {
                m_usePreviewApp = UsePreviewAppMode::Always;
                NVR_LOG_DEBUG("Option -UsePreviewApp=Always");
            } else if (word == "interactive") {
                m_usePreviewApp = UsePreviewAppMode::Interactive;
                NVR_LOG_DEBUG("Option -UsePreviewApp=Interactive");
            } else if (word == "never") {
                m_usePreviewApp = UsePreviewAppMode::Never;
                NVR_LOG_DEBUG("Option -UsePreviewApp=Never");
            } else {
                NVR_LOG_ERROR("Invalid -UsePreviewApp value: {}", value);
                return fail("Error: Invalid -UsePreviewApp option value: " + value, true);
            }
        } else {
            NVR_LOG_ERROR("Unknown option: {}", raw);
            return fail("Error: Unknown option:" + raw, true);
        }
    }
    NVR_LOG_INFO("Parsed {} option(s) and {} positional argument(s)", optionCount, positionalCount);

    // Output over the document would destroy it before it is read.
    const bool namedInput = !m_inputFile.empty() && m_inputFile != "-";
    if (namedInput && !m_logFile.empty() && platform::IsSameFile(m_logFile, m_inputFile)) {
        NVR_LOG_ERROR("The log file is the input document: {}", m_logFile);
        return fail("Error: The log file is the input document: " + m_logFile, false);
    }
    if (namedInput && !m_imagePath.empty() && platform::IsSameFile(m_imagePath, m_inputFile)) {
        NVR_LOG_ERROR("The TIFF output file is the input document: {}", m_imagePath);
        return fail("Error: The TIFF output file is the input document: " + m_imagePath, false);
    }
    if (!m_logFile.empty()) {
        logger.SetLogFile(m_logFile);
    }

    if (!m_tempDir.empty() && !m_tempFileManager.SetTempDirectory(m_tempDir)) {
        NVR_LOG_ERROR("Failed to set custom temp directory: {}", m_tempDir);
        return fail("Error: Could not set temporary directory: " + m_tempDir, false);
    }
    if (!m_tempFileManager.EnsureTempDirectoryExists()) {
        NVR_LOG_ERROR("Failed to ensure temp directory exists");
        return fail("Error: Could not create or access temporary directory: " +
                        m_tempFileManager.GetTempDirectory() +
                        "\nUse -tempDir to choose a directory of your own.",
                    false);
    }
    NVR_LOG_INFO("Using temp directory: {}", m_tempFileManager.GetTempDirectory());
    // The job's base name belongs to the directory its files go to.
    m_uniqueBaseName = m_tempFileManager.GenerateUniqueTimestampedBase();
    NVR_LOG_DEBUG("Unique timestamped base name: {}", m_uniqueBaseName);

    if (m_inputFile.empty()) {
        NVR_LOG_ERROR("No input file specified");
        return fail("Error: No input file specified", true);
    }

    if (!m_settingsFile.empty()) {
        NVR_LOG_DEBUG("Loading override settings from: {}", m_settingsFile);
        if (!m_overrideSettings.LoadFromFile(m_settingsFile)) {
            NVR_LOG_ERROR("Failed to load override settings (continuing with defaults)");
            return fail("Error: Could not load override settings from file " + m_settingsFile,
                        false);
        }
        NVR_LOG_INFO("Successfully loaded override settings");
        m_finalSettings = m_overrideSettings;
    }

    if (m_forceSilent && m_forceInteractive) {
        NVR_LOG_ERROR("Conflicting flags: both -silent/-print and -interactive specified");
        return fail("Error: Conflicting command line options (-silent/-print and -interactive)",
                    false);
    }
    if (m_forceSilent) {
        m_interactiveMode = false;
        m_modeForced = m_modeDetermined = true;
        NVR_LOG_INFO("Forced silent mode by command line flag");
    } else if (m_forceInteractive) {
        m_interactiveMode = m_modeForced = m_modeDetermined = true;
        NVR_LOG_INFO("Forced interactive mode by command line flag");
    } else if (!m_settingsFile.empty() && m_overrideSettings.bShowPreview) {
        m_interactiveMode = m_modeForced = m_modeDetermined = true;
        NVR_LOG_INFO("Forced interactive mode by override settings (bShowPreview=true)");
    }

    NVR_LOG_INFO("Command line parsing successful");
    NVR_LOG_ENTRY("Returning true");
    return true;
}

}  // namespace nvrprint
