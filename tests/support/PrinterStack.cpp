#include "tests/support/PrinterStack.h"

#include <signal.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "tests/support/Process.h"
#include "tests/support/TestSupport.h"

namespace testsupport {
namespace {

std::string Script() {
    return std::string(NVR_SOURCE_DIR) + "/scripts/printer-stack";
}

std::map<std::string, std::string> ParseLines(const std::string& text, const std::string& prefix) {
    std::map<std::string, std::string> values;
    std::istringstream lines(text);
    std::string line;
    while (std::getline(lines, line)) {
        const size_t eq = line.find('=');
        if (eq != std::string::npos && line.starts_with(prefix)) {
            values[line.substr(0, eq)] = line.substr(eq + 1);
        }
    }
    return values;
}

PrinterStack FromEnvironment(const std::map<std::string, std::string>& lines) {
    auto value = [&](const char* key) {
        auto found = lines.find(key);
        return found != lines.end() ? found->second : std::string();
    };
    PrinterStack stack;
    stack.cupsServer = value("CUPS_SERVER");
    stack.queue = value("NVR_QUEUE");
    stack.defaultsQueue = value("NVR_DEFAULTS_QUEUE");
    stack.ppdQueue = value("NVR_PPD_QUEUE");
    stack.monoQueue = value("NVR_MONO_QUEUE");
    stack.stapleQueue = value("NVR_STAPLE_QUEUE");
    stack.printerUri = value("NVR_PRINTER_URI");
    stack.recordDir = value("NVR_RECORD_DIR");
    stack.staplePrinterUri = value("NVR_STAPLE_PRINTER_URI");
    stack.stapleRecordDir = value("NVR_STAPLE_RECORD_DIR");
    stack.stackDir = value("NVR_STACK_DIR");
    return stack;
}

}  // namespace

std::optional<PrinterStack> PrinterStack::Start() {
    const std::string envFile = NVR_STACK_ENV_FILE;
    std::error_code ec;
    if (std::filesystem::exists(envFile, ec)) {
        PrinterStack stack = FromEnvironment(ParseLines(ReadFile(envFile), ""));
        if (!stack.cupsServer.empty())
            return stack;
    }
    return StartPrivate(envFile);
}

std::optional<PrinterStack> PrinterStack::StartPrivate(const std::string& envFile,
                                                       const std::string& queue) {
    ProcessOptions options;
    options.timeoutSeconds = 180;
    if (!queue.empty())
        options.setEnv["NVR_QUEUE"] = queue;
    ProcessResult r = RunProcess({Script(), "start-private", envFile}, options);
    if (r.exitCode != 0) {
        return std::nullopt;
    }
    return FromEnvironment(ParseLines(r.out, ""));
}

void PrinterStack::StopPrivate(const std::string& envFile) {
    RunProcess({Script(), "stop-private", envFile});
}

bool PrinterStack::RestartPrivateScheduler(const std::string& envFile) {
    return RunProcess({Script(), "restart-scheduler", envFile}).exitCode == 0;
}

std::optional<ReceivedJob> WaitForJobIn(const std::string& recordDir, const std::string& name,
                                        int timeoutSeconds) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(timeoutSeconds);
    for (;;) {
        std::error_code ec;
        for (const auto& entry : std::filesystem::directory_iterator(recordDir, ec)) {
            const std::string path = entry.path().string();
            if (!path.ends_with(".attrs"))
                continue;
            auto attributes = ParseLines(ReadFile(path), "IPP_");
            if (attributes["IPP_JOB_NAME"] == name) {
                std::string doc = path.substr(0, path.size() - 6) + ".doc";
                return ReceivedJob{doc, attributes};
            }
        }
        if (std::chrono::steady_clock::now() >= deadline)
            return std::nullopt;
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
    }
}

std::optional<ReceivedJob> WaitForReceivedJob(const PrinterStack& stack, const std::string& name,
                                              int timeoutSeconds) {
    return WaitForJobIn(stack.recordDir, name, timeoutSeconds);
}

std::optional<ReceivedJob> WaitForStapledJob(const PrinterStack& stack, const std::string& name,
                                             int timeoutSeconds) {
    return WaitForJobIn(stack.stapleRecordDir, name, timeoutSeconds);
}

std::string SchedulerJobAttributes(const PrinterStack& stack, int jobId) {
    ProcessOptions options;
    ProcessResult r = RunProcess(
        {"ipptool", "-tv", "ipp://" + stack.cupsServer + "/jobs/" + std::to_string(jobId),
         "get-job-attributes.test"},
        options);
    return r.out;
}

std::string SchedulerJobState(const PrinterStack& stack, int jobId) {
    const std::string attributes = SchedulerJobAttributes(stack, jobId);
    const std::string key = "job-state (enum) = ";
    const size_t at = attributes.find(key);
    if (at == std::string::npos)
        return {};
    const size_t end = attributes.find('\n', at);
    return attributes.substr(at + key.size(), end - at - key.size());
}

bool SchedulerJobGoneOrCancelled(const PrinterStack& stack, int jobId) {
    const std::string state = SchedulerJobState(stack, jobId);
    return state.empty() || state == "canceled" || state == "aborted";
}

bool SignalScheduler(const PrinterStack& stack, int signal) {
    return ::kill(std::stoi(ReadFile(stack.stackDir + "/cupsd.pid")), signal) == 0;
}

bool SignalSchedulerOnceJobExists(const PrinterStack& stack, int signal, int looks) {
    for (int look = 0; look < looks; ++look) {
        if (!SchedulerJobState(stack, 1).empty()) {
            return SignalScheduler(stack, signal);
        }
    }
    return false;
}

}  // namespace testsupport
