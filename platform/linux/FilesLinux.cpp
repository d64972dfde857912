#include <unistd.h>

#include <cerrno>

#include "platform/Files.h"

namespace nvrprint::platform {
namespace {

class SystemFiles final : public Files {
public:
    explicit SystemFiles(int standardInput) : m_standardInput(standardInput) {}

    int StandardInput() override { return m_standardInput; }
    Status CheckExists(const std::string& path) override {
        if (access(path.c_str(), F_OK) != 0) {
            return SystemFailure(errno);
        }
        return {};
    }
    Result<UniqueFd> CreateNewPrivateFile(const std::string& path) override {
        return platform::CreateNewPrivateFile(path);
    }

private:
    int m_standardInput;
};

}  // namespace

std::unique_ptr<Files> CreateSystemFiles(int standardInput) {
    return std::make_unique<SystemFiles>(standardInput);
}

}  // namespace nvrprint::platform
