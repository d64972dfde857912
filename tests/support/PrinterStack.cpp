#include "tests/support/PrinterStack.h"

#include <signal.h>

#include <chrono>
#include <filesystem>
#include <regex>
#include <sstream>
#include <thread>

#include "tests/support/Process.h"

namespace testsupport {
namespace {

std::string Script() {
    return std::string(NVR_SOURCE_DIR) + "/scripts/printer-stack";
}

// The NAME=value lines of the text whose names start with the prefix.
std::map<std::string, std::string> ParseLines(const std::string& text, const std::string& prefix) {
    std::map<std::string, std::string> values;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        const size_t eq = line.find('=');
        if (eq != std::string::npos && line.starts_with(prefix))
            values[line.substr(0, eq)] = line.substr(eq + 1);
    }
    return values;
}

std::optional<PrinterStack> FromEnvironment(const std::string& text) {
    auto lines = ParseLines(text, "");
    PrinterStack s{lines["CUPS_SERVER"],           lines["NVR_QUEUE"],
                   lines["NVR_DEFAULTS_QUEUE"],    lines["NVR_PPD_QUEUE"],
                   lines["NVR_MONO_QUEUE"],        lines["NVR_STAPLE_QUEUE"],
                   lines["NVR_PRINTER_URI"],       lines["NVR_RECORD_DIR"],
                   lines["NVR_STAPLE_RECORD_DIR"], lines["NVR_STACK_DIR"]};
    return s.cupsServer.empty() ? std::nullopt : std::optional(s);
}

std::optional<PrinterStack> StartPrivate(const std::string& envFile, const std::string& queue) {
    ProcessOptions options;
    options.timeoutSeconds = 180;
    if (!queue.empty())
        options.setEnv["NVR_QUEUE"] = queue;
    ProcessResult r = RunProcess({Script(), "start-private", envFile}, options);
    return r.exitCode == 0 ? FromEnvironment(r.out) : std::nullopt;
}

}  // namespace

std::optional<PrinterStack> PrinterStack::Start() {
    std::optional<PrinterStack> started = FromEnvironment(ReadFile(NVR_STACK_ENV_FILE));
    return started ? started : StartPrivate(NVR_STACK_ENV_FILE, "");
}

PrivateStack::PrivateStack(const std::string& queue)
    : m_stack(StartPrivate(m_dir.File("stack.env"), queue)) {}

PrivateStack::~PrivateStack() {
    RunProcess({Script(), "stop-private", m_dir.File("stack.env")});
}

bool PrivateStack::RestartScheduler() {
    return RunProcess({Script(), "restart-scheduler", m_dir.File("stack.env")}).exitCode == 0;
}

std::optional<ReceivedJob> WaitForJobIn(const std::string& recordDir, const std::string& name,
                                        int timeoutSeconds) {
    std::optional<ReceivedJob> job;
    WaitUntil(
        [&] {
            std::error_code ec;
            for (const auto& entry : std::filesystem::directory_iterator(recordDir, ec)) {
                const std::string path = entry.path().string();
                auto attributes =
                    ParseLines(path.ends_with(".attrs") ? ReadFile(path) : "", "IPP_");
                if (!job && attributes["IPP_JOB_NAME"] == name)
                    job = ReceivedJob{path.substr(0, path.size() - 6) + ".doc", attributes};
            }
            return job.has_value();
        },
        std::chrono::seconds(timeoutSeconds));
    return job;
}

std::optional<ReceivedJob> WaitForReceivedJob(const PrinterStack& stack, const std::string& name,
                                              int timeoutSeconds) {
    return WaitForJobIn(stack.recordDir, name, timeoutSeconds);
}

std::string SchedulerJobAttributes(const PrinterStack& stack, int jobId) {
    return RunProcess({"ipptool", "-tv",
                       "ipp://" + stack.cupsServer + "/jobs/" + std::to_string(jobId),
                       "get-job-attributes.test"})
        .out;
}

bool SchedulerJobGoneOrCancelled(const PrinterStack& stack, int jobId) {
    static const std::regex kHeld("job-state \\(enum\\) = (?!canceled|aborted)");
    return !std::regex_search(SchedulerJobAttributes(stack, jobId), kHeld);
}

bool SignalScheduler(const PrinterStack& stack, int signal) {
    return ::kill(std::stoi(ReadFile(stack.stackDir + "/cupsd.pid")), signal) == 0;
}

bool SignalSchedulerOnceJobExists(const PrinterStack& stack, int signal, int looks) {
    for (int look = 0; look < looks; ++look)
        if (SchedulerJobAttributes(stack, 1).find("job-state (enum) = ") != std::string::npos)
            return SignalScheduler(stack, signal);
    return false;
}

}  // namespace testsupport
