#pragma once

#include <map>
#include <optional>
#include <string>

#include "tests/support/TestSupport.h"

namespace testsupport {

// The private print stack of scripts/printer-stack: a CUPS scheduler on loopback whose queues
// print on virtual IPP printers that record every job they receive.
struct PrinterStack {
    std::string cupsServer;     // for CUPS_SERVER
    std::string queue;          // IPP Everywhere queue, the scheduler's default destination
    std::string defaultsQueue;  // same printer; scheduler defaults: 2 copies, 2-up, two-sided, main
    std::string ppdQueue;     // same printer through a classic PPD (tests/data/NvrTestPrinter.ppd)
    std::string monoQueue;    // same printer, grey only (tests/data/NvrMonoPrinter.ppd)
    std::string stapleQueue;  // IPP Everywhere queue on the stapling printer
    std::string printerUri;   // the virtual printer itself, without the scheduler
    std::string recordDir;    // what the virtual printer received (jobs of the first four queues)
    std::string stapleRecordDir;  // what the stapling printer received
    std::string stackDir;         // the stack's own directory (pid files, logs)

    // The stack of this test run: the one the ctest fixture started, whose environment it left
    // in the build directory; without the fixture, one is started the same way.
    static std::optional<PrinterStack> Start();
};

// A stack of one test's own, in a new directory on free ports, for tests that stop or kill its
// scheduler; stopped with the object, whatever became of the scheduler.
class PrivateStack {
public:
    explicit PrivateStack(const std::string& queue);
    ~PrivateStack();
    const std::optional<PrinterStack>& Stack() const { return m_stack; }
    // Starts the scheduler again on its own configuration and spool, after a test killed it.
    bool RestartScheduler();

private:
    ScratchDir m_dir;
    std::optional<PrinterStack> m_stack;
};

// A job as a virtual printer received it.
struct ReceivedJob {
    std::string documentPath;
    std::map<std::string, std::string> attributes;  // IPP_* variables, as the printer saw them
};

// Waits for a printer that records into recordDir to hold a job of this name.
std::optional<ReceivedJob> WaitForJobIn(const std::string& recordDir, const std::string& name,
                                        int timeoutSeconds = 90);
// The same for the virtual printer behind the first four queues.
std::optional<ReceivedJob> WaitForReceivedJob(const PrinterStack& stack, const std::string& name,
                                              int timeoutSeconds = 90);

// The scheduler's attributes of one of its jobs, as ipptool prints them.
std::string SchedulerJobAttributes(const PrinterStack& stack, int jobId);
// Whether the scheduler's job with this id is gone or ended without printing.
bool SchedulerJobGoneOrCancelled(const PrinterStack& stack, int jobId);
// Sends the scheduler the signal (SIGKILL, SIGSTOP, SIGCONT); whether it was sent.
bool SignalScheduler(const PrinterStack& stack, int signal);
// The same as soon as its first job exists, looking up to the given number of times.
bool SignalSchedulerOnceJobExists(const PrinterStack& stack, int signal, int looks);

}  // namespace testsupport
