#include "tests/support/TestSupport.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "logging/Logger.h"

namespace testsupport {

ScratchDir::ScratchDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "scratch.XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("mkdtemp failed");
    }
    m_path = pattern;
}

ScratchDir::~ScratchDir() {
    std::error_code ec;
    std::filesystem::remove_all(m_path, ec);
}

InputBytes::InputBytes(const std::string& bytes) : m_fd(::memfd_create("input", MFD_CLOEXEC)) {
    if (m_fd < 0 ||
        ::write(m_fd, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()) ||
        ::lseek(m_fd, 0, SEEK_SET) != 0) {
        throw std::runtime_error("memfd failed");
    }
}

InputBytes::~InputBytes() {
    ::close(m_fd);
}

EndlessInput::EndlessInput() {
    if (::pipe2(m_fds, O_CLOEXEC) != 0) {
        throw std::runtime_error("pipe failed");
    }
}

EndlessInput::~EndlessInput() {
    ::close(m_fds[0]);
    ::close(m_fds[1]);
}

void EndlessInput::Write(const std::string& bytes) {
    if (::write(m_fds[1], bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) {
        throw std::runtime_error("pipe write failed");
    }
}

std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

void WriteFile(const std::string& path, const std::string& content) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << content;
}

LogCapture::LogCapture(int level) : m_path(m_dir.File("capture.log")) {
    nvrprint::Logger& logger = nvrprint::Logger::Instance();
    logger.Shutdown();
    logger.Initialize(m_path);
    logger.SetModeFlags(nvrprint::LogToFile);
    logger.SetLogLevel(level);
}

LogCapture::~LogCapture() {
    nvrprint::Logger::Instance().Shutdown();
}

std::string LogCapture::Text() const {
    return ReadFile(m_path);
}

}  // namespace testsupport
