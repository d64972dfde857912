#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace testsupport {

// The private print stack of scripts/printer-stack: a CUPS scheduler on loopback with one
// queue whose printer is a virtual IPP Everywhere printer that records every job.
struct PrinterStack {
    std::string cupsServer;  // for CUPS_SERVER
    std::string queue;
    std::string printerUri;  // the virtual printer itself, without the scheduler
    std::string recordDir;

    // Starts the stack (if it is not running) under the given directory and ports.
    static std::optional<PrinterStack> Start(const std::string& dir = "", int cupsPort = 0,
                                             int printerPort = 0, const std::string& queue = "");
    static void Stop(const std::string& dir);
};

// A job as the virtual printer received it.
struct ReceivedJob {
    std::string documentPath;
    std::map<std::string, std::string> attributes;  // IPP_* variables, as the printer saw them
};

// Waits for the printer to hold a job of this name.
std::optional<ReceivedJob> WaitForReceivedJob(const PrinterStack& stack, const std::string& name,
                                              int timeoutSeconds = 90);

// The scheduler's attributes of one of its jobs, as ipptool prints them.
std::string SchedulerJobAttributes(const PrinterStack& stack, int jobId);
// States of the scheduler's jobs, by id, as "lpstat" words ("completed", "canceled", ...).
std::string SchedulerJobState(const PrinterStack& stack, int jobId);

}  // namespace testsupport
