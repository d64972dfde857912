#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <utility>

#include "tests/support/TestSupport.h"

struct _XDisplay;

// Real input for window tests: XTest moves the pointer, presses buttons and keys as a user's
// devices would.
namespace testsupport {

// A private X server and one client connection to it, for driving and looking at windows.
class XSession {
public:
    XSession(int width = 1280, int height = 1024);
    ~XSession();
    XSession(const XSession&) = delete;
    XSession& operator=(const XSession&) = delete;

    // ":N", or empty when the server did not start.
    const std::string& Name() const { return m_name; }
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
    void Button(bool down, unsigned button = 1);
    // A key by its keysym name ("Next", "Home", "plus"), with Control or Alt held when asked
    // (Alt with a letter is a mnemonic).
    void Key(const std::string& keysymName, bool control = false, bool alt = false);
    void Type(const std::string& text);
    // Asks the window to close, as a window manager's close button does.
    void Close(unsigned long window);
    // Waits until the screen stops changing, as windows do once they have shown what they
    // were asked to; whether it did within the timeout.
    bool WaitForStillScreen(std::chrono::milliseconds timeout = std::chrono::seconds(10));
    // The whole screen as a PNG file named so in the build's artifact directory.
    void Screenshot(const std::string& name);

private:
    void Sync();
    std::string ScreenPixels();
    ScratchDir m_dir;
    int m_pid = -1;
    std::string m_name;
    ::_XDisplay* m_display = nullptr;
};

}  // namespace testsupport
