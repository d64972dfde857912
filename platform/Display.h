#pragma once

#include <memory>

// The user's display, opened for the program's first window and shared by all of them.
namespace nvrprint::platform {

class Display {
public:
    virtual ~Display() = default;

    // True when a display is named and could be opened; the toolkit is ready for use on the
    // main thread then. The first call opens it; later calls answer from that.
    virtual bool Open() = 0;
};

// The desktop's display through GTK.
std::unique_ptr<Display> CreateSystemDisplay();

}  // namespace nvrprint::platform
