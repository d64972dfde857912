#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/Process.h"
#include "tests/support/TestSupport.h"
#include "tests/support/XSession.h"

namespace testsupport {

// Where a part of the preview is, in window coordinates, as its log tells.
struct Box {
    int x = 0, y = 0, width = 0, height = 0;
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
    ~PreviewSession();

    // Starts the program with the arguments and the document, standard input from a file
    // when one is given, and waits for its window and first page; false on timeout.
    bool Open(std::vector<std::string> args, const std::string& stdinFile = "");
    // Another program than NvrPrintHelper, built beside the tests, set before Open.
    void UseProgram(const std::string& name) { m_program = name; }
    // An environment variable for the program, set before Open.
    void SetEnv(const std::string& name, const std::string& value) { m_env[name] = value; }
    // Waits for a log line containing the text, after the lines already seen by earlier
    // waits; whether it came.
    bool WaitForLog(const std::string& text,
                    std::chrono::milliseconds timeout = std::chrono::seconds(20));
    // The status bar's page and zoom texts after the latest change ("Page 2 of 3 | Zoom: 50%").
    std::string LatestStatus();
    // Waits until the status bar shows the page text and, when given, the zoom text.
    bool WaitForStatus(const std::string& page, const std::string& zoom = "");
    // A part of the window as its log last placed it: a toolbar button by its text,
    // "thumbnails", "view" or "zoom part".
    Box Part(const std::string& name);
    void ClickButton(const std::string& text);
    void Click(const Box& box, int dy = 0, unsigned button = 1);
    // Print in the toolbar, and the system print dialog once it has settled, showing the
    // job's printer when the scheduler lists it, with the pointer over it so that keys go
    // there.
    void OpenPrintDialog(bool printerListed = true);
    void PointAtDialog();
    // The dialog's Print button.
    void PressDialogPrint();
    // Print to File picked in the dialog, and its Print button.
    void PrintToFileInDialog();
    // Closes the window and waits for the program; its exit code.
    int CloseAndWait();

    XSession& X() { return m_x; }
    unsigned long Window() const { return m_window; }
    std::string Log() const { return ReadFile(m_work.File("preview.log")); }
    ScratchDir& Work() { return m_work; }

private:
    XSession m_x;
    ScratchDir m_work, m_tmp;
    int m_pid = -1;
    unsigned long m_window = 0;
    size_t m_seen = 0;
    std::map<std::string, std::string> m_env;
    std::string m_program;
};

}  // namespace testsupport
