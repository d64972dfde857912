#include "logging/Logger.h"

#include <fcntl.h>

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <unistd.h>

#include <chrono>
#include <cstdarg>
#include <ctime>
#include <vector>

#include "logging/TextCodec.h"

namespace nvrprint {
namespace {

std::string Timestamp() {
    auto now = std::chrono::system_clock::now();
    auto sinceEpoch = now.time_since_epoch();
    auto seconds = std::chrono::duration_cast<std::chrono::seconds>(sinceEpoch);
    auto millis = std::chrono::duration_cast<std::chrono::milliseconds>(sinceEpoch - seconds);
    std::time_t whole = static_cast<std::time_t>(seconds.count());
    std::tm local{};
    localtime_r(&whole, &local);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
    return fmt::format("{}.{:03}", text, millis.count());
}

}  // namespace

const char* LogLevelName(int32_t level) {
    switch (level) {
        case Critical:
            return "CRITICAL";
        case Error:
            return "ERROR";
        case Warning:
            return "WARNING";
        case Info:
            return "INFO";
        case Debug:
            return "DEBUG";
        case EntryExit:
            return "ENTRY/EXIT";
        case Verbose:
            return "VERBOSE";
        default:
            return "UNKNOWN";
    }
}

Logger& Logger::Instance() {
    static Logger instance;
    return instance;
}

Logger::Logger() = default;

Logger::~Logger() {
    Shutdown();
}

void Logger::Initialize(const std::string& path) {
    bool opened = false;
    {
        std::lock_guard lock(m_lock);
        m_level = Info;
        m_consoleHeldBack = true;
        m_stdoutOutput = false;
        // There is no console to attach to: a valid stdout descriptor receives UTF-8 bytes.
        if (m_console != nullptr && fileno(m_console) >= 0) {
            m_stdoutIsNarrow = true;
        }
        m_ring.buffer = std::make_unique<char[]>(kRingBytes);
        m_ring.capacity = kRingBytes;
        m_ring.writeIndex = 0;
        m_ring.wrapped = false;
        if (!path.empty()) {
            m_logFilePath = path;
            m_file.open(path);
            opened = m_file.is_open();
        }
        m_initialized = true;
    }
    if (opened && m_level >= EntryExit) {
        Log(EntryExit, "Logger initialized with file: " + path, "nvrprint::Logger::Initialize",
            __FILE__, __LINE__);
    }
}

std::string Logger::BuildLine(int32_t level, std::string_view message, const char* function,
                              const char* file, int line) const {
    std::string text = Timestamp();
    text += " [";
    text += LogLevelName(level);
    text += "] ";
    if (function != nullptr) {
        text += function;
        if (m_sourceLocation && file != nullptr && line > 0) {
            fmt::format_to(std::back_inserter(text), "({}:{})", text::LastPathComponent(file),
                           line);
        }
        text += ": ";
    }
    text += message;
    text += '\n';
    return text;
}

void Logger::AppendToRing(std::string_view line) {
    if (!m_ring.buffer) {
        return;
    }
    for (char byte : line) {
        m_ring.buffer[m_ring.writeIndex++] = byte;
        if (m_ring.writeIndex == m_ring.capacity) {
            m_ring.writeIndex = 0;
            m_ring.wrapped = true;
        }
    }
}

template <typename Emit>
void Logger::ReplayRing(Emit&& emit) const {
    if (!m_ring.buffer || m_ring.capacity == 0) {
        return;
    }
    // Oldest first. A ring that went round has overwritten the start of its oldest line; that
    // remnant is left out, so that every line replayed is whole.
    const std::string_view newer(m_ring.buffer.get(), m_ring.writeIndex);
    std::string_view older;
    if (m_ring.wrapped) {
        older = std::string_view(m_ring.buffer.get() + m_ring.writeIndex,
                                 m_ring.capacity - m_ring.writeIndex);
    }
    std::string pending;
    bool skipping = m_ring.wrapped;
    for (std::string_view part : {older, newer}) {
        while (!part.empty()) {
            const size_t end = part.find('\n');
            const std::string_view piece = part.substr(0, end == part.npos ? part.size() : end + 1);
            part.remove_prefix(piece.size());
            if (skipping) {
                skipping = piece.back() != '\n';
                continue;
            }
            pending += piece;
            if (pending.back() == '\n') {
                emit(pending);
                pending.clear();
            }
        }
    }
    if (!pending.empty()) {
        pending += '\n';
        emit(pending);
    }
}

void Logger::WriteConsoleLocked(std::string_view text) {
    if (m_console == nullptr) {
        return;
    }
    std::fwrite(text.data(), 1, text.size(), m_console);
    std::fflush(m_console);
}

void Logger::Log(int32_t level, std::string_view message, const char* function, const char* file,
                 int line) {
    if (!m_initialized) {
        return;
    }
    std::lock_guard lock(m_lock);
    std::string text = BuildLine(level, message, function, file, line);
    AppendToRing(text);
    if (m_stdoutOutput && !m_consoleHeldBack) {
        WriteConsoleLocked(text);
    }
    if (m_fileOutput && m_file.is_open()) {
        m_file << text;
        m_file.flush();
    }
    if (m_debuggerOutput) {
        std::fwrite(text.data(), 1, text.size(), stderr);
    }
}

bool Logger::OpenFileLocked() {
    if (m_file.is_open()) {
        m_file.close();
    }
    m_file.clear();
    if (m_createNewFile) {
        int fd = ::open(m_logFilePath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                        0600);
        if (fd < 0) {
            return false;
        }
        ::close(fd);
        m_createNewFile = false;
    }
    m_file.open(m_logFilePath);
    return m_file.is_open();
}

void Logger::WriteFileHeaderLocked() {
    m_file << "===== Log file initialized: " << Timestamp() << " =====\n";
    if (m_ring.buffer) {
        m_file << "===== Flushing in-memory buffer (startup messages) =====\n";
        ReplayRing([this](const std::string& line) { m_file << line; });
        m_file << "===== End of in-memory buffer =====\n";
    }
    m_file.flush();
}

void Logger::SetModeFlags(uint32_t flags) {
    std::lock_guard lock(m_lock);
    bool fileTurnedOn = !m_fileOutput && (flags & LogToFile) != 0;
    m_stdoutOutput = (flags & LogToStdout) != 0;
    m_fileOutput = (flags & LogToFile) != 0;
    m_debuggerOutput = (flags & LogToDebugger) != 0;
    m_sourceLocation = (flags & LogSourceLocation) != 0;
    if (fileTurnedOn && !m_logFilePath.empty() && !m_file.is_open()) {
        if (OpenFileLocked()) {
            WriteFileHeaderLocked();
        }
    }
}

bool Logger::SetLogFile(const std::string& path, bool createNew) {
    std::lock_guard lock(m_lock);
    if (path.empty()) {
        return false;
    }
    m_logFilePath = path;
    m_createNewFile = createNew;
    if (!m_fileOutput) {
        return true;
    }
    if (!OpenFileLocked()) {
        return false;
    }
    WriteFileHeaderLocked();
    return true;
}

void Logger::SetLogLevel(int32_t level) {
    std::lock_guard lock(m_lock);
    int32_t old = m_level;
    m_level = level;
    if (level < Info || level == old) {
        return;
    }
    std::string line = fmt::format("{} [INFO] Log level changed from {} to {}\n", Timestamp(),
                                   LogLevelName(old), LogLevelName(level));
    AppendToRing(line);
    if (m_file.is_open()) {
        m_file << line;
        m_file.flush();
    }
    if (m_stdoutOutput && !m_consoleHeldBack) {
        WriteConsoleLocked(line);
    }
}

void Logger::ReleaseConsoleOutput() {
    std::lock_guard lock(m_lock);
    m_consoleHeldBack = false;
    if (m_stdoutOutput && m_ring.buffer && m_ring.capacity != 0 && m_console != nullptr) {
        ReplayRing([this](const std::string& line) {
            std::fwrite(line.data(), 1, line.size(), m_console);
        });
        std::fflush(m_console);
    }
}

void Logger::LogPrintf(const char* function, const char* file, int line, const char* format, ...) {
    va_list args;
    va_start(args, format);
    va_list counting;
    va_copy(counting, args);
    int needed = std::vsnprintf(nullptr, 0, format, counting);
    va_end(counting);
    std::string message;
    if (needed > 0) {
        std::vector<char> buffer(static_cast<size_t>(needed) + 1);
        std::vsnprintf(buffer.data(), buffer.size(), format, args);
        message.assign(buffer.data(), static_cast<size_t>(needed));
    }
    va_end(args);
    if (m_level >= Debug) {
        Log(Debug, message, function, file, line);
    }
}

void Logger::Shutdown() {
    try {
        if (m_initialized && m_level >= EntryExit) {
            Log(EntryExit, "Logger shutting down", "nvrprint::Logger::Shutdown", __FILE__,
                __LINE__);
        }
        std::lock_guard lock(m_lock);
        if (m_file.is_open()) {
            m_file.close();
        }
        m_ring.buffer.reset();
        m_ring.capacity = 0;
        m_ring.writeIndex = 0;
        m_ring.wrapped = false;
        m_initialized = false;
    } catch (...) {
        // Shutdown runs at process exit; nothing may escape it.
    }
}

}  // namespace nvrprint
