#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <utility>

#include "tests/support/TestSupport.h"

struct _XDisplay;

// A private X server for window tests, and real input into it: XTest moves the pointer,
// presses buttons and keys as a user's devices would.
namespace testsupport {

class XvfbDisplay {
public:
    XvfbDisplay(int width = 1280, int height = 1024);
    ~XvfbDisplay();
    XvfbDisplay(const XvfbDisplay&) = delete;
    XvfbDisplay& operator=(const XvfbDisplay&) = delete;

    // ":N", or empty when the server did not start.
    const std::string& Name() const { return m_name; }

private:
    ScratchDir m_dir;
    int m_pid = -1;
    std::string m_name;
};

// One client connection to a display, for driving and looking at windows.
class XClient {
public:
    explicit XClient(const std::string& displayName);
    ~XClient();
    XClient(const XClient&) = delete;
    XClient& operator=(const XClient&) = delete;

    bool Connected() const { return m_display != nullptr; }

    // A mapped top-level window with this title, or one that starts with it; waits up to the
    // timeout.
    std::optional<unsigned long> WaitForWindow(const std::string& title,
                                               std::chrono::milliseconds timeout,
                                               bool prefix = false);
    // The window's size.
    std::pair<int, int> SizeOf(unsigned long window);
    void Focus(unsigned long window);
    // Pointer to a point of the window, then a press and release of the button (4 and 5 are
    // the wheel's notches up and down).
    void Click(unsigned long window, int x, int y, unsigned button = 1);
    void MoveTo(unsigned long window, int x, int y);
    void ButtonDown(unsigned button = 1);
    void ButtonUp(unsigned button = 1);
    // A key by its keysym name ("Next", "Home", "plus"), with Control held when asked.
    void Key(const std::string& keysymName, bool control = false);
    void Type(const std::string& text);
    // Asks the window to close, as a window manager's close button does.
    void Close(unsigned long window);
    // The whole screen as a PNG file named so in the build's artifact directory.
    void Screenshot(const std::string& name);

private:
    void Sync();
    ::_XDisplay* m_display = nullptr;
};

}  // namespace testsupport
