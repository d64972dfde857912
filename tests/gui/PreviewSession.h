#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <regex>
#include <string>
#include <vector>

#include "tests/support/Process.h"
#include "tests/support/TestSupport.h"
#include "tests/support/XSession.h"

namespace testsupport {

// Where a part of the preview is, in window coordinates, as its log tells.
struct Box {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
    int CentreX() const { return x + width / 2; }
    int CentreY() const { return y + height / 2; }
};

// What the program needs to show windows on the display: the theme, no accessibility bus,
// and under the thread sanitizer the toolkit's own libraries left unwatched (they lock in
// ways it cannot see; our code stays watched).
ProcessOptions WindowProgramOptions(const std::string& display, const std::string& tmpDir);

// The real program with its preview on a private X server, driven by real input events
// and watched through its log.
class PreviewSession {
public:
    PreviewSession();
    ~PreviewSession();

    // Starts the program on the document; the arguments come before it.
    void Start(const std::vector<std::string>& args, const std::string& document,
               std::optional<std::string> stdinData = std::nullopt,
               const std::string& printer = "");
    // An environment variable for the program, set before Start.
    void SetEnv(const std::string& name, const std::string& value) { m_env[name] = value; }
    // Waits for the preview's window and its first page; false on timeout.
    bool WaitForWindow();
    // Waits for a log line containing the text, after the lines already seen by earlier
    // waits; the line, or nothing on timeout.
    std::optional<std::string> WaitForLog(
        const std::string& text, std::chrono::milliseconds timeout = std::chrono::seconds(20));
    // The status bar's page and zoom texts after the latest change.
    std::string LatestStatus();
    // Waits until the status bar shows the texts ("Page 2 of 3", "Zoom: 100%").
    bool WaitForStatus(const std::string& page, const std::string& zoom);

    Box ToolbarButton(const std::string& text);
    Box ThumbnailPanel();
    Box MainView();
    Box ZoomPart();

    void ClickButton(const std::string& text);
    void Screenshot(const std::string& name);
    // A screenshot of any display, kept with the others.
    static void ScreenshotOf(XClient& x, const std::string& name);
    // Closes the window and waits for the program; its exit code.
    int CloseAndWait();
    int Wait();

    XClient& X() { return *m_x; }
    unsigned long Window() const { return m_window; }
    std::string Log();
    const std::string& LogPath() const { return m_log; }
    ScratchDir& Work() { return m_work; }

private:
    std::optional<std::smatch> LastMatch(const std::regex& pattern, std::string* text);
    Box LayoutPart(const char* name);

    XvfbDisplay m_display;
    std::unique_ptr<XClient> m_x;
    ScratchDir m_work;
    ScratchDir m_tmp;
    std::string m_log;
    int m_pid = -1;
    unsigned long m_window = 0;
    size_t m_seen = 0;
    std::map<std::string, std::string> m_env;
};

}  // namespace testsupport
