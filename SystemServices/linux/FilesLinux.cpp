#include <unistd.h>

#include <cerrno>

#include "SystemServices/Files.h"

namespace nvrprint::platform {
namespace {

class SystemFiles final : public Files {
public:
    explicit SystemFiles(int standardInput) : m_standardInput(standardInput) {}

    int StandardInput() override { return m_standardInput; }
    bool Exists(const std::string& path, int* error) override {
        if (access(path.c_str(), F_OK) != 0) {
            *error = errno;
            return false;
        }
        return true;
    }
    UniqueFd CreateNewPrivateFile(const std::string& path, int* error) override {
        return platform::CreateNewPrivateFile(path, error);
    }

private:
    int m_standardInput;
};

}  // namespace

std::unique_ptr<Files> CreateSystemFiles(int standardInput) {
    return std::make_unique<SystemFiles>(standardInput);
}

}  // namespace nvrprint::platform
