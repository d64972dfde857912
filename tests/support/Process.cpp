#include "tests/support/Process.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <stdexcept>
#include <thread>

extern char** environ;

namespace testsupport {
namespace {

struct Pipe {
    int fds[2] = {-1, -1};
    Pipe() {
        if (::pipe2(fds, O_CLOEXEC) != 0)
            throw std::runtime_error("pipe failed");
    }
    ~Pipe() { Close(0), Close(1); }
    void Close(int end) {
        if (fds[end] >= 0)
            ::close(fds[end]), fds[end] = -1;
    }
    std::string ReadAll() {
        std::string text;
        char buffer[65536];
        for (ssize_t n; (n = ::read(fds[0], buffer, sizeof buffer)) > 0;)
            text.append(buffer, static_cast<size_t>(n));
        return text;
    }
};

// Starts argv with the file actions, which it releases, with standard input from the file the
// options name, in their environment and working directory and under their file size limit.
pid_t Spawn(const std::vector<std::string>& argv, posix_spawn_file_actions_t* actions,
            const ProcessOptions& options, bool stdinSet = false) {
    if (!stdinSet) {
        const std::string& file = options.stdinFile.empty() ? "/dev/null" : options.stdinFile;
        posix_spawn_file_actions_addopen(actions, 0, file.c_str(), O_RDONLY, 0);
    }
    if (!options.workingDirectory.empty())
        posix_spawn_file_actions_addchdir_np(actions, options.workingDirectory.c_str());
    std::vector<std::string> envText;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text(*entry), name = text.substr(0, text.find('='));
        if (!options.setEnv.contains(name) &&
            std::ranges::find(options.unsetEnv, name) == options.unsetEnv.end())
            envText.push_back(text);
    }
    for (const auto& [name, value] : options.setEnv)
        envText.push_back(name + "=" + value);
    std::vector<char*> args, envp;
    for (const std::string& a : argv)
        args.push_back(const_cast<char*>(a.c_str()));
    for (std::string& e : envText)
        envp.push_back(e.data());
    args.push_back(nullptr);
    envp.push_back(nullptr);
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

}  // namespace

int StartProcess(const std::vector<std::string>& argv, const ProcessOptions& options) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (!options.outputFile.empty()) {
        posix_spawn_file_actions_addopen(&actions, 1, options.outputFile.c_str(),
                                         O_WRONLY | O_CREAT | O_TRUNC, 0600);
        posix_spawn_file_actions_adddup2(&actions, 1, 2);
    }
    return Spawn(argv, &actions, options);
}

int WaitForProcess(int pid, int timeoutSeconds) {
    int status = 0;
    if (!WaitUntil([&] { return ::waitpid(pid, &status, WNOHANG) != 0; },
                   std::chrono::seconds(timeoutSeconds))) {
        ::kill(pid, SIGKILL);
        ::waitpid(pid, &status, 0);
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

bool WaitUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout,
               std::chrono::milliseconds every) {
    for (const auto deadline = std::chrono::steady_clock::now() + timeout;;) {
        if (done())
            return true;
        if (std::chrono::steady_clock::now() >= deadline)
            return false;
        std::this_thread::sleep_for(every);
    }
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
    posix_spawn_file_actions_adddup2(&actions, out.fds[1], 1);
    posix_spawn_file_actions_adddup2(&actions, err.fds[1], 2);
    const pid_t pid = Spawn(argv, &actions, options, options.stdinData.has_value());
    in.Close(0), out.Close(1), err.Close(1);
    // Standard input is a pipe, as a host delivers it; what the program does not read is
    // dropped when it ends.
    ::signal(SIGPIPE, SIG_IGN);
    ProcessResult result;
    std::thread writer([&in, data = options.stdinData.value_or("")] {
        for (size_t done = 0; done < data.size();) {
            const ssize_t n = ::write(in.fds[1], data.data() + done, data.size() - done);
            if (n <= 0)
                break;
            done += static_cast<size_t>(n);
        }
        in.Close(1);
    });
    std::thread errReader([&] { result.err = err.ReadAll(); });
    std::thread waiter([&] { result.exitCode = WaitForProcess(pid, options.timeoutSeconds); });
    result.out = out.ReadAll();
    for (std::thread* thread : {&writer, &errReader, &waiter})
        thread->join();
    return result;
}

}  // namespace testsupport
