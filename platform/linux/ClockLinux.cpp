#include <thread>

#include "platform/Clock.h"

namespace nvrprint::platform {
namespace {

class SteadyClock final : public Clock {
public:
    TimePoint Now() override { return std::chrono::steady_clock::now(); }
    void Sleep(std::chrono::milliseconds duration) override {
        std::this_thread::sleep_for(duration);
    }
};

}  // namespace

Clock& SystemClock() {
    static SteadyClock clock;
    return clock;
}

}  // namespace nvrprint::platform
