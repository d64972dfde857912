#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace fuzzsupport {

// Quiets the process-wide logger and gives the process a private TMPDIR, once.
void PrepareProcess();

// The input's bytes in a file of their own that the target may open by path.
class InputFile {
public:
    InputFile(const uint8_t* data, size_t size);
    ~InputFile();
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;
    const std::string& Path() const { return m_path; }

private:
    int m_fd = -1;
    std::string m_path;
};

}  // namespace fuzzsupport
