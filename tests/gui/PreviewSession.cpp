#include "tests/gui/PreviewSession.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <thread>

namespace testsupport {
namespace {

using Clock = std::chrono::steady_clock;

std::string ShellQuote(const std::string& text) {
    std::string quoted = "'";
    for (char c : text) {
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return quoted + "'";
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

PreviewSession::PreviewSession() : m_log(m_work.File("preview.log")) {
    if (!m_display.Name().empty()) {
        m_x = std::make_unique<XClient>(m_display.Name());
    }
}

PreviewSession::~PreviewSession() {
    if (m_pid > 0) {
        kill(m_pid, SIGKILL);
        WaitForProcess(m_pid);
    }
}

void PreviewSession::Start(const std::vector<std::string>& args, const std::string& document,
                           std::optional<std::string> stdinFile, const std::string& printer) {
    std::string command = "exec " + ShellQuote(ProgramPath());
    for (const std::string& arg : args) {
        command += " " + ShellQuote(arg);
    }
    command += " -logLevel=6";
    if (!document.empty()) {
        command += " " + ShellQuote(document);
    }
    if (!printer.empty()) {
        command += " " + ShellQuote(printer);
    }
    if (stdinFile) {
        command += " < " + ShellQuote(*stdinFile);
    }
    // The log as the console gets it; the notices' text on standard error with it.
    command += " > " + ShellQuote(m_log) + " 2>&1";
    ProcessOptions options = WindowProgramOptions(m_display.Name(), m_tmp.Path());
    for (const auto& [name, value] : m_env) {
        options.setEnv[name] = value;
    }
    m_pid = StartProcess({"/bin/sh", "-c", command}, options);
}

std::string PreviewSession::Log() {
    std::ifstream in(m_log);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

bool PreviewSession::WaitForWindow() {
    if (!m_x || !m_x->Connected()) {
        return false;
    }
    std::optional<unsigned long> window =
        m_x->WaitForWindow("Print Preview - ", std::chrono::seconds(30));
    if (!window) {
        return false;
    }
    m_window = *window;
    // The toolbar is laid out and the first page loaded in either order.
    size_t seen = m_seen;
    bool laidOut = WaitForLog("Toolbar button Print at").has_value();
    size_t laidOutAt = m_seen;
    m_seen = seen;
    bool loaded = WaitForLog("Page 1 loaded successfully").has_value();
    m_seen = std::max(m_seen, laidOutAt);
    return laidOut && loaded;
}

std::optional<std::string> PreviewSession::WaitForLog(const std::string& text,
                                                      std::chrono::milliseconds timeout) {
    auto deadline = Clock::now() + timeout;
    do {
        std::string log = Log();
        size_t at = log.find(text, m_seen);
        if (at != std::string::npos) {
            size_t start = log.rfind('\n', at);
            start = start == std::string::npos ? 0 : start + 1;
            size_t end = log.find('\n', at);
            m_seen = end == std::string::npos ? log.size() : end;
            return log.substr(start, m_seen - start);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    } while (Clock::now() < deadline);
    return std::nullopt;
}

std::optional<std::smatch> PreviewSession::LastMatch(const std::regex& pattern, std::string* text) {
    *text = Log();
    std::optional<std::smatch> last;
    for (auto it = std::sregex_iterator(text->begin(), text->end(), pattern);
         it != std::sregex_iterator(); ++it) {
        last = *it;
    }
    return last;
}

std::string PreviewSession::LatestStatus() {
    std::string text;
    auto match =
        LastMatch(std::regex(R"(Status bar: .* \| (Page \d+ of \d+) \| (Zoom: \d+%))"), &text);
    return match ? (*match)[1].str() + " | " + (*match)[2].str() : std::string();
}

bool PreviewSession::WaitForStatus(const std::string& page, const std::string& zoom) {
    std::string wanted = page + " | " + zoom;
    auto deadline = Clock::now() + std::chrono::seconds(10);
    while (Clock::now() < deadline) {
        if (LatestStatus() == wanted) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return false;
}

Box PreviewSession::ToolbarButton(const std::string& name) {
    std::string text;
    auto match = LastMatch(
        std::regex("Toolbar button " + name + R"( at (-?\d+),(-?\d+) (\d+)x(\d+))"), &text);
    if (!match) {
        return {};
    }
    return {std::stoi((*match)[1]), std::stoi((*match)[2]), std::stoi((*match)[3]),
            std::stoi((*match)[4])};
}

Box PreviewSession::LayoutPart(const char* name) {
    std::string text;
    auto match =
        LastMatch(std::regex(std::string(name) + R"( (-?\d+),(-?\d+) (\d+)x(\d+))"), &text);
    if (!match) {
        return {};
    }
    return {std::stoi((*match)[1]), std::stoi((*match)[2]), std::stoi((*match)[3]),
            std::stoi((*match)[4])};
}

Box PreviewSession::ThumbnailPanel() {
    return LayoutPart("thumbnails");
}
Box PreviewSession::MainView() {
    return LayoutPart("view");
}
Box PreviewSession::ZoomPart() {
    return LayoutPart("zoom part");
}

void PreviewSession::ClickButton(const std::string& text) {
    Box button = ToolbarButton(text);
    m_x->Click(m_window, button.CentreX(), button.CentreY());
}

void PreviewSession::Screenshot(const std::string& name) {
    ScreenshotOf(*m_x, name);
}

void PreviewSession::ScreenshotOf(XClient& x, const std::string& name) {
    std::string dir = std::string(NVR_ARTIFACT_DIR);
    std::string mkdir = "mkdir -p " + ShellQuote(dir);
    if (std::system(mkdir.c_str()) == 0) {
        x.SaveScreenshot(dir + "/" + name + ".png");
    }
}

int PreviewSession::CloseAndWait() {
    m_x->Close(m_window);
    return Wait();
}

int PreviewSession::Wait() {
    // A program that does not end is killed, and the test sees the signal in the code.
    auto deadline = Clock::now() + std::chrono::seconds(30);
    int status = 0;
    while (waitpid(m_pid, &status, WNOHANG) == 0) {
        if (Clock::now() > deadline) {
            kill(m_pid, SIGKILL);
            waitpid(m_pid, &status, 0);
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    m_pid = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace testsupport
