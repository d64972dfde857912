#include "tests/support/XSession.h"

#include <cstdio>

#include <X11/XKBlib.h>
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>
#include <cairo.h>
#include <signal.h>

#include <filesystem>
#include <regex>
#include <thread>
#include <vector>

#include "tests/support/Process.h"

namespace testsupport {
namespace {

std::string WindowTitle(Display* display, Window window) {
    Atom type = 0;
    int format = 0;
    unsigned long count = 0, after = 0;
    unsigned char* data = nullptr;
    std::string title;
    if (XGetWindowProperty(display, window, XInternAtom(display, "_NET_WM_NAME", False), 0, 1024,
                           False, XInternAtom(display, "UTF8_STRING", False), &type, &format,
                           &count, &after, &data) == Success &&
        data != nullptr) {
        title.assign(reinterpret_cast<char*>(data), count);
        XFree(data);
    }
    return title;
}

}  // namespace

XSession::XSession(int width, int height) {
    // The server names its display on standard output once it accepts clients.
    ProcessOptions options;
    options.outputFile = m_dir.File("xvfb.out");
    const std::string screen = std::to_string(width) + "x" + std::to_string(height) + "x24";
    m_pid = StartProcess(
        {"Xvfb", "-displayfd", "1", "-screen", "0", screen, "-nolisten", "tcp", "-noreset"},
        options);
    const std::regex line(R"((?:^|\n)(\d+)\n)");
    std::smatch number;
    std::string out;
    if (WaitUntil(
            [&] { return std::regex_search(out = ReadFile(options.outputFile), number, line); },
            std::chrono::seconds(20))) {
        m_name = ":" + number[1].str();
        m_display = XOpenDisplay(m_name.c_str());
    }
    // Windows come and go while the test looks at them: asking about one that has just gone
    // is no error of the test's.
    XSetErrorHandler([](::Display*, XErrorEvent* error) {
        if (error->error_code != BadWindow && error->error_code != BadDrawable)
            std::fprintf(stderr, "X error %d\n", error->error_code);
        return 0;
    });
}

XSession::~XSession() {
    if (m_display != nullptr) {
        XCloseDisplay(m_display);
    }
    ::kill(m_pid, SIGTERM);
    WaitForProcess(m_pid, 10);
}

void XSession::Sync() {
    XSync(m_display, False);
}

std::optional<unsigned long> XSession::WaitForWindow(const std::string& title,
                                                     std::chrono::milliseconds timeout,
                                                     bool prefix) {
    std::optional<unsigned long> found;
    WaitUntil(
        [&] {
            Window root = DefaultRootWindow(m_display), parent = 0, *children = nullptr;
            unsigned int count = 0;
            XQueryTree(m_display, root, &root, &parent, &children, &count);
            for (unsigned int i = 0; i < count && !found; ++i) {
                XWindowAttributes attributes;
                const std::string named = WindowTitle(m_display, children[i]);
                if (XGetWindowAttributes(m_display, children[i], &attributes) != 0 &&
                    attributes.map_state == IsViewable &&
                    (prefix ? named.starts_with(title) : named == title)) {
                    found = children[i];
                }
            }
            if (children != nullptr) {
                XFree(children);
            }
            return found.has_value();
        },
        timeout);
    return found;
}

std::pair<int, int> XSession::SizeOf(unsigned long window) {
    XWindowAttributes attributes{};
    XGetWindowAttributes(m_display, window, &attributes);
    return {attributes.width, attributes.height};
}

void XSession::Focus(unsigned long window) {
    XSetInputFocus(m_display, window, RevertToParent, CurrentTime);
    Sync();
}

void XSession::MoveTo(unsigned long window, int x, int y) {
    Window child = 0;
    int rootX = 0, rootY = 0;
    XTranslateCoordinates(m_display, window, DefaultRootWindow(m_display), x, y, &rootX, &rootY,
                          &child);
    XTestFakeMotionEvent(m_display, -1, rootX, rootY, CurrentTime);
    Sync();
}

void XSession::Button(bool down, unsigned button) {
    XTestFakeButtonEvent(m_display, button, down, CurrentTime);
    Sync();
}

void XSession::Click(unsigned long window, int x, int y, unsigned button) {
    MoveTo(window, x, y);
    Button(true, button);
    Button(false, button);
}

void XSession::Key(const std::string& keysymName, bool control, bool alt) {
    const KeySym keysym = XStringToKeysym(keysymName.c_str());
    const KeyCode code = XKeysymToKeycode(m_display, keysym);
    if (code == 0) {
        return;
    }
    std::vector<KeyCode> keys;
    if (control) {
        keys.push_back(XKeysymToKeycode(m_display, XK_Control_L));
    }
    if (alt) {
        keys.push_back(XKeysymToKeycode(m_display, XK_Alt_L));
    }
    // A keysym found only on the shifted level needs Shift, as on a keyboard.
    if (XkbKeycodeToKeysym(m_display, code, 0, 0) != keysym &&
        XkbKeycodeToKeysym(m_display, code, 0, 1) == keysym) {
        keys.push_back(XKeysymToKeycode(m_display, XK_Shift_L));
    }
    keys.push_back(code);
    for (KeyCode key : keys) {
        XTestFakeKeyEvent(m_display, key, True, CurrentTime);
    }
    for (auto key = keys.rbegin(); key != keys.rend(); ++key) {
        XTestFakeKeyEvent(m_display, *key, False, CurrentTime);
    }
    Sync();
}

void XSession::Type(const std::string& text) {
    for (char c : text) {
        Key(std::string(1, c));
    }
}

void XSession::Close(unsigned long window) {
    XEvent event{};
    event.xclient.type = ClientMessage;
    event.xclient.window = window;
    event.xclient.message_type = XInternAtom(m_display, "WM_PROTOCOLS", False);
    event.xclient.format = 32;
    event.xclient.data.l[0] = static_cast<long>(XInternAtom(m_display, "WM_DELETE_WINDOW", False));
    event.xclient.data.l[1] = CurrentTime;
    XSendEvent(m_display, window, False, NoEventMask, &event);
    Sync();
}

std::string XSession::ScreenPixels() {
    Window root = DefaultRootWindow(m_display);
    XWindowAttributes screen;
    XGetWindowAttributes(m_display, root, &screen);
    XImage* image =
        XGetImage(m_display, root, 0, 0, screen.width, screen.height, AllPlanes, ZPixmap);
    if (image == nullptr) {
        return {};
    }
    std::string pixels(image->data, static_cast<size_t>(image->bytes_per_line) * image->height);
    XDestroyImage(image);
    return pixels;
}

bool XSession::WaitForStillScreen(std::chrono::milliseconds timeout) {
    // Still: the same picture three times running, a tenth of a second apart, which outlasts
    // the toolkit's redraws after a change.
    std::string last = ScreenPixels();
    int same = 0;
    return WaitUntil(
        [&] {
            std::string now = ScreenPixels();
            same = now == last ? same + 1 : 0;
            last = std::move(now);
            return same >= 2;
        },
        timeout, std::chrono::milliseconds(100));
}

void XSession::Screenshot(const std::string& name) {
    const std::filesystem::path dir(NVR_ARTIFACT_DIR);
    std::error_code ec;
    std::filesystem::create_directories(dir, ec);
    Window root = DefaultRootWindow(m_display);
    XWindowAttributes screen;
    XGetWindowAttributes(m_display, root, &screen);
    // A 24-bit screen's pixels are laid out as cairo's RGB24 is.
    XImage* image =
        XGetImage(m_display, root, 0, 0, screen.width, screen.height, AllPlanes, ZPixmap);
    if (image == nullptr || image->bits_per_pixel != 32) {
        return;
    }
    cairo_surface_t* surface = cairo_image_surface_create_for_data(
        reinterpret_cast<unsigned char*>(image->data), CAIRO_FORMAT_RGB24, screen.width,
        screen.height, image->bytes_per_line);
    cairo_surface_write_to_png(surface, (dir / (name + ".png")).c_str());
    cairo_surface_destroy(surface);
    XDestroyImage(image);
}

}  // namespace testsupport
