#include <gio/gio.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <thread>

#include "SystemServices/Launcher.h"
#include "platform/GObjectPtr.h"

extern char** environ;

namespace nvrprint::platform {
namespace {

bool Spawn(const std::string& program, const std::string& file, int* error) {
    std::string programArg = program;
    std::string fileArg = file;
    char* argv[] = {programArg.data(), fileArg.data(), nullptr};
    pid_t pid = -1;
    const int rc = posix_spawn(&pid, program.c_str(), nullptr, nullptr, argv, environ);
    if (rc != 0) {
        *error = rc;
        return false;
    }
    // Nobody waits for the application, but its end is collected so it leaves no zombie.
    std::thread([pid] { waitpid(pid, nullptr, 0); }).detach();
    return true;
}

OpenResult OpenWithDefault(const std::string& path) {
    OpenResult result;
    GObjectPtr<GFile> file(g_file_new_for_path(path.c_str()));
    GError* raw = nullptr;
    GObjectPtr<GFileInfo> info(g_file_query_info(file.get(), G_FILE_ATTRIBUTE_STANDARD_CONTENT_TYPE,
                                                 G_FILE_QUERY_INFO_NONE, nullptr, &raw));
    GErrorPtr error(raw);
    if (!info) {
        result.code = error ? error->code : EIO;
        result.reason = error ? error->message : "cannot read the file";
        return result;
    }
    const char* contentType = g_file_info_get_content_type(info.get());
    GObjectPtr<GAppInfo> app(
        contentType != nullptr ? g_app_info_get_default_for_type(contentType, FALSE) : nullptr);
    if (!app) {
        result.outcome = OpenResult::NoApplication;
        result.code = kNoAssociation;
        result.reason = std::string("no application for ") + (contentType ? contentType : "?");
        return result;
    }
    GList files = {file.get(), nullptr, nullptr};
    raw = nullptr;
    if (!g_app_info_launch(app.get(), &files, nullptr, &raw)) {
        error.reset(raw);
        result.code = error ? error->code : EIO;
        result.reason = error ? error->message : "the application did not start";
        return result;
    }
    result.outcome = OpenResult::Started;
    return result;
}

class SystemLauncher final : public Launcher {
public:
    bool StartProgram(const std::string& program, const std::string& file, int* error) override {
        return Spawn(program, file, error);
    }
    OpenResult OpenWithDefaultApplication(const std::string& file) override {
        return OpenWithDefault(file);
    }
};

}  // namespace

std::unique_ptr<Launcher> CreateSystemLauncher() {
    return std::make_unique<SystemLauncher>();
}

}  // namespace nvrprint::platform
