#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>

namespace nvrprint {

class Logger;

enum class UsePreviewAppMode : int32_t { Never = 0, Interactive = 1, Always = 2 };

enum class PathKind { Missing, Directory, File };

// What a command line asks for. error is the box for the first argument refused (empty when
// all were taken) and errorWithUsage whether the usage follows it; help stops the reading.
struct ProgramOptions {
    std::string inputFile;
    std::string printerName;
    std::string documentClass;
    std::string settingsFile;
    std::string logFile;
    std::string imagePath;
    std::string tempDir;
    std::string previewApp;
    int32_t logLevel = 3;  // informational
    bool forceSilent = false;
    bool forceInteractive = false;
    bool keepTempFiles = false;
    bool keepImages = false;
    int32_t keepLimit = 10;
    UsePreviewAppMode usePreviewApp = UsePreviewAppMode::Interactive;
    bool help = false;
    // -logFile was handed to the logger where it stood.
    bool logFileApplied = false;
    std::string error;
    bool errorWithUsage = false;
};

// What lies at a path, asked of the file system.
PathKind KindOfPath(const std::string& path);

// The arguments after the program's name. -tempDir and -previewApp are checked through kindOf;
// -logLevel, -logFlags and -logFile are applied to logger at once, where one is given (a log
// file that another argument names too waits for the check against the input).
ProgramOptions ParseArguments(std::span<const std::string> arguments,
                              const std::function<PathKind(const std::string&)>& kindOf,
                              Logger* logger = nullptr);

}  // namespace nvrprint
