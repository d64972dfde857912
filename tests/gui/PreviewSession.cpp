#include "tests/gui/PreviewSession.h"

#include <gtest/gtest.h>

#include <signal.h>

#include <cstdlib>
#include <regex>
#include <thread>

namespace testsupport {
namespace {

// The groups of the last match of the pattern in the text; empty when none matches.
std::vector<std::string> LastMatch(const std::string& text, const std::regex& pattern) {
    std::vector<std::string> groups;
    for (auto it = std::sregex_iterator(text.begin(), text.end(), pattern);
         it != std::sregex_iterator(); ++it) {
        groups.assign(it->begin() + 1, it->end());
    }
    return groups;
}

}  // namespace

ProcessOptions WindowProgramOptions(const std::string& display, const std::string& tmpDir) {
    ProcessOptions options;
    options.setEnv = {{"DISPLAY", display},
                      {"TMPDIR", tmpDir},
                      {"GTK_THEME", "Adwaita"},
                      {"NO_AT_BRIDGE", "1"},
                      {"G_SLICE", "always-malloc"}};
    if (const char* tsan = std::getenv("TSAN_OPTIONS")) {
        options.setEnv["TSAN_OPTIONS"] = std::string(tsan) + ":ignore_noninstrumented_modules=1";
    }
    options.unsetEnv = {"WAYLAND_DISPLAY", "PRINTER"};
    return options;
}

PreviewSession::~PreviewSession() {
    if (m_pid > 0) {
        ::kill(m_pid, SIGKILL);
        WaitForProcess(m_pid);
    }
}

bool PreviewSession::Open(std::vector<std::string> args, const std::string& stdinFile) {
    const std::string program = ProgramPath();
    args.insert(
        args.begin(),
        {m_program.empty() ? program : program.substr(0, program.rfind('/') + 1) + m_program,
         "-usePreviewApp=never", "-logLevel=6"});
    // The log as the console gets it; the notices' text on standard error with it.
    ProcessOptions options = WindowProgramOptions(m_x.Name(), m_tmp.Path());
    options.outputFile = m_work.File("preview.log");
    options.stdinFile = stdinFile;
    options.setEnv.insert(m_env.begin(), m_env.end());
    m_pid = StartProcess(args, options);
    if (!m_x.Connected()) {
        return false;
    }
    std::optional<unsigned long> window =
        m_x.WaitForWindow("Print Preview - ", std::chrono::seconds(60), true);
    m_window = window.value_or(0);
    // The toolbar is laid out and the first page loaded, in either order, however slowly.
    size_t laidOut = 0, loaded = 0;
    const bool ready = WaitUntil(
        [&] {
            const std::string log = Log();
            laidOut = log.find("Toolbar button Print at");
            loaded = log.find("Page 1 loaded successfully");
            return laidOut != std::string::npos && loaded != std::string::npos;
        },
        std::chrono::seconds(60));
    m_seen = ready ? std::max(laidOut, loaded) : 0;
    return window && ready;
}

bool PreviewSession::WaitForLog(const std::string& text, std::chrono::milliseconds timeout) {
    return WaitUntil(
        [&] {
            const std::string log = Log();
            const size_t at = log.find(text, m_seen);
            m_seen = at != std::string::npos ? std::min(log.find('\n', at), log.size()) : m_seen;
            return at != std::string::npos;
        },
        timeout);
}

std::string PreviewSession::LatestStatus() {
    static const std::regex kStatus(
        R"(Status bar: .* \| ((?:Page|Sheet) \d+ of \d+(?:, (?:front|back))?(?: \(blank\))?) \| (Zoom: \d+%))");
    const auto match = LastMatch(Log(), kStatus);
    return match.empty() ? std::string() : match[0] + " | " + match[1];
}

bool PreviewSession::WaitForStatus(const std::string& page, const std::string& zoom) {
    return WaitUntil(
        [&] {
            const std::string status = LatestStatus();
            return status.starts_with(page) && (zoom.empty() || status.ends_with(zoom));
        },
        std::chrono::seconds(10));
}

Box PreviewSession::Part(const std::string& name) {
    const std::regex place("(?:Toolbar button )?" + name +
                           R"( (?:at )?(-?\d+),(-?\d+) (\d+)x(\d+))");
    const auto match = LastMatch(Log(), place);
    if (match.empty()) {
        return {};
    }
    return {std::stoi(match[0]), std::stoi(match[1]), std::stoi(match[2]), std::stoi(match[3])};
}

void PreviewSession::Click(const Box& box, int dy, unsigned button) {
    m_x.Click(m_window, box.CentreX(), box.CentreY() + dy, button);
}

void PreviewSession::ClickButton(const std::string& text) {
    Click(Part(text));
}

// The print dialog stands centred over the preview: with the pointer there, keys go to it.
void PreviewSession::PointAtDialog() {
    Box view = Part("view");
    m_x.MoveTo(m_window, view.CentreX() - 110, view.CentreY());
}

// Print in the preview's toolbar, clicked again if the window missed it; the dialog asks the
// scheduler for its printer and then for its printers before it settles.
void PreviewSession::OpenPrintDialog(bool printerListed) {
    ClickButton("Print");
    if (!WaitForLog("User initiated print from preview", std::chrono::seconds(5)))
        ClickButton("Print");
    ASSERT_TRUE(WaitForLog("Calling PrintDlgW...", std::chrono::seconds(60))) << Log();
    if (printerListed) {
        ASSERT_TRUE(WaitForLog("Print dialog shows printer: ", std::chrono::seconds(60))) << Log();
    } else {
        ASSERT_TRUE(m_x.WaitForWindow("Print", std::chrono::seconds(60)));
    }
    EXPECT_TRUE(m_x.WaitForStillScreen());
    PointAtDialog();
}

// The dialog's Print button, at its bottom right.
void PreviewSession::PressDialogPrint() {
    std::optional<unsigned long> dialog = m_x.WaitForWindow("Print", std::chrono::seconds(10));
    ASSERT_TRUE(dialog);
    auto [width, height] = m_x.SizeOf(*dialog);
    m_x.Click(*dialog, width - 100, height - 30);
}

// Print to File heads the dialog's list of printers, right under the list's header.
void PreviewSession::PrintToFileInDialog() {
    std::optional<unsigned long> dialog = m_x.WaitForWindow("Print", std::chrono::seconds(10));
    ASSERT_TRUE(dialog);
    m_x.Click(*dialog, 120, 85);
    ASSERT_TRUE(WaitForLog("Print dialog shows printer: Print to File")) << Log();
    EXPECT_TRUE(m_x.WaitForStillScreen());
    m_x.Screenshot("print-dialog-print-to-file");
    PressDialogPrint();
}

int PreviewSession::CloseAndWait() {
    m_x.Close(m_window);
    // A program that does not end is killed, and the test sees the signal in the code.
    const int code = WaitForProcess(m_pid, 30);
    m_pid = -1;
    return code;
}

}  // namespace testsupport
