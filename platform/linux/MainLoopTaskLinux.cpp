#include <glib.h>

#include <deque>
#include <mutex>
#include <optional>
#include <thread>

#include "platform/MainLoopTask.h"

namespace nvrprint::platform {
namespace {

// Tasks wait here for the main loop. This lock, not the main loop's own, orders what the
// posting thread wrote before the task reads it, visibly to the thread sanitizer too.
std::mutex s_tasksLock;
std::deque<std::function<void()>> s_tasks;

// The thread that loaded this program runs its main loop.
const std::thread::id s_mainThread = std::this_thread::get_id();

void RunPosted() {
    for (;;) {
        std::optional<std::function<void()>> next;
        {
            std::lock_guard lock(s_tasksLock);
            if (s_tasks.empty()) {
                return;
            }
            next = std::move(s_tasks.front());
            s_tasks.pop_front();
        }
        (*next)();
    }
}

}  // namespace

void RunOnMainLoop(std::function<void()> task) {
    {
        std::lock_guard lock(s_tasksLock);
        s_tasks.push_back(std::move(task));
    }
    g_idle_add_full(
        G_PRIORITY_DEFAULT,
        [](gpointer) -> gboolean {
            RunPosted();
            return G_SOURCE_REMOVE;
        },
        nullptr, nullptr);
}

bool OnMainThread() {
    return std::this_thread::get_id() == s_mainThread;
}

}  // namespace nvrprint::platform
