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
#include <thread>

extern char** environ;

namespace testsupport {
namespace {

using Clock = std::chrono::steady_clock;

struct Pipe {
    int fds[2] = {-1, -1};
    Pipe() {
        if (::pipe2(fds, O_CLOEXEC) != 0)
            throw std::runtime_error("pipe failed");
    }
    ~Pipe() {
        for (int fd : fds)
            if (fd >= 0)
                ::close(fd);
    }
};

// Starts argv with the file actions, which it releases, in the options' environment and
// working directory and under their file size limit.
pid_t Spawn(const std::vector<std::string>& argv, posix_spawn_file_actions_t* actions,
            const ProcessOptions& options) {
    std::map<std::string, std::string> env;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text(*entry);
        const size_t eq = text.find('=');
        if (eq != std::string::npos)
            env[text.substr(0, eq)] = text.substr(eq + 1);
    }
    for (const std::string& name : options.unsetEnv)
        env.erase(name);
    for (const auto& [name, value] : options.setEnv)
        env[name] = value;
    std::vector<std::string> envText;
    for (const auto& [name, value] : env)
        envText.push_back(name + "=" + value);
    std::vector<char*> args, envp;
    for (const std::string& a : argv)
        args.push_back(const_cast<char*>(a.c_str()));
    for (std::string& e : envText)
        envp.push_back(e.data());
    args.push_back(nullptr);
    envp.push_back(nullptr);
    if (!options.workingDirectory.empty())
        posix_spawn_file_actions_addchdir_np(actions, options.workingDirectory.c_str());
    // The child inherits the file size limit, set here for the moment of its start.
    rlimit saved{};
    ::getrlimit(RLIMIT_FSIZE, &saved);
    if (options.fileSizeLimit) {
        rlimit limited = saved;
        limited.rlim_cur = static_cast<rlim_t>(*options.fileSizeLimit);
        ::setrlimit(RLIMIT_FSIZE, &limited);
    }
    pid_t pid = -1;
    const int rc = posix_spawnp(&pid, argv[0].c_str(), actions, nullptr, args.data(), envp.data());
    ::setrlimit(RLIMIT_FSIZE, &saved);
    posix_spawn_file_actions_destroy(actions);
    if (rc != 0)
        throw std::runtime_error(std::string("spawn failed: ") + std::strerror(rc));
    return pid;
}

void AddStdinFile(posix_spawn_file_actions_t* actions, const ProcessOptions& options) {
    const std::string& file = options.stdinFile.empty() ? "/dev/null" : options.stdinFile;
    posix_spawn_file_actions_addopen(actions, 0, file.c_str(), O_RDONLY, 0);
}

}  // namespace

int StartProcess(const std::vector<std::string>& argv, const ProcessOptions& options) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    AddStdinFile(&actions, options);
    if (!options.outputFile.empty()) {
        posix_spawn_file_actions_addopen(&actions, 1, options.outputFile.c_str(),
                                         O_WRONLY | O_CREAT | O_TRUNC, 0600);
        posix_spawn_file_actions_adddup2(&actions, 1, 2);
    }
    return Spawn(argv, &actions, options);
}

int WaitForProcess(int pid, int timeoutSeconds) {
    const auto deadline = Clock::now() + std::chrono::seconds(timeoutSeconds);
    int status = 0;
    while (::waitpid(pid, &status, WNOHANG) == 0) {
        if (Clock::now() > deadline) {
            ::kill(pid, SIGKILL);
            ::waitpid(pid, &status, 0);
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

std::string ProgramPath() {
    return NVR_PROGRAM_PATH;
}

ProcessResult RunProgram(std::vector<std::string> args, const std::string& tmpDir,
                         ProcessOptions options) {
    args.insert(args.begin(), ProgramPath());
    options.setEnv.emplace("TMPDIR", tmpDir);
    return RunProcess(args, options);
}

ProcessResult RunProcess(const std::vector<std::string>& argv, const ProcessOptions& options) {
    Pipe in, out, err;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (options.stdinData)
        posix_spawn_file_actions_adddup2(&actions, in.fds[0], 0);
    else
        AddStdinFile(&actions, options);
    posix_spawn_file_actions_adddup2(&actions, out.fds[1], 1);
    posix_spawn_file_actions_adddup2(&actions, err.fds[1], 2);
    const pid_t pid = Spawn(argv, &actions, options);
    for (int* fd : {&in.fds[0], &out.fds[1], &err.fds[1]})
        ::close(*fd), *fd = -1;
    // Standard input is a pipe, as a host delivers it; what the program does not read is
    // dropped when it ends.
    ::signal(SIGPIPE, SIG_IGN);
    std::thread writer([&in, data = options.stdinData.value_or("")] {
        for (size_t done = 0; done < data.size();) {
            const ssize_t n = ::write(in.fds[1], data.data() + done, data.size() - done);
            if (n <= 0)
                break;
            done += static_cast<size_t>(n);
        }
        ::close(in.fds[1]), in.fds[1] = -1;
    });

    ProcessResult result;
    std::string* sinks[] = {&result.out, &result.err};
    pollfd fds[] = {{out.fds[0], POLLIN, 0}, {err.fds[0], POLLIN, 0}};
    const auto deadline = Clock::now() + std::chrono::seconds(options.timeoutSeconds);
    while (fds[0].fd >= 0 || fds[1].fd >= 0) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (left <= 0) {
            ::kill(pid, SIGKILL);
            break;
        }
        if (::poll(fds, 2, static_cast<int>(left)) <= 0)
            continue;
        for (int i = 0; i < 2; ++i) {
            char buffer[65536];
            const ssize_t n = fds[i].revents != 0 ? ::read(fds[i].fd, buffer, sizeof buffer) : 1;
            if (n <= 0)
                fds[i].fd = -1;
            else if (fds[i].revents != 0)
                sinks[i]->append(buffer, static_cast<size_t>(n));
        }
    }
    result.exitCode = WaitForProcess(pid, 10);
    writer.join();
    return result;
}

}  // namespace testsupport
