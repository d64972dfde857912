#pragma once

#include <chrono>
#include <vector>

#include "platform/Clock.h"

namespace testsupport {

// A clock that stands still until it is slept on, and then moves on by just that much: a
// wait of minutes is over at once, and what was waited for is written down.
class SteppingClock final : public nvrprint::platform::Clock {
public:
    TimePoint Now() override { return m_now; }
    void Sleep(std::chrono::milliseconds duration) override {
        m_now += duration;
        sleeps.push_back(duration);
    }
    std::chrono::milliseconds Elapsed() const {
        return std::chrono::duration_cast<std::chrono::milliseconds>(m_now - TimePoint{});
    }

    std::vector<std::chrono::milliseconds> sleeps;

private:
    TimePoint m_now{};
};

}  // namespace testsupport
