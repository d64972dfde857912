#include "tests/fuzz/FuzzSupport.h"

#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "logging/Logger.h"

namespace fuzzsupport {

void PrepareProcess() {
    static const bool prepared = [] {
        nvrprint::Logger& logger = nvrprint::Logger::Instance();
        logger.Initialize("");
        logger.SetModeFlags(0);
        logger.SetLogLevel(0);
        std::string pattern = (std::filesystem::temp_directory_path() / "nvrfuzz.XXXXXX").string();
        if (::mkdtemp(pattern.data()) != nullptr) {
            ::setenv("TMPDIR", pattern.c_str(), 1);
        }
        // No print system is reached from any target.
        ::setenv("CUPS_SERVER", "127.0.0.1:9", 1);
        return true;
    }();
    (void)prepared;
}

InputFile::InputFile(const uint8_t* data, size_t size) : m_fd(::memfd_create("fuzz", MFD_CLOEXEC)) {
    size_t written = 0;
    while (m_fd >= 0 && written < size) {
        ssize_t n = ::write(m_fd, data + written, size - written);
        if (n <= 0) {
            break;
        }
        written += static_cast<size_t>(n);
    }
    m_path = "/proc/self/fd/" + std::to_string(m_fd);
}

InputFile::~InputFile() {
    if (m_fd >= 0) {
        ::close(m_fd);
    }
}

}  // namespace fuzzsupport
