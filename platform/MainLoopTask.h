#pragma once

#include <functional>

// Work handed to the main loop from any thread. Windows are touched only by the main
// thread; other threads give it their changes through here.
namespace nvrprint::platform {

// Runs the task on the main thread at the main loop's next turn, after tasks posted
// earlier. Safe from any thread; never waits.
void RunOnMainLoop(std::function<void()> task);

// Whether the calling thread is the one that runs the main loop and owns the windows.
bool OnMainThread();

}  // namespace nvrprint::platform
