#include <gio/gio.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <thread>

#include "platform/GObjectPtr.h"
#include "platform/Launcher.h"

extern char** environ;

namespace nvrprint::platform {
namespace {

Status Spawn(const std::string& program, const std::string& file) {
    std::string programArg = program;
    std::string fileArg = file;
    char* argv[] = {programArg.data(), fileArg.data(), nullptr};
    pid_t pid = -1;
    const int rc = posix_spawn(&pid, program.c_str(), nullptr, nullptr, argv, environ);
    if (rc != 0) {
        return SystemFailure(rc);
    }
    // Nobody waits for the application, but its end is collected so it leaves no zombie.
    std::thread([pid] { waitpid(pid, nullptr, 0); }).detach();
    return {};
}

// The library's error as an I/O failure: its own codes would meet kNoAssociation.
Failure GioError(const GErrorPtr& error, const char* otherwise) {
    return Failure{EIO, error ? error->message : otherwise};
}

Status OpenWithDefault(const std::string& path) {
    GObjectPtr<GFile> file(g_file_new_for_path(path.c_str()));
    GError* raw = nullptr;
    GObjectPtr<GFileInfo> info(g_file_query_info(file.get(), G_FILE_ATTRIBUTE_STANDARD_CONTENT_TYPE,
                                                 G_FILE_QUERY_INFO_NONE, nullptr, &raw));
    GErrorPtr error(raw);
    if (!info) {
        return GioError(error, "cannot read the file");
    }
    const char* contentType = g_file_info_get_content_type(info.get());
    GObjectPtr<GAppInfo> app(
        contentType != nullptr ? g_app_info_get_default_for_type(contentType, FALSE) : nullptr);
    if (!app) {
        return Failure{kNoAssociation,
                       std::string("no application for ") + (contentType ? contentType : "?")};
    }
    GList files = {file.get(), nullptr, nullptr};
    raw = nullptr;
    if (!g_app_info_launch(app.get(), &files, nullptr, &raw)) {
        error.reset(raw);
        return GioError(error, "the application did not start");
    }
    return {};
}

class SystemLauncher final : public Launcher {
public:
    Status StartProgram(const std::string& program, const std::string& file) override {
        return Spawn(program, file);
    }
    Status OpenWithDefaultApplication(const std::string& file) override {
        return OpenWithDefault(file);
    }
};

}  // namespace

std::unique_ptr<Launcher> CreateSystemLauncher() {
    return std::make_unique<SystemLauncher>();
}

}  // namespace nvrprint::platform
