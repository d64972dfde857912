#include "tests/support/Process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <stdexcept>

extern char** environ;

namespace testsupport {
namespace {

struct Pipe {
    int fds[2] = {-1, -1};
    Pipe() {
        if (::pipe2(fds, O_CLOEXEC) != 0) {
            throw std::runtime_error("pipe failed");
        }
    }
    ~Pipe() {
        CloseRead();
        CloseWrite();
    }
    void CloseRead() {
        if (fds[0] >= 0)
            ::close(fds[0]), fds[0] = -1;
    }
    void CloseWrite() {
        if (fds[1] >= 0)
            ::close(fds[1]), fds[1] = -1;
    }
};

std::vector<std::string> BuildEnvironment(const ProcessOptions& options) {
    std::map<std::string, std::string> env;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        std::string text(*entry);
        size_t eq = text.find('=');
        if (eq != std::string::npos) {
            env[text.substr(0, eq)] = text.substr(eq + 1);
        }
    }
    for (const std::string& name : options.unsetEnv) {
        env.erase(name);
    }
    for (const auto& [name, value] : options.setEnv) {
        env[name] = value;
    }
    std::vector<std::string> out;
    for (const auto& [name, value] : env) {
        out.push_back(name + "=" + value);
    }
    return out;
}

// The child inherits the file size limit, set here for the moment of its start.
int SpawnWithLimits(pid_t* pid, const std::string& path, const posix_spawn_file_actions_t* actions,
                    char* const* args, char* const* env, const ProcessOptions& options) {
    rlimit saved{};
    if (options.fileSizeLimit) {
        ::getrlimit(RLIMIT_FSIZE, &saved);
        rlimit limited = saved;
        limited.rlim_cur = static_cast<rlim_t>(*options.fileSizeLimit);
        ::setrlimit(RLIMIT_FSIZE, &limited);
    }
    int rc = posix_spawnp(pid, path.c_str(), actions, nullptr, args, env);
    if (options.fileSizeLimit) {
        ::setrlimit(RLIMIT_FSIZE, &saved);
    }
    return rc;
}

// Starts argv with the file actions, which it releases, and the options' environment.
pid_t Spawn(const std::vector<std::string>& argv, posix_spawn_file_actions_t* actions,
            const ProcessOptions& options) {
    std::vector<char*> args;
    for (const std::string& a : argv)
        args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    std::vector<std::string> envText = BuildEnvironment(options);
    std::vector<char*> env;
    for (std::string& e : envText)
        env.push_back(e.data());
    env.push_back(nullptr);
    pid_t pid = -1;
    int rc = SpawnWithLimits(&pid, argv[0], actions, args.data(), env.data(), options);
    posix_spawn_file_actions_destroy(actions);
    if (rc != 0) {
        throw std::runtime_error(std::string("spawn failed: ") + std::strerror(rc));
    }
    return pid;
}

}  // namespace

int StartProcess(const std::vector<std::string>& argv, const ProcessOptions& options) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    return Spawn(argv, &actions, options);
}

int WaitForProcess(int pid) {
    int status = 0;
    ::waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

std::string ProgramPath() {
    return NVR_PROGRAM_PATH;
}

ProcessResult RunProcess(const std::vector<std::string>& argv, const ProcessOptions& options) {
    Pipe in, out, err;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (options.stdinData) {
        posix_spawn_file_actions_adddup2(&actions, in.fds[0], 0);
    } else {
        posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    }
    posix_spawn_file_actions_adddup2(&actions, out.fds[1], 1);
    posix_spawn_file_actions_adddup2(&actions, err.fds[1], 2);
    if (!options.workingDirectory.empty()) {
        posix_spawn_file_actions_addchdir_np(&actions, options.workingDirectory.c_str());
    }

    const pid_t pid = Spawn(argv, &actions, options);
    in.CloseRead();
    out.CloseWrite();
    err.CloseWrite();

    ProcessResult result;
    std::string pending = options.stdinData.value_or("");
    size_t written = 0;
    if (!options.stdinData)
        in.CloseWrite();
    if (options.stdinData && pending.empty())
        in.CloseWrite();

    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(options.timeoutSeconds);
    bool outOpen = true, errOpen = true;
    signal(SIGPIPE, SIG_IGN);
    while (outOpen || errOpen) {
        std::vector<pollfd> fds;
        if (outOpen)
            fds.push_back({out.fds[0], POLLIN, 0});
        if (errOpen)
            fds.push_back({err.fds[0], POLLIN, 0});
        if (in.fds[1] >= 0)
            fds.push_back({in.fds[1], POLLOUT, 0});
        int left = static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                        deadline - std::chrono::steady_clock::now())
                                        .count());
        if (left <= 0) {
            ::kill(pid, SIGKILL);
            break;
        }
        if (::poll(fds.data(), fds.size(), left) <= 0)
            continue;
        for (const pollfd& p : fds) {
            if (p.revents == 0)
                continue;
            if (p.fd == in.fds[1]) {
                ssize_t n = ::write(p.fd, pending.data() + written, pending.size() - written);
                if (n > 0)
                    written += static_cast<size_t>(n);
                if (n < 0 || written == pending.size())
                    in.CloseWrite();
                continue;
            }
            char buffer[65536];
            ssize_t n = ::read(p.fd, buffer, sizeof buffer);
            std::string& sink = p.fd == out.fds[0] ? result.out : result.err;
            if (n > 0) {
                sink.append(buffer, static_cast<size_t>(n));
            } else {
                (p.fd == out.fds[0] ? outOpen : errOpen) = false;
            }
        }
    }
    int status = 0;
    ::waitpid(pid, &status, 0);
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return result;
}

}  // namespace testsupport
