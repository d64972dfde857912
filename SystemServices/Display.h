#pragma once

// The user's display, opened once per process for every window of the program.
namespace nvrprint::platform {

// True when a display is named and could be opened; the toolkit is ready for use on the
// main thread then. The first call opens it; later calls answer from that.
bool DisplayAvailable();

}  // namespace nvrprint::platform
