#pragma once

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

namespace nvrprint {

// Detail levels. A message is shown when the current level is >= its level.
enum LogLevel : int32_t {
    Critical = 0,
    Error = 1,
    Warning = 2,
    Info = 3,
    Debug = 4,
    EntryExit = 5,
    Verbose = 6,
};

// Sink selection bits, set as one number with SetModeFlags.
enum LogModeFlags : uint32_t {
    LogToTrace = 0x01,  // no trace facility here: accepted, and nothing more
    LogToStdout = 0x02,
    LogToFile = 0x04,
    LogToDebugger = 0x08,
    LogSourceLocation = 0x10,
};

// Name of a level as it appears inside a log line.
const char* LogLevelName(int32_t level);

// The process-wide diagnostic channel. One call writes one line, fanned out to stdout, a log
// file and the debugger (standard error), as the mode flags choose. Every
// line is also kept in a fixed ring that is replayed when the file opens and when
// console output is released, so nothing said before the options are known is lost.
class Logger {
public:
    // The ring's bytes of UTF-8: at least 16384 characters of any script.
    static constexpr size_t kRingBytes = 4 * 16384;

    static Logger& Instance();

    Logger();
    ~Logger();
    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;

    void Initialize(const std::string& path);
    void Log(int32_t level, std::string_view message, const char* function, const char* file,
             int line);
    // createNew: the file must not exist yet; it is made readable by this user alone and a
    // link planted at path is never followed. For files in a directory others may write.
    bool SetLogFile(const std::string& path, bool createNew = false);
    void SetLogLevel(int32_t level);
    void SetModeFlags(uint32_t flags);
    void ReleaseConsoleOutput();
    void Shutdown();

    // Bridge for printf-style callers; logs at Debug behind the usual level test.
    void LogPrintf(const char* function, const char* file, int line, const char* format, ...)
        __attribute__((format(printf, 5, 6)));

    int32_t GetLogLevel() const { return m_level; }

private:
    struct LogRing {
        std::unique_ptr<char[]> buffer;
        size_t capacity = 0;
        size_t writeIndex = 0;
        bool wrapped = false;
    };

    std::string BuildLine(int32_t level, std::string_view message, const char* function,
                          const char* file, int line) const;
    void AppendToRing(std::string_view line);
    template <typename Emit>
    void ReplayRing(Emit&& emit) const;
    bool OpenFileLocked();
    void WriteFileHeaderLocked();
    void WriteConsoleLocked(std::string_view text);

    // Read by every caller without the lock.
    std::atomic<int32_t> m_level{Info};
    std::ofstream m_file;
    std::string m_logFilePath;
    bool m_createNewFile = false;
    std::atomic<bool> m_initialized{false};
    std::mutex m_lock;
    bool m_stdoutOutput = true;
    bool m_fileOutput = false;
    bool m_debuggerOutput = false;
    bool m_sourceLocation = false;
    bool m_stdoutIsNarrow = true;
    bool m_consoleHeldBack = false;
    LogRing m_ring;
    FILE* m_console = stdout;
};

}  // namespace nvrprint
